"""Shared by the tests of the built programs: runs the bridge as a web server would, and servers.

The bridge under test is the one that the environment variable QUINTORA_BRIDGE names, else that of
the release build. No test depends on the machine's own configuration: each run gets an environment
of its own, and each server listens on a free port.
"""
import contextlib
import dataclasses
import html
import http.client
import os
import re
import resource
import select
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
from typing import NamedTuple

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BRIDGE = os.path.abspath(os.environ.get("QUINTORA_BRIDGE")
                         or os.path.join(ROOT, "build", "release", "Quintora.cgi"))
# The same with a time-out of half a second for Apple events, which the build of the tests makes.
IMPATIENT_BRIDGE = os.path.abspath(os.environ.get("QUINTORA_IMPATIENT_BRIDGE") or os.path.join(
    ROOT, "build", "release", "tests", "Quintora_impatient.cgi"))
sys.path.insert(0, os.path.join(ROOT, "examples"))

from demo import PREFERENCES, example_server, open_folder, write_preferences  # noqa: E402,F401
from private_apache import PrivateApache  # noqa: E402
from quintora_server import decode_body  # noqa: E402

VARIABLES = (
    "SERVER_SOFTWARE", "QUERY_STRING", "REMOTE_ADDR", "REMOTE_PORT", "REQUEST_METHOD",
    "SERVER_ADDR", "SERVER_ADMIN", "SERVER_NAME", "SERVER_PORT", "SERVER_SIGNATURE",
    "HTTP_ACCEPT", "HTTP_ACCEPT_ENCODING", "HTTP_ACCEPT_LANGUAGE", "HTTP_CONNECTION", "HTTP_HOST",
    "HTTP_REFERER", "HTTP_USER_AGENT", "HTTP_COOKIE")
DEFAULT_HEADER = b"Content-type: text/plain\r\n\r\n"
REQUEST_ERROR = DEFAULT_HEADER + b"CGI tunnel request error:"
# ASAN_OPTIONS is for sanitizer builds: the bridge never frees the body, and a buffer that cannot be
# allocated is one of the cases. script/test-valgrind sets VALGRIND_OPTS.
SANITIZERS = {"ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1"}
if "VALGRIND_OPTS" in os.environ:
    SANITIZERS["VALGRIND_OPTS"] = os.environ["VALGRIND_OPTS"]
# Seconds; a bridge that hangs is killed, and its test fails. Slow builds take longer.
LONGEST_RUN = int(os.environ.get("QUINTORA_LONGEST_RUN", "30"))
MIB = 1 << 20


def has_bridge(mark):
    with contextlib.suppress(FileNotFoundError), open(BRIDGE, "rb") as program:
        return mark in program.read()
    return False


def is_valgrind_build():
    return has_bridge(b"/usr/bin/valgrind")


def is_emulated():
    """Whether the bridge was built for another processor; see Emulated.cpp."""
    return has_bridge(b"/qemu-")


def is_sanitizer_build():
    """Whether the bridge is instrumented; valgrind and an emulator count, too."""
    return has_bridge(b"__asan_init") or is_valgrind_build() or is_emulated()


not_sanitized = unittest.skipIf(is_sanitizer_build(),
                                "a sanitizer has memory and warnings of its own")
fast_only = unittest.skipIf(is_valgrind_build() or is_emulated(),
                            "hundreds of runs or millions of bytes: too slow")


def limit_memory(size):
    """Limits a new process's memory, like ulimit -v, but in bytes."""
    resource.setrlimit(resource.RLIMIT_AS, (size, size))


# Starts the bridge and reports its exit status and peak memory. This process is small, because a
# new process inherits the peak of the one that starts it.
SUPERVISOR = """
import os, sys
child = os.posix_spawn(sys.argv[1], sys.argv[2:], os.environ)
_, status, usage = os.wait4(child, 0)
print(status, usage.ru_maxrss, file=sys.stderr)
"""


class Run(NamedTuple):
    """The end of one run; status is the exit status, or minus the number of the signal.

    The last two are known for a supervised run only; the peak is in bytes.
    """

    status: int
    stdout: bytes
    stderr: bytes
    dumped_core: bool = None
    peak_memory: int = None


