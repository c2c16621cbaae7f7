"""docs/web-servers.md: each web server runs the bridge with the configuration that the page shows,
and does what the page's table says of it.

The servers are Debian's packages, which script/test unpacks below build/web-servers, so that none of
them is started or enabled on this machine; installed ones are used as well.
"""
import contextlib
import http.client
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import threading
import time
import unittest

from tests.support.harness import (BRIDGE, LONGEST_RUN, ROOT, SANITIZERS, VARIABLES, PrivateApache,
                                   ScriptedServer, fast_only, open_folder, reply,
                                   write_preferences)

from private_apache import free_port

PAGE = (pathlib.Path(ROOT) / "docs/web-servers.md").read_text(encoding="utf-8")
PACKAGES = os.path.join(ROOT, "build", "web-servers")
PATH = os.pathsep.join([os.path.join(PACKAGES, "busybox/bin"), os.defpath])
FORM = "Content-Type: application/x-www-form-urlencoded"
HTML = b"Content-type: text/html\r\n"


def find(package, path):
    """A file of a package, unpacked or installed."""
    for root in os.path.join(PACKAGES, package), "/":
        file = os.path.join(root, path)
        if os.path.exists(file):
            return file
    raise unittest.SkipTest(f"{package} is neither unpacked nor installed")


