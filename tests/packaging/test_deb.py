#!/usr/bin/env python3
"""A newcomer's ways to a page in the browser, each in a fresh Debian: from a clone, from the .deb,
from the .tar.gz; and the ways on, to another version and back.

The clone is one of what is committed, the packages those that script/package made. Each Debian lives
in a folder of the build, copied from one that debootstrap made from the mirror that this machine
uses, and shares nothing but the network with this machine. Only root can do that. The commands are
those of the README and the guides, word for word; sudo and the service manager, which such a folder does not
have, are stood in for. A Debian for arm64 runs under emulation: while it does, the kernel of this
machine hands such programs to an emulator.
"""
import contextlib
import email
import functools
import glob
import hashlib
import os
import pathlib
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "examples")]

from demo import example_server  # noqa: E402
from private_apache import free_port  # noqa: E402
from tests.packaging.installed import OTHERS_PAGES, faults  # noqa: E402
from tests.support.harness import ScriptedServer, reply  # noqa: E402

PREFERENCES = "com.quintora.QuintoraServer.conf"
STAND_INS = {
    "usr/local/sbin/sudo": 'exec "$@"',
    "usr/local/sbin/systemctl": '[ "$1" != reload ] || set graceful "$2"\n'
                                '[ "$2" = apache2 ] && exec apachectl "$1"',
    # Keeps packages from starting their services when they are installed: Apache would take port 80
    # of this machine.
    "usr/sbin/policy-rc.d": "exit 101",
}
# Only the commands in that folder see its /proc, so nothing that walks through the build meets it.
ENTER = 'mount -t proc proc "$0/proc"; exec chroot "$0" "$@"'
BRIDGE = "/usr/lib/cgi-bin/Quintora.cgi"
DOCTOR = f"quintora-doctor {BRIDGE}"
# What commands other than those of the package leave behind: the log files, the records of dpkg
# and apt, and what is gone when the machine starts anew.
RECORDS = "run", "var/cache/apt", "var/lib/apt", "var/lib/dpkg", "var/log"
# The module that the README's second command enables stays enabled, and Apache remembers who
# enabled what in folders that it makes when they are needed.
LEFT_ENABLED = re.compile("etc/apache2/mods-enabled/cgid[.](load|conf)|"
                          "var/lib/apache2/(module|conf)/(en|dis)abled_by_(admin|maint)|"
                          "var/lib/apache2/module/enabled_by_admin/cgid")
PATIENCE = 10  # seconds for one start or stop of Apache
DAEMON_PATIENCE = 3  # seconds from when Apache listens until the daemon of mod_cgid does
DEMO_PATIENCE = 300  # seconds for the demo to install what it needs, to build and to start


ARCHITECTURES = {"amd64": "x86_64", "arm64": "aarch64"}  # Debian's names and the kernel's
# What a program for arm64 begins with, which of that counts, and who runs it; F: the emulator is
# opened now and need not be in the folder.
BINFMT = pathlib.Path("/proc/sys/fs/binfmt_misc")
ARM64 = ":".join(("", "quintora-test", "M", "",
                  r"\x7fELF\x02\x01\x01" + 9 * r"\x00" + r"\x02\x00\xb7\x00",
                  7 * r"\xff" + r"\x00" + 8 * r"\xff" + r"\xfe\xff\xff\xff",
                  "/usr/bin/qemu-aarch64-static", "FP"))


def the_one(pattern):
    found = glob.glob(str(ROOT / "build/packages" / pattern))
    if len(found) != 1:
        raise AssertionError(f"There is not one {pattern} in build/packages: run script/package.")
    return found[0]


def package(architecture):
    return the_one(f"*_{architecture}.deb")


def archive(architecture):
    return the_one(f"*-{ARCHITECTURES[architecture]}.tar.gz")


def own_architecture():
    return output("dpkg", "--print-architecture").strip()


@contextlib.contextmanager
def emulation():
    """Lets the kernel run programs for arm64, if it does not already."""
    if own_architecture() == "arm64" or list(BINFMT.glob("qemu-aarch64*")):
        yield
        return
    is_mounted = (BINFMT / "register").exists()
    if not is_mounted:
        output("mount", "-t", "binfmt_misc", "binfmt_misc", str(BINFMT))
    try:
        (BINFMT / "register").write_text(ARM64)
        try:
            yield
        finally:
            (BINFMT / "quintora-test").write_text("-1")
    finally:
        if not is_mounted:
            output("umount", str(BINFMT))


