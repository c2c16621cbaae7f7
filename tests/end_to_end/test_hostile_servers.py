"""A server that breaks off, is slow or never ends: what the visitor sees, and that the run ends.

Whatever the server does, the run ends in time with status 0 and one whole response, the server gets
at most one connection with one request, and no other server gets any.
"""
import concurrent.futures
import contextlib
import errno
import os
import re
import select
import socket
import threading
import time
import unittest

from tests.support.harness import (DEFAULT_HEADER, MIB, REQUEST_ERROR, BridgeTest, fast_only,
                                   is_sanitizer_build, limit_memory, not_sanitized, reply)

PAGE = DEFAULT_HEADER + b"page\r\n"
EMPTY_BODY = REQUEST_ERROR + b"(null)\r\n"
OUT_OF_MEMORY = DEFAULT_HEADER + b"Quintora CGI error: Out of memory.\r\n"
TYPE = b"Content-Type: text/html; charset=utf-8\r\n"
TO_THE_END = b"HTTP/1.1 200 OK\r\n" + TYPE + b"\r\n"
CHUNKED = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n" + TYPE + b"\r\n"
CHUNKS = b"6\r\na page\r\n7;x=\"y\"\r\n of two\r\n7\r\n\r\nlines\r\n0\r\nTrailer: t\r\n\r\n"
TEXT = b"a page of two\r\nlines"
REQUEST_LINE = b"POST /apache-tunnel/ HTTP/1.1\r\n"
LARGE_FORM = b"a=" + b"x" * (8 * MIB)  # more than the system takes for a server that reads nothing

# The sentences that describe a failure.
UNFINISHED = "{place} closed the connection before its reply was complete."
NO_REPLY = "{place} closed the connection without a reply."
RESET = f"The exchange with {{place}} failed: {os.strerror(errno.ECONNRESET)}."
RESET_AT_ONCE = f"The connection to {{place}} failed: {os.strerror(errno.ECONNRESET)}."
SILENT = "{place} neither sent nor took a byte for 60 seconds."
INVALID = "The reply of {place} is not valid HTTP: "
TOO_LONG = INVALID + "its head or the lines between its chunks are longer than 256 KiB."
NO_STATUS_LINE = INVALID + "its status line is malformed."

# Replies that declare their end.
BOUNDED = {
    "a length": reply(TEXT),
    "chunks": CHUNKED + CHUNKS,
}

# Endless replies: a start, and what is repeated after it.
ENDLESS_LINES = {
    "bytes without a line end": (b"", b"x"),
    "empty lines in place of a reply": (b"", b"\r\n"),
    "status line": (b"HTTP/1.1 200 ", b"x"),
    "header line": (b"HTTP/1.1 200 OK\r\nX: ", b"y"),
    "folded header line": (b"HTTP/1.1 200 OK\r\nX: y\r\n", b" z\r\n"),
    "header lines": (b"HTTP/1.1 200 OK\r\n", b"X: y\r\n"),
    "charsets": (b"HTTP/1.1 200 OK\r\n", TYPE),
    "interim replies": (b"", b"HTTP/1.1 100 Continue\r\n\r\n"),
    "interim replies with a header": (b"", b"HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n"),
    "chunk size": (CHUNKED, b"0"),
    "chunk extension": (CHUNKED + b"1;", b"x"),
    "trailers": (CHUNKED + b"1\r\nx\r\n0\r\n", b"X: y\r\n"),
}
ENDLESS_BODIES = {
    "of an enormous length": (b"HTTP/1.1 200 OK\r\nContent-Length: 9223372036854775807\r\n" + TYPE
                              + b"\r\n", b"x"),
    "without a length": (TO_THE_END, b"x"),
    "of one enormous chunk": (CHUNKED + b"7FFFFFFFFFFFFFFF\r\n", b"x"),
    "of chunks of one byte": (CHUNKED, b"1\r\nx\r\n"),
}

# Statuses after which other clients ask again, or elsewhere.
REPEATING_STATUSES = (
    "301 Moved Permanently", "302 Found", "303 See Other", "307 Temporary Redirect",
    "308 Permanent Redirect", "401 Unauthorized", "407 Proxy Authentication Required",
    "408 Request Timeout", "417 Expectation Failed", "421 Misdirected Request", "425 Too Early",
    "426 Upgrade Required", "429 Too Many Requests", "500 Internal Server Error",
    "502 Bad Gateway", "503 Service Unavailable", "504 Gateway Timeout")


