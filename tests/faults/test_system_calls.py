"""Every system call of a run fails once, with each error that it can have, or does less than asked.

Each time the run must end soon, with status 0 and one whole response; only a failure in the program
loader may keep the bridge from starting. strace makes the calls fail, so that this concerns the
loader and the C library, too. Where a call must take effect in spite of its error, a preloaded
library makes it fail, which works for dynamic programs only: the sources are the same.
"""
import contextlib
import errno
import os
import re
import resource
import shutil
import socket
import subprocess
import tempfile
import time
import unittest
from typing import NamedTuple

from tests.faults.faults import (ALL, BRIDGE, IS_WHOLE, LONGEST_RUN, REQUESTS, FaultTest, Preload,
                                 Run, Site, preloadable, reasons, spread, with_each_request)

STRACE = shutil.which("strace")

ANY_FILE = "EACCES ELOOP EMFILE ENAMETOOLONG ENFILE ENOENT ENOMEM ENOTDIR EOVERFLOW EPERM"
ANY_SOCKET = "EBADF EFAULT EINVAL ENOBUFS ENOMEM ENOTCONN ENOTSOCK"
# The errors of each call, by its manual page. PartialEffects has those that need more than a
# failing call: EINTR and EINPROGRESS of connect, after which the connection is being made, and
# EPIPE and ECONNRESET of sendto, after which it is gone.
ERRORS = {
    "access": "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR",
    "arch_prctl": "EFAULT EINVAL EPERM",
    "brk": "ENOMEM",
    "close": "EBADF EDQUOT EINTR EIO ENOSPC",
    "connect": "EACCES EADDRINUSE EADDRNOTAVAIL EAFNOSUPPORT EAGAIN EALREADY EBADF ECONNREFUSED "
               "ECONNRESET EFAULT EHOSTUNREACH EISCONN ENETUNREACH ENOENT ENOTSOCK EPERM "
               "EPROTOTYPE ETIMEDOUT",
    "faccessat": "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR",
    "fcntl": "EACCES EAGAIN EBADF EINTR EINVAL EPERM",
    "futex": "EFAULT EINVAL",
    "getrandom": "EAGAIN EFAULT EINTR EINVAL ENOSYS",
    "getsockopt": "EBADF EFAULT EINVAL ENOBUFS ENOPROTOOPT ENOTSOCK",
    "ioctl": "EBADF EFAULT EINVAL ENOTTY",
    "madvise": "EAGAIN EINVAL ENOMEM",
    "mmap": "EACCES EAGAIN EBADF EINVAL ENFILE ENODEV ENOMEM EOVERFLOW EPERM ETXTBSY",
    "mprotect": "EACCES EINVAL ENOMEM",
    "mremap": "EAGAIN EFAULT EINVAL ENOMEM",
    "munmap": "EINVAL ENOMEM",
    "newfstatat": f"{ANY_FILE} EBADF EFAULT EINVAL",
    "fstat": f"{ANY_FILE} EBADF EFAULT EINVAL",
    "open": f"{ANY_FILE} EAGAIN EBADF EINTR EINVAL EIO EISDIR ENODEV ENXIO ETXTBSY",
    "openat": f"{ANY_FILE} EAGAIN EBADF EINTR EINVAL EIO EISDIR ENODEV ENXIO ETXTBSY",
    "poll": "EFAULT EINTR EINVAL ENOMEM",
    "ppoll": "EFAULT EINTR EINVAL ENOMEM",
    "pread64": "EAGAIN EBADF EFAULT EINTR EINVAL EIO EISDIR ENXIO EOVERFLOW ESPIPE",
    "prlimit64": "EFAULT EINVAL EPERM ESRCH",
    "read": "EAGAIN EBADF ECONNRESET EFAULT EINTR EINVAL EIO EISDIR ENOMEM ETIMEDOUT",
    "recvfrom": f"EAGAIN ECONNREFUSED ECONNRESET EINTR EIO ETIMEDOUT {ANY_SOCKET}",
    "rseq": "EBUSY EFAULT EINVAL ENOSYS EPERM",
    "rt_sigprocmask": "EFAULT EINVAL",
    "sendto": "EACCES EAGAIN EALREADY EDESTADDRREQ EINTR EIO EISCONN EMSGSIZE ENETDOWN ENETUNREACH "
              f"EOPNOTSUPP EPERM ETIMEDOUT {ANY_SOCKET}",
    "set_robust_list": "EINVAL ENOSYS",
    "setsockopt": f"EDOM ENOPROTOOPT {ANY_SOCKET}",
    "shutdown": "EBADF EINVAL ENOTCONN ENOTSOCK",
    "socket": "EACCES EAFNOSUPPORT EINVAL EMFILE ENFILE ENOBUFS ENOMEM EPERM EPROTONOSUPPORT",
    "write": "EAGAIN EBADF ECONNRESET EDQUOT EFAULT EFBIG EINTR EINVAL EIO ENOSPC EPERM EPIPE",
    "writev": "EAGAIN EBADF ECONNRESET EDQUOT EFAULT EFBIG EINTR EINVAL EIO ENOSPC EPERM EPIPE",
}
# Calls that cannot fail, and the start of the program, for which the web server is responsible.
WITHOUT_ERRORS = {"clock_gettime", "execve", "exit_group", "set_tid_address"}
# After these errors the call is repeated.
AGAIN = {"connect": {"EINTR"}, "poll": {"EINTR"}, "ppoll": {"EINTR"},
         "read": {"EAGAIN", "EINTR"}, "recvfrom": {"EAGAIN", "EINTR"},
         "sendto": {"EAGAIN", "EINTR"}, "write": {"EAGAIN", "EINTR"},
         "writev": {"EAGAIN", "EINTR"}}
