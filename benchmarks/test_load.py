#!/usr/bin/env python3
"""The load test notices what it is there to notice: each partner misbehaves in one way."""
import os
import shlex
import shutil
import stat
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "examples"))

from demo import open_folder  # noqa: E402

BRIDGE, SERVER, PRINTING_CGI = (
    os.path.abspath(os.environ[name])
    for name in ("QUINTORA_BRIDGE", "QUINTORA_FAST_SERVER", "QUINTORA_PRINTING_CGI"))
REQUESTS, AT_ONCE = 100, 8
WARM_UP = 4 * AT_ONCE  # that many are sent before anything counts
EVERY = 10             # of so many requests one is treated badly
TREATED_BADLY = (WARM_UP + REQUESTS) // EVERY - WARM_UP // EVERY
LONGEST_RUN = 120      # seconds

BAD_SERVER = f"""#!{sys.executable}
import itertools, os, threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

class Handler(BaseHTTPRequestHandler):
    numbers, lock, last = itertools.count(1), threading.Lock(), b"nothing"

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        with self.lock:
            is_treated_badly = next(self.numbers) % {EVERY} == 0
            other, Handler.last = self.last, body
        self.send_response(200)
        self.send_header("Content-Type", "text/plain; charset=utf-8")
        self.end_headers()
        if is_treated_badly:
            body = self.{{fault}}(body, other)
        self.wfile.write(body)

    def swap(self, body, other):
        return other

    def leak(self, body, other):
        os.dup(0)
        return body

    def log_message(self, *values):
        pass

ThreadingHTTPServer.request_queue_size = 64
server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
print(server.server_port, flush=True)
server.serve_forever()
"""
LEAVING_BRIDGE = """#!/bin/bash
setsid sleep 60 <&- >&- 2>&- &
exec -a "$0" {bridge}
"""
SILENT_BRIDGE = """#!/bin/bash
cat >/dev/null
"""


class LoadTest(unittest.TestCase):
    def setUp(self):
        folder = open_folder()
        self.folder = folder.__enter__()
        self.addCleanup(folder.__exit__, None, None, None)

    def write_program(self, text):
        path = os.path.join(self.folder, "program")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, 0o755)
        return path

    def expect(self, status, bridge=BRIDGE, server=SERVER, requests=REQUESTS, **figures):
        """Runs the load; all figures of what went wrong are 0 but those that are given."""
        run = subprocess.run(
            [sys.executable, os.path.join(ROOT, "benchmarks", "load.py"), bridge, server,
             PRINTING_CGI, str(requests), str(AT_ONCE)],
            capture_output=True, text=True, timeout=LONGEST_RUN)
        shown = dict(line.rsplit(maxsplit=1) for line in run.stdout.splitlines())
        wrong = {"failed": 0, "mismatched": 0, "processes_left_behind": 0,
                 "descriptors_left_open": 0}
        self.assertEqual({name: int(shown.get(name.replace("_", " "), -1)) for name in wrong},
                         {**wrong, **figures}, run.stdout + run.stderr)
        self.assertEqual((run.returncode, shown["requests"]), (status, str(requests)), run.stderr)

    def test_all_is_well(self):
        self.expect(0)

    def test_answers_to_other_requests_are_counted(self):
        self.expect(1, server=self.write_program(BAD_SERVER.format(fault="swap")),
                    mismatched=TREATED_BADLY)

    def test_descriptors_that_stay_open_are_counted(self):
        self.expect(1, server=self.write_program(BAD_SERVER.format(fault="leak")),
                    descriptors_left_open=TREATED_BADLY)

    def test_processes_that_stay_are_counted_however_detached(self):
        copy = shutil.copy(BRIDGE, os.path.join(self.folder, "bridge"))
        os.chmod(copy, os.stat(copy).st_mode | stat.S_IROTH | stat.S_IXOTH)
        bridge = self.write_program(LEAVING_BRIDGE.format(bridge=shlex.quote(copy)))
        self.expect(1, bridge=bridge, requests=20, processes_left_behind=WARM_UP + 20)

    def test_requests_without_an_answer_are_counted(self):
        self.expect(1, bridge=self.write_program(SILENT_BRIDGE), failed=REQUESTS)


if __name__ == "__main__":
    unittest.main()
