"""packaging/macos/report, with stand-ins for macOS: its tools, and a folder for its disk.

The stand-ins keep the state that a Mac would keep (files, preferences, whether Apache runs), so
that a test can compare it with the state before. They cannot show what a Mac really does.
"""
import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

from tests.packaging.test_macos_packaging import (BRIDGE, DOCTOR, DOCUMENTATION, ORDINARY_TOOLS,
                                                  CopyOfTheTree, info_plist)

DOMAIN = "com.quintora.QuintoraServer"
ALL_USERS = f"Library/Preferences/{DOMAIN}.plist"
WWW = f"Library/WebServer/Library/Preferences/{DOMAIN}.plist"
CONFIGURATION = "etc/apache2/other/quintora-report.conf"
CRASH_REPORTS = "Library/Logs/DiagnosticReports"
HTTPD_CONF = """#LoadModule cgi_module libexec/apache2/mod_cgi.so
    ScriptAliasMatch ^/cgi-bin/((?!(?i:webobjects)).*$) "/Library/WebServer/CGI-Executables/$1"
Include /private/etc/apache2/other/*.conf
"""
PATIENCE = 240

# Of the system: shell, with the name of the tool in $tool. $STATE is what is neither file nor
# preference.
TOOLS = r"""#!/bin/sh
tool=${0##*/}
if [ -e "$STATE/fail $tool $1" ]; then exit 1; fi
if [ -e "$STATE/hold $tool $1" ]; then touch "$STATE/held"; sleep 60; fi
case "$tool $*" in
  "sudo -v") ;;
  "sudo -n -v") touch "$STATE/refreshed" ;;
  sudo*)
    while :; do
      case $1 in -H) shift ;; -u) AS_USER=$2; export AS_USER; shift 2 ;; *) exec "$@" ;; esac
    done ;;
  "c++ --version") echo "Apple clang version 13.1.6 (clang-1316.0.21.2.5)" ;;
  "c++ -x"*) cat >/dev/null; printf '#!/bin/sh\n# %s\n' "$5" >"$7" ;;
  "installer -pkg "*)
    [ -f "$2" ] && cp -R "$TREE/build/macos/package/." "$DISK" || exit 1
    cp "$FAKES/bridge" "$DISK/Library/WebServer/CGI-Executables/Quintora.cgi"
    cp "$FAKES/doctor" "$DISK/usr/local/bin/quintora-doctor"
    chmod 755 "$DISK/Library/WebServer/CGI-Executables/Quintora.cgi" "$DISK/usr/local/bin/"*
    [ ! -e "$STATE/installer-changes-modes" ] || chmod 700 "$DISK/Library/WebServer"
    echo "version: 1.2.3" >"$STATE/receipt" ;;
  productbuild*) for package; do :; done; echo new >"$package" ;;
  "pkgutil --pkg-info "*) cat "$STATE/receipt" 2>/dev/null ;;
  "pkgutil --files "*) [ -e "$STATE/receipt" ] && echo usr/local/bin/quintora-doctor ;;
  "pkgutil --forget "*) rm "$STATE/receipt" ;;
  "launchctl print-disabled "*)
    printf '\t\t"org.apache.httpd" => %s\n' "$(cat "$STATE/apache-at-start")" ;;
  "launchctl print "*)
    [ -e "$STATE/apache-runs" ] || { echo "Could not find service" >&2; exit 113; }
    printf '\tstate = running\n\tpid = 4711\n' ;;
  "launchctl "*able*) echo "$1"d >"$STATE/apache-at-start" ;;
  "apachectl configtest")
    [ ! -e "$STATE/refuses" ] || [ ! -e "$DISK/etc/apache2/other/quintora-report.conf" ] ;;
  "apachectl start") touch "$STATE/apache-runs"; echo enabled >"$STATE/apache-at-start" ;;
  "apachectl restart") touch "$STATE/apache-runs" "$STATE/restarted" ;;
  "apachectl stop") rm "$STATE/apache-runs"; echo disabled >"$STATE/apache-at-start" ;;
  "dscl "*) echo "NFSHomeDirectory: /Library/WebServer" ;;
  "curl --silent "*) ;;
  "curl -si -d "*)
    printf 'HTTP/1.1 %s\r\n\r\n' "$(cat "$STATE/abnormal-status")"
    touch "$DISK/Library/Logs/DiagnosticReports/Quintora.cgi-2026.ips" ;;
  "curl "*)
    [ -e "$STATE/apache-runs" ] && [ -e "$DISK/etc/apache2/other/quintora-report.conf" ] || exit 7
    export SERVER_ADMIN=
    printf 'HTTP/1.1 200 OK\r\n' && "$DISK/Library/WebServer/CGI-Executables/Quintora.cgi" ;;
  "otool -L "*/Core*) printf '\t/System/Library/Frameworks/%s.framework/x\n' "${2##*/}" ;;
  otool*) cat "$ANSWERS/$(cat "$2")$1" ;;
  "stat -f %u:%g %Lp %N "*)
    shift 2
    case $(uname) in
      Darwin) exec /usr/bin/stat -f '%u:%g %Lp %N' "$@" ;;
      *) exec /usr/bin/stat -c '%u:%g %a %n' "$@" ;;
    esac ;;
  "xattr -l "*) cat "$STATE/attributes" ;;
  "ctest "*) cat "$STATE/tests" ;;
  man*) echo /usr/local/share/man/man1/quintora-doctor.1 ;;
  "id -un") echo ann ;;
  "id -F") echo "Ann Lee" ;;
  hostname*) echo anns-mac ;;
  "scutil --get ComputerName") echo "Ann's Mac" ;;
  "scutil --get LocalHostName") echo Anns-Mac-7 ;;
  "scutil --get HostName") echo mac.lee.example ;;
  "brew list googletest") [ ! -e "$STATE/no-googletest" ] ;;
  sleep*) exec /bin/sleep 0.1 ;;
esac
"""
# Those that need more than a line: python.
DEFAULTS = r"""
import os, plistlib, sys
verb, domain, *rest = sys.argv[1:]
disk = os.environ["DISK"]
path = (domain if domain.startswith("/") else
        f"{disk}/Library/WebServer/Library/Preferences/{domain}") + ".plist"
assert domain.startswith(disk) or os.environ["AS_USER"] == "_www"
if os.path.exists(f"{os.environ['STATE']}/fail defaults {verb}"):
    sys.exit(1)
values = {}
if os.path.exists(path):
    with open(path, "rb") as file:
        values = plistlib.load(file)
elif verb in ("read", "delete"):
    sys.exit("Domain does not exist")
if verb == "export":
    sys.stdout.buffer.write(plistlib.dumps(values))
if verb == "read":
    print(values)
if verb == "write":
    key, kind, value = rest
    assert kind == "-string"
    values[key] = value
if verb == "delete":
    values = {}
if verb == "import":
    assert rest == ["-"]  # the user may not be able to open a file
    values.update(plistlib.load(sys.stdin.buffer))
if verb in ("write", "delete", "import"):
    with open(path, "wb") as file:
        plistlib.dump(values, file)
    os.chmod(path, 0o600)
"""
LS = r"""
import os, stat, sys
if not sys.argv[1].startswith("-"):
    print(*os.listdir(sys.argv[1]), sep="\n")
    sys.exit()
for path in sys.argv[2:]:
    print(stat.filemode(os.stat(path).st_mode), " 1 root  wheel  1 Jan  1 00:00", path)
"""
FAKE_BRIDGE = r"""
import os, plistlib, sys
DISK, STATE = {disk!r}, {state!r}
values = {{}}
for path in {all_users!r}, {www!r}:
    if os.path.exists(f"{{DISK}}/{{path}}"):
        with open(f"{{DISK}}/{{path}}", "rb") as file:
            values.update(plistlib.load(file))
port = values.get("QZQuintoraServerPort", 8080)
if os.path.exists(STATE + "/heeds-arguments") and len(sys.argv) > 1:
    port = sys.argv[2]
print("Content-Type: text/html\n")
if "SERVER_ADMIN" in os.environ:
    print("<td>SERVER_ADMIN<td>ann.lee+web@mail.example")
if "Apple" in values.get("QZCGIConnectionProtocol", ""):
    print("Quintora CGI error -600 returned by AESendMessage()")
elif os.path.exists(STATE + "/server"):
    print(f"in <b>tunnel</b> mode, port {{port}}")
else:
    print(f"CGI tunnel request error:127.0.0.1 port {{port}} refused the connection.")
"""
FAKE_DOCTOR = """#!/bin/sh
"$2"
[ -e {state}/server ]
"""
SERVER = """
import os, signal, sys
path = os.environ["STATE"] + "/server"
open(path, "w").close()
signal.signal(signal.SIGTERM, lambda *_: (os.remove(path), sys.exit()))
print("listening on 127.0.0.1 port", sys.argv[2], flush=True)
signal.pause()
"""
FAILURES = (("productbuild --distribution", "pkgutil --files", "defaults export"),
            ("installer -pkg", "apachectl restart", "curl -si"),
            ("apachectl configtest", "dscl .", "defaults write", "xattr -l"))


