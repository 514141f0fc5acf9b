"""The operator's handbook against the sources: which lines it explains, and which the program can write.

Both directions, by two rules. What the handbook quotes in the chapter about the log, and in its table of exit statuses,
stands in one text of the sources, a stretch of SHORTEST_QUOTE characters at least; "...", the lone letters N, A and B
and a version are gaps. And every text that the sources have for a line of the severities WARN, ERROR and FATAL is quoted there, at least a stretch of it, or belongs to
those that the handbook's last section describes by their words.

A text of the sources is a string literal of more than one word, or all literals of one log statement. Statements that
name a lower severity are only looked up, never asked for; so are the texts named in EXEMPT.
"""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "log"))
import log_lines  # noqa: E402
import test_lines  # noqa: E402

SHORTEST_QUOTE = 8

# Texts that are no lines of these severities, by file, with what they are.
EXEMPT = {
    "mux/AnswerTexts.cpp": r"",  # what clients get
    "mux/CommandLine.cpp": r"",  # what --help prints
    "mux/Version.h": r"",  # what --version prints
    "mux/BrenkMuxRouting.cpp": r"Error in request$",  # what clients get
    "mux/BrenkMuxConfiguration.cpp": r"Parsed configuration data|Current MUX is |Configuration contains|The gateway have",
    "mux/RoutingTable.cpp": r"[A-Z_ -]+$",  # names of message codes
    "mux/EventBuilder.cpp": r"[A-Z ]+ EVENT\. ",  # of severity INFO
    "mux/messages/MuxMessageBuilderRequests.cpp": r"Current whitelist message doesn't contain",  # of severity DEBUG
    "messages/BrenkLockState.cpp": r"(Battery|No battery|Internal resistance|minimum) ",  # what clients get
    "gateway/VirtualGatewayOperations.cpp": r"Enqueuing [A-Z_]+ message\.$|.*essage bytes for check",  # of severity DEBUG
    "diagnostics/DumpFile.cpp": r"gcore -o ",  # a command
    "diagnostics/ProcessEnd.cpp": r"Exit for common errors\.$",  # of a handler that no report calls
    "diagnostics/CaughtException.cpp": r"unknown exception$",  # at the end of a line
    "messages/ArgumentNullException.h": r"",  # at the end of a line
    "messages/InvalidArgumentException.h": r"",
    "messages/NullObjectException.h": r"",
}

# The section "Inside the Mux": lines about these, and those with these beginnings.
INSIDE = re.compile(r"mutex|lock\b|null|^Exception", re.IGNORECASE)

