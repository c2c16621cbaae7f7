"""docs/security.md: the tests that it names as verifying a promise exist."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = (ROOT / "docs/security.md").read_text(encoding="utf-8")


def held_promises():
    """For each row of the table, the promise and what verifies it."""
    section = PAGE.split("\n## What the bridge promises\n")[1].split("\n## ")[0]
    rows = re.findall(r"^\| (.*) \| (.*) \|$", section, re.MULTILINE)[1:]
    assert len(rows) > 10, "hardly any promise was found"
    return rows


class Security(unittest.TestCase):
    def test_each_promise_is_held_by_tests_that_are_there(self):
        for promise, holders in held_promises():
            with self.subTest(promise):
                source = None
                for name in re.findall(r"`([^`]+)`", holders):
                    with self.subTest(name):
                        if "/" in name:
                            source = (ROOT / "tests" / name).read_text(encoding="utf-8")
                        else:  # a test, or a class of them, in the file before it
                            self.assertRegex(source, rf"(class |def |\w, ){name}\b")
                self.assertIsNotNone(source)

    def test_address_for_weaknesses_is_that_of_the_packages(self):
        address, = set(re.findall(r"[\w.]+@[\w.]+\w", PAGE))
        for file in "packaging/debian/changelog", "cmake/Install.cmake":
            with self.subTest(file):
                self.assertIn(address, (ROOT / file).read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main()