def answering(data):
    """Takes the request, sends the data and ends its side."""
    def script(connection):
        connection.take_request()
        connection.send(data)
        connection.end_sending()
        connection.take_rest()
    return script


def resetting(data, wanted=None):
    """Takes the request, or so many bytes of it, sends the data and resets the connection."""
    def script(connection):
        if wanted is None:
            connection.take_request()
        while (wanted or 0) > len(connection.received) and connection.receive(wanted):
            pass
        connection.send(data)
        connection.reset()
    return script


def endless(start, repeated):
    """Sends without an end, that is, until the connection fails."""
    def script(connection):
        connection.take_request()
        connection.send(start)
        block = repeated * (MIB // len(repeated))
        while True:
            connection.send(block)
    return script


def slowly(pieces, pause):
    """Takes the request and sends the pieces, with a pause between two of them."""
    def script(connection):
        connection.take_request()
        for number, piece in enumerate(pieces):
            time.sleep(pause if number else 0)
            connection.send(piece)
    return script


def is_one_request_at_most(received):
    """Whether this is a request with nothing after it, or the beginning of one, or nothing."""
    head, end, body = received.partition(b"\r\n\r\n")
    length = re.search(rb"\r\nContent-Length: ([0-9]+)\b", head)
    return (received.startswith(REQUEST_LINE[:len(received)])
            and (not end or len(body) <= int(length[1])))


def failure(sentence, port, address="127.0.0.1"):
    """The whole output that describes it."""
    sentence = sentence.format(place=f"{address} port {port}")
    return REQUEST_ERROR + sentence.encode() + b"\r\n"


def has_ipv6_loopback():
    try:
        socket.create_server(("::1", 0), family=socket.AF_INET6).close()
        return True
    except OSError:
        return False


HAS_IPV6 = has_ipv6_loopback()


class HostileServerTest(BridgeTest):
    def start_pair(self, script):
        """A server with the script, and a good one at ::1 with the same port, if there can be."""
        for _ in range(10):
            server = self.start_server(script=script)
            if not HAS_IPV6:
                return server, None
            with contextlib.suppress(OSError):  # somebody else has that port
                return server, self.start_server(host="::1", port=server.port)
        raise RuntimeError("no port is free on both loopback addresses")

    def visit(self, script, form=b"a=1", **details):
        """What is printed for a visitor, and the server's port."""
        server, other = self.start_pair(script)
        output = self.post(form, name=f"Gateway_{server.port}.cgi", **details).stdout
        self.assert_was_asked_once(server)
        if other:
            other.close()
            self.assertEqual(other.connections, 0)
        return output, server.port

    def assert_was_asked_once(self, server):
        server.close()
        self.assertEqual(server.connections, 1)
        self.assertTrue(is_one_request_at_most(server.received[0]), server.received[0][-1000:])

    def assert_prints(self, expected, script, **details):
        """For a sentence, the failure that it describes; else the whole output."""
        output, port = self.visit(script, **details)
        if isinstance(expected, str):
            expected = failure(expected, port)
        self.assertEqual(output, expected)


class BreakingOff(HostileServerTest):
    @fast_only
    def test_reply_cut_at_any_byte_is_a_described_error_and_never_a_shorter_page(self):
        for what, whole in BOUNDED.items():
            for length in range(1, len(whole)):
                with self.subTest(what, length=length):
                    self.assert_prints(UNFINISHED, answering(whole[:length]))
            with self.subTest(what):
                self.assert_prints(NO_REPLY, answering(b""))
                self.assert_prints(DEFAULT_HEADER + TEXT + b"\r\n", answering(whole))

    @fast_only
    def test_reply_that_the_end_of_the_connection_ends_is_a_page_once_its_head_is_there(self):
        for length in range(1, len(TO_THE_END)):
            with self.subTest(length=length):
                self.assert_prints(UNFINISHED, answering(TO_THE_END[:length]))
        self.assert_prints(EMPTY_BODY, answering(TO_THE_END))
        for length in range(1, len(b"a page")):
            with self.subTest(length=length):
                self.assert_prints(DEFAULT_HEADER + b"a page"[:length] + b"\r\n",
                                   answering(TO_THE_END + b"a page"[:length]))

    def test_reset_is_described_wherever_it_comes(self):
        for what, script in {
                "in the head of the request": resetting(b"", 10),
                "without a reply": resetting(b""),
                "in the head of the reply": resetting(b"HTTP/1.1 200 OK\r\nContent-"),
                "behind the head": resetting(reply(TEXT)[:-len(TEXT)]),
                "in a body of a length": resetting(reply(TEXT)[:-1]),
                "in a body of chunks": resetting(CHUNKED + CHUNKS[:-1]),
                "in a body to the end": resetting(TO_THE_END + TEXT)}.items():
            with self.subTest(what):
                self.assert_prints(RESET, script)

    @fast_only
    def test_reset_is_described_while_a_large_form_is_sent(self):
        for data in b"", b"HTTP/1.1 200 OK\r\n", TO_THE_END + TEXT:
            for wanted in 1, 100_000:
                for _ in range(5):  # the system tells it to either side
                    with self.subTest(data=data, wanted=wanted):
                        self.assert_prints(RESET, resetting(data, wanted), form=LARGE_FORM)

    def test_reset_at_once_is_described_by_what_it_hits(self):
        """Whether the bridge has noticed before that it is connected is a matter of chance."""
        for data in b"", TO_THE_END + TEXT:
            for form in b"a=1", LARGE_FORM:
                with self.subTest(data=data, form=len(form)):
                    output, port = self.visit(resetting(data, 0), form)
                    self.assertIn(output, (failure(RESET, port), failure(RESET_AT_ONCE, port)))

    def test_reset_behind_a_whole_reply_is_not_noticed(self):
        for what, whole in BOUNDED.items():
            with self.subTest(what):
                self.assert_prints(DEFAULT_HEADER + TEXT + b"\r\n", resetting(whole))

    def test_server_that_stops_listening_without_taking_the_connection_is_described(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            port = listener.getsockname()[1]

            def leave():
                select.select([listener], [], [])
                time.sleep(0.1)  # by now the request has come, too
                listener.close()

            thread = threading.Thread(target=leave, daemon=True)
            thread.start()
            output = self.post(b"a=1", name=f"Gateway_{port}.cgi").stdout
            thread.join()
        self.assertEqual(output, failure(RESET, port))  # and not that the port refuses


class Misbehaving(HostileServerTest):
    def test_bytes_that_are_no_reply_are_described(self):
        for answer in (b"hello\r\n\r\n", b"HTTP/1.1\r\n\r\n", b"\r\n" * 50, b"<p>page</p>\n",
                       b"ICY 200 OK\r\n\r\n", b"HTTP/2 200\r\n\r\n", b"220 mail ESMTP\r\n"):
            with self.subTest(answer=answer):
                self.assert_prints(NO_STATUS_LINE, answering(answer))
        self.assert_prints(UNFINISHED, answering(b"\0" * 100))
        self.assert_prints(INVALID + "one of its lines holds a NUL or a lone CR.",
                           answering(b"\0" * 100 + b"\n"))
        self.assert_prints(UNFINISHED, answering(b"\x15\x03\x01\x00\x02\x02\x28"))  # a TLS alert

    def test_second_reply_on_the_connection_is_ignored(self):
        for first in reply(b"page"), CHUNKED + b"4\r\npage\r\n0\r\n\r\n":
            with self.subTest(first=first):
                self.assert_prints(PAGE, answering(first + reply(b"another one")))
                self.assert_prints(PAGE, slowly([first, reply(b"another one")], 0.05))

    def test_reply_before_the_request_is_read_is_the_page(self):
        def answer_and_leave(connection):
            connection.send(reply(b"page"))

        def answer_and_read(connection):
            connection.send(reply(b"page"))
            connection.take_rest()

        for form in b"a=1", LARGE_FORM:
            for script in answer_and_leave, answer_and_read:
                with self.subTest(script=script.__name__, form=len(form)):
                    self.assert_prints(PAGE, script, form=form)

    def test_reply_is_the_page_though_the_request_is_never_read(self):
        over = threading.Event()

        def answer_and_stay(connection):
            connection.send(reply(b"page"))
            over.wait(90)

        server = self.start_server(script=answer_and_stay)
        self.addCleanup(over.set)
        output = self.post(LARGE_FORM, name=f"Gateway_{server.port}.cgi").stdout
        over.set()
        self.assertEqual(output, PAGE)
        self.assert_was_asked_once(server)

    def test_no_status_makes_it_ask_again(self):
        for status in REPEATING_STATUSES:
            with self.subTest(status=status):
                self.assert_prints(PAGE, answering(reply(
                    b"page", "text/html; charset=utf-8", status, "Location: /apache-tunnel/",
                    "Retry-After: 0", "WWW-Authenticate: Basic realm=x", "Connection: keep-alive")))

    def test_interim_replies_are_skipped_but_for_the_silence_behind_them(self):
        interim = b"HTTP/1.1 102 Processing\r\nX: y\r\n\r\n" * 100
        self.assert_prints(PAGE, answering(interim + reply(b"page")))
        self.assert_prints(UNFINISHED, answering(interim))

    @unittest.skipUnless(HAS_IPV6, "this machine has no IPv6 loopback")
    def test_server_at_the_other_loopback_address_alone_is_asked_once(self):
        for answer, expected in (reply(b"page"), PAGE), (b"", NO_REPLY), (b"x", UNFINISHED):
            with self.subTest(answer=answer):
                server = self.start_server(host="::1", script=answering(answer))
                output = self.post(b"a=1", name=f"Gateway_{server.port}.cgi").stdout
                self.assertEqual(output, expected if expected is PAGE else
                                 failure(expected, server.port, "::1"))
                self.assert_was_asked_once(server)


class DraggingOn(HostileServerTest):
    def test_byte_after_byte_is_waited_for(self):
        """With pauses of a hundredth of a second instead of a minute, which has its own test."""
        for what, whole in {**BOUNDED, "to the end": TO_THE_END + TEXT}.items():
            with self.subTest(what):
                self.assert_prints(DEFAULT_HEADER + TEXT + b"\r\n",
                                   slowly([bytes([byte]) for byte in whole], 0.01))

    @unittest.skipIf(is_sanitizer_build(), "a minute is the same in every build")
    def test_a_minute_of_silence_is_the_end_and_a_byte_begins_another(self):
        """All at the same time, as each takes a minute."""
        over = threading.Event()

        def stay(data=b"", *, reads=True):
            def script(connection):
                if reads:
                    connection.take_request()
                connection.send(data)
                over.wait(90)
            return script

        alive = slowly([TO_THE_END, b"pa", b"ge"], 31)
        rows = (("takes the request", stay(), b"a=1", SILENT),
                ("takes nothing", stay(reads=False), LARGE_FORM, SILENT),
                ("stops in the head", stay(b"HTTP/1.1 200 OK\r\nConte"), b"a=1", SILENT),
                ("stops before the last byte", stay(reply(TEXT)[:-1]), b"a=1", SILENT),
                ("stops before the last chunk", stay(CHUNKED + CHUNKS[:-5]), b"a=1", SILENT),
                ("promises a reply", stay(b"HTTP/1.1 100 Continue\r\n\r\n"), b"a=1", SILENT),
                ("sends something in time", slowly([TO_THE_END, b"pa", b"ge"], 31), b"a=1", PAGE))
        servers = [self.start_server(script=script) for _, script, _, _ in rows]
        self.addCleanup(over.set)

        def time_of(server, form):
            start = time.monotonic()
            output = self.post(form, name=f"Gateway_{server.port}.cgi", longest=90).stdout
            return output, time.monotonic() - start

        with concurrent.futures.ThreadPoolExecutor(len(rows)) as pool:
            runs = list(pool.map(time_of, servers, [form for _, _, form, _ in rows]))
        over.set()
        for (what, _, _, expected), server, (output, elapsed) in zip(rows, servers, runs):
            with self.subTest(what):
                self.assertEqual(output, PAGE if expected is PAGE else
                                 failure(expected, server.port))
                self.assertGreaterEqual(elapsed, 60)
                self.assertLess(elapsed, 75)
                self.assert_was_asked_once(server)


class NeverEnding(HostileServerTest):
    def test_lines_without_end_are_described_and_fill_no_memory(self):
        for what, (start, repeated) in ENDLESS_LINES.items():
            with self.subTest(what):
                expected = NO_STATUS_LINE if repeated == b"\r\n" else TOO_LONG
                self.assert_prints(expected, endless(start, repeated), before=None
                                   if is_sanitizer_build() else lambda: limit_memory(32 * MIB))

    @not_sanitized
    def test_body_without_end_ends_in_a_short_answer_when_memory_is_limited(self):
        for what, (start, repeated) in ENDLESS_BODIES.items():
            with self.subTest(what):
                self.assert_prints(OUT_OF_MEMORY, endless(start, repeated),
                                   before=lambda: limit_memory(32 * MIB))

    @not_sanitized
    def test_body_that_only_claims_to_be_enormous_costs_no_memory(self):
        for what, (start, _) in ENDLESS_BODIES.items():
            if start not in (TO_THE_END, CHUNKED):
                with self.subTest(what):
                    self.assert_prints(UNFINISHED, answering(start + b"x"),
                                       before=lambda: limit_memory(32 * MIB))


if __name__ == "__main__":
    unittest.main()
