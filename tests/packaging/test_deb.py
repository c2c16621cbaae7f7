#!/usr/bin/env python3
"""The Debian package, as script/package made it, in a fresh Debian with its own Apache.

That Debian lives in a folder of the build, made by debootstrap from the mirror that this machine
uses. Only root can do that. The commands are those of the README, word for word; the service
manager, which a folder does not have, is stood in for.
"""
import contextlib
import email
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
sys.path.insert(0, str(ROOT / "examples"))

from demo import example_server  # noqa: E402
from private_apache import free_port  # noqa: E402

PREFERENCES = "com.quintora.QuintoraServer.conf"
STAND_INS = {
    "sudo": 'exec "$@"',
    "systemctl": '[ "$2" = apache2 ] && exec apachectl "$1"',
}
# What commands other than those of the package leave behind: the log files, the records of dpkg
# and apt, and what is gone when the machine starts anew.
RECORDS = "run", "var/cache/apt", "var/lib/apt", "var/lib/dpkg", "var/log"
# The module that the README's second command enables stays enabled, and Apache remembers who
# enabled what in folders that it makes when they are needed.
LEFT_ENABLED = re.compile("etc/apache2/mods-enabled/cgid[.](load|conf)|"
                          "var/lib/apache2/(module|conf)/(en|dis)abled_by_(admin|maint)|"
                          "var/lib/apache2/module/enabled_by_admin/cgid")
PATIENCE = 10  # seconds for one start or stop of Apache


def package():
    found = glob.glob(str(ROOT / "build/packages/*.deb"))
    if len(found) != 1:
        raise AssertionError("There is not one .deb in build/packages: run script/package.")
    return found[0]


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


def commands_of_readme(marker):
    """The lines of the README's one block of commands that has the marker in it."""
    blocks = re.findall("^```sh\n(.*?)^```$", (ROOT / "README.md").read_text(encoding="utf-8"),
                        re.MULTILINE | re.DOTALL)
    block, = (block for block in blocks if marker in block)
    return block


class FreshDebian:
    """A Debian with Apache in a folder; what runs in it is stopped when it is removed."""

    def __init__(self):
        (ROOT / "build").mkdir(exist_ok=True)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fresh-debian-", dir=ROOT / "build"))
        self.port = free_port()

    def make(self):
        self.folder.chmod(0o755)
        # Nobody needs these files after a power failure.
        self.write("etc/dpkg/dpkg.cfg.d/unsafe-io", "force-unsafe-io\n")
        output("debootstrap", "--variant=minbase", "--include=apache2,mandoc", release(),
               str(self.folder), mirror())
        for name, line in STAND_INS.items():
            self.write(f"usr/local/sbin/{name}", f"#!/bin/sh\n{line}\n").chmod(0o755)
        self.write("etc/apache2/ports.conf", f"Listen 127.0.0.1:{self.port}\n")
        self.write("etc/apache2/conf-available/here.conf", "ServerName 127.0.0.1\n")
        self.run("a2enconf here")

    def remove(self):
        self.stop_apache()
        with open("/proc/self/mounts", encoding="utf-8") as mounts:
            for place in reversed([line.split()[1] for line in mounts]):
                if place.startswith(f"{self.folder}/"):
                    output("umount", place)
        shutil.rmtree(self.folder)

    def write(self, path, text):
        file = self.folder / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return file

    def run(self, commands, **options):
        """Runs lines of the shell in it, in root's home; the first that fails is an error."""
        return output("chroot", str(self.folder), "env", "-i",
                      "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                      "LC_ALL=C.UTF-8", "HOME=/root", "sh", "-euc", f"cd; {commands}", **options)

    def stop_apache(self):
        try:
            process = int((self.folder / "run/apache2/apache2.pid").read_text())
            os.kill(process, signal.SIGTERM)
        except (FileNotFoundError, ProcessLookupError):
            return
        deadline = time.monotonic() + PATIENCE
        while (self.folder / "run/apache2/apache2.pid").exists():
            if time.monotonic() > deadline:
                raise AssertionError("Apache does not stop.")
            time.sleep(0.05)

    def request(self, name, form=None):
        """Status, content type and text that a program under /cgi-bin/ answers."""
        url = f"http://127.0.0.1:{self.port}/cgi-bin/{name}"
        data = urllib.parse.urlencode(form).encode() if form else None
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                with urllib.request.urlopen(url, data, timeout=PATIENCE) as answer:
                    return answer.status, answer.headers["Content-Type"], answer.read().decode()
            except urllib.error.HTTPError as error:
                with error:
                    return error.code, None, None
            except urllib.error.URLError:  # it returns from its start before it listens
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.05)

    def listing(self):
        """Every file with what it is and holds, but for the records."""
        found = {}
        for folder, folders, files in os.walk(self.folder):
            inside = os.path.relpath(folder, self.folder)
            folders[:] = [name for name in folders
                          if os.path.normpath(os.path.join(inside, name)) not in RECORDS]
            for name in folders + files:
                path = os.path.join(folder, name)
                found[os.path.normpath(os.path.join(inside, name))] = fingerprint(path)
        return found


def fingerprint(path):
    status = os.lstat(path)
    holds = None
    if stat.S_ISLNK(status.st_mode):
        holds = os.readlink(path)
    elif stat.S_ISREG(status.st_mode):
        with open(path, "rb") as file:
            holds = hashlib.sha256(file.read()).hexdigest()
    return status.st_mode, status.st_uid, status.st_gid, holds


