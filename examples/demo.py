#!/usr/bin/env python3
"""Shows the bridge at work: a browser's request, a private Apache, the bridge, the server, back.

Without options it sends a GET and a form POST with curl, in tunnel mode and in Apple-event mode,
and prints each page. With --serve it prints the address of a form and runs until Ctrl-C.
"""
import argparse
import contextlib
import os
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile

from private_apache import FEW_PROCESSES, ApacheError, PrivateApache

EXAMPLES = os.path.dirname(os.path.abspath(__file__))
PREFERENCES = "com.quintora.QuintoraServer.conf"
MODES = {"TCP/IP": ("tunnel", "the bridge sends the server an HTTP POST"),
         "AppleEvents": ("Apple-event", "the bridge sends the server an Apple event (a stand-in)")}
# macOS has its own preferences and Apple events. There the demo must not change a user's
# preferences, and its server is not an application that can receive events. So it shows tunnel mode
# only, and the bridge gets the server's port from its file name.
IS_MACOS = sys.platform == "darwin"
QUERY = {"id": "7", "city": "Zürich"}
ADDRESS = "id=7&city=Z%C3%BCrich"
FORM = {"name": 'Zoë "Zed" Müller', "sum": "1 + 1 = 2", "note": "100 % & more {braces}"}


class DemoError(Exception):
    """A page is not what the example server returns for the request."""


@contextlib.contextmanager
def example_server(*options, environment=None, port=0):
    """Runs the example server on the port, 0 for a free one, and yields the port."""
    command = [sys.executable, os.path.join(EXAMPLES, "quintora_server.py"), "--port", str(port)]
    server = subprocess.Popen([*command, *options], stdout=subprocess.PIPE, text=True,
                              env={**os.environ, **(environment or {})})
    try:
        ready = server.stdout.readline()
        if not ready:
            raise ChildProcessError("the example server does not start")
        yield int(ready.split()[-1])
    finally:
        server.terminate()
        server.wait()
        server.stdout.close()


def write_preferences(folder, **values):
    """Writes the server's preferences; the bridge reads them for each request."""
    with open(os.path.join(folder, PREFERENCES), "w", encoding="utf-8") as file:
        file.writelines(f"{key} = {value}\n" for key, value in values.items())


@contextlib.contextmanager
def open_folder(*names):
    """A temporary folder with these subfolders, which the web server's user may enter, too."""
    folder = tempfile.mkdtemp(prefix="quintora-", dir="/tmp" if os.geteuid() == 0 else None)
    try:
        for path in folder, *(os.path.join(folder, name) for name in names):
            os.makedirs(path, exist_ok=True)
            os.chmod(path, 0o755)
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


class Demo:
    """Apache, the bridge and the example server, running until the end of a with block."""

    def __init__(self, bridge):
        self.bridge = bridge

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            folder = stack.enter_context(open_folder("config", "runtime"))
            self.config = os.path.join(folder, "config")
            environment = {"XDG_CONFIG_HOME": self.config,
                           "XDG_RUNTIME_DIR": os.path.join(folder, "runtime")}
            options = [] if IS_MACOS else ["--apple-events"]
            self.port = stack.enter_context(example_server(*options, environment=environment))
            name = f"Quintora_{self.port}.cgi" if IS_MACOS else "Quintora.cgi"
            self.path = f"/cgi-bin/{name}"
            self.apache = stack.enter_context(PrivateApache(
                self.bridge, [name], environment,
                directives=f'{FEW_PROCESSES}\nRedirectMatch "^/$" "{self.path}?form"'))
            self.choose("TCP/IP")
            self.stack = stack.pop_all()
        return self

    def __exit__(self, *details):
        return self.stack.__exit__(*details)

    def choose(self, protocol):
        """Sets the mode from the next request on."""
        write_preferences(self.config, QZQuintoraServerPort=self.port,
                          QZCGIConnectionProtocol=protocol)

    def url(self, path="/"):
        return self.apache.url(path)


def show_all(demo):
    """Sends both requests in each mode that the system has, and prints a summary at the end."""
    protocols = list(MODES)[:1] if IS_MACOS else MODES
    gateway = demo.url(f"{demo.path}?short")
    for protocol in protocols:
        mode, meaning = MODES[protocol]
        print(f"\n=== {mode[0].upper()}{mode[1:]} mode: {meaning}")
        demo.choose(protocol)
        show("A GET with a query", mode, QUERY, f"{gateway}&{ADDRESS}")
        show("A form, sent by POST", mode, FORM, gateway, *(
            argument for field in FORM.items()
            for argument in ("--data-urlencode", "=".join(field))))
    counts = " and ".join(f"2 in {MODES[protocol][0]} mode" for protocol in protocols)
    print(f"\n{2 * len(protocols)} requests, {counts}: every page shows what was sent. Next:\n"
          "script/demo --serve for a browser, docs/server.md to write a server, README.md to "
          "install.")


def show(title, mode, sent, *arguments):
    """Prints a request as a curl command, then its page; checks that the page shows all fields."""
    print(f"\n--- {title}\n\n$ {shlex.join(['curl', *arguments])}\n", flush=True)
    page = subprocess.run(["curl", "--silent", "--show-error", "--max-time", "60", *arguments],
                          stdout=subprocess.PIPE, check=True).stdout.decode("utf-8", "replace")
    print(page.rstrip(), flush=True)
    expected = [f"in {mode} mode", *(f"  {name} = {value}" for name, value in sent.items())]
    missing = [text for text in expected if text not in page]
    if missing:
        hint = "; do this user's preferences choose Apple-event mode?" if IS_MACOS else ""
        raise DemoError(f"this page does not say {missing[0].strip()!r}{hint}")


def serve(demo):
    print(f"\nThe form: {demo.url()}")
    if not IS_MACOS:
        print("For Apple-event mode, set QZCGIConnectionProtocol to AppleEvents in\n"
              f"{os.path.join(demo.config, PREFERENCES)}")
    print("Ctrl-C stops everything.", flush=True)
    with contextlib.suppress(SystemExit):
        signal.pause()
    print("\nStopped.")


def main():
    parser = argparse.ArgumentParser(description="Shows the bridge at work.")
    parser.add_argument("bridge", help="the built Quintora.cgi")
    parser.add_argument("--serve", action="store_true", help="serve a form until Ctrl-C")
    arguments = parser.parse_args()
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: sys.exit())
    with Demo(arguments.bridge) as demo:
        (serve if arguments.serve else show_all)(demo)


if __name__ == "__main__":
    try:
        main()
    except (ApacheError, DemoError, OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"The demo failed: {error}")
