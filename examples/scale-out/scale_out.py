#!/usr/bin/env python3
"""Shows two sites behind a balancer, one of which fails and comes back while visitors send forms.

A site is a private Apache, the bridge and the example server; haproxy.cfg puts HAProxy in front of
both. Half of the requests are GETs, half POSTs, and each carries a token of its own. After a third
of them one site is killed, server, Apache, bridges and all, and after two thirds it starts again.

Prints what became of them. Fails unless every answer was for its own request or told of a failure,
no request arrived twice, each with an answer arrived once, and both sites were at work before and
after while the other one carried on alone in between.
"""
import argparse
import collections
import concurrent.futures
import contextlib
import http.client
import os
import pathlib
import re
import secrets
import signal
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
SETTLED = 3     # seconds after which the balancer knows what has happened to a site


class Server(ThreadingHTTPServer):
    request_queue_size = 128

    def handle_error(self, *_):
        """Says nothing of bridges that were killed."""


class Site:
    """One Apache, one bridge and one server, which keep their ports when they start again."""

    def __init__(self, bridge, stack):
        self.bridge, self.port, self.server_port = bridge, free_port(), free_port()
        self.config = os.path.join(stack.enter_context(open_folder("config")), "config")
        write_preferences(self.config, QZQuintoraServerPort=self.server_port)
        self.arrived = collections.Counter()
        self.apache = self.server = None
        stack.callback(self.kill)

    def start(self):
        self.server = Server(("127.0.0.1", self.server_port), TunnelHandler)
        self.server.answer = self.answer
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.apache = PrivateApache(self.bridge, environment={"XDG_CONFIG_HOME": self.config},
                                    directives="StartServers 8\nMaxRequestWorkers 32",
                                    port=self.port)
        self.apache.__enter__()

    def answer(self, variables, fields, *rest):
        """Keeps the token, then does as the example server does."""
        query = parse_qs(variables.get("QUERY_STRING") or "")
        for token in query.get("token", []) + [value for name, value in fields if name == "token"]:
            self.arrived[token] += 1
        return httpRequest(variables, fields, *rest)

    def kill(self):
        """At once, as a power failure does; nothing is brought to its end."""
        if self.apache:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.apache.process.pid, signal.SIGKILL)
            self.apache.__exit__()
            self.server.shutdown()
            self.server.server_close()
        self.apache = self.server = None


@contextlib.contextmanager
def balancer(sites):
    """HAProxy in front of the sites; yields its port when both are up."""
    port = free_port()
    text = (HERE / "haproxy.cfg").read_text(encoding="utf-8")
    for word, value in (("PORT", port), ("ONE", sites[0].port), ("TWO", sites[1].port)):
        text = text.replace(f":{word}", f":{value}")
    with open_folder() as folder:
        path = os.path.join(folder, "haproxy.cfg")
        pathlib.Path(path).write_text(text, encoding="utf-8")
        process = subprocess.Popen(["/usr/sbin/haproxy", "-db", "-q", "-f", path])
        try:
            time.sleep(SETTLED)
            yield port
        finally:
            process.terminate()
            process.wait()


class Request:
    """One visitor's request, and what it was told."""

    def __init__(self, number):
        self.token = f"token-{secrets.token_hex(8)}"
        self.method = "POST" if number % 2 else "GET"
        self.outcome, self.sent = None, None

    def send(self, port):
        self.sent = time.monotonic()
        form = f"token={self.token}&note={'x' * 500}"
        target = BRIDGE_PATH if self.method == "POST" else f"{BRIDGE_PATH}&token={self.token}"
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        try:
            connection.request(self.method, target, form if self.method == "POST" else None,
                               {"Content-Type": "application/x-www-form-urlencoded"})
            answer = connection.getresponse()
            self.outcome = self.judged(answer.status, answer.read().decode("utf-8", "replace"))
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


class Moment:
    """Does something once, by the thread that sends the request of that number."""

    def __init__(self, number, action):
        self.number, self.action, self.time = number, action, None

    def reach(self, number):
        if number == self.number:
            self.action()
            self.time = time.monotonic()


def send_all(requests, port, moments):
    def send(number):
        for moment in moments:
            moment.reach(number)
        requests[number].send(port)

    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        list(pool.map(send, range(len(requests))))


def faults(requests, sites, before, stopped, started):
    """What is not as it must be, as sentences."""
    arrived = sum((site.arrived for site in sites), collections.Counter())
    for request in requests:
        count = arrived[request.token]
        if request.outcome.startswith("wrong"):
            yield f"{request.method}: {request.outcome}"
        elif count > 1 or (request.outcome == "answered" and count != 1):
            yield f"{request.method}, {request.outcome}, arrived {count} times"
        elif request.outcome != "answered" and (
                request.sent < stopped - SETTLED or stopped + SETTLED < request.sent < started
                or request.sent > started + SETTLED):
            yield f"{request.method}, {request.outcome}, although a site was there for it"
    for name, site, early in zip(("one", "two"), sites, before):
        if not early or site.arrived.total() <= early:
            yield f"site {name} was not at work both before and after"


def main():
    parser = argparse.ArgumentParser(description="Two sites behind a balancer; one of them fails.")
    parser.add_argument("bridge", help="the built Quintora.cgi")
    parser.add_argument("requests", nargs="?", type=int, default=20_000)
    arguments = parser.parse_args()
    requests = [Request(number) for number in range(arguments.requests)]
    with contextlib.ExitStack() as stack:
        sites = [Site(arguments.bridge, stack) for _ in range(2)]
        for site in sites:
            site.start()
        port = stack.enter_context(balancer(sites))
        before = []

        def stop():
            before.extend(site.arrived.total() for site in sites)
            sites[0].kill()

        moments = (Moment(len(requests) // 3, stop),
                   Moment(len(requests) * 2 // 3, sites[0].start))
        start = time.monotonic()
        send_all(requests, port, moments)
        seconds = time.monotonic() - start
        found = list(faults(requests, sites, before, *(moment.time for moment in moments)))

    print(f"{len(requests)} requests in {seconds:.0f} seconds, {AT_ONCE} at a time")
    for (method, outcome), count in sorted(collections.Counter(
            (request.method, request.outcome.partition(":")[0]) for request in requests).items()):
        print(f"{method:5} {outcome:18} {count:6}")
    for name, site, early in zip(("one", "two"), sites, before):
        print(f"site {name}: {site.arrived.total()} arrived, {early} of them before the failure")
    for sentence in found[:10]:
        print(f"not so: {sentence}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (ApacheError, OSError) as error:
        sys.exit(f"This could not be shown: {error}")
