"""The example server's page; its HTML is in answer.html, its look and the form's in style.css.

Whatever came from outside is escaped here and nowhere else.
"""
import html
import pathlib
import string
from urllib.parse import parse_qsl


def read(name):
    return pathlib.Path(__file__).with_name(name).read_text(encoding="utf-8")


ANSWER, STYLE = string.Template(read("answer.html")), read("style.css")
LONGEST_RAW = 20_000  # characters; a larger request would bury what comes below it
TUNNEL = {
    "mode": "tunnel", "target": "to port {port}", "way": "HTTP to port {port}",
    "raw_title": "The HTTP request as it arrived",
    "raw_note": "The pairs come in no particular order. Of several fields with one name, only the "
                "last comes."}
APPLE_EVENT = {
    "mode": "Apple-event", "target": "which needs no port",
    "way": "Apple event to QUIZ",
    "raw_title": "The statement as it arrived",
    "raw_note": "Each character beyond ASCII costs a byte or two at its end. The form sends a "
                "field of dots last, so that they come off it and not off the others."}


def answer_page(variables, fields, raw, port):
    """The page for one request: raw is its text as it arrived, port None for an Apple event."""
    query = variables.get("QUERY_STRING") or ""
    mode = APPLE_EVENT if port is None else TUNNEL
    return ANSWER.substitute(
        {name: text.format(port=port) for name, text in mode.items()},
        web_server=html.escape(variables.get("SERVER_SOFTWARE") or "Web server"),
        # The bridge names itself in tunnel mode only.
        bridge=html.escape(variables.get("CLICOMMAND") or "Bridge"),
        fields=listed(fields),
        query=html.escape(query),
        query_fields=listed(parse_qsl(query, keep_blank_values=True)),
        raw=html.escape(shortened(raw)),
        variables=listed(variables.items()))


def listed(pairs):
    """The pairs as a list of names and values, in their order."""
    items = "".join(f"<dt>{shown(name)}</dt><dd>{shown(value)}</dd>\n" for name, value in pairs)
    return f"<dl>\n{items}</dl>" if items else "<p>There are none.</p>"


def shown(text):
    return "<em>unreadable</em>" if text is None else html.escape(text)


def shortened(text):
    rest = len(text) - LONGEST_RAW
    return text if rest <= 0 else f"{text[:LONGEST_RAW]}\n... and {rest} more characters"
