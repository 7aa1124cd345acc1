#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Each command derives the key of a password once, however often it needs it. usage: derivations.py ZTPKG LIBRARY, which
counts the derivations (derivations.cpp)"""
import os
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

WITH = "--password-file pw"
ONCE = [f"pack {WITH} --password-cost 10 tree p", f"pack {WITH} --password-cost 10 --compress tree c", f"list p {WITH}",
        f"cat p a.txt b.txt {WITH}", f"info p {WITH}", f"verify p {WITH}",
        f"unpack p out {WITH}", f"add p pw {WITH}", f"move p pw moved {WITH}", f"remove p moved {WITH}",
        f"diff p tree {WITH}", f"update p tree {WITH}", f"update --delete p more {WITH}", f"repair p sound {WITH}",
        f"rekey p --to-plain -f {WITH}", "rekey p --new-password-file pw --password-cost 10"]
TWICE = [f"rekey p {WITH} --new-password-file other --password-cost 10"]  # the old password and the new one


def main():
    ztpkg, library = (os.path.abspath(path) for path in sys.argv[1:3])
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        for folder in ("tree", "more"):
            Path(folder).mkdir()
            for name in ("a.txt", "b.txt"):
                Path(folder, name).write_text(folder + name, encoding="ascii")
        for name in ("pw", "other"):
            Path(name).write_text(name + "\n", encoding="ascii")
            Path(name).chmod(0o600)
        counts = Path("counts")
        for command, most in [(command, 1) for command in ONCE] + [(command, 2) for command in TWICE]:
            counts.write_bytes(b"")
            done = subprocess.run([ztpkg, *shlex.split(command)], capture_output=True, check=False,
                                  env={**os.environ, "LD_PRELOAD": library, "ZT_DERIVATIONS": os.path.abspath("counts")})
            if done.returncode not in (0, 1) or b"usage" in done.stderr:
                sys.exit(f"{command}: exit {done.returncode}, {done.stderr.decode()}")
            if (derived := counts.stat().st_size) != most:
                sys.exit(f"{command}: derived {derived} times, exit {done.returncode}, {done.stderr.decode()}")
        print(f"{len(ONCE) + len(TWICE)} commands derived each key once")


if __name__ == "__main__":
    main()
