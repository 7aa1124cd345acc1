#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Packs and unpacks a directory with a key: ztpkg, tar through age, and 7z, interleaved in one run. Prints medians of
wall and processor time, ratios of ztpkg to each, sizes and the most memory. Work in memory (a tmpfs).

Before each measurement it takes, and gives back, as much memory as the programs will: the spool of a package, the
package, and what is held.

usage: encrypted.py ZTPKG DIRECTORY [--runs N] [--work DIR]
"""
import argparse
import os
import resource
import shutil
import statistics
import subprocess
import tempfile
import time

# name: (program, what makes the archive in the source directory, what extracts it into the current one)
TOOLS = {
    "ztpkg": (None, "{ztpkg} pack -q -k {work}/key {source} {archive}", "{ztpkg} unpack -q -k {work}/key {archive} out"),
    "ztpkg plain": (None, "{ztpkg} pack -q {source} {archive}", "{ztpkg} unpack -q {archive} out"),
    "tar+age": ("age", "tar -cf - . | age -r $(cat {work}/recipient) -o {archive}",
                "mkdir out && age -d -i {work}/identity {archive} | tar -xf - -C out"),
    "7z": ("7z", "7z a -mx1 -psecret -mhe=on -bso0 -bsp0 {archive} .", "7z x -psecret -bso0 -bsp0 -oout {archive}"),
}


def touch_memory(work, size):
    """Has a virtual machine hold that much memory: one that was idle has given it back to its host, and whoever runs
    first afterwards would wait for it on behalf of those that follow."""
    with open(work + "/touched", "wb") as file:
        for _ in range(min(size, shutil.disk_usage(work).free // 2) >> 20):
            file.write(bytes(1 << 20))
    os.remove(work + "/touched")


def measured(command, folder):
    """Wall and processor seconds of a command with all that it starts."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(["bash", "-c", "set -o pipefail; " + command], cwd=folder, check=True, stdout=subprocess.DEVNULL)
    took = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return took, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def most_memory(command, folder):
    """In MiB, asked of a process of its own, since the figure covers all children there ever were."""
    script = ("import resource, subprocess, sys; subprocess.run(['bash', '-c', sys.argv[1]], check=True);"
              "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
    done = subprocess.run(["python3", "-c", script, command], cwd=folder, check=True, capture_output=True, text=True)
    return int(done.stdout.split()[-1]) / 1024


def one_round(name, fill, row, last):
    _, pack, unpack = TOOLS[name]
    touch_memory(fill["work"], fill["memory"])
    row["pack"].append(measured(pack.format(**fill), fill["source"]))
    row["size"] = os.path.getsize(fill["archive"])
    touch_memory(fill["work"], fill["memory"])
    row["unpack"].append(measured(unpack.format(**fill), fill["work"]))
    shutil.rmtree(fill["work"] + "/out")
    if last:
        row["unpack memory"] = most_memory(unpack.format(**fill), fill["work"])
        shutil.rmtree(fill["work"] + "/out")
        os.remove(fill["archive"])
        row["pack memory"] = most_memory(pack.format(**fill), fill["source"])
    os.remove(fill["archive"])


def size_of(folder):
    return sum(os.lstat(os.path.join(path, name)).st_size for path, _, names in os.walk(folder) for name in names)


def make_keys(ztpkg, work):
    subprocess.run([ztpkg, "keygen", work + "/key"], check=True)
    if shutil.which("age"):
        subprocess.run(["age-keygen", "-o", work + "/identity"], check=True, capture_output=True)
        with open(work + "/recipient", "wb") as file:
            subprocess.run(["age-keygen", "-y", work + "/identity"], check=True, stdout=file)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("ztpkg", type=os.path.abspath)
    parser.add_argument("directory", type=os.path.abspath)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--work", default="/dev/shm")
    given = parser.parse_args()
    names = [name for name, (program, *_) in TOOLS.items() if program is None or shutil.which(program)]
    figures = {name: {"pack": [], "unpack": []} for name in names}
    with tempfile.TemporaryDirectory(dir=given.work) as work:
        make_keys(given.ztpkg, work)
        fill = {"ztpkg": given.ztpkg, "work": work, "source": given.directory, "archive": work + "/archive.7z",
                "memory": 3 * size_of(given.directory)}
        for turn in range(given.runs):
            for name in names:
                one_round(name, fill, figures[name], turn == given.runs - 1)
    median = lambda row, step, which: statistics.median(t[which] for t in row[step])
    print(f"{'':12}" + "".join(f" {step:>8} {'ratio':>6} {'cpu':>7} {'ratio':>6} {'MiB':>7}" for step in ("pack", "unpack")) +
          f" {'MB':>8}")
    for name, row in figures.items():
        cells = []
        for step in ("pack", "unpack"):
            for which in (0, 1):
                own = median(row, step, which)
                cells += [own, median(figures["ztpkg"], step, which) / own]
            cells.append(row[step + " memory"])
        print("{:12}".format(name) + (" {:8.3f} {:6.2f} {:7.3f} {:6.2f} {:7.1f}" * 2).format(*cells) +
              " {:8.2f}".format(row["size"] / 1e6))


if __name__ == "__main__":
    main()
