"""The example server's pages; their HTML is in form.html and answer.html, their look in style.css.

All data from outside is escaped here and nowhere else.
"""
import html
import pathlib
import string
from urllib.parse import parse_qsl


def read(name):
    return pathlib.Path(__file__).with_name(name).read_text(encoding="utf-8")


FORM, STYLE = read("form.html"), read("style.css")
ANSWER = string.Template(read("answer.html"))
LONGEST_RAW = 20_000  # characters; more would push what follows too far down
PADDING = "spare"  # the form's last field, which carries no information
UNREADABLE = "unreadable"  # replaces a string that the bridge could not decode
TUNNEL = {
    "mode": "tunnel", "target": "to port {port}", "way": "HTTP to port {port}",
    "raw_title": "The HTTP request as it arrived",
    "raw_note": "The pairs come in no particular order. Of several fields with one name, only the "
                "last comes."}
APPLE_EVENT = {
    "mode": "Apple-event", "target": "which needs no port",
    "way": "Apple event to QUIZ",
    "raw_title": "The statement as it arrived",
    "raw_note": "Each character beyond ASCII costs a byte or two at the end of the statement. The "
                "form sends a field of dots last, so that only dots are lost."}


def mode_of(port):
    """What the pages say about the mode; port is None for an Apple event."""
    mode = APPLE_EVENT if port is None else TUNNEL
    return {name: text.format(port=port) for name, text in mode.items()}


def answer_page(variables, fields, raw, port):
    """The page for one request: raw is its text as it arrived, port None for an Apple event."""
    query = variables.get("QUERY_STRING") or ""
    return ANSWER.substitute(
        mode_of(port),
        web_server=html.escape(variables.get("SERVER_SOFTWARE") or "Web server"),
        # The bridge names itself in tunnel mode only.
        bridge=html.escape(variables.get("CLICOMMAND") or "Bridge"),
        fields=listed((name, folded(value) if name == PADDING else shown(value))
                      for name, value in fields),
        query=html.escape(query),
        query_fields=listed((name, shown(value))
                            for name, value in parse_qsl(query, keep_blank_values=True)),
        raw=html.escape(shortened(raw)),
        variables=listed((name, shown(value)) for name, value in variables.items()))


def short_page(variables, fields, port):
    """The request in a few lines of plain text, for a terminal."""
    query = variables.get("QUERY_STRING") or ""
    lines = ["The request came in {mode} mode, {target}.".format_map(mode_of(port)), "",
             f"{variables.get('REQUEST_METHOD') or UNREADABLE} ?{query}"]
    lines += (f"  {UNREADABLE if name is None else name} = {UNREADABLE if value is None else value}"
              for name, value in [*parse_qsl(query), *fields])
    return "".join(f"{line}\n" for line in lines)


def listed(pairs):
    """Pairs of a name and the HTML of its value as a list, in their order."""
    items = "".join(f"<dt>{shown(name)}</dt><dd>{value}</dd>\n" for name, value in pairs)
    return f"<dl>\n{items}</dl>" if items else "<p>There are none.</p>"


def shown(text):
    return f"<em>{UNREADABLE}</em>" if text is None else html.escape(text)


def folded(text):
    """The HTML of a value that is hidden until the visitor opens it."""
    if text is None:
        return shown(text)
    return (f"<details><summary>{len(text)} characters of padding</summary>{shown(text)}</details>")


def shortened(text):
    rest = len(text) - LONGEST_RAW
    return text if rest <= 0 else f"{text[:LONGEST_RAW]}\n... and {rest} more characters"
