#!/usr/bin/env python3
"""An example of a Quintora Server: replies to the bridge with pages that show the request.

The bridge reaches it over loopback HTTP (tunnel mode, below) and, with --apple-events, by an
Apple event too (apple_events.py). Both ways end in httpRequest(), which returns the page.

A request in tunnel mode, its body on one line:

    POST /apache-tunnel/ HTTP/1.1
    Content-Length: 78
    Content-Type: application/x-www-form-urlencoded charset=utf-8

    ApacheTunnel_REQUEST_METHOD=POST&ApacheTunnel_QUERY_STRING=id=7&sum=1%2B1%20=2

"&" separates the pairs, which come in no particular order; the first "=" of a pair separates its
key from its value. The bridge does not escape "=", so a field whose name contains "=" looks like a
field with a shorter name and a longer value. The rest is percent-escaped UTF-8: a blank is %20, a
plus is %2B, and "+" never means a blank. Keys that begin with ApacheTunnel_ are the web server's
CGI variables; all others are the fields of the visitor's form, each name at most once.

The bridge prints the reply's body, whatever the status. The body must not be empty, and the reply's
Content-Type must declare a charset. A page that begins with a "Content-type:" line of its own and a
blank line keeps that header; any other gets "Content-type: text/plain".
"""
import argparse
import contextlib
import signal
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, unquote

sys.dont_write_bytecode = True  # or root would leave files in the package's directory

from apple_events import AppleEventServer  # noqa: E402
from pages import FORM, STYLE, answer_page, short_page  # noqa: E402

TUNNEL_PATH = "/apache-tunnel/"
PREFIX = "ApacheTunnel_"
HEADER = "Content-type: {}; charset=utf-8\r\n\r\n"


def httpRequest(variables, fields, raw, port=None):  # named as the bridge's statement names it
    """Returns the page for a request: a dict of variables and a list of (name, value) fields.

    None stands for a string that the bridge could not decode. raw is the request as it arrived, and
    port the port at which it arrived, None for an Apple event. The page shows a NUL character as
    U+FFFD, because the bridge's output would end at the NUL.
    """
    query = parse_qs(variables.get("QUERY_STRING") or "", keep_blank_values=True)
    if "style" in query:
        page = HEADER.format("text/css") + STYLE
    elif "form" in query:
        page = HEADER.format("text/html") + FORM
    elif "short" in query:
        page = short_page(variables, fields, port)
    elif "plain" in query:
        page = "".join(f"{name} = {value}\n" for name, value in [*fields, *variables.items()])
    else:
        page = HEADER.format("text/html") + answer_page(variables, fields, raw, port)
    return page.replace("\0", "\N{REPLACEMENT CHARACTER}")


def decode_body(body):
    """The variables and the fields of a tunnel request; ValueError when they cannot be read."""
    pairs = [[unquote(part, errors="strict") for part in pair.partition("=")[::2]]
             for pair in body.decode("ascii").split("&")]
    variables = {key[len(PREFIX):]: value for key, value in pairs if key.startswith(PREFIX)}
    fields = [(key, value) for key, value in pairs if not key.startswith(PREFIX)]
    return variables, fields


class RecordingReader:
    """Reads from a stream and keeps what was read, so that a page can show it unchanged."""

    def __init__(self, stream):
        self.stream, self.seen, self.close = stream, b"", stream.close

    def read(self, count):
        return self.keep(self.stream.read(count))

    def readline(self, limit):
        return self.keep(self.stream.readline(limit))

    def keep(self, data):
        self.seen += data
        return data


class TunnelHandler(BaseHTTPRequestHandler):
    """Answers the bridge's POST; rejects everything else with a text that says so."""

    def setup(self):
        super().setup()
        self.rfile = RecordingReader(self.rfile)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        if self.path != TUNNEL_PATH:
            self.refuse()
            return
        try:
            variables, fields = decode_body(body)
        except ValueError as error:
            self.reply(400, f"The body cannot be read: {error}.\n", "text/plain")
            return
        raw = self.rfile.seen.decode("ascii", "replace")
        page = self.server.answer(variables, fields, raw, self.server.server_port)
        self.reply(200, page, "text/html")

    def refuse(self):
        status = 405 if self.path == TUNNEL_PATH else 404
        self.reply(status, f"This server answers a POST to {TUNNEL_PATH} only.\n", "text/plain")

    do_GET = do_HEAD = do_PUT = do_PATCH = do_DELETE = do_OPTIONS = refuse

    def reply(self, status, text, kind):
        body = text.encode()
        self.send_response(status)
        self.send_header("Content-Type", f"{kind}; charset=utf-8")
        self.send_header("Content-Length", str(len(body)))
        if status == 405:
            self.send_header("Allow", "POST")
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def log_message(self, format, *values):
        """Logs nothing: the page shows everything about a request."""


def parse_arguments():
    parser = argparse.ArgumentParser(description="Stands in for the Quintora Server.")
    parser.add_argument("--port", type=int, default=8080, help="0 takes any free one")
    parser.add_argument("--apple-events", action="store_true", help="answer Apple events too")
    parser.add_argument("--delay", type=float, default=0, help="seconds before each answer")
    return parser.parse_args()


def listen(port):
    """The server on that port; ends the program with a message when the port cannot be used."""
    try:
        return ThreadingHTTPServer(("127.0.0.1", port), TunnelHandler)
    except (OSError, OverflowError) as error:
        reason = str(getattr(error, "strerror", None) or error).rstrip(".")
        sys.exit(f"Cannot listen on 127.0.0.1 port {port}: {reason}. "
                 "Use --port to choose another port.")


def main():
    arguments = parse_arguments()

    def answer(*request):
        time.sleep(arguments.delay)
        return httpRequest(*request)

    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: sys.exit())
    with contextlib.ExitStack() as stack:
        tunnel = stack.enter_context(listen(arguments.port))
        tunnel.answer = answer
        if arguments.apple_events:
            events = stack.enter_context(AppleEventServer(answer))
            stack.callback(events.remove_socket)
            threading.Thread(target=events.serve_forever, daemon=True).start()
        print(f"listening on 127.0.0.1 port {tunnel.server_port}", flush=True)
        tunnel.serve_forever()


if __name__ == "__main__":
    main()
