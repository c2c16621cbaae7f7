#!/usr/bin/python3
"""The bridge's job in Python: the variables and the form as one POST, and the answer."""
import http.client
import os
import sys
from urllib.parse import parse_qsl, urlencode

NAMES = (
    "SERVER_SOFTWARE", "QUERY_STRING", "REMOTE_ADDR", "REMOTE_PORT", "REQUEST_METHOD",
    "SERVER_ADDR", "SERVER_ADMIN", "SERVER_NAME", "SERVER_PORT", "SERVER_SIGNATURE",
    "HTTP_ACCEPT", "HTTP_ACCEPT_ENCODING", "HTTP_ACCEPT_LANGUAGE", "HTTP_CONNECTION", "HTTP_HOST",
    "HTTP_REFERER", "HTTP_USER_AGENT", "HTTP_COOKIE")

form = sys.stdin.buffer.read(int(os.environ.get("CONTENT_LENGTH") or 0)).decode()
pairs = {f"ApacheTunnel_{name}": os.environ.get(name, "") for name in NAMES}
pairs.update(parse_qsl(form, keep_blank_values=True))

connection = http.client.HTTPConnection("127.0.0.1", int(os.environ["BENCHMARK_PORT"]))
connection.request("POST", "/apache-tunnel/", urlencode(pairs),
                   {"Content-Type": "application/x-www-form-urlencoded"})
sys.stdout.buffer.write(b"Content-type: text/plain\r\n\r\n" + connection.getresponse().read())