def output(*command, **options):
    """The standard output of a command; an error with all that it said when it fails."""
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                         **options)
    if run.returncode:
        raise AssertionError(f"{command} ended with status {run.returncode}:\n"
                             f"{run.stdout}{run.stderr}")
    return run.stdout


def release():
    """The name of this machine's Debian: what was built here is meant for the same."""
    return re.search("^VERSION_CODENAME=(.*)$", pathlib.Path("/etc/os-release").read_text(),
                     re.MULTILINE)[1]


def mirror():
    targets = output("apt-get", "indextargets", "--format", "$(CODENAME) $(COMPONENT) $(REPO_URI)",
                     "Created-By: Packages")
    for codename, component, uri in map(str.split, targets.splitlines()):
        if (codename, component) == (release(), "main"):
            return uri
    raise AssertionError(f"apt knows no mirror of {release()}: run apt-get update.")


def commands_of(page, marker):
    """A page's one block of commands that has the marker in it."""
    blocks = re.findall("^```sh\n(.*?)^```$", page.read_text(encoding="utf-8"),
                        re.MULTILINE | re.DOTALL)
    block, = (block for block in blocks if marker in block)
    return block


def commands_of_readme(marker, tree=ROOT):
    return commands_of(tree / "README.md", marker).splitlines()


def commands_for_archives(marker):
    return commands_of(ROOT / "docs/apache.md", marker)


def commands_for_upgrades(marker):
    return commands_of(ROOT / "docs/upgrading.md", marker)


def version_of(package_file):
    return output("dpkg-deb", "--field", package_file, "Version").strip()


def marks_in(program):
    """The versions that the file of a program names."""
    return re.findall(rb"\0Quintora\.cgi ([0-9.]+)(?=\0)", pathlib.Path(program).read_bytes())


def older_package(package_file, folder):
    """The package as a version before it might have been, with a rule that is no longer there."""
    version, older = version_of(package_file), "0.0.1"
    root = pathlib.Path(tempfile.mkdtemp(dir=folder))
    output("dpkg-deb", "--raw-extract", package_file, str(root))
    for path, old, new in (
            ("DEBIAN/control", f"Version: {version}\n", f"Version: {older}\n"),
            (BRIDGE[1:], f"\0Quintora.cgi {version}\0",
             f"\0Quintora.cgi {older}\0".ljust(len(version) + 15, "\0")),
            ("etc/apache2/conf-available/quintora-cgi.conf", "</IfDefine>",
             '    ScriptAlias "/old/" "/usr/lib/cgi-bin/"\n</IfDefine>')):
        text = (root / path).read_bytes()
        assert text.count(old.encode()) == 1, path
        (root / path).write_bytes(text.replace(old.encode(), new.encode()))
    output("dpkg-deb", "--build", "--root-owner-group", str(root), folder)
    shutil.rmtree(root)
    return older


def wait_until(condition, patience, failure):
    deadline = time.monotonic() + patience
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(failure)
        time.sleep(0.05)


def fetch(url, form=None):
    """Status, content type and text of a page; of one that reports an error the status alone."""
    data = urllib.parse.urlencode(form).encode() if form else None
    began = time.monotonic()
    while True:
        try:
            with urllib.request.urlopen(url, data, timeout=PATIENCE) as answer:
                return answer.status, answer.headers["Content-Type"], answer.read().decode()
        except urllib.error.HTTPError as error:
            with error:
                # Until the daemon of mod_cgid listens, Apache answers with 503.
                if error.code != 503 or time.monotonic() > began + DAEMON_PATIENCE:
                    return error.code, None, None
        except urllib.error.URLError:  # Apache returns from its start before it listens
            if time.monotonic() > began + PATIENCE:
                raise
        time.sleep(0.05)


