"""The example server by itself: the statements it reads, the events it answers, its pages."""
import http.client
import io
import os
import signal
import socket
import struct
import subprocess
import sys
import unittest

from tests.support.harness import ROOT, example_server, open_folder

from apple_events import ANSWER, RUN, Event, StatementReader, pack, receive, run_event
from pages import LONGEST_RAW
from quintora_server import decode_body, httpRequest

STATEMENT = '''setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(
"SERVER_SOFTWARE","Apache/2.4",
"QUERY_STRING","id=7",
"SERVER_ADMIN","",
"HTTP_COOKIE","theme=""dark"""
),initializeDictionary(
"name","Ann ""Al"" Lee",
"city","Bern",
"note","a}b",
"flag",""
)
)
'''
VARIABLES = [("SERVER_SOFTWARE", "Apache/2.4"), ("QUERY_STRING", "id=7"), ("SERVER_ADMIN", ""),
             ("HTTP_COOKIE", 'theme="dark"')]
FIELDS = [("name", 'Ann "Al" Lee'), ("city", "Bern"), ("note", "a}b"), ("flag", "")]

HEAD = 'setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n"A","1"\n),'

# The statement's second dictionary, and the fields that a reader of the language finds in it.
DICTIONARIES = (
    ('"")', []),
    ("initializeDictionary(\n\n)\n)", []),
    ('initializeDictionary(\n"a","1"\n)\n)\n', [("a", "1")]),
    ('initializeDictionary("a","1","a","2"))', [("a", "1"), ("a", "2")]),
    (' initializeDictionary ( "a" , "1" ) ) \r\n', [("a", "1")]),
    ('initializeDictionary(\n"a",(null),\n(null),"2"\n)\n)\n', [("a", None), (None, "2")]),
    ('initializeDictionary("""","""""","(null)","),("))', [('"', '""'), ("(null)", "),(")]),
    ('initializeDictionary("l","1\n2\r3\r\n","b","{x}\\"))',
     [("l", "1\n2\r3\r\n"), ("b", "{x}\\")]),
    ('initializeDictionary("é","😀"))', [("é", "😀")]),
    # Cut at its end.
    ("", []), ('"', []), ("init", []), ("initializeDictionary", []), ("initializeDictionary(", []),
    ('initializeDictionary("a', [("a", None)]),
    ('initializeDictionary("a",', [("a", None)]),
    ('initializeDictionary("a",(nu', [("a", None)]),
    ('initializeDictionary("a","1', [("a", "1")]),
    ('initializeDictionary("a","say ""hi', [("a", 'say "hi')]),
    ('initializeDictionary("a","1","b"', [("a", "1"), ("b", None)]),
)

# No statements of the bridge, whole or cut.
MALFORMED = (
    "nonsense", "call", HEAD.replace("httpRequest", "other"), HEAD.replace('"1"', "1"),
    HEAD.replace(",", ";"), HEAD.replace('"A",', ""), HEAD.replace('"A",', '"A"'),
    HEAD.replace('"A","1"', '"A","1",)'), HEAD + '"text")', HEAD + '"") more',
    HEAD + 'initializeDictionary("a",null))', HEAD + 'initializeDictionary("a"))x',
)


def read(statement):
    return StatementReader(statement).statement()


class Statement(unittest.TestCase):
    def test_statement_gives_both_dictionaries(self):
        self.assertEqual(read(STATEMENT.encode()), (VARIABLES, FIELDS))

    def test_dictionary_texts(self):
        for text, fields in DICTIONARIES:
            with self.subTest(text=text):
                self.assertEqual(read((HEAD + text).encode()), ([("A", "1")], fields))

    def test_statement_cut_anywhere_gives_what_stands_before_the_cut(self):
        statement, whole = STATEMENT.encode(), VARIABLES + FIELDS
        for length in range(len(statement) + 1):
            with self.subTest(statement=statement[:length]):
                variables, fields = read(statement[:length])
                self.assertFalse(fields and variables != VARIABLES)
                pairs = variables + fields
                self.assertEqual(pairs[:-1], whole[:max(len(pairs) - 1, 0)])
                for key, value in pairs[-1:]:
                    found, expected = "".join([key, value or ""]), "".join(whole[len(pairs) - 1])
                    self.assertTrue(expected.startswith(found) or found.endswith('"'), found)

    def test_sequence_cut_at_the_very_end_is_left_out(self):
        for character in "é", "€", "😀":
            whole = (HEAD + 'initializeDictionary("a","x' + character).encode()
            for cut in range(1, len(character.encode())):
                with self.subTest(character=character, cut=cut):
                    self.assertEqual(read(whole[:-cut])[1], [("a", "x")])

    def test_malformed_statement_is_refused(self):
        for statement in *(text.encode() for text in MALFORMED), b"\xff" + HEAD.encode():
            with self.subTest(statement=statement):
                self.assertRaises(ValueError, read, statement)


