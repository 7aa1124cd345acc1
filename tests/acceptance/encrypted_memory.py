#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Encrypted contents take little memory, however long they are. usage: encrypted_memory.py ZTPKG [MiB]"""
import filecmp
import os
import subprocess
import sys
import tempfile
from pathlib import Path

MOST = 128 << 20


def peak(output, *command):
    """The most memory that the command had, in bytes."""
    with open(output, "wb") as out:
        process = subprocess.Popen(command, stdout=out)
        _, status, usage = os.wait4(process.pid, 0)
    if os.waitstatus_to_exitcode(status):
        sys.exit(f"{command[1]} failed")
    return usage.ru_maxrss << 10


def main():
    ztpkg, size = os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 300
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        os.mkdir("tree")
        with open("tree/long", "wb") as file:
            for _ in range(size):
                file.write(bytes(1 << 19) + os.urandom(1 << 19))  # the beginning decides whether it is compressed
        for key in ("key", "other"):
            subprocess.run([ztpkg, "keygen", key], check=True)
        for compress in ([], ["--compress"]):
            for output, *command in (("none", "pack", "-q", "-f", *compress, "-k", "key", "tree", "p"),
                                     ("shown", "cat", "p", "long", "-k", "key"),
                                     ("none", "verify", "-q", "p", "-k", "key"),
                                     ("none", "rekey", "-q", "p", "-k", "key", "--new-key-file", "other", *compress),
                                     ("none", "unpack", "-q", "-f", "p", "out", "-k", "other")):
                if (most := peak(output, ztpkg, *command)) > MOST:
                    sys.exit(f"{command[0]} took {most >> 20} MiB for a file of {size} MiB")
            for copy in ("shown", "out/long"):
                if not filecmp.cmp("tree/long", copy, shallow=False):
                    sys.exit(f"{copy} is not what was packed")
                Path(copy).unlink()
    print(f"no command took more than {MOST >> 20} MiB for a file of {size} MiB")


if __name__ == "__main__":
    main()
