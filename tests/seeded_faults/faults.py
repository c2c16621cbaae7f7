"""Small faults for C++ sources (mutations), and the judgements on those that change nothing.

Comments and preprocessor lines are not changed, and a fault concerns one line only.
"""
import collections
import hashlib
import re
from typing import NamedTuple


class Fault(NamedTuple):
    """A line of a file, and the faulty line that replaces it."""

    file: str
    number: int
    before: str
    after: str
    kind: str
    place: int  # among the same faults in equal lines, from 1

    @property
    def key(self):
        """Identifies the fault, in later versions of the file, too."""
        return f"{self.file} {self.place}\n- {self.before.strip()}\n+ {self.after.strip()}"

    def applied_to(self, text):
        lines = text.split("\n")
        assert lines[self.number - 1] == self.before
        lines[self.number - 1] = self.after
        return "\n".join(lines)


TOKEN = re.compile(r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<!\w)'(?:\\.|[^'\\\n])+'""", re.DOTALL)
DIRECTIVE = re.compile(r"^[ \t]*#(?:\\\n|[^\n])*", re.MULTILINE)
OPERATORS = {
    "comparison": {"<": "<=", ">": ">=", "<=": "<", ">=": ">", "==": "!=", "!=": "=="},
    "logic": {"&&": "||", "||": "&&"},
    "arithmetic": {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "*": "+", "%": "/", "<<": ">>",
                   ">>": "<<", "|": "&", "&": "|"},
}
OPERATOR = re.compile(r"(?<= )(<=|>=|==|!=|&&|\|\||\+=|-=|<<|>>|[-<>+*%|&])(?= |$)")
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9A-Fa-f]+|[0-9]+)(?=[uU]?\b)(?!\.)")
NEGATION = re.compile(r"!(?=[\w(*])")
BOOLEAN = re.compile(r"\b(true|false)\b")
RETURN = re.compile(
    r"\breturn (?!true;|false;|[0-9]+;|std::nullopt;|nullptr;|\{)(?P<value>[^;]+);")
CONDITION = re.compile(r"\b(?:if|while) \(")
# A statement that consists of a call, an assignment or a jump only.
STATEMENT = re.compile(r"""^\s+(?!return\b|if\b|for\b|while\b|switch\b)
    ( [\w:.>*()\[\]-]+ \(.*\) | [\w:.>*\[\]-]+ [ ] [-+|&*]?= [ ] .* | \+\+\w+
    | break | continue | return );$""", re.VERBOSE)


def masked(text):
    """The text with comments and the contents of literals blanked; positions do not change."""
    def mask(match):
        token = match[0]
        if token[0] in "\"'":
            return token[0] + "_" * (len(token) - 2) + token[-1]
        return re.sub(r"[^\n]", " ", token)
    return DIRECTIVE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), TOKEN.sub(mask, text))


def end_of_condition(line, start):
    """The position of the parenthesis that closes the one before start; None if on another line."""
    depth = 1
    for at in range(start, len(line)):
        depth += {"(": 1, ")": -1}.get(line[at], 0)
        if depth == 0:
            return at
    return None


def changes(code, line):
    """All faults of a line: kind, start, end and replacement."""
    for match in OPERATOR.finditer(code):
        for kind, table in OPERATORS.items():
            if match[0] in table:
                yield kind, *match.span(), table[match[0]]
    for match in NUMBER.finditer(code):
        value = int(match[0], 0) if match[0][:2] in ("0x", "0X") else int(match[0])
        for other in (value + 1, value - 1):
            if other >= 0:
                form = f"0x{other:X}" if match[0][:2] in ("0x", "0X") else str(other)
                yield "number", *match.span(), form
    for match in NEGATION.finditer(code):
        yield "negation", *match.span(), ""
    for match in BOOLEAN.finditer(code):
        yield "truth", *match.span(), {"true": "false", "false": "true"}[match[0]]
    for match in RETURN.finditer(code):
        yield "returned value", *match.span("value"), "{}"
    for match in CONDITION.finditer(code):
        end = end_of_condition(code, match.end())
        if end is not None:
            yield "branch", match.end(), end, f"false && ({line[match.end():end]})"
    match = STATEMENT.match(code.rstrip())
    if match:
        yield "statement", match.start(1), match.end(), "{}"
    for match in TOKEN.finditer(line):
        if code[match.start()] not in "\"'":
            continue
        character = re.search(r"(?<![\\\w])[A-Za-z ]|[!-/:-@]", match[0][1:-1])
        if character:
            at = match.start() + 1 + character.start()
            yield "text", at, at + 1, "x" if line[at] != "x" else "y"


def faults_in(file, text):
    """All faults that can be seeded in a file."""
    faults, places = {}, collections.Counter()
    lines = zip(masked(text).split("\n"), text.split("\n"))
    for number, (code, line) in enumerate(lines, 1):
        for kind, start, end, instead in changes(code, line):
            after = line[:start] + instead + line[end:]
            if (number, after) not in faults:
                places[line.strip(), after.strip()] += 1
                place = places[line.strip(), after.strip()]
                faults[number, after] = Fault(file, number, line, after, kind, place)
    return list(faults.values())


def in_random_order(faults, seed):
    """An order that depends on the seed and the lines only, not on other changes in a file."""
    return sorted(faults,
                  key=lambda fault: hashlib.sha256(f"{seed} {fault.key}".encode()).digest())


def read_judgements(text):
    """The judgements of a file: the reasons by the faults' keys."""
    judgements = {}
    text = re.sub(r"^#.*\n", "", text, flags=re.MULTILINE).strip()
    for record in re.split(r"\n{2,}", text) if text else []:
        match = re.fullmatch(r"(\S+ \d+\n- .*\n\+ .*)\n= (.+(?:\n  .+)*)", record)
        if not match:
            raise ValueError(f"not a judgement:\n{record}")
        judgements[match[1]] = match[2]
    return judgements
