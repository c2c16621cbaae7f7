"""Whole processes for a request as it comes every day: the bridge and its peers."""
import collections
import contextlib
import os
import re
import statistics
import subprocess
import tempfile
import time
from typing import NamedTuple
from urllib.parse import parse_qsl, urlencode

from common import (HEADER, HERE, LONGEST, MIB, answer_of, bridge_and_server, by_turns, input_file,
                    require, started)

# What Apache hands over for a browser's request.
VARIABLES = {
    "SERVER_SOFTWARE": "Apache/2.4 (Debian)", "QUERY_STRING": "id=7&name=Ann+Lee",
    "REMOTE_ADDR": "192.0.2.17", "REMOTE_PORT": "51234", "SERVER_ADDR": "192.0.2.1",
    "SERVER_ADMIN": "webmaster@example.org", "SERVER_NAME": "www.example.org", "SERVER_PORT": "80",
    "SERVER_SIGNATURE": "", "HTTP_ACCEPT": "text/html,application/xhtml+xml,application/xml;q=0.9,"
                                           "image/avif,image/webp,*/*;q=0.8",
    "HTTP_ACCEPT_ENCODING": "gzip, deflate, br", "HTTP_ACCEPT_LANGUAGE": "en-US,en;q=0.5",
    "HTTP_CONNECTION": "keep-alive", "HTTP_HOST": "www.example.org",
    "HTTP_REFERER": "http://www.example.org/index.html",
    "HTTP_USER_AGENT": "Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0",
    "HTTP_COOKIE": "session=0123456789abcdef; theme=dark"}
FIELDS = {"name": "Zoë Müller", "street": "Main Street 17 & Garden", "city": "Zürich",
          "note": "A few lines,\r\nas somebody types them:\r\n1 + 1 = 2; 100 %", "empty": ""}
FORM = urlencode(FIELDS).encode()
NAMES = ("bridge", "dynamic bridge", "C floor", "static C floor", "careful floor",
         "printing program", "static printing program", "/bin/true", "cgi-fcgi", "shell and curl",
         "Perl", "Python")
CHEAP = NAMES[:9]
COUNTED = ("bridge", "dynamic bridge", "C floor", "static C floor", "careful floor", "/bin/true",
           "cgi-fcgi")
STRACE = "/usr/bin/strace"


class Peer(NamedTuple):
    command: list
    is_right: callable  # (what it printed, variables, fields) -> bool


def is_form_answer(answer, variables, fields):
    """The server gives back what it got: all variables and fields, and at most CLI ones more."""
    if not answer.startswith(HEADER):
        return False
    text = answer[len(HEADER):].decode()
    pairs = dict(parse_qsl(text[:-2] if text.endswith("\r\n") else text, keep_blank_values=True))
    for name in "CLIPATH", "CLICOMMAND":
        pairs.pop(f"ApacheTunnel_{name}", None)
    pairs.pop("", None)
    return pairs == {**{f"ApacheTunnel_{name}": value for name, value in variables.items()},
                     **fields}


def is_list_answer(answer, variables, fields):
    head, _, body = answer[len(HEADER):].decode().partition("\n\n")
    lines = set(head.split("\n"))
    form = dict(parse_qsl(body, keep_blank_values=True))
    return (answer.startswith(HEADER) and form == fields
            and all(f"{name}={value}" in lines for name, value in variables.items()))


def is_unescaped_answer(answer, variables, _):
    return answer.startswith(HEADER) and all(
        f"ApacheTunnel_{name}={value}&".encode() in answer for name, value in variables.items())


