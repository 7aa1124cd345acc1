#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds docs/security.md against the tests: check_security.py SOURCE

The measures are numbered without a gap. Each names a test, or the section of docs/threat-model.md that says why it does
not apply, and what is named exists."""
import pathlib
import re
import sys

FEWEST = 83  # measures; none is ever dropped


def tests_of(root):
    sources = [path.read_text() for path in (root / "tests").rglob("*.cpp")]
    cases = re.compile(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", re.MULTILINE)
    named = re.compile(r"add_test\(NAME\s+([\w.$\{}-]+)")
    for text in sources:
        yield from (".".join(found) for found in cases.findall(text))
    for path in (root / "tests").rglob("CMakeLists.txt"):
        yield from named.findall(path.read_text())
    yield from ("ztpkg." + path.stem for path in (root / "tests/acceptance/cases").glob("*.case"))
    yield from ("ztpkg.encrypted_" + aspect for aspect in ("system", "damage", "trace"))


def anchors_of(text):
    for heading in re.findall(r"^#+ (.*)$", text, re.MULTILINE):
        yield re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def faults_of(rows, tests, anchors):
    for at, (number, measure, named) in enumerate(rows, 1):
        links = re.findall(r"\(threat-model\.md#([\w-]+)\)", measure + named)
        names = re.findall("`([^`]+)`", named)
        if number != f"S{at}":
            yield f"{number} stands where S{at} should be"
        if not names and not links:
            yield f"{number} names neither a test nor a section of the threat model"
        yield from (f"{number}: there is no test {name}" for name in names if name not in tests)
        yield from (f"{number}: the threat model has no section {link}" for link in links if link not in anchors)
    if len(rows) < FEWEST:
        yield f"{len(rows)} measures are there, and {FEWEST} should be"


def main():
    root = pathlib.Path(sys.argv[1])
    lines = (root / "docs/security.md").read_text().splitlines()
    rows = [[cell.strip() for cell in line.split("|")[1:4]] for line in lines if line.startswith("| S")]
    faults = list(faults_of(rows, set(tests_of(root)), set(anchors_of((root / "docs/threat-model.md").read_text()))))
    for fault in faults:
        print("docs/security.md:", fault)
    print(f"{len(rows)} measures, {len(faults)} faults")
    return 1 if faults else 0


sys.exit(main())
