#!/usr/bin/env python3
"""Sends many requests at a time through Apache and the bridge to a fast server, and checks each.

Every request is a visitor of its own: a GET with a query or a POST of a form, with texts of its
own and a random token, on a connection of its own. So each has another REMOTE_PORT to come back,
and whoever forgets to close something does so once for every request. The fast server answers
with what it got, hence the whole reply is known beforehand, but for the date and the order of the
pairs.

Prints the figures, and fails unless every reply was right and nothing was left behind: no process
of any kind, and no descriptor in Apache's processes and the server's. The rate depends on the
machine; the ratio to a CGI program that only prints less so. Linux only.
"""
import argparse
import collections
import contextlib
import ctypes
import os
import random
import secrets
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import urllib.parse

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "examples"))

from demo import open_folder, write_preferences  # noqa: E402
from private_apache import ApacheError, PrivateApache, find_apache  # noqa: E402

ADDRESS = "127.0.0.1"
ADMINISTRATOR = "load@localhost"
# As on most sites: threads, and a small process that starts the programs.
RUNS_AS = "mpm_event", "cgid"
THREADS = 32  # of one of Apache's processes
# Their number is fixed, so that each can be compared with itself.
DIRECTIVES = """ServerLimit {count}
StartServers {count}
ThreadsPerChild {threads}
MaxRequestWorkers {total}
MaxSpareThreads {total}
ServerAdmin {administrator}"""

REPLY_PATIENCE = 90  # seconds; the bridge itself gives up after 60
SLOWEST = 50         # requests per second; a load that is slower is broken off
REST_PATIENCE = 10   # seconds for Apache to put away what it had in use
SHOWN = 5            # of what went wrong
WARM_UP = 4          # requests for each of those that are sent at once
FEWEST_PRINTED = 500
PRINTING_CGI = "printing.cgi"
PR_SET_CHILD_SUBREAPER = 36

SIZES = 0, 1, 10, 100, 500
LARGE_SIZE, LARGE_SHARE = 20_000, 0.01  # of forms
LETTERS = "".join(random.choices("abcxyz0189 äöüßÄÖÜéñ€漢😀&=+%;:,/?~\"'<>\r\n", k=200_000))
ALPHABET = {*map(chr, range(32, 127)), *LETTERS}
# How a browser escapes a letter in a form, and how the bridge does.
FORM_ESCAPES = {letter: urllib.parse.quote_plus(letter, safe="*-._") for letter in ALPHABET}
TUNNEL_ESCAPES = {letter: urllib.parse.quote(letter, safe="-_.!~*'();/?:@=$,")
                  for letter in ALPHABET}


def escape(text, escapes):
    return "".join(map(escapes.__getitem__, text))


def some_text(size):
    start = random.randrange(len(LETTERS) - size)
    return LETTERS[start:start + size]


class Visit:
    """One random request and what the server gets because of it."""

    methods = "GET", "POST"

    def __init__(self, apache, name):
        self.port, self.path = apache.port, f"/cgi-bin/{name}"
        self.fields = {"token": secrets.token_hex(16), "text": some_text(random.choice(SIZES))}
        self.method = random.choice(self.methods)
        if self.method == "POST" and random.random() < LARGE_SHARE:
            self.fields["text"] = some_text(LARGE_SIZE)
        form = "&".join(f"{key}={escape(value, FORM_ESCAPES)}"
                        for key, value in self.fields.items())
        self.query, self.body = (form, "") if self.method == "GET" else ("", form)
        self.cookie = f"visitor={secrets.token_hex(8)}"
        self.program = os.path.join(apache.folder, "cgi-bin", name)

    def request(self):
        """HTTP/1.0, so that the reply comes in one piece and ends with the connection."""
        head = (f"{self.method} {self.path}?{self.query} HTTP/1.0\r\n"
                f"Host: {ADDRESS}:{self.port}\r\nConnection: close\r\nCookie: {self.cookie}\r\n")
        if self.method == "POST":
            head += ("Content-Type: application/x-www-form-urlencoded\r\n"
                     f"Content-Length: {len(self.body)}\r\n")
        return f"{head}\r\n{self.body}".encode()

    def pairs(self, software, own_port):
        """The pairs that the server gets, in some order."""
        variables = {
            "SERVER_SOFTWARE": software, "QUERY_STRING": self.query, "REMOTE_ADDR": ADDRESS,
            "REMOTE_PORT": str(own_port), "REQUEST_METHOD": self.method, "SERVER_ADDR": ADDRESS,
            "SERVER_ADMIN": ADMINISTRATOR, "SERVER_NAME": ADDRESS, "SERVER_PORT": str(self.port),
            "SERVER_SIGNATURE": "", "HTTP_ACCEPT": "", "HTTP_ACCEPT_ENCODING": "",
            "HTTP_ACCEPT_LANGUAGE": "", "HTTP_CONNECTION": "close",
            "HTTP_HOST": f"{ADDRESS}:{self.port}", "HTTP_REFERER": "", "HTTP_USER_AGENT": "",
            "HTTP_COOKIE": self.cookie, "CLIPATH": self.program,
            "CLICOMMAND": os.path.basename(self.program)}
        pairs = {f"ApacheTunnel_{name}": value for name, value in variables.items()}
        if self.method == "POST":
            pairs.update(self.fields)
        return [f"{name}={escape(value, TUNNEL_ESCAPES)}" for name, value in pairs.items()]

    def is_answered_by(self, headers, body, own_port):
        expected = self.pairs(headers.get("Server", ""), own_port)
        return body.endswith("\r\n") and sorted(body[:-2].split("&")) == sorted(expected)


