"""A browser, Apache, the bridge in tunnel mode and a server: what arrives at both ends."""
import http.client
import os
import pathlib
import re
import shutil
import socket
import unittest
from typing import NamedTuple
from urllib.parse import urlencode

from tests.support.harness import (BRIDGE, ROOT, SANITIZERS, ApacheTest, PrivateApache,
                                   ScriptedServer, decode_body, example_server, open_folder, reply,
                                   write_preferences)

FORM = {"name": 'Zoë "Zed" Müller', "sum": "1 + 1 = 2", "note": "100 % & {more}\r\n😀", "": "x"}


class ExampleServer(ApacheTest):
    """The server's page shows what it received."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.port = cls.enter(example_server())
        write_preferences(cls.config, QZQuintoraServerPort=cls.port)

    def test_get_shows_the_variables(self):
        answer = self.browse("?id=7")
        self.assertEqual((answer.status, answer.content_type), (200, "text/html; charset=utf-8"))
        fields, variables = answer.shown()
        self.assertEqual(fields, [])
        variables = dict(variables)
        self.assertEqual(len(variables), 20)
        self.assertEqual(
            {name: variables[name] for name in (
                "REQUEST_METHOD", "QUERY_STRING", "SERVER_PORT", "HTTP_HOST", "CLICOMMAND")},
            {"REQUEST_METHOD": "GET", "QUERY_STRING": "id=7", "HTTP_HOST": "localhost",
             "SERVER_PORT": str(self.apache.port), "CLICOMMAND": "Gateway.cgi"})
        self.assertTrue(os.path.isabs(variables["CLIPATH"]), variables["CLIPATH"])

    def test_post_shows_the_fields(self):
        answer = self.browse("?id=7", urlencode(FORM).encode())
        fields, variables = answer.shown()
        self.assertEqual(dict(fields), FORM)
        self.assertEqual(dict(variables)["QUERY_STRING"], "id=7")
        self.assertEqual(dict(variables)["REQUEST_METHOD"], "POST")

    def test_page_shows_the_http_request_to_the_byte(self):
        head, body = self.browse("?id=7", urlencode(FORM).encode()).raw().split("\r\n\r\n")
        self.assertEqual(head.split("\r\n"), [
            "POST /apache-tunnel/ HTTP/1.1", f"Host: localhost:{self.port}",
            f"Content-Length: {len(body)}",
            "Content-Type: application/x-www-form-urlencoded charset=utf-8", "Connection: close"])
        variables, fields = decode_body(body.encode())
        self.assertEqual(dict(fields), FORM)
        self.assertEqual(variables["QUERY_STRING"], "id=7")

    def test_query_arrives_as_the_browser_wrote_it(self):
        for query in "city=Z%C3%BCrich&a=1+1", "city=Zürich😀", "a=%zz", "":
            with self.subTest(query=query):
                _, variables = self.browse(f"?{query}").shown()
                self.assertEqual(dict(variables)["QUERY_STRING"], query)

    def test_query_without_equals_sign_comes_as_arguments_and_changes_nothing(self):
        for query in "--help+Gateway_1.cgi", "-h", "%25s":
            with self.subTest(query=query):
                answer = self.browse(f"?{query}")
                self.assertEqual(answer.status, 200)
                self.assertEqual(dict(answer.shown()[1])["QUERY_STRING"], query)

    def test_reply_without_a_header_of_its_own_is_plain_text(self):
        answer = self.browse("?plain=1")
        self.assertEqual((answer.status, answer.content_type), (200, "text/plain"))
        self.assertIn("QUERY_STRING = plain=1\n", answer.text)

    def test_head_is_answered_without_a_body(self):
        answer = self.browse("?id=7", method="HEAD")
        self.assertEqual((answer.status, answer.content_type, answer.text),
                         (200, "text/html; charset=utf-8", ""))

    def test_large_form_comes_back_whole(self):
        fields = [(f"field {number}", "é" * 1000) for number in range(1000)]
        answer = self.browse(form=urlencode(fields).encode())
        self.assertEqual(sorted(answer.shown()[0]), sorted(fields))

    def test_undecodable_form_is_an_error_of_the_web_server(self):
        answer = self.browse(form=b"a=%zz")
        self.assertEqual(answer.status, 500)
        self.assertIn("Gateway.cgi", self.apache.error_log())
        self.assertEqual(os.listdir(os.path.join(self.apache.folder, "cgi-bin")), ["Gateway.cgi"])
        self.assertEqual(self.browse().status, 200)


class ScriptedServers(ApacheTest):
    """Two copies of the bridge, two servers, and replies of all kinds."""

    names = ("Gateway_east.cgi", "Gateway_west.cgi")

    def setUp(self):
        self.east, self.west = (ScriptedServer(reply(name)) for name in (b"east", b"west"))
        for server in self.east, self.west:
            self.addCleanup(server.close)
        write_preferences(self.config, QZQuintoraCloudServerPorts=(
            f"east:{self.east.port},west:{self.west.port}"))

    def get(self, name="Gateway_east.cgi"):
        return tuple(self.browse(name=name))

    def test_two_copies_reach_two_servers(self):
        self.assertEqual(self.get("Gateway_east.cgi"), (200, "text/plain", "east\r\n"))
        self.assertEqual(self.get("Gateway_west.cgi"), (200, "text/plain", "west\r\n"))

    def test_server_that_is_down_gives_a_message(self):
        self.east.close()
        status, content_type, text = self.get()
        self.assertEqual((status, content_type), (200, "text/plain"))
        self.assertRegex(text, rf"\ACGI tunnel request error:[^(].*{self.east.port}.*\r\n\Z")
        self.assertEqual(self.get("Gateway_west.cgi")[2], "west\r\n")

    def test_page_of_any_status_passes(self):
        for status in "404 Not Found", "500 Internal Server Error", "302 Found":
            with self.subTest(status=status):
                self.east.answer = reply(b"Content-type: text/html\r\n\r\n<p>sorry", status=status)
                self.assertEqual(self.get(), (200, "text/html", "<p>sorry\r\n"))

    def test_non_ascii_reply_passes(self):
        text = "Content-type: text/html; charset=utf-8\r\rGrüße 😀"
        for charset in "utf-8", "utf-16":
            with self.subTest(charset=charset):
                self.east.answer = reply(text.encode(charset), f"text/html; charset={charset}")
                self.assertEqual(self.get(), (200, "text/html; charset=utf-8", "Grüße 😀\r\n"))

    def test_large_reply_passes(self):
        body = b"0123456789abcde\n" * 100_000
        self.east.answer = reply(body)
        self.assertEqual(self.get(), (200, "text/plain", body.decode() + "\r\n"))


# Causes that are not tried, by the beginnings of the table's last cells: they need another file
# system, minutes of waiting or more privileges.
UNTRIED = ("see [suexec]", "the process of", "[TimeOut]", "the bridge ended while")
HTML = b"Content-type: text/html\r\n"


def location(directive):
    return f'<Location "/">\n{directive}\n</Location>'


def root_directory(directive):
    return f'<Directory "/">\n{directive}\n</Directory>'


def turn_to_link(file):
    os.rename(file, file + ".target")
    os.symlink(file + ".target", file)


def turn_to_directory(file):
    os.remove(file)
    os.mkdir(file)


def turn_to_other_processor(file):
    with open(file, "wb") as program:
        program.write(b"\x7fELF\2\1\1" + bytes(9) + b"\2\0\xff\xff" + bytes(200))


def body_of(response):
    """After AH02429, Apache's error page is a few bytes shorter than its Content-Length."""
    try:
        return response.read()
    except http.client.IncompleteRead as cut:
        if response.status != 500:
            raise
        return cut.partial