def block(heading, language):
    """The last code block of that language below a heading of the page."""
    section = PAGE.partition(f"\n## {heading}\n")[2].partition("\n## ")[0]
    return re.findall(rf"^```{language}\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)[-1]


def column(server):
    """What the page's table says of a server, by the row's first cell."""
    rows = [[cell.strip() for cell in line.strip("|").split("|")]
            for line in PAGE.partition("\n## What is different\n")[2].splitlines()
            if line.startswith("| ")]
    index = rows[0].index(server)
    return {row[0]: row[index] for row in rows[1:]}


class WebServerTest(unittest.TestCase):
    """A web server in front of a copy of the bridge, and what it does differently."""

    heading = None  # on the page
    in_table = None

    @classmethod
    def setUpClass(cls):
        if not cls.heading:
            raise unittest.SkipTest("what the others share")
        cls.folder = cls.enter(open_folder("config", "www/cgi-bin", "temporary"))
        cls.server = ScriptedServer()
        cls.addClassCleanup(cls.server.close)
        cls.name = f"Gateway_{cls.server.port}.cgi"
        for name in cls.name, "locked.cgi":
            shutil.copyfile(BRIDGE, cls.path("www/cgi-bin", name))
            os.chmod(cls.path("www/cgi-bin", name), 0o755 if name == cls.name else 0o644)
        cls.port = free_port()
        cls.start()  # of the server's own class

    @classmethod
    def enter(cls, context):
        value = context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        return value

    @classmethod
    def path(cls, *names):
        return os.path.join(cls.folder, *names)

    @classmethod
    def configuration(cls, language):
        """The page's, with this test's paths and port."""
        text = block(cls.heading, language)
        for shown, used in (
                ("/usr/lib/cgi-bin", cls.path("www/cgi-bin")), ("/usr/lib", cls.path("www")),
                ("/srv/www", cls.path("www")), ("/run/", cls.path("")),
                ("/etc/quintora", cls.path("config")),
                ("listen 80", f"listen 127.0.0.1:{cls.port}"), (":8088", f":{cls.port}")):
            text = text.replace(shown, used)
        return text

    @classmethod
    def write(cls, name, text):
        with open(cls.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return cls.path(name)

    @classmethod
    def run_server(cls, *command, is_ready=None):
        """Runs a program to the end of the class's tests, in a session of its own."""
        with open(cls.path("log"), "ab") as log:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                       env={"PATH": PATH, **SANITIZERS}, start_new_session=True)
        cls.addClassCleanup(cls.end_server, process)
        deadline = time.monotonic() + 10
        while not (is_ready or cls.accepts)():
            if process.poll() is not None or time.monotonic() > deadline:
                raise ChildProcessError(pathlib.Path(cls.path("log")).read_text(encoding="utf-8"))
            time.sleep(0.02)

    @classmethod
    def end_server(cls, process):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGTERM)
        process.wait()

    @classmethod
    def accepts(cls):
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", cls.port)):
            return True
        return False

    def setUp(self):
        self.server.requests.clear()
        self.server.answer = reply(b"page")
        self.expected = column(self.in_table)
        self.prefer()

    def prefer(self, **values):
        write_preferences(self.path("config"), **values)

    def send(self, method="GET", query="", *headers, body=b"", name=None, ends=False):
        """The response, read whole; None where the connection was closed without one."""
        head = [f"{method} /cgi-bin/{name or self.name}{query} HTTP/1.1",
                f"Host: localhost:{self.port}", "Connection: close", *headers]
        with socket.create_connection(("127.0.0.1", self.port), LONGEST_RUN) as connection:
            with contextlib.suppress(ConnectionError):  # a body that is refused need not be read
                connection.sendall("\r\n".join(head).encode("latin-1") + b"\r\n\r\n" + body)
            if ends:
                connection.shutdown(socket.SHUT_WR)
            response = http.client.HTTPResponse(connection, method=method)
            try:
                response.begin()
            except (http.client.RemoteDisconnected, ConnectionError):
                return None
            response.text = response.read()
            return response

    def post(self, body, length=None, **details):
        return self.send("POST", "", FORM, f"Content-Length: {length or len(body)}", body=body,
                         **details)

    def outcome(self, row, response):
        """Compares a response's status with the table."""
        self.assertIn(str(response.status) if response else "no response",
                      self.expected[row].split(" or "))

    def page_outcome(self, row, page):
        self.server.answer = reply(page)
        self.outcome(row, self.send())

    def test_page_and_query(self):
        for body, kind in (b"page", "text/plain"), (HTML + b"\r\n<p>page", "text/html"):
            self.server.requests.clear()
            self.server.answer = reply(body)
            response = self.send(query="?a=b+c")
            self.assertEqual((response.status, response.getheader("Content-Type")), (200, kind))
            self.assertTrue(response.text.endswith(b"page\r\n"), response.text)
            self.assertEqual(self.server.request.variables["QUERY_STRING"], "a=b+c")

    def test_form(self):
        self.assertEqual(self.post(b"a=1&b=%C3%A9").text, b"page\r\n")
        self.assertEqual(self.server.request.fields, {"a": "1", "b": "é"})

    def test_head(self):
        response = self.send("HEAD")
        self.assertEqual((response.status, response.text), (200, b""))

    @fast_only
    def test_large_page(self):
        self.server.answer = reply(b"0123456789abcde\n" * 100_000)
        self.assertEqual(len(self.send().text), 1_600_002)

    def test_preferences_are_those_of_the_configuration(self):
        self.prefer(QZQuintoraCloudServerPorts=f"{self.server.port}:70000")
        self.assertIn(b"Port 70000 does not exist", self.send().text)

    def test_requests_at_the_same_time(self):
        arrivals = threading.Barrier(2, timeout=LONGEST_RUN)

        def meet(connection):
            if connection.take_request():
                arrivals.wait()
                connection.send(reply(b"met"))
                connection.end_sending()

        server = ScriptedServer(script=meet)
        self.addCleanup(server.close)
        self.prefer(QZQuintoraCloudServerPorts=f"{self.server.port}:{server.port}")
        texts = []
        visitors = [threading.Thread(target=lambda: texts.append(self.send().text))
                    for _ in range(2)]
        for visitor in visitors:
            visitor.start()
        for visitor in visitors:
            visitor.join()
        self.assertEqual(texts, [b"met\r\n", b"met\r\n"])

    def test_form_that_is_broken_off(self):
        response = self.post(b"a=1&b=2", length=20, ends=True)
        time.sleep(0.2)  # for a bridge that would be on its way
        fields = self.server.requests and self.server.request.fields
        self.assertIn(fields, ([], {"a": "1", "b": "2"}), response)
        self.assertEqual("arrives cut" if fields else "dropped",
                         self.expected["a form that the visitor broke off"])

    def test_form_in_chunks(self):
        response = self.send("POST", "", FORM, "Transfer-Encoding: chunked",
                             body=b"7\r\na=1&b=2\r\n0\r\n\r\n")
        self.assertEqual(response.status, 200)
        self.assertEqual({0: "without fields", 2: "whole"}[len(self.server.request.fields)],
                         self.expected["a form in chunks (`Transfer-Encoding: chunked`)"])

    @fast_only
    def test_large_form(self):
        response = self.post(b"a=" + b"x" * 20_000_000)
        arrived = [len(request.fields["a"]) for request in self.server.requests]
        self.assertEqual("whole" if arrived == [20_000_000] else str(response.status),
                         self.expected["a form of 20 MB"])

    def test_abnormal_end(self):
        self.outcome("the bridge [ended abnormally](messages.md#the-web-servers-own-error-page)",
                     self.post(b"a=%zz"))
        self.outcome("a query with a byte that is not UTF-8", self.send(query="?a=\xff"))
        self.assertEqual(self.server.requests, [])

    @fast_only  # lighttpd decides by whether the program has ended when its header comes
    def test_headers_of_pages(self):
        for row, page in (
                ("the page's header has lines that end with LF alone",
                 b"Content-type: text/html\nX-A: 1\n\n<p>page"),
                ("`Status: 404 Not Found` in the page's header",
                 HTML + b"Status: 404 Not Found\r\n\r\n<p>page"),
                ("a `Status` without a number", HTML + b"Status: none\r\n\r\n<p>page"),
                ("a header line without a colon", HTML + b"no colon\r\n\r\n<p>page"),
                ("no empty line after the header", HTML + b"<p>a: b"),
                ("no page after the header", b"Content-type: text/html")):
            with self.subTest(row):
                self.page_outcome(row, page)

    def test_line_feeds_end_header_lines(self):
        self.server.answer = reply(b"Content-type: text/html\nX-A: 1\n\n<p>page")
        response = self.send()
        self.assertEqual((response.getheader("Content-Type"), response.getheader("X-A")),
                         ("text/html", "1"))
        self.assertEqual(response.text, b"<p>page\r\n")

    def test_files_that_cannot_be_run(self):
        self.outcome("the file is not executable", self.send(name="locked.cgi"))
        self.outcome("there is no such file", self.send(name="missing.cgi"))

    def test_variables(self):
        self.send("GET", "?a=b", "Accept: a", "Accept-Encoding: b", "Accept-Language: c",
                  "Referer: d", "User-Agent: e", "Cookie: f=g")
        variables = self.server.request.variables
        empty = {name for name in VARIABLES if not variables[name]}
        self.assertEqual(empty, set(re.findall(
            "`(.*?)`", self.expected["variables that are always empty"])))
        self.assertEqual("a path" if os.path.isabs(variables["CLIPATH"]) else "the name",
                         self.expected["the server gets as `ApacheTunnel_CLIPATH`"])
        self.assertEqual(os.path.basename(variables["CLIPATH"]), self.name)


