#!/usr/bin/env python3
"""Shows the bridge at work: a browser's request, a private Apache, the bridge, the server, back.

Without options it sends a GET and a form POST with curl, in tunnel mode and in Apple-event mode,
and prints each answer. With --serve it prints the address of a form and runs until Ctrl-C.
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

from private_apache import ApacheError, PrivateApache

EXAMPLES = os.path.dirname(os.path.abspath(__file__))
PREFERENCES = "com.quintora.QuintoraServer.conf"
MODES = {"TCP/IP": "Tunnel mode: the bridge asks by an HTTP POST over loopback",
         "AppleEvents": "Apple-event mode: the bridge asks by an Apple event"}
# macOS has preferences and Apple events of its own. The demo changes no user's preferences there
# and is no application that could get an event: it is the server on the port that holds unless
# somebody has set another, in tunnel mode.
IS_MACOS = sys.platform == "darwin"


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
    """Writes the server application's preferences; the bridge reads them for each request."""
    with open(os.path.join(folder, PREFERENCES), "w", encoding="utf-8") as file:
        file.writelines(f"{key} = {value}\n" for key, value in values.items())


@contextlib.contextmanager
def open_folder(*names):
    """A temporary folder with folders of these names that the web server's user may enter too."""
    folder = tempfile.mkdtemp(prefix="quintora-", dir="/tmp" if os.geteuid() == 0 else None)
    try:
        for path in folder, *(os.path.join(folder, name) for name in names):
            os.makedirs(path, exist_ok=True)
            os.chmod(path, 0o755)
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def show(title, *curl_arguments):
    """Prints a request as the command that sends it, then the answer."""
    command = ["curl", "--silent", "--show-error", "--include", *curl_arguments]
    print(f"\n--- {title}\n\n$ {shlex.join(command)}\n", flush=True)
    answer = subprocess.run([*command, "--fail-with-body", "--max-time", "60"],
                            stdout=subprocess.PIPE, check=True).stdout
    print(answer.decode("utf-8", "replace").replace("\r\n", "\n"), flush=True)


def show_all(apache, config, port):
    gateway = apache.url("/cgi-bin/Quintora.cgi")
    for protocol, title in list(MODES.items())[:1 if IS_MACOS else None]:
        write_preferences(config, QZQuintoraServerPort=port, QZCGIConnectionProtocol=protocol)
        print(f"\n{'=' * len(title)}\n{title}\n{'=' * len(title)}")
        show("A GET with a query", f"{gateway}?id=7&city=Z%C3%BCrich")
        show("A form, sent by POST", gateway,
             "--data-urlencode", 'name=Zoë "Zed" Müller', "--data-urlencode", "sum=1 + 1 = 2",
             "--data-urlencode", "note=100 % & more {braces}")


def serve(apache, config, port):
    write_preferences(config, QZQuintoraServerPort=port, QZCGIConnectionProtocol="TCP/IP")
    print(f"The form: {apache.url('/form.html')}")
    if not IS_MACOS:
        print("To try the other mode, set QZCGIConnectionProtocol to AppleEvents in\n"
              f"{os.path.join(config, PREFERENCES)}")
    print("Ctrl-C stops everything.", flush=True)
    signal.pause()


def main():
    parser = argparse.ArgumentParser(description="Shows the bridge at work.")
    parser.add_argument("bridge", help="the built Quintora.cgi")
    parser.add_argument("--serve", action="store_true", help="serve a form until Ctrl-C")
    arguments = parser.parse_args()
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: sys.exit())
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(open_folder("config", "runtime", "site"))
        shutil.copy(os.path.join(EXAMPLES, "form.html"), os.path.join(folder, "site"))
        config = os.path.join(folder, "config")
        environment = {"XDG_CONFIG_HOME": config,
                       "XDG_RUNTIME_DIR": os.path.join(folder, "runtime")}
        port = stack.enter_context(example_server(port=8080) if IS_MACOS else
                                   example_server("--apple-events", environment=environment))
        apache = stack.enter_context(PrivateApache(
            arguments.bridge, environment=environment,
            document_root=os.path.join(folder, "site")))
        (serve if arguments.serve else show_all)(apache, config, port)


if __name__ == "__main__":
    try:
        main()
    except (ApacheError, OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"The demo failed: {error}")
