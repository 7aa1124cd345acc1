#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds diff and update against diff -r and rsync: update_model.py FORKS COUNT [SEED]

Makes COUNT random changes of a tree, a few at a time: names, contents (also with kept sizes and times), times, modes, kinds,
links, renames. What `ztpkg diff` finds between the package and the tree must be what rsync would transfer and what diff -r
sees between the tree that the package was made of and the new one; after `ztpkg update` nothing differs.
"""
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

from forks import Forks

SKIPPED = 77
NAMES = ["a", "b.txt", "é", "-x", ".hidden", "A", "a.b", "[1]", "#c", "long" * 10, "~", "+", "z"]
MOST_DEPTH, MOST_ENTRIES = 4, 80
RSYNC = ["rsync", "-8", "-rlpt", "--omit-dir-times", "--omit-link-times", "--modify-window=-1", "--delete"]


def output_of(done, codes=(0,)):
    if done.returncode not in codes:
        sys.exit(f"{done.args} ended with {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


def run(*command, codes=(0,)):
    return output_of(subprocess.run(command, capture_output=True, timeout=300, check=False), codes)


class Tree:
    """A tree on the disk, and random changes of it."""

    def __init__(self, root, chance):
        self.root, self.chance, self.clock = root, chance, 1_600_000_000
        root.mkdir()

    def entries(self):
        return sorted(self.root.rglob("*"))

    def folders(self):
        found = [path for path in self.entries() if path.is_dir() and not path.is_symlink()]
        return [self.root] + [path for path in found if len(path.relative_to(self.root).parts) < MOST_DEPTH]

    def files(self):
        return [path for path in self.entries() if path.is_file() and not path.is_symlink()]

    def set_time(self, path):
        self.clock += self.chance.randrange(1, 1000)
        time = self.clock * 10**9 + self.chance.randrange(10**6) * 1000
        os.utime(path, ns=(time, time))

    def free_path(self):
        path = self.chance.choice(self.folders()) / self.chance.choice(NAMES)
        return None if path.is_symlink() or path.exists() else path

    def write(self, path, size=None):
        path.write_bytes(self.chance.randbytes(self.chance.choice((0, 1, 40, 3000)) if size is None else size))

    def add(self, kind=None, path=None):
        path = path or self.free_path()
        if not path:
            return
        kind = kind or self.chance.choice(("file", "file", "folder", "link"))
        if kind == "file":
            self.write(path)
            path.chmod(self.chance.choice((0o644, 0o600, 0o755, 0o400, 0o666)))
            self.set_time(path)
        elif kind == "folder":
            path.mkdir()
        else:
            path.symlink_to(self.chance.choice(NAMES + ["a/b.txt", "nowhere"]))

    def remove(self, path=None):
        everything = self.entries()
        path = path or (self.chance.choice(everything) if everything else None)
        if path:
            shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()

    def change_content(self, keeps):
        if not (files := self.files()):
            return
        path = self.chance.choice(files)
        status = path.stat()
        mode = status.st_mode & 0o777
        path.chmod(0o600)
        self.write(path, status.st_size if keeps else None)
        path.chmod(mode)
        if keeps == "size and time":
            os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))
        else:
            self.set_time(path)

    def change_kind(self):
        if everything := self.entries():
            path = self.chance.choice(everything)
            kinds = ["file", "folder", "link"]
            kinds.remove("link" if path.is_symlink() else "folder" if path.is_dir() else "file")
            self.remove(path)
            self.add(self.chance.choice(kinds), path)

    def rename(self):
        everything, to = self.entries(), self.free_path()
        if everything and to:
            path = self.chance.choice(everything)
            if path not in to.parents:
                path.rename(to)

    def mutate(self):
        if len(self.entries()) > MOST_ENTRIES:
            return self.remove()
        kind = self.chance.choice(("add", "add", "add", "remove", "content", "size", "size and time", "time", "mode", "kind",
                                   "rename", "target"))
        files, links = self.files(), [path for path in self.entries() if path.is_symlink()]
        if kind in ("add", "remove", "rename"):
            getattr(self, kind)()
        elif kind in ("content", "size", "size and time"):
            self.change_content(None if kind == "content" else kind)
        elif kind == "time" and files:
            self.set_time(self.chance.choice(files))
        elif kind == "mode" and files:
            self.chance.choice(files).chmod(self.chance.choice((0o644, 0o600, 0o755, 0o444, 0o700)))
        elif kind == "kind":
            self.change_kind()
        elif kind == "target" and links:
            path = self.chance.choice(links)
            path.unlink()
            self.add("link", path)


def found_by_ztpkg(forks, package, tree, *options):
    """The paths of each letter, and those of files with another content."""
    rows = json.loads(output_of(forks.run("diff", "--json", *options, package, tree), (0, 1)))
    found = {letter: {row["path"][1:] for row in rows if row["change"] == letter} for letter in "ADMT"}
    other = {"content", "size", "target"}
    found["content"] = {row["path"][1:] for row in rows if row["change"] == "M" and other & set(row["what"])}
    return found


def found_by_rsync(tree, old, *options):
    """What it would delete, and what it would make or change; times and modes of folders do not count."""
    deleted, changed = set(), set()
    for line in run(*RSYNC, "-n", "-i", *options, f"{tree}/", f"{old}/").splitlines():
        code, name = line.split(" ", 1) if not line.startswith("*deleting") else ("*", line.removeprefix("*deleting"))
        name = re.sub(r"\\#(\d{3})", lambda match: chr(int(match[1], 8)), name.lstrip(" ") if code == "*" else name)
        if code[1:2] == "L":
            name = name.split(" -> ")[0]
        if code == "*":
            deleted.add(name.rstrip("/"))
        elif code[1] != "d" or "+" in code:
            changed.add(name.rstrip("/"))
    return deleted, changed - {"."}


def found_by_diff(old, tree):
    """The highest paths that one side alone has, those of another kind, and those with another content."""
    only, kinds, contents = set(), set(), set()
    for line in run("diff", "-rq", "--no-dereference", old, tree, codes=(0, 1)).splitlines():
        if match := re.fullmatch(r"Only in (.*?): (.*)", line):
            only.add((pathlib.Path(match[1]) / match[2]))
        elif match := re.fullmatch(r"(?:Files|Symbolic links) (.*?) and (.*?) differ", line):
            contents.add(str(pathlib.Path(match[2]).relative_to(tree)))
        elif match := re.fullmatch(r"File (.*?) is an? .* while file (.*?) is an? .*", line):
            kinds.add(str(pathlib.Path(match[2]).relative_to(tree)))
        else:
            sys.exit(f"diff said {line}")
    relative = {str(path.relative_to(tree if path.is_relative_to(tree) else old)) for path in only}
    return relative, kinds, contents


def highest(paths, below):
    """Without those below others of the set, or below `below`."""
    return {path for path in paths if not any(str(up) in paths | below for up in pathlib.PurePath(path).parents)}


def faults_of(forks, package, tree, old):
    faults = []
    for options in ((), ("--checksum",)):
        found = found_by_ztpkg(forks, package, tree, *options)
        deleted, changed = found_by_rsync(tree, old, *options)
        if deleted - found["T"] != found["D"] or changed != found["A"] | found["M"] | found["T"]:
            faults.append(f"rsync {options}: {deleted} {changed} ztpkg: {found}")
    only, kinds, contents = found_by_diff(old, tree)
    if only != highest(found["A"] | found["D"], found["T"]) or kinds != found["T"] or contents != found["content"]:
        faults.append(f"diff: {only} {kinds} {contents} ztpkg: {found}")
    return faults


def main():
    program, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]) if len(sys.argv) > 3 else 1
    if not shutil.which("rsync"):
        print("skipped: no rsync (scripts/install-deps --checks installs it)")
        return SKIPPED
    os.environ["LC_ALL"] = "C.UTF-8"
    chance, done, steps = random.Random(seed), 0, 0
    memory = pathlib.Path("/dev/shm")  # a disk would sync every update
    with Forks(program) as forks, tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        place = pathlib.Path(name)
        tree, old, package = Tree(place / "tree", chance), place / "old", place / "p.ztp"
        old.mkdir()
        output_of(forks.run("pack", "-q", tree.root, package))
        while done < count:
            for _ in range(batch := min(chance.randint(1, 8), count - done)):
                tree.mutate()
            done, steps = done + batch, steps + 1
            if faults := faults_of(forks, package, tree.root, old):
                print(f"seed {seed}, after {done} changes:", *faults, sep="\n")
                return 1
            options = chance.choice(((), ("--checksum",)))
            output_of(forks.run("update", "-q", "--delete", *options, package, tree.root))
            run(*RSYNC, *options, f"{tree.root}/", f"{old}/")
            output_of(forks.run("diff", *options, package, tree.root))  # nothing differs, or this ends with 1
            output_of(forks.run("diff", "--checksum", package, old))
        output_of(forks.run("verify", "-q", package))
    print(f"{done} changes in {steps} steps: ztpkg, rsync and diff agree")
    return 0


sys.exit(main())
