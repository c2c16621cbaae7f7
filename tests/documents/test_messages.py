"""docs/messages.md against the sources: every text that a visitor may see stands in both.

The texts are put together from the literals of the sources as the program puts them together:
pieces around "+", both sides of a "?:", formats, and sentences within sentences. A text that is
neither a message nor known as something else fails, so a new one cannot be overlooked.
"""
import pathlib
import re
import unittest
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = "docs/messages.md"
FOLDERS = "bridge", "extras", "platform"

# What the page shows for a value that differs from case to case.
SHOWN = {
    "status": "N",
    "size": "N",
    "digits": "70000",
    "address": "127.0.0.1",
    "std::to_string(port)": "8080",
    "std::to_string(count/1000)": "60",
    "std::strerror(error)": "REASON",
}

# Texts that stand in others: file, the function that gets them, how many arguments that gets, the
# text with braces for its values, and the value of other texts that they become. The first that
# fits holds.
PARTS = (
    ("platform/posix/HTTPClient.cpp", "place_", 1, ".*", "place_"),
    ("platform/posix/HTTPClient.cpp", None, None, r"\{\} seconds",
     "inWords(request_.timeoutInterval)"),
    ("platform/posix/HTTPClient.cpp", "fail", 2, ".*", "what"),
    ("platform/posix/HTTPClient.cpp", "fail", 1, ".*", "response.localizedDescription"),
    ("platform/posix/HTTPClient.cpp", "described", 1, ".*", "response.localizedDescription"),
    ("platform/http/HTTPReply.cpp", "fail", 1, ".*", "reply_.fault"),
    # What an absent text is shown as, within another or alone.
    ("extras/NSString.cpp", None, None, r"\(null\)", "response.localizedDescription"),
)
ALONE = "(null)"

# Files without any text for a visitor.
WITHOUT_MESSAGES = (
    "bridge/RequestCapture.h",         # names of CGI variables
    "extras/TextEncoding.cpp",         # the letters of Mac OS Roman
    "extras/UppercaseTable.cpp",       # letters
    "platform/charsets/CharsetNames.cpp",       # names of charsets
    "platform/linux/Portable.cpp",     # a format for numbers
    "platform/macos/AppleEvents.cpp",  # a library and its functions
    "platform/macos/Preferences.cpp",  # places of preferences, for the administrator
    "platform/elsewhere/Preferences.cpp",  # likewise, and names of variables
)

# Texts that are no messages: file, and the text with braces for its values.
NOT_MESSAGES = (
    (r"bridge/ChooseConnection\.cpp", r"QZ\w+|TCP/IP|APPLE|8080"),  # preferences and defaults
    (r"bridge/FinishResponse\.cpp", r"Content-type:(?s:.)*"),  # the header before a message
    (r"bridge/(RequestCapture|main)\.cpp", r"ApacheTunnel_\{\}|CONTENT_LENGTH|CLIPATH|CLICOMMAND"),
    (r"bridge/SendAppleEvent\.cpp", r"quiZ|xRUN|QUIZ"),
    (r"bridge/SendLocalURL\.cpp", r"http://\S+|POST|Content-(Length|Type)|application/x-\S+ \S+"),
    (r"bridge/ServerScript\.cpp", r"(setappleevent|initializeD)(?s:.)*"),  # sent to the server
    (r"extras/Characters\.h", r"[0-9A-F]{16}|-_\.!\S+"),
    (r"extras/NSString\+Extras\.cpp", r"[0-9A-Z]{36}|\xFE\xFF|\xFF\xFE"),
    (r"platform/http/HTTPReply\.cpp", r"HTTP/1\.|[a-z]+-[a-z]+|identity|chunked|charset"),
    (r"platform/URL\.cpp", r"http://"),
    (r"platform/elsewhere/AppleEvents\.cpp", r"XDG_RUNTIME_DIR|/run|/apple-events/"),
    (r"platform/posix/HTTPClient\.cpp", r"\{\} \{\} HTTP/1\.1(?s:.)*|\{\}Connection: close\s*"),
    (r"platform/elsewhere/Charsets\.cpp", r"UTF-16BE"),
    # The header before a message, and what keeps a file from being run, for the administrator.
    (r"platform/posix/Process\.cpp", r"Content-type: text/plain\s*|it is a folder"),
    # Messages that nobody sees.
    # The form's buffer was refused; what becomes of the request replaces this text.
    (r"bridge/RequestCapture\.cpp", r"Quintora CGI Error: Out of memory \(form data\)\."),
    # For callers with addresses of their own; the bridge's are numeric.
    (r"platform/posix/HTTPClient\.cpp", r'"\{\}" is not a numeric address\.'),
    # The bridge's time-out is one of whole seconds.
    (r"platform/posix/HTTPClient\.cpp", r"\{\} milliseconds"),
    # The last encoding that is tried, Mac OS Roman, has a character for every byte.
    (r"extras/NSString\+Extras\.cpp", r"ERROR: Unknown text encoding"),
)

