#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Watches the system calls of pack, add, rekey and unpack with a key: nothing of the sources is written anywhere by pack,
add and rekey, and the key nowhere by any. usage: encrypted_trace.py ZTPKG. Skipped where strace is missing or may not trace."""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import tracing

SKIPPED = 77
CALLS = "openat,open,creat,write,pwrite64,writev,pwritev,pwritev2,sendto,sendmsg,copy_file_range,sendfile,splice,mmap"
MAPPED = re.compile(r"\bmmap\([^)\n]*PROT_WRITE[^)\n]*MAP_SHARED")  # of one line: threads interrupt each other's
SAMPLE = 16


def in_hex(data):
    return "".join(f"\\x{byte:02x}" for byte in data)


COPIES = re.compile(r"\b(copy_file_range|sendfile|splice)\(.*" + re.escape(in_hex(b"/source/")))


def trace(*command):
    """What strace tells of a command; all data in it in hexadecimal digits and unabridged."""
    with tempfile.NamedTemporaryFile() as log:
        done = subprocess.run(["strace", "-f", "-y", "-xx", "-s", "100000000", "-e", "trace=" + CALLS, "-o", log.name, *command],
                              capture_output=True, check=False,
                              env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # which needs to trace, too
        return done.returncode, Path(log.name).read_text(encoding="ascii", errors="replace")


def written(log):
    """The data of all calls that write, one line to a call."""
    return "\n".join(line for line in log.splitlines() if re.search(r"\b(write|pwrite64|p?writev2?|send\w+)\(", line))


def samples(content):
    return [content[at:at + SAMPLE] for at in range(0, len(content) - SAMPLE + 1, max(SAMPLE, len(content) // 40))]


def make_tree(root):
    """Contents of every size that is treated in a way of its own, which no compression changes or all does."""
    os.mkdir(root)
    contents = [b"conspicuous text in a small file", os.urandom(40), os.urandom(100_000), os.urandom(1_200_000),
                os.urandom(8_500_000), b"conspicuous text, over and over. " * 30_000]
    for number, content in enumerate(contents):
        Path(root, f"conspicuous{number}.txt").write_bytes(content)
    return contents


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    if not tracing.is_possible():
        print("skipped: nothing can be traced here")
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        contents = make_tree("source")
        Path("key").write_bytes(key := os.urandom(32))
        Path("other").write_bytes(other := os.urandom(32))
        secrets = [in_hex(s) for content in contents for s in samples(content)] + [in_hex(b"conspicuous")]

        def found(log):
            text = written(log)
            return [secret for secret in secrets if secret in text]
        code, log = trace(ztpkg, "pack", "-q", "source", "plain.ztp")
        if code or len(found(log)) < len(secrets) // 2:
            sys.exit("the search does not find what a pack without a key writes")
        for command in (("pack", "-q", "-k", "key", "source", "p.ztp"),
                        ("add", "-q", "-k", "key", "p.ztp", "source", "--to", "/more"),
                        ("pack", "-q", "-k", "key", "--compress", "source", "c.ztp"),
                        ("rekey", "-q", "c.ztp", "-k", "key", "--new-key-file", "other"),
                        ("rekey", "-q", "plain.ztp", "--new-key-file", "key")):
            code, log = trace(ztpkg, *command)
            if code:
                sys.exit(f"{command[0]} exited with {code}")
            if shown := found(log):
                sys.exit(f"{command[0]} wrote {len(shown)} pieces of the sources")
            if MAPPED.search(log) or COPIES.search(log):
                sys.exit(f"{command[0]} moved data in a way that is not looked into")
            if in_hex(b"PK\x03\x04") not in written(log):  # only root sees what a process with a key writes
                print("skipped: what is written cannot be seen here")
                return SKIPPED
            if in_hex(key) in written(log) or in_hex(other) in written(log):
                sys.exit(f"{command[0]} wrote the key")
        code, log = trace(ztpkg, "unpack", "-q", "-k", "key", "p.ztp", "out")
        if code or in_hex(key) in written(log):
            sys.exit("unpack failed, or wrote the key")
        code, log = trace(ztpkg, "unpack", "-q", "--raw", "-k", "key", "p.ztp", "raw")
        if code or found(log):
            sys.exit("unpack --raw failed, or wrote what it should have left encrypted")
        print(f"none of {len(secrets)} pieces of the sources was written")
    return 0


sys.exit(main())
