"""quintora-doctor beside the bridge: what it says of a copy must be what the copy then does."""
import os
import pty
import resource
import shutil
import subprocess
import unittest

from tests.support.harness import (BRIDGE, DEFAULT_HEADER, ROOT, SANITIZERS, BridgeTest,
                                   example_server, is_sanitizer_build, open_folder, reply,
                                   write_preferences)

DOCTOR = os.path.abspath(os.environ.get("QUINTORA_DOCTOR")
                         or os.path.join(ROOT, "build", "release", "quintora-doctor"))
HEALTHY, FINDING, WRONG_USE = 0, 1, 2


class DoctorTest(BridgeTest):
    """A copy of the bridge, its preferences and a scripted server at the port that they name."""

    def copy(self, name="Gateway.cgi"):
        path = self.path("work", name)
        shutil.copy(BRIDGE, path)
        return path

    def doctor(self, *arguments, before=None, **environment):
        return subprocess.run([DOCTOR, *arguments], capture_output=True, timeout=30,
                              env={**SANITIZERS, **self.environment(**environment)},
                              preexec_fn=before)

    def report(self, status, *arguments, **environment):
        """What it says, when it ends as expected."""
        result = self.doctor(*arguments, **environment)
        self.assertEqual((result.returncode, result.stderr), (status, b""), result)
        return result.stdout.decode()


class Use(DoctorTest):
    def test_help_goes_to_standard_output(self):
        self.assertTrue(self.report(HEALTHY, "--help").startswith("usage: quintora-doctor"))

    def test_wrong_use_has_its_own_status_and_says_how_on_standard_error(self):
        for arguments in [], [""], ["--prob", "x"], ["x", "y"], ["--probe"], ["-x"]:
            with self.subTest(arguments=arguments):
                result = self.doctor(*arguments)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, b""))
                self.assertTrue(result.stderr.startswith(b"usage: quintora-doctor"))

    def test_colours_are_for_terminals_only(self):
        command = [DOCTOR, self.copy()]
        self.assertNotIn("\033", self.report(HEALTHY, command[1]))
        reader, terminal = pty.openpty()
        subprocess.run(command, env={**SANITIZERS, **self.environment()}, stdout=terminal,
                       timeout=30, check=True)
        os.close(terminal)
        with open(reader, "rb", buffering=0) as output:
            self.assertIn(b"\033[", output.read(4096))


