#!/usr/bin/env python3
"""Writes UppercaseTable.cpp from the Unicode Character Database (Debian package unicode-data).

usage: generate_uppercase_table.py [--check] [--data FOLDER]

Characters that follow each other at the same step, and whose upper case is at the same distance,
become one run: so the whole database fits into a few kilobytes. --check writes nothing and fails
when the file in the tree differs from what would be written.
"""
import argparse
import pathlib
import sys

OUTPUT = pathlib.Path(__file__).with_name("UppercaseTable.cpp")


def rows(path):
    for line in path.read_text(encoding="utf-8").splitlines():
        line = line.split("#")[0].strip()
        if line:
            yield [field.strip() for field in line.split(";")]


def simple_mappings(folder):
    """Character to upper case, from field 12 of UnicodeData.txt."""
    return {int(row[0], 16): int(row[12], 16)
            for row in rows(folder / "UnicodeData.txt") if row[12]}


def special_mappings(folder):
    """Character to upper case of several characters, without those for some locales only."""
    return {int(row[0], 16): [int(unit, 16) for unit in row[3].split()]
            for row in rows(folder / "SpecialCasing.txt")
            if (len(row) < 5 or not row[4]) and len(row[3].split()) > 1}


def runs(mappings):
    """(first, last, step, offset), greedily from the lowest character on."""
    result = []
    for character, upper in sorted(mappings.items()):
        offset = upper - character
        if result:
            first, last, step, run_offset = result[-1]
            gap = character - last
            if run_offset == offset and (gap == step or (first == last and gap <= 2)):
                result[-1] = (first, character, gap, offset)
                continue
        result.append((character, character, 1, offset))
    return result


def source(folder):
    version = (folder / "SpecialCasing.txt").read_text(encoding="utf-8").split("\n")[0]
    version = version.split("-")[1].removesuffix(".txt")
    run_lines = ["    {0x%04X, 0x%04X, %d, %d}," % run for run in runs(simple_mappings(folder))]
    special_lines = ["    {0x%04X, u\"%s\"}," % (character, "".join("\\u%04X" % u for u in upper))
                     for character, upper in sorted(special_mappings(folder).items())]
    return "\n".join([
        "// Written by generate_uppercase_table.py from the Unicode Character Database, version",
        "// %s: do not edit." % version,
        '#include "extras/Uppercase.h"',
        "",
        "namespace quintora {",
        "",
        "// clang-format off",
        "const UppercaseRun kUppercaseRuns[] = {",
        *run_lines,
        "};",
        "const size_t kUppercaseRunCount = sizeof kUppercaseRuns / sizeof *kUppercaseRuns;",
        "",
        "const UppercaseSpecial kUppercaseSpecials[] = {",
        *special_lines,
        "};",
        "const size_t kUppercaseSpecialCount = sizeof kUppercaseSpecials / sizeof *kUppercaseSpecials;",
        "",
        "}  // namespace quintora",
        ""])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--data", type=pathlib.Path, default=pathlib.Path("/usr/share/unicode"))
    options = parser.parse_args()
    text = source(options.data)
    if not options.check:
        OUTPUT.write_text(text, encoding="utf-8")
    elif OUTPUT.read_text(encoding="utf-8") != text:
        sys.exit("UppercaseTable.cpp differs from what the database in %s gives" % options.data)


if __name__ == "__main__":
    main()