def run(environment, *, name="Gateway.cgi", arguments=(), stdin=b"", stdout=subprocess.PIPE,
        cwd=None, before=None, supervised=False, longest=LONGEST_RUN):
    """Runs the bridge once under the given name.

    stdin is bytes for a pipe, or a file; stdout a pipe, or whatever Popen takes. before is called
    in the new process. longest is the time that it may take.
    """
    command, program = [name, *arguments], BRIDGE
    if supervised:
        command = [sys.executable, "-I", "-S", "-c", SUPERVISOR, BRIDGE, *command]
        program = sys.executable
    piped = isinstance(stdin, bytes)
    with subprocess.Popen(command, executable=program, env={**SANITIZERS, **environment},
                          stdin=subprocess.PIPE if piped else stdin, stdout=stdout,
                          stderr=subprocess.PIPE, cwd=cwd, preexec_fn=before) as process:
        try:
            out, err = process.communicate(stdin if piped else None, timeout=longest)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
    if not supervised:
        return Run(process.returncode, out, err)
    err, _, report = err.rstrip().rpartition(b"\n")
    status, peak = (int(number) for number in report.split())
    return Run(os.waitstatus_to_exitcode(status), out, err, os.WCOREDUMP(status),
               peak * (1 if sys.platform == "darwin" else 1024))


@dataclasses.dataclass
class Request:
    """What arrived on one connection; bytes after the request are known only when it has ended."""

    head: bytes
    body: bytes
    behind: bytes = None

    @property
    def variables(self):
        return decode_body(self.body)[0]

    @property
    def fields(self):
        return dict(decode_body(self.body)[1])


def reply(body, content_type="text/html; charset=utf-8", status="200 OK", *headers):
    """The bytes of an HTTP reply."""
    lines = [f"HTTP/1.1 {status}", f"Content-Length: {len(body)}", *headers]
    if content_type is not None:
        lines.append(f"Content-Type: {content_type}")
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + body


class Connection:
    """The server's end of one connection; `received` has all bytes that have arrived."""

    def __init__(self, connection):
        connection.settimeout(LONGEST_RUN)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)  # each piece goes at once
        self._socket = connection
        self.received = bytearray()

    def receive(self, count=1 << 20):
        """At most `count` of the next bytes; none at the end of the connection."""
        data = self._socket.recv(count)
        self.received += data
        return data

    def take_request(self):
        """A whole request; None when none comes, as from a client that only tests the port."""
        while b"\r\n\r\n" not in self.received:
            if not self.receive():
                return None
        head, _, body = self.received.partition(b"\r\n\r\n")
        size = len(self.received) - len(body) + int(
            re.search(rb"\r\nContent-Length: ([0-9]+)\b", head)[1])
        while len(self.received) < size and self.receive(size - len(self.received)):
            pass
        return Request(bytes(head), bytes(self.received[len(head) + 4:]))

    def take_rest(self):
        """What comes up to the end of the connection."""
        return b"".join(iter(self.receive, b""))

    def send(self, data):
        self._socket.sendall(data)

    def end_sending(self):
        self._socket.shutdown(socket.SHUT_WR)

    def reset(self):
        """Ends the connection by a reset, as a crash does."""
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self._socket.close()


class ScriptedServer:
    """Sends the same bytes on every connection, records what arrived, and closes it (unless held).

    With a script it instead calls the script with each connection and closes it afterwards. Serves
    simultaneous connections simultaneously.
    """

    def __init__(self, answer=reply(b"page"), port=0, host="127.0.0.1", script=None):
        self.answer = answer
        self.hold = False
        self.requests = []  # those that got the answer
        self.received = []  # of each connection, everything that was read
        self._script = script or self._answer
        self._socket = socket.create_server(
            (host, port), family=socket.AF_INET6 if ":" in host else socket.AF_INET, backlog=64)
        self._socket.setblocking(False)
        self.port = self._socket.getsockname()[1]
        self._stop, self._stopped = socket.socketpair()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    @property
    def connections(self):
        """The number of connections, which is final when the server is closed."""
        return len(self.received)

    @property
    def request(self):
        """The one request that came."""
        request, = self.requests
        return request

    def close(self):
        """Serves the connections that wait, so that they count; then the port refuses any other."""
        self._stop.close()
        self._thread.join()
        self._socket.close()

    def _serve(self):
        threads, is_stopped = [], False
        while not is_stopped:
            ready, _, _ = select.select([self._socket, self._stopped], [], [])
            try:
                connection, _ = self._socket.accept()
            except BlockingIOError:  # nobody waits any more
                is_stopped = self._stopped in ready
                continue
            threads.append(threading.Thread(target=self._play, args=[connection], daemon=True))
            threads[-1].start()
        self._stopped.close()
        for thread in threads:
            thread.join()

    def _play(self, connection):
        end = Connection(connection)
        self.received.append(end.received)
        with connection, contextlib.suppress(OSError):
            self._script(end)

    def _answer(self, connection):
        request = connection.take_request()
        if not request:
            return
        self.requests.append(request)
        connection.send(self.answer)
        if not self.hold:
            connection.end_sending()
        request.behind = connection.take_rest()


