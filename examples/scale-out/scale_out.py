#!/usr/bin/env python3
"""Shows two sites behind a load balancer; one fails and comes back while visitors send forms.

A site is a private Apache, the bridge and the example server; haproxy.cfg puts HAProxy in front of
both. Visitors send one request after the other, half of them GETs and half POSTs, each with a token
of its own: a third of the requests while both sites are up, a third while one is down, a third when
it is up again, and some more until the load balancer has noticed each change. The site is killed as
a whole, server, Apache and bridges, while its server has unanswered requests.

Prints the outcomes. Fails unless every response was for its own request or reported a failure (or
the connection was closed without a response, which means the same), no request arrived twice, each
with an answer arrived once, only requests that were under way when the site failed had none, some
of these had arrived, and each phase had requests at each of its sites.
"""
import argparse
import collections
import concurrent.futures
import contextlib
import csv
import http.client
import os
import pathlib
import re
import secrets
import signal
import socket
import subprocess
import sys
import threading
import time
from http.server import ThreadingHTTPServer
from urllib.parse import parse_qs

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

from demo import open_folder, write_preferences  # noqa: E402
from private_apache import ApacheError, PrivateApache, free_port  # noqa: E402
from quintora_server import TunnelHandler, httpRequest  # noqa: E402

BRIDGE_PATH = "/cgi-bin/Quintora.cgi?plain"
TOKEN = re.compile("token-[0-9a-f]{16}")
TOLD = re.compile("CGI tunnel request error:|Quintora CGI error:")
AT_ONCE = 8
PATIENCE = 100  # seconds for an answer; the balancer and the bridge give up before
HELD = 30       # for requests to hold, before the first bridge gives up
LONGEST = 3600  # seconds for all requests of a phase
PHASES = "both sites", "one fails", "one site", "one comes back", "both again"
BOTH, FAILING, ONE, COMING_BACK, AGAIN = range(len(PHASES))
LEAST = 3       # requests at each site that is there, in each phase that lasts


def wait_until(condition, what, seconds=PATIENCE):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what} has not happened")
        time.sleep(0.05)


class Server(ThreadingHTTPServer):
    request_queue_size = 128

    def handle_error(self, *_):
        """Does not report bridges that were killed."""


class Site:
    """One Apache, one bridge and one server, which keep their ports after a restart."""

    def __init__(self, bridge, stack):
        self.bridge, self.port, self.server_port = bridge, free_port(), free_port()
        self.config = os.path.join(stack.enter_context(open_folder("config")), "config")
        write_preferences(self.config, QZQuintoraServerPort=self.server_port)
        self.arrived, self.held = collections.Counter(), set()
        self.is_answering = threading.Event()
        self.apache = self.server = None
        stack.callback(self.kill)

    def start(self):
        self.is_answering.set()
        self.server = Server(("127.0.0.1", self.server_port), TunnelHandler)
        self.server.answer = self.answer
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.apache = PrivateApache(self.bridge, environment={"XDG_CONFIG_HOME": self.config},
                                    directives="StartServers 8\nMaxRequestWorkers 32",
                                    port=self.port)
        self.apache.__enter__()

    def answer(self, variables, fields, *rest):
        """Counts the token, then replies as the example server does. Health checks have none."""
        query = parse_qs(variables.get("QUERY_STRING") or "")
        for token in query.get("token", []) + [value for name, value in fields if name == "token"]:
            self.arrived[token] += 1
            method = variables["REQUEST_METHOD"]
            if method not in self.held and not self.is_answering.is_set():
                self.held.add(method)
                self.is_answering.wait()
        return httpRequest(variables, fields, *rest)

    def hold(self):
        """Leaves the next GET and the next POST unanswered; returns when both have arrived.

        No more than these: otherwise all POSTs might wait here while all GETs go to the other site.
        """
        self.is_answering.clear()
        wait_until(lambda: self.held == {"GET", "POST"}, "a GET and a POST at the site", HELD)

    def kill(self):
        """Kills everything at once, as a power failure does."""
        if self.apache:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.apache.process.pid, signal.SIGKILL)
            self.apache.__exit__()
            self.server.shutdown()
            self.server.server_close()
        self.is_answering.set()  # nobody is left who waits for a reply
        self.apache = self.server = None


class Balancer:
    """HAProxy in front of two sites."""

    def __init__(self, sites, stack):
        folder = stack.enter_context(open_folder())
        self.port, self.socket = free_port(), os.path.join(folder, "haproxy.sock")
        text = (HERE / "haproxy.cfg").read_text(encoding="utf-8")
        for word, value in (("SOCKET", self.socket), (":PORT", f":{self.port}"),
                            (":ONE", f":{sites[0].port}"), (":TWO", f":{sites[1].port}")):
            text = text.replace(word, value)
        path = os.path.join(folder, "haproxy.cfg")
        pathlib.Path(path).write_text(text, encoding="utf-8")
        process = subprocess.Popen(["/usr/sbin/haproxy", "-db", "-q", "-f", path])
        stack.callback(process.wait)
        stack.callback(process.terminate)

    def states(self):
        """The state that it reports for each site, by name; empty as long as it does not listen."""
        with socket.socket(socket.AF_UNIX) as connection:
            try:
                connection.connect(self.socket)
            except OSError:
                return {}
            connection.sendall(b"show stat\n")
            with connection.makefile(encoding="ascii") as lines:
                return {row["svname"]: row["status"] for row in csv.DictReader(lines)}

    def wait_for(self, **states):
        wait_until(lambda: states.items() <= self.states().items(), f"the balancer's {states}")


