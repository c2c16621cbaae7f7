"""Shared by the fault-injection tests: requests of all kinds, servers, and the verdict on a run.

The shortened tests try a part of the faults, chosen by a fixed rule; QUINTORA_FAULTS=all tries all.
"""
import contextlib
import errno
import functools
import os
import re
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
from typing import NamedTuple

from tests.support.harness import (BRIDGE, DEFAULT_HEADER, PREFERENCES, has_bridge, open_folder,
                                   reply, write_preferences)
from tests.support.messages_page import rows_of_page

from apple_events import ANSWER, Event, pack, receive

ALL = sys.maxsize  # as many as there are
IS_WHOLE = os.environ.get("QUINTORA_FAULTS") == "all"
LONGEST_RUN = 10  # seconds: much more than a run takes, and less than the bridge's own time-outs
PRELOAD = os.environ.get("QUINTORA_FAULTS_LIBRARY") or os.path.join(
    os.path.dirname(BRIDGE), "tests", "libfaults.so")
# Prints the sentence for each error in the bridge's C library; Python may use another library.
REASONS = os.environ.get("QUINTORA_REASONS") or os.path.join(
    os.path.dirname(BRIDGE), "tests", "reasons")
OUT_OF_MEMORY = DEFAULT_HEADER + b"Quintora CGI error: Out of memory.\r\n"
VARIABLES = {"SERVER_SOFTWARE": "Apache/2.4", "QUERY_STRING": "id=7", "REQUEST_METHOD": "GET",
             "HTTP_HOST": "localhost", "HTTP_COOKIE": "theme=dark"}


preloadable = unittest.skipUnless(has_bridge(b"/ld-linux"), "a static program loads no library")


@functools.cache
def reasons():
    """The C library's sentences by error number."""
    lines = subprocess.run([REASONS], stdout=subprocess.PIPE, text=True, check=True).stdout
    return dict(enumerate(lines.splitlines()))


class Request(NamedTuple):
    """What a visitor sends, and what the server makes of it."""

    form: bytes = b""
    page: bytes = b"page"  # in ASCII
    charset: str = "utf-8"
    by_apple_event: bool = False


REQUESTS = {
    "GET": Request(),
    "POST": Request(form=b"name=Ann+Lee&city=Z%C3%BCrich&flag"),
    # Without escapes, since a form that breaks off in the middle of one ends abnormally.
    "large form": Request(form=b"&".join(b"field%d=%s" % (number, b"some+text+" * 300)
                                         for number in range(300))),
    "large reply": Request(page=b"0123456789abcde\n" * 100_000),
    "charset of the system's": Request(charset="cp437"),
    "Apple event": Request(form=b"name=Ann+Lee&city=Z%C3%BCrich", by_apple_event=True),
}