class Cause(NamedTuple):
    """What an administrator, a visitor or a server can do wrong."""

    row: str  # the beginning of the table's last cell
    path: str = "/cgi-bin/Gateway.cgi"
    modules: tuple = ("mpm_prefork", "cgi")
    directives: str = ""
    change: object = None  # called with the bridge's path
    form: bytes = b""
    length: int = None  # what the visitor says of the form
    page: bytes = HTML + b"\r\n<p>page"


CAUSES = (
    Cause("no module", modules=("mpm_prefork",)),
    Cause("no module", path="/Gateway.cgi"),
    Cause("the visitor", form=b"a=1", length=9),
    Cause("no `Require`", directives=location("Require all denied")),
    Cause("among pages", path="/Gateway.cgi", directives=location("SetHandler cgi-script")),
    Cause("the copy is a link", change=turn_to_link, directives=root_directory("Options None")),
    Cause("the copy is a link", change=lambda file: (os.remove(file), os.symlink("nowhere", file))),
    Cause("Apache's user", change=lambda file: os.chmod(os.path.dirname(file), 0o600)),
    Cause("the name is that", change=turn_to_directory),
    Cause("no rule", path="/cgi/Gateway.cgi"),
    Cause("there is no file", path="/cgi-bin/gateway.cgi"),
    Cause("the form exceeds", directives="LimitRequestBody 2", form=b"a=1"),
    Cause("the file is not", change=lambda file: os.chmod(file, 0o644)),
    Cause("the program is for", change=turn_to_other_processor),
    Cause("the bridge [ended", form=b"a=%zz"),
    Cause("the server's page consists", page=HTML.rstrip()),
    Cause("the header of the server's page has a line", page=HTML + b"no colon\r\n\r\n<p>page"),
    Cause("the header of the server's page has an invalid", page=HTML + b"<p>a: b\r\n\r\n<p>page"),
    Cause("the header of the server's page has a `Status", page=HTML + b"Status: none\r\n\r\n<p>"),
    Cause("the bridge runs", page=b""),
    Cause("the server's page [has", page=b"<!DOCTYPE html><p>page"),
    Cause("the server's page [has", page=b"Content-Type: text/html\r\n\r\n<p>page"),
)


