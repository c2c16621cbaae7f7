"""One run of the built bridge in tunnel mode: what it asks the server, and what it prints."""
import os
import unittest

from tests.support.harness import (DEFAULT_HEADER, MIB, REQUEST_ERROR, VARIABLES, BridgeTest,
                                   fast_only, is_sanitizer_build, limit_memory, not_sanitized,
                                   reply)


def long_replies(size, charset=b"utf-8"):
    """Replies that tell their length in each way, and what the bridge prints for them."""
    piece = b"0123456789abcde\n" * 256
    text = piece * (size // len(piece))
    content_type = b"text/plain; charset=" + charset
    head = b"HTTP/1.1 200 OK\r\nContent-Type: " + content_type + b"\r\n"
    chunk = b"%x\r\n%s\r\n" % (len(piece), piece)
    chunks = chunk * (size // len(piece)) + b"0\r\n\r\n"
    for answer in (reply(text, content_type.decode()), head + b"\r\n" + text,
                   head + b"Transfer-Encoding: chunked\r\n\r\n" + chunks):
        yield answer, DEFAULT_HEADER + text + b"\r\n"


# The server's reply text and the whole output.
RESPONSES = (
    # Line ends: carriage returns alone become CR LF, one line feed anywhere leaves all as it is.
    (b"Content-type: text/html\r\rHello", b"Content-type: text/html\r\n\r\nHello\r\n"),
    (b"Content-type: text/html\n\nHello", b"Content-type: text/html\n\nHello\r\n"),
    (b"Content-type: text/html\r\nHello\rWorld", b"Content-type: text/html\r\nHello\rWorld\r\n"),
    (b"Content-type: text/html\r\n\r\nHello\r\n", b"Content-type: text/html\r\n\r\nHello\r\n"),
    (b"one\rtwo\r", DEFAULT_HEADER + b"one\r\ntwo\r\n"),
    # Header: exactly this word, at the very beginning.
    (b"Hello", DEFAULT_HEADER + b"Hello\r\n"),
    (b"Content-type:", b"Content-type:\r\n"),
    (b"Content-type", DEFAULT_HEADER + b"Content-type\r\n"),
    (b"Content-Type: text/html\r\n\r\nHello",
     DEFAULT_HEADER + b"Content-Type: text/html\r\n\r\nHello\r\n"),
    (b"Content-Type: text/html\r\n\r\n", DEFAULT_HEADER + b"Content-Type: text/html\r\n\r\n"),
    (b"content-type: text/html\r\n\r\nHello",
     DEFAULT_HEADER + b"content-type: text/html\r\n\r\nHello\r\n"),
    (b" Content-type: text/html\r\n\r\nHello",
     DEFAULT_HEADER + b" Content-type: text/html\r\n\r\nHello\r\n"),
    # A byte-order mark before it is no part of the text.
    (b"\xef\xbb\xbfContent-type: text/html\r\n\r\nHello",
     b"Content-type: text/html\r\n\r\nHello\r\n"),
    # Final line end: CR LF is there once.
    (b"Hello\r\n", DEFAULT_HEADER + b"Hello\r\n"),
    (b"Hello\n", DEFAULT_HEADER + b"Hello\n\r\n"),
    (b"one\ntwo\r", DEFAULT_HEADER + b"one\ntwo\r\r\n"),
    # The text is no format, and it ends at its first NUL.
    (b"100% %@ %s %d %n %%", DEFAULT_HEADER + b"100% %@ %s %d %n %%\r\n"),
    (b"Hello\0World\r\n", DEFAULT_HEADER + b"Hello"),
    (b"\0Hello", DEFAULT_HEADER),
    ("Grüße 😀".encode(), DEFAULT_HEADER + "Grüße 😀".encode() + b"\r\n"),
)

# Content-Type of the reply, its body, and the text that is printed below the default header.
CHARSETS = (
    ("text/html; charset=utf-8", b"caf\xc3\xa9", "café\r\n"),
    ("text/html; charset=UTF-8", b"caf\xc3\xa9", "café\r\n"),
    ('text/html; charset="utf-8"', b"caf\xc3\xa9", "café\r\n"),
    ("text/html; level=1; Charset=utf-8; x=y", b"caf\xc3\xa9", "café\r\n"),
    ("text/html; charset=iso-8859-1", b"caf\xe9", "café\r\n"),
    ("text/html; charset=windows-1252", b"\x80 5", "€ 5\r\n"),
    ("text/html; charset=macintosh", b"caf\x8e", "café\r\n"),
    ("text/html; charset=utf-16", b"\xfe\xff\0H\0i", "Hi\r\n"),
    ("text/html; charset=utf-16", b"\xff\xfeH\0i\0", "Hi\r\n"),
    ("text/html; charset=utf-16", b"\0H\0i", "Hi\r\n"),
    ("text/html; charset=us-ascii", b"Hi", "Hi\r\n"),
    # Invalid bytes, or an unknown charset: no text.
    ("text/html; charset=utf-8", b"caf\xe9", ""),
    ("text/html; charset=utf-8", b"\xc3", ""),
    ("text/html; charset=us-ascii", b"caf\xe9", "café\r\n"),
    ("text/html; charset=utf-8", b"a\xef\xbb\xbfb", "a\ufeffb\r\n"),
    ("text/html; charset=x-sjis", b"\\\x87\x40", "\\①\r\n"),
    ("text/html; charset=iso-8859-3", b"caf\xa5", ""),
    ("text/html; charset=no-such-charset", b"Hello", ""),
    ('text/html; charset="utf-8//TRANSLIT"', b"Hello", ""),
    # No charset: never decoded, not even plain ASCII.
    ("text/html", b"Hello", "Error: CGI tunnel returned binary data.\r\n"),
    (None, b"Hello", "Error: CGI tunnel returned binary data.\r\n"),
)

# What else a reply may look like, and the text that is printed below the default header.
REPLIES = (
    (reply(b"gone", status="404 Not Found"), b"gone\r\n"),
    (reply(b"broken", status="500 Internal Server Error"), b"broken\r\n"),
    (reply(b"go there", "text/html; charset=utf-8", "302 Found", "Location: /other"),
     b"go there\r\n"),
    (b"HTTP/1.1 100 Continue\r\nContent-Type: text/html\r\n\r\n" + reply(b"page"), b"page\r\n"),
    (b"HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n\r\nto the end",
     b"to the end\r\n"),
    (b"HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"
     b"Transfer-Encoding: chunked\r\n\r\n4;x=y\r\nchun\r\n2\r\nks\r\n0\r\nTrailer: t\r\n\r\n",
     b"chunks\r\n"),
    # An empty body is tested first, and there is no error to describe.
    (reply(b""), b"CGI tunnel request error:(null)\r\n"),
    (reply(b"", None), b"CGI tunnel request error:(null)\r\n"),
    (reply(b"", "text/html; charset=no-such-charset"), b"CGI tunnel request error:(null)\r\n"),
    (b"HTTP/1.1 204 No Content\r\n\r\n", b"CGI tunnel request error:(null)\r\n"),
)

# File name, QZQuintoraServerPort, QZQuintoraCloudServerPorts, and who is asked: one of the three
# servers a, b and c, whose port numbers stand for their letters, or nobody.
PORTS = (
    ("Gateway.cgi", "{a}", None, "a"),
    ("Gateway.cgi", "{a}", "{b}:{c},sales:{c}", "a"),
    ("Gateway", "{a}", "Gateway:{c}", "a"),
    ("Gateway_{b}.cgi", "{a}", None, "b"),
    ("Gateway_{b}.cgi", None, "{b}:{c},sales:{a}", "c"),
    ("Gateway_sales.cgi", None, "{b}:{c},sales:{a}", "a"),
    ("Gateway_sales.cgi", "{a}", None, None),
    ("Gateway_sales.cgi", "{a}", "{b}:{c}, sales:{a}", None),
    ("Gateway_Sales.cgi", "{a}", "sales:{b}", None),
    ("Gateway_{b}_b.cgi", "{a}", None, "b"),
    ("Gateway__{b}.cgi", "{a}", None, None),
    ("Gateway__{b}.cgi", "{a}", ":{c}", "c"),
    ("Gate.way_{b}.cgi", "{a}", None, None),
    ("Gate.way_{b}.cgi", "{a}", "way:{c}", "c"),
    ("_{b}", "{a}", None, "b"),
    ("Gateway_{b}", "{a}", "", "b"),
    ("Gateway_{b}", "{a}", "{b}", "b"),
    ("Gateway_{b}", "{a}", "{b},{b}:{c}", "c"),
    ("Gateway_{b}", "{a}", "{b}:{c}:{a}", "c"),
    ("Gateway_{b}", "{a}", "{b}: {c}", "c"),
    ("Gateway_{b}", "{a}", "{b}:{c},{b}:{a}", "c"),
    ("Gateway_{b}", "{a}", "{b}:{c},{c}:{a}", "c"),
    ("Gateway_{b}abc.cgi", "{a}", None, "b"),
    ("Gateway_-1.cgi", "{a}", None, None),
    ("Gateway_70000.cgi", "{a}", None, None),
    ("Gateway_99999999999999999999.cgi", "{a}", None, None),
    ("/srv/cgi_bin/Gateway.cgi", "{a}", None, "a"),
    ("/srv/Gateway_{b}.cgi/", "{a}", None, "b"),
    ("Gateway.cgi", "+{a}x", None, "a"),
    ("Gateway.cgi", "abc", None, None),
    ("Gateway.cgi", "", None, None),
)

# A form body and the fields that arrive.
FORMS = (
    (b"a=1&b=2", {"a": "1", "b": "2"}),
    (b"a=b=c", {"a": "b"}),
    (b"flag", {"flag": ""}),
    (b"a=1&&b=2", {"a": "1", "": "", "b": "2"}),
    (b"a=1&", {"a": "1", "": ""}),
    (b"=x", {"": "x"}),
    (b"=x&", {"": ""}),
    (b"name=Ann+Lee%2B%21", {"name": "Ann Lee+!"}),
    (b"a+b=1", {"a b": "1"}),
    (b"a=1&a=2", {"a": "2"}),
    (b"a=1&b=2\0&c=3", {"a": "1", "b": "2"}),
    (b"a=%41%c3%A9%F0%9F%98%80", {"a": "Aé😀"}),
    ("a=é".encode(), {"a": "é"}),
    (b"a=one%0D%0Atwo%00%22%7B%7D", {"a": 'one\r\ntwo\0"{}'}),
    # A body that is no UTF-8 is no form.
    (b"a=1&b=\xe9", {}),
)

# CONTENT_LENGTH and what is read of the body "a=1234567890".
LENGTHS = (
    (None, {}), ("", {}), ("0", {}), ("-5", {}), ("abc", {}), ("x12", {}),
    ("3", {"a": "1"}), ("+3", {"a": "1"}), (" 3abc", {"a": "1"}), ("\t 03.9", {"a": "1"}),
    ("12", {"a": "1234567890"}), ("12abc", {"a": "1234567890"}),
    ("5000", {"a": "1234567890"}),
)

# A field as the visitor's form has it, and the pair as it stands in the body for the server.
PAIRS = (
    (b"q=Jo+Smith%2BCo", b"q=Jo%20Smith%2BCo"),
    (b"q=a%3D1%26b%3D2", b"q=a=1%26b=2"),
    (b"q=50%25", b"q=50%25"),
    (b"q=caf%C3%A9", b"q=caf%C3%A9"),
    (b"a%3Db=c", b"a=b=c"),
    (b"%26%2B=1", b"%26%2B=1"),
    (b"q=-_.!~*'()%3B/?:%40%2C$", b"q=-_.!~*'();/?:@,$"),
    (b"q=%22%60%25%3C%3E%5C%5E%7B%7C%7D%7F", b"q=%22%60%25%3C%3E%5C%5E%7B%7C%7D%7F"),
    (b"q=%00%01%0d%0A%1f", b"q=%00%01%0D%0A%1F"),
    (b"q=%e2%82%ac%f0%9f%98%80", b"q=%E2%82%AC%F0%9F%98%80"),
)


class Response(BridgeTest):
    def test_response_rules(self):
        for text, output in RESPONSES:
            with self.subTest(text=text):
                self.assertEqual(self.page(reply(text)), output)

    def test_reply_is_decoded_by_its_declared_charset_only(self):
        for content_type, body, text in CHARSETS:
            with self.subTest(content_type=content_type, body=body):
                self.assertEqual(self.page(reply(body, content_type)),
                                 DEFAULT_HEADER + text.encode())

    def test_only_body_charset_and_error_of_a_reply_count(self):
        for answer, text in REPLIES:
            with self.subTest(answer=answer):
                self.assertEqual(self.page(answer), DEFAULT_HEADER + text)

    def test_large_reply_is_printed_whole(self):
        body = b"0123456789abcde\n" * 200_000
        self.assertEqual(self.page(reply(body)), DEFAULT_HEADER + body + b"\r\n")

    @fast_only
    def test_long_reply_takes_little_more_memory_than_its_size(self):
        """However its length is told. At each size, some buffer that doubles takes much more."""
        for size in 18 * MIB, 34 * MIB, 40 * MIB:
            for answer, output in long_replies(size):
                with self.subTest(size=size, begin=answer[:120]):
                    self.server.answer = answer
                    result = self.run_bridge(supervised=True)
                    self.assertTrue(result.stdout == output)
                    if not is_sanitizer_build():
                        self.assertLess(result.peak_memory, size + 8 * MIB)

    @fast_only
    @not_sanitized
    def test_long_reply_passes_where_addresses_are_limited(self):
        """To fewer than a reply of unknown length gets otherwise, or to few more."""
        for limit, charset in (192 * MIB, b"utf-8"), (280 * MIB, b"iso-8859-1"):
            for answer, output in long_replies(40 * MIB, charset):
                with self.subTest(charset=charset, begin=answer[:120]):
                    page = self.page(answer, before=lambda: limit_memory(limit))
                    self.assertTrue(page == output)

    def test_reply_is_complete_without_the_server_closing(self):
        self.server.hold = True
        self.assertEqual(self.page(reply(b"page")), DEFAULT_HEADER + b"page\r\n")

    def test_refused_connection_is_described(self):
        self.server.close()
        output = self.run_bridge().stdout
        self.assertTrue(output.startswith(REQUEST_ERROR), output)
        self.assertIn(b"%d" % self.server.port, output)
        self.assertTrue(output.endswith(b"\r\n"), output)

    def test_further_arguments_are_ignored(self):
        output = self.run_bridge(arguments=["--help", "Gateway_1.cgi", "%s"]).stdout
        self.assertEqual(output, DEFAULT_HEADER + b"page\r\n")


class PortChoice(BridgeTest):
    def test_port_comes_from_name_table_and_preferences(self):
        servers = {"a": self.server, "b": self.start_server(), "c": self.start_server()}
        ports = {letter: server.port for letter, server in servers.items()}
        for name, port, table, asked in PORTS:
            with self.subTest(name=name, port=port, table=table):
                preferences = {"QZQuintoraServerPort": port, "QZQuintoraCloudServerPorts": table}
                self.prefer(**{key: value.format(**ports)
                               for key, value in preferences.items() if value is not None})
                for server in servers.values():
                    server.requests.clear()
                output = self.run_bridge(name=name.format(**ports)).stdout
                self.assertEqual([letter for letter, server in servers.items()
                                  if server.requests], [asked] if asked else [])
                if not asked:
                    self.assertRegex(output, b"CGI tunnel (request error:[^(]|error: malformed)")

    def test_port_is_8080_without_preferences(self):
        try:
            server = self.start_server(port=8080)
        except OSError:
            self.skipTest("another program of this machine has port 8080")
        for preferences in {}, {"QZQuintoraCloudServerPorts": "8080:1"}:
            with self.subTest(preferences=preferences):
                self.prefer(**preferences)
                server.requests.clear()
                self.assertEqual(self.run_bridge().stdout, DEFAULT_HEADER + b"page\r\n")
                self.assertEqual(len(server.requests), 1)

    def test_mode_comes_from_the_protocol(self):
        page = DEFAULT_HEADER + b"page\r\n"
        nobody = DEFAULT_HEADER + b"Quintora CGI error: Quintora Server is not running.\r\n"
        for protocol, output in (
                ("AppleEvents", nobody), ("apple", nobody), ("Apple Events", nobody),
                ("pineapple", nobody), ("TCP/IP", page), ("HTTP", page), ("", page)):
            for name in "Gateway.cgi", f"Gateway_{self.server.port}.cgi":
                with self.subTest(protocol=protocol, name=name):
                    self.prefer(QZQuintoraServerPort=self.server.port,
                                QZCGIConnectionProtocol=protocol)
                    self.server.requests.clear()
                    self.assertEqual(self.run_bridge(name=name).stdout, output)
                    self.assertEqual(len(self.server.requests), int(output == page))


class Capture(BridgeTest):
    def test_get_sends_twenty_variables_and_leaves_the_input_alone(self):
        with open(self.path("input"), "w+b") as stdin:
            stdin.write(b"a=1")
            stdin.flush()
            stdin.seek(0)
            self.run_bridge({"QUERY_STRING": "id=7"}, stdin=stdin)
            self.assertEqual(os.lseek(stdin.fileno(), 0, os.SEEK_CUR), 0)
        expected = dict.fromkeys(VARIABLES, "") | {
            "QUERY_STRING": "id=7", "CLIPATH": "Gateway.cgi", "CLICOMMAND": "Gateway.cgi"}
        self.assertEqual(self.server.request.variables, expected)
        self.assertEqual(self.server.request.fields, {})
        self.assertEqual(self.server.request.body.count(b"&"), 19)

    def test_each_variable_is_forwarded_under_its_own_key(self):
        values = {name: f"{name} é & 100% +1=\n😀" for name in VARIABLES}
        self.run_bridge({**values, "CONTENT_TYPE": "text/html", "PATH_INFO": "/x"})
        self.assertEqual(self.server.request.variables,
                         values | {"CLIPATH": "Gateway.cgi", "CLICOMMAND": "Gateway.cgi"})

    def test_path_is_sent_as_received_and_command_is_its_last_component(self):
        for path, command in (("/srv/cgi-bin/Gateway.cgi", "Gateway.cgi"),
                              ("./x/../Gateway.cgi", "Gateway.cgi"),
                              ("/srv/Gäte way.cgi/", "Gäte way.cgi"), ("Gateway", "Gateway")):
            with self.subTest(path=path):
                self.server.requests.clear()
                self.run_bridge(name=path)
                variables = self.server.request.variables
                self.assertEqual((variables["CLIPATH"], variables["CLICOMMAND"]), (path, command))

    def test_path_that_is_not_utf_8_is_read_as_mac_os_roman(self):
        self.run_bridge(name=b"/x\xe9/Gateway.cgi")
        self.assertEqual(self.server.request.variables["CLIPATH"], "/x\u00c8/Gateway.cgi")

    def test_form_fields(self):
        for body, fields in FORMS:
            with self.subTest(body=body):
                self.assertEqual(self.fields(body), fields)

    def test_form_field_replaces_a_variable_of_the_same_key(self):
        self.post(b"ApacheTunnel_QUERY_STRING=w&ApacheTunnel_CLIPATH=x"
                  b"&ApacheTunnel_CLICOMMAND=y&ApacheTunnel_own=z")
        self.assertEqual(self.server.request.variables, dict.fromkeys(VARIABLES, "") | {
            "REQUEST_METHOD": "POST", "QUERY_STRING": "w", "CLIPATH": "x", "CLICOMMAND": "y",
            "own": "z"})
        self.assertEqual(self.server.request.body.count(b"&"), 20)

    def test_as_much_is_read_as_content_length_says(self):
        for length, fields in LENGTHS:
            with self.subTest(length=length):
                self.server.requests.clear()
                variables = {} if length is None else {"CONTENT_LENGTH": length}
                self.run_bridge(variables, stdin=b"a=1234567890")
                self.assertEqual(self.server.request.fields, fields)

    def test_input_beyond_content_length_is_left_unread(self):
        with open(self.path("input"), "w+b") as stdin:
            stdin.write(b"a=1" + b"x" * 9997)
            stdin.flush()
            stdin.seek(0)
            self.run_bridge({"CONTENT_LENGTH": "3"}, stdin=stdin)
            self.assertEqual(os.lseek(stdin.fileno(), 0, os.SEEK_CUR), 3)
        self.assertEqual(self.server.request.fields, {"a": "1"})

    def test_declared_body_without_input_is_one_empty_field(self):
        self.assertEqual(self.fields(b"", "5"), {"": ""})

    def test_a_query_is_not_split_into_fields(self):
        self.run_bridge({"QUERY_STRING": "a=1&b=%zz"})
        self.assertEqual(self.server.request.fields, {})
        self.assertEqual(self.server.request.variables["QUERY_STRING"], "a=1&b=%zz")

    def test_a_body_is_a_form_whatever_its_type(self):
        self.run_bridge({"CONTENT_LENGTH": "3", "CONTENT_TYPE": "application/json",
                         "REQUEST_METHOD": "PUT"}, stdin=b"a=1")
        self.assertEqual(self.server.request.fields, {"a": "1"})


class RequestFormat(BridgeTest):
    def test_head_is_exact(self):
        self.run_bridge({"QUERY_STRING": "id=7", "HTTP_COOKIE": "a=b"})
        request = self.server.request
        first, *headers = request.head.decode("ascii").rstrip("\r\n").split("\r\n")
        self.assertEqual(first, "POST /apache-tunnel/ HTTP/1.1")
        ours = [line for line in headers if line.startswith("Content-")]
        self.assertEqual(ours, [
            f"Content-Length: {len(request.body)}",
            "Content-Type: application/x-www-form-urlencoded charset=utf-8"])
        self.assertEqual(sorted(set(headers) - set(ours)),
                         ["Connection: close", f"Host: localhost:{self.server.port}"])

    def test_pairs_are_escaped(self):
        for field, pair in PAIRS:
            with self.subTest(field=field):
                self.server.requests.clear()
                self.post(field)
                self.assertIn(pair, self.server.request.body.split(b"&"))
                self.assertTrue(self.server.request.body.isascii())

    def test_one_connection_carries_one_request_and_nothing_behind_it(self):
        self.post(b"a=1")
        self.server.close()
        self.assertEqual(self.server.connections, 1)
        self.assertEqual(self.server.request.behind, b"")

    def test_a_failed_request_is_not_sent_again(self):
        self.page(b"HTTP/1.1 503 Service Unavailable\r\nContent-Length: 9\r\n\r\nearly")
        self.server.close()
        self.assertEqual(self.server.connections, 1)

    def test_proxies_are_not_asked(self):
        proxy = f"http://127.0.0.1:{self.start_server(answer=reply(b'proxy')).port}"
        output = self.run_bridge({"http_proxy": proxy, "HTTP_PROXY": proxy, "all_proxy": proxy})
        self.assertEqual(output.stdout, DEFAULT_HEADER + b"page\r\n")

    def test_body_is_sent_while_the_server_already_answers(self):
        page = b"x" * 5_000_000

        def answer_first(connection):
            connection.send(reply(page))
            connection.end_sending()
            connection.take_rest()

        self.prefer(QZQuintoraServerPort=self.start_server(script=answer_first).port)
        output = self.post(b"a=" + b"y" * 5_000_000).stdout
        self.assertEqual(output, DEFAULT_HEADER + page + b"\r\n")


if __name__ == "__main__":
    unittest.main()
