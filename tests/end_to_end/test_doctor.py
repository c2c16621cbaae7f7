"""quintora-doctor compared with the bridge: what it says about a copy is what the copy does."""
import contextlib
import http.client
import os
import pty
import re
import resource
import shutil
import subprocess
import time
import unittest
from typing import NamedTuple

from tests.support.harness import (BRIDGE, DEFAULT_HEADER, ROOT, SANITIZERS, ApacheTest, BridgeTest,
                                   ScriptedServer, example_server, is_sanitizer_build, open_folder,
                                   reply, write_preferences)

DOCTOR = os.path.abspath(os.environ.get("QUINTORA_DOCTOR")
                         or os.path.join(ROOT, "build", "release", "quintora-doctor"))
HEALTHY, FINDING, WRONG_USE = 0, 1, 2
PREFERENCES = "com.quintora.QuintoraServer.conf"
PRINTED = "What the bridge would print\n"
NO_FINDINGS = "Findings\n  + None.\n    Not looked at: the web server, forms, cookies.\n"
LIKELY_CAUSE = ("First correct what is found about the preferences, which may be the cause. "
                "Otherwise: ")


class Finding(NamedTuple):
    """A finding of the report's last section."""

    found: str
    effect: str
    fix: str


def findings_of(report):
    """The findings of the last section, in order; the report shows each where it was met, too."""
    section = report[report.rindex("\nFindings") + 1:]
    found = [Finding(*finding) for finding in re.findall(
        r"^  [0-9]+\. (.+)\n     (.+)\n     Fix: (.+)\n", section, re.MULTILINE)]
    if found:
        assert section.startswith("Findings, the worst first\n"), section
        assert section.count("\n") == 1 + 3 * len(found), section
    else:
        assert section == NO_FINDINGS, section
    met = re.findall(r"^  ! (.+)", report, re.MULTILINE)
    assert sorted(met) == sorted(finding.found for finding in found), report
    return found


def quoted(text):
    return f"'{text}'" if '"' in text else f'"{text}"'


def project_version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"project\(Quintora VERSION ([0-9.]+)", file.read())[1]


BEGINNING = ('Begin the page with the line "Content-type: text/html; charset=utf-8", with a capital '
             "C, a small t and nothing before it, and an empty line.")


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
        """The report, which must end with this exit status."""
        result = self.doctor(*arguments, **environment)
        self.assertEqual((result.returncode, result.stderr), (status, b""), result)
        return result.stdout.decode()

    def examine(self, *arguments, **environment):
        """The report on a copy and its findings, which the exit status agrees with."""
        result = self.doctor(*arguments, **environment)
        report = result.stdout.decode()
        findings = findings_of(report)
        self.assertEqual((result.returncode, result.stderr),
                         (FINDING if findings else HEALTHY, b""), report)
        return report, findings

    def write(self, text):
        """Writes the preferences as they are given."""
        with open(self.path("config", PREFERENCES), "w", encoding="utf-8") as file:
            file.write(text)

    def assert_found(self, name, *findings):
        """A copy with this name has exactly these findings, in this order."""
        report, found = self.examine(self.copy(name))
        self.assertEqual(found, [Finding(*finding) for finding in findings], report)
        return report