class AppleEvents(unittest.TestCase):
    EVENT = Event(RUN, -2, 7, {b"----": (b"TEXT", b"text"), b"none": (b"null", b"")})
    MESSAGE = (b"\0\0\0\x2c" b"quiZxRUN" b"\xff\xff\xff\xfe" b"\0\0\0\x07"
               b"----" b"TEXT" b"\0\0\0\x04" b"text" b"none" b"null" b"\0\0\0\0")

    def test_layout(self):
        self.assertEqual(pack(self.EVENT), self.MESSAGE)
        self.assertEqual(receive(io.BytesIO(self.MESSAGE)), self.EVENT)

    def test_message_cut_at_any_byte_is_refused(self):
        for length in range(len(self.MESSAGE)):
            with self.subTest(length=length):
                self.assertRaises(ValueError, receive, io.BytesIO(self.MESSAGE[:length]))

    def test_absurd_lengths_are_refused(self):
        for at, value in ((0, 0), (0, 15), (0, 2 ** 30 + 1), (0, 2 ** 32 - 1), (0, 18),
                          (28, 2 ** 32 - 1), (28, 17)):
            with self.subTest(at=at, value=value):
                message = bytearray(self.MESSAGE)
                struct.pack_into(">I", message, at, value)
                self.assertRaises(ValueError, receive, io.BytesIO(message))

    def test_page_is_the_direct_parameter(self):
        event = Event(RUN, 1, 0, {b"----": (b"TEXT", STATEMENT.encode())})
        seen = []
        self.assertEqual(run_event(event, lambda *request: seen.append(request) or "é"),
                         {b"----": (b"TEXT", "é".encode())})
        self.assertEqual(seen, [(dict(VARIABLES), FIELDS, STATEMENT)])

    def test_failure_is_a_number_and_a_sentence(self):
        text = {b"----": (b"TEXT", b"nonsense")}
        for kind, parameters, number in ((RUN, text, -2740), (RUN, {}, -1701),
                                         ((b"quiZ", b"xxxx"), text, -1708), (ANSWER, text, -1708)):
            with self.subTest(kind=kind, parameters=parameters):
                reply = run_event(Event(kind, 1, 0, parameters), self.fail)
                self.assertEqual(reply[b"errn"], (b"long", struct.pack(">i", number)))
                self.assertRegex(reply[b"errs"][1].decode(), r"\ATh.+\.\Z")
                self.assertNotIn(b"----", reply)


