#!/usr/bin/env python3
"""Measures a build of the bridge beside its peers; see script/benchmark."""
import argparse
import datetime
import json
import os
import platform
import re
import signal
import subprocess
import sys

import large_forms
import large_replies
import report
import small_requests
import under_apache
from common import HERE, LONGEST, ROOT, Build, WrongAnswer, open_folder
from private_apache import ApacheError

PAGE = os.path.join(ROOT, "docs", "performance.md")
PACKAGES = ("apache2-bin", "curl", "g++", "libc6", "libfcgi-bin", "perl", "python3", "valgrind",
            "wrk")


def package_versions():
    names = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}\n", *PACKAGES],
                           stdout=subprocess.PIPE, text=True, check=True).stdout
    return dict(line.split() for line in names.splitlines())


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        found = re.search(r"^model name\s*: *(.*)", file.read(), re.MULTILINE)
    return found[1] if found else platform.machine()


def surroundings():
    with open("/etc/os-release", encoding="utf-8") as file:
        system = re.search(r'^PRETTY_NAME="(.*)"', file.read(), re.MULTILINE)[1]
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    return {"date": datetime.date.today().isoformat(), "system": system,
            "kernel": platform.release(), "processor": processor(),
            "processors": len(os.sched_getaffinity(0)), "memory_bytes": memory,
            "python": platform.python_version(),
            "packages": package_versions()}


def measure_operations(build, is_quick):
    """The micro-benchmarks' own report; processor time, so that others disturb it least."""
    run = subprocess.run([build.micro, "--benchmark_format=json",
                          f"--benchmark_min_time={0.02 if is_quick else 0.2}"],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=LONGEST,
                         check=True)
    benchmarks = json.loads(run.stdout)["benchmarks"]
    failed = [one["name"] for one in benchmarks if one.get("error_occurred")]
    if failed:
        raise WrongAnswer(f"These operations fail: {', '.join(failed)}")
    return benchmarks


PARTS = {
    "small": small_requests.measure,
    "apache": under_apache.measure,
    "forms": large_forms.measure,
    "replies": large_replies.measure,
    "operations": measure_operations,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("build", help="the build folder, with the benchmarks")
    parser.add_argument("--quick", action="store_true",
                        help="rough figures from small inputs; leaves docs/performance.md alone")
    arguments = parser.parse_args()
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: sys.exit(1))
    results = {"is_quick": arguments.quick, **surroundings()}
    with open_folder() as place:
        build = Build(arguments.build, place)
        for name, measure in PARTS.items():
            # The build before has its part in it, so this is a hint to whoever reads along.
            print(f"Measuring: {name} (load of the last minute: {os.getloadavg()[0]:.1f})",
                  file=sys.stderr, flush=True)
            results[name] = measure(build, arguments.quick)
    with open(os.path.join(arguments.build, "results.json"), "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)
    print(report.tables_only(results))
    if arguments.quick:
        return
    if not report.Capacity(results).is_plausible():
        print("The bridge cannot have taken less than the least program: the machine was busy with "
              "something else. docs/performance.md stays as it is.", file=sys.stderr)
    else:
        with open(os.path.join(HERE, "performance.md.in"), encoding="utf-8") as template:
            page = report.page(template.read(), results)
        with open(PAGE, "w", encoding="utf-8") as file:
            file.write(page)


if __name__ == "__main__":
    try:
        main()
    except (ApacheError, OSError, WrongAnswer, subprocess.SubprocessError) as error:
        sys.exit(f"The measurement failed: {error}")