class DebTest(unittest.TestCase):
    def test_form(self):
        self.assertEqual(output("lintian", "--allow-root", "--fail-on", "none", package()), "")

    def test_control(self):
        field = email.message_from_string(output("dpkg-deb", "--field", package()))
        changes = (ROOT / "packaging/debian/changelog").read_text(encoding="utf-8")
        self.assertEqual(field["Package"], "quintora-cgi")
        self.assertEqual(field["Architecture"], output("dpkg", "--print-architecture").strip())
        self.assertEqual(field["Version"], re.match(r"quintora-cgi \((.*?)\)", changes)[1])
        self.assertIn(f"-- {field['Maintainer']}  ", changes)
        self.assertRegex(field["Depends"], r"^libc6 \(>= [\d.]+\)$")
        self.assertTrue(field["Recommends"].startswith("apache2 |"))
        self.assertEqual(field["Section"], "web")

    def test_archive_and_installation_hold_the_same(self):
        archive, = glob.glob(str(ROOT / "build/packages/*.tar.gz"))
        listed = output("tar", "--list", "--file", archive).splitlines()
        packed = {name.partition("/")[2] for name in listed if name[-1] != "/"}
        with tempfile.TemporaryDirectory() as folder:
            output("cmake", "--install", str(ROOT / "build/release"), "--prefix", folder)
            installed = {str(path.relative_to(folder))
                         for path in pathlib.Path(folder).rglob("*") if path.is_file()}
            bridge = os.path.join(folder, "lib/cgi-bin/Quintora.cgi")
            self.assertEqual(stat.S_IMODE(os.stat(bridge).st_mode), 0o755)
        self.assertEqual(packed, installed)
        self.assertLessEqual({"share/man/man5/com.quintora.QuintoraServer.conf.5",
                              "share/man/man8/Quintora.cgi.8",
                              "share/doc/quintora-cgi/README.md",
                              "share/doc/quintora-cgi/docs/preferences.md",
                              "share/doc/quintora-cgi/examples/quintora-cgi.conf",
                              "share/doc/quintora-cgi/examples/" + PREFERENCES}, packed)


class FreshDebianTest(unittest.TestCase):
    """One long test, for a fresh Debian takes a minute to make."""

    def setUp(self):
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        self.server_port = stack.enter_context(example_server())
        self.debian = FreshDebian()
        stack.callback(self.debian.remove)
        self.debian.make()

    def test_from_the_package_to_a_page_and_back(self):
        before = self.debian.listing()
        shutil.copy(package(), self.debian.folder / "root")

        self.debian.run(commands_of_readme("a2enconf quintora-cgi"))
        with self.subTest("the page, by the example's preferences"), self.preferences():
            self.check_page("Quintora.cgi")
        with self.subTest("the page, by a link whose name has the port"), self.link() as name:
            self.check_page(name)

        # Removal asks whether it may.
        self.debian.run(commands_of_readme("apt purge quintora-cgi"), input="y\n")
        self.debian.run("apachectl configtest")
        self.check_absence()
        self.debian.stop_apache()
        (self.debian.folder / "root" / os.path.basename(package())).unlink()
        self.assertEqual(changed(before, self.debian.listing()), set())

        with self.subTest("mod_cgi, without Debian's own rules for the folder"):
            self.check_other_module()
        with self.subTest("man pages"):
            self.check_man_pages()

    def check_other_module(self):
        shutil.copy(package(), self.debian.folder / "root")
        self.debian.run("apt install ./*.deb; a2enconf quintora-cgi; a2disconf serve-cgi-bin;"
                        "a2dismod cgid mpm_event; a2enmod mpm_prefork; apachectl start")
        self.check_absence()  # and above all no download of the program
        self.debian.run("a2enmod cgi")
        self.debian.stop_apache()
        self.debian.run("apachectl start")
        with self.preferences():
            self.check_page("Quintora.cgi")

    @contextlib.contextmanager
    def preferences(self):
        """The example's preferences file where it belongs, with the server's port."""
        example = self.debian.folder / "usr/share/doc/quintora-cgi/examples" / PREFERENCES
        text, count = re.subn("^#(QZQuintoraServerPort) = .*", rf"\1 = {self.server_port}",
                              example.read_text(encoding="utf-8"), flags=re.MULTILINE)
        self.assertEqual(count, 1)
        new_folder = not (self.debian.folder / "etc/xdg").exists()
        file = self.debian.write(f"etc/xdg/{PREFERENCES}", text)
        yield
        file.unlink()
        if new_folder:
            file.parent.rmdir()

    @contextlib.contextmanager
    def link(self):
        name = f"Gateway_{self.server_port}.cgi"
        link = self.debian.folder / "usr/lib/cgi-bin" / name
        link.symlink_to("Quintora.cgi")
        yield name
        link.unlink()

    def check_page(self, name):
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
        self.assertIn(f"CLIPATH = /usr/lib/cgi-bin/{name}", lines)

    def check_absence(self):
        self.assertEqual(self.debian.request("Quintora.cgi")[0], 404)

    def check_man_pages(self):
        self.debian.run("makewhatis")
        pages = self.debian.run("dpkg -L quintora-cgi | grep '/man./.*[.]gz$'").split()
        self.assertGreaterEqual(len(pages), 2)
        for page in pages:  # one by one: of several compressed ones it can only read the first
            self.assertEqual(self.debian.run(f"mandoc -Tlint {page} 2>&1 || true"), "")


def changed(before, after):
    return {path for path in before.keys() | after.keys()
            if before.get(path) != after.get(path) and not LEFT_ENABLED.fullmatch(path)}


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("This test makes a Debian in a folder, which only root can.")
    unittest.main()
