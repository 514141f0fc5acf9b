"""A running Mux with gateways, and the documents that the package is compared with."""

import datetime
import json
import os
import pathlib
import re
import signal
import socket
import tempfile
import unittest

import programs

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEADLINE = 10.0
PROTOCOL = (ROOT / "docs" / "client-protocol.md").read_text()


def examples(kind):
    """The JSON examples of a kind in the client protocol: name and text."""
    return re.findall(rf"^ *```json {kind} ([\w-]+)\n *(.*?)\n *```$", PROTOCOL, re.MULTILINE)


def free_socket():
    """A socket with a free port, bound so that nobody but a program with SO_REUSEPORT, as the Mux is, may have it."""
    bound = socket.socket()
    bound.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
    bound.bind(("0.0.0.0", 0))
    return bound


def end(program):
    """Kills a program that still runs and closes its pipes."""
    program.kill()
    program.reader.join(DEADLINE)
    program.process.stdin.close()
    program.process.stdout.close()


class Gateway:
    """A simulator with the locks 5 and 6."""

    def __init__(self):
        self.program = programs.Program(os.environ["SIMULATOR_PROGRAM"], "--port", "0", "--locks", "5,6")
        self.program.wait_for("Listening on 127.0.0.1:")
        self.port = int(self.program.lines_with("Listening on")[0].rsplit(":", 1)[1])
        # A gateway needs some time, too.
        self.program.command("fault delay 50 always")

    def command(self, line):
        self.program.command(line)

    def opened(self):
        """How many requests to open a lock have arrived."""
        return self.program.count("-> OPEN_LOCK")

    def time_of(self, name):
        """When the first request of this name arrived."""
        return datetime.datetime.strptime(self.program.lines_with(f"-> {name}")[0].split()[0], "%H:%M:%S.%f")

    def wait_for_request(self, name, times=1):
        self.program.wait_for(f"-> {name}", times)


class System:
    """A Mux with gateways 1, 2 and so on, which are READY and quiet. The Mux's next own question comes 27 s later."""

    def __init__(self, test, gateways=1):
        self.test = test
        self.gateways = [Gateway() for _ in range(gateways)]
        for gateway in self.gateways:
            test.addCleanup(end, gateway.program)
        folder = tempfile.TemporaryDirectory(prefix="mux-python-")
        test.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        bound = free_socket()
        test.addCleanup(bound.close)
        self.port = bound.getsockname()[1]
        self.write_configuration()
        self.start_mux()

    def write_configuration(self):
        gateways = [{"ID": number, "IpAddress": "127.0.0.1", "Port": gateway.port}
                    for number, gateway in enumerate(self.gateways, 1)]
        (self.folder / "mux.json").write_text(json.dumps({"Enabled": True, "Gateways": gateways}))

    def launch_mux(self):
        """Starts the Mux without waiting for anything."""
        self.mux = programs.Program(
            os.environ["MUX_PROGRAM"], "--port", f"--port={self.port}", "--configFile", str(self.folder / "mux.json"),
            "--logFile", str(self.folder / "mux.log"), "--debug")
        self.test.addCleanup(end, self.mux)

    def start_mux(self):
        self.launch_mux()
        self.mux.wait_for("to state READY", len(self.gateways))
        self.mux.wait_for("Received new sequence number.", 2 * len(self.gateways))

    def stop_mux(self):
        self.mux.stop(signal.SIGQUIT, 0)

    def wait_for_clients(self, count):
        self.mux.wait_for("Client with FD ", count)


class SystemTest(unittest.TestCase):
    """A test with one Mux and one gateway."""

    def setUp(self):
        self.system = System(self)
        self.gateway = self.system.gateways[0]
