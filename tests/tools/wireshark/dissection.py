"""What tshark shows of a capture with the project's dissector."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from capture import Capture

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


class ConnectionTest(DissectorTest):
    """Has a capture with one connection to a server on `port`; the names of its fields begin with `protocol`."""

    protocol = None
    port = None

    def setUp(self):
        super().setUp()
        self.capture = Capture()
        self.connection = self.capture.connection(self.port)

    def assert_links(self, *links):
        """For each packet the number of the packet that it is answered in or that it answers, "" for none."""
        fields = [f"{self.protocol}.response_in", f"{self.protocol}.response_to"]
        self.assertEqual([tuple(row.values()) for row in self.rows(self.capture, fields)], list(links))

    def assert_cut_anywhere(self, field, two, shown, way="to_server"):
        """Two messages, in two segments that meet at every place, are each shown with the segment that ends it."""
        stream = two[0] + two[1]
        expected = []
        for cut in range(1, len(stream)):
            connection = self.capture.connection(self.port)
            for segment in (stream[:cut], stream[cut:]):
                getattr(connection, way)(segment)
            expected += ("", "|".join(shown)) if cut < len(two[0]) else shown
        self.assertEqual([row[field] for row in self.rows(self.capture, [field])], expected)


def plain(values):
    """The values of one field, booleans as Wireshark 4.0 writes them."""
    return BETWEEN_VALUES.join({"True": "1", "False": "0"}.get(value, value) for value in values.split(BETWEEN_VALUES))


def main():
    missing = [program for program in ("tshark", "text2pcap") if shutil.which(program) is None]
    if missing:
        print(f"SKIPPED: no {' and no '.join(missing)} here; scripts/setup --with-checks installs them")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