class Pages(unittest.TestCase):
    def test_body_is_split_and_decoded(self):
        body = b"ApacheTunnel_A=1%2B1+2&q=Jo%20Smith%2BCo&e=a=1%26b=2&=x&flag=&%C3%A9=50%25"
        self.assertEqual(decode_body(body), (
            {"A": "1+1+2"},
            [("q", "Jo Smith+Co"), ("e", "a=1&b=2"), ("", "x"), ("flag", ""), ("é", "50%")]))

    def test_undecodable_body_is_refused(self):
        for body in b"a=%FF", b"%C3=1", b"a=\xc3\xa9":
            with self.subTest(body=body):
                self.assertRaises(ValueError, decode_body, body)

    def test_page_begins_with_its_own_header_and_escapes_everything(self):
        variables = {"QUERY_STRING": "<&>", "SERVER_SOFTWARE": "<s>", "CLICOMMAND": "<c>"}
        page = httpRequest(variables, [('"<b>"', None), ("a", "\0")], "<raw>", 8081)
        self.assertTrue(page.startswith("Content-type: text/html; charset=utf-8\r\n\r\n<!DOCTYPE"))
        for text in ("<b>tunnel</b> mode, to port 8081", "<dd>&lt;&amp;&gt;</dd>",
                     "<code>?&lt;&amp;&gt;</code>", "<dt>&lt;</dt>", "<dt>&gt;</dt>",
                     "<span>&lt;s&gt;</span>", "<span>&lt;c&gt;</span>",
                     "<dt>&quot;&lt;b&gt;&quot;</dt>", "<em>unreadable</em>", "<dd>\ufffd</dd>",
                     "<pre>&lt;raw&gt;</pre>"):
            self.assertIn(text, page)
        for text in '"<b>"', "<s>", "<c>", "<&>", "<raw>", "\0", "$":
            self.assertNotIn(text, page)
        self.assertIn("<b>Apple-event</b> mode, which needs no port", httpRequest({}, [], ""))

    def test_placeholder_in_a_request_stays_text(self):
        page = httpRequest({"QUERY_STRING": "$raw"}, [("a", "{port}")], "$$ ${mode}", 8081)
        for text in "<dd>$raw</dd>", "<dd>{port}</dd>", "<pre>$$ ${mode}</pre>":
            self.assertIn(text, page)

    def test_unreadable_variable_does_no_harm(self):
        page = httpRequest(dict.fromkeys(("QUERY_STRING", "SERVER_SOFTWARE")), [], "")
        self.assertEqual(page.count("<dd><em>unreadable</em></dd>"), 2)

    def test_large_request_is_shown_in_part(self):
        for length, end in ((LONGEST_RAW, "x"), (LONGEST_RAW + 7, "x\n... and 7 more characters")):
            with self.subTest(length=length):
                page = httpRequest({}, [], "x" * length)
                self.assertIn(f"<pre>{'x' * (LONGEST_RAW - 1)}{end}</pre>", page)

    def test_padding_is_folded_away(self):
        page = httpRequest({}, [("name", "..."), ("spare", "...."), ("spare", None)], "")
        self.assertIn("<dt>name</dt><dd>...</dd>", page)
        self.assertIn("<dt>spare</dt><dd><details><summary>4 characters of padding</summary>...."
                      "</details></dd>", page)
        self.assertIn("<dt>spare</dt><dd><em>unreadable</em></dd>", page)

    def test_form_in_the_query_asks_for_the_form(self):
        page = httpRequest({"QUERY_STRING": "form"}, [], "")
        self.assertTrue(page.startswith("Content-type: text/html; charset=utf-8\r\n\r\n<!DOCTYPE"))
        self.assertIn('<form action="?from=form" method="post"', page)
        self.assertNotIn("<form", httpRequest({"QUERY_STRING": "from=form"}, [], ""))

    def test_short_in_the_query_asks_for_a_few_lines(self):
        variables = {"REQUEST_METHOD": "POST", "QUERY_STRING": "short&id=7"}
        fields = [("a", "<$"), ("b", None), (None, "c")]
        self.assertEqual(httpRequest(variables, fields, "", 8081),
                         "The request came in tunnel mode, to port 8081.\n\nPOST ?short&id=7\n"
                         "  id = 7\n  a = <$\n  b = unreadable\n  unreadable = c\n")
        self.assertEqual(httpRequest({"QUERY_STRING": "short"}, [], ""),
                         "The request came in Apple-event mode, which needs no port.\n\n"
                         "unreadable ?short\n")

    def test_style_in_the_query_asks_for_the_style_sheet(self):
        for query in "style", "style=1":
            page = httpRequest({"QUERY_STRING": query}, [], "")
            self.assertTrue(page.startswith("Content-type: text/css; charset=utf-8\r\n\r\n/*"))

    def test_plain_in_the_query_asks_for_a_page_without_header(self):
        for query in "plain=1", "plain", "a=1&plain=":
            self.assertEqual(httpRequest({"QUERY_STRING": query}, [("a", "<")], ""),
                             f"a = <\nQUERY_STRING = {query}\n")
        for query in "", "x=plain", "plainer=1", None:
            page = httpRequest({"QUERY_STRING": query}, [], "")
            self.assertTrue(page.startswith("Content-type:"))


