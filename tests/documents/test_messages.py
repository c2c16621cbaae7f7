"""docs/messages.md against the tables of messages: every text that a visitor may see is in both."""
import ast
import pathlib
import re
import unittest

from tests.support.messages_page import FROM_THE_SERVER, PAGE, rows_of_page

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXTS = r'(?:"(?:[^"\\]|\\.)*"[\s,]*)+'
CONSTANT = re.compile(
    r"inline constexpr (?:const char\*|std::string_view|Message\w*<[^>]+>) (k\w+)"
    rf"\s=\s+(?:({TEXTS});|\{{\s*({TEXTS})\}};)")
AROUND = re.compile(r"//.*|#.*|namespace quintora \{|\}|\s+")
# What the page shows for a value.
VALUE = r"(?:N|REASON|60|70000|127\.0\.0\.1 port 8080)"
# Never printed: the outcome of the exchange with the server replaces it.
UNSEEN = {"kNoMemoryForForm"}
# Headings for what a visitor sees without any text of the bridge.
WITHOUT_TEXT = ("An empty page", "A page that ends too soon", "HTML as text",
                "A page of another program", "Wrong letters",
                "A form without its fields", "The web server's own error page")
SENTENCE = re.compile(r'"[^"\n]*[A-Za-z]+:? [A-Za-z]+ [A-Za-z]+[^"\n]*"')
# Sources that have no messages of their own: the tables themselves, and the charset names.
WITHOUT_SENTENCES = "Messages.h", "CharsetNames.cpp"
# The first is unreachable: the encoding that is tried last has a character for every byte. The
# second names a source of preferences to the administrator.
UNSEEN_TEXTS = {'"ERROR: Unknown text encoding"', '" or the global domain"'}


def constants(folder):
    """The texts of each constant: before, between and after its values."""
    source = (ROOT / folder / "Messages.h").read_text(encoding="utf-8")
    left = AROUND.sub("", CONSTANT.sub("", source))
    assert not left, f"{folder}/Messages.h has what this test cannot read: {left}"
    return {name: ast.literal_eval(f"({plain or pieces},)")
            for name, plain, pieces in CONSTANT.findall(source)}


def absent_text():
    source = (ROOT / "extras" / "String.h").read_text(encoding="utf-8")
    return re.search(r'kAbsentText = "([^"]+)";', source)[1]


def patterns():
    """For each message, what its text looks like on the page."""
    seen = {name: texts for name, texts in constants("bridge").items() if name not in UNSEEN}
    sentences = constants("platform")
    frame, faulty = seen.pop("kRequestError"), sentences.pop("kInvalidReply")
    found = {name: VALUE.join(map(re.escape, texts)) for name, texts in seen.items()}
    request_error = re.escape(frame[0]) + "{}" + re.escape(frame[1])
    before, between, after = map(re.escape, faulty)
    for name, texts in sentences.items():
        text = VALUE.join(map(re.escape, texts))
        found[name] = request_error.format(  # a text without values is a fault of the reply
            before + VALUE + between + text + after if len(texts) == 1 else text)
    found["absent text"] = re.escape(absent_text())
    found["empty reply"] = request_error.format(found["absent text"])
    return found


class Messages(unittest.TestCase):
    def test_every_message_has_one_row_and_every_row_is_of_one_message(self):
        rows = [row.text for row in rows_of_page() if row.text not in FROM_THE_SERVER]
        for name, pattern in patterns().items():
            with self.subTest(name, pattern=pattern):
                matching = [row for row in rows if re.fullmatch(pattern, row)]
                self.assertEqual(len(matching), 1, matching)
                rows.remove(*matching)
        self.assertEqual(rows, [])

    def test_no_message_is_elsewhere(self):
        for folder in "bridge", "extras", "platform":
            for path in (ROOT / folder).rglob("*.[ch]*"):
                code = re.sub(r"//.*|static_assert\([^;]*;", "", path.read_text(encoding="utf-8"))
                with self.subTest(path):
                    found = [] if path.name in WITHOUT_SENTENCES else SENTENCE.findall(code)
                    self.assertEqual(set(found) - UNSEEN_TEXTS, set())

    def test_page_explains_each_text_and_what_has_none(self):
        for row in rows_of_page():
            self.assertEqual((len(row.cells), all(row.cells)), (4, True), row)
        self.assertIn("kTimeoutInterval(60)",
                      (ROOT / "bridge/SendLocalURL.cpp").read_text(encoding="utf-8"))
        for heading in WITHOUT_TEXT:
            self.assertRegex(PAGE.read_text(encoding="utf-8"), rf"(?m)^## {heading}\n\n\S")


if __name__ == "__main__":
    unittest.main()
