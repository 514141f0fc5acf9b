"""The examples of the packages, adapted as their comments ask for, and a site to try them with."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = PROJECT / "packaging" / "examples"
SKIPPED = 77
DEADLINE = 60.0

sys.path.append(str(PROJECT / "scripts" / "lib"))
from programs import Program, free_port, wait_until  # noqa: E402, F401


def adapted(name, changes):
    """The example with each old text, which it must have, replaced by the new one."""
    text = (EXAMPLES / name).read_text()
    for old, new in changes.items():
        if old not in text:
            raise AssertionError(f"{name} has no {old!r}")
        text = text.replace(old, str(new))
    return text


class ExampleTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def start(self, *command, **arguments):
        program = Program(*map(str, command), **arguments)
        self.addCleanup(self.end, program)
        return program

    @staticmethod
    def end(program):
        program.kill()
        program.reader.join()
        program.process.stdin.close()
        program.process.stdout.close()

    def write(self, name, text):
        (self.folder / name).write_text(text)
        return self.folder / name

    def start_site(self, *devices):
        """A Mux, whose port is returned, with a simulated gateway that has these locks, as in a configuration."""
        self.write_gateway("simulator.json", 0, devices)
        self.simulator = self.start(os.environ["SIMULATOR_PROGRAM"], "--plain", "--gateways",
                                    self.folder / "simulator.json")
        self.simulator.wait_for("Listening on 127.0.0.1:", deadline=DEADLINE)
        gateway_port = int(self.simulator.lines_with("Listening on")[0].rsplit(":", 1)[1])
        self.configuration = self.write_gateway("hall.json", gateway_port, devices)
        port = free_port()
        self.mux = self.start(os.environ["MUX_PROGRAM"], "--port", f"--port={port}", "--configFile", self.configuration,
                              "--logFile", self.folder / "mux.log")
        # The Mux asks twice for the counter; a request in between would share its number.
        self.mux.wait_for("Received new sequence number.", 2, deadline=DEADLINE)
        return port

    def write_gateway(self, name, port, devices):
        return self.write(name, json.dumps({"Enabled": True, "Gateways": [
            {"ID": 1, "Description": "Hall", "IpAddress": "127.0.0.1", "Port": port, "Devices": devices}]}))

    def muxctl(self, port, *arguments, timeout=15):
        return subprocess.run([os.environ["MUXCTL"], *map(str, arguments), "--port", str(port), "--timeout", str(timeout)],
                              capture_output=True, text=True, check=False)


def skip(reason):
    print(f"SKIPPED: {reason}")
    sys.exit(SKIPPED)


def skip_without(*programs):
    """Ends the test, with a line that says so, on a machine that lacks one of them."""
    os.environ["PATH"] += ":/usr/sbin"
    missing = [program for program in programs if shutil.which(program) is None]
    if missing:
        skip(f"no {', '.join(missing)} here; scripts/setup --with-checks installs it")