class ReportTest(CopyOfTheTree):
    def setUp(self):
        super().setUp()
        self.add_stand_ins()
        self.add_disk()
        self.state = self.folder / "state"
        self.fakes = self.folder / "fakes"
        for folder in self.state, self.fakes:
            folder.mkdir()
        for name, text in (("apache-at-start", "disabled\n"), ("attributes", ""),
                           ("abnormal-status", "500 Internal Server Error"),
                           ("tests", "Test #1: extras.Case\n")):
            (self.state / name).write_text(text)
        self.add_system()
        self.add_product()
        self.report_file = self.folder / "report.txt"

    def add_disk(self):
        self.disk = self.folder / "disk"
        for name in ("Library/WebServer/CGI-Executables", "Library/Preferences", CRASH_REPORTS,
                     "etc/apache2/other", "usr", "tmp"):
            (self.disk / name).mkdir(parents=True)
        (self.disk / "etc/apache2/httpd.conf").write_text(HTTPD_CONF)

    def add_system(self):
        for tool in ("basename", "bash", "chmod", "cksum", "cp", "diff", "find", "mv", "rmdir",
                     "sh", "tail", "tee", "test", "touch", "true", "uname", *ORDINARY_TOOLS):
            if not (self.tools / tool).exists():
                (self.tools / tool).symlink_to(shutil.which(tool))
        for tool in ("sudo c++ installer pkgutil launchctl apachectl dscl curl otool xattr ctest "
                     "man id hostname scutil sleep stat sw_vers sysctl csrutil xcode-select xcodebuild "
                     "httpd chown log productbuild ninja brew").split():
            self.add_program(self.tools / tool, TOOLS)
        for tool, text in ("defaults", DEFAULTS), ("ls", LS):
            self.add_program(self.tools / tool, f"#!{sys.executable}\n{text}")

    def add_product(self):
        self.add_program(self.fakes / "bridge", f"#!{sys.executable}\n" + FAKE_BRIDGE.format(
            disk=str(self.disk), state=str(self.state), all_users=ALL_USERS, www=WWW))
        self.add_program(self.fakes / "doctor", FAKE_DOCTOR.format(state=self.state))
        (self.tree / "examples").mkdir(exist_ok=True)
        (self.tree / "examples/quintora_server.py").write_text(SERVER)
        self.add_program(self.tree / "script/test", """#!/bin/sh
echo "$HOME of Ann Lee (ann) on anns-mac passed"
echo "on Anns-Mac-7.local and mac.lee.example, a.lee+x@mail.example: end"
""")
        self.add_program(self.tree / "script/demo",
                         "#!/bin/sh\necho 'The request came in tunnel mode'\n")

    def add_program(self, path, text):
        path.unlink(missing_ok=True)
        path.write_text(text)
        path.chmod(0o755)

    def environment(self):
        return {"PATH": str(self.tools), "CALLS": str(self.calls_file), "TREE": str(self.tree),
                "ANSWERS": str(self.answers), "STATE": str(self.state), "STARTS": "2",
                "FAKES": str(self.fakes), "DISK": str(self.disk), "HOME": str(self.folder)}

    def start(self, **environment):
        return subprocess.Popen(
            [self.macos / "report", self.report_file], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", cwd=self.folder,
            env={**self.environment(), **environment}, start_new_session=True)

    def run_report(self, **environment):
        with self.start(**environment) as process:
            said = process.communicate(timeout=PATIENCE)[0]
        self.text = self.report_file.read_text() if self.report_file.exists() else ""
        return process.returncode, said

    def verdicts(self):
        return dict(re.findall(r"^=== (.*)\n(?:(?!===).*\n)*?Verdict: (.*)$", self.text,
                               re.MULTILINE))

    def whole_state(self):
        """All the state that a Mac would keep, except for the report's own files."""
        found = {}
        for folder in self.disk, self.state:
            for path in sorted(folder.rglob("*")):
                held = path.read_bytes() if path.is_file() else None
                if path.suffix == ".plist":
                    held = plistlib.loads(held)
                found[str(path.relative_to(self.folder))] = path.stat().st_mode, held
        for name in "restarted", "held", "refreshed":
            found.pop(f"state/{name}", None)
        return found

    def install_by_hand(self):
        for path, fake in (BRIDGE, "bridge"), (DOCTOR, "doctor"):
            target = pathlib.Path(f"{self.disk}{path}")
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(self.fakes / fake, target)

    def write_preferences(self, path, mode, **values):
        (self.disk / path).parent.mkdir(parents=True, exist_ok=True)
        (self.disk / path).write_bytes(plistlib.dumps(values))
        (self.disk / path).chmod(mode)


