#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills commands that change a package, and has many of them change one at once: kills.py ZTPKG

After each kill the package is what it was before or what the command makes of it, whole. Of sixteen processes that add,
move and update one package each either does its work or says that the package is busy, and nothing is lost.
"""
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

KILLS, PROCESSES, STEPS = 60, 16, 4
BUSY = 5


def run(tool, *arguments, codes=(0,)):
    done = subprocess.run([tool, *arguments], capture_output=True, text=True, timeout=300, check=False)
    if done.returncode not in codes:
        sys.exit(f"{arguments} ended with {done.returncode}: {done.stderr}")
    return done


def listed(tool, package):
    return run(tool, "list", "--long", package).stdout


def make_tree(place, seed):
    chance = random.Random(seed)
    for number in range(40):
        path = place / f"d{number % 4}" / f"f{number}"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(chance.randbytes(chance.randrange(200_000)))
        os.utime(path, (1_600_000_000 + seed, 1_600_000_000 + seed))


def kill(tool, place, chance):
    """Alternates between updates to one of two trees and moves there and back."""
    package, before = place / "p.ztp", place / "before.ztp"
    make_tree(place / "one", 1)
    make_tree(place / "two", 2)
    (place / "two" / "d9").mkdir()
    run(tool, "pack", "-q", place / "one", package)
    killed = 0
    for number in range(KILLS):
        tree = place / chance.choice(("one", "two"))
        names = ("/d0", "/moved") if "/d0\n" in run(tool, "list", package).stdout else ("/moved", "/d0")
        command = ["update", "-q", "--delete", package, tree] if number % 2 else ["move", "-q", package, *names]
        shutil.copy(package, before)
        started = time.monotonic()
        run(tool, *[before if part == package else part for part in command])
        longest = time.monotonic() - started
        states = {listed(tool, package), listed(tool, before)}
        process = subprocess.Popen([tool, *command])
        time.sleep(chance.random() * longest)
        process.send_signal(signal.SIGKILL)
        killed += process.wait() == -signal.SIGKILL
        if listed(tool, package) not in states:
            sys.exit(f"kill {number} of {command[0]} left neither the old nor the new package")
        run(tool, "verify", "-q", package)
    run(tool, "update", "-q", "--delete", package, place / "two")
    run(tool, "diff", "--checksum", package, place / "two")
    left = [path.name for path in place.iterdir() if ".ztservices" in path.name]
    if left:
        sys.exit(f"the next save left {left}")
    return killed


def work_of(tool, package, place, number):
    """A shell loop of one process, which prints what it has done."""
    tree = place / f"work{number}"
    tree.mkdir()
    (tree / f"added{number}").write_text("added")
    (tree / f"updated{number}").write_text("updated")
    steps = []
    for step in range(STEPS):
        steps += [f'"{tool}" add -q --force "{package}" "{tree}/added{number}" --to /w{number}; echo "$?"',
                  f'"{tool}" move -q --force "{package}" /w{number}/added{number} /w{number}/m{step}; echo "$?"',
                  f'"{tool}" update -q "{package}" "{tree}" "updated{number}"; echo "$?"']
    return subprocess.Popen(["sh", "-c", "\n".join(steps)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


def crowd(tool, place):
    package = place / "crowd.ztp"
    (place / "nothing").mkdir()
    run(tool, "pack", "-q", place / "nothing", package)
    processes = [work_of(tool, package, place, number) for number in range(PROCESSES)]
    codes = [[int(word) for word in process.communicate(timeout=600)[0].split()] for process in processes]
    entries = set(run(tool, "list", package).stdout.split())
    run(tool, "verify", "-q", package)
    for number, mine in enumerate(codes):
        if not set(mine) <= {0, 1, BUSY} or (1 in mine and BUSY not in mine):
            sys.exit(f"process {number} ended with {mine}")
        for step in range(STEPS):
            if mine[3 * step + 1] == 0 and f"/w{number}/m{step}" not in entries:
                sys.exit(f"what process {number} has moved is lost")
        if 0 in mine[2::3] and f"/updated{number}" not in entries:
            sys.exit(f"what process {number} has updated is lost")
    return sum(code == BUSY for mine in codes for code in mine)


def main():
    tool, seed = sys.argv[1], 20261122
    with tempfile.TemporaryDirectory() as name:
        killed = kill(tool, pathlib.Path(name), random.Random(seed))
        busy = crowd(tool, pathlib.Path(name))
    print(f"{killed} of {KILLS} commands killed; {PROCESSES} processes, busy {busy} times")
    return 0 if killed > KILLS // 4 else 1


sys.exit(main())
