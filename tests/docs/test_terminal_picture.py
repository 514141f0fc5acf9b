"""The picture of the terminals in README.md, drawn again: python3 tests/docs/test_terminal_picture.py BUILD_FOLDER.

Times, durations, dates and the Mux's own port differ from run to run; everything else must be as in the committed
picture.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

try:
    import pexpect, pyte  # noqa: E401, F401
except ModuleNotFoundError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PICTURE = PROJECT / "docs" / "pictures" / "terminal.svg"
CHANGING = re.compile(r"\d{4}-\d\d-\d\d|\d\d:\d\d:\d\d(\.\d{3})?|\d+\.\d s|(?<=connection from 127\.0\.0\.1:)\d+")


def stable_part_of(picture):
    return CHANGING.sub("...", picture.read_text())


class TerminalPictureTest(unittest.TestCase):
    maxDiff = None

    def test_the_programs_still_show_what_the_picture_shows(self):
        with tempfile.TemporaryDirectory() as folder:
            drawn = pathlib.Path(folder) / "terminal.svg"
            subprocess.run([sys.executable, "-B", PROJECT / "scripts/lib/terminal_picture.py", BUILD, drawn],
                           check=True)
            self.assertEqual(stable_part_of(drawn).splitlines(), stable_part_of(PICTURE).splitlines())

    def test_the_first_page_shows_it(self):
        self.assertIn("(docs/pictures/terminal.svg)", (PROJECT / "README.md").read_text())


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main()