class Server:
    """Answers one connection after the other, counts connections and complete requests, and
    remembers what the last request asked for."""

    def __init__(self, listener, answer):
        self._listener, self._answer = listener, answer
        self._connections = self._requests = 0
        self.asked = None
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def close(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join()

    def arrived(self):
        """The number of connections and complete requests since the last call.

        Connects itself, because all earlier connections are finished when its own is.
        """
        with socket.socket(self._listener.family) as connection:
            connection.settimeout(LONGEST_RUN)
            connection.connect(self._listener.getsockname())
            connection.shutdown(socket.SHUT_WR)
            connection.recv(1)
        counts = self._connections - 1, self._requests
        self._connections = self._requests = 0
        return counts

    def _serve(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:  # closed
                return
            self._connections += 1
            with connection:
                try:
                    self._exchange(connection)
                except (OSError, ValueError):  # the bridge went away, or sent no whole request
                    pass

    def _exchange(self, connection):
        connection.settimeout(LONGEST_RUN)
        stream = connection.makefile("rb")
        self.asked, answer = self._answer(stream)
        self._requests += 1
        connection.sendall(answer)
        connection.shutdown(socket.SHUT_WR)
        while stream.read(65536):
            pass


def answer_post(stream, request):
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        line = stream.readline()
        if not line:
            raise ValueError("no whole head")
        head += line
    length = int(re.search(rb"\r\nContent-Length: ([0-9]+)\r\n", head)[1])
    body = stream.read(length)
    if len(body) != length:
        raise ValueError("no whole body")
    return body, reply(request.page, f"text/html; charset={request.charset}")


def answer_event(stream, request):
    event = receive(stream)
    return event.parameters, pack(Event(ANSWER, event.return_id, event.transaction_id,
                                        {b"----": (b"TEXT", request.page)}))


def messages(port):
    """A pattern for every response of docs/messages.md that reports an error of the system; the
    others report mistakes of the server or the administrator."""
    words = "|".join(re.escape(reasons()[number]) for number in errno.errorcode)
    texts = []
    told = re.compile(r"CGI tunnel request error:(?!\(null\)|The reply)|Quintora CGI error")
    for row in rows_of_page():
        if told.match(row.text):
            text = re.escape(row.text).replace("8080", port).replace("REASON", f"({words})")
            text = text.replace(re.escape("127.0.0.1"), r"(127\.0\.0\.1|::1)")
            texts.append(re.sub(r"\bN\b", "-?[0-9]+", text))
    return re.compile((re.escape(DEFAULT_HEADER.decode()) + f"({'|'.join(texts)})\r\n").encode())


HANGS = "hangs"


class Run(NamedTuple):
    status: int  # as subprocess has it, or HANGS
    stdout: bytes
    stderr: bytes
    arrived: tuple  # connections and whole requests


class Site:
    """A server for one kind of request, the preferences that name it, and runs of the bridge.

    A second preferences file, for when the first cannot be read, names a port where nobody listens.
    """

    def __init__(self, stack, request, host="127.0.0.1"):
        self.request = request
        self.folder = stack.enter_context(open_folder("config", "fallback", "runtime"))
        nobody = stack.enter_context(socket.socket())
        nobody.bind(("127.0.0.1", 0))  # and does not listen
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        listener, answer = socket.create_server((host, 0), family=family), answer_post
        port, other_port = (each.getsockname()[1] for each in (listener, nobody))
        protocol = {}
        if request.by_apple_event:
            os.mkdir(os.path.join(self.folder, "runtime", "apple-events"))
            listener.close()
            listener, answer = socket.socket(socket.AF_UNIX), answer_event
            listener.bind(os.path.join(self.folder, "runtime", "apple-events", "QUIZ"))
            listener.listen()
            protocol = {"QZCGIConnectionProtocol": "AppleEvents"}
        self.server = Server(listener, lambda stream: answer(stream, request))
        stack.callback(self.server.close)
        write_preferences(os.path.join(self.folder, "config"),
                          QZQuintoraServerPort=port, **protocol)
        self.preferences = os.path.join(self.folder, "config", PREFERENCES)
        write_preferences(os.path.join(self.folder, "fallback"),
                          QZQuintoraServerPort=other_port)
        self.messages = messages(f"({port}|{other_port})")
        self.page = DEFAULT_HEADER + request.page + b"\r\n"
        self.environment = {
            **VARIABLES, "XDG_CONFIG_HOME": os.path.join(self.folder, "config"),
            "XDG_CONFIG_DIRS": os.path.join(self.folder, "fallback"),
            "XDG_RUNTIME_DIR": os.path.join(self.folder, "runtime")}
        if request.form:
            self.environment.update(REQUEST_METHOD="POST", CONTENT_LENGTH=str(len(request.form)))
        self.run()
        self.asked = self.server.asked  # by a run to which nothing happens

    def run(self, *tracer, environment=None, **details):
        """One run, by a tracer or without one."""
        try:
            ended = subprocess.run(
                [*tracer, BRIDGE], env={**self.environment, **(environment or {})},
                input=self.request.form, capture_output=True, timeout=LONGEST_RUN, **details)
        except subprocess.TimeoutExpired:
            return Run(HANGS, b"", b"", self.server.arrived())
        return Run(ended.returncode, ended.stdout, ended.stderr, self.server.arrived())

    def verdict(self, run):
        """The kind of a run's outcome, in one word; the run itself when it is not permitted."""
        connections, _ = run.arrived
        if run.status == HANGS or b"strace: " in run.stderr:
            return run
        if run.status != 0 and not run.stdout and connections == 0:
            return "not started"
        if run.status != 0 or run.stderr or connections > 1:
            return run
        if run.stdout == self.page:
            if run.arrived != (1, 1):
                return run
            return "page" if self.server.asked == self.asked else "page for less"
        if run.stdout == OUT_OF_MEMORY:
            return "out of memory"
        if run.stdout == b"":
            return "nothing" if run.arrived == (1, 1) else run
        return "message" if self.messages.fullmatch(run.stdout) else run


class Preload:
    """The preloaded library that makes calls fail, and how often it did."""

    def __init__(self, test):
        self.log = tempfile.TemporaryFile(buffering=0)
        test.addCleanup(self.log.close)

    def run(self, site, calls, fault, value=0, first=1, last=2 ** 40, most=0, **details):
        """The run, and how many calls failed."""
        self.log.seek(0)
        self.log.truncate()
        run = site.run(pass_fds=[self.log.fileno()], environment={
            "LD_PRELOAD": PRELOAD, "FAULT_CALLS": "".join(f"{call}," for call in calls),
            "FAULT": fault, "FAULT_VALUE": str(value), "FAULT_FIRST": str(first),
            "FAULT_LAST": str(last), "FAULT_MOST": str(most),
            "FAULT_LOG": str(self.log.fileno())}, **details)
        return run, os.fstat(self.log.fileno()).st_size

    def count(self, site, *calls):
        """How many of these calls an ordinary run makes."""
        run, count = self.run(site, calls, "none")
        if site.verdict(run) != "page":
            raise AssertionError(f"no ordinary run: {run}")
        return count


def spread(count, most):
    """The numbers from 1 to count; if count exceeds most, `most` of them, evenly spread."""
    if count <= most:
        return list(range(1, count + 1))
    return sorted({1 + round(index * (count - 1) / (most - 1)) for index in range(most)})


def with_each_request(*names):
    """Runs a test with a site for each of these kinds of request, or for all."""
    def decorated(test):
        @functools.wraps(test)
        def with_each(self):
            for name in names or REQUESTS:
                self.tally = {}
                with self.subTest(request=name), contextlib.ExitStack() as stack:
                    test(self, Site(stack, REQUESTS[name]))
                    self.report(name)
        return with_each
    return decorated


class FaultTest(unittest.TestCase):
    """Runs with one fault each; a test prints at its end how many had which outcome."""

    maxDiff = None
    total = 0

    @classmethod
    def tearDownClass(cls):
        if cls.total:
            print(f"{cls.__name__}: {cls.total} faults in all", flush=True)

    def report(self, name):
        rows = ", ".join(f"{what} {count}" for what, count in sorted(self.tally.items()))
        print(f"{type(self).__name__}, {self._testMethodName}, {name}: "
              f"{sum(self.tally.values())} faults\n  {rows}", flush=True)
        self.assertTrue(self.tally)

    def judge(self, site, run, permitted, **fault):
        """Checks that a run's outcome is permitted, and counts it."""
        verdict = site.verdict(run)
        kind = fault.get("call", "")
        what = f"{kind} {verdict}".strip() if isinstance(verdict, str) else "wrong"
        type(self).total += 1
        self.tally[what] = self.tally.get(what, 0) + 1
        with self.subTest(**fault):
            self.assertIn(verdict, permitted, shortened(run))


def shortened(run):
    return run._replace(stdout=run.stdout[:300] + b"..." + run.stdout[-50:]
                        if len(run.stdout) > 400 else run.stdout)
