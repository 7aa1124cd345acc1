#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds a parser to its promise: no markup makes it open a file or a socket.

    check_isolation.py PROGRAM [CORPUS]

Runs parse_hostile_markup under strace and fails when a system call on a path or the network comes between its
two marks. Leaves with 77 where strace is missing or may not trace."""
import glob
import os
import subprocess
import sys
import tempfile

BEGIN, END = "/begin-of-parsing", "/end-of-parsing"


def trace(program, arguments):
    """The traced calls between the marks, each a line; the program's output."""
    with tempfile.NamedTemporaryFile("r") as log:
        environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")  # that one traces, too
        try:
            run = subprocess.run(
                ["strace", "-f", "-e", "trace=%file,%network", "-o", log.name, program, *arguments],
                env=environment, capture_output=True, text=True, timeout=200)
        except FileNotFoundError:
            skip("there is no strace")
        lines = log.read().splitlines()
    if not lines:
        skip("strace may not trace here: " + run.stderr.strip())
    if run.returncode != 0:
        sys.exit(f"{program} failed: {run.stderr}")
    begins = [i for i, line in enumerate(lines) if BEGIN in line]
    ends = [i for i, line in enumerate(lines) if END in line]
    if len(begins) != 1 or len(ends) != 1:
        sys.exit(f"not one begin and one end: {begins} {ends}")
    return lines[begins[0] + 1:ends[0]], run.stdout.strip()


def skip(reason):
    print("skipped:", reason)
    sys.exit(77)


def main():
    program, corpus = sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else ""
    seen, _ = trace(program, ["--careless"])
    if not any("/etc/passwd" in line for line in seen) or not any("socket(" in line for line in seen):
        sys.exit(f"an opened file and socket do not show: {seen}")

    packages = sorted(glob.glob(os.path.join(corpus, "made", "xml-*"))) if corpus else []
    if not packages:
        print("no corpus of packages beside the checkout; what is made here serves alone")
    calls, output = trace(program, packages)
    print(output)
    if " accepted" not in output or output.startswith("0 ") or output.endswith(" 0 refused"):
        sys.exit("it accepts or refuses everything")
    if calls:
        sys.exit("parsing reaches out:\n" + "\n".join(calls))


main()
