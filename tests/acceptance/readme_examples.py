#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Types what the README shows, one example after the other, and compares what comes: readme_examples.py ZTPKG README

Times that work takes are not compared, nor what packages take, which differs with the compressing library.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
MODIFIED = 1772368200_250_000_000  # 2026-03-01T12:30:00.25Z


def make_notes(notes):
    """The tree that the README packs."""
    (notes / "drafts" / "ideas").mkdir(parents=True)
    (notes / "empty").mkdir()
    (notes / "drafts" / "first").symlink_to("../readme.txt")
    (notes / "drafts" / "numbers.txt").write_text("".join(f"{number}\n" for number in range(1, 2001)))
    (notes / "readme.txt").write_text("hello\n")
    (notes / "run").write_text("#!/bin/sh\necho hi\n")
    for name, mode in (("drafts/numbers.txt", 0o644), ("readme.txt", 0o644), ("run", 0o755)):
        (notes / name).chmod(mode)
        os.utime(notes / name, ns=(time.time_ns(), MODIFIED))


def examples(readme):
    """Every command with what the README says that it prints."""
    for block in re.findall(r"```console\n(.*?)```", readme, re.DOTALL):
        for command, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
            yield command, output


def comparable(output):
    output = re.sub(r"[0-9.]+ s$", "SECONDS", output, flags=re.MULTILINE)
    output = re.sub(r"(in|now has|from|parts of) [0-9.]+ (kB|B|bytes)", r"\1 SIZE", output)
    return re.sub(r"(8893 +)\d+", r"\1STORED", output)


def main():
    if shutil.which("unzip") is None:
        print("skipped: needs unzip")
        return SKIPPED
    tool, readme = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).read_text()
    failed = count = 0
    with tempfile.TemporaryDirectory(prefix="ztpkg-readme-") as name:
        place = pathlib.Path(name)
        make_notes(place / "notes")
        (place / "scripts").mkdir()
        (place / "scripts" / "ztpkg").symlink_to(tool)
        for command, wanted in examples(readme):
            count += 1
            done = subprocess.run(["sh", "-c", command], cwd=place, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True, check=False)
            if done.returncode != 0 or comparable(done.stdout) != comparable(wanted):
                failed += 1
                print(f"{command}\nended with {done.returncode} and printed\n{done.stdout}where the README has\n{wanted}")
    print(f"{count} examples, {failed} not as the README has them")
    return 1 if failed or not count else 0


sys.exit(main())
