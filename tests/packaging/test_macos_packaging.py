"""The scripts of packaging/macos, in a copy of the tree, with stand-ins for the tools of macOS.

The stand-ins record their arguments and print texts like those of the tools, so the tests run on
every system, including a Mac, and sign and send nothing.
"""
import json
import os
import pathlib
import plistlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from tests.packaging.test_install import example_files

ROOT = pathlib.Path(__file__).resolve().parents[2]
AUTOMATION = "com.apple.security.automation.apple-events"
BRIDGE = "/Library/WebServer/CGI-Executables/Quintora.cgi"
DOCTOR = "/usr/local/bin/quintora-doctor"
DOCUMENTATION = "/Library/Documentation/Quintora/"
ORDINARY_TOOLS = ("awk", "cat", "dirname", "echo", "env", "grep", "install", "mkdir", "mktemp",
                  "python3", "rm", "sed", "sort", "xargs")
TOOLS_OF_MACOS = "codesign", "lipo", "otool", "pkgbuild", "productbuild", "xcrun"
ALL_KEYS = ("CFBundleIdentifier CFBundleInfoDictionaryVersion CFBundleName "
            "CFBundleShortVersionString CFBundleVersion LSMinimumSystemVersion "
            "NSAppleEventsUsageDescription")
CREDENTIALS = {"SIGN_IDENTITY": "Developer ID Application: Ann (TEAM)",
               "INSTALLER_IDENTITY": "Developer ID Installer: Ann (TEAM)",
               "NOTARY_PROFILE": "ann"}

# A slice that lipo cuts out is a file that holds the name of its processor, and so is the program
# itself; a file of the folder ANSWERS with that name and the option is what otool prints.
STAND_IN = r"""#!/bin/sh
tool=${0##*/}
{ printf '%s' "$tool"; printf '|%s' "$@"; echo; } >>"$CALLS"
case "$tool $*" in
  "lipo -archs "*) cat "$ANSWERS/archs" ;;
  lipo*) echo "$3" >"$5" ;;
  otool*) cat "$ANSWERS/$(cat "$2")$1" ;;
  "codesign --verify"*) [ ! -e "$ANSWERS/${4##*/}-does-not-hold" ] ;;
  "codesign --display --verbose"*) cat "$ANSWERS/signature" >&2 ;;
  "codesign --display --entitlements - --xml"*) cat "$ANSWERS/entitlements-xml" || exit 2 ;;
  "codesign --display --entitlements :-"*) cat "$ANSWERS/entitlements" ;;
  "cmake --build"*)
    mkdir -p build/macos && cd build/macos && echo x86_64 >Quintora.cgi && echo new >quintora-doctor
    ;;
esac
"""
# As on a Mac: without developer tools there is no folder to print.
XCODE_SELECT = """#!/bin/sh
[ "$*" = -p ] && cat "$ANSWERS/developer-folder"
"""
X86_64_COMMANDS = """Load command 8
      cmd LC_VERSION_MIN_MACOSX
  cmdsize 16
  version 10.11
      sdk 12.3
Load command 9
      cmd LC_SOURCE_VERSION
  cmdsize 16
  version 0.0
"""
ARM64_COMMANDS = """Load command 8
      cmd LC_BUILD_VERSION
  cmdsize 32
 platform 1
    minos 11.0
      sdk 12.3
   ntools 1
     tool 3
  version 764.0
Load command 9
      cmd LC_SOURCE_VERSION
  cmdsize 16
  version 0.0
"""
FRAMEWORKS = "/System/Library/Frameworks/"
LIBRARIES = ("/usr/lib/libSystem.B.dylib", "/usr/lib/libc++.1.dylib",
             FRAMEWORKS + "CoreFoundation.framework/Versions/A/CoreFoundation")
CORE_SERVICES = FRAMEWORKS + "CoreServices.framework/Versions/A/CoreServices"
SIGNATURE = """Executable=Quintora.cgi
Identifier=com.quintora.Quintora-CGI
CodeDirectory v=20500 size=764 flags=0x10000(runtime) hashes=13+7 location=embedded
Timestamp=1 Jan 2022 at 12:00:00
"""


