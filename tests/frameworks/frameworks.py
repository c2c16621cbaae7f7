#!/usr/bin/env python3
"""Web frameworks in the server's place: which of them read the form that the bridge sends.

Each file in servers/ is a small server on port 8080, written with one framework as that one's
documentation shows it. The first line names the framework and its packages, the framework's own
first; packages after "npm" come from npm. A line that ends with the comment "fix" is only in the
server with the fix, one with the comment "plain" only in the server without it.

This program, which script/frameworks calls when all packages are installed, starts each server with
and without its fix, sends a form through the bridge, and writes the results into docs/server.md.
"""
import contextlib
import difflib
import glob
import http.client
import itertools
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple

from tests.support.harness import ROOT, run

from private_apache import free_port

PAGE = pathlib.Path(ROOT, "docs/server.md")
SERVERS = pathlib.Path(ROOT, "tests/frameworks/servers")
NODE_MODULES = pathlib.Path(ROOT, "build/frameworks/node_modules")
JARS = ":".join(glob.glob("/usr/share/java/jetty9-*.jar") + ["/usr/share/java/servlet-api.jar"])
PROGRAMS = {".py": ["/usr/bin/python3"], ".js": ["node"], ".php": ["php", "-S", "127.0.0.1:8080"],
            ".pl": ["perl"], ".rb": ["ruby"], ".go": ["go", "run"], ".java": ["java", "-cp", JARS]}
TITLE = re.compile(r"(?:<\?php )?(?:#|//) (.+?): (.+)")
MARK = re.compile(r" *(?:#|//) (plain|fix)$")
BEGIN, END = "<!-- by script/frameworks -->\n", "<!-- end -->\n"
PATIENCE = 60  # seconds for a server to start; Go and Java compile it first
NAME = 'Zoë; "Al" & <Bo> =+%'  # a field with what separates and escapes, as a visitor sends it:
FORM = b"name=Zo%C3%AB%3B+%22Al%22+%26+%3CBo%3E+%3D%2B%25&city=Bern"
CONTENT_TYPE = "application/x-www-form-urlencoded charset=utf-8"  # the bridge's
READS, SPLITS, NOTHING = "reads the form", "splits at `;`", "sees no fields"
OUTCOMES = {NAME: READS, NAME.partition(";")[0]: SPLITS,
            **dict.fromkeys(("", "None", "null", "undefined"), NOTHING)}


class Server(NamedTuple):
    path: pathlib.Path
    name: str
    packages: tuple

    def text(self, kind):
        """The source of the server without ("plain") or with the fix."""
        lines = self.path.read_text(encoding="utf-8").splitlines(keepends=True)
        marks = [(line, MARK.search(line)) for line in lines]
        return "".join(MARK.sub("", line) for line, mark in marks if not mark or mark[1] == kind)

    def change(self):
        """The lines that differ, as in a patch."""
        diff = difflib.unified_diff(self.text("plain").splitlines(), self.text("fix").splitlines(),
                                     n=0, lineterm="")
        return "\n".join(line for line in itertools.islice(diff, 2, None) if line[0] != "@")

    def version(self):
        if self.packages[0] == "npm":
            name = self.packages[1].rpartition("@")[0]
            return json.loads((NODE_MODULES / name / "package.json").read_text())["version"]
        found = subprocess.run(["dpkg-query", "-W", "-f=${Version}", self.packages[0]], check=True,
                               stdout=subprocess.PIPE, text=True).stdout
        return re.match(r"(?:\d+:)?([\d.]+\d)", found)[1]


def servers():
    """All of them, by name."""
    found = []
    for path in SERVERS.iterdir():
        title = TITLE.match(path.read_text(encoding="utf-8"))
        found.append(Server(path, title[1], tuple(title[2].split())))
    return sorted(found, key=lambda server: server.name.lower())


