"""The launch agent for an Apache in a user's session, and that Apache's configuration.

This system's Apache runs the configuration, adapted to this system's paths, a free port and a
temporary home."""
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "examples"))

from private_apache import find_apache, find_web_user, free_port  # noqa: E402

MACOS = ROOT / "packaging/macos"
AGENT = MACOS / "com.quintora.httpd.plist"
CONFIGURATION = MACOS / "quintora-session.conf"
INSTALLED_CONFIGURATION = f"/etc/apache2/{CONFIGURATION.name}"
GUIDE = (ROOT / "docs/macos.md").read_text(encoding="utf-8")
PORT = "8088"
CGI_DIRECTORY = "/Library/WebServer/CGI-Executables"
PROGRAM = "#!/bin/sh\nprintf 'Content-type: text/plain\\n\\n%s' \"$SCRIPT_NAME\"\n"
PATIENCE = 10  # seconds for one start or stop


class LaunchAgentTest(unittest.TestCase):
    def setUp(self):
        self.agent = plistlib.loads(AGENT.read_bytes())

    def test_file_is_named_after_its_label(self):
        self.assertEqual(AGENT.stem, self.agent["Label"])

    def test_starts_the_systems_apache_in_the_foreground_with_the_configuration(self):
        self.assertEqual(["/usr/sbin/httpd", "-D", "FOREGROUND", "-f", INSTALLED_CONFIGURATION],
                         self.agent["ProgramArguments"])

    def test_runs_in_a_users_session_and_from_its_beginning(self):
        self.assertEqual(("Aqua", True, True), (self.agent["LimitLoadToSessionType"],
                                                self.agent["RunAtLoad"], self.agent["KeepAlive"]))

    def test_runs_as_the_user_whose_agent_it_is(self):
        self.assertNotIn("UserName", self.agent)

    def test_guide_has_the_commands_for_both_files(self):
        for text in (f"packaging/macos/{CONFIGURATION.name} /etc/apache2/",
                     f"packaging/macos/{AGENT.name} ~/Library/LaunchAgents/",
                     f"~/Library/LaunchAgents/{AGENT.name}",
                     f"gui/$(id -u)/{self.agent['Label']}",
                     f"http://localhost:{PORT}/cgi-bin/Quintora.cgi"):
            with self.subTest(text):
                self.assertTrue(text in GUIDE, "docs/macos.md has no such command")


class ConfigurationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir="/tmp" if os.geteuid() == 0 else None)
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.home.chmod(0o755)
        self.programs = self.home / "programs"
        for place in self.programs, self.home / "Library/Caches", self.home / "Library/Logs":
            place.mkdir(parents=True)
        program = self.programs / "Quintora.cgi"
        program.write_text(PROGRAM)
        program.chmod(0o755)
        self.port = str(free_port())

    def start(self):
        apache, modules = find_apache()
        text = CONFIGURATION.read_text(encoding="utf-8")
        for place, here in ((PORT, self.port), (CGI_DIRECTORY, str(self.programs)),
                            ("libexec/apache2", modules)):
            self.assertIn(place, text)
            text = text.replace(place, here)
        configuration = self.home / CONFIGURATION.name
        configuration.write_text(text)
        # Only root needs a user to change to; a launch agent's Apache is not root's.
        user = find_web_user()
        directives = ["-c", f"User {user}", "-c", f"Group {user}"] if user else []
        # In a session of its own: as it ends, Apache stops its whole process group.
        process = subprocess.Popen([apache, "-D", "FOREGROUND", "-f", configuration, *directives],
                                   env={"PATH": os.defpath, "HOME": str(self.home)},
                                   stderr=subprocess.PIPE, text=True, start_new_session=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait, PATIENCE)
        self.addCleanup(process.terminate)
        return process

    def page(self, process, path):
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                with urllib.request.urlopen(f"http://127.0.0.1:{self.port}{path}",
                                            timeout=PATIENCE) as page:
                    return page.status, page.read().decode()
            except urllib.error.HTTPError as error:
                with error:
                    return error.code, None
            except urllib.error.URLError:
                if process.poll() is not None:
                    self.fail(process.stderr.read())
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.05)

    def test_runs_the_bridge_and_nothing_else(self):
        process = self.start()
        self.assertEqual((200, "/cgi-bin/Quintora.cgi"),
                         self.page(process, "/cgi-bin/Quintora.cgi"))
        self.assertEqual((403, None), self.page(process, "/etc/passwd"))

    def test_keeps_its_files_in_the_home_of_its_user(self):
        process = self.start()
        self.page(process, "/cgi-bin/Quintora.cgi")
        self.assertEqual(str(process.pid),
                         (self.home / "Library/Caches/quintora-httpd.pid").read_text().strip())
        self.assertIn("resuming normal operations",
                      (self.home / "Library/Logs/quintora-httpd.log").read_text())

    def test_waits_longer_than_the_bridge(self):
        seconds = re.search(r"^TimeOut ([0-9]+)$", CONFIGURATION.read_text(), re.MULTILINE)[1]
        self.assertGreater(int(seconds), 60)

    def test_needs_no_rights_of_the_administrator(self):
        text = CONFIGURATION.read_text()
        self.assertNotRegex(text, r"(?m)^\s*(User|Group)\b")
        self.assertGreaterEqual(int(re.search(r"^Listen 127\.0\.0\.1:([0-9]+)$", text,
                                              re.MULTILINE)[1]), 1024)


if __name__ == "__main__":
    unittest.main()
