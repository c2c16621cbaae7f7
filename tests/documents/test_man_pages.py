"""The man pages against docs/: the same messages, and the same table of file names and ports; and
what stands above and below each page.
"""
import pathlib
import re
import shlex
import unittest

from tests.support.messages_page import FROM_THE_SERVER, rows_of_page

ROOT = pathlib.Path(__file__).resolve().parents[2]
BRIDGE = (ROOT / "docs/man/Quintora.cgi.8").read_text(encoding="utf-8")

COLUMNS = 80
VOLUMES = {"1": "BSD General Commands Manual", "5": "BSD File Formats Manual",
           "8": "BSD System Manager's Manual"}  # as groff names them

# What stands for a value in the man page, and on the page of messages.
VALUES = {"status": "N", "count": "N", "reason": "REASON"}
WITHOUT_BLANK_BEFORE = re.compile(r" (?=[.])|\x00 ?")


def messages_of_man_page():
    """The items of its lists of messages, each as the visitor sees it."""
    section = re.search(r"^\.Sh DIAGNOSTICS$(.*?)^\.Sh ", BRIDGE, re.MULTILINE | re.DOTALL)[1]
    found, prefix = set(), ""
    for line in section.splitlines():
        item = re.fullmatch(r"\.It (Li .*)", line)
        if item:
            found.add(prefix + text_of(item[1]))
        elif line.startswith("The sentences, for port 8080"):
            prefix = "CGI tunnel request error:"
        elif line.startswith(".Ss"):
            prefix = ""
    introductions = [text for text in found if text.endswith((" fault.", ":sentence"))]
    faults = re.findall(r"^\.It\n(.*)$", section, re.MULTILINE)
    introduction, = (text for text in introductions if text.endswith(" fault."))
    found |= {introduction.replace(" fault.", f" {fault}.") for fault in faults}
    return found - set(introductions)


def text_of(macros):
    words = [VALUES.get(word, word) for word in shlex.split(macros.replace(r"\&", ""))]
    joined = " ".join("\0" if word == "Ns" else word for word in words
                      if word not in ("Li", "Ar"))
    return WITHOUT_BLANK_BEFORE.sub("", joined.replace(" \0", "\0"))


def table_of_man_page():
    rows = re.findall(r"^\.It (G\S+) Ta (.*) Ta (.*) Ta (.*)$", BRIDGE, re.MULTILINE)
    return [tuple(cell.replace(r"\(em", "") for cell in row) for row in rows]


def table_of_guide():
    guide = (ROOT / "docs/preferences.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| `(G\S+)` \|(.*)\|(.*)\| ([0-9]+).*\|$", guide, re.MULTILINE)
    return [tuple(cell.strip(" `") for cell in row) for row in rows]


class ManPages(unittest.TestCase):
    maxDiff = None

    def test_the_messages_are_those_of_the_page_of_messages(self):
        listed = {row.text for row in rows_of_page()} - FROM_THE_SERVER
        self.assertEqual(sorted(messages_of_man_page()), sorted(listed))

    def test_the_table_of_file_names_is_that_of_the_guide(self):
        self.assertGreater(len(table_of_guide()), 5)
        self.assertEqual(table_of_man_page(), table_of_guide())

    def test_header_and_footer_fit_the_page_and_name_the_product(self):
        for page in sorted((ROOT / "docs/man").iterdir()):
            text = page.read_text(encoding="utf-8")
            title, section = re.search(r"^\.Dt (\S+) (\d)$", text, re.MULTILINE).groups()
            with self.subTest(page.name):
                # Without a name, groff writes that of an operating system into the footer.
                self.assertRegex(text, r"(?m)^\.Os Quintora\.cgi$")
                # The title stands at both ends of the header, the volume between them.
                sides = 2 * len(f"{title}({section})")
                self.assertLess(sides + len(f" {VOLUMES[section]} "), COLUMNS)


if __name__ == "__main__":
    unittest.main()