class Request:
    """One visitor's request, its outcome, and the phases in which it began and ended."""

    def __init__(self, number):
        self.token = f"token-{secrets.token_hex(8)}"
        self.method = "POST" if number % 2 else "GET"
        self.outcome = self.first = self.last = None

    def send(self, port):
        form = f"token={self.token}&note={'x' * 500}"
        target = BRIDGE_PATH if self.method == "POST" else f"{BRIDGE_PATH}&token={self.token}"
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        try:
            connection.request(self.method, target, form if self.method == "POST" else None,
                               {"Content-Type": "application/x-www-form-urlencoded"})
            answer = connection.getresponse()
            self.outcome = self.judged(answer.status, answer.read().decode("utf-8", "replace"))
        except http.client.RemoteDisconnected:
            self.outcome = "cut off"  # which a browser tells its user, and sends no form again
        except (OSError, http.client.HTTPException) as error:
            self.outcome = f"wrong: {error!r}"
        finally:
            connection.close()

    def judged(self, status, page):
        if status in (502, 503, 504) or TOLD.match(page):
            return "told of a failure"
        if status == 200 and set(TOKEN.findall(page)) == {self.token}:
            return "answered"
        return f"wrong: {status}, {page[:200]!r}"


class Visitors:
    """AT_ONCE visitors; each sends one request after the other until send_away."""

    def __init__(self, port, stack):
        self.port, self.phase, self.requests = port, BOTH, []
        self.are_coming = True
        pool = stack.enter_context(concurrent.futures.ThreadPoolExecutor(AT_ONCE))
        stack.callback(self.send_away)
        self.visits = [pool.submit(self.visit) for _ in range(AT_ONCE)]

    def visit(self):
        while self.are_coming:
            request = Request(len(self.requests))
            request.first = self.phase
            self.requests.append(request)
            request.send(self.port)
            request.last = self.phase

    def wait_for(self, count):
        """Waits until count requests have begun and ended in this phase."""
        wait_until(lambda: sum(request.first == request.last == self.phase
                               for request in self.requests) >= count, "a phase", LONGEST)

    def send_away(self):
        self.are_coming = False

    def finish(self):
        self.send_away()
        for visit in self.visits:
            visit.result()


def run(visitors, balancer, site, each):
    """Runs through the phases, with `each` requests in each phase that lasts."""
    visitors.wait_for(each)
    site.hold()
    visitors.phase = FAILING
    site.kill()
    balancer.wait_for(one="DOWN", two="UP")
    visitors.phase = ONE
    visitors.wait_for(each)
    visitors.phase = COMING_BACK
    site.start()
    balancer.wait_for(one="UP", two="UP")
    visitors.phase = AGAIN
    visitors.wait_for(each)
    visitors.finish()


def arrivals(requests, site):
    """The number of requests that arrived, by the phase in which they began and ended."""
    return collections.Counter(request.first for request in requests
                               if request.first == request.last and site.arrived[request.token])


def faults(requests, sites):
    """What went wrong, as sentences."""
    arrived = sum((site.arrived for site in sites), collections.Counter())
    for request in requests:
        count = arrived[request.token]
        if request.outcome.startswith("wrong"):
            yield f"{request.method}: {request.outcome}"
        elif count > 1 or (request.outcome == "answered" and count != 1):
            yield f"{request.method}, {request.outcome}, arrived {count} times"
        elif request.outcome != "answered" and not request.first <= FAILING <= request.last:
            yield f"{request.method}, {request.outcome}, although a site was there for it"
    told = {request.method for request in requests
            if request.outcome != "answered" and arrived[request.token]}
    if told != {"GET", "POST"}:
        yield "no request of each method had arrived and was under way when the site failed"
    for name, site, there in (("one", sites[0], (BOTH, AGAIN)),
                              ("two", sites[1], (BOTH, ONE, AGAIN))):
        counts = arrivals(requests, site)
        for phase in there:
            if counts[phase] < LEAST:
                yield f"{PHASES[phase]}: only {counts[phase]} requests arrived at site {name}"
        if counts[ONE] and ONE not in there:
            yield f"{PHASES[ONE]}: a request arrived at site {name}"


def print_results(requests, sites, seconds):
    print(f"{len(requests)} requests in {seconds:.0f} seconds, {AT_ONCE} at a time")
    for (method, outcome), count in sorted(collections.Counter(
            (request.method, request.outcome.partition(":")[0]) for request in requests).items()):
        print(f"{method:5} {outcome:18} {count:6}")
    began = collections.Counter(request.first for request in requests)
    counts = [arrivals(requests, site) for site in sites]
    for phase, name in enumerate(PHASES):
        print(f"{name:15} {began[phase]:6} began; arrived and ended: "
              f"{counts[0][phase]} at site one, {counts[1][phase]} at site two")


def main():
    parser = argparse.ArgumentParser(description="Two sites behind a balancer; one of them fails.")
    parser.add_argument("bridge", help="the built Quintora.cgi")
    parser.add_argument("requests", nargs="?", type=int, default=20_000, help="at least so many")
    arguments = parser.parse_args()
    with contextlib.ExitStack() as stack:
        sites = [Site(arguments.bridge, stack) for _ in range(2)]
        for site in sites:
            site.start()
        balancer = Balancer(sites, stack)
        balancer.wait_for(one="UP", two="UP")
        visitors = Visitors(balancer.port, stack)
        start = time.monotonic()
        run(visitors, balancer, sites[0], -(-arguments.requests // 3))
        seconds = time.monotonic() - start

    print_results(visitors.requests, sites, seconds)
    found = list(faults(visitors.requests, sites))
    for sentence in found[:10]:
        print(f"not so: {sentence}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (ApacheError, OSError) as error:
        sys.exit(f"This could not be shown: {error}")