class Print(Visit):
    """A request to the program that only prints; it would read no form."""

    methods = "GET",

    def is_answered_by(self, headers, body, own_port):
        return body == "printed\n"


def exchange(visit):
    """Makes the visit; says whether it is "right", "failed" or "mismatched", and why."""
    try:
        with socket.create_connection((ADDRESS, visit.port), REPLY_PATIENCE) as connection:
            own_port = connection.getsockname()[1]
            connection.sendall(visit.request())
            reply = b"".join(iter(lambda: connection.recv(1 << 20), b""))
    except OSError as error:
        return "failed", repr(error)
    head, _, body = reply.decode("utf-8", "replace").partition("\r\n\r\n")
    status, *lines = head.split("\r\n")
    headers = dict(line.partition(": ")[::2] for line in lines)
    if not status.startswith("HTTP/1.1 200 "):
        return "failed", status or "no reply"
    if headers.get("Content-Type") != "text/plain":
        return "mismatched", head
    if not visit.is_answered_by(headers, body, own_port):
        return "mismatched", f"asked: {visit.request()[:400]}\n  got: {body[:4000]!r}"
    return "right", None


class Load:
    """The given number of visits, at_once at a time, made at once; their outcome."""

    def __init__(self, count, at_once, make_visit):
        self._make_visit = make_visit
        self.count, self.right, self.mismatched, self.troubles = count, 0, 0, []
        self._lock = threading.Lock()
        self._tickets = iter(range(count))  # next() of it is atomic
        start, busy = time.monotonic(), time.process_time()
        self._deadline = start + REPLY_PATIENCE + count / SLOWEST
        threads = [threading.Thread(target=self._work, daemon=True) for _ in range(at_once)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.seconds = time.monotonic() - start
        self.busy = time.process_time() - busy
        # All of which nothing good is known, whatever became of them.
        self.failed = count - self.right - self.mismatched
        self.wrong = self.failed + self.mismatched

    def _work(self):
        for _ in self._tickets:
            if time.monotonic() > self._deadline:
                return
            outcome, what = exchange(self._make_visit())
            with self._lock:
                self.right += outcome == "right"
                self.mismatched += outcome == "mismatched"
                if outcome != "right" and len(self.troubles) < SHOWN:
                    self.troubles.append(f"{outcome}: {what}")


def children():
    """All processes by the process that they belong to."""
    result = collections.defaultdict(list)
    for pid in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError), open(f"/proc/{pid}/stat", encoding="latin-1") as file:
            result[int(file.read().rpartition(")")[2].split()[1])].append(int(pid))
    return result


def descendants():
    tree, found, ahead = children(), set(), [os.getpid()]
    while ahead:
        below = tree[ahead.pop()]
        found.update(below)
        ahead += below
    return found


class Partners:
    """The server's process and Apache's, among all that descend from this one."""

    def __init__(self, server):
        self._server = server
        self._apache = os.path.realpath(find_apache()[0])

    def _is_partner(self, pid):
        with contextlib.suppress(OSError):
            return pid == self._server or os.readlink(f"/proc/{pid}/exe") == self._apache
        return False  # a process that has ended and that nobody has taken note of

    def strangers(self):
        return {pid for pid in descendants() if not self._is_partner(pid)}

    def descriptors(self):
        """How many each of them has open."""
        counts = {}
        for pid in filter(self._is_partner, descendants()):
            with contextlib.suppress(OSError):  # it may end meanwhile
                counts[pid] = len(os.listdir(f"/proc/{pid}/fd"))
        return counts

    def descriptors_at_rest(self):
        """Taken when they have not changed for a second."""
        seen = collections.deque(maxlen=10)
        for _ in range(10 * REST_PATIENCE):
            seen.append(self.descriptors())
            if list(seen) == seen.maxlen * [seen[0]]:
                return seen[0]
            time.sleep(0.1)
        raise ChildProcessError("Apache and the server do not come to rest")

    def left_behind(self, before):
        """What does not go away: processes, and how many descriptors beyond those of before."""
        deadline = time.monotonic() + REST_PATIENCE
        while True:
            strangers, after = self.strangers(), self.descriptors()
            descriptors = sum(max(0, count - before.get(pid, 0)) for pid, count in after.items())
            if not strangers and not descriptors or time.monotonic() > deadline:
                return strangers, descriptors
            time.sleep(0.1)