class FreshDebian:
    """A Debian in a folder; what runs in it is stopped when it is removed."""

    def __init__(self, architecture):
        self.architecture = architecture
        (ROOT / "build").mkdir(exist_ok=True)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fresh-debian-", dir=ROOT / "build"))
        self.port = free_port()

    def make(self):
        self.folder.chmod(0o755)
        # Nobody needs these files after a power failure.
        self.write("etc/dpkg/dpkg.cfg.d/unsafe-io", "force-unsafe-io\n")
        output("unshare", "--mount", "debootstrap", "--variant=minbase",
               f"--arch={self.architecture}", release(), str(self.folder), mirror())
        for path, line in STAND_INS.items():
            self.write(path, f"#!/bin/sh\n{line}\n").chmod(0o755)
        self.run("apt-get update")

    def copy_to(self, other):
        output("cp", "--archive", f"{self.folder}/.", str(other.folder))

    def remove(self):
        for process in self.processes():
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)
        wait_until(lambda: not self.processes(), PATIENCE, "What runs in it does not end.")
        shutil.rmtree(self.folder)

    def processes(self):
        """The ids of all processes in it: only these have this folder as their root."""
        found = []
        for process in filter(str.isdigit, os.listdir("/proc")):
            with contextlib.suppress(OSError):  # it has just ended
                if os.path.samefile(f"/proc/{process}/root", self.folder):
                    found.append(int(process))
        return found

    def write(self, path, text):
        file = self.folder / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return file

    def command(self, lines):
        """The command for lines of the shell in it, in root's home; the first that fails ends."""
        return ["unshare", "--mount", "sh", "-euc", ENTER, str(self.folder), "env", "-i",
                "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                "LC_ALL=C.UTF-8", "HOME=/root", "sh", "-euc", f"cd; {lines}"]

    def run(self, lines, **options):
        return output(*self.command(lines), **options)

    def move_apache(self):
        """Port 80 of this machine is not for tests."""
        self.write("etc/apache2/ports.conf", f"Listen 127.0.0.1:{self.port}\n")
        site = self.folder / "etc/apache2/sites-available/000-default.conf"
        site.write_text(site.read_text().replace("*:80>", f"*:{self.port}>"))

    def stop_apache(self):
        process = self.folder / "run/apache2/apache2.pid"
        os.kill(int(process.read_text()), signal.SIGTERM)
        wait_until(lambda: not process.exists(), PATIENCE, "Apache does not stop.")

    def request(self, name, form=None):
        """What a program under /cgi-bin/ answers."""
        return fetch(f"http://127.0.0.1:{self.port}/cgi-bin/{name}", form)

    def listing(self):
        """Every file with its kind and contents, except for the records."""
        found = {}
        for folder, folders, files in os.walk(self.folder):
            inside = os.path.relpath(folder, self.folder)
            folders[:] = [name for name in folders
                          if os.path.normpath(os.path.join(inside, name)) not in RECORDS]
            for name in folders + files:
                path = os.path.join(folder, name)
                found[os.path.normpath(os.path.join(inside, name))] = fingerprint(path)
        return found


@functools.lru_cache(maxsize=None)
def made_debian(architecture):
    """One that the tests copy; it stays as it is."""
    fresh = FreshDebian(architecture)
    unittest.addModuleCleanup(fresh.remove)
    fresh.make()
    return fresh


def fingerprint(path):
    status = os.lstat(path)
    holds = None
    if stat.S_ISLNK(status.st_mode):
        holds = os.readlink(path)
    elif stat.S_ISREG(status.st_mode):
        with open(path, "rb") as file:
            holds = hashlib.sha256(file.read()).hexdigest()
    return status.st_mode, status.st_uid, status.st_gid, holds


class PackageTest(unittest.TestCase):
    def test_form(self):
        for architecture in ARCHITECTURES:
            with self.subTest(architecture):
                self.assertEqual(output("lintian", "--allow-root", "--fail-on", "none",
                                        package(architecture)), "")

    def test_control(self):
        changes = (ROOT / "packaging/debian/changelog").read_text(encoding="utf-8")
        for architecture in ARCHITECTURES:
            with self.subTest(architecture):
                field = email.message_from_string(
                    output("dpkg-deb", "--field", package(architecture)))
                self.assertEqual(field["Package"], "quintora-cgi")
                self.assertEqual(field["Architecture"], architecture)
                self.assertEqual(field["Version"], re.match(r"quintora-cgi \((.*?)\)", changes)[1])
                self.assertIn(f"-- {field['Maintainer']}  ", changes)
                self.assertIsNone(field["Depends"])  # not even on a C library
                self.assertTrue(field["Recommends"].startswith("apache2 |"))
                self.assertEqual(field["Section"], "web")

    def test_programs_are_for_their_processor_and_need_no_other_file(self):
        for architecture, processor in ARCHITECTURES.items():
            with self.subTest(architecture), tempfile.TemporaryDirectory() as folder:
                output("dpkg-deb", "--extract", package(architecture), folder)
                # The bridge is mapped for each request.
                for program, most in ("usr/lib/cgi-bin/Quintora.cgi", 512 << 10), (
                        "usr/bin/quintora-doctor", 1 << 20):
                    said = output("readelf", "--file-header", "--program-headers",
                                  f"{folder}/{program}", env={**os.environ, "LC_ALL": "C"})
                    machine = re.search("Machine: +(.*)", said)[1].lower().replace("-", "_")
                    self.assertIn(processor, machine)
                    self.assertNotIn("INTERP", said)
                    self.assertLessEqual(os.path.getsize(f"{folder}/{program}"), most)
                self.assertEqual(marks_in(folder + BRIDGE),
                                 [version_of(package(architecture)).encode()])

    def test_unpacked_archive_answers_in_an_empty_root(self):
        """With the page of a server in windows-1252, and nothing there but the program."""
        with tempfile.TemporaryDirectory() as folder:
            output("tar", "--extract", "--file", archive(own_architecture()), "--directory", folder,
                   "--strip-components=3", "--wildcards", "*/cgi-bin/Quintora.cgi")
            self.assertEqual(os.listdir(folder), ["Quintora.cgi"])
            server = ScriptedServer(reply(b"\x80 5 f\xfcr Z\xfcrich",
                                          "text/html; charset=windows-1252"))
            name = f"Gateway_{server.port}.cgi"
            os.rename(f"{folder}/Quintora.cgi", f"{folder}/{name}")
            page = output("chroot", folder, f"/{name}", stdin=subprocess.DEVNULL)
            server.close()
        self.assertEqual(page, "Content-type: text/plain\n\n€ 5 für Zürich\n")
        self.assertEqual(len(server.requests), 1)

    def test_archives_hold_what_is_installed(self):
        for architecture in ARCHITECTURES:
            with self.subTest(architecture), tempfile.TemporaryDirectory() as folder:
                output("cmake", "--install", str(ROOT / f"build/package/portable-{architecture}"),
                       "--prefix", folder)
                installed = {str(path.relative_to(folder))
                             for path in pathlib.Path(folder).rglob("*") if path.is_file()}
                bridge = os.path.join(folder, "lib/cgi-bin/Quintora.cgi")
                self.assertEqual(stat.S_IMODE(os.stat(bridge).st_mode), 0o755)
                listed = output("tar", "--list", "--file", archive(architecture)).splitlines()
                packed = {name.partition("/")[2] for name in listed if name[-1] != "/"}
                self.assertEqual(packed, installed)
                self.assertLessEqual({"bin/quintora-doctor",
                                      "share/man/man1/quintora-doctor.1",
                                      "share/man/man5/com.quintora.QuintoraServer.conf.5",
                                      "share/man/man8/Quintora.cgi.8",
                                      "share/doc/quintora-cgi/README.md",
                                      "share/doc/quintora-cgi/copyright",
                                      "share/doc/quintora-cgi/docs/preferences.md",
                                      "share/doc/quintora-cgi/examples/quintora-cgi.conf",
                                      "share/doc/quintora-cgi/examples/" + PREFERENCES}, packed)


class InFreshDebian:
    """Gives each test a Debian of its own, and knows the README's ways."""

    architecture = own_architecture()

    @classmethod
    def setUpClass(cls):
        cls.fresh = made_debian(cls.architecture)

    def setUp(self):
        self.debian = FreshDebian(self.architecture)
        self.addCleanup(self.debian.remove)
        self.fresh.copy_to(self.debian)

    def check_way_from_the_package_to_a_page(self):
        """With no Apache there."""
        server_port = free_port()
        self.assertEqual(self.debian.run("command -v apache2 || true"), "")
        self.install_as_readme_says()
        self.assertEqual(faults(self.debian.folder, "/usr"), ([], 3, 1))
        with self.preferences(server_port):
            with example_server(port=server_port):
                self.check_page("Quintora.cgi")
                self.check_doctor(DOCTOR, 0)
                self.check_doctor(f"{DOCTOR} --probe", 0)
            self.check_doctor(DOCTOR, 1)
        self.purge_as_readme_says()
        self.check_absence()
        # Apache and what came with it stay; of the package not even a name does.
        self.assertEqual([path for path in self.debian.listing() if "quintora" in path.lower()], [])

    def check_way_from_the_archive_to_a_page(self):
        """With Apache there, and its module."""
        copy = pathlib.Path(shutil.copy(archive(self.architecture), self.debian.folder / "root"))
        self.debian.run(commands_for_archives("tar -xzf"))
        self.debian.run(commands_for_archives("a2enconf"))
        self.assertEqual(faults(self.debian.folder, "/usr/local"), ([], 3, 2))
        with example_server() as server_port, self.link(server_port, "/usr/local") as name:
            self.check_page(name, "/usr/local")
            with self.running_bridge("/usr/local"):
                self.debian.run(commands_for_archives("tar -xzf"))  # as an upgrade does
            self.check_page(name, "/usr/local")
        self.debian.run(commands_for_archives("tar -tzf"))
        wait_until(lambda: self.debian.request("Quintora.cgi")[0] == 404, PATIENCE, "It stays.")
        shutil.rmtree(copy.with_name(copy.name.removesuffix(".tar.gz")))
        copy.unlink()
        self.assertEqual([path for path in self.debian.listing() if "quintora" in path.lower()], [])

    @contextlib.contextmanager
    def running_bridge(self, prefix):
        """It waits for a form of which nothing comes."""
        bridge = f"{prefix}/lib/cgi-bin/Quintora.cgi"
        with subprocess.Popen(self.debian.command(f"CONTENT_LENGTH=1 exec {bridge}"),
                              stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as process:
            command = pathlib.Path(f"/proc/{process.pid}/cmdline")
            wait_until(lambda: b"exec" not in command.read_bytes(), PATIENCE,
                       "The bridge does not start.")
            yield
            self.assertIsNone(process.poll())
            process.stdin.close()

    def install_as_readme_says(self):
        copy = shutil.copy(package(self.architecture), self.debian.folder / "root")
        install, *others = commands_of_readme("a2enconf quintora-cgi")
        self.debian.run(install, input="y\n")  # to what it asks when more than the package comes
        os.unlink(copy)
        self.debian.move_apache()
        for command in others:
            self.debian.run(command)

    def purge_as_readme_says(self):
        command, = commands_of_readme("apt purge quintora-cgi")
        return self.debian.run(command, input="y\n")

    def check_doctor(self, command, status):
        run = subprocess.run(self.debian.command(command), stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, text=True)
        self.assertEqual((run.returncode, run.stderr), (status, ""), run.stdout)
        findings = re.findall("^  ! .*", run.stdout, re.MULTILINE)
        self.assertEqual(len(findings), status, run.stdout)

    def check_other_module(self, server_port):
        shutil.copy(package(self.architecture), self.debian.folder / "root")
        self.debian.run("apt install ./*.deb; a2enconf quintora-cgi; a2disconf serve-cgi-bin;"
                        "a2dismod cgid mpm_event; a2enmod mpm_prefork; apachectl start")
        self.check_absence()  # and above all no download of the program
        self.debian.run("a2enmod cgi")
        self.debian.stop_apache()
        self.debian.run("apachectl start")
        with self.preferences(server_port):
            self.check_page("Quintora.cgi")

    @contextlib.contextmanager
    def preferences(self, server_port):
        """The example's preferences file where it belongs, with the server's port."""
        example = self.debian.folder / "usr/share/doc/quintora-cgi/examples" / PREFERENCES
        text, count = re.subn("^#(QZQuintoraServerPort) = .*", rf"\1 = {server_port}",
                              example.read_text(encoding="utf-8"), flags=re.MULTILINE)
        self.assertEqual(count, 1)
        new_folder = not (self.debian.folder / "etc/xdg").exists()
        file = self.debian.write(f"etc/xdg/{PREFERENCES}", text)
        yield
        file.unlink()
        if new_folder:
            file.parent.rmdir()

    @contextlib.contextmanager
    def link(self, server_port, prefix="/usr"):
        """A copy's name that has the port, so no preferences are needed."""
        name = f"Gateway_{server_port}.cgi"
        link = self.debian.folder / prefix[1:] / "lib/cgi-bin" / name
        link.symlink_to("Quintora.cgi")
        yield name
        link.unlink()

    def check_page(self, name, prefix="/usr"):
        status, content_type, page = self.debian.request(f"{name}?id=7")
        self.assertEqual((status, content_type), (200, "text/html; charset=utf-8"))
        self.assertIn("id=7", page)

        form = {"name": 'Zoë "Zed" Müller', "sum": "1 + 1 = 2", "note": "100 % & more 🎈"}
        status, content_type, text = self.debian.request(f"{name}?plain", form)
        self.assertEqual((status, content_type), (200, "text/plain"))
        lines = text.splitlines()
        for field, value in form.items():
            self.assertIn(f"{field} = {value}", lines)
        self.assertIn("REQUEST_METHOD = POST", lines)
        self.assertIn(f"CLIPATH = {prefix}/lib/cgi-bin/{name}", lines)

    def check_absence(self):
        self.assertEqual(self.debian.request("Quintora.cgi")[0], 404)

    def check_man_pages(self):
        self.debian.run("makewhatis")
        pages = self.debian.run("dpkg -L quintora-cgi | grep '/man./.*[.]gz$'").split()
        self.assertGreaterEqual(len(pages), 2)
        for page in pages:  # one by one: of several compressed ones it can only read the first
            # Without the level "base", by which only the BSDs' own pages leave .Os empty.
            self.assertEqual(self.debian.run(f"mandoc -Tlint -Wstyle {page} 2>&1 || true"), "")
        there = {page.name for page in self.debian.folder.glob("usr/share/man/man?/*")}
        self.assertLessEqual({f"{page}.gz" for page in OTHERS_PAGES}, there)


class FreshDebianTest(InFreshDebian, unittest.TestCase):
    def test_from_the_packages_to_a_page(self):
        self.check_way_from_the_package_to_a_page()
        self.check_way_from_the_archive_to_a_page()

    def test_from_a_clone_to_a_page(self):
        """With nothing there but git, which a clone takes."""
        self.debian.run("apt-get install --yes --no-install-recommends git")
        output("git", "clone", "--quiet", "--bare", str(ROOT), f"{self.debian.folder}/srv/origin")
        self.debian.run("git clone --quiet /srv/origin clone")
        clone = self.debian.folder / "root/clone"
        self.assertEqual(output("git", "-C", str(clone), "rev-parse", "HEAD"),
                         output("git", "-C", str(ROOT), "rev-parse", "HEAD"))
        command = commands_of_readme("script/demo", clone)[0]
        self.assertEqual(self.debian.run("command -v cmake ninja c++ python3 apache2 || true"), "")
        self.assertEqual(self.debian.processes(), [])
        temporary = os.listdir(self.debian.folder / "tmp")

        # Like a person's shell, this one outlives Ctrl-C and has the command's exit status.
        with self.running(f"trap : INT; cd clone; {command}") as (demo, address):
            status, content_type, form = fetch(address)
            self.assertEqual((status, content_type), (200, "text/html; charset=utf-8"))
            action = re.search('<form action="(.*?)" method="post"', form)[1]
            bridge = urllib.parse.urljoin(address, "/cgi-bin/Quintora.cgi")
            status, content_type, page = fetch(urllib.parse.urljoin(bridge, action),
                                               {"name": "Zoë & Müller 🎈"})
            self.assertEqual((status, content_type), (200, "text/html; charset=utf-8"))
            self.assertIn("Zoë &amp; Müller 🎈", page)
            self.assertIn("in <b>tunnel</b> mode", page)

            os.killpg(demo.pid, signal.SIGINT)  # as a terminal does at Ctrl-C
            self.assertEqual(demo.wait(PATIENCE), 0)
        self.assertEqual(self.debian.processes(), [])
        self.assertEqual(os.listdir(self.debian.folder / "tmp"), temporary)

    @contextlib.contextmanager
    def running(self, lines):
        """A process for lines that print where the form is, and that address."""
        path = self.debian.folder / "root/output.txt"
        with path.open("w", encoding="utf-8") as file:
            process = subprocess.Popen(self.debian.command(lines), stdin=subprocess.DEVNULL,
                                       stdout=file, stderr=file, start_new_session=True)
        try:
            wait_until(lambda: "Ctrl-C" in path.read_text("utf-8") or process.poll() is not None,
                       DEMO_PATIENCE, "The demo does not start.")
            said = path.read_text("utf-8")
            address = re.search("^The form: (.*)$", said, re.MULTILINE)
            self.assertTrue(address, said)
            yield process, address[1]
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()

    def test_removal_leaves_no_trace(self):
        """With Apache there before, so that every difference is the package's."""
        self.debian.run("apt-get install --yes --no-install-recommends apache2 mandoc")
        self.debian.move_apache()
        before = self.debian.listing()
        with example_server() as server_port:
            self.install_as_readme_says()
            with self.link(server_port) as name:
                self.check_page(name)
            self.purge_as_readme_says()
            self.debian.run("apachectl configtest")
            self.check_absence()
            self.debian.stop_apache()
            self.assertEqual(changed(before, self.debian.listing()), set())

            with self.subTest("mod_cgi, without Debian's own rules for the folder"):
                self.check_other_module(server_port)
        with self.subTest("man pages"):
            self.check_man_pages()


class UpgradeTest(InFreshDebian, unittest.TestCase):
    """From a version to the next, and back, with copies and links of the administrator's."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        plain, cls.fresh = cls.fresh, FreshDebian(cls.architecture)
        cls.addClassCleanup(cls.fresh.remove)
        plain.copy_to(cls.fresh)
        cls.fresh.run("apt-get install --yes --no-install-recommends apache2")

    def setUp(self):
        super().setUp()
        self.debian.move_apache()
        # Apache is where it harms nobody, so packages may have it reloaded.
        self.debian.write("usr/sbin/policy-rc.d", "#!/bin/sh\nexit 0\n")
        self.before = self.debian.listing()
        self.new = version_of(package(self.architecture))
        home = self.debian.folder / "root"
        for name in "old", "new":
            (home / name).mkdir()
        self.old = older_package(package(self.architecture), str(home / "old"))
        shutil.copy(package(self.architecture), home / "new")
        self.debian.run("apt-get install --yes ./old/*.deb; a2enmod cgid; a2enconf quintora-cgi;"
                        "apachectl start")
        self.check_rules(self.old)

    def upgrade(self, folder, marker):
        return self.debian.run(f"cd {folder}; {commands_for_upgrades(marker)}", input="y\n")

    def versions(self):
        """As the guide lists them: by file name; None for a copy without a version."""
        listed = self.debian.run(commands_for_upgrades("grep -aoH"))
        return dict(re.fullmatch(r"/usr/lib/cgi-bin/(.*?)(?:[.]cgi)?:"
                                 r"(?:Quintora\.cgi (.*)| no version)", line).groups()
                    for line in listed.splitlines())

    def check_rules(self, version):
        """The running Apache has those of that version."""
        url = f"http://127.0.0.1:{self.debian.port}/old/Quintora.cgi"
        expected = 200 if version == self.old else 404
        wait_until(lambda: fetch(url)[0] == expected, PATIENCE, f"{url} is not {expected}.")

    def check_versions(self, **expected):
        self.assertEqual(self.versions(), expected)

    def test_copies_and_links(self):
        old, new, folder = self.old, self.new, self.debian.folder / "usr/lib/cgi-bin"
        with example_server() as port:
            link, copy = f"Gateway_{port}", f"Gateway_{port}_copy"
            self.debian.run(f"cd /usr/lib/cgi-bin; ln -s Quintora.cgi {link}.cgi;"
                            f"cp Quintora.cgi {copy}.cgi; echo text >note.cgi")
            self.check_versions(Quintora=old, **{link: old, copy: old})
            nameless = self.add_copy_without_version()

            self.upgrade("new", "apt install ./")
            self.check_versions(Quintora=new, **{link: new, copy: old, nameless: None})
            self.check_rules(new)
            self.assertIn(f"Its version is {old}.\n",
                          self.debian.run(f"! quintora-doctor /usr/lib/cgi-bin/{copy}.cgi"))
            self.upgrade(".", "mv {}.new")
            self.check_versions(Quintora=new, **{link: new, copy: new, nameless: new})
            self.check_owner_and_mode(nameless)
            for name in link, copy:
                self.check_page(f"{name}.cgi")

            self.upgrade("old", "--allow-downgrades")
            self.check_rules(old)
            self.upgrade(".", "mv {}.new")
            self.check_versions(Quintora=old, **{link: old, copy: old, nameless: old})
            shutil.rmtree(folder / "more")

            self.upgrade(".", "Quintora.old Gateway")
            self.upgrade("new", "apt install ./")
            kept = {"Quintora.old": old, "Gateway_8081": old, link: new}
            self.check_versions(Quintora=new, **kept, **{copy: old})
            self.assertEqual(self.debian.request("Gateway_8081.cgi")[0], 200)
            self.upgrade(".", "mv {}.new")
            self.check_versions(Quintora=new, **kept, **{copy: new})
            self.upgrade(".", "rm Quintora.old")
            self.check_versions(Quintora=new, Gateway_8081=new, **{link: new, copy: new})
            self.check_page(f"{copy}.cgi")
        (folder / "note.cgi").unlink()
        self.check_purge(f"{link}.cgi", "Gateway_8081.cgi", f"{copy}.cgi")

    def add_copy_without_version(self):
        """As of a version that had no mark: in a folder below, without an ending, a user's own."""
        name = "more/Gateway_9"
        self.debian.run("cd /usr/lib/cgi-bin; mkdir more;"
                        f"sed 's/Quintora[.]cgi [0-9]/Quintora.cgi -/' Quintora.cgi >{name};"
                        f"chown www-data:www-data {name}; chmod 750 {name}")
        return name

    def check_owner_and_mode(self, name):
        self.assertEqual(self.debian.run(f"stat --format '%U %G %a' /usr/lib/cgi-bin/{name}"),
                         "www-data www-data 750\n")

    def check_purge(self, *left):
        """The package goes, what is left is listed and stays."""
        shutil.rmtree(self.debian.folder / "root/old")
        shutil.rmtree(self.debian.folder / "root/new")
        said = self.purge_as_readme_says()
        listed = re.findall(r"^  /usr/lib/cgi-bin/(\S+)( [(]a link.*)?$", said, re.MULTILINE)
        self.assertEqual({name: bool(link) for name, link in listed},
                         {name: "copy" not in name for name in left})
        self.assertEqual(said.count("and stay:"), 1)
        self.assertEqual(self.debian.request(left[0])[0], 403)
        self.assertEqual(changed(self.before, self.debian.listing()) - {"run/apache2"},
                         {f"usr/lib/cgi-bin/{name}" for name in left})

    def test_rules_that_are_not_enabled_stay_so_and_leave_with_the_package(self):
        self.debian.run("a2disconf quintora-cgi; apachectl graceful")
        self.upgrade("new", "apt install ./")
        self.check_rules(self.new)
        self.debian.run("! a2query -q -c quintora-cgi")
        self.debian.run("a2enconf quintora-cgi; apt-get remove --yes quintora-cgi;"
                        "! a2query -q -c quintora-cgi; apachectl configtest")

    def test_purge_after_apache_was_removed(self):
        self.debian.stop_apache()
        self.debian.run("apt-get remove --yes apache2")
        self.assertNotIn("and stay:", self.purge_as_readme_says())
        left = [path for path in self.debian.listing() if "quintora" in path.lower()]
        self.assertEqual([path for path in left if not path.startswith("root/")], [])


@unittest.skipIf(own_architecture() == "arm64", "the others are for arm64 already")
class FreshDebianForARM64Test(InFreshDebian, unittest.TestCase):
    architecture = "arm64"

    @classmethod
    def setUpClass(cls):
        context = emulation()
        context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        super().setUpClass()

    def test_from_the_packages_to_a_page(self):
        self.check_way_from_the_package_to_a_page()
        self.check_way_from_the_archive_to_a_page()


def changed(before, after):
    return {path for path in before.keys() | after.keys()
            if before.get(path) != after.get(path) and not LEFT_ENABLED.fullmatch(path)}


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("This test installs a Debian into a folder, which only root can do.")
    unittest.main()
