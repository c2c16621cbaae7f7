"""Clients that lie, stall, vanish or send any bytes, through a real Apache.

Whatever they send, the server gets only well-formed requests with the expected content, Apache
rejects the request, or the bridge ends without output; and no bridge outlives its client.
"""
import contextlib
import http.client
import itertools
import json
import os
import re
import select
import socket
import socketserver
import struct
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from typing import NamedTuple
from urllib.parse import quote, urlencode

from tests.support.harness import (DEFAULT_HEADER, LONGEST_RUN, MIB, VARIABLES, ApacheTest,
                                   BridgeTest, decode_body, limit_memory, not_sanitized, reply,
                                   write_preferences)

GATEWAY = b"/cgi-bin/Gateway.cgi"
KEYS = {f"ApacheTunnel_{name}" for name in (*VARIABLES, "CLIPATH", "CLICOMMAND")}
HEADERS = {"HTTP_ACCEPT": b"Accept", "HTTP_ACCEPT_ENCODING": b"Accept-Encoding",
           "HTTP_ACCEPT_LANGUAGE": b"Accept-Language", "HTTP_CONNECTION": b"Connection",
           "HTTP_COOKIE": b"Cookie", "HTTP_REFERER": b"Referer", "HTTP_USER_AGENT": b"User-Agent"}
# A body for the server consists of these, "=" and "&" only.
ESCAPED = re.compile(rb"(?:[A-Za-z0-9\-_.!~*'();/?:@=$,]|%[0-9A-F]{2})*")

CONTROLS = {*range(0x20), 0x7F} - {0x09}
NO_URL_BYTES = {*range(0x21), 0x7F, ord("#")}
# The bytes that a token of HTTP must not contain.
DELIMITERS = {*range(0x21), *b'"(),/:;<=>?@[\\]{}', *range(0x7F, 0x100)}
NO_HOST_BYTES = set(range(0x100)) - {*b"-._0123456789abcdefghijklmnopqrstuvwxyz"
                                     b"ABCDEFGHIJKLMNOPQRSTUVWXYZ"}
# Every first and every following byte of UTF-8.
EVERY_UTF_8_BYTE = "".join(map(chr, (*range(0x80, 0x800), *range(0xFFF, 0xD000, 0x1000), 0xD7FF,
                                     0xE000, 0xFFFD, *range(0x10000, 0x110000, 0x3FFFF))))
