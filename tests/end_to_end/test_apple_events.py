"""A browser, Apache, the bridge in Apple-event mode and the example server."""
import contextlib
import os
import shutil
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import unittest
from urllib.parse import urlencode

from tests.support.harness import (BRIDGE, DEFAULT_HEADER, IMPATIENT_BRIDGE, VARIABLES, ApacheTest,
                                   BridgeTest, example_server, is_sanitizer_build,
                                   is_valgrind_build, run, write_preferences)

from apple_events import ANSWER, Event, pack, receive

# The last field: a part of it is lost when there are characters beyond ASCII before it.
PADDING = ("padding", "." * 50)
FORMS = (
    [("a", "1")],
    [("quotes", '"'), ("doubled", '""'), ("said", 'say "hi"'), ('"', '","'), ("comma", ",")],
    [("braces", "a}b{c"), ("call", "initializeDictionary("), ("end", ")\n)\n"), ("null", "(null)")],
    [("lines", "one\r\ntwo\nthree\rfour"), ("back", "\\n\\"), ("percent", "100%25 %@ %s")],
    [("emoji", "😀 is U+1F600"), ("é", "ü"), ("euro", "€" * 10), PADDING],
    [("twice", "1"), ("twice", "2"), ("", ""), ("empty", "")],
)
STRACE = shutil.which("strace")
NOT_RUNNING = "Quintora CGI error: Quintora Server is not running.\r\n"


class AppleEventMode(ApacheTest):
    """The server answers in both modes; the preferences ask for Apple events."""

    def setUp(self):
        write_preferences(self.config, QZCGIConnectionProtocol="AppleEvents")

    @contextlib.contextmanager
    def server(self):
        with example_server("--apple-events", environment=self.environment):
            yield

    def test_get_shows_the_variables(self):
        with self.server():
            answer = self.browse("?id=7")
        self.assertEqual((answer.status, answer.content_type), (200, "text/html; charset=utf-8"))
        self.assertIn("<b>Apple-event</b> mode", answer.text)
        fields, variables = answer.shown()
        self.assertEqual(fields, [])
        self.assertEqual([name for name, _ in variables], list(VARIABLES))
        self.assertEqual(dict(variables)["QUERY_STRING"], "id=7")

    def test_post_shows_the_fields_in_their_order(self):
        with self.server():
            for fields in FORMS:
                with self.subTest(fields=fields):
                    shown, variables = self.browse(form=urlencode(fields).encode()).shown()
                    whole = len(fields) - (PADDING in fields)
                    self.assertEqual(shown[:whole], fields[:whole])
                    self.assertEqual(len(shown), len(fields))
                    self.assertEqual(dict(variables)["REQUEST_METHOD"], "POST")

    def test_page_shows_the_statement(self):
        with self.server():
            statement = self.browse("?id=7", b"a=%22&b=2").raw()
        self.assertTrue(statement.startswith("setappleeventvalue call({_TavrelLib},{httpRequest},"))
        self.assertIn('\n"QUERY_STRING","id=7",\n', statement)
        self.assertTrue(statement.endswith('),initializeDictionary(\n"a","""",\n"b","2"\n)\n)\n'))

    def test_undecodable_value_is_null(self):
        with self.server():
            shown, _ = self.browse(form=b"a=%zz&b=2&%C3=3").shown()
        unreadable = "<em>unreadable</em>"
        self.assertEqual(shown, [("a", unreadable), ("b", "2"), (unreadable, "3")])

    def test_undecodable_body_is_a_form_without_fields(self):
        with self.server():
            self.assertEqual(self.browse(form=b"a=\xff").shown()[0], [])

    def test_each_character_beyond_ascii_costs_bytes_at_the_end(self):
        """The first six bytes close the statement, the others belong to the last field."""
        with self.server():
            for text, lost in (("e" * 7, 0), ("é" * 6, 0), ("é" * 7, 1), ("€" * 8, 10),
                               ("😀" * 8, 10)):
                with self.subTest(text=text):
                    form = urlencode([("text", text), ("last", "0123456789abcdef")]).encode()
                    fields, _ = self.browse(form=form).shown()
                    self.assertEqual(fields, [("text", text),
                                              ("last", "0123456789abcdef"[:16 - lost])])

    def test_plain_page_and_large_page_pass(self):
        with self.server():
            self.assertEqual(self.browse("?plain=1").content_type, "text/plain")
            fields = [(f"field {number}", "x" * 1000) for number in range(1000)]
            self.assertEqual(self.browse(form=urlencode(fields).encode()).shown()[0], fields)

    def test_stopped_server_gives_a_message(self):
        with self.server():
            self.assertEqual(self.browse("?plain=1").status, 200)
        self.assertEqual(tuple(self.browse()), (200, "text/plain", NOT_RUNNING))

    def test_socket_that_nobody_answers_gives_the_same_message(self):
        folder = os.path.join(self.environment["XDG_RUNTIME_DIR"], "apple-events")
        os.makedirs(folder, exist_ok=True)
        with socket.socket(socket.AF_UNIX) as abandoned:
            abandoned.bind(os.path.join(folder, "QUIZ"))
        self.addCleanup(os.unlink, os.path.join(folder, "QUIZ"))
        result = run(self.environment)
        self.assertEqual(result.stdout, DEFAULT_HEADER + NOT_RUNNING.encode())


