"""Every memory allocation of a run fails once, alone or together with all later ones.

Each time the run must end with one whole response: the short one about memory, or the usual one if
it can do without that memory. A run that has to end abnormally still does. The shortened test tries
40 allocations of a run, spread evenly. Static programs are tested by memory limits instead, and by
the system calls that test_system_calls.py makes fail.
"""
import contextlib
import functools
import resource
import signal
import unittest

from tests.faults.faults import (ALL, IS_WHOLE, OUT_OF_MEMORY, FaultTest, Preload, Request, Run, Site,
                                 preloadable, spread, with_each_request)
from tests.support.harness import DEFAULT_HEADER

ALLOCATIONS = "malloc", "calloc", "realloc"
MOST = ALL if IS_WHOLE else 40
MIB = 1 << 20


def limit_memory(size):
    """For a new process."""
    resource.setrlimit(resource.RLIMIT_AS, (size, size))


@preloadable
class Refusals(FaultTest):
    def setUp(self):
        self.preload = Preload(self)

    def refuse(self, site, first, last=2 ** 40):
        run, count = self.preload.run(site, ALLOCATIONS, "refuse", first=first, last=last)
        self.assertGreater(count, 0)
        return run

    def numbers(self, site):
        return spread(self.preload.count(site, *ALLOCATIONS), MOST)

    @with_each_request()
    def test_one_refusal_ends_in_one_whole_response(self, site):
        permitted = {"page", "page for less", "message", "out of memory"}
        for number in self.numbers(site):
            self.judge(site, self.refuse(site, number, number), permitted, number=number)

    @with_each_request()
    def test_refusal_of_all_that_follow_ends_in_one_whole_response(self, site):
        for number in self.numbers(site):
            self.judge(site, self.refuse(site, number), {"out of memory"}, number=number)


@preloadable
class SpareBytes(FaultTest):
    """The buffers of the form and of an Apple event's reply are 100 bytes larger than their text."""

    def test_form_has_100(self):
        claimed = 50 * MIB  # more than the rest of the run asks for at once
        with contextlib.ExitStack() as stack:
            site = Site(stack, Request(form=b"name=Ann"))
            site.environment["CONTENT_LENGTH"] = str(claimed)
            run = functools.partial(Preload(self).run, site, ["malloc"], "refuse")
            self.assertEqual(site.verdict(run(value=claimed + 101)[0]), "page")
            self.assertEqual(site.verdict(run(value=claimed + 100)[0]), "page for less")

    def test_reply_has_100(self):
        # The message around it is one of 4 MiB, for which no more is asked for at once.
        page = b"p" * (4 * MIB - 28)
        message = b"Quintora CGI error: Out of memory (reply needed %d bytes\r\n" % len(page)
        with contextlib.ExitStack() as stack:
            site = Site(stack, Request(page=page, by_apple_event=True))
            run = functools.partial(Preload(self).run, site, ALLOCATIONS, "refuse")
            self.assertEqual(run(value=len(page) + 100)[0].stdout, DEFAULT_HEADER + message)
            # What is made of the text may need more.
            self.assertIn(site.verdict(run(value=len(page) + 101)[0]), {"page", "out of memory"})


@preloadable
class AbnormalEnd(FaultTest):
    """A request that cannot be forwarded ends the run abnormally, like an uncaught exception."""

    def test_last_line_of_defence_does_not_catch_it(self):
        abnormal = Run(-signal.SIGABRT, b"", b"", (0, 0))
        out_of_memory = Run(0, OUT_OF_MEMORY, b"", (0, 0))
        preload = Preload(self)
        with contextlib.ExitStack() as stack:
            site = Site(stack, Request(form=b"a=%zz"))
            without_form = Run(0, site.page, b"", (1, 1))  # there was no memory to read it into
            self.assertEqual(site.run(), abnormal)
            count = preload.run(site, ALLOCATIONS, "none")[1]
            runs = [preload.run(site, ALLOCATIONS, "refuse", first=number, last=last)[0]
                    for number in range(1, count + 1) for last in (number, 2 ** 40)]
        self.assertEqual(set(runs), {out_of_memory, without_form})
        self.assertEqual(runs.count(without_form), 1)


class LittleMemory(FaultTest):
    """As with ulimit -v: memory that is too little for a large form is enough for a response."""

    @with_each_request("large form", "large reply")
    def test_each_limit_ends_in_one_whole_response(self, site):
        for size in range(MIB, 41 * MIB, MIB // 8 if IS_WHOLE else MIB):
            run = site.run(preexec_fn=lambda: limit_memory(size))
            permitted = {"page", "page for less", "out of memory"}
            self.judge(site, run, permitted if size > 8 * MIB else permitted | {"not started"},
                       size=size)
        self.assertLessEqual({"page", "out of memory"}, self.tally.keys())


if __name__ == "__main__":
    unittest.main()