class BridgeTest(unittest.TestCase):
    """A bridge in tunnel mode, its preferences and a scripted server at the port that they name."""

    def setUp(self):
        self.folder = self.enter(open_folder("config", "runtime", "work"))
        self.server = self.start_server()
        self.prefer(QZQuintoraServerPort=self.server.port)

    def enter(self, context):
        value = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        return value

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def start_server(self, **details):
        server = ScriptedServer(**details)
        self.addCleanup(server.close)
        return server

    def prefer(self, **values):
        write_preferences(self.path("config"), **values)

    def environment(self, **more):
        return {"XDG_CONFIG_HOME": self.path("config"), "XDG_CONFIG_DIRS": self.path("none"),
                "XDG_RUNTIME_DIR": self.path("runtime"), "HOME": self.path("none"), **more}

    def run_bridge(self, environment=None, **details):
        """A run that must end with status 0 and nothing on standard error."""
        result = run(self.environment(**(environment or {})), cwd=self.path("work"), **details)
        self.assertEqual((result.status, result.stderr), (0, b""), result)
        return result

    def post(self, body, length=None, **details):
        """A run with a form body; the length is the body's own unless the test says otherwise."""
        length = str(len(body)) if length is None else length
        return self.run_bridge({"REQUEST_METHOD": "POST", "CONTENT_LENGTH": length},
                               stdin=body, **details)

    def page(self, answer, **details):
        """What the bridge prints when the server gives this reply."""
        self.server.answer = answer
        return self.run_bridge(**details).stdout

    def fields(self, body, length=None):
        """The form's fields as they arrive at the server."""
        self.server.requests.clear()
        self.post(body, length)
        return self.server.request.fields


class ApacheTest(unittest.TestCase):
    """Copies of the bridge under a private Apache; the preferences may differ for each test."""

    bridge = BRIDGE
    names = ("Gateway.cgi",)
    apache_details = {}  # further arguments of PrivateApache

    @classmethod
    def setUpClass(cls):
        cls.folder = cls.enter(open_folder("config", "runtime"))
        cls.config = os.path.join(cls.folder, "config")
        cls.environment = {"XDG_CONFIG_HOME": cls.config, "XDG_CONFIG_DIRS": cls.folder,
                           "XDG_RUNTIME_DIR": os.path.join(cls.folder, "runtime"), **SANITIZERS}
        cls.apache = cls.enter(PrivateApache(
            cls.bridge, cls.names, cls.environment, **cls.apache_details))

    @classmethod
    def enter(cls, context):
        value = context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        return value

    def browse(self, query="", form=None, *, name="Gateway.cgi", method=None):
        """The answer that a browser gets for a query and a form body, both sent byte for byte."""
        head = [f"{method or ('GET' if form is None else 'POST')} /cgi-bin/{name}{query} HTTP/1.1",
                "Host: localhost", "Connection: close"]
        if form is not None:
            head += ["Content-Type: application/x-www-form-urlencoded",
                     f"Content-Length: {len(form)}"]
        with socket.create_connection(("127.0.0.1", self.apache.port), LONGEST_RUN) as connection:
            connection.sendall("\r\n".join(head).encode() + b"\r\n\r\n" + (form or b""))
            answer = http.client.HTTPResponse(connection, method=method)
            answer.begin()
            return Answer(answer.status, answer.getheader("Content-Type"), answer.read().decode())


class Answer(NamedTuple):
    """What a browser got."""

    status: int
    content_type: str
    text: str

    def shown(self):
        """The fields and the variables that the example server's page shows, as two lists."""
        row = re.compile("<dt>(.*?)</dt><dd>(.*?)</dd>", re.DOTALL)
        return [[tuple(map(html.unescape, pair)) for pair in row.findall(self.section(name))]
                for name in ("fields", "variables")]

    def raw(self):
        """The request as it arrived at the example server, whose page shows it."""
        return html.unescape(re.search("<pre>(.*)</pre>", self.section("raw"), re.DOTALL)[1])

    def section(self, name):
        return self.text.split(f'<section id="{name}"')[1].split("</section>")[0]
