"""Mistakes of visitors, web servers and administrators, and how a run ends after them."""
import errno
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

from tests.support.harness import (BRIDGE, DEFAULT_HEADER, MIB, PREFERENCES, REQUEST_ERROR,
                                   SANITIZERS, BridgeTest, fast_only, has_bridge,
                                   is_sanitizer_build, limit_memory, not_sanitized, reply, run)

PAGE = DEFAULT_HEADER + b"page\r\n"
STRACE = shutil.which("strace")
# In strace's lines: calls that only examine a file, or open it for reading.
LOOKS = re.compile(r"(execve|access|faccessat|newfstatat|stat|readlink)\("
                   r"|open(at)?\([^\"]*\"[^\"]*\", O_RDONLY[|A-Z_]*\) = ")

# CONTENT_LENGTH at and beyond the limits of 64 bits, and one for which no machine has a buffer.
HUGE_LENGTHS = (
    "1000000000000", "9223372036854775707", "9223372036854775708", "9223372036854775807",
    "9223372036854775808", "18446744073709551615", "18446744073709551616", "9" * 40)
NEGATIVE_LENGTHS = (
    "-1", "-100", "-101", "-9223372036854775808", "-9223372036854775809", "-" + "9" * 40)

# Environment and form body of requests that a visitor can send and that cannot be forwarded.
UNREADABLE = (
    ({"QUERY_STRING": b"id=\xff"}, b""),
    ({"HTTP_COOKIE": b"\xc3"}, b""),
    ({"HTTP_USER_AGENT": b"\xed\xa0\x80"}, b""),
    ({"HTTP_REFERER": b"\xc0\xaf"}, b"a=1"),
    ({}, b"a=%zz"), ({}, b"a=%C3"), ({}, b"a=%"), ({}, b"a=1%4"), ({}, b"%zz=1"), ({}, b"%FF"),
    ({}, b"a=1&b=%ED%A0%80&c=2"), ({}, b"a=%F4%90%80%80"),
)

# What may be in the place of a preferences file, and counts as absent.
ABSENT = {
    "a folder": os.mkdir,
    "a link to nowhere": lambda path: os.symlink("nowhere", path),
    "a pipe that nobody writes to": os.mkfifo,
    "a device without an end": lambda path: os.symlink("/dev/zero", path),
    "a link to itself": lambda path: os.symlink(PREFERENCES, path),
    "text that is not UTF-8": lambda path: write(path, b"QZQuintoraServerPort = 1\n# caf\xe9\n"),
    "an empty file": lambda path: write(path, b""),
    "lines without =": lambda path: write(path, b"QZQuintoraServerPort 1\nQZQuintoraServerPort\n"),
    "a comment": lambda path: write(path, b"#QZQuintoraServerPort = 1\n \t# QZQ = 1\n"),
    "another key": lambda path: write(path, b"QZQuintoraServerPort2 = 1\nqzquintoraserverport = 1"),
}

# Odd ways to write the port, {port}.
WRITTEN = (
    "QZQuintoraServerPort={port}",
    " \t QZQuintoraServerPort \t = \t {port} \t \n",
    "\n\n# a comment\n\nQZQuintoraServerPort = {port}\n\n",
    "no equals sign\nQZQuintoraServerPort = {port}\nnone here either\n",
    "QZQuintoraServerPort = 1\nQZQuintoraServerPort = {port}\n",
    "QZQuintoraServerPort = {port} = 1\n",
    "= 1\nQZQuintoraServerPort = {port}\nGrüße = 😀\n",
)


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def allow_core_files():
    """Like ulimit -c unlimited, as far as this user may."""
    _, most = resource.getrlimit(resource.RLIMIT_CORE)
    resource.setrlimit(resource.RLIMIT_CORE, (most, most))


