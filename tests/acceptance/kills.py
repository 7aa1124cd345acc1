#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills commands that change a package, and has many of them change one at once: kills.py ZTPKG [KILLS SECONDS]

KILLS updates and as many moves are killed. After each kill the package is what it was before or what the command makes of
it, whole. Sixteen processes add to one package, move in it and update it for SECONDS. Each command does its work or says
that the package is busy, and nothing is lost.
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

PROCESSES = 16
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


def kill(tool, place, chance, kills):
    """Alternates between updates to one of two trees and moves there and back."""
    package, before = place / "p.ztp", place / "before.ztp"
    make_tree(place / "one", 1)
    make_tree(place / "two", 2)
    (place / "two" / "d9").mkdir()
    run(tool, "pack", "-q", place / "one", package)
    killed = 0
    for number in range(2 * kills):
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
    (place / "two" / "last").touch()  # so that the package is saved
    run(tool, "update", "-q", "--delete", package, place / "two")
    run(tool, "diff", "--checksum", package, place / "two")
    left = [path.name for path in place.iterdir() if ".ztservices" in path.name]
    if left:
        sys.exit(f"the next save left {left}")
    return killed


def work_of(tool, package, place, number, seconds):
    """A shell loop of one process, which prints the exit codes of the three commands of each round."""
    tree = place / f"work{number}"
    tree.mkdir()
    (tree / f"added{number}").write_text("added")
    script = f"""end=$(($(date +%s) + {seconds})) step=0
while [ "$(date +%s)" -lt "$end" ]; do
  "{tool}" add -q --force "{package}" "{tree}/added{number}" --to /w{number}; echo "$?"
  "{tool}" move -q --force "{package}" /w{number}/added{number} /w{number}/m$step; echo "$?"
  echo "updated $step" > "{tree}/updated{number}"
  "{tool}" update -q "{package}" "{tree}" "updated{number}"; echo "$?"
  step=$((step + 1))
done"""
    return subprocess.Popen(["sh", "-c", script], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


def check_work(tool, package, number, codes, entries):
    """That a process has seen no other failure than a busy package, and what it has done is there."""
    rounds = [codes[at:at + 3] for at in range(0, len(codes), 3)]
    for step, (added, moved, updated) in enumerate(rounds):
        # There is nothing to move where nothing could be added.
        if added not in (0, BUSY) or updated not in (0, BUSY) or moved not in ((0, BUSY) if added == 0 else (0, 1, BUSY)):
            sys.exit(f"process {number} ended with {rounds}")
        if moved == 0 and f"/w{number}/m{step}" not in entries:
            sys.exit(f"what process {number} has moved is lost")
    done = [step for step, codes in enumerate(rounds) if codes[2] == 0]
    if done and run(tool, "cat", package, f"/updated{number}").stdout != f"updated {done[-1]}\n":
        sys.exit(f"the last update of process {number} is lost")


def crowd(tool, place, seconds):
    package = place / "crowd.ztp"
    (place / "nothing").mkdir()
    run(tool, "pack", "-q", place / "nothing", package)
    processes = [work_of(tool, package, place, number, seconds) for number in range(PROCESSES)]
    codes = [[int(word) for word in process.communicate(timeout=600)[0].split()] for process in processes]
    entries = set(run(tool, "list", package).stdout.split())
    run(tool, "verify", "-q", package)
    for number, mine in enumerate(codes):
        check_work(tool, package, number, mine, entries)
    left = [path.name for path in place.iterdir() if ".ztservices" in path.name]
    if left:
        sys.exit(f"the crowd left {left}")
    return sum(map(len, codes)), sum(code == BUSY for mine in codes for code in mine)


def main():
    tool, seed = sys.argv[1], 20261122
    kills, seconds = map(int, sys.argv[2:]) if len(sys.argv) > 2 else (30, 4)
    with tempfile.TemporaryDirectory() as name:
        killed = kill(tool, pathlib.Path(name), random.Random(seed), kills)
        count, busy = crowd(tool, pathlib.Path(name), seconds)
    print(f"{killed} of {2 * kills} commands killed; {PROCESSES} processes ran {count} commands, {busy} of them met a busy package")
    return 0 if killed > kills // 2 and count > 3 * PROCESSES - 1 else 1


sys.exit(main())
