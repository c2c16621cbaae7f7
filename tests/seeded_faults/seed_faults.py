"""Mutation testing: puts small faults into a copy of the product and counts how many are noticed.

The faults are seeded one at a time. A fault that does not compile, that yields the same program, or
that is judged to change nothing (judged.txt) does not count. The faults are distributed over the
files by their lines of code; runs with the same numbers seed the same faults.
"""
import argparse
import concurrent.futures
import contextlib
import os
import pathlib
import queue
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

from tests.seeded_faults.faults import faults_in, in_random_order, read_judgements

ROOT = pathlib.Path(__file__).resolve().parents[2]
JUDGED = pathlib.Path(__file__).with_name("judged.txt")
PRODUCT = ("bridge", "extras", "platform")
# Generated; tests of their own compare them with their source, line by line.
GENERATED = ("extras/UppercaseTable.cpp", "platform/charsets/CharsetTables.cpp")
REQUIRED = 0.9
MOST_MEMORY = 8 << 30  # of one process; a fault may make it take all that there is
# The tests that are likely to notice, by the beginning of a file's path; the first match wins.
OWN_TESTS = {
    "bridge/SendAppleEvent": ("send_apple_event_tests", "macos_send_apple_event_tests"),
    "bridge/": ("bridge_tests",),
    "extras/": ("extras_tests",),
    "platform/macos/": ("macos_tests",),
    "platform/": ("platform_tests",),
}
# Tests by ctest that run in the programs above, too, or do not look at the product's behaviour.
NOT_BY_CTEST = (r"\.|with_arguments|packaging|macos_report|launch_agent|install|versions|layers"
                r"|documents_(links|man_pages|security)|seeded_faults|uppercase_table")


class DoesNotCompile(Exception):
    pass


class Worker:
    """A copy of the tree, and its build."""

    is_stopped = threading.Event()

    def __init__(self, folder):
        self.source, self.build, self.temporary = (
            folder / name for name in ("source", "build", "temporary"))
        self.allowed = {}  # how long the tests may take
        self.temporary.mkdir(parents=True, exist_ok=True)
        self._copy_tree()
        # Optimised a little, so that a fault without effect yields the same program.
        self._finish(self._start([
            "cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", "-DBUILD_TESTING=ON",
            "-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O1", "-DWARNINGS_AS_ERRORS=OFF",
            "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]), 300)
        self._compile("all")
        self.programs = sorted(path.name for path in (self.build / "tests").glob("*_tests"))
        self.objects = self._objects()
        for step in self._steps("bridge/"):
            start = time.monotonic()
            if not self._passes(step, 600):
                raise SystemExit(f"{step} fails without any fault in {self.build}")
            self.allowed[step] = 30 + 5 * (time.monotonic() - start)

    def _copy_tree(self):
        """Unchanged files keep their times, so that a second run builds little."""
        listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=ROOT,
                                check=True, capture_output=True, text=True).stdout.split("\0")
        files = {file for file in listed if (ROOT / file).is_file()}
        for old in [path for path in self.source.rglob("*") if path.is_file()]:
            if old.relative_to(self.source).as_posix() not in files:
                old.unlink()
        for file in files:
            copy = self.source / file
            if not copy.exists() or copy.read_bytes() != (ROOT / file).read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / file, copy)

    def outcome(self, fault):
        """What noticed the fault; empty when nothing did; None when the fault does not count."""
        file = self.source / fault.file
        text = file.read_text(encoding="utf-8")
        try:
            file.write_text(fault.applied_to(text), encoding="utf-8")
            for step in self._steps(fault.file):
                self._compile(step if step in self.programs else "all")
                if not self._passes(step, self.allowed[step]):
                    return step
            return None if self._objects() == self.objects else ""
        except DoesNotCompile:
            return None
        finally:
            file.write_text(text, encoding="utf-8")

    def _steps(self, file):
        own = next(tests for start, tests in OWN_TESTS.items() if file.startswith(start))
        return [*own, *(program for program in self.programs if program not in own), "ctest"]

    def _compile(self, target):
        if self._finish(self._start(["ninja", "-C", self.build, "-j1", target]), 1200) != 0:
            raise DoesNotCompile

    def _passes(self, step, seconds):
        """Whether the tests pass, at the second attempt at the latest; a time-out fails at once."""
        command = (["ctest", "--test-dir", self.build, "--stop-on-failure", "--exclude-regex",
                    NOT_BY_CTEST] if step == "ctest"
                   else [self.build / "tests" / step, "--gtest_fail_fast", "--gtest_brief=1"])
        for _ in range(2):
            status = self._finish(self._start(command), seconds)
            if status is None:
                return False
            if status == 0:
                return True
        return False

    def _start(self, command):
        return subprocess.Popen(
            [str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True, cwd=self.temporary,
            env={**os.environ, "TMPDIR": str(self.temporary)},
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY)))

    @staticmethod
    def _finish(process, seconds):
        """The exit status; after a time-out None, and the whole process group is killed."""
        end = time.monotonic() + seconds
        try:
            while process.poll() is None and time.monotonic() < end:
                if Worker.is_stopped.is_set():
                    raise SystemExit("stopped")
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(0.2)
            return process.returncode
        finally:
            # Also what a failed test has left behind.
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def _objects(self):
        return {path: path.read_bytes() for path in self.build.rglob("*.o")}


