"""The pictures of the documents and the script that draws them: python3 tests/docs/test_pictures.py.

Everything is drawn from the figures that are kept beside the pictures.
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PICTURES = PROJECT / "docs" / "pictures"
AFTER, BEFORE = PICTURES / "after.json", PICTURES / "before.json"
NAMES = ["cpu.svg", "memory.svg", "waiting-times.svg"]
# Drawn by others from other sources.
OTHERS = ["terminal.svg"]
TEXT = "{http://www.w3.org/2000/svg}text"
SKIPPED = 77


def names_in(folder, pattern):
    return sorted(path.name for path in folder.glob(pattern))


def texts_of(picture):
    """What can be read in it."""
    root = xml.etree.ElementTree.parse(picture).getroot()
    return ["".join(text.itertext()).strip() for text in root.iter(TEXT)]


def version_of(picture):
    """Of the gnuplot that drew it."""
    return re.search("<desc>.*</desc>", picture.read_text())[0]


class PicturesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def plot(self, *results):
        return subprocess.run([sys.executable, "-B", PROJECT / "scripts/lib/plot.py", self.folder, *results],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)

    def draw(self, *results):
        done = self.plot(*results)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def changed(self, change):
        """A result beside the pictures in which something was changed."""
        result = json.loads(AFTER.read_text())
        change(result)
        file = self.folder / "changed.json"
        file.write_text(json.dumps(result))
        return file

    def test_each_picture_is_shown(self):
        shown = re.findall(r"!\[.+\]\(pictures/(.+)\)", (PROJECT / "docs/performance.md").read_text())
        self.assertEqual(sorted(shown), NAMES)
        self.assertEqual(names_in(PICTURES, "*.svg"), sorted(NAMES + OTHERS))

    def test_the_pictures_hold_the_figures_beside_them(self):
        self.draw(AFTER, BEFORE)
        for name in NAMES:
            drawn, committed = self.folder / name, PICTURES / name
            self.assertEqual(texts_of(drawn), texts_of(committed))
            # Another version may write the same lines in another way.
            if version_of(drawn) == version_of(committed):
                self.assertEqual(drawn.read_text(), committed.read_text(), name)

    def test_without_an_earlier_result_there_are_no_lines_of_it(self):
        self.draw(AFTER, BEFORE)
        self.draw(AFTER)
        self.assertEqual(names_in(self.folder, "*"), ["after.json", *NAMES])
        for name in NAMES:
            self.assertFalse([text for text in texts_of(self.folder / name) if "before" in text], name)

    def test_what_was_not_measured_is_named(self):
        done = self.plot(self.changed(lambda result: result["distributions"].clear()))
        self.assertEqual(done.returncode, 1)
        self.assertIn('no figures of the floor for "closed-loop"', done.stderr)


if __name__ == "__main__":
    if shutil.which("gnuplot") is None:
        print("SKIPPED: no gnuplot here; scripts/setup --with-benchmarks installs it")
        sys.exit(SKIPPED)
    unittest.main()