# No response needs these.
UNIMPORTANT = {"close", "ioctl", "madvise", "munmap", "rt_sigprocmask", "setsockopt", "shutdown"}
TRANSFERS = "read", "recv", "send", "write", "writev"

# In the line that strace writes: the call, and its first argument when that is a descriptor.
LINE = re.compile(r"(\w+)\((?:([0-9]+)<([^>]*)>)?")


class Call(NamedTuple):
    """One call of an ordinary run."""

    name: str
    number: int  # among those of its name, from 1
    owner: str  # who makes it: the loader, the bridge, or a converter of the C library
    descriptor: int  # its first argument, -1 when that is none
    file: str  # what the descriptor stands for

    def permitted(self, error):
        """The permitted outcomes of a run in which this call has this error."""
        if self.owner == "loader":
            return {"page", "not started"}
        if self.owner == "converter":
            return {"page", "out of memory"}
        # Nobody is left who could read the response.
        if self.descriptor == 1 and error not in AGAIN["writev"]:
            return {"nothing"}
        # Of a form that cannot be read to its end, the part that was read is forwarded.
        if (self.name, self.descriptor) == ("read", 0) and error not in AGAIN["read"]:
            return {"page for less"}
        # Without memory for it, the form is left out.
        if self.name == "mmap":
            return {"page", "page for less", "out of memory"}
        # Discarding the rest of standard input.
        if (self.name, self.descriptor) == ("recvfrom", 0):
            return {"page"}
        # A file has no reason to be waited for; an error makes it one that cannot be read.
        is_awaited = error == "EINTR" or not self.file.endswith(".conf")
        if self.name in UNIMPORTANT or (error in AGAIN.get(self.name, ()) and is_awaited):
            return {"page"}
        return {"page", "message", "out of memory"}


def parts(line):
    """A line's call, descriptor and file, as in a Call."""
    name, descriptor, file = LINE.match(line).groups()
    return name, int(descriptor or -1), file or ""


