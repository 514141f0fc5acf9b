"""The program in the documents and the example, run against the real Mux."""

import os
import pathlib
import re
import signal
import sys
import textwrap
import unittest

import support
import dwmux
import programs

PAGE = (support.ROOT / "docs" / "python.md").read_text()
PROGRAM = re.search(r"```python\n(.*?)```", PAGE, re.DOTALL)[1]


class DocumentsTest(support.SystemTest):
    def test_the_program_of_the_page_opens_for_a_card(self):
        self.assertIn('"127.0.0.1", 5555', PROGRAM)
        code = PROGRAM.replace("5555", str(self.system.port))
        environment = os.environ | {"PYTHONPATH": str(pathlib.Path(dwmux.__file__).parents[1]), "PYTHONUNBUFFERED": "1"}
        program = programs.Program(sys.executable, "-B", "-c", code, environment=environment)
        self.addCleanup(support.end, program)
        program.wait_for("LockStatus(battery_status=3, battery_level=3, ")
        self.gateway.wait_for_request("OPEN_LOCK lock 5")
        self.gateway.command("card 5 04A1B2C3")
        self.gateway.wait_for_request("OPEN_CLOSE_LOCK (event) lock 5")
        program.stop(signal.SIGINT, -signal.SIGINT)


class HelpTest(unittest.TestCase):
    def test_help_has_the_program_of_the_page(self):
        self.assertIn(textwrap.indent(PROGRAM, "    "), dwmux.__doc__)


if __name__ == "__main__":
    unittest.main()