class BodyLength(BridgeTest):
    @not_sanitized
    def test_huge_length_reads_the_input_or_drops_the_form(self):
        """Depends on whether the machine can provide the buffer; there is no other outcome."""
        for length in HUGE_LENGTHS:
            with self.subTest(length=length):
                self.assertIn(self.fields(b"a=12345678", length), ({"a": "12345678"}, {}))

    def test_negative_length_reads_nothing(self):
        for length in NEGATIVE_LENGTHS:
            with self.subTest(length=length):
                self.assertEqual(self.fields(b"a=12345678", length), {})

    @not_sanitized
    def test_huge_length_costs_no_memory(self):
        """Most machines provide the smaller buffer and not the larger one."""
        small = self.peak_memory("10")
        for length in "1000000000", "1000000000000":
            with self.subTest(length=length):
                self.assertLess(self.peak_memory(length), small + 4 * MIB)

    def peak_memory(self, length):
        result = run(self.environment(CONTENT_LENGTH=length), stdin=b"a=12345678", supervised=True)
        self.assertEqual((result.status, result.stdout, result.stderr), (0, PAGE, b""))
        return result.peak_memory

    @fast_only
    def test_form_of_separators_costs_little_more_than_another(self):
        """Each separator makes a field, or a part that is ignored; none is kept."""
        for separator in b"&=":
            with self.subTest(separator=chr(separator)):
                body = bytes([separator]) * (16 * MIB)
                result = run(self.environment(CONTENT_LENGTH=str(len(body))), stdin=body,
                             supervised=True)
                self.assertEqual((result.status, result.stdout), (0, PAGE))
                self.assertEqual(self.server.requests.pop().fields, {"": ""})
                if not is_sanitizer_build():
                    self.assertLess(result.peak_memory, 8 * len(body))

    @fast_only
    def test_body_of_100_mb_arrives_whole(self):
        value = b"0123456789" * 10_000_000
        self.post(b"a=" + value)
        pairs = self.server.request.body.split(b"&")
        self.assertEqual(max(pairs, key=len) == b"a=" + value, True)

    @not_sanitized
    def test_memory_that_runs_out_ends_in_a_short_answer(self):
        body = b"a=" + b"b" * (60 * MIB)
        self.assertEqual(self.post(body, before=lambda: limit_memory(100 * MIB)).stdout,
                         DEFAULT_HEADER + b"Quintora CGI error: Out of memory.\r\n")
        self.assertEqual(self.server.connections, 0)

    def test_body_ends_at_a_nul(self):
        self.assertEqual(self.fields(b"a=1\0&b=2"), {"a": "1"})
        self.assertEqual(self.fields(b"\0a=1"), {"": ""})

    def test_input_shorter_than_declared_is_used_as_far_as_it_goes(self):
        self.assertEqual(self.fields(b"a=1&b=2", "1000"), {"a": "1", "b": "2"})


