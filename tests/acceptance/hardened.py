#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that programs and libraries were compiled and linked with what makes faults of memory hard to exploit:
hardened.py FILE... Skipped where readelf is missing."""
import platform
import re
import shutil
import subprocess
import sys

SKIPPED = 77
MARKS_OF_OTHERS = 20  # the most that the code has which starts any program


def printed(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def measures(path):
    headers = printed("readelf", "-hldW", path)
    symbols = printed("readelf", "--dyn-syms", "-W", path)
    yield "it can be loaded anywhere", re.search(r"Type:\s+DYN", headers)
    yield "its relocated tables become read-only", "GNU_RELRO" in headers and re.search(r"BIND_NOW|\bNOW\b", headers)
    yield "its stack cannot be executed", re.search(r"GNU_STACK\s.*\bRW\s", headers)
    yield "nothing of it is writable and executable", not re.search(r"LOAD\s.*\bRWE\b", headers)
    yield "its stack frames are checked", "__stack_chk_fail" in symbols
    yield "its copies are checked", re.search(r"__\w+_chk@", symbols)
    folders = [folder for value in re.findall(r"(?:RPATH|RUNPATH).*\[(.*)\]", headers) for folder in value.split(":")]
    yield "it takes no library from the current folder", all(re.match(r"/|\$ORIGIN\b", folder) for folder in folders)
    if platform.machine() == "x86_64":
        marks = printed("objdump", "-d", "-j", ".text", path).count("endbr64")
        yield "its functions are marked as targets of calls", marks > MARKS_OF_OTHERS


def main():
    if not shutil.which("readelf") or not shutil.which("objdump"):
        print("skipped: needs readelf and objdump")
        return SKIPPED
    missing = [f"{path}: missing: {what}" for path in sys.argv[1:] for what, holds in measures(path) if not holds]
    print("\n".join(missing) or "all measures are there")
    return 1 if missing else 0


sys.exit(main())
