"""docs/server.md: its first servers and its examples of pages work."""
import html
import pathlib
import re
import shutil
import subprocess
import unittest

from tests.frameworks.frameworks import (
    CONTENT_TYPE, END, FORM, NAME, PAGE, PROGRAMS, READS, fixes_text, page_of, running,
    servers)
from tests.support.harness import (
    ROOT, VARIABLES, ApacheTest, BridgeTest, ScriptedServer, reply, write_preferences)

TEXT = PAGE.read_text(encoding="utf-8")
EXAMPLES = sorted(pathlib.Path(ROOT, "examples", "servers").iterdir())
ROW = re.compile(r"^\| ([^|]+) \| [0-9][0-9.]* \| ([^|]+) \|", re.MULTILINE)
HEADER = re.search("```http\n(.*?)```", TEXT, re.DOTALL)[1].encode()


class Examples(unittest.TestCase):
    def test_each_is_on_the_page(self):
        for example in EXAMPLES:
            with self.subTest(example.name):
                source = example.read_text(encoding="utf-8")
                self.assertTrue(f"\n```{example.suffix[1:]}\n{source}```\n" in TEXT)

    def test_each_greets_the_visitor(self):
        """Those whose languages are here; script/frameworks installs the others."""
        tried = [example for example in EXAMPLES if shutil.which(PROGRAMS[example.suffix][0])]
        self.assertIn("hello.py", [example.name for example in tried])
        for example in tried:
            with self.subTest(example.name), running(example.read_text(), example.suffix) as port:
                for form, query, name in ((FORM, "", NAME), (b"city=Bern", "id=7;name=Eve", "you")):
                    page = page_of(port, form, query)
                    self.assertNotIn("<Bo>", page)
                    self.assertEqual("Content-type: text/html; charset=utf-8\r\n\r\n"
                                     f"<p>Hello, {name}!</p>\r\n", html.unescape(page))

    def test_command_of_the_page_asks_as_the_bridge_does(self):
        command = re.search(r"```sh\n(curl .*?)```", TEXT, re.DOTALL)[1]
        self.assertIn(f'"Content-Type: {CONTENT_TYPE}"', command)
        with running(pathlib.Path(ROOT, "examples/servers/hello.py").read_text(), ".py") as port:
            page = subprocess.run(command.replace("8080", str(port)), shell=True, check=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        self.assertTrue(page.endswith(b"\r\n\r\n<p>Hello, Ann!</p>\r\n"), page)


class Frameworks(unittest.TestCase):
    def test_each_is_in_the_table(self):
        rows = dict(ROW.findall(TEXT))
        self.assertEqual([server.name for server in servers()], list(rows))
        for server in servers():
            with self.subTest(server.name):
                self.assertEqual(rows[server.name] == READS, not server.change())

    def test_fixes_are_those_that_were_tried(self):
        self.assertTrue(f"\n\n{fixes_text(servers())}{END}" in TEXT)


class Keys(BridgeTest):
    def test_page_lists_all_that_arrives(self):
        section = TEXT.split("\n## What arrives\n")[1].split("\n## ")[0]
        listed = re.findall("`([A-Z_]+)`", "".join(re.findall(r"^\| (`.*?) \|", section, re.M)))
        self.assertCountEqual(listed, [*VARIABLES, "CLIPATH", "CLICOMMAND"])
        self.run_bridge()
        self.assertCountEqual(listed, self.server.request.variables)
        self.assertIn(f"\r\nContent-Type: {CONTENT_TYPE}\r\n".encode(), self.server.request.head)


class Headers(ApacheTest):
    def browse_page(self, page):
        server = ScriptedServer(reply(page))
        self.addCleanup(server.close)
        write_preferences(self.config, QZQuintoraServerPort=server.port)
        return self.browse()

    def test_page_has_a_status_of_its_own(self):
        self.assertEqual(self.browse_page(HEADER)[:2], (303, "text/html; charset=utf-8"))

    def test_length_in_the_page_is_not_the_length_that_is_sent(self):
        header = b"Content-type: text/html; charset=utf-8\r\nContent-Length: 5\r\n\r\n"
        self.assertEqual(self.browse_page(header + b"Hello").text, "Hello\r\n")

    def test_page_appears_as_source(self):
        for start in b"Content-Type: text/html\r\n\r\n", b" Content-type: text/html\r\n\r\n", b"":
            with self.subTest(start):
                answer = self.browse_page(start + b"<p>Hello</p>\r\n")
                self.assertEqual((answer.content_type, answer.text),
                                 ("text/plain", start.decode() + "<p>Hello</p>\r\n"))


if __name__ == "__main__":
    unittest.main()