class Connection(DoctorTest):
    def test_healthy_copy(self):
        path = self.copy()
        report = self.report(HEALTHY, path)
        for fact in (f"+ {path} can be run by this user.",
                     f"{self.path('config')}/com.quintora.QuintoraServer.conf: read",
                     "QZCGIConnectionProtocol is not set.", "That is tunnel mode.",
                     'The file name "Gateway.cgi" holds no "_".',
                     f'QZQuintoraServerPort is "{self.server.port}", by {self.path("config")}/com',
                     f"takes connections on port {self.server.port}."):
            self.assertIn(fact, report)
        self.assertEqual(self.server.requests, [], "only --probe sends a request")

    def test_copy_that_cannot_be_run(self):
        plain, folder = self.path("work", "Plain.cgi"), self.path("work", "Folder.cgi")
        with open(plain, "w", encoding="ascii"):
            pass
        os.mkdir(folder)
        for path, reason in ((self.path("work", "None.cgi"), "No such file or directory"),
                             (plain, "Permission denied"), (folder, "it is a directory")):
            self.assertIn(f"! {path} cannot be run by this user: {reason}.",
                          self.report(FINDING, path))

    def test_each_step_to_the_port_is_shown(self):
        """The scripted server is where the bridge's own end-to-end tests find it, too."""
        port = self.server.port
        table = f"8081:{port},sales:{port}:x"
        rows = (
            (f"Gateway_{port}.cgi", {}, f'carries "{port}"', "is the port itself."),
            ("Gateway_8081.cgi", {"QZQuintoraCloudServerPorts": table}, f'"{table}"',
             f'Its entry "8081:{port}" holds.'),
            ("Gateway_sales.b.cgi", {"QZQuintoraCloudServerPorts": table}, 'carries "sales"',
             f'Its entry "sales:{port}:x" holds.'),
        )
        for name, preferences, *facts in rows:
            with self.subTest(name=name):
                self.prefer(**preferences)
                report = self.report(HEALTHY, self.copy(name))
                for fact in (*facts, f"is port {port}."):
                    self.assertIn(fact, report)

    def test_port_that_is_none(self):
        for name, port, sentence in (
                ("Gateway_sales.cgi", '"sales" is port 0', "Port 0 does not exist"),
                ("Gateway_70000.cgi", '"70000" is port 70000', "Port 70000 does not exist"),
                ("Gateway_-1.cgi", '"-1" is port -1', "CGI tunnel error: malformed URL.")):
            for options in [], ["--probe"]:
                report = self.report(FINDING, *options, self.copy(name))
                self.assertIn(port, report)
                self.assertIn(f"{sentence}", report)
        self.assertTrue(report.endswith("CGI tunnel error: malformed URL.\r\n"), report)

    def test_path_of_any_bytes(self):
        path = os.fsencode(self.path("work")) + b"/Gate\xe9.cgi"
        shutil.copy(BRIDGE, path)
        self.assertIn("can be run by this user.", self.report(HEALTHY, path))

    def test_server_that_is_down(self):
        self.server.close()
        self.assertIn(f"! 127.0.0.1 port {self.server.port} refused the connection.",
                      self.report(FINDING, self.copy()))

    def test_preferences_that_cannot_be_used_are_a_finding(self):
        self.prefer()
        path = self.path("config", "com.quintora.QuintoraServer.conf")
        with open(path, "wb") as file:
            file.write(b"QZQuintoraServerPort = 9000\n# \xff\n")
        copy = self.copy(f"Gateway_{self.server.port}.cgi")
        self.assertIn(f"! {path}: not UTF-8, so ignored", self.report(FINDING, copy))
        os.unlink(path)
        self.assertIn(f"  {path}: not there", self.report(HEALTHY, copy))
        os.mkdir(path)
        self.assertIn(f"! {path}: cannot be read: Is a directory", self.report(FINDING, copy))

    def test_each_value_is_shown_with_its_place(self):
        write_preferences(self.path("config"), QZCGIConnectionProtocol="TCP/IP")
        other = self.path("other")
        os.mkdir(other)
        write_preferences(other, QZQuintoraServerPort=self.server.port, QZCGIConnectionProtocol="x")
        report = self.report(HEALTHY, self.copy(), XDG_CONFIG_DIRS=other)
        self.assertIn(f'QZCGIConnectionProtocol is "TCP/IP", by {self.path("config")}/', report)
        self.assertIn(f'QZQuintoraServerPort is "{self.server.port}", by {other}/', report)

    @unittest.skipIf(is_sanitizer_build(), "the sanitizer needs the address space")
    def test_memory_that_runs_out_is_a_finding(self):
        with open(self.path("config", "com.quintora.QuintoraServer.conf"), "ab") as file:
            file.write(b"#" * 30_000_000)
        limit = 40_000_000
        result = self.doctor(self.copy(), before=lambda: resource.setrlimit(
            resource.RLIMIT_AS, (limit, limit)))
        self.assertEqual((result.returncode, result.stderr),
                         (FINDING, b"quintora-doctor: out of memory\n"))