class Use(DoctorTest):
    def test_help_goes_to_standard_output(self):
        self.assertTrue(self.report(HEALTHY, "--help").startswith("usage: quintora-doctor"))

    def test_help_says_how_to_run_this_program_as_the_web_server(self):
        installed = self.path("work", "quintora-doctor")
        os.symlink(DOCTOR, installed)
        for program, path in ((installed, f" {installed}"),
                              ("quintora-doctor", ' "$(command -v quintora-doctor)"')):
            output = subprocess.run([program, "--help"], check=True, stdout=subprocess.PIPE,
                                    env={**SANITIZERS, "PATH": self.path("work")}).stdout
            self.assertIn(f"  sudo -u www-data env -i{path} --probe PATH\n", output.decode())

    def test_version_is_that_of_the_project(self):
        self.assertEqual(self.report(HEALTHY, "--version"),
                         f"quintora-doctor {project_version()}\n")

    def test_wrong_use_is_named_and_has_its_own_status(self):
        rows = (([], "no path"), ([""], "no path"), (["--probe"], "no path"),
                (["--prob", "x"], "unknown option: --prob"), (["x", "-x"], "unknown option: -x"),
                (["x", "y"], "more than one path: y"))
        for arguments, what in rows:
            with self.subTest(arguments=arguments):
                result = self.doctor(*arguments)
                self.assertEqual((result.returncode, result.stdout), (WRONG_USE, b""))
                self.assertTrue(result.stderr.decode().startswith(
                    f"quintora-doctor: {what}\nusage: quintora-doctor [--probe] PATH\n"), result)

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
                     'The file name "Gateway.cgi" has no "_".',
                     f'QZQuintoraServerPort is "{self.server.port}", by {self.path("config")}/com',
                     f"accepts connections on port {self.server.port}."):
            self.assertIn(fact, report)
        self.assertEqual(findings_of(report), [])
        self.assertEqual(self.server.requests, [], "only --probe sends a request")

    def test_copy_that_cannot_be_run(self):
        plain, folder = self.path("work", "Plain.cgi"), self.path("work", "Folder.cgi")
        with open(plain, "w", encoding="ascii"):
            pass
        os.mkdir(folder)
        pipe = self.path("work", "Pipe.cgi")
        os.mkfifo(pipe, 0o700)
        for path, reason in ((plain, "Permission denied"), (folder, "it is a directory"),
                             (pipe, "Permission denied")):
            _, findings = self.examine(path)
            self.assertEqual(findings, [(
                f"{path} cannot be run by this user: {reason}.",
                "A web server that runs as this user shows an error page of its own.",
                "Correct the path, or let this user execute the file and enter each directory "
                "above it.")])

    def test_copy_that_is_not_there(self):
        path, link = self.path("work", "None.cgi"), self.path("work", "Link.cgi")
        os.symlink("old/Quintora.cgi", link)
        effect = "A web server that runs as this user shows an error page of its own."
        self.assertEqual(self.examine(path)[1], [(
            f"{path}: there is no such file.", effect,
            "Correct the path. The package and the sources may install the bridge in different "
            "directories, such as /usr/lib/cgi-bin and /usr/local/lib/cgi-bin.")])
        self.assertEqual(self.examine(link)[1], [(
            f'{link} is a link that leads nowhere: it points to "old/Quintora.cgi".', effect,
            "Let the link point to an installed copy of the bridge.")])

    def test_value_from_the_home_directory_is_a_finding(self):
        home = self.path("home")
        os.makedirs(f"{home}/.config")
        file, everybodys = (f"{folder}/{PREFERENCES}" for folder in (f"{home}/.config",
                                                                     self.path("none")))
        write_preferences(f"{home}/.config", QZQuintoraServerPort=self.server.port)
        for folder in "", f"{home}/.config":
            report, findings = self.examine(self.copy(), HOME=home, XDG_CONFIG_HOME=folder)
            self.assertEqual(findings, [(
                f"QZQuintoraServerPort comes from this user's home directory: {file}.",
                "A web server that does not set HOME does not read this file: mode and port may "
                "be others there.",
                f"Set QZQuintoraServerPort in {everybodys}, and run quintora-doctor as the web "
                "server runs the copy: quintora-doctor --help shows how.")], report)
        self.server.close()
        _, findings = self.examine(self.copy(), HOME=home, XDG_CONFIG_HOME="")
        self.assertEqual(findings[0].fix, f"{LIKELY_CAUSE}Start the server. If it has another port: "
                         "Set QZQuintoraServerPort to the server's port, a number alone, in "
                         f"{everybodys}.")

    def test_each_step_to_the_port_is_shown(self):
        """The scripted server is where the bridge's own end-to-end tests find it, too."""
        port = self.server.port
        table = f"8081:{port},sales:{port}"
        rows = (
            (f"Gateway_{port}.cgi", {}, f'is "{port}".', "QZQuintoraCloudServerPorts is not set.",
             "So the file-name tag itself is the port."),
            ("Gateway_8081.cgi", {"QZQuintoraCloudServerPorts": table}, f'"{table}"',
             f'Its entry "8081:{port}" is in effect.'),
            ("Gateway_sales.b.cgi", {"QZQuintoraCloudServerPorts": table}, 'is "sales".',
             f'Its entry "sales:{port}" is in effect.'),
            (f"Gateway_{port}.cgi", {"QZQuintoraCloudServerPorts": table},
             f'It has no entry for "{port}"; its keys are "8081", "sales".',
             "So the file-name tag itself is the port."),
        )
        for name, preferences, *facts in rows:
            with self.subTest(name=name):
                self.prefer(**preferences)
                report = self.report(HEALTHY, self.copy(name))
                for fact in (*facts, f"The port is {port}"):
                    self.assertIn(fact, report)

    def test_port_that_is_none(self):
        for name, port, sentence in (
                ("Gateway_sales.cgi", '0, the number read from "sales".', "Port 0 does not exist: TCP ports go "
                 "from 1 to 65535."),
                ("Gateway_70000.cgi", '70000.', "Port 70000 does not exist: TCP "
                 "ports go from 1 to 65535."),
                ("Gateway_-1.cgi", '-1.', "CGI tunnel error: malformed URL.")):
            tag = name[len("Gateway_"):-len(".cgi")]
            for options in [], ["--probe"]:
                report, findings = self.examine(*options, self.copy(name))
                self.assertIn(f"    The port is {port}\n", report)
                self.assertEqual(findings, [(
                    sentence, "Every visitor sees a message that says so, and no page.",
                    "Rename the copy, for example to Gateway_8081.cgi for port 8081, or add an "
                    f'entry for "{tag}" to QZQuintoraCloudServerPorts in '
                    f'{self.path("none")}/{PREFERENCES}.')])
        self.assertIn(f"{PRINTED}{DEFAULT_HEADER.decode()}CGI tunnel error: malformed URL.\r\n",
                      report)

    def test_path_of_any_bytes(self):
        path = os.fsencode(self.path("work")) + b"/Gate\xe9.cgi"
        shutil.copy(BRIDGE, path)
        self.assertIn("can be run by this user.", self.report(HEALTHY, path))

    def test_server_that_is_down(self):
        self.server.close()
        port = self.server.port
        for name, fix in (
                ("Gateway.cgi", "Set QZQuintoraServerPort to the server's port, a number alone, in "
                 f'{self.path("config")}/{PREFERENCES}.'),
                (f"Gateway_{port}.cgi", "Rename the copy, for example to Gateway_8081.cgi for port "
                 f'8081, or add an entry for "{port}" to QZQuintoraCloudServerPorts in '
                 f'{self.path("none")}/{PREFERENCES}.')):
            self.assert_found(name, (
                f"127.0.0.1 port {port} refused the connection.",
                "Every visitor sees a message that says so, and no page.",
                f"Start the server. If it has another port: {fix}"))

    def test_preferences_that_cannot_be_used_are_a_finding(self):
        self.prefer()
        path = self.path("config", PREFERENCES)
        with open(path, "wb") as file:
            file.write(b"QZQuintoraServerPort = 9000\n# \xff\n")
        name = f"Gateway_{self.server.port}.cgi"
        ignored = "Its values are ignored: mode and port may not be the intended ones."
        self.assert_found(name, (f"{path} is not UTF-8.", ignored, "Save the file as UTF-8."))
        os.unlink(path)
        self.assertIn(f"  {path}: not there", self.report(HEALTHY, self.copy(name)))
        os.mkdir(path)
        self.assert_found(name, (f"{path} cannot be read: Is a directory.", ignored,
                                 "Let this user read the file."))

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


