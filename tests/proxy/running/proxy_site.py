"""A running site for the tests of the proxy: gateway simulator, Mux and mux-proxy, and TLS clients.

Environment: MUX_PROGRAMS, the folder of the programs; MUX_CERTIFICATES, the script mux-proxy-certificates.
"""
import json
import os
import pathlib
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts" / "lib"))

from programs import PlayError, Program, Silence, free_port, packet, wait_until  # noqa: E402,F401

PROGRAMS = pathlib.Path(os.environ["MUX_PROGRAMS"])
CERTIFICATES = os.environ["MUX_CERTIFICATES"]

OPEN, CLOSE, STATUS, OPEN_CLOSE, DENIED, ADD = 10, 11, 12, 13, 14, 21
NOT_ALLOWED, NOT_VALID, NOT_SENT, NO_ANSWER, MUX_AWAY, NOT_AUDITED = -1, -2, -3, -4, -5, -6


def certificates(folder, *arguments):
    subprocess.run([CERTIFICATES, str(folder), *arguments], check=True, stdout=subprocess.DEVNULL)


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


# Times of a revocation list that is over.
ENDED = ("-crl_lastupdate", "20250101000000Z", "-crl_nextupdate", "20250102000000Z")


def new_revocation_list(folder, file, *times):
    """By the authority in the folder, with what openssl takes for its times."""
    openssl("ca", "-config", folder / "openssl.cnf", "-gencrl", *times, "-out", file)


class TlsClient:
    """A client that speaks the client protocol inside TLS."""

    def __init__(self, site, name, deadline=20.0, context=None, host="127.0.0.1", source=None):
        self.buffer = b""
        plain = socket.create_connection((host, site.proxy_port), deadline, source and (source, 0))
        self.socket = (context or site.context(name)).wrap_socket(plain, server_hostname="localhost")

    def send(self, text):
        self.socket.sendall(packet(text))

    def request(self, code, lock=5, gateway=1, message_id=None, **data):
        """Sends a request and returns its identifier."""
        message_id = str(uuid.uuid4()) if message_id is None else message_id
        self.send(json.dumps({"MessageID": message_id, "MessageCode": code,
                              "Data": {"gatewayID": gateway, "lockID": lock, **data}}))
        return message_id

    def receive(self):
        while True:
            try:
                text = self.buffer.decode(errors="surrogateescape")
                message, end = json.JSONDecoder().raw_decode(text)
                self.buffer = text[end:].encode(errors="surrogateescape")
                return message
            except ValueError:
                pass
            try:
                received = self.socket.recv(65536)
            except TimeoutError:
                raise Silence("nothing came from the proxy") from None
            if not received:
                raise PlayError("the proxy closed the connection")
            self.buffer += received

    def ask(self, code, **arguments):
        """The answer to one request; events that come first are dropped."""
        message_id = self.request(code, **arguments)
        while True:
            message = self.receive()
            if message["MessageID"] == message_id:
                return message

    def is_closed(self):
        """Waits until it is; false when it still is open then."""
        try:
            return self.socket.recv(1) == b""
        except TimeoutError:
            return False
        except OSError:
            return True

    def close(self):
        self.socket.close()


def result(message):
    """0 for an ACK, the error code of a NACK. Either must have the members that answer.schema.json requires."""
    members = ["Timestamp", "MessageID", "MessageCode", "Data"]
    if list(message) != members or (message["MessageCode"] != 0 and list(message["Data"]) != ["ErrorCode", "Message"]):
        raise PlayError(f"{message} is not an answer")
    return 0 if message["MessageCode"] == 0 else message["Data"]["ErrorCode"]