class Apache(WebServerTest):
    heading = in_table = "Apache"

    @classmethod
    def start(cls):
        apache = cls.enter(PrivateApache(
            BRIDGE, (cls.name, "locked.cgi"),
            {"XDG_CONFIG_HOME": cls.path("config"), **SANITIZERS},
            directives="ServerAdmin a@example.org\nServerSignature On"))
        cls.port = apache.port
        os.chmod(os.path.join(apache.folder, "cgi-bin", "locked.cgi"), 0o644)


class Nginx(WebServerTest):
    heading, in_table = "nginx", "nginx, fcgiwrap"

    @classmethod
    def start(cls):
        program = find("nginx", "usr/sbin/nginx")
        shutil.copy(find("nginx-common", "etc/nginx/fastcgi_params"), cls.folder)
        options = re.search(r"DAEMON_OPTS=(\S+)", PAGE)[1]
        cls.run_server(find("fcgiwrap", "usr/sbin/fcgiwrap"), options,
                       "-s", f"unix:{cls.path('fcgiwrap.socket')}",
                       is_ready=lambda: os.path.exists(cls.path("fcgiwrap.socket")))
        temporary = "\n".join(f"{name}_temp_path {cls.path('temporary', name)};" for name in (
            "client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        user = "user root;" if os.geteuid() == 0 else ""
        configuration = cls.write("nginx.conf", f"""
daemon off; {user} pid {cls.path("pid")}; events {{ }}
http {{
access_log off;
{temporary}
{cls.configuration("nginx")}
}}
""")
        cls.run_server(program, "-e", cls.path("log"), "-c", configuration)


class Lighttpd(WebServerTest):
    heading = in_table = "lighttpd"

    @classmethod
    def start(cls):
        configuration = cls.write("lighttpd.conf", f"""
server.modules = ( "mod_alias" )
server.bind = "127.0.0.1"
server.port = {cls.port}
server.document-root = "{cls.path("temporary")}"
server.upload-dirs = ( "{cls.path("temporary")}" )
{cls.configuration("lighttpd")}
""")
        modules = os.path.dirname(find("lighttpd", "usr/lib/lighttpd/mod_cgi.so"))
        cls.run_server(find("lighttpd", "usr/sbin/lighttpd"), "-D", "-f", configuration,
                       "-m", modules)


class BusyBox(WebServerTest):
    heading = in_table = "BusyBox httpd"

    @classmethod
    def start(cls):
        find("busybox", "bin/busybox")
        cls.run_server("/bin/sh", "-c", cls.configuration("sh"))


if __name__ == "__main__":
    unittest.main()