# What the page lists although no source has it: the beginning of a header line of the server's.
FROM_THE_SERVER = {"Content-Type: text/html"}

# Headings for what a visitor sees without any text of the bridge.
WITHOUT_TEXT = ("An empty page", "A page that ends too soon", "Wrong letters",
                "A form without its fields", "The web server's own error page")

TOKEN = re.compile(r"""
    (?P<skip> \s+ | //[^\n]* | /\*.*?\*/ |
        ^[ \t]*\#[ \t]*(?:include|if|ifdef|ifndef|elif|else|endif|pragma)\b[^\n]* )
  | (?:u8|[uUL])?"(?P<string>(?:[^"\\\n]|\\.)*)"
  | (?P<character> (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+' )
  | (?P<word> [A-Za-z_]\w* | [0-9](?:[\w.]|'[0-9a-fA-F])* )
  | (?P<sign> ::|->|==|!=|<=|>=|\+=|-=|&&|\|\||\+\+|--|<<|. )
""", re.VERBOSE | re.DOTALL | re.MULTILINE)
CLOSING = {"(": ")", "[": "]", "{": "}"}
# What ends an expression as far as texts go; "<" and ">" are left to be part of names.
ENDS = {",", ";", "=", "+=", "==", "!=", "&&", "||", "return"}
FORMATS = "stringWithFormat", "statusMessage"
PLACEHOLDER = re.compile(r"%(@|d|ld|lu|%)")


class Literal(NamedTuple):
    text: str
    line: int


class Group(NamedTuple):
    opening: str
    items: list


class Value(NamedTuple):
    """A value within a text, by the source of its expression."""

    source: str


class Text(NamedTuple):
    """A text of the sources: its parts are strings and values."""

    parts: tuple
    file: str
    line: int
    call: str  # the function that gets it, "" without one
    count: int  # how many arguments that gets

    @property
    def form(self):
        """The text with braces for its values."""
        return "".join(part if isinstance(part, str) else "{}" for part in self.parts)


def unescaped(literal):
    return re.sub(r"\\(x[0-9a-fA-F]+|[0-7]{1,3}|u[0-9a-fA-F]{4}|.)", lambda escape: (
        {"n": "\n", "r": "\r", "t": "\t"}.get(escape[1]) or
        (chr(int(escape[1][1:], 16)) if escape[1][0] in "xu" else
         chr(int(escape[1], 8)) if escape[1][0].isdigit() else escape[1])), literal)


def tree(source):
    """The tokens, in nested groups by their brackets."""
    assert not re.search(r'\b(u8|[uUL])?R"', source), "raw strings are not understood here"
    stack = [Group("", [])]
    for token in TOKEN.finditer(source):
        kind, text = token.lastgroup, token[0]
        if kind == "skip":
            continue
        items = stack[-1].items
        if kind == "string":
            if items and isinstance(items[-1], Literal):
                items[-1] = Literal(items[-1].text + unescaped(token["string"]), items[-1].line)
            else:
                items.append(Literal(unescaped(token["string"]),
                                     source.count("\n", 0, token.start()) + 1))
        elif text in CLOSING:
            group = Group(text, [])
            items.append(group)
            stack.append(group)
        elif text in CLOSING.values():
            assert CLOSING[stack.pop().opening] == text, "brackets do not match"
        else:
            items.append(text)
    assert len(stack) == 1, "brackets do not match"
    return stack[0]


def split(items, at):
    parts = [[]]
    for item in items:
        if isinstance(item, str) and item in at:
            parts.append([])
        else:
            parts[-1].append(item)
    return parts


