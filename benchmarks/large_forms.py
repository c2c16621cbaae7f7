"""Forms of many MiB: the bridge's whole process against Python's parse_qsl and urlencode."""
import itertools
import subprocess
import sys
from urllib.parse import parse_qsl, quote, unquote_plus

from common import (HEADER, LONGEST, MIB, answer_of, bridge_and_server, by_turns,
                    counting_application, input_file, require)

WORDS = b"The+quick+brown+fox%2C+it+is+said%2C+jumps+over+the+lazy+dog.%0D%0A"
ESCAPES = b"".join(b"%%%02X" % byte for byte in range(1, 127))
FOREIGN = b"Gr%C3%BC%C3%9Fe+aus+Z%C3%BCrich%2C+%E6%BC%A2%E5%AD%97+und+mehr.+"
FIELDS_PER_MIB = 1_000_000 / 64
TINY_FIELDS_PER_MIB = 1_100_000 / 64  # just beyond a step by which the bridge's table of keys grows
CHECKED_MIB = 1
PARTS = 1 / 4, 1 / 2, 1  # of the whole, to see whether the time grows with it

# Times the two calls only: the text is there before, and nothing is printed of the result.
PYTHON = """
import sys, time
from urllib.parse import parse_qsl, urlencode
text = sys.stdin.buffer.read().decode()
start = time.perf_counter()
urlencode(parse_qsl(text, keep_blank_values=True))
print(time.perf_counter() - start)
"""


def encoded(text):
    """A value as the bridge has to send it on."""
    return quote(unquote_plus(text.decode()), safe="-_.!~*'();/?:@=$,")


# A form of about so many MiB (of fields, the numbers above for each of them), and how many bytes of
# the bridge's request stand for it.

def value(piece, mib):
    count = int(mib * MIB) // len(piece)
    return b"value=" + piece * count, len("value=") + count * len(encoded(piece))


def fields(mib):
    form = b"&".join(b"field%d=value+%d" % (i, i) for i in range(int(mib * FIELDS_PER_MIB)))
    return form, len(form) + (len("%20") - len("+")) * form.count(b"+")


def tiny_fields(mib):
    digits = "0123456789abcdefghijklmnopqrstuvwxyz"
    keys = itertools.product(digits, repeat=4)
    count = int(mib * TINY_FIELDS_PER_MIB)
    form = "&".join("".join(key) + "=" for key in itertools.islice(keys, count)).encode()
    return form, len(form)


# By what the tables call them.
SHAPES = {
    "one value, prose": lambda mib: value(WORDS, mib),
    "many small fields": fields,
    "many tiny fields": tiny_fields,
    "one value, all of it escaped": lambda mib: value(ESCAPES, mib),
    "one value, much of it not ASCII": lambda mib: value(FOREIGN, mib),
    "one value, letters only": lambda mib: value(b"abcdefghijklmnopqrstuvwxyz012345", mib),
}


def request(form):
    return {"REQUEST_METHOD": "POST", "CONTENT_LENGTH": str(len(form))}


def check(build, shape, make):
    """The server echoes the form, and it is the one that was sent."""
    form, _ = make(CHECKED_MIB)
    with bridge_and_server(build) as (_, environment):
        answer = answer_of([build.bridge], {**environment, **request(form)}, form)
    pairs = dict(parse_qsl(answer[len(HEADER):-2].decode(), keep_blank_values=True))
    sent = dict(parse_qsl(form.decode(), keep_blank_values=True))
    require(sent.items() <= pairs.items(), f"The form with {shape} does not arrive", answer)


def python_seconds(input_name):
    with open(input_name, "rb") as form:
        run = subprocess.run([sys.executable, "-I", "-S", "-c", PYTHON], stdin=form,
                             stdout=subprocess.PIPE, timeout=LONGEST, check=True)
    return float(run.stdout)


def measure_shape(build, make, mib, rounds):
    """The server counts the bytes of the request and throws them away, so it hardly costs."""
    sizes = []
    with bridge_and_server(build, "--count") as (_, environment):
        variables = int(answer_of([build.bridge], {**environment, **request(b"")})[len(HEADER):])
        for part in PARTS:
            form, sent_bytes = make(part * mib)
            ours = {**environment, **request(form)}
            answer = answer_of([build.bridge], ours, form)
            require(int(answer[len(HEADER):]) == variables + len("&") + sent_bytes,
                    f"Of a large form {sent_bytes} bytes are to be sent, not as many as", answer)
            joined = answer_of([build.fields_floor], ours, form)
            require(joined == HEADER + b"%d" % (len(form) + 1), "The floor loses a form", joined)
            with input_file(form) as input_name:
                sample, floor = by_turns(build, rounds, [[build.bridge], [build.fields_floor]],
                                         ours, input_name)
                require(sample.printed_bytes == len(answer), "A large form is not answered")
                require(floor.printed_bytes == len(joined), "The floor does not answer")
                sizes.append({"bytes": len(form), "floor": floor._asdict(), **sample._asdict()})
                if part == 1:
                    python = python_seconds(input_name)
    return sizes, python


def measure_by_event(build, mib, rounds):
    """The form that costs most memory for its size: each of its bytes ends a field, and each field
    becomes a line of the statement."""
    sizes = []
    with counting_application() as environment:
        def run(form):
            ours = {**environment, **request(form)}
            return ours, int(answer_of([build.bridge], ours, form)[len(HEADER):])

        _, statement_of_one = run(b"=")
        for part in PARTS:
            form = b"&" * int(part * mib * MIB / 16)
            ours, count = run(form)
            lines = len(form) * len('"","",\n')
            require(count == statement_of_one + lines, f"A statement of {count} bytes is wrong")
            with input_file(form) as input_name:
                sample, = by_turns(build, rounds, [[build.bridge]], ours, input_name)
            sizes.append({"bytes": len(form), **sample._asdict()})
    return sizes


def measure(build, is_quick):
    mib, rounds = (4, 3) if is_quick else (64, 5)
    result = {}
    for shape, make in SHAPES.items():
        check(build, shape, make)
        sizes, python = measure_shape(build, make, mib, rounds)
        result[shape] = {
            "python_seconds": python, "ratio": python / sizes[-1]["seconds"],
            **common_figures(sizes)}
    return {"shapes": result, "by event": common_figures(measure_by_event(build, mib, rounds))}


def common_figures(sizes):
    whole = sizes[-1]
    return {"sizes": sizes, "growth": growth(sizes),
            "memory": whole["peak_bytes"] / whole["bytes"]}


def growth(sizes):
    """How many times as long a byte takes at the whole size as at a quarter of it.

    By the fastest runs: the sizes are not measured by turns, so what disturbs one spares another.
    """
    first, last = sizes[0], sizes[-1]
    return last["fastest"] / last["bytes"] / (first["fastest"] / first["bytes"])