def peers(build, fastcgi_port):
    """Every program that answers a request, by the name that the tables have for it."""
    def script(name):
        return [os.path.join(HERE, "peers", name)]

    def is_floors(answer, *_):
        return answer == HEADER + b"name=Ann"

    def is_printed(answer, *_):
        return answer == HEADER + b"printed\n"

    return dict(zip(NAMES, (
        Peer([build.bridge], is_form_answer),
        Peer([build.dynamic_bridge], is_form_answer),
        Peer([build.floor], is_floors),
        Peer([build.static_floor], is_floors),
        Peer([build.careful_floor], is_unescaped_answer),
        Peer([build.printing], is_printed),
        Peer([build.static_printing], is_printed),
        Peer(["/bin/true"], lambda answer, *_: answer == b""),
        Peer(["/usr/bin/cgi-fcgi", "-bind", "-connect", f"127.0.0.1:{fastcgi_port}"],
             is_list_answer),
        Peer(script("client.sh"), is_form_answer),
        Peer(script("client.pl"), is_form_answer),
        Peer(script("client.py"), is_form_answer))))


@contextlib.contextmanager
def running_peers(build):
    """The peers with both servers that they ask; yields them, the fast server, the environment."""
    with started(build.fastcgi_echo) as fastcgi, bridge_and_server(build) as (server, environment):
        yield peers(build, fastcgi.port), server, environment


def check(name, peer, environment, variables, fields, form):
    answer = answer_of(peer.command, environment, form)
    require(peer.is_right(answer, variables, fields), f"{name} gives a wrong answer", answer)


def measure_kind(build, peers_by_name, environment, method, rounds):
    form, fields = (FORM, FIELDS) if method == "POST" else (b"", {})
    variables = {**VARIABLES, "REQUEST_METHOD": method}
    environment = {**environment, **variables}
    if form:
        environment["CONTENT_LENGTH"] = str(len(form))
    for name, peer in peers_by_name.items():
        check(name, peer, environment, variables, fields, form)

    def sampled(names, count, input_name):
        commands = [peers_by_name[name].command for name in names]
        return dict(zip(names, by_turns(build, count, commands, environment, input_name)))

    cheap_rounds, dear_rounds = rounds
    with input_file(form) as input_name:
        sampled(CHEAP, 5, input_name)  # to warm up
        cheap = sampled(CHEAP, cheap_rounds, input_name)
        dear = sampled(NAMES, dear_rounds, input_name)
    result = {}
    for name in NAMES:
        group = cheap if name in CHEAP else dear
        result[name] = {**group[name]._asdict(),
                        "ratio": group[name].seconds / group["bridge"].seconds}
    return result


def cpuids(build, command, environment):
    """How many CPUID instructions are executed, and the seconds that one takes here."""
    run = subprocess.run([build.cpuid_counter, *command], env=environment, stdout=subprocess.PIPE,
                         timeout=LONGEST, check=True)
    count, nanoseconds = map(int, run.stdout.split())
    return count, nanoseconds / 1e9


class Profile(NamedTuple):
    by_file: dict  # instructions, by the program, loader or library that they stand in
    code_lines: int  # cache lines of 64 bytes that the processor has to fetch
    data_lines: int


def profiled(command, environment):
    """All of the process. The simulated caches are so large that a cache line misses only once."""
    caches = [f"--{name}={MIB},16,64" for name in ("I1", "D1")]
    with tempfile.NamedTemporaryFile("r", encoding="utf-8") as profile:
        subprocess.run(
            ["/usr/bin/valgrind", "-q", "--tool=callgrind", "--compress-strings=no",
             "--cache-sim=yes", *caches, f"--callgrind-out-file={profile.name}", *command],
            env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,  # words on the largest cache, which is not looked at
            timeout=LONGEST, check=True)
        lines = iter(profile.read().splitlines())
    by_file = collections.Counter()
    for line in lines:
        if line.startswith("ob="):
            file = os.path.basename(line[3:])
        elif line.startswith("calls="):
            next(lines)  # what the function that is called takes, which has lines of its own
        elif line.startswith("events:"):
            events = line.split()[1:]
        elif line.startswith("totals:"):
            totals = dict(zip(events, map(int, line.split()[1:])))
        elif re.match(r"[0-9+*-]\S* \d", line):
            by_file[file] += int(line.split()[1])
    require(totals["Ir"] == sum(by_file.values()), f"{command[0]}'s profile is misread")
    return Profile(by_file, totals["I1mr"], totals["D1mr"] + totals["D1mw"])


