"""The demo: the options of script/demo, what it prints, and how it fails."""
import os
import re
import shutil
import signal
import subprocess
import sys
import unittest
import urllib.request

from tests.support.harness import BRIDGE, ROOT, open_folder

DEMO = os.path.join(ROOT, "examples", "demo.py")
ON_MACOS = f"""
import sys
sys.platform = "darwin"
sys.path.insert(0, "{os.path.dirname(DEMO)}")
import demo
demo.main()
"""


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=60, **options)


class Options(unittest.TestCase):
    """script/demo in a folder without tools and sources."""

    def setUp(self):
        folder = open_folder("script", "tools")
        self.folder = folder.__enter__()
        self.addCleanup(folder.__exit__, None, None, None)
        for name in "demo", "lib.sh":
            shutil.copy(os.path.join(ROOT, "script", name), os.path.join(self.folder, "script"))
        for tool in "apt-get", "cmake", "dpkg-query":
            path = os.path.join(self.folder, "tools", tool)
            with open(path, "w", encoding="utf-8") as file:
                file.write('#!/bin/sh\n>"$0.ran"\n')
            os.chmod(path, 0o755)

    def demo(self, *arguments):
        """A run that must install, build and start nothing."""
        tools = os.path.join(self.folder, "tools")
        result = run(os.path.join(self.folder, "script", "demo"), *arguments,
                     env={"PATH": f"{tools}:{os.defpath}"})
        self.assertEqual([sorted(os.listdir(self.folder)), sorted(os.listdir(tools))],
                         [["script", "tools"], ["apt-get", "cmake", "dpkg-query"]])
        return result

    def test_help_explains_and_builds_nothing(self):
        for option in "--help", "-h":
            result = self.demo(option)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            for text in "--serve", "apt-get", "sudo", "Ctrl-C":
                self.assertIn(text, result.stdout)

    def test_what_is_unknown_is_named_and_an_error(self):
        for arguments in ["--sevre"], ["form"], ["--serve", "--port"], [""]:
            with self.subTest(arguments):
                result = self.demo(*arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertIn(f"unknown option: {' '.join(arguments)}\n", result.stderr)
                self.assertIn("--serve", result.stderr)


class Output(unittest.TestCase):
    def test_pages_are_short_and_the_end_says_what_happened(self):
        result = run(sys.executable, DEMO, BRIDGE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        _, *requests = re.split("^--- ", result.stdout, flags=re.MULTILINE)
        self.assertEqual(len(requests), 4)
        for request in requests:
            self.assertLess(len(request.splitlines()), 16, request)
        lines = result.stdout.splitlines()
        for mode in "tunnel", "Apple-event":
            pages = [line for line in lines if line.startswith(f"The request came in {mode} mode")]
            self.assertEqual(len(pages), 2)
        for line in ("  id = 7", "  city = Zürich",
                     '  name = Zoë "Zed" Müller', "  sum = 1 + 1 = 2"):
            self.assertEqual(lines.count(line), 2, line)
        self.assertIn("4 requests, 2 in tunnel mode and 2 in Apple-event mode: every page",
                      lines[-2])
        for step in "script/demo --serve", "docs/server.md", "README.md":
            self.assertIn(step, lines[-1])

    def test_macos_has_tunnel_mode_without_preferences(self):
        with open_folder() as nowhere:
            result = run(sys.executable, "-c", ON_MACOS, BRIDGE,
                         env={**os.environ, "XDG_CONFIG_HOME": nowhere})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertNotIn("Apple", result.stdout)
        self.assertIn("\n2 requests, 2 in tunnel mode: every page", result.stdout)
        ports = re.findall("/cgi-bin/Quintora_([0-9]+).cgi", result.stdout)
        self.assertEqual(set(ports), set(re.findall("to port ([0-9]+)", result.stdout)))

    def test_a_page_that_is_not_the_servers_ends_it_with_a_sentence(self):
        with open_folder() as folder:
            bridge = os.path.join(folder, "bridge")
            with open(bridge, "w", encoding="utf-8") as file:
                file.write("#!/bin/sh\nprintf 'Content-type: text/plain\\n\\nin tunnel mode\\n'\n")
            result = run(sys.executable, DEMO, bridge)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "The demo failed: this page does not say 'id = 7'\n")
        self.assertNotIn("every page", result.stdout)

    def test_a_missing_bridge_ends_it_with_a_sentence(self):
        result = run(sys.executable, DEMO, "/nowhere/Quintora.cgi")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, r"\AThe demo failed: .*'/nowhere/Quintora.cgi'\n\Z")


class Serve(unittest.TestCase):
    def setUp(self):
        self.process = subprocess.Popen([sys.executable, DEMO, BRIDGE, "--serve"], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(self.stop)

    def stop(self):
        """What it printed to its end."""
        if self.process.returncode is not None:
            return None
        self.process.send_signal(signal.SIGINT)
        return self.process.communicate(timeout=30)

    def test_the_bare_address_shows_the_form_and_ctrl_c_stops_everything(self):
        self.assertEqual(self.process.stdout.readline(), "\n")
        address = re.fullmatch("The form: (http://127.0.0.1:[0-9]+/)\n",
                               self.process.stdout.readline())[1]
        with urllib.request.urlopen(address, timeout=10) as page:
            self.assertEqual(page.url, f"{address}cgi-bin/Quintora.cgi?form")
            self.assertIn('<form action="?from=form" method="post"', page.read().decode())
        out, err = self.stop()
        self.assertEqual((self.process.returncode, err), (0, ""))
        self.assertTrue(out.endswith("\nStopped.\n"), out)
        with self.assertRaises(OSError):
            urllib.request.urlopen(address, timeout=10)


if __name__ == "__main__":
    unittest.main()
