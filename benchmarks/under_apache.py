"""Requests a second through a private Apache, and where the processors' time goes."""
import http.client
import os
import re
import resource
import shutil
import subprocess
import time

from common import LONGEST, require
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
    """What a browser sends; http.client and ab add the host by themselves."""
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


def load(apache, path, at_once, seconds):
    """What ab reports of some seconds of requests, each on a connection of its own."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    options = ["-t", str(seconds), "-n", "1000000", "-c", str(at_once)]
    for name, value in headers().items():
        options += "-H", f"{name}: {value}"
    run = subprocess.run(["/usr/bin/ab", "-q", "-l", *options, apache.url(path)],
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         timeout=LONGEST, check=True)
    elapsed = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)

    def figure(name):
        found = re.search(rf"^{name}:\s+([\d.]+)", run.stdout, re.MULTILINE)
        return float(found[1]) if found else 0.0

    count = figure("Complete requests")
    require(count > 0 and figure("Failed requests") == 0 and figure("Non-2xx responses") == 0,
            "Requests have failed under Apache", run.stdout[-1500:].encode())
    return {"count": count, "seconds": elapsed, "rate": figure("Requests per second"),
            "bytes": figure("HTML transferred"),
            "generator_seconds": (after.ru_utime + after.ru_stime
                                  - before.ru_utime - before.ru_stime) / count}


def measure(build, is_quick):
    """By turns, and of each program the median of the rates."""
    seconds, rounds = (1, 1) if is_quick else (3, 3)
    result = {name: {str(at_once): [] for at_once in AT_ONCE} for name in NAMES}
    with running_peers(build) as (peers_by_name, server, environment), \
            PrivateApache(build.bridge, environment={
                name: environment[name] for name in ("XDG_CONFIG_HOME", "BENCHMARK_PORT")},
                runs_as=RUNS_AS, directives=DIRECTIVES) as apache:
        paths = install(apache, peers_by_name)
        lengths = {name: check(apache, name, peer, paths[name])
                   for name, peer in peers_by_name.items()}
        for _ in range(rounds):
            for at_once in AT_ONCE:
                for name in NAMES:
                    used = server.processor_seconds()
                    one = load(apache, paths[name], at_once, seconds)
                    one["server_seconds"] = (server.processor_seconds() - used) / one["count"]
                    # Of the last ones, only a part may have come when the time was over.
                    beyond = one.pop("bytes") - one["count"] * lengths[name]
                    require(0 <= beyond <= at_once * lengths[name],
                            f"{name} gives other answers under load than alone")
                    result[name][str(at_once)].append(one)
    for by_count in result.values():
        for key, runs in by_count.items():
            runs.sort(key=lambda one: one["rate"])
            by_count[key] = runs[len(runs) // 2]
    return {"seconds": seconds, "rounds": rounds, "programs": result}
