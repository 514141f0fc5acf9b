"""The operator's handbook against the log lines that the Mux writes.

tests/log/lines.tsv has every line and whether a test raises it in the running process. The handbook quotes lines in the
chapter about the log and in its table of exit statuses. Each quote is 8 characters long at least; "...", the lone
letters N, A and B and a version are gaps, and what stands between them stands in this order in one line of the table:

  (a) in a line that the process writes;
  (b) in the section LIBRARY, which is about lines that no Mux writes: in such a line and in none that the process writes.

And (c) each line of the severities WARN, ERROR and FATAL that the process writes is quoted outside of that section, or
belongs to those that the section "Inside the Mux" describes by their words.
"""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "log"))
import test_lines  # noqa: E402

SHORTEST_QUOTE = 8
SEVERE = ("WARN", "ERROR", "FATAL")
LOG_CHAPTER = "Log lines"
STATUS_CHAPTER = "Stop, and why it ended"
LIBRARY = "Not written by a Mux"

# The section "Inside the Mux": lines about these, and those with this beginning.
INSIDE = re.compile(r"mutex|^Exception", re.IGNORECASE)

GAPS = re.compile(r"\.\.\.(?=\s|$)|\b(?:N|A|B|\d+\.[\d.]+)\b")


class Handbook:
    def __init__(self, text):
        chapter = self.part(text, "## ", LOG_CHAPTER)
        library = self.part(chapter, "### ", LIBRARY)
        self.statuses = self.rows_of(self.part(text, "## ", STATUS_CHAPTER))
        self.quotes = [quote for row in self.rows_of(chapter.replace(library, "")) for quote in self.quotes_in(row[0])]
        self.quotes += [quote for row in self.statuses for quote in self.quotes_in(row[2])]
        self.library_quotes = [quote for row in self.rows_of(library) for quote in self.quotes_in(row[0])]

    @staticmethod
    def part(text, mark, title):
        """What stands below a heading, up to the next one of its rank."""
        return text.split(f"\n{mark}{title}\n", 1)[1].split(f"\n{mark}", 1)[0]

    @staticmethod
    def rows_of(text):
        """The cells of every row of the tables, without their heads."""
        rows = [[cell.strip() for cell in line.strip("|").split("|")]
                for line in text.splitlines() if line.startswith("|")]
        return [row for row in rows if not row[0].startswith("---") and row[0] not in ("Line", "Status")]

    @staticmethod
    def quotes_in(cell):
        return re.findall(r"`([^`]+)`", cell)


def stretches(quote):
    """What stands between the gaps of a quote."""
    return [part.strip() for part in GAPS.split(quote) if part.strip()]


def has(row, quote):
    return re.search(".*".join(map(re.escape, stretches(quote))), row.text, re.DOTALL) is not None


def is_by_process(row):
    return row.origin == "process"


def wrong_quotes(handbook, rows):
    """Those that break a rule, each with the reason."""
    by_process = [row for row in rows if is_by_process(row)]
    by_others = [row for row in rows if not is_by_process(row)]
    wrong = [(quote, "too short") for quote in handbook.quotes + handbook.library_quotes
             if max(map(len, stretches(quote)), default=0) < SHORTEST_QUOTE]
    wrong += [(quote, "no test raises it in the process") for quote in handbook.quotes
              if not any(has(row, quote) for row in by_process)]
    wrong += [(quote, "is no line at all") for quote in handbook.library_quotes
              if not any(has(row, quote) for row in by_others)]
    wrong += [(quote, "the process writes it") for quote in handbook.library_quotes
              if any(has(row, quote) for row in by_process)]
    return wrong


def unexplained(handbook, rows):
    """The lines that an operator meets and finds nowhere."""
    return [row for row in rows if is_by_process(row) and row.severity in SEVERE and not INSIDE.search(row.text)
            and re.search(r"[A-Za-z]{2}", row.text) and not any(has(row, quote) for quote in handbook.quotes)]


HANDBOOK = Handbook((ROOT / "docs" / "operations.md").read_text())
ROWS = test_lines.read_table()


class Lines(unittest.TestCase):
    def test_that_the_handbook_quotes_are_written_by_those_that_it_says(self):
        self.assertGreater(len(HANDBOOK.quotes), 100)
        self.assertGreater(len(HANDBOOK.library_quotes), 10)
        wrong = wrong_quotes(HANDBOOK, ROWS)
        self.assertEqual(wrong, [], "\n".join(f"{quote!r}: {reason}" for quote, reason in wrong))

    def test_that_warn_of_something_are_explained_in_the_handbook(self):
        missing = unexplained(HANDBOOK, ROWS)
        self.assertEqual(missing, [], "\n".join(f"{row.severity} {row.text}" for row in missing))


class Statuses(unittest.TestCase):
    def test_of_the_handbook_are_those_of_the_manual_page(self):
        page = (ROOT / "packaging" / "man" / "dw-hal-mux-brenk.8").read_text()
        section = page.split(".Sh EXIT STATUS\n", 1)[1].split("\n.Sh ", 1)[0]
        statuses = {row[0] for row in HANDBOOK.statuses if row[0].isdigit()}
        self.assertEqual(sorted(statuses), sorted(re.findall(r"^\.It (\d+)$", section, re.MULTILINE)))


if __name__ == "__main__":
    unittest.main()