def rows_of_table():
    page = (pathlib.Path(ROOT) / "docs/apache.md").read_text(encoding="utf-8")
    section = page.partition("\n## You get, because\n")[2].partition("\n## ")[0]
    return re.findall(r"^\| (.*?) \| (.*?) \| (.*) \|$", section, re.MULTILINE)[1:]


class YouGetBecause(unittest.TestCase):
    """The table of docs/apache.md."""

    def test_each_cause_has_its_row_and_each_row_its_cause(self):
        beginnings = {cause.row for cause in CAUSES}.union(UNTRIED)
        for _, _, because in rows_of_table():
            with self.subTest(because):
                self.assertEqual(1, sum(because.startswith(row) for row in beginnings))
        self.assertEqual(len(beginnings), len(rows_of_table()))

    def test_each_cause_shows_as_its_row_says(self):
        rows = rows_of_table()
        for cause in CAUSES:
            row, = (row for row in rows if row[2].startswith(cause.row))
            for modules in self.modules_for(cause):
                with self.subTest(cause=cause, modules=modules):
                    self.try_out(cause._replace(modules=modules), row)

    def modules_for(self, cause):
        return (cause.modules, ("mpm_event", "cgid"))[:2 if "cgi" in cause.modules else 1]

    def try_out(self, cause, row):
        server = ScriptedServer(reply(cause.page))
        self.addCleanup(server.close)
        with open_folder("config", "pages") as folder:
            write_preferences(os.path.join(folder, "config"), QZQuintoraServerPort=server.port)
            shutil.copy(BRIDGE, os.path.join(folder, "pages", "Gateway.cgi"))
            with PrivateApache(
                    BRIDGE, ("Gateway.cgi",),
                    {"XDG_CONFIG_HOME": os.path.join(folder, "config"), **SANITIZERS},
                    document_root=os.path.join(folder, "pages"), runs_as=cause.modules,
                    directives=cause.directives) as apache:
                copies = os.path.join(apache.folder, "cgi-bin")
                if cause.change:
                    cause.change(os.path.join(copies, "Gateway.cgi"))
                status, kind, text = self.visit(apache.port, cause)
                os.chmod(copies, 0o755)
                log = "".join(line for line in apache.error_log().splitlines(keepends=True)
                              if ":notice]" not in line)
        self.check(row, status, kind, text, log)

    def visit(self, port, cause):
        with socket.create_connection(("127.0.0.1", port), 30) as connection:
            length = cause.length or len(cause.form)
            connection.sendall(f"POST {cause.path} HTTP/1.1\r\nHost: localhost\r\n"
                               "Connection: close\r\nContent-Type: text/x\r\n"
                               f"Content-Length: {length}\r\n\r\n".encode() + cause.form)
            connection.shutdown(socket.SHUT_WR)
            response = http.client.HTTPResponse(connection)
            response.begin()
            return response.status, response.getheader("Content-Type"), body_of(response)

    def check(self, row, status, kind, text, log):
        you_get, in_log, _ = row
        if you_get[0].isdigit():
            self.assertEqual(str(status), you_get[:3])
            self.assertEqual(b"<p>" in text and b"<title>" not in text, "with the page" in you_get)
        elif you_get.startswith("the program itself"):
            self.assertEqual((status, kind, text[:4]), (200, None, b"\x7fELF"))
        elif you_get.startswith("the page's HTML"):
            self.assertEqual((status, kind, text[-9:]), (200, "text/plain", b"<p>page\r\n"))
        else:
            self.assertEqual((status, kind, text[:11]), (200, "text/plain", b"CGI tunnel "))
        if in_log == "nothing":
            self.assertEqual(log, "")
        for line in re.findall("`(.*?)`", in_log):
            self.assertIn(line, log)


if __name__ == "__main__":
    unittest.main()
