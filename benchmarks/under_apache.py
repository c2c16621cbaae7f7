"""Requests a second through a private Apache, and where the processors' time goes."""
import http.client
import os
import re
import resource
import shutil
import subprocess

from common import HERE, LONGEST, require
from private_apache import PrivateApache
from small_requests import NAMES, VARIABLES, running_peers

# As on most sites: threads, and a small process that starts the programs. Their number is fixed,
# so that Apache does not grow while it is measured.
RUNS_AS = "mpm_event", "cgid"
DIRECTIVES = """ServerLimit 1
StartServers 1
ThreadsPerChild 32
MaxRequestWorkers 32
MaxSpareThreads 32
ServerAdmin webmaster@example.org"""
AT_ONCE = 1, 16
PROGRAMS = [name for name in NAMES if name != "/bin/true"]  # which prints no page


def install(apache, peers_by_name):
    """Copies each program to where Apache runs it; returns their paths in URLs by name."""
    paths = {}
    for index, (name, peer) in enumerate(peers_by_name.items()):
        program, *arguments = peer.command
        file = f"program{index}.cgi" if name != "bridge" else "Quintora.cgi"
        place = os.path.join(apache.folder, "cgi-bin", file)
        if arguments:  # cgi-fcgi's own way to have them in a file
            with open(place, "w", encoding="utf-8") as script:
                script.write(f"#!{program} -f\n{' '.join(arguments)}\n")
        elif name != "bridge":
            shutil.copyfile(program, place)
        os.chmod(place, 0o755)
        paths[name] = f"/cgi-bin/{file}?{VARIABLES['QUERY_STRING']}"
    return paths


def headers():
    """What a browser sends; http.client and wrk add the host by themselves."""
    names = ("HTTP_ACCEPT", "HTTP_ACCEPT_ENCODING", "HTTP_ACCEPT_LANGUAGE", "HTTP_REFERER",
             "HTTP_USER_AGENT", "HTTP_COOKIE")
    return {"Connection": "close",
            **{name[5:].replace("_", "-").title(): VARIABLES[name] for name in names}}


def check(apache, name, peer, path):
    """One request, whose answer is looked at; returns the length of the answer."""
    connection = http.client.HTTPConnection("127.0.0.1", apache.port, timeout=LONGEST)
    connection.connect()
    own_port = connection.sock.getsockname()[1]
    connection.request("GET", path, headers=headers())
    response = connection.getresponse()
    body = response.read()
    variables = {
        **VARIABLES, "SERVER_SOFTWARE": response.getheader("Server"), "REQUEST_METHOD": "GET",
        "REMOTE_ADDR": "127.0.0.1", "REMOTE_PORT": str(own_port), "SERVER_ADDR": "127.0.0.1",
        "SERVER_NAME": "127.0.0.1", "SERVER_PORT": str(apache.port), "HTTP_CONNECTION": "close",
        "HTTP_HOST": f"127.0.0.1:{apache.port}"}
    answer = f"Content-type: {response.getheader('Content-Type')}\r\n\r\n".encode() + body
    require(response.status == 200 and peer.is_right(answer, variables, {}),
            f"{name} gives a wrong answer under Apache", body)
    return len(body)


def load(apache, path, length, at_once, seconds):
    """Some seconds of requests by wrk, each on a connection of its own.

    Like a browser, wrk has its answer when the answer is complete. Apache with cgid closes the
    connection only after that, when it has seen the program end, for which it looks every 10 ms.
    """
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    options = [f"-d{seconds}", "-t1", f"-c{at_once}", "--timeout", f"{LONGEST}s",
               "-s", os.path.join(HERE, "answers.lua")]
    for name, value in headers().items():
        options += "-H", f"{name}: {value}"
    run = subprocess.run(["/usr/bin/wrk", *options, apache.url(path)],
                         env={"ANSWER_BYTES": str(length)}, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, text=True, timeout=LONGEST, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    totals = re.search(r"^answers (\d+) wrong (\d+) errors (\d+) microseconds (\d+)$", run.stdout,
                       re.MULTILINE)
    require(totals, "wrk says nothing", run.stdout.encode())
    count, wrong, errors, microseconds = map(int, totals.groups())
    require(count > 0 and wrong == errors == 0, "Requests have failed under Apache",
            run.stdout.encode())
    return {"count": count, "rate": count / microseconds * 1e6,
            "generator_seconds": (after.ru_utime + after.ru_stime
                                  - before.ru_utime - before.ru_stime) / count}


def measure(build, is_quick):
    """By turns, and of each program the median of the rates."""
    seconds, rounds = (3, 1) if is_quick else (3, 3)
    result = {name: {str(at_once): [] for at_once in AT_ONCE} for name in PROGRAMS}
    with running_peers(build) as (peers_by_name, server, environment), \
            PrivateApache(build.bridge, environment={
                name: environment[name] for name in ("XDG_CONFIG_HOME", "BENCHMARK_PORT")},
                runs_as=RUNS_AS, directives=DIRECTIVES) as apache:
        paths = install(apache, {name: peers_by_name[name] for name in PROGRAMS})
        lengths = {name: check(apache, name, peers_by_name[name], paths[name])
                   for name in PROGRAMS}
        for _ in range(rounds):
            for at_once in AT_ONCE:
                for name in PROGRAMS:
                    used = server.processor_seconds()
                    one = load(apache, paths[name], lengths[name], at_once, seconds)
                    one["server_seconds"] = (server.processor_seconds() - used) / one["count"]
                    result[name][str(at_once)].append(one)
    for by_count in result.values():
        for key, runs in by_count.items():
            runs.sort(key=lambda one: one["rate"])
            by_count[key] = runs[len(runs) // 2]
    return {"seconds": seconds, "rounds": rounds, "programs": result}