class Installation(unittest.TestCase):
    """The files of a site: certificates for all tests of a class, a folder and a configuration for each. `reception`
    may do everything, `guest` only read the status of lock 5."""

    rules = [
        {"Clients": ["reception"], "Rights": ["open", "close", "open-close", "status", "access-denied", "whitelist",
                                              "events"], "Gateways": "all", "Locks": "all"},
        {"Clients": ["guest"], "Rights": ["status", "events"], "Gateways": [1], "Locks": [5]},
    ]
    clients = ("reception", "guest")

    @classmethod
    def setUpClass(cls):
        cls.shared = tempfile.TemporaryDirectory(prefix="mux-proxy-authority-")
        cls.authority = pathlib.Path(cls.shared.name)
        certificates(cls.authority, "server", "localhost", "127.0.0.1")
        for name in cls.clients:
            certificates(cls.authority, "client", name)

    @classmethod
    def tearDownClass(cls):
        cls.shared.cleanup()

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mux-proxy-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.mux_file = self.folder / "mux.json"
        self.mux_port, self.proxy_port = free_port(), free_port()

    def configuration(self):
        return {
            "Listen": {"Addresses": ["127.0.0.1"], "Port": self.proxy_port},
            "Mux": {"Host": "127.0.0.1", "Port": self.mux_port, "Configuration": str(self.mux_file)},
            "Certificates": {"Certificate": str(self.authority / "server.crt"), "Key": str(self.authority / "server.key"),
                             "Authority": str(self.authority / "authority.crt"),
                             "RevocationList": str(self.authority / "revoked.crl")},
            "Audit": {"File": str(self.folder / "audit.db")},
            "Rules": self.rules,
        }

    def write_configuration(self, **changes):
        (self.folder / "proxy.json").write_text(json.dumps({**self.configuration(), **changes}))



class Site(Installation):
    """Every test gets a running site of its own."""

    gateways = 1
    # What the simulator's locks have beside their number.
    settings = {}

    def setUp(self):
        super().setUp()
        self.programs = []
        self.addCleanup(self.end_programs)
        self.start_simulator()
        self.start_mux()
        self.start_proxy()

    def end_programs(self):
        for program in self.programs:
            program.kill()

    def start(self, *command):
        self.programs.append(Program(*command))
        return self.programs[-1]

    def start_simulator(self):
        gateways = [{"ID": number, "IpAddress": "127.0.0.1", "Port": free_port(),
                     "Devices": [{"Name": f"Door {lock}", "ID": lock, **self.settings.get(lock, {})}
                                 for lock in (5, 6, 7)]}
                    for number in range(1, self.gateways + 1)]
        self.mux_file.write_text(json.dumps({"Enabled": True, "Gateways": gateways}))
        self.simulator = self.start(PROGRAMS / "gateway-simulator", "--gateways", str(self.mux_file))
        self.simulator.wait_for("Listening on", self.gateways)

    def start_mux(self, awaits_gateways=True):
        self.mux = self.start(PROGRAMS / "dw-hal-mux-brenk", "--port", f"--port={self.mux_port}", "--configFile",
                              str(self.mux_file), "--logFile", str(self.folder / "mux.log"), "--debug")
        if awaits_gateways:
            self.mux.wait_for("Received new sequence number.", 2 * self.gateways)

    def start_proxy(self, **changes):
        self.write_configuration(**changes)
        self.proxy = self.start(PROGRAMS / "mux-proxy", "--config", str(self.folder / "proxy.json"))
        self.proxy.wait_for("Connected to the Mux")

    def restart_proxy(self, **changes):
        """For what is not read anew."""
        self.proxy.stop(signal.SIGTERM, 0)
        self.start_proxy(**changes)

    def reload(self, times=1):
        self.proxy.process.send_signal(signal.SIGHUP)
        self.proxy.wait_for("The configuration was read anew", times)

    def context(self, name):
        context = ssl.create_default_context(cafile=self.authority / "authority.crt")
        if name is not None:
            context.load_cert_chain(self.authority / "clients" / f"{name}.crt", self.authority / "clients" / f"{name}.key")
        return context

    def plain(self):
        """A connection without TLS."""
        plain = socket.create_connection(("127.0.0.1", self.proxy_port), 10)
        self.addCleanup(plain.close)
        return plain

    def client(self, name="reception", **arguments):
        client = TlsClient(self, name, **arguments)
        self.addCleanup(client.close)
        return client

    def audit(self, *arguments):
        """Rows of the audit, oldest first, by the program."""
        done = subprocess.run([PROGRAMS / "mux-proxy", "audit", "--config", str(self.folder / "proxy.json"), "--json",
                               *arguments], check=True, stdout=subprocess.PIPE, text=True)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def wait_for_rows(self, count, *arguments):
        """Rows may come after the answers."""
        wait_until(lambda: len([row for row in self.audit(*arguments) if row["result"]]) >= count, f"{count} rows")
        return self.audit(*arguments)

    def opened(self, lock=5):
        """How often the simulator opened the lock until now. What it writes is read in order, a little later."""
        text = "Show this list"
        before = self.simulator.count(text)
        self.simulator.command("help")
        self.simulator.wait_for(text, before + 1)
        return self.simulator.count(f"OPEN_LOCK lock {lock}")