class Mistakes(DoctorTest):
    """Preferences that do not say what they were meant to say."""

    def test_key_that_is_nearly_one_of_the_three(self):
        path, port = self.path("config", PREFERENCES), self.server.port
        rows = (("QZQuintoraServerport", "QZQuintoraServerPort"),
                ("qzquintoraserverport", "QZQuintoraServerPort"),
                ("QZQuintoraSeverPort", "QZQuintoraServerPort"),
                ("QuintoraServerPort", "QZQuintoraServerPort"),
                ('"QZQuintoraServerPort"', "QZQuintoraServerPort"),
                ("QZ Quintora Server Port", "QZQuintoraServerPort"),
                ("QZConnectionProtocol", "QZCGIConnectionProtocol"),
                ("QZCGIConectionProtokol", "QZCGIConnectionProtocol"),
                ("QZQuintoraCloudServerPort", "QZQuintoraCloudServerPorts"))
        for written, key in rows:
            with self.subTest(written=written):
                self.write(f"\uFEFF{written}\t= 1\nQZQuintoraServerPort = {port}\n")
                self.assert_found("Gateway.cgi", (
                    f"{path} sets {quoted(written)}, which is nearly {key}.",
                    f"It is ignored: {key} is not set by it.",
                    f'Write "{key} = VALUE"; upper and lower case matter.'))

    def test_line_without_its_equals_sign(self):
        path, port = self.path("config", PREFERENCES), self.server.port
        for line in ("QZQuintoraServerPort 9000", "QZQuintoraServerPort: 9000",
                     "qzQuintoraServerPort"):
            with self.subTest(line=line):
                self.write(f"{line}\r\nQZQuintoraServerPort = {port}\n")
                self.assert_found("Gateway.cgi", (
                    f'{path} has a line without "=": "{line}".',
                    "It is ignored: QZQuintoraServerPort is not set by it.",
                    'Write "QZQuintoraServerPort = VALUE"; upper and lower case matter.'))

    def test_other_lines_are_nobodys_concern(self):
        self.write(f"\uFEFFQZQuintoraServerPort={self.server.port}\n\n"
                   "  # QZQuintoraServerport = 1\n; QZQuintoraServerPort = 2\n"
                   "[main]\nFont = 3\n=\nQuintora is down\n# ServerPort = 3\nNo port\n"
                   f"{'x' * 100_000} = 4\n")
        self.assertNotIn("also sets", self.assert_found("Gateway.cgi"))

    def test_keys_of_ports_that_the_bridge_does_not_read_are_listed(self):
        self.write(f"QZQuintoraServerPort = {self.server.port}\nQZQuintoraPort = 8088\n"
                   "export QZQuintoraServerPort=8080\nServerPort=1\nprotocol = Apple\nFont = 4\n")
        self.assertIn('    It also sets keys that the bridge does not read: "QZQuintoraPort", '
                      '"export QZQuintoraServerPort", "ServerPort", "protocol".\n',
                      self.assert_found("Gateway.cgi"))

    def test_likely_cause_of_a_failure_is_pointed_to(self):
        for line, found in (
                ("QZQuintoraCloudServerPort = sales:8080", "QZQuintoraCloudServerPorts"),
                ("QZQuintoraCloudServerPorts = sales=8080", 'has no ":".')):
            self.write(f"{line}\n")
            report, findings = self.examine(self.copy("Gateway_sales.cgi"))
            self.assertEqual(len(findings), 2, report)
            self.assertTrue(findings[0].fix.startswith(f"{LIKELY_CAUSE}Rename the copy"), report)
            self.assertIn(found, findings[1].found)

    def test_finding_about_the_copy_is_no_cause_of_a_failure(self):
        self.server.close()
        _, findings = self.examine(self.path("work", "None.cgi"))
        self.assertEqual(len(findings), 2)
        self.assertTrue(findings[1].fix.startswith("Start the server."), findings)

    def test_port_with_more_than_a_number(self):
        port = self.server.port
        rows = ((f"{port} # main", "# main"), (f"{port}.5", ".5"), (f"{port},9001", ",9001"))
        for value, leftover in rows:
            with self.subTest(value=value):
                self.prefer(QZQuintoraServerPort=value)
                self.assert_found("Gateway.cgi", (
                    f'The number in "{value}" is followed by "{leftover}".',
                    f"That is ignored: the port is {port}.",
                    "Write a number only: trailing comments are not supported."))
        self.assert_found(f"Gateway_{port} copy.cgi", (
            f'The number in "{port} copy" is followed by "copy".',
            f"That is ignored: the port is {port}.",
            "Rename the copy if another port is meant."))

    def test_numbers_that_are_read_as_they_are_meant(self):
        for value in f"+{self.server.port}", f"0{self.server.port}", f"\u00A0{self.server.port}":
            with self.subTest(value=value):
                self.prefer(QZQuintoraServerPort=value)
                self.assert_found("Gateway.cgi")

    def test_quotation_marks_are_part_of_a_value(self):
        for mark in '"', "'":
            value = f"{mark}{self.server.port}{mark}"
            self.prefer(QZQuintoraServerPort=value)
            report = self.assert_found(
                "Gateway.cgi",
                ("Port 0 does not exist: TCP ports go from 1 to 65535.",
                 "Every visitor sees a message that says so, and no page.",
                 f"{LIKELY_CAUSE}Set QZQuintoraServerPort to the server's port, a number alone, in "
                 f'{self.path("config")}/{PREFERENCES}.'),
                ("The value of QZQuintoraServerPort has quotation marks.",
                 "They are part of the value, and a port after one is not recognised.",
                 "Write QZQuintoraServerPort without quotation marks."))
            self.assertIn(f"QZQuintoraServerPort is {quoted(value)}, by ", report)
            self.assertIn(f"The port is 0, the number read from {quoted(value)}.", report)
        self.prefer(QZQuintoraCloudServerPorts=f'"east":{self.server.port}')
        report, findings = self.examine(self.copy(f"Gateway_{self.server.port}.cgi"))
        self.assertEqual([finding.found for finding in findings],
                         ["The value of QZQuintoraCloudServerPorts has quotation marks."], report)

    def test_apple_in_a_comment(self):
        self.prefer(QZCGIConnectionProtocol="Apple events # not TCP/IP")
        self.assert_found("Gateway.cgi")
        for value in "TCP/IP # not apple", "TCP/IP ; Apple", "TCP/IP // Apple", "# apple":
            with self.subTest(value=value):
                self.prefer(QZCGIConnectionProtocol=value)
                self.assert_found("Gateway.cgi", (
                    '"apple" is in a comment after the value of QZCGIConnectionProtocol.',
                    "The comment is part of the value, so this copy is in Apple-event mode.",
                    'Put the comment on a line of its own that begins with "#".'))

    def test_entries_of_the_port_table_that_are_none(self):
        port = self.server.port
        rows = (
            ("8081:9081;sales:9002", 'has a second ":"',
             'What follows the second ":" is ignored.'),
            ("sales 9002", 'has no ":"', "It is ignored."),
            ("sales=9002", 'has no ":"', "It is ignored."),
            (" sales:9002", "has a blank before or after its key",
             "The blank is part of the key, so the entry is not found without it."),
            ("sales :9002", "has a blank before or after its key",
             "The blank is part of the key, so the entry is not found without it."),
            ("a.b:9002", 'has a "_" or "." in its key',
             "A file-name tag ends before these characters, so the entry is never found."),
            ("a_b:9002", 'has a "_" or "." in its key',
             "A file-name tag ends before these characters, so the entry is never found."),
            ("sales:", "has no port from 1 to 65535",
             "A copy with this file-name tag only shows a message."),
            ("sales:west", "has no port from 1 to 65535",
             "A copy with this file-name tag only shows a message."),
            ("sales:70000", "has no port from 1 to 65535",
             "A copy with this file-name tag only shows a message."),
            ("sales:9002 # west", 'has more than a number after the ":"',
             "The number is the port; what follows it is ignored."),
            ("east:9002", "has the same key as an earlier one", "The earlier entry wins."),
        )
        for entry, what, effect in rows:
            with self.subTest(entry=entry):
                self.prefer(QZQuintoraCloudServerPorts=f"east:{port},{entry}, ,")
                report = self.assert_found("Gateway_east.cgi", (
                    f'The entry "{entry}" of the port table {what}.', effect,
                    "Write QZQuintoraCloudServerPorts as key:port,key:port, as in "
                    "8081:9081,sales:9002."))
                self.assertIn(f'Its entry "east:{port}" is in effect.', report)
        self.prefer(QZQuintoraCloudServerPorts=f"east: {port} ,west:9002,")
        self.assert_found("Gateway_east.cgi")

    def test_names_of_the_port_table_are_listed_for_one_that_it_lacks(self):
        self.prefer(QZQuintoraCloudServerPorts="8081:9081,Sales:9002,west")
        report, findings = self.examine(self.copy("Gateway_sales.cgi"))
        self.assertIn('It has no entry for "sales"; its keys are "8081", "Sales".', report)
        self.assertEqual(findings[0], (
            "Port 0 does not exist: TCP ports go from 1 to 65535.",
            "Every visitor sees a message that says so, and no page.", LIKELY_CAUSE +
            'Rename the copy, for example to Gateway_8081.cgi for port 8081, or add an entry for '
            f'"sales" to QZQuintoraCloudServerPorts in {self.path("config")}/{PREFERENCES}, which '
            'has entries for "8081", "Sales"; upper and lower case matter.'))

    def test_entry_without_a_port_is_what_there_is_to_correct(self):
        self.prefer(QZQuintoraCloudServerPorts="sales:west")
        _, findings = self.examine(self.copy("Gateway_sales.cgi"))
        self.assertEqual(findings[0].fix,
                         f'{LIKELY_CAUSE}Correct the entry "sales:west" of '
                         "QZQuintoraCloudServerPorts.")

    def test_each_mistake_in_the_guide_is_a_finding(self):
        with open(os.path.join(ROOT, "docs", "preferences.md"), encoding="utf-8") as file:
            mistakes = re.findall("^[|] `(.*?)` [|]", file.read().split("\n## Mistakes\n")[1],
                                  re.MULTILINE)
        self.assertGreater(len(mistakes), 10)
        for mistake in mistakes:
            with self.subTest(mistake=mistake):
                is_name = mistake.endswith(".cgi")
                name = mistake if is_name else f"Gateway{'_1' if 'Cloud' in mistake else ''}.cgi"
                self.write("" if is_name else f"{mistake}\n")
                _, findings = self.examine(self.copy(name))
                self.assertGreater(sum("refused" not in each.found for each in findings), 0)

    def test_worst_comes_first(self):
        """What stops everything, what misleads, what may surprise; each as it was met."""
        self.server.close()
        port = self.server.port
        self.write(f"QZQuintoraServerport = 1\nQZQuintoraServerPort = {port} # main\n")
        copy = self.path("work", "None.cgi")
        _, findings = self.examine(copy)
        self.assertEqual([finding.found for finding in findings], [
            f"{copy}: there is no such file.",
            f"127.0.0.1 port {port} refused the connection.",
            f'{self.path("config", PREFERENCES)} sets "QZQuintoraServerport", which is nearly '
            "QZQuintoraServerPort.",
            f'The number in "{port} # main" is followed by "# main".'])


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

    def printed(self, report):
        """What the report says that the bridge would print."""
        return report[report.index(PRINTED) + len(PRINTED):report.rindex("The page\n")].encode()

    def test_shows_the_reply_and_what_the_bridge_would_print(self):
        answer = reply("grüße".encode("latin-1"), "text/plain; charset=ISO-8859-1", "201 Created")
        report = self.probe(FINDING, answer)
        self.assertRegex(
            report, r"  \+ The reply came after [0-9]+ ms\.\n"
            r"  \+ Its HTTP status is 201\.\n"
            r"    Its body has 5 bytes\.\n"
            r'  \+ Its charset "ISO-8859-1" is known, and its body is valid in it\.\n')
        self.assertEqual(self.printed(report), self.page(answer))
        self.assertEqual(self.page(answer), DEFAULT_HEADER + "grüße\r\n".encode())
        self.assertIn(f"It has {len(self.page(answer))} bytes, its header included.", report)

    def test_says_that_it_waits_while_it_waits(self):
        def script(connection):
            connection.take_request()
            asked.append(time.monotonic())
            time.sleep(0.5)
            connection.send(reply(b"page"))
        asked = []
        self.prefer(QZQuintoraServerPort=self.start_server(script=script).port)
        with subprocess.Popen([DOCTOR, "--probe", self.copy()], stdout=subprocess.PIPE,
                              env={**SANITIZERS, **self.environment()}) as process:
            for line in process.stdout:
                if line == b"    Waiting up to 60 seconds for the reply.\n":
                    break
            said = time.monotonic()
            self.assertNotIn(b"Waiting", process.stdout.read())
        self.assertEqual(process.returncode, HEALTHY)
        self.assertLess(said, asked[0] + 0.4)

    def check(self, answer, *findings):
        """A reply has exactly these findings, in this order; the output shown is the bridge's."""
        self.server.answer = answer
        report, found = self.examine("--probe", self.copy())
        self.assertEqual(found, [Finding(*finding) for finding in findings], report)
        page = self.page(answer)
        self.assertEqual(self.printed(report), page if page.endswith(b"\n") else page + b"\n")
        return report

    def listener(self):
        return (f"To see which program listens there: sudo ss -ltnp 'sport = :{self.server.port}' "
                f"(Linux), sudo lsof -nP -iTCP:{self.server.port} -sTCP:LISTEN (macOS).")

    def without_charset(self):
        return ("The reply declares no charset.",
                'Every visitor sees "Error: CGI tunnel returned binary data." and no page.',
                'Let the server send the line "Content-Type: text/html; charset=utf-8", ";" and '
                '"=" included. To see what it sends: curl -i -d a=1 '
                f"http://127.0.0.1:{self.server.port}/apache-tunnel/")

    def test_body_that_is_not_what_the_reply_declares(self):
        latin1, gzip = "text/html; charset=iso-8859-1", b"\x1f\x8b\x08\x00"
        wrong = "The bridge decodes it in that charset: a visitor sees wrong letters."
        utf8 = ("The body is probably UTF-8: its bytes that are not ASCII are valid UTF-8.",
                'Let the server declare "charset=utf-8" in its HTTP header.')
        packed = ("The body is compressed with gzip.",
                  "Let the server send no Content-Encoding: the bridge decodes none.")
        header = b"Content-type: text/html; charset=utf-8\r\n\r\n"
        self.check(reply(header + "Zürich".encode(), latin1), (
            f'{utf8[0]} The reply declares the charset "iso-8859-1".', wrong, utf8[1]))
        self.check(reply(header + "Zürich".encode(), "text/html; charset=iso-2022-jp"), (
            'Byte 44 of the reply, hexadecimal C3, is not valid in the charset "iso-2022-jp".',
            "Every visitor sees an empty page.", " ".join(utf8)))
        self.check(reply(gzip), (
            'Byte 2 of the reply, hexadecimal 8B, is not valid in the charset "utf-8".',
            "Every visitor sees an empty page.", " ".join(packed)))
        _, (finding, *_) = self.findings_of_reply(reply(gzip, latin1))
        self.assertEqual(finding, (
            f'{packed[0]} The reply declares the charset "iso-8859-1".', wrong, packed[1]))
        _, (finding, *_) = self.findings_of_reply(reply("page".encode("utf-16-le"),
                                                        "text/html; charset=utf-16"))
        self.assertEqual(finding, (
            "The body is probably little-endian, but without a byte-order mark UTF-16 is read as "
            'big-endian. The reply declares the charset "utf-16".', wrong,
            'Let the server declare "charset=utf-16le", or send UTF-8.'))

    def findings_of_reply(self, answer):
        self.server.answer = answer
        return self.examine("--probe", self.copy())

    def test_body_that_is_what_the_reply_declares(self):
        header = "Content-type: text/html; charset=utf-8\r\n\r\n"
        for text, charset, codec in (
                ("Zürich", "iso-8859-1", "latin-1"), ("Zürich", "utf-8", "utf-8"),
                ("Zurich", "iso-8859-1", "latin-1"), ("Zürich", "utf-16", "utf-16"),
                ("Zürich", "utf-16", "utf-16-be"), ("Zürich", "utf-16le", "utf-16-le"),
                ("日本語", "shift_jis", "shift_jis"), ("日本語", "euc-jp", "euc-jp")):
            with self.subTest(charset=charset, codec=codec):
                self.check(reply((header + text).encode(codec), f"text/html; charset={charset}"))

    def test_one_byte_is_counted_in_the_singular(self):
        report = self.check(reply(b"x"))
        self.assertIn("    Its body has 1 byte.\n", report)

    def test_reply_that_is_no_page(self):
        no_body = ("The reply has no body.",
                   'Every visitor sees "CGI tunnel request error:(null)" and no page.',
                   "Let the server send at least one byte.")
        empty = "Every visitor sees an empty page."
        declare = "Let the server declare the charset that it sends, or send what it declares."
        utf8 = 'Let the server send UTF-8 and declare "charset=utf-8".'
        rows = (
            (reply(b""), *no_body),
            (reply(b"", status="204 No Content"), *no_body),
            (reply(b"<p>page", "text/html"), *self.without_charset()),
            (reply(b"page", None), *self.without_charset()),
            (reply(b"page", "text/html charset=utf-8"), *self.without_charset()),
            (reply(b"page", "text/html; charset: utf-8"), *self.without_charset()),
            (reply(b"page", "text/html; charset="), *self.without_charset()),
            (reply(b"page\xff"), "Byte 5 of the reply, hexadecimal FF, is not valid in the charset "
             '"utf-8".', empty, declare),
            (reply(b"\x81", "text/html; charset=shift_jis"),
             'Byte 1 of the reply, hexadecimal 81, is not valid in the charset "shift_jis".', empty,
             declare),
            (reply(b"page", 'text/html; charset=""'), 'The charset "" is unknown.', empty, utf8),
            (reply(b"page", "text/html; charset=none"), 'The charset "none" is unknown.', empty,
             utf8),
        )
        for answer, *finding in rows:
            with self.subTest(answer=answer):
                self.check(answer, finding)
        report = self.check(rows[2][0], rows[2][1:])
        self.assertIn('    Its body begins with "<p>page".\n', report)

    def test_redirect_that_the_reply_declares(self):
        for status in "302 Found", "303 See Other", "399 x":
            finding = (f"The HTTP status of the reply is {status[:3]}.",
                       "The bridge ignores the status and the Location of the reply: a visitor is "
                       "not redirected.",
                       f'Put the lines "Status: {status[:3]}" and "Location: URL" into the page\'s '
                       'own header, after its first line, "Content-type:".')
            _, findings = self.findings_of_reply(reply(b"", status=status))
            self.assertEqual(findings[0].found, "The reply has no body.")
            self.assertEqual(findings[1:], [finding])

    def test_status_that_is_not_one_of_success(self):
        def finding(status):
            return (f"The HTTP status of the reply is {status}.",
                    "The bridge prints the body of the reply all the same: a visitor may see the "
                    "error page of another program, and gets the status 200.",
                    "Check whether the page above is the server's. If it is, put the line "
                    f'"Status: {status}" into the page\'s own header. If not, the port may be '
                    "another program's, the web server's own, or an HTTPS port. "
                    f"{self.listener()}")
        for status in "404 Not Found", "500 Internal Server Error":
            with self.subTest(status=status):
                self.check(reply(b"page", status=status), finding(status[:3]))
        # As a server says at its HTTPS port that it expects TLS.
        self.check(reply(b"<html>400 The plain HTTP request was sent to HTTPS port\n", "text/html",
                         "400 Bad Request"),
                   self.without_charset(), finding(400))

    def test_exchange_that_fails(self):
        where = f"127.0.0.1 port {self.server.port}"
        log = "See the server's log. If this is its HTTPS port, use its HTTP port. "
        rows = (
            (b"", f"{where} closed the connection without a reply.", log),
            (reply(b"page")[:-1], f"{where} closed the connection before its reply was complete.",
             "See the server's log, and compare its Content-Length with what it sends. "),
            (b"SSH-2.0-OpenSSH_9.2\r\n", f"The reply of {where} is not valid HTTP: its status line "
             "is malformed.",
             "Use the server's HTTP port. This may be an HTTPS port, or another program's. "),
            (b"HTTP/1.1 200 OK\r\nx\r\n\r\n", f"The reply of {where} is not valid HTTP: a header "
             "line has no name or no colon.",
             "Correct the server's reply, unless another program has the port. "),
        )
        for answer, found, fix in rows:
            with self.subTest(answer=answer):
                report = self.check(answer, (
                    found, "Every visitor sees a message that says so, and no page.",
                    fix + self.listener()))
                self.assertRegex(report, r"\n    The exchange failed after [0-9]+ ms\.\n")
                self.assertIn("CGI tunnel request error:", report)

    def test_page_that_goes_wrong(self):
        html = BEGINNING
        source = "The bridge prints it as text/plain: a visitor sees its source."
        header = 'The page has a header that does not begin with exactly "Content-type:". ' \
                 "The page begins with "
        text = "The bridge ignores that header: a visitor sees it, and the page's source, as text."
        utf8 = ("The bridge prints UTF-8, so a visitor sees wrong letters.",
                'Declare "charset=utf-8" in the page\'s header.')
        guess = ("Browsers may show wrong letters, unless the web server adds a charset.",)
        empty = ("The page is empty.", "Every visitor sees an empty page.",
                 "Let the server send a page after the header.")
        rows = (
            (b"<!DOCTYPE html>\n<p>x", 'The page is HTML without a header: "<!DOCTYPE html>".',
             source, html),
            (b"\r\n <h1>x</h1>", 'The page is HTML without a header: "<h1>x</h1>".', source, html),
            (b"Content-Type: text/html\r\n\r\n<p>x", header + '"Content-Type: text/html".', text,
             html),
            (b"Status: 200 OK\r\nContent-type: text/html\r\n\r\n<p>x", header + '"Status: 200 OK".',
             text, html),
            (b"HTTP/1.1 200 OK\nContent-type: text/html\n\n<p>x", header + '"HTTP/1.1 200 OK".',
             text, html),
            (b" Content-type: text/html\r\n\r\n<p>x", header + '" Content-type: text/html".', text,
             html),
            (b"Content-type: text/html; charset=iso-8859-1\r\n\r\nZ\xc3\xbcrich",
             'The page\'s own header declares the charset "iso-8859-1".', *utf8),
            (b"Content-type: text/html\n\n", *empty),
            (b"Content-type: text/html\r\n\r\n", *empty),
            (b"\r\n", *empty),
            (b"\xef\xbb\xbf", *empty),
            (b"pa\0ge", "The page has a NUL after 2 bytes.",
             "The output ends there: the page is cut off.", "Let the server send no NUL."),
            (b"\0page", "The page has a NUL after 0 bytes.",
             "The output ends there: every visitor sees an empty page.",
             "Let the server send no NUL."),
            (b"Content-type: text/html\n\n\0page", "The page has a NUL after 25 bytes.",
             "The output ends there: every visitor sees an empty page.",
             "Let the server send no NUL."),
            (b"\r\nContent-type: text/html\r\n\r\n<p>x", header + "an empty line.", text, html),
            (b"content-type: text/html\r\n\r\n<p>x", header + '"content-type: text/html".', text,
             html),
            ("Content-type: text/html\r\n\r\nZürich".encode(),
             "The page's own header declares no charset, and the page is not all ASCII.", *guess,
             'Declare "charset=utf-8" in the page\'s header.'),
            ("Content-type: text/plain\r\n\r\ncharset: Zürich".encode(),
             "The page's own header declares no charset, and the page is not all ASCII.", *guess,
             'Declare "charset=utf-8" in the page\'s header.'),
            ("Zürich".encode(),
             "The page has no header that declares a charset, and is not all ASCII.", *guess, html),
            (b"Content-type: text/html\r\nStatus: 100 Continue\r\n\r\nx",
             'The page\'s "Status: 100 Continue" is not the status of a page.',
             "A browser waits for another response and shows nothing.",
             'Write a number from 200 to 599 and its name, as in "Status: 404 Not Found".'),
        )
        for body, *finding in rows:
            with self.subTest(body=body):
                self.check(reply(body), finding)

    def test_page_in_which_nothing_is_odd(self):
        for body in (b"Content-type: text/html; charset=utf-8\r\n\r\nZ\xc3\xbcrich",
                     b"Content-type: text/html; charset=iso-8859-1\r\rplain",
                     b"Content-type: text/html\nLocation: http://example.com/\n\n",
                     b"Content-type: text/html\r\nStatus: 204 No Content\r\n\r\n",
                     'Content-type: text/html\n\n<meta charset="utf-8"><p>Zürich'.encode(),
                     "Content-type: application/json\n\nZürich".encode(),
                     b"1 < 2 and 3 > 2", b"<- Content-type:", b"Content-type",
                     b"text\n\nContent-Type: x", b"Status: fine"):
            with self.subTest(body=body):
                self.check(reply(body))

    def test_terminal_is_not_obeyed_by_what_a_finding_quotes(self):
        report = self.check(reply("<a\x1b[31m\x7f\t".encode() + "é".encode() * 40 + b">"), (
            'The page is HTML without a header: "<a?[31m??' + "é" * 26 + '...".',
            "The bridge prints it as text/plain: a visitor sees its source.", BEGINNING))
        self.assertEqual(report.count("\x1b"), 1, "in what the bridge prints")

    def test_terminal_is_not_obeyed_by_what_a_server_declares(self):
        declared = 'text/html; charset="x\x1b]0;owned\x07"'
        self.server.answer = reply(b"page", declared)
        report, _ = self.examine("--probe", self.copy())
        self.assertIn('"x?]0;owned?"', report)
        self.assertNotIn("\x1b", report)


