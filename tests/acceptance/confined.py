#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Has unpack and verify try to write where they have nothing to write: confined.py ZTPKG ESCAPE

ESCAPE is a library that tries it from inside of the program, with everything that the program reads. Skipped where the
kernel confines nothing."""
import ctypes
import os
import pathlib
import subprocess
import sys
import tempfile

SKIPPED = 77
CREATE_RULESET, VERSION = 444, 1


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, **options)


def main():
    ztpkg, escape = (os.path.abspath(argument) for argument in sys.argv[1:3])
    if ctypes.CDLL(None).syscall(CREATE_RULESET, None, 0, VERSION) < 1:
        print("skipped: the kernel confines nothing")
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        for folder in ("source", "outside", "there", "parent"):
            os.mkdir(folder)
        for number in range(20):
            pathlib.Path("source", str(number)).write_bytes(os.urandom(1000))
        pathlib.Path("source/large").write_bytes(os.urandom(9_000_000))
        there = pathlib.Path("outside/there")
        there.write_text("as it was")
        pathlib.Path("key").write_bytes(os.urandom(32))
        run(ztpkg, "pack", "-q", "source", "p.ztp")
        run(ztpkg, "pack", "-q", "-k", "key", "source", "e.ztp")
        faults = []

        def escaped():
            """What was written, which is undone."""
            made, started = pathlib.Path("outside/made"), pathlib.Path("outside/started")
            found = [name for name, is_so in (("made", made.exists()), ("started", started.exists()),
                                              ("there", there.read_text() != "as it was")) if is_so]
            made.unlink(missing_ok=True)
            there.write_text("as it was")
            if started.exists():
                started.rmdir()
            return found

        def attempt(*command, **options):
            done = run(ztpkg, *command, **options, env={
                **os.environ, "LD_PRELOAD": escape, "ZT_ESCAPE": os.path.abspath("outside")})
            if b"tried" not in done.stderr:
                faults.append(f"{command}: nothing was tried")
            return escaped()

        if attempt("list", "p.ztp") != ["made", "started", "there"]:
            faults.append("the library does not even escape from what is not confined")
        package = pathlib.Path("p.ztp").read_bytes()
        for command in (("unpack", "p.ztp", "there"), ("unpack", "-k", "key", "e.ztp", "parent/new/folder"),
                        ("unpack", "--force", "-k", "key", "e.ztp", "there"), ("unpack", "-O", "p.ztp"),
                        ("verify", "p.ztp"), ("verify", "-k", "key", "e.ztp")):
            if found := attempt(*command):
                faults.append(f"{command}: {found}")
        for command in (("unpack", "-", "parent/piped"), ("verify", "-")):
            if found := attempt(*command, input=package):
                faults.append(f"{command} of a pipe: {found}")
        for folder in ("there", "parent/new/folder", "parent/piped"):
            run("diff", "-r", "source", folder)
        print("\n".join(faults) or "nothing escaped")
    return 1 if faults else 0


sys.exit(main())
