#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Packs a copy of the system's headers and documentation, with odd names and modes added, unpacks it and
compares: contents, permissions, times to the microsecond, link targets. usage: system_round_trip.py ZTPKG

As root the package is also unpacked by an ordinary user, whom modes such as 0000 really bind.
"""
import filecmp
import json
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

NOBODY = 65534
# A sanitized ztpkg does the same with fewer.
MOST_FILES = 2_000 if b"__asan_init" in Path(sys.argv[1]).read_bytes() else 10_000
ODD_NAMES = [
    "foo.", "_rels/x.rels", "A", "a", "50%.txt", "#?[].txt", "two  blanks .txt", " leading", "tab\there",
    "line\nfeed", "[Content_Types].xml", "\u00fcml\u00e4ut/\u65e5\u672c\u8a9e.txt", "\u00e9" * 127, "..dots../...", "+@plus", "%41.txt",
    "\U0001f4e6 box.txt", ".hidden", "x", "x.d/x", "CON", "~tilde", "a'b\"c&d<e>f", "deep/" * 60 + "end",
]


def copy_system(root):
    count = 0
    for top in ("/usr/include", "/usr/share/doc"):
        for folder, folders, files in os.walk(top):
            folders.sort()
            for name in sorted(files) + [f for f in folders if os.path.islink(os.path.join(folder, f))]:
                source = os.path.join(folder, name)
                if count >= MOST_FILES:
                    return
                if "\\" in source:
                    continue
                target = root + source
                os.makedirs(os.path.dirname(target), exist_ok=True)
                if os.path.islink(source):
                    link = os.readlink(source)
                    os.symlink(root + link if link.startswith("/") else link, target)
                elif os.path.isfile(source):
                    shutil.copy2(source, target)
                else:
                    continue
                count += 1


def add_odd_files(root):
    for number, name in enumerate(ODD_NAMES):
        path = Path(root, "odd", name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(f"content {number}\n".encode() * number)
        os.utime(path, ns=(0, 1_000_000_000_123_456_000 + number * 1_000))
    for mode in (0o444, 0o000, 0o777, 0o600, 0o111):
        path = Path(root, "modes", f"{mode:04o}")
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(b"x" * mode)
        if os.geteuid() != 0:
            mode |= 0o400  # what its owner cannot read, its owner cannot pack
        path.chmod(mode)
    os.makedirs(root + "/empty/inner \u00e9")
    os.symlink("../odd/foo.", root + "/modes/relative")
    os.symlink(root + "/odd/foo.", root + "/modes/absolute")
    os.symlink("nowhere at all", root + "/modes/dangling")
    os.mkdir(root + "/links")
    for number in range(300):
        target = f"../odd/{number}" if number % 2 else f"{root}/modes/{number}"
        os.symlink(target, f"{root}/links/{number}")


def listing(root):
    """Path to (kind, permissions, microseconds, size or target) of everything below the root."""
    seen = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            status = os.lstat(path)
            if stat.S_ISLNK(status.st_mode):
                target = os.readlink(path)
                fact = ("link", target.replace(root + "/", "ROOT/", 1))
            elif stat.S_ISDIR(status.st_mode):
                fact = ("folder",)
            else:
                fact = ("file", stat.S_IMODE(status.st_mode) & 0o777, status.st_mtime_ns // 1000, status.st_size)
            seen[os.path.relpath(path, root)] = fact
    return seen


def fail(text):
    sys.exit(f"system_round_trip: {text}")


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, **options)
    if done.returncode:
        fail(f"{command[0]} {command[1]} exited with {done.returncode}: {done.stderr.decode()[-2000:]}")
    return done.stdout


def compare(source, restored):
    before, after = listing(source), listing(restored)
    for path in sorted(before.keys() | after.keys()):
        if before.get(path) != after.get(path):
            fail(f"{path!r}: {before.get(path)} became {after.get(path)}")
    for path, fact in before.items():
        a, b = os.path.join(source, path), os.path.join(restored, path)
        if fact[0] == "file" and os.access(a, os.R_OK) and os.access(b, os.R_OK) and not filecmp.cmp(a, b, False):
            fail(f"{path!r}: contents differ")
    return before


def compare_with_other_reader(ztpkg, package, oracle):
    """The other reader takes x.d/x for a name derived from x, so the odd names are not shown to it."""
    ours = json.loads(run(ztpkg, "info", "--json", "--digest", package))
    theirs = json.loads(run("sh", oracle, package))
    mine = {p["name"]: p["sha256"] for p in ours["parts"]}
    other = {p["name"]: p["sha256"] for p in theirs["parts"]}
    if mine != other:
        fail(f"another reader sees {len(other)} parts, we see {len(mine)}: {sorted(mine.items() ^ other.items())[:4]}")
    print(f"another reader agrees on {len(mine)} parts")


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        os.chmod(scratch, 0o755)
        source, package = scratch + "/source", scratch + "/package.ztp"
        os.mkdir(source)
        copy_system(source)
        add_odd_files(source)
        run(ztpkg, "pack", source, package)
        run(ztpkg, "unpack", package, scratch + "/restored")
        seen = compare(source, scratch + "/restored")
        if zipfile.ZipFile(package).testzip():
            fail("a part does not match its CRC")
        if shutil.which("unzip"):
            run("unzip", "-tqq", package)
        if os.geteuid() == 0:
            os.mkdir(scratch + "/theirs", 0o755)
            os.chown(scratch + "/theirs", NOBODY, NOBODY)
            try:
                run(ztpkg, "unpack", package, scratch + "/theirs/restored", user=NOBODY, group=NOBODY, extra_groups=[])
                compare(source, scratch + "/theirs/restored")
            except PermissionError:
                print("not unpacked by an ordinary user, who cannot reach the tool where it was built")
        oracle = Path(__file__).parents[3] / "shared/oracle/poi-oracle.sh"
        if oracle.exists() and shutil.which("java") and Path("/usr/share/java/poi.jar").exists():
            run(ztpkg, "pack", source, scratch + "/plain.ztp", "--exclude", "odd")
            compare_with_other_reader(ztpkg, scratch + "/plain.ztp", str(oracle))
        kinds = [fact[0] for fact in seen.values()]
        print(f"{kinds.count('file')} files, {kinds.count('link')} links, {kinds.count('folder')} folders came back equal")


if __name__ == "__main__":
    main()
