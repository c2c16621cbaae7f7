"""What the measurements share: the programs that were built, servers, and runs by turns."""
import collections
import contextlib
import os
import platform
import shutil
import socketserver
import statistics
import subprocess
import sys
import tempfile
import threading
from typing import NamedTuple

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "examples"))

from apple_events import ANSWER, Event, pack, receive  # noqa: E402
from demo import open_folder, write_preferences  # noqa: E402,F401

LONGEST = 600  # seconds for whatever is waited for
MIB = 1 << 20
HEADER = b"Content-type: text/plain\r\n\r\n"


class WrongAnswer(Exception):
    """A program did not do its job, so its figures are worth nothing."""


class Build:
    """The programs of a build folder, copied to another, as an installation does.

    Where the linker has written a program, the system has it in many small pieces and takes longer
    to map them.
    """

    def __init__(self, folder, place):
        def copied(*path):
            return shutil.copy(os.path.join(folder, *path), place)

        self.bridge, self.dynamic_bridge = copied("portable.cgi"), copied("dynamic.cgi")
        (self.floor, self.static_floor, self.careful_floor, self.checking_floor, self.fields_floor,
         self.printing, self.static_printing, self.server, self.fastcgi_echo, self.runner,
         self.micro) = (
             copied("benchmarks", name)
             for name in ("floor", "static_floor", "careful_floor", "checking_floor",
                          "fields_floor", "printing_cgi", "static_printing_cgi", "fast_server",
                          "fastcgi_echo", "run_alternately", "micro_benchmarks"))
        self.cpuid_counter = (copied("benchmarks", "count_cpuids")
                              if platform.machine() == "x86_64" else None)


class Server(NamedTuple):
    pid: int
    port: int

    def processor_seconds(self):
        """What its one thread has used so far."""
        with open(f"/proc/{self.pid}/schedstat", encoding="ascii") as file:
            return int(file.read().split()[0]) / 1e9


@contextlib.contextmanager
def started(program, *arguments):
    """A server that prints its port as its first line."""
    with subprocess.Popen([program, *arguments], stdout=subprocess.PIPE, text=True) as process:
        try:
            port = process.stdout.readline()
            if not port.strip().isdigit():
                raise ChildProcessError(f"{os.path.basename(program)} does not start")
            yield Server(process.pid, int(port))
        finally:
            process.kill()


@contextlib.contextmanager
def bridge_and_server(build, *server_options):
    """A fast server, and the environment in which the bridge and its peers find it."""
    with started(build.server, *server_options) as server, open_folder("config") as folder:
        config = os.path.join(folder, "config")
        write_preferences(config, QZQuintoraServerPort=server.port,
                          QZCGIConnectionProtocol="TCP/IP")
        yield server, {"XDG_CONFIG_HOME": config, "BENCHMARK_PORT": str(server.port),
                       "PATH": "/usr/local/bin:/usr/bin:/bin"}


class CountingHandler(socketserver.StreamRequestHandler):
    """Replies to an Apple event with the number of its statement's bytes."""

    def handle(self):
        event = receive(self.rfile)
        count = len(event.parameters[b"----"][1])
        self.wfile.write(pack(Event(ANSWER, event.return_id, event.transaction_id,
                                    {b"----": (b"TEXT", b"%d" % count)})))


@contextlib.contextmanager
def counting_application():
    """The environment in which the bridge finds an application for its Apple events."""
    with open_folder("config", "apple-events") as folder:
        config = os.path.join(folder, "config")
        write_preferences(config, QZCGIConnectionProtocol="AppleEvents")
        address = os.path.join(folder, "apple-events", "QUIZ")
        with socketserver.UnixStreamServer(address, CountingHandler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            yield {"XDG_CONFIG_HOME": config, "XDG_RUNTIME_DIR": folder}
            server.shutdown()


@contextlib.contextmanager
def input_file(content):
    """A file for standard input, in memory where the system has such a place."""
    place = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.NamedTemporaryFile(dir=place) as file:
        file.write(content)
        file.flush()
        yield file.name


def answer_of(command, environment, content=b""):
    """What one run prints."""
    run = subprocess.run(command, env=environment, input=content, stdout=subprocess.PIPE,
                         timeout=LONGEST, check=True)
    return run.stdout


class Sample(NamedTuple):
    """The medians of the runs of one command, and the fastest."""

    seconds: float
    fastest: float
    peak_bytes: float
    page_faults: float
    printed_bytes: int


def by_turns(build, rounds, commands, environment, input_name=os.devnull):
    """Runs the commands by turns, as often as rounds says, and returns a sample for each."""
    arguments = [argument for command in commands for argument in ("--", *command)]
    run = subprocess.run([build.runner, str(rounds), input_name, *arguments], env=environment,
                         stdout=subprocess.PIPE, text=True, timeout=LONGEST, check=True)
    runs = collections.defaultdict(list)
    for line in run.stdout.splitlines():
        index, *figures = map(int, line.split())
        runs[index].append(figures)
    samples = []
    for index in range(len(commands)):
        times, peaks, faults, sizes = zip(*runs[index])
        samples.append(Sample(statistics.median(times) / 1e9, min(times) / 1e9,
                              statistics.median(peaks) * 1024,
                              statistics.median(faults), sizes[0]))
    return samples


def require(condition, what, answer=b""):
    if not condition:
        raise WrongAnswer(f"{what}\n{answer[:600]!r}" if answer else what)
