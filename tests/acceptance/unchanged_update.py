#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Updates a package that is up to date: unchanged_update.py ZTPKG FILES [ROUNDS]

Nothing is written: the package keeps its inode and its times. With ROUNDS the times of update, of list and of a walk with
the status of each file are measured in turn and compared.
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import time


def make_tree(root, count):
    for number in range(count):
        folder = root / f"d{number // 1000}" / f"e{number // 100 % 10}"
        if number % 100 == 0:
            folder.mkdir(parents=True)
        (folder / f"file {number}.dat").write_bytes(b"%d" % number)


def seconds(work):
    begin = time.monotonic()
    work()
    return time.monotonic() - begin


def walk(root):
    for folder, _, files in os.walk(root):
        for name in files:
            os.lstat(os.path.join(folder, name))


def main():
    tool, count, rounds = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]) if len(sys.argv) > 3 else 1
    with tempfile.TemporaryDirectory() as name:
        tree, package = pathlib.Path(name) / "tree", pathlib.Path(name) / "p.ztp"
        make_tree(tree, count)

        def run(*arguments):
            subprocess.run([tool, *arguments], check=True, stdout=subprocess.DEVNULL)

        run("pack", "-q", tree, package)
        before, updates, lists, walks = package.stat(), [], [], []
        for _ in range(rounds):
            updates.append(seconds(lambda: run("update", "-q", "--delete", package, tree)))
            lists.append(seconds(lambda: run("list", package)))
            walks.append(seconds(lambda: walk(tree)))
        after = package.stat()
        facts = ("st_ino", "st_mtime_ns", "st_ctime_ns", "st_size")
        if any(getattr(before, fact) != getattr(after, fact) for fact in facts):
            sys.exit("the package was written")
    update, others = min(updates), min(lists) + min(walks)
    print(f"{count} files: update {update:.2f} s, list {min(lists):.2f} s, walk {min(walks):.2f} s, ratio {update / others:.2f}")
    return 0


sys.exit(main())
