#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills "ztpkg rekey" at random instants: each time the old or the new package is there, whole, and opens with its key.
usage: encrypted_rekey.py ZTPKG [KILLS]"""
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

FEW = 8


def make_tree(tree, chance):
    tree.mkdir()
    for i in range(300):
        (tree / f"f{i}").write_bytes(chance.randbytes(chance.choice((0, 100, 20_000))))
    (tree / "long").write_bytes(chance.randbytes(20_000_000))


def opens(ztpkg, key, tree):
    """Whether the key opens the package; then the package must be whole, and the tree the same."""
    if subprocess.run([ztpkg, "list", "p", "-k", key], capture_output=True).returncode:
        return False
    subprocess.run([ztpkg, "verify", "-q", "p", "-k", key], check=True)
    subprocess.run([ztpkg, "unpack", "-q", "p", "out", "-k", key], check=True)
    subprocess.run(["diff", "-r", tree, "out"], check=True)
    shutil.rmtree("out")
    return True


def main():
    ztpkg, kills = os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else FEW
    chance = random.Random(18)
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        make_tree(Path("tree"), chance)
        for key in ("old", "new"):
            subprocess.run([ztpkg, "keygen", key], check=True)
        subprocess.run([ztpkg, "pack", "-q", "-k", "old", "tree", "packed"], check=True)
        command = [ztpkg, "rekey", "-q", "p", "-k", "old", "--new-key-file", "new"]
        shutil.copy("packed", "p")
        begin = time.monotonic()
        subprocess.run(command, check=True)
        whole = time.monotonic() - begin
        if not opens(ztpkg, "new", "tree") or opens(ztpkg, "old", "tree"):
            sys.exit("the package has not the new key alone")
        changed = 0
        for number in range(kills):
            shutil.copy("packed", "p")
            process = subprocess.Popen(command)
            time.sleep(whole * chance.uniform(0, 1.1))
            process.kill()
            process.wait()
            is_new = opens(ztpkg, "new", "tree")
            if is_new == opens(ztpkg, "old", "tree"):
                sys.exit(f"kill {number}: the package opens with both keys, or with none")
            changed += is_new
        print(f"{kills} kills: {changed} packages had the new key, the others the old one")


if __name__ == "__main__":
    main()
