"""lines.tsv against the sources and the program: every log line under its operation.

Log readers search lines by the operation in front of them, so lines.tsv has each line of the product once for each
operation that writes it: "= OPERATION" begins those of one operation, and each row has, between tabs,

    severity, "process" or "unit" or "never", a test or a reason, the text

"process": the running program writes the line during that system test. "unit": the product's class does during that
test (PROGRAM NAME); the process cannot be brought to it from outside. "never": nothing can, for the reason given. In a
text an ellipsis is a gap, and \\n a line break. A blank stands between two tests that reach one text in two places.

Held together are: the log statements in the sources (none without a row, none that no test reaches), the rows (each is
raised), and what the tests of the process write (no line without a row).

Usage: test_lines.py PROGRAM...  the test programs, by their paths.
"""
import collections
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import typing
import unittest

import log_lines
from log_lines import GAP

TABLE = pathlib.Path(__file__).with_name("lines.tsv")
SEVERITIES = {"fatal": "FATAL", "error": "ERROR", "warning": "WARN", "info": "INFO", "debug": "DEBUG", "verbose": "VERB"}
SECONDS_PER_TEST = 120
FURTHER_RUNS = 4
SYSTEM_TESTS = "system_tests"


# Literals beside log statements that are no lines, by file.
NOTHING = re.compile(r"(?!)")
NO_LINES = {
    "mux/BrenkMuxRouting.cpp": re.compile(r"Error in request$"),  # what clients get
    "mux/messages/RequestTable.cpp": re.compile(r"[A-Z_ -]+$"),  # names of message codes
}


class Row(typing.NamedTuple):
    severity: str
    origin: str
    test: str
    operation: str
    text: str

    def can_be_of(self, statement):
        """Whether the statement can write it: its own literals, or one of those beside it in its file; a line without
        any literal belongs to the file that has the operation."""
        if not (SEVERITIES.get(statement.severity, self.severity) == self.severity
                and any(log_lines.pattern_of(text).fullmatch(self.text) for text in statement.texts)):
            return False
        if GAP not in statement.texts:
            return True
        literals = log_lines.loose_literals(statement.file)
        literals |= log_lines.loose_literals(log_lines.TABLES.get(statement.file, statement.file))
        name = bracketed(self.operation).rpartition("::")[2]
        return (any(len(literal) > 3 and self.text.startswith(literal) for literal in literals)
                or not re.search(r"\w{3}", self.text) and f"{name}(" in log_lines.source_of(statement.file))

    @property
    def pattern(self):
        return log_lines.pattern_of(self.text)

    def says(self, line):
        """Whether it is this line, behind which the output of something else may follow."""
        return (line.severity == self.severity and line.operation == self.operation
                and (self.pattern.fullmatch(line.text) or self.pattern.fullmatch(line.text.split("\n")[0].rstrip("\r")))
                is not None)


def read_table():
    rows, operation = [], None
    for line in TABLE.read_text().splitlines():
        if line.startswith("= "):
            operation = line[2:]
        elif line and not line.startswith("#"):
            severity, origin, test, text = line.split("\t")
            rows.append(Row(severity, origin, test, operation, text.replace("\\n", "\n")))
    return rows


def bracketed(operation):
    """The name that stands in brackets in front of the message: the signature without result and parameters."""
    depth = 0
    end = operation.index("(")
    for index in range(end - 1, -1, -1):
        depth += {">": 1, "<": -1}.get(operation[index], 0)
        if operation[index] == " " and depth == 0:
            return operation[index + 1:end]
    return operation[:end]


class Runs:
    """The tests that the table names, and what was logged meanwhile by test and origin."""

    def __init__(self, programs, rows):
        self.programs = {pathlib.Path(program).name: pathlib.Path(program).resolve() for program in programs}
        self.lines = {}
        with concurrent.futures.ThreadPoolExecutor(3 * (os.cpu_count() or 1)) as pool:
            tests = {(row.origin, row.test) for row in rows if row.origin != "never"}
            for (origin, test), lines in zip(tests, pool.map(self.run, tests)):
                self.lines[origin, test] = lines

    def run_again(self, origin_and_test):
        before, lines = self.lines[origin_and_test], self.run(origin_and_test)
        if not isinstance(before, str):
            self.lines[origin_and_test] = lines if isinstance(lines, str) else before + lines

    def run(self, origin_and_test):
        origin, test = origin_and_test
        program, _, name = test.rpartition(" ")
        path = self.programs[program or SYSTEM_TESTS]
        with tempfile.TemporaryDirectory() as folder:
            try:
                done = subprocess.run([path, f"--gtest_filter={name}"], cwd=path.parent,
                                      env={**os.environ, "MUX_LOG_RECORD": folder}, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=SECONDS_PER_TEST,
                                      check=False)
            except subprocess.TimeoutExpired:
                return f"{test} takes longer than {SECONDS_PER_TEST} s"
            record = pathlib.Path(folder, f"{origin}.log")
            if done.returncode != 0 or not record.exists():
                return f"{test} failed, or logged nothing:\n{done.stdout.decode(errors='replace')[-2000:]}"
            return list(log_lines.parse_log(record.read_bytes().decode(errors="replace")))


