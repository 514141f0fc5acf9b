"""Log statements of the sources and lines of a log, taken apart."""
import functools
import pathlib
import re
import typing

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("diagnostics", "json", "threading", "net", "messages", "gateway", "mux")
GAP = "\N{HORIZONTAL ELLIPSIS}"

COMMENT_OR_STRING = re.compile(r'//[^\n]*|R"\((?P<raw>.*?)\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)
STRING = re.compile(r'"((?:\\.|[^"\\\n])*)"')
STATEMENT = re.compile(r"MUX_LOG\((.*?)\)\s*<<(.*?);(?=\n| \})", re.DOTALL)
LINE = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} ([A-Z]+) +\[\d+\] \[(.*?)@(\d+)\] ", re.MULTILINE)


# Where the texts of a file's statements stand when they do not stand in the file itself.
TABLES = {"mux/Routing.cpp": "mux/messages/RequestTable.cpp"}


class Statement(typing.NamedTuple):
    """One log statement: where it stands, and the texts that it may write, with gaps for what is no literal."""
    file: str
    line: int
    severity: str
    texts: typing.Tuple[str, ...]


class LogLine(typing.NamedTuple):
    """One line of a log; operation is the whole signature, function the name in the bracketed place."""
    severity: str
    function: str
    line: int
    operation: str
    text: str


@functools.lru_cache(maxsize=None)
def source_of(file):
    return without_comments((ROOT / file).read_text())


@functools.lru_cache(maxsize=None)
def loose_literals(file):
    """The literals of a file that stand in no log statement."""
    joined = re.sub(r'(?<!\\)"\s*"', "", STATEMENT.sub("", source_of(file)))
    return set(literals_in(joined))


def source_files():
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(ROOT).as_posix(), path.read_text()


def without_comments(source):
    """The source without comments and preprocessor lines, with the literals that the compiler joins joined; the number
    of lines above each statement stays."""
    def blank(text):
        return "\n" * text.count("\n")

    def kept(match):
        if match["raw"] is not None:
            return '"' + re.sub(r"\s+", " ", match["raw"].replace('"', "'")) + '"' + blank(match[0])
        return "" if match[0].startswith("//") else match[0]

    source = COMMENT_OR_STRING.sub(kept, source)
    source = re.sub(r"^\s*#.*(?:\\\n.*)*$", lambda match: blank(match[0]), source, flags=re.MULTILINE)
    return source


def operands_of(statement):
    """What stands between the << of a statement, those inside of parentheses and literals left alone."""
    operands, depth = [""], 0
    for token in re.findall(r'"(?:\\.|[^"\\])*"|<<|.', statement, re.DOTALL):
        depth += {"(": 1, ")": -1}.get(token, 0)
        if token == "<<" and depth == 0:
            operands.append("")
        else:
            operands[-1] += token
    return [operand.strip() for operand in operands]


def literals_in(text):
    return [literal.replace('\\"', '"').replace("\\n", "\n") for literal in STRING.findall(text)]


def choices_of(operand):
    """The texts that an operand may stand for: that of a literal, both of a choice between two, or a gap."""
    if STRING.sub("", operand).strip() == "":
        return ["".join(literals_in(operand))]
    if "?" in operand and len(literals_in(operand)) > 1:
        return [literal for literal in literals_in(operand) if literal] or [GAP]
    return [GAP]


def texts_of(operands):
    """The texts of a log statement, with gaps for what is no literal."""
    texts = [""]
    for operand in operands_of(operands):
        texts = [text + choice for text in texts for choice in choices_of(operand)]
    return tuple(re.sub(f"{GAP}+", GAP, text) for text in texts)


def statements_in(file, source):
    source = without_comments(source)
    for match in STATEMENT.finditer(source):
        severity = re.search(r"plog::(\w+)$", match[1])
        yield Statement(file, source.count("\n", 0, match.start()) + 1, severity[1] if severity else GAP,
                        texts_of(match[2]))


def statements():
    for file, source in source_files():
        yield from statements_in(file, source)


def signature_end(message):
    """Behind the parameters, and the const of a member function."""
    depth = 0
    for index, character in enumerate(message):
        depth += {"(": 1, ")": -1}.get(character, 0)
        if character == ")" and depth == 0:
            return index + 1 + (len(" const") if message.startswith(" const ", index + 1) else 0)
    return len(message)


def parse_log(text):
    """The lines of a log, a text of several lines as one."""
    heads = list(LINE.finditer(text))
    ends = [head.start() - 1 for head in heads[1:]] + [len(text.rstrip("\n"))]
    for head, end in zip(heads, ends):
        message = text[head.end():end]
        length = signature_end(message)
        yield LogLine(head[1], head[2], int(head[3]), message[:length], message[length + 1:])


def pattern_of(text):
    """A regular expression for a text with gaps."""
    return re.compile(".*".join(re.escape(part) for part in text.split(GAP)), re.DOTALL)
