#!/usr/bin/env python3
"""Compares the tests of build/linux and build/windows with docs/windows-tests.md.

Every test that only one of them has must be listed there under "Only on Linux" or "Only on Windows",
and every test that the document names must exist. Names in the document stand in backticks with
their folder, as `card.VirtualDriver.*`; a * at the end stands for all that follow.
"""
import fnmatch
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / "docs" / "windows-tests.md"
NAME = re.compile(r"`((?:unit|engines|card|process|cli|soak|package|exports)\.[\w./*]+)`")


def tests_of(preset):
    out = subprocess.run(["ctest", "--test-dir", ROOT / "build" / preset, "-N"], text=True,
                         capture_output=True, check=True).stdout
    names = set(re.findall(r"^ *Test +#\d+: (\S+)", out, re.MULTILINE))
    missing = sorted(name for name in names if name.endswith("_NOT_BUILT"))
    if missing or not names:
        sys.exit(f"build/{preset} is not built: {' '.join(missing) or 'no tests'}")
    return names


def first_cells(title):
    """Patterns in the first column of the table below a heading."""
    text = DOCUMENT.read_text(encoding="utf-8")
    section = text.split(f"\n## {title}\n", 1)[1].split("\n## ", 1)[0]
    rows = [line for line in section.splitlines() if line.startswith("|")]
    return [name for row in rows for name in NAME.findall(row.split("|")[1])]


def matches(names, pattern):
    return set(fnmatch.filter(names, pattern))


def compare(mine, other, system, other_system):
    """What is wrong with the section of the tests that only `system` has."""
    title = f"Only on {system}"
    listed = set()
    for pattern in first_cells(title):
        found = matches(mine, pattern)
        if not found:
            yield f"{pattern} is listed under \"{title}\", but {system} has no such test"
        for name in sorted(found & other):
            yield f"{name} is listed under \"{title}\", but {other_system} has it too"
        listed |= found
    for name in sorted(mine - other - listed):
        yield f"{name} is only on {system} and not listed"


def main():
    linux, windows = tests_of("linux"), tests_of("windows")
    wrong = [*compare(linux, windows, "Linux", "Windows"),
             *compare(windows, linux, "Windows", "Linux")]
    for name in NAME.findall(DOCUMENT.read_text(encoding="utf-8")):
        if not matches(linux | windows, name):
            wrong.append(f"{name} is named, but there is no such test")
    if wrong:
        print(*dict.fromkeys(wrong), sep="\n")
        sys.exit(f"{DOCUMENT.relative_to(ROOT)} does not tell how the tests of build/linux and "
                 "build/windows differ (are both built anew?)")
    engines = len(matches(windows, "engines.*"))
    print(f"{len(linux)} tests on Linux, {len(windows)} on the DLL ({engines} of them test-engines, "
          f"compiled from the sources), {len(linux - windows)} only on Linux, "
          f"{len(windows - linux)} only on Windows, all listed")


if __name__ == "__main__":
    main()