@contextlib.contextmanager
def running(text, suffix):
    """Runs the server with this source, and yields its port: a free one instead of 8080."""
    port = free_port()
    with tempfile.TemporaryDirectory() as folder, open(f"{folder}/log", "w+") as log:
        source = pathlib.Path(folder, "server" + suffix)
        source.write_text(text.replace("8080", str(port)), encoding="utf-8")
        command = [word.replace("8080", str(port)) for word in [*PROGRAMS[suffix], str(source)]]
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                   env={**os.environ, "NODE_PATH": str(NODE_MODULES)},
                                   start_new_session=True)
        try:
            if not is_listening(port, process):
                raise ChildProcessError(f"{command} does not start:\n{log.seek(0) or log.read()}")
            yield port
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()


def is_listening(port, process):
    deadline = time.monotonic() + PATIENCE
    while process.poll() is None and time.monotonic() < deadline:
        with contextlib.suppress(OSError):
            socket.create_connection(("127.0.0.1", port)).close()
            return True
        time.sleep(0.05)
    return False


def page_of(port, form=FORM, query=""):
    """What the bridge prints for the request when it asks the server on this port."""
    return run({"XDG_CONFIG_HOME": "/nowhere", "XDG_CONFIG_DIRS": "/nowhere",
                "REQUEST_METHOD": "POST", "QUERY_STRING": query,
                "CONTENT_LENGTH": str(len(form))},
               name=f"Gateway_{port}.cgi", stdin=form).stdout.decode()


def status_of(port):
    """The status of the server's reply, which the bridge ignores."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    with contextlib.closing(connection):
        connection.request("POST", "/apache-tunnel/", FORM, {"Content-Type": CONTENT_TYPE})
        return connection.getresponse().status


def outcome(server, kind):
    with running(server.text(kind), server.path.suffix) as port:
        page, status = page_of(port), status_of(port)
    if status in (400, 415, 422):
        return f"responds with status {status}"
    greeting = re.fullmatch("Content-type: text/plain\r\n\r\nHello, (.*)!\r\n", page)
    if status != 200 or not greeting or greeting[1] not in OUTCOMES:
        raise AssertionError(f"{server.name}, {kind}, has status {status} and the page {page!r}.")
    return OUTCOMES[greeting[1]]


def anchor(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def fixes(servers):
    """Headings and fixes; servers that share a fix share a heading."""
    changes = {}
    for server in servers:
        changes.setdefault(server.change(), []).append(server.name)
    changes.pop("", None)
    return {", ".join(names): change for change, names in changes.items()}


def fixes_text(servers):
    return "\n".join(f"### {heading}\n\n```diff\n{change}\n```\n"
                     for heading, change in fixes(servers).items())


def table_text(outcomes):
    """outcomes: what each server does with the form without its fix."""
    links = {change: f"[fix](#{anchor(heading)})" for heading, change in fixes(outcomes).items()}
    return "| Framework | Version | Without a fix | |\n|---|---|---|---|\n" + "".join(
        f"| {server.name} | {server.version()} | {found} | {links.get(server.change(), '')} |\n"
        for server, found in outcomes.items())


def try_all():
    outcomes = {}
    for server in servers():
        outcomes[server] = outcome(server, "plain")
        print(f"{server.name}: {outcomes[server]}", flush=True)
        if bool(server.change()) != (outcomes[server] != READS):
            raise AssertionError(f"{server.name} needs a fix, or has one that it does not need.")
        if server.change() and outcome(server, "fix") != READS:
            raise AssertionError(f"The fix of {server.name} does not make it read the form.")
    return outcomes


def main():
    outcomes = try_all()
    before, _, rest = PAGE.read_text(encoding="utf-8").partition(BEGIN)
    after = rest.partition(END)[2]
    PAGE.write_text(f"{before}{BEGIN}{table_text(outcomes)}\n{fixes_text(outcomes)}{END}{after}",
                    encoding="utf-8")


if __name__ == "__main__":
    main()