COMMENT_OR_STRING = re.compile(r'//[^\n]*|R"\((?P<raw>.*?)\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)
STRING = re.compile(r'"((?:\\.|[^"\\\n])*)"')
STATEMENT = re.compile(r"MUX_LOG(?:_FROM)?\((.*?)\)\s*<<(.*?);\n", re.DOTALL)
LOWER_SEVERITY = re.compile(r"plog::(?:info|debug|verbose)$")
WORD = re.compile(r"[A-Za-z]{2}")
SEVERAL_WORDS = re.compile(r"[A-Za-z]\S* +\S")
GAP = "\N{HORIZONTAL ELLIPSIS}"


def without_comments(source):
    def kept(match):
        if match["raw"] is not None:
            return '"' + re.sub(r"\s+", " ", match["raw"].replace('"', "'")) + '"'
        return "" if match[0].startswith("//") else match[0]

    source = COMMENT_OR_STRING.sub(kept, source)
    source = re.sub(r"^\s*#.*$", "", source, flags=re.MULTILINE)
    return re.sub(r'"\s*"', "", source)


def text_of(operands):
    """All literals of a log statement, with gaps for what stands between them."""
    gaps_and_literals = STRING.split(operands)
    parts = [part for number, part in enumerate(gaps_and_literals) if number % 2 == 1]
    return (GAP if STRING.match(operands.strip()) is None else "") + GAP.join(parts)


class Sources:
    """The texts of the product: those that the handbook may quote, and those that it must."""

    def __init__(self):
        self.known, self.wanted = [], []
        for folder in FOLDERS:
            for path in sorted((ROOT / folder).rglob("*")):
                if path.suffix in (".h", ".cpp"):
                    self.read(path.relative_to(ROOT).as_posix(), without_comments(path.read_text()))

    def read(self, name, source):
        for severity, operands in STATEMENT.findall(source):
            text = text_of(operands)
            self.known.append(text)
            if not LOWER_SEVERITY.search(severity) and WORD.search(text):
                self.want(name, text)
        for literal in STRING.findall(STATEMENT.sub("", source)):
            self.known.append(literal)
            if SEVERAL_WORDS.match(literal):
                self.want(name, literal)

    def want(self, name, text):
        exempt = EXEMPT.get(name)
        if exempt is None or re.match(exempt, text) is None:
            self.wanted.append((name, text))


class Handbook:
    def __init__(self):
        self.text = (ROOT / "docs" / "operations.md").read_text()
        self.quotes = []
        for row in self.rows_of("Lines in the log"):
            self.quotes += re.findall(r"`([^`]+)`", row[0])
        for row in self.rows_of("Stop, and why it ended"):
            self.quotes += re.findall(r"`([^`]+)`", row[2])

    def rows_of(self, chapter):
        """The cells of every row of the chapter's tables, without their heads."""
        body = self.text.split(f"\n## {chapter}\n", 1)[1].split("\n## ", 1)[0]
        rows = [[cell.strip() for cell in line.strip("|").split("|")]
                for line in body.splitlines() if line.startswith("|")]
        return [row for above, row in zip([[""]] + rows, rows)
                if not row[0].startswith("---") and row[0] not in ("Line", "Status")]

    @staticmethod
    def stretches(quote):
        """What stands between the gaps of a quote."""
        return [part.strip() for part in re.split(r"\.\.\.(?=\s|$)|\b(?:N|A|B|\d+\.[\d.]+)\b", quote) if part.strip()]


SOURCES = Sources()
HANDBOOK = Handbook()


class Lines(unittest.TestCase):
    def test_that_the_handbook_quotes_stand_in_the_sources(self):
        self.assertGreater(len(HANDBOOK.quotes), 100)
        for quote in HANDBOOK.quotes:
            stretches = HANDBOOK.stretches(quote)
            self.assertTrue(any(all(stretch in text for stretch in stretches) for text in SOURCES.known),
                            f"no text has: {quote!r}")
            self.assertGreaterEqual(max(map(len, stretches)), SHORTEST_QUOTE, quote)

    def test_that_warn_of_something_are_explained_in_the_handbook(self):
        self.assertGreater(len(SOURCES.wanted), 100)
        stretches = {stretch for quote in HANDBOOK.quotes for stretch in HANDBOOK.stretches(quote)
                     if len(stretch) >= SHORTEST_QUOTE}
        missing = [f"{name}: {text}" for name, text in SOURCES.wanted
                   if not INSIDE.search(text) and not any(stretch in text for stretch in stretches)]
        self.assertEqual(missing, [], "\n".join(missing))

    def test_that_are_exempt_are_there(self):
        for name, pattern in EXEMPT.items():
            literals = STRING.findall(without_comments((ROOT / name).read_text()))
            self.assertTrue(any(re.match(pattern, literal) for literal in literals), name)


class Statuses(unittest.TestCase):
    def test_of_the_handbook_are_those_of_the_manual_page(self):
        page = (ROOT / "packaging" / "man" / "dw-hal-mux-brenk.8").read_text()
        section = page.split(".Sh EXIT STATUS\n", 1)[1].split("\n.Sh ", 1)[0]
        statuses = [row[0] for row in HANDBOOK.rows_of("Stop, and why it ended") if row[0].isdigit()]
        self.assertEqual(sorted(set(statuses)), sorted(re.findall(r"^\.It (\d+)$", section, re.MULTILINE)))


class Reading(unittest.TestCase):
    """The rules themselves, on made-up sources."""

    def texts(self, source):
        sources = Sources.__new__(Sources)
        sources.known, sources.wanted = [], []
        sources.read("made-up.cpp", without_comments(source))
        return sources.known, [text for _, text in sources.wanted]

    def test_a_line_is_one_text_with_gaps_for_what_is_no_literal(self):
        text = f"Door {GAP} is open"
        self.assertEqual(self.texts('MUX_LOG(plog::error) << "Door " << id << " is "\n    "open";\n'), ([text], [text]))

    def test_a_lower_severity_is_known_and_not_wanted(self):
        self.assertEqual(self.texts('MUX_LOG(plog::info) << "Door is open";\n'), (["Door is open"], []))

    def test_a_text_in_a_table_is_wanted_and_a_comment_is_not(self):
        self.assertEqual(self.texts('{4, "Door is open"},  // "Door is shut"\n'), (["Door is open"], ["Door is open"]))


if __name__ == "__main__":
    unittest.main()
