#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Packs a copy of the system's headers and documentation with a key and looks for names and contents in what comes
out; packs it again, with equal and with random initialization vectors. usage: encrypted_system.py ZTPKG"""
import os
import re
import sys
import tempfile
import zipfile
from pathlib import Path

from system_round_trip import compare, copy_system, fail, run

IV = 16
SHORTEST_NAME = 6
SAMPLE = 12
FIXED = ("--uuid", "01234567-89ab-4def-8123-456789abcdef", "--created", "2026-03-01T12:30:00Z")
DETERMINISTIC = ("--iv", "deterministic", "--iv-prefix", "0011223344556677")
CONTENTS = "fsroot/"


def clear_text(package):
    """The file's bytes, and those of the parts that are not contents as they are before compression."""
    return Path(package).read_bytes() + b"\0" + inflated_parts(package)


def inflated_parts(package):
    with zipfile.ZipFile(package) as archive:
        return b"\0".join(archive.read(name) for name in archive.namelist() if not name.startswith(CONTENTS))


def names_of(root):
    names = set()
    for folder, folders, files in os.walk(root):
        names.update(os.fsencode(name) for name in folders + files)
        names.update(os.fsencode(os.readlink(p)) for p in (os.path.join(folder, n) for n in folders + files)
                     if os.path.islink(p))
    # The names of parts are digests, whose digits spell a short name such as "bcc551" by chance.
    return {n for n in names if len(n) >= SHORTEST_NAME and not re.fullmatch(rb"[0-9a-f]{1,11}", n)}


def folders_of(root):
    """The paths of the folders that have something in them, as a manifest would tell them."""
    paths = (os.fsencode(folder[len(root):]) for folder, _, files in os.walk(root) if files)
    return {path for path in paths if len(path) >= SHORTEST_NAME}


def samples_of(root):
    """A few printable bytes from the middle of each file that has some."""
    samples = set()
    for folder, _, files in os.walk(root):
        for name in files:
            path = os.path.join(folder, name)
            if os.path.islink(path):
                continue
            content = Path(path).read_bytes()
            for at in (0, len(content) // 2):
                found = re.search(rb"[\x21-\x7e][\x20-\x7e]{%d}" % (SAMPLE - 1), content[at:at + 4096])
                if found:
                    samples.add(found.group())
    return samples


def occurring(words, text, least):
    """Those of the words, none shorter than `least`, that stand in the text."""
    by_start = {}
    for word in words:
        by_start.setdefault(word[:least], []).append(word)
    hits = set()
    for run_of_printable in re.finditer(rb"[\x20-\x7e]{%d,}" % least, text):
        found = run_of_printable.group()
        for at in range(len(found) - least + 1):
            hits.update(w for w in by_start.get(found[at:at + least], ()) if found.startswith(w, at))
    odd = [word for word in words if not re.fullmatch(rb"[\x20-\x7e]+", word)]
    return hits | {word for word in odd if word in text}


def neutral_twin(root, twin):
    """A tree with a file for each extension of the other one and nothing else of it."""
    os.mkdir(twin)
    extensions = {os.path.splitext(name)[1] for _, _, files in os.walk(root) for name in files}
    for number, extension in enumerate(sorted(extensions)):
        Path(twin, f"{number}{extension}").write_bytes(b"")


def messages(package):
    with zipfile.ZipFile(package) as archive:
        parts = [n for n in archive.namelist() if n.startswith(CONTENTS) or n.endswith("filesystemManifest.xml")]
        return [archive.read(name) for name in parts]


def check_secrecy(ztpkg, key, source, package, scratch):
    names, samples, paths = names_of(source), samples_of(source), folders_of(source)
    neutral_twin(source, scratch + "/twin")
    run(ztpkg, "pack", "-q", "-k", key, scratch + "/twin", scratch + "/twin.ztp", *FIXED)
    run(ztpkg, "pack", "-q", source, scratch + "/plain.ztp", *FIXED, "--level", "fast")
    for words in (names, paths):
        if len(occurring(words, inflated_parts(scratch + "/plain.ztp"), SHORTEST_NAME)) != len(words):
            fail("the search does not find all names and paths in a package that is not encrypted")
    os.unlink(scratch + "/plain.ztp")
    allowed = clear_text(scratch + "/twin.ztp")  # words of the format itself, such as those of content types
    text = clear_text(package)
    shown = {n for n in occurring(names, text, SHORTEST_NAME) if n not in allowed}
    shown |= {s for s in occurring(samples, text, SAMPLE) if s not in allowed}
    if shown:
        fail(f"{len(shown)} names or pieces of content are in the clear: {sorted(shown)[:5]}")
    if occurring(paths, text, SHORTEST_NAME):
        fail("a path is in the clear")
    print(f"none of {len(names)} names, {len(paths)} paths and {len(samples)} pieces of content stand in {len(text)} bytes")


def check_repetition(ztpkg, key, source, scratch):
    packed = [scratch + f"/{name}.ztp" for name in ("d1", "d2")]
    for package in packed:
        run(ztpkg, "pack", "-q", "-k", key, source, package, *FIXED, *DETERMINISTIC)
    if Path(packed[0]).read_bytes() != Path(packed[1]).read_bytes():
        fail("equal key, prefix and tree give different packages")
    os.unlink(packed[1])
    found = messages(packed[0])
    if len({message[:IV] for message in found}) != len(found):
        fail("deterministic initialization vectors repeat in a package")


def check_random(ztpkg, key, source, first, scratch):
    run(ztpkg, "pack", "-q", "-k", key, source, scratch + "/again.ztp", *FIXED)
    found = messages(first) + messages(scratch + "/again.ztp")
    if len({message[:IV] for message in found}) != len(found) or len({m[IV:] for m in found}) != len(found):
        fail("random initialization vectors or messages repeat")
    print(f"{len(found)} initialization vectors differ")


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        source, package, key = scratch + "/source", scratch + "/package.ztp", scratch + "/key"
        os.mkdir(source)
        copy_system(source)
        run(ztpkg, "keygen", key)
        run(ztpkg, "pack", "-q", "-k", key, source, package, *FIXED)
        check_secrecy(ztpkg, key, source, package, scratch)
        check_random(ztpkg, key, source, package, scratch)
        check_repetition(ztpkg, key, source, scratch)
        run(ztpkg, "unpack", "-q", "-k", key, package, scratch + "/restored")
        compare(source, scratch + "/restored")


if __name__ == "__main__":
    main()
