"""The simulator's status screen on a terminal: python3 tests/tools/test_simulator_screen.py BUILD_FOLDER."""
import binascii
import json
import pathlib
import re
import socket
import sys
import tempfile
import unittest

try:
    import pexpect, pyte  # noqa: E401, F401
except ModuleNotFoundError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "scripts/lib"))
from programs import wait_until  # noqa: E402
from terminal_picture import Terminal  # noqa: E402

PAGE_UP, PAGE_DOWN = "\x1b[5~", "\x1b[6~"
OPEN_LOCK, GET_STATUS, COUNTER_ADDRESS = 0x0A, 0x01, 256


def frame(counter, address, code, payload=b""):
    body = bytes([19 + len(payload), 0xFE, 0xFD, 14 + len(payload), 1, 0, 0, 1])
    body += counter.to_bytes(4, "big") + address.to_bytes(4, "big") + bytes([code]) + payload
    return body + binascii.crc_hqx(body, 0).to_bytes(2, "big")


def site_of(count):
    return {"Gateways": [{"ID": number, "Description": f"Floor {number}", "Port": 0,
                          "Devices": [{"ID": 5, "Name": "Front door"}, {"ID": 6}, {"ID": 7}]}
                         for number in range(1, count + 1)]}


class SimulatorScreenTest(unittest.TestCase):
    maxDiff = None

    def start(self, *options):
        self.screen = pyte.Screen(80, 24)
        self.simulator = Terminal(self.screen, str(BUILD / "gateway-simulator"), *options, kind="linux")
        self.addCleanup(self.simulator.kill)
        self.simulator.wait_for("> ")

    def start_site(self, count):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        site = pathlib.Path(folder.name) / "site.json"
        site.write_text(json.dumps(site_of(count)))
        self.start("--gateways", str(site))

    def rows(self):
        return [row.rstrip() for row in self.screen.display]

    def rows_with(self, text):
        return [row for row in self.rows() if text in row]

    def wait_until(self, condition, what):
        def there():
            self.simulator.read()
            return condition()

        wait_until(there, what)

    def test_the_chosen_one_of_twenty_gateways_is_unfolded_in_a_list_that_scrolls(self):
        self.start_site(20)
        self.simulator.wait_for("more gateways below")
        self.assertEqual(self.rows_with("Floor 20"), [])
        self.simulator.type("use 15\r")
        self.simulator.wait_for("15>")
        self.simulator.wait_for("more gateways above")
        self.assertIn("commands go to gateway 15", self.rows())
        chosen = next(index for index, row in enumerate(self.rows()) if row.startswith("gateway 15 "))
        self.assertRegex(self.rows()[chosen + 1], "^  lock 5 Front door  closed ")
        gateways = [row for row in self.rows() if re.match("gateway [0-9]", row)]
        self.assertGreater(len(gateways), 10)
        self.assertEqual(len({row.index("127.0.0.1:") for row in gateways}), 1, gateways)
        self.assertEqual(len({row.index("counter") for row in gateways}), 1, gateways)

    def test_help_opens_at_its_beginning_and_can_be_paged(self):
        self.start("--port", "0")
        self.simulator.type("help\r")
        self.simulator.wait_for("more lines, Page Down --")
        self.assertEqual(len(self.rows_with("  wait MILLISECONDS")), 1)
        self.simulator.type(PAGE_DOWN)
        self.wait_until(lambda: not self.rows_with("  wait MILLISECONDS"), "the second page")
        self.simulator.type(PAGE_DOWN * 9)
        self.wait_until(lambda: not self.rows_with("Page Down"), "the last page")
        self.assertEqual(len(self.rows_with("answer-code CODE")), 1)
        self.simulator.type(PAGE_UP * 9)
        self.simulator.wait_for("  wait MILLISECONDS")

    def test_a_command_that_succeeded_is_confirmed(self):
        self.start("--port", "0")
        self.simulator.type("fault silence\r")
        self.simulator.wait_for("done")
        self.assertEqual(len(self.rows_with("fault silence (for 1 more)")), 1)
        self.simulator.type("battery 5 0 0\r")
        self.simulator.wait_for("lock 5 now reports: battery not available, battery level below 80 %")

    def test_keep_alives_leave_other_frames_in_sight_and_can_be_hidden(self):
        self.start("--port", "0", "--counter", "0")
        self.simulator.wait_for("not connected")
        port = int(re.search("127.0.0.1:([0-9]+)", "".join(self.rows()))[1])
        with socket.create_connection(("127.0.0.1", port)) as mux:
            mux.sendall(frame(1, 5, OPEN_LOCK, bytes(4)))
            for counter in range(2, 42):
                mux.sendall(frame(counter, COUNTER_ADDRESS, GET_STATUS))
            self.simulator.wait_for("seq 41")
            self.wait_until(lambda: len(self.rows_with("lock 256")) == 2, "one keep-alive and its answer")
            self.assertEqual(len(self.rows_with("-> OPEN_LOCK lock 5 seq 1 ")), 1)
            self.simulator.type("keep-alives off\r")
            self.wait_until(lambda: not self.rows_with("lock 256"), "no keep-alive")
            self.assertEqual(len(self.rows_with("-> OPEN_LOCK lock 5 seq 1 ")), 1)


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