class UnderApache(ApacheTest):
    """The doctor predicts Apache's status 500 for exactly those pages that get it."""

    def setUp(self):
        self.server = ScriptedServer()
        self.addCleanup(self.server.close)
        write_preferences(self.config, QZQuintoraServerPort=self.server.port)
        self.copy = os.path.join(self.apache.folder, "cgi-bin", "Gateway.cgi")

    def findings(self, body):
        self.server.answer = reply(body)
        result = subprocess.run([DOCTOR, "--probe", self.copy], stdout=subprocess.PIPE, timeout=30,
                                env=self.environment)
        self.assertEqual(result.returncode, FINDING if b"\n  1. " in result.stdout else HEALTHY)
        return findings_of(result.stdout.decode("utf-8", "replace"))

    def status(self):
        """The status alone: the Content-Length of Apache's error page may be wrong."""
        connection = http.client.HTTPConnection("127.0.0.1", self.apache.port, timeout=30)
        with contextlib.closing(connection):
            connection.request("GET", "/cgi-bin/Gateway.cgi")
            return connection.getresponse().status

    def check_header(self, lines, found=None):
        """Checks a page whose header has these lines after its first, and the finding expected."""
        body = b"Content-type: text/html\r\n" + lines + b"page\r\n"
        findings, log = self.findings(body), self.apache.error_log()
        status = self.status()
        if found is None:
            self.assertEqual((findings, status), ([], 200))
        else:
            self.assertEqual((findings, status), ([Finding(
                f"{found}", 'Apache answers 500, "Internal Server Error", and says why in its log.',
                'Write each line of the header as "Name: value" and end it with an empty line.')],
                500))
            self.assertIn("header", self.apache.error_log()[len(log):])

    def test_header_that_apache_refuses(self):
        long_line = b"X: " + b"x" * 8187
        rows = (
            (b"X\r\n\r\n", '"X" in the page\'s header has no ":".'),
            (b"HTTP/1.1 200 OK\r\n\r\n", '"HTTP/1.1 200 OK" in the page\'s header has no ":".'),
            (b"<p>", '"<p>page" in the page\'s header has no ":".'),
            (b"\t\r\n", '"?" in the page\'s header has no ":".'),
            (b"X: y\r\n", '"page" in the page\'s header has no ":".'),
            (b"X: y\r\nX: ", "No empty line ends the page's header."),
            (b"X Y: z\r\n\r\n", '"X Y: z" in the page\'s header has no valid name.'),
            (b"X : z\r\n\r\n", '"X : z" in the page\'s header has no valid name.'),
            (b" X: z\r\n\r\n", '" X: z" in the page\'s header has no valid name.'),
            (b": z\r\n\r\n", '": z" in the page\'s header has no valid name.'),
            (b"\xc3\xbc: z\r\n\r\n", '"ü: z" in the page\'s header has no valid name.'),
            (b"X: a\x01b\r\n\r\n", '"X: a?b" in the page\'s header has a control character.'),
            (b"X: a\x7fb\r\n\r\n", '"X: a?b" in the page\'s header has a control character.'),
            (long_line + b"\r\n\r\n",
             f'"X: {"x" * 57}..." in the page\'s header is longer than 8189 bytes.'),
        )
        for lines, found in rows:
            with self.subTest(lines=lines[:40]):
                self.check_header(lines, found)

    def test_header_that_apache_takes(self):
        for lines in (b"\r\n", b"\n", b"X:\n\n", b"X:y:z\r\n\r\n", b"X: \xc3\xbc\tz\r\n\r\n",
                      b"X: \x0bz\r\n\r\n", b"!#$%&'*+-.^_`|~9: z\r\n\r\n", b"X: a\rb\r\n\r\r\n",
                      b"X: " + b"x" * 8186 + b"\r\n\r\n"):
            with self.subTest(lines=lines[:40]):
                self.check_header(lines)

    def test_status_of_a_page(self):
        for value, status in ((b"abc", 500), (b"", 500), (b"99", 500), (b"1000", 500),
                              (b"40404 x", 500), (b"-404", 500), (b"9" * 30, 500), (b"404", 404),
                              (b"404 Not Found", 404), (b"404x", 404), (b" 0404", 404),
                              (b"599 x", 599), (b"999", 999), (b"abc\r\nStatus: 404", 404)):
            with self.subTest(value=value):
                findings = self.findings(b"Content-type: text/html\r\nStatus: " + value
                                         + b"\r\n\r\npage")
                self.assertEqual(self.browse().status, status)
                self.assertEqual(findings, [] if status != 500 else [(
                    f"The page's \"Status: {value.decode()}\" does not begin with a number of "
                    "three digits.",
                    'Apache sends the page with the status 500, "Internal Server Error".',
                    'Write a number from 200 to 599 and its name, as in "Status: 404 Not Found".')])
                self.assertTrue(self.browse().text.startswith("page"))

    def test_pages_that_apache_hands_out_as_text(self):
        for body in b"<p>page", b"Content-Type: text/html\r\n\r\n<p>page":
            with self.subTest(body=body):
                finding, = self.findings(body)
                self.assertRegex(finding.effect, "a visitor sees (its source|it, and the page's "
                                                 r"source, as text)\.")
                self.assertEqual(self.browse()[:2], (200, "text/plain"))
                self.assertIn("<p>page", self.browse().text)

    def test_port_of_apache_itself(self):
        write_preferences(self.config, QZQuintoraServerPort=self.apache.port)
        found = [finding.found for finding in self.findings(b"")]
        self.assertEqual(found[0], "The HTTP status of the reply is 404.")
        self.assertRegex(found[1], "The page is HTML without a header: .*")
        self.assertEqual(len(found), 2)


