#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Changes an encrypted package bit by bit, with its checksums put right, and has the tool read it: the same error each
time, and not a byte of content; verify names the part. usage: encrypted_damage.py FORKS"""
import json
import os
import sys
import tempfile
import zipfile
from pathlib import Path

from forks import Forks

IV, TAG = 16, 16
CONTENT = b"a secret that is never handed out"
LINE = "An error occurred during decryption:The key is wrong or the content is damaged\n"
WHY = "cannot be decrypted: wrong key or password, or the data was modified\n"


def rewrite(package, target, part, change):
    with zipfile.ZipFile(package) as before, zipfile.ZipFile(target, "w") as after:
        for name in before.namelist():
            data = before.read(name)
            after.writestr(name, change(data) if name == part else data)


def changes(size):
    """A bit in each byte, and lengths."""
    def flip(at):
        return lambda data: data[:at] + bytes([data[at] ^ 1 << at % 8]) + data[at + 1:]

    def cut(length):
        return lambda data: data[:length]
    yield from (flip(at) for at in range(size))
    yield from (cut(length) for length in (0, 1, IV - 1, IV, IV + TAG - 1, IV + TAG, size - TAG, size - 1))
    yield lambda data: data + b"\0"
    yield lambda data: data[1:]


def expect(what, done, stderr):
    if (done.returncode, done.stdout, done.stderr) != (4, b"", stderr.encode()):
        sys.exit(f"{what}: exit {done.returncode}, printed {done.stdout!r}, told {done.stderr!r}")


def expect_fault(what, done, item, size):
    code = "truncated-encryption" if size < IV + TAG else "not-authentic"
    faults = [(fault["code"], fault["item"]) for fault in json.loads(done.stdout)["faults"]]
    if (done.returncode, faults) != (1, [(code, item)]):
        sys.exit(f"{what}: exit {done.returncode}, listed {faults}")


def main():
    with Forks(os.path.abspath(sys.argv[1])) as forks, tempfile.TemporaryDirectory() as scratch:
        run = forks.run
        os.chdir(scratch)
        os.mkdir("source")
        Path("source/f").write_bytes(CONTENT)
        for arguments in (("keygen", "key"), ("keygen", "other"), ("pack", "-q", "-k", "key", "source", "p")):
            if run(*arguments).returncode:
                sys.exit(f"{arguments[0]} failed")
        content = next(n for n in zipfile.ZipFile("p").namelist() if n.startswith("fsroot/"))
        manifest = "metadata/filesystemManifest.xml"
        count = 0
        for part in (content, manifest):
            size = len(zipfile.ZipFile("p").read(part))
            about = "/f" if part == content else "the file system of q"
            for change in changes(size):
                rewrite("p", "q", part, change)
                if count % 4 == 0 or part == content:
                    expect(f"cat, change {count}", run("cat", "-k", "key", "q", "f"),
                           f"{LINE}ztpkg: cat: {about} {WHY}")
                    expect(f"unpack, change {count}", run("unpack", "-q", "-k", "key", "q", "out"),
                           f"{LINE}ztpkg: unpack: {about} {WHY}")
                if count % 4 == 0:
                    expect_fault(f"verify, change {count}", run("verify", "--json", "-k", "key", "q"),
                                 "/f" if part == content else f"/{part}", len(zipfile.ZipFile("q").read(part)))
                if os.path.exists("out") and os.listdir("out"):
                    sys.exit(f"unpack, change {count}: left {os.listdir('out')}")
                count += 1
        rewrite("p", "q", "", None)
        expect("cat with another key", run("cat", "-k", "other", "q", "f"),
               f"{LINE}ztpkg: cat: the file system of q {WHY}")
        if run("cat", "-k", "key", "q", "f").stdout != CONTENT:
            sys.exit("the package that was only rewritten cannot be read")
        os.makedirs("out", exist_ok=True)
        Path("out/f").write_bytes(b"former")
        rewrite("p", "q", content, lambda data: data[:-1])
        if run("unpack", "-q", "--force", "-k", "key", "q", "out").returncode != 4:
            sys.exit("damaged content was extracted over a file")
        if Path("out/f").read_bytes() != b"former":
            sys.exit("a file was replaced by damaged content")
        print(f"{count} changes were all noticed")


if __name__ == "__main__":
    main()