class GoodMacTest(ReportTest):
    def test_every_row_is_as_expected_and_all_is_put_back(self):
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual(0, status, said + self.text)
        verdicts = self.verdicts()
        self.assertGreaterEqual(len(verdicts), 20)
        undecided = {"the system", "responsible process", "starts in apple event mode"}
        for name, verdict in verdicts.items():
            with self.subTest(name):
                self.assertEqual("to be read" if name in undecided else "as expected", verdict)
        self.assertEqual(before, self.whole_state())
        self.assertTrue((self.state / "restarted").exists())

        with self.subTest("commands, expectations and what came"):
            self.assertIn(f"$ sudo -u _www env -i ~/disk{BRIDGE} -QZQuintoraServerPort 25\n"
                          "Content-Type: text/html\n\nCGI tunnel request error:127.0.0.1 port "
                          "47812 refused", self.text)
            self.assertIn("Expected: the sentence names port 47812, not 25", self.text)
        with self.subTest("times of each mode and of the two programs"):
            self.assertEqual(4, len(re.findall(r"^\d+[.]\d+ seconds for 2 starts$", self.text,
                                               re.MULTILINE)))
            self.assertEqual(4, len(re.findall(r"^[$] time_starts ", self.text, re.MULTILINE)))
        with self.subTest("no names"):
            self.assertIn("~ of NAME (NAME) on NAME passed", self.text)
            self.assertIn("on NAME.local and NAME, ADDRESS: end", self.text)
            self.assertNotIn("SERVER_ADMIN", self.text)
            for name in str(self.folder), "ann", "Ann", "anns-mac":
                self.assertNotRegex(self.text, rf"(?<!\w){re.escape(name)}(?!\w)")
        with self.subTest("what needs hands"):
            page = re.search(r'Left to do by hand: the list "By hand" in (\S+)[.]\n\Z', self.text)[1]
            self.assertRegex((self.tree / page).read_text(), r"\n## By hand\n\n.+\n\n([|].*\n){7,}")

    def test_what_was_there_before_is_there_afterwards(self):
        self.install_by_hand()
        (self.state / "apache-runs").touch()
        (self.state / "apache-at-start").write_text("enabled\n")
        self.write_preferences(ALL_USERS, 0o664, QZQuintoraServerPort="9000", Licence="secret")
        self.write_preferences(WWW, 0o600, QZQuintoraCloudServerPorts="a:1")
        (self.disk / CRASH_REPORTS / "Quintora.cgi-2025.ips").touch()
        package = self.tree / "build/macos/Quintora-1.2.3.pkg"
        package.parent.mkdir(parents=True)
        package.write_text("notarised")
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual(0, status, said + self.text)
        self.assertEqual("left out: something is installed already; the other rows use that",
                         self.verdicts()["the installation"])
        self.assertEqual(before, self.whole_state())
        self.assertEqual("notarised", package.read_text())
        self.assertNotIn("secret", self.text)

    def test_folders_get_their_modes_back(self):
        (self.disk / "Library/WebServer").chmod(0o775)
        (self.state / "installer-changes-modes").touch()
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual((1, "NOT AS EXPECTED"), (status, self.verdicts()["the installation"]),
                         said)
        self.assertEqual(before, self.whole_state())

    def test_a_newer_compiler_builds_for_its_oldest_system_unless_another_is_asked_for(self):
        self.add_program(self.tools / "c++", TOOLS.replace("version 13.1.6", "version 16.0.0"))
        for asked, minimum in (({}, "10.13"), ({"MINIMUM_SYSTEM": "12.0"}, "12.0"),
                               ({"MINIMUM_SYSTEM": "12"}, "12.0")):
            with self.subTest(asked=asked):
                self.answer_minimum(minimum, "12.0" if asked else "11.0")
                self.run_report(**asked)
                self.assertEqual("as expected", self.verdicts()["the build"], self.text)
                self.assertIn(f"for macOS {minimum} and later", self.text)

    def test_nothing_is_signed_with_an_identity_or_sent(self):
        self.run_report(SIGN_IDENTITY="Ann", INSTALLER_IDENTITY="Ann", NOTARY_PROFILE="ann")
        self.assertEqual([], self.calls("xcrun"))
        self.assertEqual({"-"}, {call[7] for call in self.calls("codesign", "--force")})