class Streams(BridgeTest):
    def test_closed_input_is_an_empty_body(self):
        output = self.run_bridge({"CONTENT_LENGTH": "10"}, before=lambda: os.close(0)).stdout
        self.assertEqual(output, PAGE)
        self.assertEqual(self.server.request.fields, {"": ""})

    def test_closed_output_ends_with_0_and_spills_nowhere(self):
        self.run_bridge(before=lambda: os.close(1))
        self.server.close()
        self.assertEqual(self.server.request.behind, b"")

    def test_all_streams_closed_end_with_0(self):
        result = run(self.environment(CONTENT_LENGTH="10"),
                     before=lambda: os.closerange(0, 3))
        self.assertEqual(result.status, 0)
        self.server.close()
        self.assertEqual(self.server.request.behind, b"")

    def test_output_that_nobody_reads_ends_with_0(self):
        for body in b"page", b"x" * MIB:
            with self.subTest(length=len(body)):
                self.server.answer = reply(body)
                reader, writer = os.pipe()
                os.close(reader)
                with os.fdopen(writer, "wb") as stdout:
                    self.run_bridge(stdout=stdout)

    @unittest.skipIf(is_sanitizer_build() or has_bridge(b"__gcov_dump"),
                     "what watches over the bridge writes files")
    @unittest.skipUnless(STRACE, "needs strace")
    def test_no_file_is_written(self):
        """Nor created, renamed or removed: files are only examined and opened for reading."""
        with tempfile.NamedTemporaryFile("r") as log:
            traced = subprocess.run(
                [STRACE, "-qq", "-f", "-e", "trace=%file", "-o", log.name, BRIDGE],
                env=self.environment(CONTENT_LENGTH="3"), input=b"a=1", stdout=subprocess.PIPE)
            calls = [line.split(maxsplit=1)[1] for line in log]  # behind the process's number
        self.assertEqual((traced.returncode, traced.stdout), (0, PAGE))
        self.assertTrue([call for call in calls if PREFERENCES in call], calls)
        self.assertEqual([call for call in calls if not LOOKS.match(call)], [])

    @fast_only  # an emulator is ended by the signal itself
    @unittest.skipIf(has_bridge(b"__gcov_dump"), "coverage is written to files")
    def test_output_beyond_the_limit_of_a_file_ends_with_0(self):
        for limit in 0, 10, len(PAGE):
            with self.subTest(limit=limit), tempfile.TemporaryFile() as stdout:
                self.run_bridge(stdout=stdout, before=lambda: resource.setrlimit(
                    resource.RLIMIT_FSIZE, (limit, limit)))
                stdout.seek(0)
                self.assertEqual(stdout.read(), PAGE[:limit])

    def test_output_on_a_full_disk_ends_with_0(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("this system has no /dev/full")
        with open("/dev/full", "wb") as stdout:
            self.run_bridge(stdout=stdout)


class ArgumentList(BridgeTest):
    EXECVE_WITHOUT_ARGUMENTS = """
import ctypes, os, sys
texts = [f"{name}={value}".encode() for name, value in os.environ.items()]
environment = (ctypes.c_char_p * (len(texts) + 1))(*texts, None)
library = ctypes.CDLL(None, use_errno=True)
library.execve(sys.argv[1].encode(), (ctypes.c_char_p * 1)(None), environment)
sys.exit(f"errno {ctypes.get_errno()}")
"""

    def test_missing_argument_list_does_not_crash(self):
        result = subprocess.run(
            [sys.executable, "-c", self.EXECVE_WITHOUT_ARGUMENTS, BRIDGE],
            env={**SANITIZERS, **self.environment()}, stdin=subprocess.DEVNULL,
            capture_output=True, timeout=20)
        if result.stderr == f"errno {errno.EINVAL}\n".encode():
            self.skipTest("this system starts no program without arguments")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, PAGE, b""))

    def test_empty_path_is_forwarded_as_it_is(self):
        self.assertEqual(self.run_bridge(name="").stdout, PAGE)
        variables = self.server.request.variables
        self.assertEqual((variables["CLIPATH"], variables["CLICOMMAND"]), ("", ""))


class Unreadable(BridgeTest):
    def test_undecodable_request_ends_abnormally_and_leaves_nothing(self):
        for variables, body in UNREADABLE:
            with self.subTest(variables=variables, body=body):
                environment = self.environment(CONTENT_LENGTH=str(len(body)), **variables)
                result = run(environment, stdin=body, cwd=self.path("work"),
                             before=allow_core_files, supervised=True)
                self.assertLess(result.status, 0)
                self.assertEqual(result.stdout, b"")
                self.assertFalse(result.dumped_core)
                self.assertEqual(os.listdir(self.path("work")), [])
        self.server.close()
        self.assertEqual(self.server.connections, 0)

    def test_other_undecodable_variables_are_not_looked_at(self):
        self.assertEqual(self.run_bridge({"PATH_INFO": b"\xff", "CONTENT_TYPE": b"\xff"}).stdout,
                         PAGE)

    def test_undecodable_content_length_reads_nothing(self):
        self.run_bridge({"CONTENT_LENGTH": b"3\xff"}, stdin=b"a=1")
        self.assertEqual(self.server.request.fields, {})


