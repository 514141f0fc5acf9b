"""One site of scripts/fleet: a gateway simulator, a Mux and a proxy, and what is to be read of them."""
import json
import re
import signal
import sqlite3
import threading
import time
import urllib.request

from brokers import PREFIX
from programs import Program, free_port

LOCKS = (5, 6, 7)
# As the Mux's unit does.
MUX_PAUSE = 2.0
# May open all doors from the centre.
CENTRE = "centre"


class Kept:
    """A program that is started again a while after it has ended, until it is no longer wanted."""

    def __init__(self, pause, *command):
        self.pause, self.command = pause, command
        self.is_wanted = True
        self.starts = 0
        self.start()
        threading.Thread(target=self._keep, daemon=True).start()

    def start(self):
        self.program = Program(*self.command, keep=1000)
        self.starts += 1

    def _keep(self):
        while True:
            self.program.process.wait()
            time.sleep(self.pause)
            if not self.is_wanted:
                return
            self.start()

    def crash(self):
        self.program.process.kill()

    def end(self):
        self.is_wanted = False
        self.program.kill()


class Site:
    def __init__(self, programs, folder, authority, name, broker_port):
        self.name = name
        self.programs, self.folder, self.authority = programs, folder / self.name, authority
        self.folder.mkdir()
        self.broker_port, self.metrics_port = broker_port, free_port()
        self.mux_port, self.proxy_port = free_port(), free_port()
        self.raised = {}
        self.opened_before = 0
        self.write_files()
        self.simulator = self.start_simulator()
        self.mux = Kept(MUX_PAUSE, programs / "dw-hal-mux-brenk", "--port", f"--port={self.mux_port}", "--configFile",
                        str(self.folder / "mux.json"), "--logFile", str(self.folder / "mux.log"))
        self.proxy = Kept(MUX_PAUSE, programs / "mux-proxy", "--config", str(self.folder / "proxy.json"))

    def write_files(self):
        gateway = {"ID": 1, "IpAddress": "127.0.0.1", "Port": free_port(),
                   "Devices": [{"Name": f"Door {lock}", "ID": lock} for lock in LOCKS]}
        (self.folder / "mux.json").write_text(json.dumps({"Enabled": True, "Gateways": [gateway]}))
        own = self.authority / "clients" / self.name
        (self.folder / "proxy.json").write_text(json.dumps({
            "Listen": {"Addresses": ["127.0.0.1"], "Port": self.proxy_port},
            "Mux": {"Port": self.mux_port, "Configuration": str(self.folder / "mux.json")},
            "Certificates": {"Certificate": str(self.authority / "server.crt"),
                             "Key": str(self.authority / "server.key"),
                             "Authority": str(self.authority / "authority.crt")},
            "Audit": {"File": str(self.folder / "audit.db"), "WholeCards": True},
            "Mqtt": {"Host": "localhost", "Port": self.broker_port, "Authority": str(self.authority / "authority.crt"),
                     "Certificate": f"{own}.crt", "Key": f"{own}.key", "Site": self.name, "Prefix": PREFIX,
                     "WholeCards": True},
            "Metrics": {"Port": self.metrics_port},
            "StatusRound": {"Hours": 1},
            "Rules": [{"Clients": [CENTRE], "Rights": ["open", "close", "status", "events"], "Gateways": "all",
                       "Locks": "all"}]}))

    def start_simulator(self):
        return Program(self.programs / "gateway-simulator", "--gateways", str(self.folder / "mux.json"))

    def restart_simulator(self):
        self.opened_before += self.simulator.count("OPEN_LOCK")
        self.simulator.kill()
        time.sleep(MUX_PAUSE)
        self.simulator = self.start_simulator()

    def present(self, lock, digits):
        """A card at a reader."""
        self.raised[digits] = time.time()
        try:
            self.simulator.command(f"card {lock} {digits}")
        except OSError:
            pass

    def opened(self):
        return self.opened_before + self.simulator.count("OPEN_LOCK")

    def metric(self, name):
        """None while the proxy cannot be asked."""
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.metrics_port}/metrics", timeout=5) as answer:
                found = re.search(rf"^{name} (\S+)$", answer.read().decode(), re.MULTILINE)
                return float(found[1]) if found else None
        except OSError:
            return None

    def rows(self, query):
        with sqlite3.connect(f"file:{self.folder / 'audit.db'}?mode=ro", uri=True) as database:
            return database.execute(query).fetchall()

    def cards_in_audit(self):
        return {card for card, in self.rows("SELECT card FROM audit WHERE kind = 'event' AND operation = 'card'")}

    def results(self):
        """Requests that have ended, and of these the commands that must have been answered: all but those that a crash
        of the proxy has cut off."""
        ended = "FROM audit WHERE kind = 'request' AND lock IS NOT NULL AND result NOT IN ('', 'ambiguous')"
        return (self.rows(f"SELECT count(*) {ended}")[0][0],
                self.rows(f"SELECT count(*) {ended} AND address = 'mqtt' AND result <> 'unknown'")[0][0])

    def end(self):
        self.proxy.is_wanted = self.mux.is_wanted = False
        if self.proxy.program.process.poll() is None:
            self.proxy.program.stop(signal.SIGTERM, 0)
        self.mux.end()
        self.simulator.kill()

    def kill(self):
        for kept in (self.proxy, self.mux):
            kept.end()
        self.simulator.kill()
