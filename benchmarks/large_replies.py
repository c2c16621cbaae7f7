"""Replies of many MiB: the bridge against two C programs that do as little as can be done."""
from common import HEADER, MIB, answer_of, bridge_and_server, by_turns, require
from large_forms import PARTS, common_figures

CHECKED_BYTES = 1_000_003
CHUNK = 64
LINE = "Grüße aus Zürich, this is a line of a page.\n"
KINDS = {
    "UTF-8": ("utf-8", ()),
    "Latin-1": ("iso-8859-1", ()),
    f"UTF-8 in chunks of {CHUNK} bytes": ("utf-8", ("--chunk", str(CHUNK))),
}


def options(kind, size):
    charset, chunked = KINDS[kind]
    return "--reply-bytes", str(size), "--charset", charset, *chunked


def page(charset, size):
    """What the server answers with, made again by its rule, as the bridge prints it."""
    line, room = LINE.encode(charset), size - 2
    text = line * (room // len(line)) + b"." * (room % len(line)) + b"\r\n"
    return text.decode(charset).encode()


def check(build, kind, size):
    """The page's bytes, all of them, by the bridge and by the floor that knows what they mean."""
    with bridge_and_server(build, *options(kind, size)) as (_, environment):
        for program in build.bridge, build.checking_floor:
            answer = answer_of([program], environment)
            require(answer == HEADER + page(KINDS[kind][0], size), f"A reply in {kind} is wrong",
                    answer[:200] + b" ... " + answer[-200:])


def measure_kind(build, kind, size, rounds):
    """The C floor does not know of chunks: it copies them with what is around them."""
    sizes = []
    for part in PARTS:
        body = int(part * size)
        with bridge_and_server(build, *options(kind, body)) as (_, environment):
            bridge, *floors = by_turns(
                build, rounds, [[build.bridge], [build.floor], [build.checking_floor]],
                environment)
        for floor in floors:
            require(floor.printed_bytes >= body + len(HEADER), f"A floor loses a reply in {kind}")
        floor, checking = (each._asdict() for each in floors)
        sizes.append({"bytes": body, "floor": floor, "checking": checking, **bridge._asdict()})
    return sizes


def measure(build, is_quick):
    size, rounds = (8 * MIB, 3) if is_quick else (64 * MIB, 7)
    result = {}
    for kind in KINDS:
        check(build, kind, CHECKED_BYTES)
        check(build, kind, size)
        sizes = measure_kind(build, kind, size, rounds)
        whole = sizes[-1]
        result[kind] = {
            "ratio": whole["floor"]["seconds"] / whole["seconds"],
            "checking_ratio": whole["checking"]["seconds"] / whole["seconds"],
            **common_figures(sizes)}
    return result