def system_calls(command, environment):
    with tempfile.NamedTemporaryFile("r", encoding="utf-8", errors="replace") as log:
        subprocess.run([STRACE, "-f", "-o", log.name, *command], env=environment,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, timeout=LONGEST,
                       check=True)
        return sum("(" in line for line in log if not re.match(r"\d+ +(\+\+\+|---)", line))


def descendants(pid):
    try:
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
            children = [int(child) for child in file.read().split()]
    except OSError:  # it has ended
        return []
    return children + [pid for child in children for pid in descendants(child)]


def peak_so_far(pid):
    """In bytes; 0 for a process that has ended or is not yet what it will be."""
    try:
        if os.readlink(f"/proc/{pid}/exe") == STRACE:
            return 0
        with open(f"/proc/{pid}/status", encoding="utf-8") as file:
            found = re.search(r"^VmHWM:\s+(\d+) kB", file.read(), re.MULTILINE)
        return int(found[1]) * 1024 if found else 0
    except OSError:
        return 0


def peak_bytes(command, environment):
    """The most memory of any process of one run.

    What the system tells of a process that has ended lacks what each processor still counts by
    itself, which is a tenth of a small program's. So strace holds each process back for a moment
    before it ends, and meanwhile it is looked at.
    """
    peak = 0
    with subprocess.Popen([STRACE, "-f", "-o", os.devnull, "-e", "trace=exit_group",
                           "-e", "inject=exit_group:delay_enter=50000", *command], env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as run:
        while run.poll() is None:
            peak = max([peak, *map(peak_so_far, descendants(run.pid))])
            time.sleep(0.005)
    require(run.returncode == 0 and peak > 0, f"{command[0]} fails under strace")
    return peak


def measure_peaks(peers_by_name, environment, rounds):
    """Medians, by turns: how much is mapped at once depends on where the system puts a program."""
    environment = {**environment, **VARIABLES, "REQUEST_METHOD": "GET"}
    peaks = {name: [] for name in peers_by_name}
    for _ in range(rounds):
        for name, peer in peers_by_name.items():
            peaks[name].append(peak_bytes(peer.command, environment))
    return {name: statistics.median(found) for name, found in peaks.items()}


def measure_cpuids(build, peers_by_name, environment):
    """None on a processor that has no such instruction."""
    if not build.cpuid_counter:
        return None
    environment = {**environment, **VARIABLES, "REQUEST_METHOD": "GET"}
    found = {name: cpuids(build, peers_by_name[name].command, environment) for name in CHEAP}
    return {"seconds": statistics.median(seconds for _, seconds in found.values()),
            "counts": {name: count for name, (count, _) in found.items()}}


def measure_counts(peers_by_name, environment):
    environment = {**environment, **VARIABLES, "REQUEST_METHOD": "GET"}
    result = {}
    for name in COUNTED:
        command = peers_by_name[name].command
        runs = [profiled(command, environment) for _ in range(2)]
        fewest = min(runs, key=lambda run: sum(run.by_file.values()))
        result[name] = {"instructions": sum(fewest.by_file.values()),
                        "is_repeatable": runs[0].by_file == runs[1].by_file,
                        "system_calls": system_calls(command, environment), **fewest._asdict()}
    return result


def measure(build, is_quick):
    rounds = (60, 5) if is_quick else (500, 25)
    with running_peers(build) as (peers_by_name, _, environment):
        result = {method: measure_kind(build, peers_by_name, environment, method, rounds)
                  for method in ("GET", "POST")}
        result["counts"] = measure_counts(peers_by_name, environment)
        result["cpuids"] = measure_cpuids(build, peers_by_name, environment)
        result["peaks"] = measure_peaks(peers_by_name, environment, rounds[1])
    return {"rounds": rounds, "form_bytes": len(FORM), **result}
