#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Cuts a package at every seventh length and lists it: none but the whole is a package, and none is more than a message.
usage: every_truncation.py FORKS"""
import os
import sys
import tempfile
from pathlib import Path

from forks import Forks


STEP = 7


def fault_of(done):
    if done.returncode != 1 or done.stdout or done.stderr.count(b"\n") != 1 or not done.stderr.endswith(b"\n"):
        return f"exit {done.returncode}, printed {done.stdout!r}, told {done.stderr!r}"
    return None


def main():
    faults = []
    with Forks(os.path.abspath(sys.argv[1])) as forks, tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        os.makedirs("src/e")
        Path("src/x").write_text("x\n")
        if forks.run("pack", "-q", "src", "p.ztp").returncode or forks.run("list", "p.ztp").returncode:
            sys.exit("the whole package cannot be listed")
        whole = Path("p.ztp").read_bytes()
        for length in range(0, len(whole), STEP):
            Path("t").write_bytes(whole[:length])
            fault = fault_of(forks.run("list", "t"))
            if fault:
                faults.append(f"{length} of {len(whole)} bytes: {fault}")
    print("\n".join(faults) or f"no length of {len(whole)} bytes is a package")
    return 1 if faults else 0


sys.exit(main())