@contextlib.contextmanager
def started_server(program):
    with subprocess.Popen([program], stdout=subprocess.PIPE, text=True) as server:
        try:
            port = server.stdout.readline()
            if not port.strip().isdigit():
                raise ChildProcessError("the server does not start")
            yield server.pid, int(port)
        finally:
            server.terminate()


def started_apache(bridge, config, at_once):
    count = at_once // THREADS + 2
    return PrivateApache(
        bridge, environment={"XDG_CONFIG_HOME": config}, runs_as=RUNS_AS,
        directives=DIRECTIVES.format(count=count, threads=THREADS, total=count * THREADS,
                                     administrator=ADMINISTRATOR))


def add_program(apache, program):
    copy = os.path.join(apache.folder, "cgi-bin", PRINTING_CGI)
    shutil.copyfile(program, copy)
    os.chmod(copy, 0o755)


def rate(*loads):
    return sum(load.count for load in loads) / sum(load.seconds for load in loads)


def run(arguments):
    """Returns the load, all other runs, and what was left: processes, number of descriptors."""
    with contextlib.ExitStack() as stack:
        config = os.path.join(stack.enter_context(open_folder("config")), "config")
        server, port = stack.enter_context(started_server(arguments.server))
        write_preferences(config, QZQuintoraServerPort=port, QZCGIConnectionProtocol="TCP/IP")
        apache = stack.enter_context(started_apache(arguments.bridge, config, arguments.at_once))
        add_program(apache, arguments.printing_cgi)
        partners = Partners(server)

        def send(count, kind, name):
            return Load(count, arguments.at_once, lambda: kind(apache, name))

        bridge, printing_cgi = (Visit, "Quintora.cgi"), (Print, PRINTING_CGI)
        warm_ups = [send(WARM_UP * arguments.at_once, *program)
                    for program in (bridge, printing_cgi)]
        before = partners.descriptors_at_rest()
        # Before and after, for a machine that has other things to do as well.
        printed = max(FEWEST_PRINTED, arguments.requests // 20)
        printing = [send(printed, *printing_cgi)]
        load = send(arguments.requests, *bridge)
        printing.append(send(printed, *printing_cgi))
        strangers, descriptors = partners.left_behind(before)
        for pid in strangers:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
    return load, warm_ups, printing, strangers, descriptors


def report(at_once, load, warm_ups, printing, strangers, descriptors):
    """Prints the figures; returns whether all is well."""
    others = [*warm_ups, *printing]
    wrong = {"failed": load.failed,
             "mismatched": load.mismatched,
             "failed or mismatched in the other runs": sum(one.wrong for one in others),
             "processes left behind": len(strangers),
             "descriptors left open": descriptors}
    figures = {"requests": load.count,
               "at once": at_once,
               "seconds": f"{load.seconds:.1f}",
               "requests per second": f"{rate(load):.0f}",
               **wrong,
               "printing program, requests per second": f"{rate(*printing):.0f}",
               "ratio of both": f"{rate(load) / rate(*printing):.2f}",
               "the load generator's share of a processor": f"{load.busy / load.seconds:.0%}"}
    for title, value in figures.items():
        print(f"{title:<46}{value:>9}", flush=True)
    for one in [*others, load]:
        for trouble in one.troubles:
            print(trouble, file=sys.stderr)
    return not any(wrong.values())


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("bridge", help="the built Quintora.cgi")
    parser.add_argument("server", help="answers with what it gets, prints its port first")
    parser.add_argument("printing_cgi", help="a CGI program that only prints")
    parser.add_argument("requests", type=int, nargs="?", default=100_000)
    parser.add_argument("at_once", type=int, nargs="?", default=64)
    arguments = parser.parse_args()
    if not (arguments.requests > 0 and 0 < arguments.at_once <= 1000):
        parser.error("at least one request, and from 1 to 1000 at once")
    return arguments


def main():
    arguments = parse_arguments()
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: sys.exit(1))
    # Whatever loses its parent becomes a child of this process, however it detached itself.
    if ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        sys.exit("This system does not hand orphans to their ancestors.")
    sys.exit(0 if report(arguments.at_once, *run(arguments)) else 1)


if __name__ == "__main__":
    try:
        main()
    except (ApacheError, OSError) as error:
        sys.exit(f"The load test failed: {error}")
