#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Has each call of "ztpkg rekey" that reads or writes fail in turn, with each error that it may have: the old or the new
package is there, whole, and nothing else. usage: encrypted_faults.py ZTPKG. Skipped where strace is missing or may not
trace."""
import collections
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import tracing

SKIPPED = 77
READS = ("read", "pread64")
WRITES = ("write", "pwrite64", "writev", "pwritev", "ftruncate", "fallocate", "copy_file_range", "fsync", "fdatasync",
          "syncfs", "fchmod", "rename", "renameat", "renameat2", "linkat")
ERRORS = {**{call: ("EIO",) for call in READS}, **{call: ("EIO", "ENOSPC") for call in WRITES}}
ENVIRONMENT = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}  # which needs to trace, too


def traced(options, *command):
    return subprocess.run(["strace", "-f", "-o", "log", *options, *command], capture_output=True, check=False,
                          env=ENVIRONMENT)


def calls(command, scratch):
    """The calls that the command makes on files of the scratch folder, each with its number among those of its name. The
    others are the loader's and the sanitizers'."""
    if traced(["-y", "-e", "trace=" + ",".join("?" + call for call in ERRORS)], *command).returncode:
        sys.exit("rekey failed")
    seen = collections.Counter()
    found = []
    for name, arguments in re.findall(r"^\d+ +(\w+)\((.*)", Path("log").read_text(encoding="utf-8", errors="replace"),
                                      re.MULTILINE):
        seen[name] += 1
        if scratch in arguments:
            found.append((name, seen[name]))
    return found


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    if not tracing.is_possible():
        print("skipped: nothing can be traced here")
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        Path("tree").mkdir()
        Path("tree/small").write_text("a line\n" * 100, encoding="ascii")
        Path("tree/long").write_bytes(os.urandom(2_500_000))
        for key in ("old", "new"):
            subprocess.run([ztpkg, "keygen", key], check=True)
        subprocess.run([ztpkg, "pack", "-q", "-k", "old", "tree", "packed"], check=True)
        before = Path("packed").read_bytes()
        Path("folder").mkdir()
        command = [ztpkg, "rekey", "-q", "folder/p", "-k", "old", "--new-key-file", "new"]

        def is_new():
            if Path("folder/p").read_bytes() == before:
                return False
            subprocess.run([ztpkg, "verify", "-q", "folder/p", "-k", "new"], check=True)
            subprocess.run([ztpkg, "unpack", "-q", "folder/p", "out", "-k", "new"], check=True)
            subprocess.run(["diff", "-r", "tree", "out"], check=True)
            shutil.rmtree("out")
            return True
        outcomes = collections.Counter()
        shutil.copy("packed", "folder/p")
        for call, number in calls(command, os.path.realpath(scratch)):
            for error in ERRORS[call]:
                shutil.copy("packed", "folder/p")
                done = traced(["-e", f"inject={call}:error={error}:when={number}"], *command)
                what = f"{error} of {call} {number}: exit {done.returncode}"
                if os.listdir("folder") != ["p"]:
                    sys.exit(f"{what}: left {os.listdir('folder')}")
                changed = is_new()
                if not changed and not done.returncode:
                    sys.exit(f"{what}: nothing was changed")
                if done.returncode < 0:
                    sys.exit(f"{what}: {done.stderr.decode()}")
                outcomes["new" if changed else "old", "done" if done.returncode == 0 else "error"] += 1
        if not outcomes["old", "error"]:
            sys.exit("no fault was noticed")
        print(", ".join(f"{package} package, {end}: {count}" for (package, end), count in sorted(outcomes.items())))
    return 0


if __name__ == "__main__":
    sys.exit(main())