class Lines(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rows = read_table()
        cls.rows_of = collections.defaultdict(list)
        for row in cls.rows:
            cls.rows_of[row.operation].append(row)
        cls.runs = Runs(sys.argv[1:], cls.rows)
        # Some lines depend on how threads meet.
        for _ in range(FURTHER_RUNS):
            for key in {(row.origin, row.test) for row in cls.missing_rows()}:
                cls.runs.run_again(key)

    @classmethod
    def missing_rows(cls):
        """Those whose line none of the tests raised."""
        raised = collections.defaultdict(list)
        for (origin, _), lines in cls.runs.lines.items():
            for line in lines:
                if isinstance(line, log_lines.LogLine):
                    raised[origin, line.operation].append(line)
        return [row for row in cls.rows if row.origin != "never"
                and not any(row.says(line) for line in raised[row.origin, row.operation])]

    def rows_for(self, line):
        return [row for row in self.rows_of[line.operation] if row.says(line)]

    def test_that_the_tests_pass(self):
        failures = [lines for lines in self.runs.lines.values() if isinstance(lines, str)]
        self.assertEqual(failures, [], "\n".join(failures))

    def test_that_stand_in_the_table_are_raised(self):
        missing = self.missing_rows()
        self.assertEqual(missing, [], "\n".join(map(str, missing)))

    def test_that_the_process_writes_stand_in_the_table(self):
        unknown = {(line.severity, line.operation, line.text) for (origin, _), lines in self.runs.lines.items()
                   if origin == "process" for line in lines
                   if isinstance(line, log_lines.LogLine) and not self.rows_for(line)}
        self.assertEqual(unknown, set(), "\n".join(map(repr, unknown)))

    def test_that_the_sources_can_write_are_raised_under_an_operation_of_the_table(self):
        raised = collections.defaultdict(set)
        for lines in self.runs.lines.values():
            for line in lines:
                if isinstance(line, log_lines.LogLine):
                    raised[line.line].update(self.rows_for(line))
        missing = [f"{statement.file}:{statement.line}: {statement.texts}" for statement in log_lines.statements()
                   if not any(row.can_be_of(statement) for row in raised[statement.line])
                   and not any(row.origin == "never" and row.text in statement.texts for row in self.rows)]
        self.assertEqual(missing, [], "\n".join(missing))

    def test_that_one_statement_can_write_all_have_a_row(self):
        missing = [f"{statement.file}:{statement.line}: {text}" for statement in log_lines.statements()
                   for text in statement.texts
                   if not any(log_lines.pattern_of(text).fullmatch(row.text) for row in self.rows)]
        self.assertEqual(missing, [], "\n".join(missing))

    def test_that_come_out_of_tables_in_the_sources_all_have_a_row(self):
        files = {statement.file for statement in log_lines.statements() if GAP in statement.texts}
        missing = [f"{file}: {literal}" for file in sorted(files | set(log_lines.TABLES.values()))
                   for literal in log_lines.loose_literals(file)
                   if re.search(r"\w\W* \W*\w.*\w", literal) and not NO_LINES.get(file, NOTHING).match(literal)
                   and not any(literal in row.text or literal == row.operation for row in self.rows)]
        self.assertEqual(missing, [], "\n".join(missing))

    def test_that_the_process_writes_have_the_operation_in_both_places(self):
        for (origin, _), lines in self.runs.lines.items():
            if origin == "process" and not isinstance(lines, str):
                for line in lines:
                    self.assertEqual(line.function, bracketed(line.operation), line)

    def test_that_stand_in_the_table_stand_there_once(self):
        repeated = [key for key, count in collections.Counter(
            (row.operation, row.severity, row.text) for row in self.rows).items() if count > 1]
        self.assertEqual(repeated, [])


class Reading(unittest.TestCase):
    """The rules themselves, on made-up sources and lines."""

    def statement(self, source):
        return list(log_lines.statements_in("made-up.cpp", source))[0]

    def test_a_statement_has_its_line_its_severity_and_gaps(self):
        self.assertEqual(self.statement('// one\n#define two\\\n 3\nMUX_LOG(plog::info) << "Door \\"" << id << "\\" is "\n'
                                        '    "open";\n'),
                         ("made-up.cpp", 4, "info", (f'Door "{GAP}" is open',)))

    def test_a_choice_is_several_texts(self):
        self.assertEqual(self.statement('MUX_LOG(plog::info) << (open ? "open" : "shut") << f(a << 1);\n').texts,
                         (f"open{GAP}", f"shut{GAP}"))

    def test_a_line_is_taken_apart(self):
        text = "2026-01-02 03:04:05.678 INFO  [1] [A::B@7] void A::B(int (*)(), C<D>) const Door\nis open\n"
        following = "2026-01-02 03:04:05.678 WARN  [1] [A::A@8] A::A() shut\n"
        self.assertEqual(list(log_lines.parse_log(text + following)),
                         [("INFO", "A::B", 7, "void A::B(int (*)(), C<D>) const", "Door\nis open"),
                          ("WARN", "A::A", 8, "A::A()", "shut")])

    def test_the_bracketed_name_has_neither_result_nor_parameters(self):
        self.assertEqual(bracketed("std::unique_ptr<A, B> C::D(E)"), "C::D")
        self.assertEqual(bracketed("C::C()"), "C::C")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