def product_files(prefixes=PRODUCT):
    files = [path.relative_to(ROOT).as_posix() for folder in PRODUCT
             for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".cpp", ".h")]
    return [file for file in files if file not in GENERATED and file.startswith(tuple(prefixes))]


def faults_of(file):
    return faults_in(file, (ROOT / file).read_text(encoding="utf-8"))


def shares(faults, count):
    """How many faults each file gets: by its lines of code, the largest remainders rounded up."""
    lines = {file: len({fault.number for fault in faults[file]}) for file in faults}
    exact = {file: count * lines[file] / sum(lines.values()) for file in faults}
    shares = {file: int(exact[file]) for file in faults}
    for file in sorted(faults, key=lambda name: (shares[name] - exact[name], name)):
        if sum(shares.values()) < count:
            shares[file] += 1
    return shares


def check_judgements(judged):
    """Judgements of lines that are no longer there would only mislead."""
    known = {fault.key for file in product_files() for fault in faults_of(file)}
    for key in judged:
        if key not in known:
            raise SystemExit(f"There is no such fault any more; take it out of {JUDGED.name}:\n{key}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("count", nargs="?", type=int, default=150, help="how many faults (150)")
    parser.add_argument("seed", nargs="?", type=int, default=1, help="chooses other faults (1)")
    parser.add_argument("files", nargs="*", default=PRODUCT,
                        help="only files whose path begins like this")
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build" / "seeded-faults",
                        help="where to build (build/seeded-faults)")
    parser.add_argument("--workers", type=int, default=2, help="how many at a time (2)")
    options = parser.parse_args()

    judged = read_judgements(JUDGED.read_text(encoding="utf-8"))
    check_judgements(judged)
    faults = {file: faults_of(file) for file in product_files(options.files)}
    jobs = queue.SimpleQueue()
    for file, share in sorted(shares(faults, options.count).items(), key=lambda item: -item[1]):
        jobs.put((file, share))
    results, report = [], threading.Lock()

    def work(number):
        worker = Worker(options.folder.resolve() / str(number))
        while True:
            try:
                file, share = jobs.get_nowait()
            except queue.Empty:
                return
            for fault in in_random_order(faults[file], options.seed):
                if share == 0:
                    break
                if fault.key in judged:
                    continue
                start = time.monotonic()
                outcome = worker.outcome(fault)
                if outcome is None:
                    continue
                share -= 1
                with report:
                    results.append((fault, outcome))
                    print(f"{len(results):4} {time.monotonic() - start:4.0f} s  "
                          f"{fault.file}:{fault.number}: {fault.kind}: {outcome or 'NOT NOTICED'}",
                          flush=True)

    signal.signal(signal.SIGTERM, signal.default_int_handler)
    with concurrent.futures.ThreadPoolExecutor(options.workers) as pool:
        try:
            for future in [pool.submit(work, number + 1) for number in range(options.workers)]:
                future.result()
        except BaseException:
            Worker.is_stopped.set()
            raise

    survivors = sorted(fault for fault, outcome in results if not outcome)
    for fault in survivors:
        print(f"\n{fault.key}")
    noticed = len(results) - len(survivors)
    print(f"\nOf {len(results)} faults the tests noticed {noticed}.")
    return 0 if results and noticed >= REQUIRED * len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
