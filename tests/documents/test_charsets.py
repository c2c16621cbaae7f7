"""docs/tunnel.md lists the charsets that the bridge and the system decode, with all their names."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAMES = (ROOT / "platform/charsets/CharsetNames.cpp").read_text(encoding="utf-8")
OF_ICONV = (ROOT / "platform/elsewhere/Charsets.cpp").read_text(encoding="utf-8")
PAGE = (ROOT / "docs/tunnel.md").read_text(encoding="utf-8")

# A row of the table in the source: the encoding, and string literals one after the other.
SOURCE_ROW = re.compile(r'\{k(\w+)TextEncoding,\s*((?:"[^"]*"\s*)+)\}')
ROW_OF_ICONV = re.compile(r'\{"[A-Z0-9-]+", "([^"]*)"\}')


def names_of_source():
    return ["".join(re.findall(r'"([^"]*)"', literals)).split()
            for _, literals in SOURCE_ROW.findall(NAMES)]


def names_of_page():
    section = PAGE.partition("\n## Charsets\n")[2].partition("\n### ")[0]
    return names_of_tables(section)


def names_of_tables(section):
    return [re.findall(r"`([^`]+)`", line.split("|")[2])
            for line in section.splitlines() if line.startswith("| ") and "`" in line]


class Charsets(unittest.TestCase):
    def test_the_source_is_understood(self):
        self.assertEqual(NAMES.count("TextEncoding,"), len(names_of_source()))
        self.assertGreater(len(names_of_source()), 40)

    def test_the_page_lists_every_name_by_its_encoding(self):
        self.assertEqual(names_of_page(), names_of_source())

    def test_the_page_lists_every_name_that_iconv_is_asked_for(self):
        section = PAGE.partition("\n### Charsets of the system\n")[2].partition("\n#")[0]
        rows = [names.split() for names in ROW_OF_ICONV.findall(OF_ICONV)]
        self.assertEqual(OF_ICONV.count('    {"'), len(rows))
        self.assertEqual(names_of_tables(section), rows)

    def test_a_name_has_one_meaning_whatever_its_marks(self):
        meanings = {}
        rows_of_iconv = [names.split() for names in ROW_OF_ICONV.findall(OF_ICONV)]
        for row in names_of_source() + rows_of_iconv:
            for name in row:
                meanings.setdefault(re.sub("[-_:.]", "", name), set()).add(row[0])
        self.assertEqual({}, {name: rows for name, rows in meanings.items() if len(rows) > 1})
        names = sum(names_of_source(), [])
        self.assertEqual(sorted(set(names)), sorted(names))


if __name__ == "__main__":
    unittest.main()