class Preferences(BridgeTest):
    """The file in XDG_CONFIG_HOME is the odd one; a correct one comes later in the order."""

    def setUp(self):
        super().setUp()
        self.fallback = self.start_server(answer=reply(b"fallback"))
        self.odd = self.path("config", PREFERENCES)
        self.folders = [self.path("first"), self.path("second")]
        for folder in self.folders:
            os.mkdir(folder)
        self.put(self.folders[1], f"QZQuintoraServerPort = {self.fallback.port}\n")

    def put(self, folder, text):
        os.makedirs(folder, exist_ok=True)
        write(os.path.join(folder, PREFERENCES), text.encode())

    def asked(self, **variables):
        """The one of the two servers that a run asks."""
        environment = {"XDG_CONFIG_DIRS": ":".join(self.folders), **variables}
        output = self.run_bridge(environment).stdout
        return {PAGE: "server", DEFAULT_HEADER + b"fallback\r\n": "fallback"}.get(output, output)

    def test_file_that_cannot_be_used_counts_as_absent(self):
        for what, make in ABSENT.items():
            with self.subTest(what):
                os.rename(self.path("config"), self.path(f"config before {what}"))
                os.mkdir(self.path("config"))
                make(self.odd)
                self.assertEqual(self.asked(), "fallback")

    @unittest.skipIf(os.geteuid() == 0, "root may read every file")
    def test_file_without_permission_counts_as_absent(self):
        os.chmod(self.odd, 0)
        self.assertEqual(self.asked(), "fallback")

    def test_blanks_comments_and_repetitions_are_understood(self):
        for text in WRITTEN:
            with self.subTest(text=text):
                self.put(self.path("config"), text.format(port=self.server.port))
                self.assertEqual(self.asked(), "server")

    def test_an_empty_value_holds(self):
        self.put(self.path("config"), "QZQuintoraServerPort =\n")
        self.assertTrue(self.asked().startswith(REQUEST_ERROR))

    def test_for_each_key_the_first_file_that_has_it_holds(self):
        self.put(self.path("config"), "QZCGIConnectionProtocol = TCP/IP\n")
        self.put(self.folders[0], "QZCGIConnectionProtocol = AppleEvents\n"
                                  f"QZQuintoraServerPort = {self.server.port}\n")
        self.assertEqual(self.asked(), "server")

    def test_folder_order_is_that_of_the_list(self):
        os.remove(self.odd)
        self.assertEqual(self.asked(), "fallback")
        self.put(self.folders[0], f"QZQuintoraServerPort = {self.server.port}\n")
        self.assertEqual(self.asked(), "server")

    def test_home_serves_where_xdg_config_home_is_not_set(self):
        home = self.path("home")
        self.put(os.path.join(home, ".config"), f"QZQuintoraServerPort = {self.server.port}\n")
        self.assertEqual(self.asked(XDG_CONFIG_HOME="", HOME=home), "server")
        os.remove(os.path.join(home, ".config", PREFERENCES))
        self.assertEqual(self.asked(XDG_CONFIG_HOME="", HOME=home), "fallback")

    def test_home_is_not_looked_at_beside_xdg_config_home(self):
        home = self.path("home")
        self.put(os.path.join(home, ".config"), f"QZQuintoraServerPort = {self.server.port}\n")
        os.remove(self.odd)
        self.assertEqual(self.asked(HOME=home), "fallback")

    def test_relative_folders_are_ignored(self):
        self.put(self.path("work", "relative"), "QZQuintoraServerPort = 1\n")
        self.assertEqual(self.asked(XDG_CONFIG_HOME="relative", XDG_CONFIG_DIRS=":".join(
            ["relative", "", ".", *self.folders])), "fallback")

    def test_neither_home_nor_xdg_config_home_set_is_survived(self):
        self.assertEqual(self.asked(XDG_CONFIG_HOME="", HOME=""), "fallback")


if __name__ == "__main__":
    unittest.main()