class OddMacTest(ReportTest):
    def test_what_is_otherwise_is_said(self):
        (self.disk / "etc/apache2/httpd.conf").write_text(HTTPD_CONF.replace("#Load", "Load"))
        (self.state / "attributes").write_text("Quintora.cgi: com.apple.quarantine: 0081\n")
        (self.state / "heeds-arguments").touch()
        (self.state / "abnormal-status").write_text("200 OK")
        (self.state / "tests").write_text("Test #1: end_to_end_run\n")
        self.add_program(self.tree / "script/demo", "#!/bin/sh\necho no page\n")
        self.add_program(self.tools / "productbuild", """#!/bin/sh
            echo 'warning: old'
            for package; do :; done
            echo new >"$package"
            """)
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual(1, status, said)
        wrong = {name for name, verdict in self.verdicts().items() if verdict == "NOT AS EXPECTED"}
        self.assertLessEqual(
            {"apache as delivered", "no quarantine", "arguments are no preferences",
             "an abnormal end", "the tests", "the demo", "the build"}, wrong)
        self.assertEqual(before, self.whole_state())

    def test_all_is_put_back_whatever_fails(self):
        self.write_preferences(ALL_USERS, 0o644, QZQuintoraServerPort="9000")
        for commands in FAILURES:
            with self.subTest(commands):
                failures = [self.state / f"fail {command}" for command in commands]
                for failure in failures:
                    failure.touch()
                before = self.whole_state()
                status, said = self.run_report()
                self.assertEqual(1, status, said)
                self.assertEqual(before, self.whole_state())
                for failure in failures:
                    failure.unlink()

    def test_without_sudo_nothing_is_begun(self):
        (self.state / "fail sudo -v").touch()
        status, said = self.run_report()
        self.assertEqual((1, "The report needs sudo.\n"), (status, said))
        self.assertFalse(self.report_file.exists())

    def test_what_cannot_be_put_back_is_said_and_what_was_saved_is_kept(self):
        self.write_preferences(ALL_USERS, 0o644, QZQuintoraServerPort="9000")
        (self.state / "fail defaults import").touch()
        status, said = self.run_report()
        self.assertEqual(1, status)
        self.assertIn("This could not be undone: sudo -H -u root defaults import", self.text)
        self.assertIn("This is not as it was before.", self.text)
        kept = re.search(r"what was saved is in (.*)[.]$", said, re.MULTILINE)[1]
        self.assertEqual({"QZQuintoraServerPort": "9000"},
                         plistlib.loads(pathlib.Path(kept, "root.plist").read_bytes()))

    def test_what_is_saved_is_for_nobody_else_to_read(self):
        self.write_preferences(ALL_USERS, 0o644, Licence="secret")
        self.write_preferences(WWW, 0o600, Licence="secret")
        (self.state / "fail defaults import").touch()
        said = self.run_report()[1]
        kept = pathlib.Path(re.search(r"what was saved is in (.*)[.]$", said, re.MULTILINE)[1])
        self.assertEqual(0o711, kept.stat().st_mode & 0o777)
        for path in kept.iterdir():
            with self.subTest(path.name):
                program = path.name.startswith("Core")
                self.assertEqual(0o055 if program else 0, path.stat().st_mode & 0o077)
        self.assertLess({"root.plist", "_www.plist", "gathered", "came", "CoreServices"},
                        {path.name for path in kept.iterdir()})

    def test_what_rows_make_has_the_usual_modes(self):
        self.add_program(self.tree / "script/demo", "#!/bin/sh\ntouch made\numask\n")
        self.run_report()
        umask = os.umask(0)
        os.umask(umask)
        self.assertRegex(self.text, rf"script/demo'\n{umask:04o}\n")

    def test_preferences_that_others_may_not_read_are_left_alone(self):
        self.write_preferences(ALL_USERS, 0o600, QZQuintoraServerPort="9000")
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual(0, status, said + self.text)
        verdicts = self.verdicts()
        for name in ("preferences of all users", "an event from apache", "starts in tunnel mode"):
            self.assertEqual("left out: the present preferences are not for everybody to read",
                             verdicts[name])
        self.assertEqual("as expected", verdicts["preferences of www"])
        self.assertNotIn("chmod 644", self.text)
        self.assertNotIn(f"defaults write ~/disk/{ALL_USERS[:-6]}", self.text)
        self.assertEqual(before, self.whole_state())

    def assert_left_out(self, reason, *names):
        verdicts = self.verdicts()
        for name in names:
            self.assertEqual("left out: " + reason, verdicts[name], name)

    def test_apache_is_left_alone_where_it_does_not_accept_its_own_configuration(self):
        (self.state / "apache-runs").touch()
        (self.state / "fail apachectl configtest").touch()
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual(0, status, said + self.text)
        self.assert_left_out("Apache does not accept the configuration that it has",
                             "apache at work")
        self.assert_left_out("Apache does not run with the report's configuration",
                             "a page by apache", "an abnormal end", "an event from apache",
                             "responsible process")
        self.assertNotIn(CONFIGURATION, self.text)
        self.assertFalse((self.state / "restarted").exists())
        self.assertEqual(before, self.whole_state())

    def test_no_restart_with_a_configuration_that_is_not_accepted(self):
        (self.state / "refuses").touch()
        status, said = self.run_report()
        self.assertEqual((1, "NOT AS EXPECTED"), (status, self.verdicts()["apache at work"]), said)
        self.assert_left_out("Apache does not run with the report's configuration",
                             "a page by apache")
        self.assertFalse((self.state / "restarted").exists())

    def test_rows_that_need_a_package_are_left_out_without_one(self):
        (self.state / "fail productbuild --distribution").touch()
        before = self.whole_state()
        status, said = self.run_report()
        self.assertEqual((1, "NOT AS EXPECTED"), (status, self.verdicts()["the build"]), said)
        self.assert_left_out("there is no package", "the installation")
        self.assert_left_out("the programs are not installed", "no quarantine", "apache at work",
                             "preferences of all users", "preferences of www",
                             "arguments are no preferences", "the doctor without a server",
                             "starts in apple event mode", "starts in tunnel mode")
        self.assertEqual(before, self.whole_state())

    def test_what_could_not_be_redacted_is_kept_and_said(self):
        self.add_program(self.tools / "python3", f"""#!/bin/sh
            case "$2" in *sys.stdin.buffer*) exit 1 ;; *) exec {sys.executable} "$@" ;; esac""")
        status, said = self.run_report()
        self.assertEqual((1, ""), (status, self.text))
        self.assertIn("Names could not be replaced: what was gathered is not in the report.", said)
        kept = re.search(r"what was saved is in (.*)[.]$", said, re.MULTILINE)[1]
        gathered = pathlib.Path(kept, "gathered").read_text()
        self.assertIn("=== the system\n", gathered)
        self.assertIn("=== summary\n", gathered)

    def test_sudo_is_refreshed_until_the_end(self):
        self.run_report()
        (self.state / "refreshed").unlink()
        time.sleep(0.5)
        self.assertFalse((self.state / "refreshed").exists())

    def test_what_building_needs_is_asked_for_before_anything(self):
        (self.tools / "ninja").unlink()
        (self.state / "no-googletest").touch()
        status, said = self.run_report()
        self.assertEqual(1, status)
        self.assertIn("ninja: brew install ninja\n", said)
        self.assertIn("GoogleTest: brew install googletest\n", said)
        self.assertFalse(self.report_file.exists())

    def test_elsewhere_it_says_what_is_missing(self):
        (self.tools / "launchctl").unlink()
        status, said = self.run_report()
        self.assertEqual(1, status)
        self.assertTrue(said.startswith("launchctl is missing. It comes with macOS"), said)


class InterruptTest(ReportTest):
    def interrupt(self, command, number):
        """The report is at this command, a child of it, when both get the signal."""
        hold = self.state / f"hold {command}"
        hold.touch()
        before = self.whole_state()
        with self.start() as process:
            deadline = time.monotonic() + PATIENCE
            while not (self.state / "held").exists() and process.poll() is None:
                self.assertLess(time.monotonic(), deadline, "It does not come that far.")
                time.sleep(0.05)
            os.killpg(process.pid, number)
            said = process.communicate(timeout=PATIENCE)[0]
        self.text = self.report_file.read_text()
        self.assertEqual(1, process.returncode, said)
        self.assertIn("The report was interrupted here.", self.text)
        self.assertIn("Left to do by hand:", self.text)
        self.assertEqual(before, self.whole_state())
        (self.state / "held").unlink()
        hold.unlink()

    def test_all_is_put_back_and_stopped(self):
        for command, number in (("installer -pkg", signal.SIGTERM), ("dscl .", signal.SIGINT),
                                ("apachectl restart", signal.SIGHUP),
                                ("curl -si", signal.SIGINT)):
            with self.subTest(command=command, signal=number.name):
                self.interrupt(command, number)


if __name__ == "__main__":
    unittest.main()