class Refusals(FaultTest):
    """Calls that strace makes fail."""

    def setUp(self):
        if not STRACE:
            self.fail("strace is not installed")
        self.log = tempfile.NamedTemporaryFile("r+")
        self.addCleanup(self.log.close)

    def trace(self, site, *options):
        """The run, and the lines that strace wrote."""
        self.log.truncate(0)
        run = site.run(STRACE, "-qq", "-y", "-e", "signal=none", "-o", self.log.name, *options)
        self.log.seek(0)
        return run, self.log.read().splitlines()

    def calls(self, site):
        run, lines = self.trace(site)
        self.assertEqual(site.verdict(run), "page", run)
        calls, numbers, owner = [], {}, "loader"
        for line in lines:
            name, descriptor, file = parts(line)
            numbers[name] = numbers.get(name, 0) + 1
            if line.startswith("rt_sigprocmask(SIG_BLOCK, [PIPE") or descriptor == 1:
                owner = "bridge"
            elif "/gconv/" in line:
                owner = "converter"
            calls.append(Call(name, numbers[name], owner, descriptor, file))
        self.assertEqual(owner, "bridge")
        self.assertEqual(numbers.keys() - ERRORS.keys() - WITHOUT_ERRORS, set(),
                         "which errors do these calls have?")
        return calls

    def faults(self, site):
        """Calls and errors. The whole list has every call with all its errors. The shortened list
        has 6 calls of each name, each with one error in turn and those after which it is repeated.
        The turn begins with a different error for each request."""
        calls, start = self.calls(site), list(REQUESTS.values()).index(site.request)
        for name in sorted({call.name for call in calls} - WITHOUT_ERRORS):
            named, errors = [call for call in calls if call.name == name], ERRORS[name].split()
            if name == "connect" and site.request.by_apple_event:
                errors.insert(0, "EINTR")  # such a connection is made at once or not at all
            for turn, number in enumerate(spread(len(named), ALL if IS_WHOLE else 6), start):
                some = AGAIN.get(name, set()) | {errors[turn % len(errors)]}
                for error in errors if IS_WHOLE else sorted(some.intersection(errors)):
                    yield named[number - 1], error

    @with_each_request()
    def test_refused_call_ends_in_one_whole_response(self, site):
        for call, error in self.faults(site):
            # The system answers a refused brk with the end of memory as it is, no error; any
            # address that is less than the wanted one says the same.
            outcome = "retval=0" if call.name == "brk" else f"error={error}"
            run, lines = self.trace(site, "-e", f"trace={call.name}", "-e",
                                    f"inject={call.name}:{outcome}:when={call.number}")
            refused = next((line for line in lines if "(INJECTED)" in line), None)
            if refused:
                # A large reply comes in more pieces or fewer: it may be another call of this name.
                _, descriptor, file = parts(refused)
                made = call._replace(descriptor=descriptor, file=file)
                self.judge(site, run, made.permitted(error), call=call.name, number=call.number,
                           error=error)
                reason = re.search(rb" failed: (.*)\.\r\n", run.stdout)
                if reason:
                    self.assertEqual(reason[1].decode(), reasons()[getattr(errno, error)])
            else:  # the request took fewer such calls this time
                self.assertEqual(site.verdict(run), "page", run)

    def test_second_address_is_for_a_first_one_where_nobody_is(self):
        with contextlib.ExitStack() as stack:
            try:
                site = Site(stack, REQUESTS["GET"], host="::1")
            except OSError as error:
                self.skipTest(f"no loopback address of IPv6: {error}")
            for error, verdict, arrived in (("ECONNREFUSED", "page", 1), ("ENETUNREACH", "page", 1),
                                            ("EHOSTUNREACH", "page", 1),
                                            ("EACCES", "message", 0), ("EPERM", "message", 0)):
                with self.subTest(error=error):
                    run, _ = self.trace(site, "-e", f"inject=connect:error={error}:when=1")
                    self.assertEqual((site.verdict(run), *run.arrived), (verdict, arrived, arrived))