def source_of(items):
    texts = [item if isinstance(item, str) else f'"{item.text}"' if isinstance(item, Literal) else
             item.opening + source_of(item.items) + CLOSING[item.opening] for item in items]
    return "".join(texts)


class Reader:
    """Finds the texts of one file."""

    def __init__(self, file, source):
        self.file = file
        self.texts = []
        self.visit(tree(source), "")

    def visit(self, group, call):
        """Looks at each expression in a group; call is the name before the bracket."""
        arguments = [part for part in split(group.items, {","}) if part]
        for expression in split(group.items, ENDS):
            for parts, line in self.alternatives(expression):
                self.texts.append(Text(tuple(parts), self.file, line, call, len(arguments)))

    def alternatives(self, items):
        """The texts that an expression can be, none without a literal; visits what is within."""
        if "?" in items:
            self.others(items[:items.index("?")])
            return [text for side in split(items[items.index("?") + 1:], {":"})
                    for text in self.alternatives(side)]
        found, has_literal, line = [[]], False, 0
        for term in split(items, {"+", ":", "<<"}):
            texts = self.term(term)
            for text, text_line in texts:
                has_literal = has_literal or text_line > 0
                line = line or text_line
            found = [done + text for done in found for text, _ in texts]
        return [(parts, line) for parts in found] if has_literal else []

    def term(self, items):
        """What one operand can be; line 0 for what holds no literal of its own."""
        if len(items) == 1 and isinstance(items[0], Literal):
            return [([items[0].text], items[0].line)]
        if len(items) == 1 and isinstance(items[0], Group) and items[0].opening == "(":
            return self.alternatives(items[0].items) or [([Value(source_of(items))], 0)]
        if len(items) == 2 and items[0] in FORMATS and isinstance(items[1], Group):
            return self.formatted(items[1])
        self.others(items)
        return [([Value(source_of(items))], 0)]

    def others(self, items):
        """Visits the groups of what is no text itself."""
        for before, item in zip([""] + items, items):
            if isinstance(item, Group):
                self.visit(item, before if isinstance(before, str) else "")
            elif isinstance(item, Literal):
                self.texts.append(Text((item.text,), self.file, item.line, "", 0))

    def formatted(self, group):
        form, *arguments = split(group.items, {","})
        if len(form) != 1 or not isinstance(form[0], Literal):
            self.others(group.items)
            return [([Value(source_of([group]))], 0)]
        values = [argument for item in arguments for argument in (
            split(item[0].items, {","}) if isinstance(item[0], Group) else [item])]
        for value in values:
            self.others(value)
        parts = []
        for index, piece in enumerate(PLACEHOLDER.split(form[0].text)):
            if index % 2 == 0:
                parts.append(piece)
            else:
                parts.append("%" if piece == "%" else Value(source_of(values.pop(0))))
        return [(parts, form[0].line)]


def sources(root=ROOT):
    return [path for folder in FOLDERS for path in sorted((root / folder).rglob("*"))
            if path.suffix in (".cpp", ".h")]


def texts_of_sources():
    texts = []
    for path in sources():
        file = path.relative_to(ROOT).as_posix()
        if file not in WITHOUT_MESSAGES:
            texts += Reader(file, path.read_text(encoding="utf-8")).texts
    return texts


def is_other(text):
    """Whether the text is known as no message; what has no letter is none."""
    return not re.search("[A-Za-z]", text.form.replace("%@", "")) or any(
        re.fullmatch(file, text.file) and re.fullmatch(form, text.form)
        for file, form in NOT_MESSAGES)


def part_of(text):
    """The value that the text becomes in other texts; None when it is none."""
    for file, call, count, form, value in PARTS:
        if (file == text.file and call in (None, text.call) and count in (None, text.count)
                and re.fullmatch(form, text.form)):
            return value
    return None


def messages_of_sources():
    """Every message, as the page shows it."""
    messages, values = [], {name: [shown] for name, shown in SHOWN.items()}
    for text in texts_of_sources():
        if is_other(text):
            continue
        value = part_of(text)
        if value:
            values.setdefault(value, []).append(text)
        if text.form == ALONE or text.file.startswith("bridge/"):
            messages.append(text)
        elif not value:
            raise AssertionError(f"{text.file}:{text.line}: may a visitor see {text.form!r}? Then "
                                 f"it belongs in {PAGE}; else say in this test what it is")
    return {shown for text in messages for shown in expanded(text, values)}


