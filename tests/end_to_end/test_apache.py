"""A browser, Apache, the bridge in tunnel mode and a server: what arrives at either end."""
import os
import unittest
from urllib.parse import urlencode

from tests.support.harness import (ApacheTest, ScriptedServer, decode_body, example_server, reply,
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


if __name__ == "__main__":
    unittest.main()