def libraries(*paths):
    return "slice:\n" + "".join(
        f"\t{path} (compatibility version 1.0.0, current version 1.0.0)\n" for path in paths)


def project_version():
    return re.search(r"project\(Quintora VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]


def info_plist(**changes):
    """The property list as the build would write it, without the keys that change to None."""
    plist = plistlib.loads((ROOT / "packaging/macos/Info.plist.in").read_bytes())
    plist.update({"CFBundleVersion": "1.2.3", "CFBundleShortVersionString": "1.2.3",
                  "LSMinimumSystemVersion": "10.11", **changes})
    return plistlib.dumps({key: value for key, value in plist.items() if value is not None})


def missing(tool):
    return (f"{tool} is missing. It comes with macOS and Xcode: run this on a Mac; there, "
            "xcode-select --install installs what only Xcode has.")


class CopyOfTheTree(unittest.TestCase):
    """A copy of what is shipped, and a PATH without tools of macOS other than the stand-ins."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        self.tree = self.folder / "tree"
        for name in "packaging", "docs", "examples":
            shutil.copytree(ROOT / name, self.tree / name)
        (self.tree / "script").mkdir()
        for name in "README.md", "CHANGELOG.md", "CONTRIBUTING.md", "script/lib.sh":
            shutil.copy(ROOT / name, self.tree / name)
        self.macos = self.tree / "packaging/macos"
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        (self.tools / "bash").symlink_to("/bin/bash")  # on a Mac the old one
        for tool in ORDINARY_TOOLS:
            (self.tools / tool).symlink_to(
                sys.executable if tool == "python3" else shutil.which(tool))
        self.calls_file = self.folder / "calls"
        self.answers = self.folder / "answers"
        self.binary = self.folder / "Quintora.cgi"
        self.binary.write_text("x86_64\n")
        self.doctor = self.folder / "quintora-doctor"
        self.doctor.write_text("the doctor\n")

    def add_stand_ins(self):
        for tool in (*TOOLS_OF_MACOS, "cmake"):
            (self.tools / tool).write_text(STAND_IN)
            (self.tools / tool).chmod(0o755)
        self.answers.mkdir()
        entitlements = (ROOT / "packaging/macos/Quintora.entitlements").read_text()
        self.answer("archs", "x86_64 arm64 \n")
        self.answer("x86_64-l", X86_64_COMMANDS)
        self.answer("arm64-l", ARM64_COMMANDS)
        self.answer("signature", SIGNATURE)
        self.answer("entitlements-xml", entitlements)
        for processor in "x86_64", "arm64":
            self.answer(processor + "-L", libraries(*LIBRARIES))
            self.answer_info_plist(processor, info_plist())

    def answer(self, name, text):
        (self.answers / name).write_text(text)

    def answer_info_plist(self, processor, plist):
        self.answer(processor + "-P",
                    "Contents of (__TEXT,__info_plist) section\n" + plist.decode() * 2)

    def answer_minimum(self, x86_64, arm64):
        """The programs are for these systems, and say so."""
        self.answer("x86_64-l", X86_64_COMMANDS.replace("10.11", x86_64))
        self.answer("arm64-l", ARM64_COMMANDS.replace("minos 11.0", f"minos {arm64}"))
        for processor in "x86_64", "arm64":
            self.answer_info_plist(processor, info_plist(LSMinimumSystemVersion=x86_64))

    def run_script(self, name, *arguments, **environment):
        return subprocess.run(
            [self.macos / name, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            encoding="utf-8", timeout=60, check=False, cwd=self.folder,
            env={"PATH": str(self.tools), "CALLS": str(self.calls_file),
                 "ANSWERS": str(self.answers), **environment})

    def calls(self, *beginning):
        """The arguments of the calls that begin like this, the tool's name first."""
        calls = [line.split("|") for line in self.calls_file.read_text().splitlines()]
        return [call for call in calls if tuple(call[:len(beginning)]) == beginning]

    def assert_done(self, run):
        self.assertEqual((0, ""), (run.returncode, run.stderr), run.stdout)

    def assert_stopped(self, run, sentence):
        self.assertEqual((1, sentence + "\n"), (run.returncode, run.stderr), run.stdout)


class PropertyListTest(unittest.TestCase):
    def test_entitlements_grant_apple_events_and_nothing_else(self):
        self.assertEqual(
            {AUTOMATION: True},
            plistlib.loads((ROOT / "packaging/macos/Quintora.entitlements").read_bytes()))

    def test_preset_makes_a_universal_binary_for_the_system_that_verify_expects(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
        preset = next(preset for preset in presets if preset["name"] == "macos")
        lib = (ROOT / "packaging/macos/lib.sh").read_text()
        self.assertEqual(
            {"CMAKE_OSX_ARCHITECTURES": "x86_64;arm64",
             "CMAKE_OSX_DEPLOYMENT_TARGET": re.search(r"{MINIMUM_SYSTEM:-(.*)}", lib)[1]},
            preset["cacheVariables"])

    def test_build_fills_in_the_versions_and_embeds_the_plist_in_each_program(self):
        with tempfile.TemporaryDirectory() as folder:
            build = pathlib.Path(folder).resolve()
            # Nothing is compiled: the project is only configured, on every system as on a Mac.
            (build / "mac.cmake").write_text("set(APPLE TRUE)\n")
            run = subprocess.run(["cmake", "-G", "Ninja", "-S", ROOT, "-B", build,
                                  "-DCMAKE_OSX_DEPLOYMENT_TARGET=10.13",
                                  f"-DCMAKE_PROJECT_INCLUDE={build}/mac.cmake"],
                                 capture_output=True, text=True, timeout=120, check=False)
            self.assertEqual(0, run.returncode, run.stderr)
            written = build / "Info.plist"
            plist = plistlib.loads(written.read_bytes())
            self.assertEqual([project_version()] * 2,
                             [plist["CFBundleVersion"], plist["CFBundleShortVersionString"]])
            self.assertEqual("10.13", plist["LSMinimumSystemVersion"])
            self.assertNotIn("@", written.read_text())
            for program in BRIDGE, DOCTOR:
                link = re.search(rf"^build {os.path.basename(program)}: (?:.+\n)+",
                                 (build / "build.ninja").read_text(), re.MULTILINE)
                self.assertIn(f"-Wl,-sectcreate,__TEXT,__info_plist,{written}", link[0])


class DryRunTest(CopyOfTheTree):
    def test_names_every_file_and_each_exists(self):
        run = self.run_script("package", "--dry-run", self.binary)
        self.assert_done(run)
        shipped = dict(line.split(" -> ") for line in run.stdout.splitlines())
        self.assertEqual((BRIDGE, DOCTOR),
                         (shipped.pop(str(self.binary)), shipped.pop(str(self.doctor))))
        documents = {"README.md", "CHANGELOG.md", "CONTRIBUTING.md"} | {
            f"docs/{path.name}" for path in (ROOT / "docs").glob("*.*")} | {
            f"examples/{name}" for name in example_files()}
        pages = {f"docs/man/{path.name}": f"/usr/local/share/man/man{path.suffix[1:]}/{path.name}"
                 for path in (ROOT / "docs/man").iterdir()}
        self.assertEqual({**{name: DOCUMENTATION + name for name in documents}, **pages}, shipped)
        for name in shipped:
            self.assertTrue((self.tree / name).is_file(), name)

    def test_says_where_programs_that_are_not_built_come_from(self):
        run = self.run_script("package", "--dry-run")
        self.assert_done(run)
        for program in BRIDGE, DOCTOR:
            self.assertIn(f"what the preset macos builds -> {program}\n", run.stdout)

    def test_leaves_the_tree_alone(self):
        before = sorted(self.tree.rglob("*"))
        self.assert_done(self.run_script("package", "--dry-run"))
        self.assertEqual(before, sorted(self.tree.rglob("*")))

    def test_stops_at_a_missing_file(self):
        for name in "docs/man/quintora-doctor.1", "docs/tunnel.md":
            with self.subTest(name=name):
                (self.tree / name).unlink()
                self.assert_stopped(self.run_script("package", "--dry-run"), f"{name} is missing.")

    def test_stops_at_a_missing_program(self):
        for program in self.doctor, self.binary:
            with self.subTest(program=program.name):
                program.unlink()
                self.assert_stopped(self.run_script("package", "--dry-run", self.binary),
                                    f"{program} is missing.")

    def test_stops_at_a_property_list_that_is_none(self):
        (self.macos / "Info.plist.in").write_text("<plist><dict></plist>")
        self.assert_stopped(self.run_script("package", "--dry-run"),
                            "packaging/macos/Info.plist.in is no property list with values for "
                            f"{ALL_KEYS}.")

    def test_stops_at_each_key_that_is_missing_or_empty(self):
        for key in ALL_KEYS.split():
            for value in None, "":
                with self.subTest(key=key, value=value):
                    (self.macos / "Info.plist.in").write_bytes(info_plist(**{key: value}))
                    self.assert_stopped(
                        self.run_script("package", "--dry-run"),
                        f"packaging/macos/Info.plist.in is no property list with values for {key}.")

    def test_stops_at_entitlements_that_do_not_grant_apple_events(self):
        for text in "", "<plist><dict/></plist>", plistlib.dumps({AUTOMATION: False}).decode():
            with self.subTest(text=text):
                (self.macos / "Quintora.entitlements").write_text(text)
                self.assert_stopped(
                    self.run_script("package", "--dry-run"),
                    f"packaging/macos/Quintora.entitlements does not grant {AUTOMATION}.")


class PackageTest(CopyOfTheTree):
    def setUp(self):
        super().setUp()
        self.add_stand_ins()
        self.staged = self.tree / "build/macos/package"
        self.parts = self.tree / "build/macos/package-parts"
        self.package = self.tree / "build/macos/Quintora-1.2.3.pkg"

    def test_names_the_tool_that_is_missing(self):
        for tool in TOOLS_OF_MACOS:
            with self.subTest(tool=tool):
                hidden = (self.tools / tool).rename(self.folder / tool)
                self.assert_stopped(
                    self.run_script("package", self.binary, **CREDENTIALS),
                    missing(tool))
                hidden.rename(self.tools / tool)

    def test_takes_the_stubs_of_a_mac_without_developer_tools_for_none(self):
        xcode_select = self.tools / "xcode-select"
        xcode_select.write_text(XCODE_SELECT)
        xcode_select.chmod(0o755)
        self.assert_stopped(self.run_script("verify", self.binary), missing("lipo"))
        self.answer("developer-folder", "/Library/Developer/CommandLineTools\n")
        self.assert_done(self.run_script("verify", self.binary))

    def test_without_an_identity_the_signatures_are_ad_hoc_and_have_no_time_stamp(self):
        run = self.run_script("package", self.binary)
        self.assert_done(run)
        self.assertEqual(
            [["codesign", "--force", "--options", "runtime",
              "--entitlements", str(self.macos / "Quintora.entitlements"), "--sign", "-",
              f"{self.staged}{program}"] for program in (BRIDGE, DOCTOR)],
            self.calls("codesign", "--force"))

    def test_with_an_identity_the_signatures_have_a_time_stamp(self):
        self.assert_done(self.run_script("package", self.binary, SIGN_IDENTITY="Ann (TEAM)"))
        self.assertEqual(
            [["--sign", "Ann (TEAM)", "--timestamp", f"{self.staged}{program}"]
             for program in (BRIDGE, DOCTOR)],
            [call[-4:] for call in self.calls("codesign", "--force")])

    def test_packages_the_staged_files_under_the_version_inside_the_program(self):
        run = self.run_script("package", self.binary)
        self.assert_done(run)
        self.assertEqual(
            [["pkgbuild", "--root", str(self.staged), "--install-location", "/",
              "--ownership", "recommended", "--identifier", "com.quintora.Quintora-CGI.pkg",
              "--version", "1.2.3", f"{self.parts}/Quintora-CGI.pkg"]],
            self.calls("pkgbuild"))
        self.assertEqual(
            [["productbuild", "--distribution", f"{self.parts}/Distribution.xml",
              "--package-path", str(self.parts), str(self.package)]],
            self.calls("productbuild"))
        self.assertIn(f"{self.package} is ready, for macOS 10.11 and later.\n", run.stdout)

    def test_the_package_is_for_both_processors_and_for_the_minimum_system(self):
        self.answer_minimum("10.13", "11.0")
        self.assert_done(self.run_script("package", self.binary, MINIMUM_SYSTEM="10.13"))
        distribution = xml.etree.ElementTree.parse(self.parts / "Distribution.xml").getroot()
        self.assertEqual("x86_64,arm64", distribution.find("options").get("hostArchitectures"))
        self.assertEqual(["10.13"], [version.get("min") for version in distribution.findall(
            "volume-check/allowed-os-versions/os-version")])
        component = distribution.find("pkg-ref")
        self.assertEqual(("1.2.3", "Quintora-CGI.pkg"), (component.get("version"), component.text))
        self.assertEqual([component.get("id")], [call[8] for call in self.calls("pkgbuild")])
        choice = distribution.find("choice")
        self.assertEqual((component.get("id"), choice.get("id")),
                         (choice.find("pkg-ref").get("id"),
                          distribution.find("choices-outline/line").get("choice")))

    def test_another_minimum_system_reaches_the_build_and_the_result(self):
        self.answer_minimum("10.13", "11.0")
        run = self.run_script("package", MINIMUM_SYSTEM="10.13")
        self.assert_done(run)
        self.assertIn(["cmake", "--preset", "macos", "-DCMAKE_OSX_DEPLOYMENT_TARGET=10.13"],
                      self.calls("cmake"))
        self.assertIn(f"{self.package} is ready, for macOS 10.13 and later.\n", run.stdout)

    def test_stages_what_the_dry_run_names_with_the_modes_of_the_disk(self):
        listed = self.run_script("package", "--dry-run", self.binary).stdout.splitlines()
        (self.staged / "Library/left-over").mkdir(parents=True)
        self.assert_done(self.run_script("package", self.binary))
        staged = {str(path)[len(str(self.staged)):]: stat.S_IMODE(path.stat().st_mode)
                  for path in self.staged.rglob("*")}
        files = {line.split(" -> ")[1] for line in listed}
        self.assertEqual(
            {**{path: 0o644 for path in files}, BRIDGE: 0o755, DOCTOR: 0o755},
            {path: mode for path, mode in staged.items() if path in files})
        for line in listed:
            source, target = line.split(" -> ")
            self.assertEqual((self.tree / source).read_bytes(),
                             pathlib.Path(f"{self.staged}{target}").read_bytes(), target)
        self.assertEqual({0o755}, {staged[path] for path in staged.keys() - files})
        self.assertNotIn("/Library/left-over", staged)

    def test_signs_verifies_and_packages_in_this_order_and_sends_nothing_unasked(self):
        self.assert_done(self.run_script("package", self.binary))
        bridge, doctor = f"{self.staged}{BRIDGE}", f"{self.staged}{DOCTOR}"
        self.assertEqual(
            [("--force", bridge), ("--verify", bridge), ("--force", doctor), ("--verify", doctor),
             ("--root", f"{self.parts}/Quintora-CGI.pkg")],
            [(call[1], call[-1]) for call in self.calls()
             if call[1] in ("--force", "--verify", "--root")])
        self.assertEqual([], self.calls("xcrun"))

    def test_packages_nothing_that_does_not_hold(self):
        for program in DOCTOR, BRIDGE:
            with self.subTest(program=program):
                self.answer(f"{os.path.basename(program)}-does-not-hold", "")
                self.assert_stopped(self.run_script("package", self.binary),
                                    f"The signature of {self.staged}{program} does not hold.")
                self.assertEqual([], self.calls("pkgbuild") + self.calls("productbuild"))

    def test_with_credentials_signs_notarises_and_staples_the_package(self):
        self.assert_done(self.run_script("package", self.binary, **CREDENTIALS))
        [call] = self.calls("productbuild")
        self.assertEqual(["--sign", CREDENTIALS["INSTALLER_IDENTITY"], "--timestamp",
                          str(self.package)], call[-4:])
        self.assertEqual(
            [["xcrun", "notarytool", "submit", str(self.package),
              "--keychain-profile", "ann", "--wait"],
             ["xcrun", "stapler", "staple", str(self.package)]],
            self.calls("xcrun"))

    def test_notarises_nothing_that_lacks_a_signature(self):
        for missing in "SIGN_IDENTITY", "INSTALLER_IDENTITY":
            with self.subTest(missing=missing):
                self.assert_stopped(
                    self.run_script("package", self.binary, **{**CREDENTIALS, missing: ""}),
                    "NOTARY_PROFILE asks for SIGN_IDENTITY and INSTALLER_IDENTITY, too.")
        self.assertFalse(self.calls_file.exists())

    def test_without_a_program_the_preset_builds_both(self):
        self.assert_done(self.run_script("package"))
        self.assertEqual(
            [["cmake", "--preset", "macos", "-DCMAKE_OSX_DEPLOYMENT_TARGET=10.11"],
             ["cmake", "--build", "--preset", "macos"]],
            self.calls("cmake"))
        for program, text in (BRIDGE, "x86_64\n"), (DOCTOR, "new\n"):
            self.assertEqual(text, pathlib.Path(f"{self.staged}{program}").read_text())


class MissingToolsTest(CopyOfTheTree):
    """What script/demo and script/test ask for, on a system without Debian's packages."""

    def setUp(self):
        super().setUp()
        self.answers.mkdir()
        (self.tools / "xcode-select").write_text(XCODE_SELECT)
        (self.tools / "c++").write_text("#!/bin/sh\necho a dialog opens >&2\n")
        for tool in "xcode-select", "c++":
            (self.tools / tool).chmod(0o755)

    def ask_for(self, *packages):
        return subprocess.run(
            ["bash", "-c", 'source "$0"; name_missing_tools "$@"', self.tree / "script/lib.sh",
             *packages], capture_output=True, text=True, timeout=60, check=False,
            env={"PATH": str(self.tools), "ANSWERS": str(self.answers)})

    def test_a_stub_of_the_compiler_is_no_compiler(self):
        run = self.ask_for("g++", "python3")
        self.assertEqual((1, "Please install what is missing and try again:\n"
                             "  c++: xcode-select --install\n"
                             "  python3: xcode-select --install\n"), (run.returncode, run.stderr))

    def test_with_the_developer_tools_it_is_one(self):
        self.answer("developer-folder", "/Applications/Xcode.app/Contents/Developer\n")
        run = self.ask_for("g++", "python3")
        self.assertEqual((0, ""), (run.returncode, run.stderr))


class VerifyTest(CopyOfTheTree):
    def setUp(self):
        super().setUp()
        self.add_stand_ins()

    def verify(self, **environment):
        return self.run_script("verify", self.binary, **environment)

    def test_accepts_what_may_be_shipped(self):
        run = self.verify()
        self.assert_done(run)
        self.assertEqual(f"{self.binary} is as it should be, for macOS 10.11 and later.\n",
                         run.stdout)
        self.assertEqual([["codesign", "--verify", "--strict", "--verbose=2", str(self.binary)]],
                         self.calls("codesign", "--verify"))

    def test_accepts_an_ad_hoc_signature_without_time_stamp(self):
        self.answer("signature", "CodeDirectory v=20500 size=764 flags=0x10002(adhoc,runtime)\n"
                                 "Signature=adhoc\n")
        self.assert_done(self.verify())

    def test_reads_the_entitlements_from_older_tools(self):
        (self.answers / "entitlements-xml").rename(self.answers / "entitlements")
        self.assert_done(self.verify())
        self.assertEqual(2, len(self.calls("codesign", "--display", "--entitlements", ":-")))

    def test_expects_the_minimum_system_that_is_asked_for(self):
        for minimum, arm64 in ("10.13", "11.0"), ("11.0", "11.0"), ("12.0", "12.0"):
            with self.subTest(minimum=minimum):
                sentence = f"The x86_64 slice is for macOS 10.11, not {minimum}."
                self.answer_minimum("10.11", arm64)
                self.assert_stopped(self.verify(MINIMUM_SYSTEM=minimum), sentence)
                self.answer_minimum(minimum, arm64)
                run = self.verify(MINIMUM_SYSTEM=minimum)
                self.assert_done(run)
                self.assertIn(f"for macOS {minimum} and later", run.stdout)
                self.answer_minimum(minimum, "13.0")
                self.assert_stopped(self.verify(MINIMUM_SYSTEM=minimum),
                                    f"The arm64 slice is for macOS 13.0, not {arm64}.")

    def test_takes_a_number_alone_for_a_version(self):
        self.answer_minimum("12.0", "12.0")
        run = self.verify(MINIMUM_SYSTEM="12")
        self.assert_done(run)
        self.assertIn("for macOS 12.0 and later", run.stdout)

    def test_stops_at_a_minimum_system_that_is_no_version(self):
        for text in "12.", "10.13.6", "v10.13", "10.13 ", "ten":
            with self.subTest(text=text):
                self.assert_stopped(
                    self.verify(MINIMUM_SYSTEM=text),
                    f"MINIMUM_SYSTEM is {text}, not a version like 10.13 or 12.0.")

    def test_stops_at_each_fault(self):
        plist = "is no property list with values for"
        for name, text, sentence in (
                ("archs", "x86_64\n",
                 f"{self.binary} has slices for x86_64, not for arm64 and x86_64."),
                ("archs", "arm64 arm64e x86_64\n",
                 f"{self.binary} has slices for arm64 arm64e x86_64, not for arm64 and x86_64."),
                ("x86_64-l", X86_64_COMMANDS.replace("10.11", "10.13"),
                 "The x86_64 slice is for macOS 10.13, not 10.11."),
                ("x86_64-l", ARM64_COMMANDS, "The x86_64 slice is for macOS 11.0, not 10.11."),
                ("arm64-l", ARM64_COMMANDS.replace("minos 11.0", "minos 12.0"),
                 "The arm64 slice is for macOS 12.0, not 11.0."),
                ("arm64-l", "", "The arm64 slice is for macOS unknown, not 11.0."),
                ("x86_64-L", libraries("/usr/local/liba.dylib", *LIBRARIES, "@rpath/libb.dylib"),
                 "The x86_64 slice is linked to what the product does without: "
                 "/usr/local/liba.dylib @rpath/libb.dylib."),
                ("arm64-L", libraries(*LIBRARIES, "/usr/lib/libobjc.A.dylib"),
                 "The arm64 slice is linked to what the product does without: "
                 "/usr/lib/libobjc.A.dylib."),
                # Tunnel mode does without it: the product loads it when it is needed.
                ("x86_64-L", libraries(*LIBRARIES, CORE_SERVICES),
                 "The x86_64 slice is linked to what the product does without: "
                 f"{CORE_SERVICES}."),
                ("arm64-L", "", "The arm64 slice is not linked to libSystem."),
                ("x86_64-P", "", f"The Info.plist inside the x86_64 slice {plist} {ALL_KEYS}."),
                ("arm64-P", info_plist(NSAppleEventsUsageDescription=None).decode(),
                 f"The Info.plist inside the arm64 slice {plist} NSAppleEventsUsageDescription."),
                ("arm64-P", info_plist(LSMinimumSystemVersion="10.13").decode(),
                 "The Info.plist inside the arm64 slice is for macOS 10.13, not 10.11."),
                ("x86_64-P", info_plist(LSMinimumSystemVersion="").decode(),
                 f"The Info.plist inside the x86_64 slice {plist} LSMinimumSystemVersion."),
                ("signature", SIGNATURE.replace("(runtime)", "(none)"),
                 "The x86_64 slice is not signed for the hardened runtime."),
                ("signature", SIGNATURE.replace("Timestamp=", "Signed Time="),
                 "The signature of the x86_64 slice has no secure time stamp."),
                ("entitlements-xml", "", f"The x86_64 slice does not grant {AUTOMATION}."),
                ("Quintora.cgi-does-not-hold", "",
                 f"The signature of {self.binary} does not hold.")):
            with self.subTest(sentence=sentence):
                path = self.answers / name
                before = path.read_text() if path.exists() else None
                self.answer(name, text)
                self.assert_stopped(self.verify(), sentence)
                if before is None:
                    path.unlink()
                else:
                    self.answer(name, before)


if __name__ == "__main__":
    unittest.main()
