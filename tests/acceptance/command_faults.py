#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Has each call to the system and each allocation of every command that writes go wrong: command_faults.py ZTPKG_FAILING
TOOL_MD [STEP [KIND...]]

Of the calls every STEP-th goes wrong, or every one, and of the allocations, which are many more, every 16 STEP-th: by an
error, a full disk, a signal, a short transfer, a kill, or those of KIND. The KIND "scarce=SEED" has many allocations of one
command fail, those of all threads and libraries, at random: rarely or often, with SEEDS seeds from SEED. The command does its work or ends with an error of the
documentation. The package is what it was or what it should be, whole. Nothing else is left but by a kill, and the same
command then does its work and leaves nothing.
"""
import collections
import hashlib
import itertools
import json
import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import time

from forks import Forks
from tool_tables import error_codes_of

KINDS = ("EIO", "ENOSPC", "EINTR", "short", "kill", "memory")
ALLOCATIONS_PER_CALL = 16
SEEDS = 18  # two for each frequency
KEY = ("--key-file", "key")
NEW = ("--uuid", "11111111-2222-4333-8444-555555555555", "--created", "2026-01-01T00:00:00Z")
# In the folder that prepare() fills. What a command changes or makes is in the folder "own".
LINES = {
    "pack": ("pack", *NEW, "tree", "own/new.ztp"),
    "pack with a key": ("pack", *NEW, *KEY, "tree", "own/new.ztp"),
    "pack over a package": ("pack", "--force", *NEW, "other", "own/p.ztp"),
    "add": ("add", "own/p.ztp", "other", "--to", "more"),
    "add with a key": ("add", *KEY, "own/e.ztp", "other", "--to", "more"),
    "remove": ("remove", "own/p.ztp", "/d0"),
    "update": ("update", "--delete", "own/p.ztp", "other"),
    "move": ("move", "own/p.ztp", "/d1", "/moved"),
    "props set": ("props", "set", "own/p.ztp", "title=other"),
    "rekey": ("rekey", *KEY, "own/e.ztp", "--new-key-file", "key2"),
    "unpack": ("unpack", "--force", "p.ztp", "own/out"),
    "unpack with a key": ("unpack", "--force", *KEY, "e.ztp", "own/out"),
    "repair": ("repair", "damaged.ztp", "own/new.ztp"),
    "part put": ("part", "put", "own/p.ztp", "/x/y", "tree/long", "--type", "a/b"),
    "part remove": ("part", "remove", "own/p.ztp", "/fsroot/long"),
    "rel add": ("rel", "add", "own/p.ztp", "http://example.com/t", "/fsroot/long"),
    "rel remove": ("rel", "remove", "own/p.ztp", "rId1"),
    "explode": ("explode", "--force", "p.ztp", "own/out"),
    "implode": ("implode", "exploded", "own/new.ztp"),
}
LONGEST_RENAME = 10
INTO_FOLDERS = {"unpack", "explode"}  # what they have made stays
ENDS = {"repair": 1}  # repaired in part


def prepare(run):
    """The files that commands only read, and the packages before a change."""
    chance = random.Random(1)
    for tree in ("tree", "other"):
        for number in range(4):
            path = pathlib.Path(tree, f"d{number % 2}", f"f{number}")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(f"{tree} {number}\n" * 9, encoding="ascii")
        os.symlink("d0/f0", f"{tree}/link")
    pathlib.Path("tree/long").write_bytes(chance.randbytes(100_000))
    for path in [*pathlib.Path("tree").rglob("*"), *pathlib.Path("other").rglob("*")]:
        os.utime(path, (1_600_000_000, 1_600_000_000), follow_symlinks=False)
    for line in (("keygen", "key"), ("keygen", "key2"), ("pack", *NEW, "tree", "p.ztp"),
                 ("pack", *NEW, *KEY, "tree", "e.ztp"), ("explode", "p.ztp", "exploded")):
        if run(*line).returncode:
            sys.exit(f"{line} failed")
    damaged = bytearray(pathlib.Path("p.ztp").read_bytes())
    damaged[damaged.find(pathlib.Path("tree/long").read_bytes()[:50]) + 50] ^= 1
    pathlib.Path("damaged.ztp").write_bytes(damaged)


class Walk:
    def __init__(self, healthy, failing, codes, step):
        self.healthy, self.failing, self.codes, self.step = healthy, failing, codes, step
        self.known, self.faults, self.whole = {}, [], None

    def fresh(self, name, line):
        """The packages before the command; what a kill has left stays where there is no folder to be made anew."""
        own = pathlib.Path("own")
        own.mkdir(exist_ok=True)
        if name.split()[0] in INTO_FOLDERS:
            shutil.rmtree(own / "out", ignore_errors=True)
        for path in (own / "new.ztp", own / "p.ztp", own / "e.ztp"):
            path.unlink(missing_ok=True)
            if f"own/{path.name}" in line and path.name != "new.ztp":
                shutil.copy(path.name, path)

    def facts_of(self, path):
        """What a package holds, apart from what is made at random; it must be whole."""
        content = path.read_bytes()
        digest = hashlib.sha256(content).hexdigest()
        if digest in self.known:
            return self.known[digest]
        facts = f"damaged, {len(content)} bytes"
        for key in ((), KEY, ("--key-file", "key2")):
            if self.healthy.run("verify", "-q", *key, path).returncode == 0:
                listed = self.healthy.run("list", "--long", *key, path).stdout
                parts = self.healthy.run("info", "--json", path).stdout if not key else b""
                facts = key, listed, parts
                break
        self.known[digest] = facts
        return facts

    def state(self):
        """The names below the folder, with what is in them."""
        found = {}
        for path in pathlib.Path("own").rglob("*"):
            if path.is_symlink():
                found[str(path)] = os.readlink(path)
            elif path.suffix == ".ztp":
                found[str(path)] = self.facts_of(path)
            elif path.is_file():
                found[str(path)] = hashlib.sha256(path.read_bytes()).hexdigest()
        return found

    def left(self):
        return [str(path) for path in pathlib.Path("own").rglob("*") if ".ztservices" in path.name]

    def walk(self, name, line, kinds):
        command = [*line, "--json"]
        end = ENDS.get(name, 0)
        shutil.rmtree("own", ignore_errors=True)
        self.fresh(name, line)
        before = self.state()
        done = self.healthy.run(*command)
        after = self.state()
        if done.returncode != end or before == after:
            sys.exit(f"{name} ends with {done.returncode}: {done.stderr}")
        counts = collections.Counter()
        for kind in kinds:
            for number in self.numbers_of(kind):
                if not self.goes_wrong(name, line, f"{kind.split('=')[0]} {number}", before, after, end, counts):
                    break
                counts[kind] += 1
        if self.whole and self.step == 1:
            self.check_old(name, line, after)
        self.whole = None
        return counts

    def numbers_of(self, kind):
        if kind.startswith("scarce="):
            seed = int(kind.split("=")[1])
            return range(seed, seed + SEEDS)
        return itertools.count(1, self.step * (ALLOCATIONS_PER_CALL if kind == "memory" else 1))

    def goes_wrong(self, name, line, fault, before, after, end, counts):
        """False when the command makes fewer calls."""
        self.fresh(name, line)
        done = self.failing.run(*line, "--json", fault=f"{fault} {os.path.abspath('fault')}", timeout=60)
        killed = done.returncode == -signal.SIGKILL
        call = pathlib.Path("fault").read_text(encoding="ascii") if not killed else "killed"
        what = f"{name}, {fault} {call}"
        if not call and done.returncode < 0:
            self.faults.append(f"{what}: crashes with {done.returncode}")
            return True
        if not call:
            return False
        state, left = self.state(), self.left()
        for path in left:
            state.pop(path, None)
        if name.split()[0] in INTO_FOLDERS:
            is_right = state.items() <= after.items()
        else:
            is_right = state in (before, after)
        if not is_right:
            self.faults.append(f"{what}: ends with {done.returncode}, and leaves {sorted(state)}")
        if left and not killed:
            self.faults.append(f"{what}: leaves {left}")
        if call.startswith("0 ") and done.returncode != end:
            self.faults.append(f"{what}: ends with {done.returncode} where there is memory")
        counts["killed" if killed else "done" if done.returncode == end else "errors"] += 1
        counts["new" if state == after else "old or in part"] += 1
        if not killed:
            self.check_end(what, done, state == after, end)
        self.check_again(name, line, what, after, end)
        return True

    def check_end(self, what, done, is_new, end):
        if done.returncode == end and (end == 0 or b"repaired-in-part" in done.stderr):
            if not is_new:
                self.faults.append(f"{what}: ends well, and nothing was changed")
            return
        try:
            document = json.loads(done.stderr)
            codes = {problem["code"] for problem in document.get("problems", [document["error"]])}
        except (ValueError, KeyError, TypeError):
            codes = {done.stderr.decode(errors="replace")}
        if not codes <= self.codes.keys() - {"internal-error"} or done.returncode not in {self.codes[code] for code in codes}:
            self.faults.append(f"{what}: ends with {done.returncode} and {sorted(codes)}: {done.stderr[:300]}")

    def check_again(self, name, line, what, after, end):
        leftovers = self.left()
        if name.split()[0] not in INTO_FOLDERS:
            self.fresh(name, line)
        done = self.healthy.run(*line, "--json")
        state = self.state()
        for path in self.whole_files():
            state.pop(path)
            self.whole = what.split(", ")[1].rsplit(" ", 1)[0]
        if done.returncode != end or state != after:
            self.faults.append(f"{what}: then ends with {done.returncode}: {done.stderr[:300]}, and leaves {sorted(state)}, "
                               f"after {leftovers}")

    def whole_files(self):
        """Leftovers that had their content and mode, or are links. The next command spares them for LONGEST_RENAME seconds,
        since their maker may be about to rename them."""
        return [path for path in self.left() if os.path.islink(path) or os.stat(path).st_mode & 0o777 != 0o600
                or os.stat(path).st_mtime_ns == 1_600_000_000 * 10**9]

    def check_old(self, name, line, after):
        """That a whole leftover goes when it is old."""
        self.fresh(name, line)
        self.failing.run(*line, fault=f"{self.whole} {os.path.abspath('fault')}", timeout=60)
        time.sleep(LONGEST_RENAME + 1)
        done = self.healthy.run(*line)
        if done.returncode or self.state() != after:
            self.faults.append(f"{name}, {self.whole}: {self.left()} stays when it is old")


def main():
    program, document = map(os.path.abspath, sys.argv[1:3])
    step = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    kinds = sys.argv[4:] or KINDS
    os.environ["SOURCE_DATE_EPOCH"] = "1600000000"
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    # One program for all that is to go well: it runs commands in itself, and has their threads.
    with tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as place, Forks(program) as healthy, \
            Forks(program) as failing:
        os.chdir(place)
        prepare(healthy.run)
        failing.run("list", "p.ztp")  # each fork would prepare the libraries anew
        walk = Walk(healthy, failing, error_codes_of(document), step)
        total = collections.Counter()
        for name, line in LINES.items():
            counts = walk.walk(name, line, kinds)
            total += counts
            print(f"{name}: " + ", ".join(f"{what} {count}" for what, count in counts.items()), flush=True)
    for fault in walk.faults:
        print(fault)
    injected = sum(total[kind] for kind in kinds)
    print(f"{len(LINES)} commands, {injected} faults injected, {total['errors']} errors, {total['killed']} kills, "
          f"{total['done']} successes, {len(walk.faults)} failures")
    return 1 if walk.faults or not all(total[kind] for kind in kinds) else 0


if __name__ == "__main__":
    sys.exit(main())
