#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Packs and unpacks a directory with ztpkg and with the archive tools that are installed, interleaved in one
run, and prints medians and ratios to zip and unzip. Whole processes are timed; work in memory (a tmpfs), since
extraction onto a disk varies too much.

usage: compare.py ZTPKG DIRECTORY [--runs N] [--work DIR]
"""
import argparse
import os
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

# name: (program, what makes the archive, what extracts it into the current directory)
TOOLS = {
    "ztpkg": (None, ["{ztpkg}", "pack", "{source}", "{archive}"], ["{ztpkg}", "unpack", "{archive}", "out"]),
    "zip": ("zip", ["zip", "-qr", "{archive}", "."], ["unzip", "-qq", "{archive}", "-d", "out"]),
    "7z": ("7z", ["7z", "a", "-tzip", "-mx5", "-bso0", "-bsp0", "{archive}", "."],
           ["7z", "x", "-bso0", "-bsp0", "-oout", "{archive}"]),
    "bsdtar": ("bsdtar", ["bsdtar", "-caf", "{archive}", "."], ["bsdtar", "-xf", "{archive}", "-C", "out"]),
    "tar+gzip": ("tar", ["tar", "-czf", "{archive}", "."], ["tar", "-xzf", "{archive}", "-C", "out"]),
}


def timed(command, folder):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(command, cwd=folder, check=True, stdout=subprocess.DEVNULL)
    took = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return took, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def one_round(name, given, figures, work, source):
    archive = os.path.join(work, "archive." + ("tar.gz" if name == "tar+gzip" else "zip"))
    fill = {"ztpkg": given.ztpkg, "source": source, "archive": archive}
    program, pack, unpack = TOOLS[name]
    out = os.path.join(work, "out")
    os.mkdir(out) if name in ("bsdtar", "tar+gzip") else None
    row = figures.setdefault(name, {"pack": [], "unpack": [], "size": 0})
    row["pack"].append(timed([word.format(**fill) for word in pack], source))
    row["size"] = os.path.getsize(archive)
    row["unpack"].append(timed([word.format(**fill) for word in unpack], work))
    shutil.rmtree(out)
    os.remove(archive)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("ztpkg", type=os.path.abspath)
    parser.add_argument("directory", type=os.path.abspath)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--work", default="/dev/shm")
    given = parser.parse_args()
    names = [name for name, (program, *_) in TOOLS.items() if program is None or shutil.which(program)]
    figures = {}
    with tempfile.TemporaryDirectory(dir=given.work) as work:
        source = os.path.join(work, "source")
        shutil.copytree(given.directory, source, symlinks=True)
        for _ in range(given.runs):
            for name in names:
                one_round(name, given, figures, work, source)
    base = figures.get("zip", figures["ztpkg"])
    median = lambda row, step, which=0: statistics.median(t[which] for t in row[step])
    print(f"{'':10} {'pack':>8} {'ratio':>6} {'cpu':>7} {'unpack':>8} {'ratio':>6} {'cpu':>7} {'MB':>8}")
    for name, row in figures.items():
        cells = []
        for step in ("pack", "unpack"):
            cells += [median(row, step), median(row, step) / median(base, step), median(row, step, 1)]
        print("{:10} {:8.3f} {:6.2f} {:7.3f} {:8.3f} {:6.2f} {:7.3f} {:8.2f}".format(name, *cells, row["size"] / 1e6))


if __name__ == "__main__":
    sys.exit(main())