@preloadable
class PartialEffects(FaultTest):
    """Calls that do less than they were asked for, and errors of calls that take effect."""

    def setUp(self):
        self.preload = Preload(self)

    def try_each(self, site, permitted, call, *fault):
        for number in spread(self.preload.count(site, call), ALL if IS_WHOLE else 6):
            run, count = self.preload.run(site, [call], *fault, first=number, last=number)
            if count:
                self.judge(site, run, permitted, call=call, number=number, fault=fault)
            else:  # the request took fewer such calls this time
                self.assertEqual(site.verdict(run), "page", run)

    @with_each_request("GET", "large form", "large reply")
    def test_lost_connection_ends_in_a_message_and_is_not_made_again(self, site):
        for call in "send", "recv":
            for error in errno.EPIPE, errno.ECONNRESET, errno.ETIMEDOUT:
                self.try_each(site, {"message"}, call, "lose", error)

    @with_each_request("GET")
    def test_preferences_that_cannot_be_read_to_their_end_count_as_absent(self, site):
        """The first call reads the line with the server's port; a later one fails."""
        with open(site.preferences, "a", encoding="utf-8") as file:
            file.write("# " + "x" * 10_000 + "\n")
        for number in 2, 3:
            run, count = self.preload.run(site, ["read"], "lose", errno.EIO, first=number,
                                          last=number, most=4096)
            self.assertEqual(count, 1)
            self.judge(site, run, {"message"}, number=number)

    @with_each_request("GET")
    def test_preferences_that_shrink_while_they_are_read_end_where_they_do(self, site):
        """The first call would read the line with the server's port, or reads it."""
        with open(site.preferences, "a", encoding="utf-8") as file:
            file.write("# " + "x" * 10_000 + "\n")
        for number, outcome in (1, "message"), (2, "page"):
            run, count = self.preload.run(site, ["read"], "shorten", 0, first=number, last=number,
                                          most=4096)
            self.assertEqual(count, 1)
            self.judge(site, run, {outcome}, number=number)

    @with_each_request("GET", "POST")
    def test_connection_that_takes_its_time_is_awaited(self, site):
        for error in errno.EINTR, errno.EINPROGRESS:
            self.try_each(site, {"page"}, "connect", "report", error)

    @with_each_request()
    def test_what_passes_in_part_goes_on_with_the_rest(self, site):
        for call in TRANSFERS:
            for most in 1, 100:
                self.try_each(site, {"page"}, call, "shorten", most)

    @with_each_request()
    def test_what_never_passes_but_in_part_arrives_whole(self, site):
        most = 1 if len(site.request.form) + len(site.request.page) < 1000 else 1000
        run, count = self.preload.run(site, TRANSFERS, "shorten", most)
        self.assertGreater(count, 50)
        self.judge(site, run, {"page"})


class Waiting(FaultTest):
    """Non-blocking standard streams, which a web server may choose."""

    @with_each_request("large form", "large reply")
    def test_streams_that_do_not_block_are_awaited(self, site):
        ours, its = socket.socketpair()
        its.setblocking(False)
        ours.settimeout(LONGEST_RUN)
        before = processor_time()
        with subprocess.Popen([BRIDGE], stdin=its, stdout=its, stderr=subprocess.PIPE,
                              env=site.environment) as process, ours:
            its.close()
            time.sleep(1)  # nothing to read yet
            if site.request.form:
                ours.sendall(site.request.form)
            time.sleep(1)  # no room for a large page yet
            page = ours.makefile("rb").read()
            run = Run(process.wait(LONGEST_RUN), page, process.stderr.read(), site.server.arrived())
        self.judge(site, run, {"page"})
        self.assertLess(processor_time() - before, 0.4)


def processor_time():
    """Of all runs so far, in seconds."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


if __name__ == "__main__":
    unittest.main()