NOT_UTF_8 = (b"\xc0\xaf", b"\xc1\xbf", b"\xe0\x80\xaf", b"\xf0\x80\x80\xaf", b"\xc0\x8d\xc0\x8a",
             b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82")
POST = {"REQUEST_METHOD": "POST"}
# How Debian's Apache runs CGI programs unless told otherwise.
UNDER_THREADS = ("mpm_event", "cgid"), ""


class Tunnelled(NamedTuple):
    """A request as it arrived at the server."""

    variables: dict
    fields: dict

    @property
    def page(self):
        """The page for this request, which differs from that for any other."""
        return json.dumps([self.variables["QUERY_STRING"], self.variables["HTTP_COOKIE"],
                           self.variables["REMOTE_PORT"], sorted(self.fields.items())]).encode()


class StrictServer(socketserver.ThreadingTCPServer):
    """Answers requests that are byte for byte as a bridge may send them; all else is a fault."""

    request_queue_size = 128
    daemon_threads = False  # so that closing it waits for what comes behind a request

    def __init__(self):
        super().__init__(("127.0.0.1", 0), None)
        self.port = self.server_address[1]
        self.requests, self.faults = [], []
        self.padding = b""  # after each page
        self.may_answer = threading.Event()
        self.may_answer.set()
        self._thread = threading.Thread(target=self.serve_forever, args=(0.01,))
        self._thread.start()

    def close(self):
        self.may_answer.set()
        self.shutdown()
        self._thread.join()
        self.server_close()

    def finish_request(self, connection, _):
        connection.settimeout(LONGEST_RUN)
        with connection.makefile("rb") as stream, contextlib.suppress(OSError):
            self._answer(connection, stream)

    def _answer(self, connection, stream):
        head = b"".join(itertools.takewhile(lambda line: line != b"\r\n", stream))
        if not head:
            return  # the bridge was ended before it had sent anything
        size = int(re.search(rb"\r\nContent-Length: ([0-9]+)\r\n|$", head)[1] or 0)
        body = stream.read(size)
        if len(body) < size:
            return  # or while it did
        if not self._is_legal(head, body):
            self.faults.append((head, body))
            return
        variables, fields = decode_body(body)
        request = Tunnelled(variables, dict(fields))
        self.requests.append(request)
        self.may_answer.wait(LONGEST_RUN)
        connection.sendall(reply(request.page + self.padding))
        connection.shutdown(socket.SHUT_WR)
        self.faults += filter(None, [stream.read()])

    def _is_legal(self, head, body):
        pairs = body.split(b"&")
        keys = [pair.split(b"=")[0] for pair in pairs]
        return (sorted(head.split(b"\r\n")) == sorted([
            b"POST /apache-tunnel/ HTTP/1.1", b"Host: localhost:%d" % self.port,
            b"Content-Length: %d" % len(body), b"Connection: close", b"",
            b"Content-Type: application/x-www-form-urlencoded charset=utf-8"])
            and all(b"=" in pair and ESCAPED.fullmatch(pair) for pair in pairs)
            and len(keys) == len(set(keys)) and KEYS <= {key.decode() for key in keys})


def message(target=b"", *headers, method=b"GET", body=None, length=None, version=b"HTTP/1.1"):
    """A request for the bridge. A given header replaces the usual one."""
    usual = {b"Host": b"localhost", b"Connection": b"close"}
    if body is not None:
        usual[b"Content-Length"] = b"%d" % len(body) if length is None else length
    for line in headers:
        usual.pop(line.partition(b":")[0], None)
    lines = [b"%s %s%s %s" % (method, GATEWAY, target, version),
             *(b"%s: %s" % header for header in usual.items()), *headers]
    return b"\r\n".join(lines) + b"\r\n\r\n" + (body or b"")


def post(body, *headers, target=b"", length=None):
    return message(target, *headers, method=b"POST", body=body, length=length)


def chunked(*chunks, trailer=b""):
    """A body in chunks, for a request without a length."""
    return b"".join(b"%x\r\n%s\r\n" % (len(chunk), chunk)
                    for chunk in (*chunks, b"")).removesuffix(b"\r\n") + trailer + b"\r\n"


def vanish(connection):
    """Ends the connection by a reset, as a crash does."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


class Visit(NamedTuple):
    """What a client got; no status when that was nothing."""

    status: int
    body: bytes
    port: int  # the client's own


class HostileClients(ApacheTest):
    """Common to all tests: they watch the server, a proxy that must stay unused, and processes."""

    runs_as = ("mpm_prefork", "cgi")
    directives = "StartServers 8\nMinSpareServers 8\nMaxSpareServers 16"

    @classmethod
    def setUpClass(cls):
        # A server that must not get any request.
        cls.stranger = cls.enter(socket.create_server(("127.0.0.1", 0)))
        cls.stranger_port = cls.stranger.getsockname()[1]
        proxies = "".join(f"\nSetEnv {name} http://127.0.0.1:{cls.stranger_port}/" for name in (
            "HTTP_PROXY", "http_proxy", "ALL_PROXY", "all_proxy", "CGI_HTTP_PROXY"))
        cls.apache_details = {"runs_as": cls.runs_as, "directives": cls.directives + proxies}
        super().setUpClass()

    def setUp(self):
        self.server = StrictServer()
        self.addCleanup(self.check_what_is_left)
        write_preferences(self.config, QZQuintoraServerPort=self.server.port)
        self.visit(message())
        self.plain = self.server.requests.pop().variables
        self.idle = self.what_is_left()

    def check_what_is_left(self):
        try:
            self.assert_nothing_is_left()
        finally:
            self.server.close()
        self.assertEqual(self.server.faults, [])
        self.assertEqual(self.server.requests, [], "nobody has accounted for these")
        self.assertEqual(select.select([self.stranger], [], [], 0)[0], [], "a stranger was asked")
        self.assertNotIn("exit signal", self.apache.error_log())

    def what_is_left(self):
        """The bridges of this Apache and the sockets that its processes hold."""
        left = set()
        for folder in filter(str.isdigit, os.listdir("/proc")):
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                with open(f"/proc/{folder}/stat", encoding="utf-8") as file:
                    name, _, numbers = file.read().partition(" (")[2].rpartition(") ")
                if int(numbers.split()[3]) != self.apache.process.pid:  # the session
                    continue
                if name == "Gateway.cgi":
                    left.add(f"{name} {folder}")
                    continue
                for number in os.listdir(f"/proc/{folder}/fd"):
                    with contextlib.suppress(FileNotFoundError):  # closed meanwhile, unlike others
                        file = os.readlink(f"/proc/{folder}/fd/{number}")
                        left.update([file] if file.startswith("socket:") else [])
        return left

    def assert_nothing_is_left(self):
        """Neither bridges, not even zombies, nor connections that will start one."""
        self.visit(b"GET / HTTP/1.0\r\n\r\n")  # received behind all who wait
        self.wait_for(lambda: self.what_is_left() <= self.idle)

    def wait_for(self, condition):
        deadline = time.monotonic() + LONGEST_RUN / 3
        while not (holds := condition()) and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertTrue(holds, (self.what_is_left() - self.idle, self.server.requests))

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.apache.port), LONGEST_RUN)

    def visit(self, data, *, method=None, ends=False):
        """Sends the bytes, then closes its side if `ends` is set, and gets an answer."""
        with self.connect() as connection:
            port = connection.getsockname()[1]
            answer = http.client.HTTPResponse(connection, method=method)
            try:
                connection.sendall(data)
                if ends:
                    connection.shutdown(socket.SHUT_WR)
                answer.begin()
                return Visit(answer.status, answer.read(), port)
            except (http.client.HTTPException, ConnectionError):
                return Visit(None, b"", port)

    def assert_arrived(self, visit, fields=None, *, shows_page=True, **changes):
        """The one request of this visit arrived with these fields and, except for the changes, with
        the variables of a plain GET, and its page went to the client."""
        self.assertEqual(visit.status, 200)
        request, = self.server.requests
        self.server.requests.clear()
        self.assertEqual(request.fields, fields or {})
        self.assertEqual(request.variables, {**self.plain, "REMOTE_PORT": str(visit.port),
                                             **changes})
        self.assertEqual(visit.body, request.page + b"\r\n" if shows_page else b"")

    def take_remains(self, *, of=""):
        """Apache kills a bridge whose body breaks off. A bridge that is quicker forwards what it
        has got, of a field a with the given value."""
        self.assert_nothing_is_left()
        for request in self.server.requests:
            self.assertLessEqual(set(request.fields), {"a"})
            self.assertTrue(of.startswith(request.fields.get("a", "")), request.fields)
        self.server.requests.clear()

    def assert_goes_on(self):
        self.assert_arrived(self.visit(message(b"?next")), QUERY_STRING="next")


class AnyBytes(HostileClients):
    """Each byte at each place arrives unchanged, or Apache rejects it, or the bridge ends."""

    def refused(self, bytes_to_try, request, **changes):
        """The bytes that Apache rejects; the requests with all others must arrive.

        request makes the request with a byte, and each of the changes the variable's value.
        """
        refused = set()
        for byte in bytes_to_try:
            visit = self.visit(request(byte))
            if visit.status == 400:
                refused.add(byte)
                continue
            with self.subTest(byte=byte):
                self.assert_arrived(visit, **{name: value(byte).decode()
                                              for name, value in changes.items()})
        return refused

    def test_ascii_in_headers(self):
        def value(byte):  # the same for all, "close" is for Connection
            return b"close, a%cb" % byte

        self.assertEqual(CONTROLS, self.refused(
            range(0x80), lambda byte: message(b"", *(b"%s: %s" % (header, value(byte))
                                                     for header in HEADERS.values())),
            **dict.fromkeys(HEADERS, value)))

    def test_ascii_in_the_query(self):
        self.assertEqual(NO_URL_BYTES, self.refused(
            range(0x80), lambda byte: message(b"?a%cb=%%%02X" % (byte, byte)),
            QUERY_STRING=lambda byte: b"a%cb=%%%02X" % (byte, byte)))

    def test_bytes_in_the_method(self):
        self.assertEqual(DELIMITERS, self.refused(
            range(0x100), lambda byte: message(method=b"A%cB" % byte),
            REQUEST_METHOD=lambda byte: b"A%cB" % byte))

    def test_bytes_in_the_host(self):
        self.assertEqual(NO_HOST_BYTES, self.refused(
            range(0x100), lambda byte: message(b"", b"Host: a%cb" % byte),
            HTTP_HOST=lambda byte: b"a%cb" % byte,
            SERVER_NAME=lambda byte: (b"a%cb" % byte).lower()))

    def test_bytes_that_nobody_is_told_of(self):
        self.assertEqual(CONTROLS, self.refused(
            range(0x100), lambda byte: message(b"", b"Content-Type: a%cb" % byte,
                                               b"X-Header: a%cb" % byte)))
        self.assertEqual(NO_URL_BYTES | {*b"%"}, self.refused(
            {*range(0x100)} - {*b"?"}, lambda byte: message(b"/a%cb" % byte)))

    def test_utf_8_arrives_as_it_is(self):
        text = "close, " + EVERY_UTF_8_BYTE
        for name, header in HEADERS.items():
            with self.subTest(name=name):
                self.assert_arrived(self.visit(message(b"", header + b": " + text.encode())),
                                    **{name: text})
        self.assert_arrived(self.visit(message(b"?" + EVERY_UTF_8_BYTE.encode())),
                            QUERY_STRING=EVERY_UTF_8_BYTE)

    def test_what_is_no_utf_8_ends_the_bridge(self):
        places = itertools.cycle([b"?", *(header + b": close," for header in HEADERS.values())])
        texts = itertools.chain(NOT_UTF_8, (b"a%cb" % byte for byte in range(0x80, 0x100)))
        for place, text in zip(places, texts):
            with self.subTest(place=place, text=text):
                request = message(place + text) if place == b"?" else message(b"", place + text)
                self.assertEqual(self.visit(request).status, 500)

    def test_form_bytes(self):
        """Names hold no "=", which the server could not tell from the one behind them."""
        plain = {*range(1, 0x80)} - {*b"%&=+"}
        body = b"&".join(b"%c%02x=%c" % (byte, byte, byte) for byte in plain)
        fields = {chr(byte) + f"{byte:02x}": chr(byte) for byte in plain}
        self.assert_arrived(self.visit(post(body)), fields, **POST)
        body = b"&".join(b"%%%02X%02x=%%%02x" % (byte, byte, byte)
                         for byte in {*range(0x80)} - {*b"="})
        fields.update({chr(byte) + f"{byte:02x}": chr(byte) for byte in b"\0%&+"})
        self.assert_arrived(self.visit(post(body)), fields, **POST)
        text = EVERY_UTF_8_BYTE
        self.assert_arrived(self.visit(post(b"%s=%s" % (text.encode(), text.encode()))),
                            {text: text}, **POST)

    def test_form_that_is_no_utf_8_has_no_fields(self):
        for text in *NOT_UTF_8, *(b"%c" % byte for byte in range(0x80, 0x100)):
            with self.subTest(text=text):
                self.assert_arrived(self.visit(post(b"a=1&b=" + text)), **POST)

    def test_form_ends_at_a_nul(self):
        self.assert_arrived(self.visit(post(b"a=1\0&b=2")), {"a": "1"}, **POST)

    def test_line_ends_in_disguise_stay_texts(self):
        evil = "\r\nContent-Length: 0\r\n\r\nPOST /apache-tunnel/ HTTP/1.1\r\n\r\n&x"
        escaped = quote(evil).encode()
        self.assert_arrived(
            self.visit(post(b"%s=%s" % (escaped, escaped), b"Cookie: " + escaped,
                            target=b"?" + escaped)),
            {evil: evil}, QUERY_STRING=escaped.decode(), HTTP_COOKIE=escaped.decode(), **POST)


class Requests(HostileClients):
    """Heads of requests that no browser sends."""

    def test_methods(self):
        for method in b"HEAD", b"OPTIONS", b"PUT", b"DELETE", b"PATCH", b"get", b"X" * 3000:
            with self.subTest(method=method):
                visit = self.visit(message(method=method), method=method.decode())
                self.assert_arrived(visit, REQUEST_METHOD=method.decode(),
                                    shows_page=method != b"HEAD")

    def test_methods_that_apache_keeps_to_itself(self):
        for method, status in (b"TRACE", 200), (b"CONNECT", 400):
            with self.subTest(method=method):
                self.assertEqual(self.visit(message(method=method)).status, status)

    def test_a_body_is_a_form_whatever_the_method(self):
        for method in b"PUT", b"GET", b"QZ":
            with self.subTest(method=method):
                self.assert_arrived(
                    self.visit(message(method=method, body=b"a=1")), {"a": "1"},
                    REQUEST_METHOD=method.decode())

    def test_versions(self):
        for version in b"HTTP/1.0", b"HTTP/1.2", b"HTTP/2.0":
            with self.subTest(version=version):
                self.assert_arrived(self.visit(message(b"?a", version=version)), QUERY_STRING="a")
        for version in b"HTTP/0.9", b"http/1.1", b"HTTP/1.1 ", b"HTTP/1", b"QZ":
            with self.subTest(version=version):
                self.assertEqual(self.visit(message(version=version)).status, 400)

    def test_request_without_a_version_and_headers(self):
        with self.connect() as connection:
            connection.sendall(b"GET " + GATEWAY + b"?a\r\n")
            port = connection.getsockname()[1]
            page = connection.makefile("rb").read()
        self.assert_arrived(Visit(200, page, port), QUERY_STRING="a", HTTP_HOST="",
                            HTTP_CONNECTION="", SERVER_NAME="127.0.0.1")

    def test_hosts_of_others(self):
        for target, host, name, port in (
                (b"", b"evil.example:99", "evil.example", "99"), (b"", b"[::1]:80", "[::1]", "80"),
                (b"http://evil.example:99", b"other", "evil.example", "99")):
            with self.subTest(target=target, host=host):
                request = message(b"", b"Host: " + host).replace(b" /", b" %s/" % target, 1)
                self.assert_arrived(
                    self.visit(request), HTTP_HOST="evil.example:99" if target else host.decode(),
                    SERVER_NAME=name, SERVER_PORT=port)

    def test_heads_that_apache_refuses(self):
        for headers in ((b"Host: a", b"Host: b"), (b"Host:",), (b"Host: a:99999",), (b"Host: a@b",),
                        (b"Cookie: a\nX: b",), (b"Cookie: a\rX: b",), (b"Cookie : a",), (b": a",),
                        (b"no colon",), (b"X: y",) * 99):
            with self.subTest(headers=headers):
                self.assertEqual(self.visit(message(b"", *headers)).status, 400)

    def test_repeated_folded_and_misspelt_headers(self):
        for value, headers in (
                ("a, b, ", (b"Cookie: a", b"cookie: b", b"COOKIE:")),
                ("a X-Header: b", (b"Cookie: a\r\n X-Header: b",)),
                ("a b", (b"Cookie: \t a b \t ",)),
                ("", (b"Http-Cookie: a", b"Coo_kie: a", b"Query-String: a", b"Content.Length: 3"))):
            with self.subTest(headers=headers):
                self.assert_arrived(self.visit(message(b"", *headers)), HTTP_COOKIE=value)

    def test_proxy_header_leads_nowhere(self):
        """Nor do the proxies that the environment of this Apache names."""
        stranger = b"http://127.0.0.1:%d/" % self.stranger_port
        self.assert_arrived(self.visit(message(b"", *(name + b": " + stranger for name in (
            b"Proxy", b"Http-Proxy", b"All-Proxy", b"Proxy-Connection")))))

    def test_query_that_comes_as_arguments_leads_nowhere(self):
        for query in (b"-QZQuintoraServerPort+%d", b"QZQuintoraServerPort+%d", b"Gateway_%d.cgi",
                      b"-QZCGIConnectionProtocol+AppleEvents+%d", b"--port+%d", b"%%00+%d"):
            query %= self.stranger_port
            with self.subTest(query=query):
                self.assert_arrived(self.visit(message(b"?" + query)), QUERY_STRING=query.decode())
        self.assert_arrived(self.visit(message(b"?" + b"+" * 4000)), QUERY_STRING="+" * 4000)

    def test_paths(self):
        for path in b"/%c0%af", b"/%0d%0aCookie:%20a", b"/" + b"p" * 200, b"/\xff\xfe", b"/a//../b":
            with self.subTest(path=path):
                self.assert_arrived(self.visit(message(path + b"?a=b")), QUERY_STRING="a=b")
        for path, status in ((b"/%00", 404), (b"%00", 404), (b"/a%2fb", 404), (b"/../..", 404),
                             (b"/%2e%2e/%2e%2e/x", 404), (b"/" + b"p" * 7000, 403),
                             (b"_%d.cgi" % self.stranger_port, 404)):
            with self.subTest(path=path):
                self.assertEqual(self.visit(message(path)).status, status)

    def test_query_as_long_as_apache_permits(self):
        query = b"&".join(b"f%d" % number for number in range(10_000))
        query = query[:8190 - len(b"GET %s? HTTP/1.1" % GATEWAY)]
        self.assert_arrived(self.visit(message(b"?" + query)), QUERY_STRING=query.decode())
        self.assertEqual(self.visit(message(b"?" + query * 2)).status, 414)

    def test_cookies_as_long_as_apache_permits(self):
        cookie = b"c" * (8190 - len(b"Cookie: "))
        self.assert_arrived(self.visit(message(b"", b"Cookie: " + cookie)),
                            HTTP_COOKIE=cookie.decode())
        for cookies in [cookie * 2], [cookie, cookie]:
            with self.subTest(count=len(cookies)):
                headers = (b"Cookie: " + cookie for cookie in cookies)
                self.assertEqual(self.visit(message(b"", *headers)).status, 400)

    def test_headers_as_many_and_as_long_as_apache_permits(self):
        """The bridge is started with 800 KB of headers and forwards its eighteen variables."""
        value = "c" * 8000
        others = (b"X-%d: %s" % (number, b"x" * 8000) for number in range(90))
        self.assert_arrived(
            self.visit(message(b"", *others, *(b"%s: close, %s" % (name, value.encode())
                                               for name in HEADERS.values()))),
            **dict.fromkeys(HEADERS, "close, " + value))


class Bodies(HostileClients):
    """Bodies that are not what their requests announce."""

    def test_body_that_breaks_off(self):
        for sent in 1, 100, 100_000:
            with self.subTest(sent=sent):
                value = b"x" * sent
                visit = self.visit(post(b"a=" + value, length=b"%d" % (sent + 3)), ends=True)
                self.assertEqual(visit.status, 400)
                self.take_remains(of=value.decode())

    def test_bytes_behind_the_body_reach_nobody(self):
        smuggled = b"b=2\r\n\r\n" + message(b"?smuggled") + post(b"smuggled=1")
        for body, fields in ((b"a=1", {"a": "1"}), (b"a=" + b"x" * 100_000, {"a": "x" * 100_000})):
            with self.subTest(size=len(body)):
                visit = self.visit(post(body) + smuggled)
                self.assert_arrived(visit, fields, **POST)

    def test_body_of_no_length_is_no_form(self):
        for body in b"", b"a=1":
            with self.subTest(body=body):
                self.assert_arrived(self.visit(post(body, length=b"0") + body), **POST)
        self.assert_arrived(self.visit(message(method=b"POST") + b"a=1"), **POST)

    def test_second_request_on_the_connection_is_one_of_its_own(self):
        first = post(b"a=1", b"Connection: keep-alive", target=b"?1")
        with self.connect() as connection:
            connection.sendall(first + post(b"b=2", target=b"?2"))
            self.assertEqual(connection.makefile("rb").read().count(b"HTTP/1.1 200 OK\r\n"), 2)
        self.assertEqual([(request.variables["QUERY_STRING"], request.fields)
                          for request in self.server.requests],
                         [("1", {"a": "1"}), ("2", {"b": "2"})])
        self.server.requests.clear()

    def test_lengths_that_apache_refuses(self):
        for length in (b"+3", b"-3", b"0x3", b"3,3", b"3, 4", b"3 3", b"3.0", b"1e1", b"abc", b"",
                       b"9" * 20, b"9223372036854775808", b"3\r\nContent-Length: 7"):
            with self.subTest(length=length):
                self.assertEqual(self.visit(post(b"a=1&b=2", length=length)).status, 400)

    def test_length_beyond_the_limit(self):
        for length in b"2000000000", b"9" * 18:
            with self.subTest(length=length):
                self.assertEqual(self.visit(post(b"a=1", length=length)).status, 413)
        self.take_remains()

    def test_body_in_chunks_is_no_form(self):
        """Whatever length comes with it, and whatever its trailer says."""
        for headers in (), (b"Content-Length: 3",), (b"Content-Length: 100",):
            for trailer in b"", b"Cookie: a\r\nContent-Length: 3\r\n":
                for chunks in [b"a=1&b=2"], [b"x" * 65536] * 20:
                    with self.subTest(headers=headers, trailer=trailer, chunks=len(chunks)):
                        self.assert_arrived(self.visit(message(
                            b"", b"Transfer-Encoding: chunked", *headers, method=b"POST")
                            + chunked(*chunks, trailer=trailer) + message(b"?smuggled")), **POST)

    def test_body_in_chunks_does_not_delay_a_large_page(self):
        self.server.padding = b"0123456789abcde\n" * 100_000
        visit = self.visit(message(b"", b"Transfer-Encoding: chunked", method=b"POST")
                           + chunked(*[b"x" * 65536] * 20))
        request = self.server.requests.pop()
        self.assertEqual((visit.status, visit.body),
                         (200, request.page + self.server.padding + b"\r\n"))

    def test_broken_chunks(self):
        for body in (b"zz\r\na=1\r\n0\r\n\r\n", b"-1\r\na\r\n0\r\n\r\n", b"7\r\na=1",
                     b"3\r\na=1&b=2\r\n0\r\n\r\n", b"f" * 17 + b"\r\na=1\r\n0\r\n\r\n"):
            with self.subTest(body=body):
                visit = self.visit(message(b"", b"Transfer-Encoding: chunked", method=b"POST")
                                   + body, ends=True)
                self.assertIn(visit.status, (400, 413))
        self.take_remains()

    def test_transfer_codings_that_apache_refuses(self):
        for coding in (b"Transfer-Encoding: xchunked", b"Transfer-Encoding: chunked, identity",
                       b"Transfer-Encoding: identity", b"Transfer-Encoding : chunked"):
            with self.subTest(coding=coding):
                request = message(b"", coding, b"Content-Length: 4", method=b"POST")
                self.assertEqual(self.visit(request + chunked(b"a=1")).status, 400)

    def test_expectations(self):
        self.assert_arrived(self.visit(post(b"a=1", b"Expect: 100-continue")), {"a": "1"}, **POST)
        self.assertEqual(self.visit(post(b"a=1", b"Expect: magic")).status, 417)

    def test_10000_fields(self):
        fields = {f"field {number}": f"é{number}" for number in range(10_000)}
        self.assert_arrived(self.visit(post(urlencode(fields).encode())), fields, **POST)

    def test_fields_of_the_variables_names_replace_them_and_no_others(self):
        self.assert_arrived(self.visit(post(b"ApacheTunnel_REMOTE_ADDR=x&CONTENT_LENGTH=9&a=1"
                                            b"&QZQuintoraServerPort=%d" % self.stranger_port)),
                            {"CONTENT_LENGTH": "9", "a": "1",
                             "QZQuintoraServerPort": str(self.stranger_port)},
                            REMOTE_ADDR="x", **POST)


class SocketAsInput(BridgeTest):
    """As mod_cgid has it, for input and output are the same one then."""

    def printed(self, unread, **details):
        """What a reader gets who has sent something that nobody reads."""
        ours, theirs = socket.socketpair()
        with ours:
            with theirs:
                ours.sendall(unread)
                self.run_bridge(stdin=theirs, stdout=theirs, **details)
            return ours.makefile("rb").read()

    def test_input_that_nobody_reads_does_not_cost_the_answer(self):
        self.assertEqual(self.printed(b"a=1"), DEFAULT_HEADER + b"page\r\n")

    @not_sanitized
    def test_nor_does_it_when_there_is_no_memory(self):
        self.server.answer = reply(b"x" * (32 * MIB))
        self.assertEqual(self.printed(b"a=1", before=lambda: limit_memory(32 * MIB)),
                         DEFAULT_HEADER + b"Quintora CGI error: Out of memory.\r\n")


class BodiesUnderThreads(Bodies):
    runs_as, directives = UNDER_THREADS


class Vanishing(HostileClients):
    """Clients that go away in the middle, with a reset or in order."""

    ENDS = vanish, socket.socket.close

    def test_while_the_head_is_sent(self):
        request = message(b"?a", b"Cookie: " + b"c" * 4000)
        for end, size in itertools.product(self.ENDS, (0, 1, 20, 3000, len(request) - 1)):
            connection = self.connect()
            connection.sendall(request[:size])
            end(connection)
        self.assert_goes_on()

    def test_while_the_body_is_sent(self):
        for end, size, pause in itertools.product(self.ENDS, (0, 100, 200_000), (0, 0.02)):
            with self.subTest(end=end, size=size, pause=pause):
                connection = self.connect()
                connection.sendall(post(b"a=" + b"x" * size, length=b"300000"))
                time.sleep(pause)
                end(connection)
                self.take_remains(of="x" * size)
        time.sleep(0.5)  # a busy Apache may only now start what the last of them left
        self.take_remains(of="x" * 200_000)
        self.assert_goes_on()

    def test_while_the_server_thinks(self):
        self.server.may_answer.clear()
        connections = [self.connect() for _ in range(8)]  # as many as Apache has processes
        for number, connection in enumerate(connections):
            connection.sendall(post(b"a=%d" % number))
        self.wait_for(lambda: len(self.server.requests) == len(connections))
        for end, connection in zip(itertools.cycle(self.ENDS), connections):
            end(connection)
        self.server.may_answer.set()
        self.assert_nothing_is_left()
        self.assertEqual(sorted(request.fields["a"] for request in self.server.requests),
                         [str(number) for number in range(8)])
        self.server.requests.clear()
        self.assert_goes_on()

    def test_while_a_large_page_is_received(self):
        self.server.padding = b"0123456789abcde\n" * 200_000
        for end, size in itertools.product(self.ENDS, (0, 1, 100_000)):
            with self.subTest(end=end, size=size):
                connection = self.connect()
                connection.sendall(message())
                while size > 0:
                    size -= len(connection.recv(size))
                end(connection)
                self.assert_nothing_is_left()
        # One that went before its request was read has none.
        self.assertIn(len(self.server.requests), range(4, 7))
        self.server.requests.clear()
        self.server.padding = b""
        self.assert_goes_on()

    def test_thirty_at_once(self):
        """At all moments: before, between and after the bytes of the body and of the page."""
        self.server.padding = b"0123456789abcde\n" * 20_000

        def come_and_go(number):
            connection = self.connect()
            with contextlib.suppress(ConnectionError):
                connection.sendall(post(b"a=" + b"x" * (1000 * number), length=b"20002"))
                time.sleep(number % 3 * 0.01)
            self.ENDS[number % 2](connection)

        with ThreadPoolExecutor(30) as pool:
            list(pool.map(come_and_go, range(30)))
        self.take_remains(of="x" * 20_000)
        self.server.padding = b""
        self.assert_goes_on()


class VanishingUnderThreads(Vanishing):
    runs_as, directives = UNDER_THREADS


class Stalling(HostileClients):
    """Clients that stop sending or reading, with an Apache that has short time-outs."""

    runs_as = (*HostileClients.runs_as, "reqtimeout")
    directives = "RequestReadTimeout header=1 body=1\nTimeOut 1"

    def test_head_that_stalls(self):
        self.assertIn(self.visit(message()[:-5]).status, (408, None))

    def test_body_that_stalls(self):
        bodies = [b"a=" + b"x" * sent for sent in (0, 3, 100_000)]
        with ThreadPoolExecutor() as pool:
            visits = pool.map(lambda body: self.visit(post(body, length=b"200000")), bodies)
            self.assertLessEqual({visit.status for visit in visits}, {400, 408})
        self.take_remains(of="x" * 100_000)

    def test_body_that_trickles(self):
        with self.connect() as connection:
            connection.sendall(post(b"a=", length=b"1000"))
            began = time.monotonic()
            with contextlib.suppress(ConnectionError):
                while time.monotonic() < began + LONGEST_RUN and not select.select(
                        [connection], [], [], 0.1)[0]:
                    connection.sendall(b"x")
        self.take_remains(of="x" * 1000)
        self.assertLess(time.monotonic(), began + LONGEST_RUN / 2)

    def test_page_that_nobody_takes(self):
        self.server.padding = b"0123456789abcde\n" * 500_000
        with self.connect() as connection:
            connection.sendall(message())
            self.wait_for(lambda: self.server.requests)
            self.assert_nothing_is_left()
            rest = b""
            with contextlib.suppress(ConnectionError):
                rest = connection.makefile("rb").read()
        self.assertLess(len(rest), len(self.server.padding))
        self.server.requests.clear()


class Crowd(HostileClients):
    """Good clients among bad ones."""

    # What the bad ones send, some of them before they go without waiting for an answer.
    BAD = tuple(itertools.product((
        post(b"a=1", target=b"?bad", length=b"1000"),
        post(b"a=1&b=%zz", target=b"?bad"),
        post(b"a=1" + post(b"smuggled=1", target=b"?bad&good"), target=b"?bad", length=b"3"),
        post(b"a=" + b"x" * 100_000, target=b"?bad"),
        message(b"?bad", b"Cookie: \xff"),
        message(b"?bad", b"Content-Length: x", method=b"POST"),
        message(b"?bad", b"Transfer-Encoding: chunked", method=b"POST") + chunked(b"y" * 9000),
        message(b"?bad")[:40]), (True, False)))
    TURNS = 4

    def test_each_good_client_gets_the_page_for_its_own_request(self):
        start = threading.Barrier(50)

        def behave(number):
            start.wait()
            for turn in range(self.TURNS):
                if number % 2:
                    self.be_good(f"{number}-{turn}")
                else:
                    self.be_bad(*self.BAD[(number // 2 + turn) % len(self.BAD)])

        with ThreadPoolExecutor(50) as pool:
            list(pool.map(behave, range(50)))
        self.assert_nothing_is_left()
        good = [request.variables["QUERY_STRING"] for request in self.server.requests
                if request.variables["QUERY_STRING"] != "bad"]
        self.assertEqual(sorted(good), sorted(
            f"good{number}-{turn}" for number in range(1, 50, 2) for turn in range(self.TURNS)))
        self.server.requests.clear()

    def be_good(self, name):
        fields = {name: name * 1000, "same": name}
        visit = self.visit(post(urlencode(fields).encode(), b"Cookie: " + name.encode(),
                                target=b"?good" + name.encode()))
        expected = Tunnelled({"QUERY_STRING": "good" + name, "HTTP_COOKIE": name,
                              "REMOTE_PORT": str(visit.port)}, fields)
        self.assertEqual((visit.status, visit.body), (200, expected.page + b"\r\n"))

    def be_bad(self, request, waits):
        if waits:
            self.visit(request, ends=True)
            return
        connection = self.connect()
        connection.sendall(request)
        vanish(connection)


class CrowdUnderThreads(Crowd):
    runs_as, directives = UNDER_THREADS


if __name__ == "__main__":
    unittest.main()