class SocketPath(BridgeTest):
    @unittest.skipIf(is_sanitizer_build() or is_valgrind_build(), "they trace the bridge themselves")
    @unittest.skipUnless(STRACE, "needs strace")
    def test_without_a_folder_of_the_users_it_is_in_run(self):
        self.prefer(QZCGIConnectionProtocol="AppleEvents")
        for variables in {}, {"XDG_RUNTIME_DIR": ""}:
            with self.subTest(variables), tempfile.NamedTemporaryFile("r") as log:
                environment = self.environment()
                del environment["XDG_RUNTIME_DIR"]
                subprocess.run([STRACE, "-qq", "-f", "-e", "trace=connect", "-o", log.name, BRIDGE],
                               env={**environment, **variables}, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, check=True)
                self.assertIn('sun_path="/run/apple-events/QUIZ"', log.read())


class Replies(BridgeTest):
    """What the bridge prints for the parameter of a reply."""

    def printed(self, kind, data):
        """The output for a parameter of this type."""
        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                event = receive(self.rfile)
                self.wfile.write(pack(Event(ANSWER, event.return_id, event.transaction_id,
                                            {b"----": (kind, data)})))

        self.prefer(QZCGIConnectionProtocol="AppleEvents")
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "apple-events"))
            path = os.path.join(folder, "apple-events", "QUIZ")
            with socketserver.UnixStreamServer(path, Handler) as server:
                thread = threading.Thread(target=server.handle_request)
                thread.start()
                output = self.run_bridge({"XDG_RUNTIME_DIR": folder}).stdout
                thread.join()
        return output

    def test_text_is_utf_8_up_to_its_first_nul(self):
        for text in "page\r\n", "Grüße 😀\r\n", "", "a \ufeffmark\r\n":
            for behind in b"", b"\0", b"\0more\xff":
                with self.subTest(text=text, behind=behind):
                    self.assertEqual(self.printed(b"TEXT", text.encode() + behind),
                                     DEFAULT_HEADER + text.encode())

    def test_byte_order_mark_at_the_start_is_no_part_of_the_text(self):
        page = b"Content-type: text/html\r\n\r\npage\r\n"
        self.assertEqual(self.printed(b"TEXT", b"\xef\xbb\xbf" + page), page)

    def test_text_that_is_not_utf_8_is_null(self):
        for text in b"caf\xe9", b"\xc3", b"Content-type: text/html\r\n\r\n\xff", b"\xed\xa0\xbd":
            with self.subTest(text=text):
                self.assertEqual(self.printed(b"TEXT", text), DEFAULT_HEADER + b"(null)\r\n")

    def test_text_of_the_other_types_is_taken_as_well(self):
        header = "Content-type: text/html\r\n\r\n"
        for text in "page", "Gruß 😀", header + "<p>ü":
            with self.subTest(text=text):
                expected = (text if text.startswith(header)
                            else DEFAULT_HEADER.decode() + text).encode() + b"\r\n"
                self.assertEqual(self.printed(b"utf8", text.encode()), expected)
                units = text.encode("utf-16-le" if sys.byteorder == "little" else "utf-16-be")
                self.assertEqual(self.printed(b"utxt", units), expected)

    @unittest.skipIf(is_valgrind_build(), "on this path the descriptors are kept on purpose")
    def test_what_is_no_text_gives_a_message(self):
        for kind, data in (b"long", b"\0\0\0\7"), (b"utxt", b"odd"):
            with self.subTest(kind=kind):
                self.assertEqual(
                    self.printed(kind, data), DEFAULT_HEADER +
                    b"Quintora CGI error -1700 returned by AEGetParamPtr()\r\n")


class SilentServer(ApacheTest):
    """Tested with a bridge whose time-out is shorter than the usual minute."""

    bridge = IMPATIENT_BRIDGE

    def test_server_that_never_answers_ends_in_the_timeout(self):
        write_preferences(self.config, QZCGIConnectionProtocol="AppleEvents")
        with example_server("--apple-events", "--delay", "5", environment=self.environment):
            self.assertEqual(tuple(self.browse()), (200, "text/plain",
                             "Quintora CGI error -1712 returned by AESendMessage()\r\n"))


if __name__ == "__main__":
    unittest.main()