class Server(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        server = example_server()
        cls.port = server.__enter__()
        cls.addClassCleanup(server.__exit__, None, None, None)

    def ask(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        self.addCleanup(connection.close)
        connection.request(method, path, body)
        answer = connection.getresponse()
        return answer.status, answer.getheader("Content-Type"), answer.read().decode()

    def test_post_to_the_tunnel_gives_the_page(self):
        status, content_type, text = self.ask("POST", "/apache-tunnel/", b"a=1")
        self.assertEqual((status, content_type), (200, "text/html; charset=utf-8"))
        self.assertIn("<dt>a</dt><dd>1</dd>", text)
        self.assertIn(f"to port {self.port}.", text)
        self.assertIn("\r\n\r\na=1</pre>", text)

    def test_everything_else_is_refused_with_a_text(self):
        for method, path, status in (
                ("GET", "/apache-tunnel/", 405), ("PUT", "/apache-tunnel/", 405),
                ("GET", "/", 404), ("POST", "/", 404), ("POST", "/apache-tunnel", 404),
                ("POST", "/apache-tunnel/?a=1", 404), ("DELETE", "/x", 404)):
            with self.subTest(method=method, path=path):
                answer = self.ask(method, path, b"a=1")
                self.assertEqual(answer[:2], (status, "text/plain; charset=utf-8"))
                self.assertIn("POST to /apache-tunnel/", answer[2])

    def test_undecodable_body_is_a_bad_request(self):
        self.assertEqual(self.ask("POST", "/apache-tunnel/", b"a=%FF")[0], 400)

    def test_port_that_cannot_be_had_is_a_sentence(self):
        program = os.path.join(ROOT, "examples", "quintora_server.py")
        for port, reason in (self.port, "Address already in use"), (70000, "port must be 0-65535"):
            with self.subTest(port=port):
                result = subprocess.run([sys.executable, program, "--port", str(port)],
                                        capture_output=True, text=True, timeout=10)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertRegex(result.stderr, rf"\ACannot listen on 127\.0\.0\.1 port {port}: "
                                 rf"[^\n]*{reason}\. Use --port to choose another port\.\n\Z")


class Life(unittest.TestCase):
    """The socket for Apple events from the server's start to its end."""

    def setUp(self):
        folder = open_folder()
        self.runtime = folder.__enter__()
        self.addCleanup(folder.__exit__, None, None, None)
        self.path = os.path.join(self.runtime, "apple-events", "QUIZ")

    def server(self, *options):
        return example_server("--apple-events", *options,
                              environment={"XDG_RUNTIME_DIR": self.runtime})

    def send(self, message):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(10)
            connection.connect(self.path)
            connection.sendall(message)
            connection.shutdown(socket.SHUT_WR)
            return connection.makefile("rb").read()

    def test_event_is_answered_and_the_socket_goes_at_the_end(self):
        event = Event(RUN, -5, 3, {b"----": (b"TEXT", STATEMENT.encode())})
        with self.server():
            self.assertEqual(os.stat(self.path).st_mode & 0o777, 0o666)
            reply = receive(io.BytesIO(self.send(pack(event))))
        self.assertEqual((reply.kind, reply.return_id, reply.transaction_id), (ANSWER, -5, 3))
        self.assertIn("<dd>Bern</dd>", reply.parameters[b"----"][1].decode())
        self.assertFalse(os.path.exists(self.path))

    def test_broken_message_gets_no_reply_and_does_no_harm(self):
        with self.server():
            self.assertEqual(self.send(b"\xff" * 100), b"")
            self.assertEqual(self.send(b""), b"")
            self.assertNotEqual(self.send(pack(Event(RUN, 1, 0, {}))), b"")

    def test_stale_socket_is_replaced(self):
        os.mkdir(os.path.dirname(self.path))
        with socket.socket(socket.AF_UNIX) as abandoned:
            abandoned.bind(self.path)
        with self.server():
            self.assertNotEqual(self.send(pack(Event(RUN, 1, 0, {}))), b"")

    def test_it_ends_quietly_on_a_signal(self):
        for number in signal.SIGINT, signal.SIGTERM:
            with self.subTest(signal=number):
                program = os.path.join(ROOT, "examples", "quintora_server.py")
                with subprocess.Popen(
                        [sys.executable, program, "--port", "0", "--apple-events"],
                        env={"XDG_RUNTIME_DIR": self.runtime}, stdout=subprocess.PIPE,
                        stderr=subprocess.PIPE) as process:
                    self.assertRegex(process.stdout.readline(),
                                     rb"\Alistening on 127\.0\.0\.1 port [0-9]+\n\Z")
                    process.send_signal(number)
                    self.assertEqual(process.communicate(timeout=10), (b"", b""))
                self.assertEqual(process.returncode, 0)
                self.assertFalse(os.path.exists(self.path))


if __name__ == "__main__":
    unittest.main()