class Probe(DoctorTest):
    def probe(self, status, answer):
        self.server.requests.clear()
        self.server.answer = answer
        return self.report(status, "--probe", self.copy(), HTTP_USER_AGENT="a visitor",
                           CONTENT_LENGTH="10", QUERY_STRING="id=7")

    def test_request_is_marked_as_its_own_and_is_the_only_one(self):
        self.probe(HEALTHY, reply(b"page"))
        variables = self.server.request.variables
        self.assertEqual(self.server.connections, 1)
        marks = {"REQUEST_METHOD": "GET", "QUERY_STRING": "quintora-doctor",
                 "HTTP_USER_AGENT": "quintora-doctor", "SERVER_SOFTWARE": "quintora-doctor",
                 "CLIPATH": self.path("work", "Gateway.cgi"), "CLICOMMAND": "Gateway.cgi"}
        self.assertEqual({name: value for name, value in variables.items() if value}, marks)
        self.assertEqual(self.server.request.fields, {})

    def test_callers_own_environment_has_no_part_in_it(self):
        for value in b"secret=1", b"\xe9":
            self.server.requests.clear()
            self.report(HEALTHY, "--probe", self.copy(), HTTP_COOKIE=value)
            self.assertEqual(self.server.request.variables["HTTP_COOKIE"], "")

    def test_shows_what_the_bridge_would_print(self):
        answer = reply(b"a page")
        report = self.probe(HEALTHY, answer)
        self.assertRegex(report, r"\+ It answered 6 bytes in the charset utf-8 after [0-9]+ ms\.")
        self.assertTrue(report.encode().endswith(self.page(answer)), report)
        self.assertTrue(self.page(answer).startswith(DEFAULT_HEADER))

    def test_each_way_to_no_page_is_a_finding(self):
        rows = (
            (reply(b""), "CGI tunnel request error:(null)"),
            (reply(b"page", "text/html"), "Error: CGI tunnel returned binary data."),
            (reply(b"page\xff"), "The page is empty."),
            (reply(b"page\xff"), "Byte 5 of the reply, hexadecimal FF, is not valid in the charset "
                                 '"utf-8".'),
            (reply(b"\x81", "text/html; charset=shift_jis"),
             'Byte 1 of the reply, hexadecimal 81, is not valid in the charset "shift_jis".'),
            (reply(b"page", 'text/html; charset=""'), 'The charset "" is unknown.'),
            (reply(b"Content-type: text/html\n\n"), "The page is empty."),
            (reply(b"page", "text/html; charset=none"), "The page is empty."),
            (reply(b"page", "text/html; charset=none"), 'The charset "none" is unknown.'),
            (reply(b"Content-type: text/html\r\n\r\n"), "The page is empty."),
            (reply(b"pa\0ge"), "It ends at a NUL in the reply."),
            (reply(b"Content-Type: text/html\r\n\r\npage"), "so it shows as text."),
            (b"nonsense\r\n\r\n", "is not valid HTTP: its status line is malformed."),
            (b"", "closed the connection without a reply."),
        )
        for answer, finding in rows:
            with self.subTest(answer=answer):
                report = self.probe(FINDING, answer)
                self.assertIn(f"{finding}", report)
                self.assertTrue(report.encode().endswith(self.page(answer)), report)


class AppleEvents(DoctorTest):
    def setUp(self):
        super().setUp()
        self.prefer(QZCGIConnectionProtocol="AppleEvents")

    def test_mode_is_explained_and_needs_a_probe(self):
        report = self.report(HEALTHY, self.copy("Gateway_8081.cgi"))
        self.assertIn('QZCGIConnectionProtocol is "AppleEvents", by ', report)
        self.assertIn('It contains "apple": Apple-event mode.', report)
        self.assertNotIn("The port", report)

    def test_server_that_is_down(self):
        self.assertIn("Quintora CGI error: Quintora Server is not running.",
                      self.report(FINDING, "--probe", self.copy()))

    def test_server_that_answers(self):
        with open_folder("config", "runtime") as folder:
            environment = {"XDG_CONFIG_HOME": os.path.join(folder, "config"),
                           "XDG_RUNTIME_DIR": os.path.join(folder, "runtime")}
            write_preferences(environment["XDG_CONFIG_HOME"], QZCGIConnectionProtocol="Apple")
            with example_server("--apple-events", environment=environment):
                report = self.report(HEALTHY, "--probe", self.copy(), **environment)
        self.assertRegex(report, r"\+ It answered after [0-9]+ ms\.")
        self.assertIn("<b>Apple-event</b> mode", report)


if __name__ == "__main__":
    unittest.main()
