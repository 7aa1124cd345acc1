#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that every test that docs/security.md names exists: check_security.py SOURCE"""
import pathlib
import re
import sys


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


def main():
    root = pathlib.Path(sys.argv[1])
    rows = [line.split("|")[2] for line in (root / "docs/security.md").read_text().splitlines() if line.startswith("| ")]
    named = {name for row in rows for name in re.findall("`([^`]+)`", row)}
    missing = sorted(named - set(tests_of(root)))
    for name in missing:
        print(f"docs/security.md: there is no test {name}")
    print(f"{len(named)} tests are named, {len(missing)} of them do not exist")
    return 1 if missing or not named else 0


sys.exit(main())
