"""The version of a copy of the bridge: the mark in its file, and what quintora-doctor reads there."""
import os
import re
import shutil
import subprocess
import unittest

from tests.end_to_end.test_doctor import DOCTOR, HEALTHY, DoctorTest
from tests.support.harness import BRIDGE, ROOT, SANITIZERS

NONE = "The file has no version mark: it is older than this program, or not the bridge."
NOBODY = 65534


def version_of_tree():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"^project\(\S+ VERSION (\S+)", file.read(), re.MULTILINE)[1]


class Versions(DoctorTest):
    def file(self, holds):
        """A file that can be run, as far as one can see without running it."""
        path = self.path("work", "Gateway.cgi")
        with open(path, "wb") as file:
            file.write(holds)
        os.chmod(path, 0o755)
        return path

    def said_of(self, holds, *found):
        """The report on such a copy, which has exactly a finding of its age, or none."""
        report, findings = self.examine(self.file(holds))
        self.assertEqual(findings, [(
            each, "An upgrade may not have reached this copy.",
            "Replace the copy by the installed bridge, or by a link to it, which is upgraded with "
            "it.") for each in found])
        return report

    def test_file_of_the_bridge_carries_the_version_of_the_tree(self):
        with open(BRIDGE, "rb") as file:
            marks = re.findall(rb"(?<=\0)Quintora\.cgi [0-9.]+(?=\0)", file.read())
        self.assertEqual(marks, [f"Quintora.cgi {version_of_tree()}".encode()])

    def test_bridge_does_not_print_it(self):
        answer = subprocess.run([self.copy(), "--version"], env=self.environment(), check=True,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.assertNotIn(version_of_tree().encode(), answer.stdout)

    def test_doctor_tells_the_version_of_the_copy(self):
        self.assertIn(f"Its version is {version_of_tree()}.\n", self.report(HEALTHY, self.copy()))
        self.assertIn("Its version is 12.0.345.\n", self.said_of(b"x\0Quintora.cgi 12.0.345\0y"))

    def test_mark_is_found_wherever_it_lies(self):
        """The file is read in pieces of 16 KiB."""
        mark = b"Quintora.cgi 1.2.3\0"
        for start in (0, *range(16384 - len(mark) - 1, 16384 + 2), 5 * 16384 - 3):
            with self.subTest(start=start):
                self.assertIn("Its version is 1.2.3.\n", self.said_of(b"-" * start + mark))

    def test_copy_that_is_older_than_the_doctor_is_a_finding(self):
        own = version_of_tree()
        for version in "0.0.9", "0", "0.0.10.1":
            with self.subTest(version=version):
                self.said_of(f"Quintora.cgi {version}\0".encode(),
                             f"The copy, {version}, is older than this program, {own}.")
        for version in own, f"{own}.1", "10.0", own.replace(".", ".1", 1):
            with self.subTest(version=version):
                self.said_of(f"Quintora.cgi {version}\0".encode())

    def test_copy_without_a_mark_is_older(self):
        for holds in (b"#!/bin/sh\n", b"Quintora.cgi \0", b"Quintora.cgi 1.2", b"Quintora.cgi 8 \0",
                      b"Quintora.cgi\0" + b"1.2.3\0"):
            with self.subTest(holds=holds):
                self.assertNotIn("Its version", self.said_of(holds, NONE))

    def test_copy_that_only_others_can_read(self):
        path, doctor = self.file(b"Quintora.cgi 1.2.3\0"), self.path("work", "quintora-doctor")
        shutil.copy(DOCTOR, doctor)
        os.chmod(path, 0o111)
        for folder in self.folder, self.path("work"), self.path("config"):
            os.chmod(folder, 0o755)
        run = subprocess.run([doctor, path], env={**SANITIZERS, **self.environment()}, timeout=30,
                             preexec_fn=lambda: os.geteuid() or os.setuid(NOBODY),
                             stdout=subprocess.PIPE)
        self.assertIn(b"    Its version cannot be read: Permission denied.\n", run.stdout)
        self.assertEqual(run.returncode, HEALTHY)


if __name__ == "__main__":
    unittest.main()