class AppleEvents(DoctorTest):
    def setUp(self):
        super().setUp()
        self.prefer(QZCGIConnectionProtocol="AppleEvents")

    def test_mode_is_explained_and_needs_a_probe(self):
        report = self.assert_found("Gateway_8081.cgi")
        self.assertIn('QZCGIConnectionProtocol is "AppleEvents", by ', report)
        self.assertIn('It contains "apple": Apple-event mode.', report)
        self.assertNotIn("The port", report)

    def test_server_that_is_down(self):
        message = "Quintora CGI error: Quintora Server is not running."
        report, findings = self.examine("--probe", self.copy())
        self.assertEqual(findings, [(
            message, "Every visitor sees a message that says so, and no page.",
            "Start the server. On systems other than macOS this mode is for development only: "
            "remove QZCGIConnectionProtocol for tunnel mode.")])
        self.assertIn(f"{PRINTED}{DEFAULT_HEADER.decode()}{message}\r\n", report)
        self.assertIn("    Waiting up to about a minute for the reply.\n", report)

    def test_server_that_answers(self):
        with open_folder("config", "runtime") as folder:
            environment = {"XDG_CONFIG_HOME": os.path.join(folder, "config"),
                           "XDG_RUNTIME_DIR": os.path.join(folder, "runtime")}
            write_preferences(environment["XDG_CONFIG_HOME"], QZCGIConnectionProtocol="Apple")
            with example_server("--apple-events", environment=environment):
                report = self.report(HEALTHY, "--probe", self.copy(), **environment)
        self.assertRegex(report, r"\+ The reply came after [0-9]+ ms\.")
        self.assertEqual(findings_of(report), [])
        self.assertIn("<b>Apple-event</b> mode", report)


if __name__ == "__main__":
    unittest.main()
