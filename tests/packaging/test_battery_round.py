"""The battery round of the examples, over the locks of a running site."""
import os
import subprocess
import unittest

from examples import EXAMPLES, ExampleTest, free_port, skip_without


class BatteryRound(ExampleTest):
    def round(self, port):
        muxctl = self.folder / "muxctl"
        muxctl.symlink_to(os.environ["MUXCTL"])
        done = subprocess.run([EXAMPLES / "battery-round", self.configuration, "--port", str(port), "--timeout", "60"],
                              env={**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}, capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stdout

    def test_names_what_is_wrong_with_a_battery(self):
        port = self.start_site({"ID": 4, "Name": "Front door", "BatteryStatus": 2},
                               {"ID": 5, "BatteryStatus": 0},
                               {"ID": 6, "BatteryStatus": 1},
                               {"ID": 7, "BatteryWarning": True},
                               {"ID": 8, "BatteryWarning": True, "BatteryAlarm": True})
        self.assertEqual(self.round(port), (1, "1\t4\tFront door\twell\n"
                                               "1\t5\t-\tWARNING: not available\n"
                                               "1\t6\t-\tWARNING: resistance too high\n"
                                               "1\t7\t-\tWARNING: change the battery soon\n"
                                               "1\t8\t-\tALARM: change the battery now\n"))

    def test_ends_with_0_if_all_are_well(self):
        self.assertEqual(self.round(self.start_site({"ID": 5})), (0, "1\t5\t-\twell\n"))

    def test_names_a_lock_that_is_not_there(self):
        port = self.start_site({"ID": 5})
        self.configuration = self.write_gateway("round.json", 1, [{"ID": 6}])
        self.assertEqual(self.round(port), (1, "1\t6\t-\trefused: No route for the requested device. \n"))

    def test_without_a_mux_no_lock_answers(self):
        self.start_site({"ID": 5}, {"ID": 6})
        nobody = free_port()
        self.assertEqual(self.round(nobody), (1, "1\t5\t-\tno answer\n1\t6\t-\tno answer\n"))


if __name__ == "__main__":
    skip_without("jq")
    unittest.main()
