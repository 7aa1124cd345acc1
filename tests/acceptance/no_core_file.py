#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Has commands crash while they wait, with a key and without: no_core_file.py ZTPKG

The one with the key writes no core file, and no other process of its user may look into it. Skipped where a crash writes
no core file in any case, and where nobody can become another user than root, who may look into everything."""
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile

SKIPPED = 77
NOBODY = 65534


def become_user():
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)
    _, most = resource.getrlimit(resource.RLIMIT_CORE)
    resource.setrlimit(resource.RLIMIT_CORE, (most, most))


def waiting(ztpkg, *options):
    """A command that has read its options and waits for the reader of its output."""
    running = subprocess.Popen([ztpkg, "cat", *options, "large"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               preexec_fn=become_user)  # one thread is here
    if running.stdout.read(1) != b"x":
        sys.exit("nothing was printed")
    return running


def crash(running):
    """Whether it wrote a core file."""
    running.send_signal(signal.SIGSEGV)
    _, status = os.waitpid(running.pid, 0)
    running.returncode = status  # for the destructor
    running.stdout.close()
    return os.WCOREDUMP(status)


def can_be_read(running):
    """Whether a process of its user may look into it, and may at all see what is there."""
    test = subprocess.run(["head", "-c", "1", f"/proc/{running.pid}/environ"], capture_output=True, check=False,
                          preexec_fn=become_user)
    return test.returncode == 0


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        os.chmod(".", 0o777)
        os.mkdir("source")
        pathlib.Path("source/large").write_bytes(b"x" * 10_000_000)
        subprocess.run([ztpkg, "keygen", "key"], check=True)
        subprocess.run([ztpkg, "pack", "-q", "source", "p.ztp"], check=True)
        subprocess.run([ztpkg, "pack", "-q", "-k", "key", "source", "e.ztp"], check=True)
        os.chmod("key", 0o644)
        plain, keyed = waiting(ztpkg, "p.ztp"), waiting(ztpkg, "-k", "key", "e.ztp")
        seen = {name: can_be_read(running) for name, running in (("plain", plain), ("keyed", keyed))}
        dumped = {name: crash(running) for name, running in (("plain", plain), ("keyed", keyed))}
    if seen["keyed"] or dumped["keyed"]:
        print("the process with the key can be looked into" if seen["keyed"] else "it wrote a core file")
        return 1
    if not seen["plain"]:
        print("skipped: no process can be looked into here")
        return SKIPPED
    print("no core file" if dumped["plain"] else "no core file; without a key none is written here either")
    return 0


sys.exit(main())