def expanded(text, values):
    """All that a text can be, with its values in their places."""
    if isinstance(text, str):
        return [text]
    results = [""]
    for part in text.parts:
        if isinstance(part, Value):
            if part.source not in values:
                raise AssertionError(f"{text.file}:{text.line}: {part.source} is not known")
            pieces = [piece for value in values[part.source] for piece in expanded(value, values)]
        else:
            pieces = [part]
        results = [result + piece for result in results for piece in pieces]
    return results


class Row(NamedTuple):
    text: str
    cells: list


def rows_of_page():
    """The rows of the page's tables whose first cell is a text. What is common to the texts of a
    section begins a line above its table: a text that ends with a colon."""
    rows, prefix = [], ""
    for line in (ROOT / PAGE).read_text(encoding="utf-8").splitlines():
        if line.startswith("#"):
            prefix = ""
        common = re.match(r"`([^`]+:)` and(, without a blank,)?", line)
        if common:
            prefix = common[1] + ("" if common[2] else " ")
        cells = [cell.strip() for cell in line.strip().strip("|").split(" | ")]
        text = re.fullmatch(r"`([^`]+)`", cells[0])
        if line.startswith("|") and text:
            rows.append(Row(prefix + text[1], cells))
    return rows


class Messages(unittest.TestCase):
    maxDiff = None

    def test_every_message_of_the_sources_is_on_the_page(self):
        listed = {row.text for row in rows_of_page()}
        self.assertEqual(sorted(messages_of_sources() - listed), [])

    def test_every_text_on_the_page_is_a_message_of_the_sources(self):
        listed = {row.text for row in rows_of_page()}
        self.assertEqual(listed - messages_of_sources(), FROM_THE_SERVER)

    def test_no_text_is_on_the_page_twice(self):
        texts = [row.text for row in rows_of_page()]
        self.assertEqual([text for text in set(texts) if texts.count(text) > 1], [])

    def test_every_row_says_cause_cure_and_what_confirms_it(self):
        for row in rows_of_page():
            with self.subTest(row.text):
                self.assertEqual(len(row.cells), 4)
                self.assertTrue(all(row.cells))

    def test_pages_without_a_text_are_explained(self):
        page = (ROOT / PAGE).read_text(encoding="utf-8")
        for heading in WITHOUT_TEXT:
            with self.subTest(heading):
                self.assertRegex(page, rf"(?m)^## {re.escape(heading)}\n\n\S")

    def test_the_seconds_on_the_page_are_those_of_the_bridge(self):
        source = (ROOT / "bridge/SendLocalURL.cpp").read_text(encoding="utf-8")
        self.assertIn(f"kTimeoutInterval({SHOWN['std::to_string(count/1000)']})", source)


class Lists(unittest.TestCase):
    """What this test knows about the sources is about them as they are."""

    def test_files_without_messages_are_there(self):
        for file in WITHOUT_MESSAGES:
            self.assertTrue((ROOT / file).is_file(), file)

    def test_each_entry_of_no_messages_is_needed(self):
        texts = texts_of_sources()
        for entry in NOT_MESSAGES:
            with self.subTest(entry):
                self.assertTrue(any(
                    re.fullmatch(entry[0], text.file) and re.fullmatch(entry[1], text.form)
                    for text in texts))

    def test_no_literal_is_overlooked(self):
        """The reader above gives back each literal that a plain search finds."""
        for path in sources():
            file = path.relative_to(ROOT).as_posix()
            if file in WITHOUT_MESSAGES:
                continue
            source = path.read_text(encoding="utf-8")
            literals = [unescaped(token["string"]) for token in TOKEN.finditer(source)
                        if token.lastgroup == "string"]
            found = "\0".join(text.form for text in Reader(file, source).texts)
            for literal in literals:
                with self.subTest(file=file, literal=literal):
                    pieces = PLACEHOLDER.split(literal)[::2]
                    self.assertTrue(all(piece in found for piece in pieces))


if __name__ == "__main__":
    unittest.main()
