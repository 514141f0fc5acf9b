"""What tshark shows of a capture with the project's dissector."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[3] / "tools" / "wireshark"
SEPARATOR, BETWEEN_VALUES = "\t", "|"
TSHARK_DEADLINE = 60
SKIPPED = 77


def plain_user():
    """Whom tshark runs as: Wireshark 4.4 runs no Lua script for root."""
    return {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}


class DissectorTest(unittest.TestCase):
    """Has a folder with the dissector, which every user may read; a test puts its capture there."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mux-dissector-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.folder.chmod(0o755)
        shutil.copytree(SOURCE, self.folder / "dissector")

    def tshark(self, capture, *arguments, script="-Xlua_script:dissector/mux.lua"):
        path = self.folder / "capture.pcapng"
        capture.write(path)
        command = ["tshark", script, "-2", "-n", "-r", path.name, *arguments]
        run = subprocess.run(command, cwd=self.folder, env=self.environment(), capture_output=True, text=True,
                             timeout=TSHARK_DEADLINE, check=False, **plain_user())
        self.assertEqual((run.returncode, self.complaints(run.stderr)), (0, []), run.stderr)
        self.assertNotIn("Lua Error", run.stdout)
        return run.stdout

    def environment(self):
        return {**os.environ, "HOME": str(self.folder), "TZ": "UTC", "LC_ALL": "C.UTF-8"}

    @staticmethod
    def complaints(errors):
        return [line for line in errors.splitlines() if "lua" in line.lower()]

    def rows(self, capture, fields, arguments=()):
        """A dictionary for each packet: the value of each field, several of one packet joined by "|"."""
        options = [option for field in fields for option in ("-e", field)]
        output = self.tshark(capture, "-T", "fields", "-E", f"separator={SEPARATOR}", "-E",
                             f"aggregator={BETWEEN_VALUES}", *options, *arguments)
        return [dict(zip(fields, map(plain, line.split(SEPARATOR)))) for line in output.splitlines()]

    def assert_fields(self, capture, expected, arguments=()):
        """`expected` has for each packet the fields that are looked at; "" is a field that must not be there."""
        fields = sorted({field for row in expected for field in row})
        found = self.rows(capture, fields, arguments)
        self.assertEqual(len(found), len(expected))
        for number, (row, wanted) in enumerate(zip(found, expected), 1):
            self.assertEqual({field: row[field] for field in wanted}, wanted, f"packet {number}")

    def details(self, capture, protocol, arguments=()):
        """The lines of the packets' detailed view that belong to a protocol, without their indentation."""
        return [line.strip() for line in self.tshark(capture, "-O", protocol, *arguments).splitlines()]


def plain(values):
    """The values of one field, booleans as Wireshark 4.0 writes them."""
    return BETWEEN_VALUES.join({"True": "1", "False": "0"}.get(value, value) for value in values.split(BETWEEN_VALUES))


def main():
    missing = [program for program in ("tshark", "text2pcap") if shutil.which(program) is None]
    if missing:
        print(f"SKIPPED: no {' and no '.join(missing)} here; scripts/setup --with-checks installs them")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
