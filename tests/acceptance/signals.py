#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Ends every command by signals and closed pipes: signals.py ZTPKG

Walks the commands that --help names. Each is interrupted by SIGINT and SIGTERM at several instants, and runs with a
standard output that nobody reads. It must end at once, leave no temporary file in any folder, and leave a package that
it changes as it was or as it should be.
"""
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ENDS = (signal.SIGINT, signal.SIGTERM)
INSTANTS = 2  # of each signal, between the start of a command and its usual end
LONGEST = 10  # seconds until a command ends after a signal

KEY = ("--key-file", "key")
# The command lines, in the folder that make() fills. A package that is changed is p.ztp or e.ztp.
LINES = {
    "pack": (("pack", "tree", "new.ztp"), ("pack", *KEY, "tree", "new.ztp"), ("pack", "tree", "-")),
    "add": (("add", "p.ztp", "tree/d0", "tree/d1", "--to", "more"), ("add", *KEY, "e.ztp", "-", "--as", "piped")),
    "update": (("update", "--delete", "p.ztp", "other"),),
    "remove": (("remove", "p.ztp", "/d1", "-v"),),
    "move": (("move", "p.ztp", "/d1", "/moved"),),
    "unpack": (("unpack", "p.ztp", "out"), ("unpack", *KEY, "e.ztp", "out"), ("unpack", "-O", "p.ztp"),
               ("unpack", "-", "out")),
    "list": (("list", "--long", "p.ztp"), ("list", "-")),
    "diff": (("diff", "--checksum", "p.ztp", "other"),),
    "cat": (("cat", "p.ztp", "*"),),
    "info": (("info", "--digest", "p.ztp"), ("info", "--treemap", "map.svg", "p.ztp")),
    "verify": (("verify", *KEY, "e.ztp"),),
    "repair": (("repair", "p.ztp", "new.ztp"),),
    "keygen": (("keygen", "newkey"),),
    "rekey": (("rekey", *KEY, "e.ztp", "--new-key-file", "key2"),),
    "props get": (("props", "get", "p.ztp"),),
    "props set": (("props", "set", "p.ztp", "title=other"),),
    "part list": (("part", "list", "--long", "p.ztp"),),
    "part cat": (("part", "cat", "p.ztp", "/fsroot/big"),),
    "part put": (("part", "put", "p.ztp", "/x/y", "tree/big", "--type", "a/b"),
                 ("part", "put", "p.ztp", "/x/y", "-", "--type", "a/b")),
    "part remove": (("part", "remove", "p.ztp", "/fsroot/big"),),
    "rel list": (("rel", "list", "p.ztp"),),
    "rel add": (("rel", "add", "p.ztp", "http://example.com/t", "/fsroot/big"),),
    "rel remove": (("rel", "remove", "p.ztp", "rId1"),),
    "explode": (("explode", "p.ztp", "out"),),
    "implode": (("implode", "exploded", "new.ztp"), ("implode", "exploded", "-")),
}
CHANGES = ("add", "update", "remove", "move", "rekey", "props set", "part put", "part remove", "rel add", "rel remove")


def commands_of(tool, *above):
    """The names of all commands that do something, by the help of the tool."""
    text = subprocess.run([tool, *above, "--help"], check=True, capture_output=True, text=True).stdout
    block = re.search(r"^Commands:\n((?:  .*\n)+)", text, re.MULTILINE)
    if not block:
        return [" ".join(above)]
    words = [line.split()[0].rstrip(",") for line in block[1].splitlines() if not line.startswith(" " * 10)]
    return [name for word in words for name in commands_of(tool, *above, word)]


def make(tool, place):
    chance = random.Random(1)
    for tree, seed in (("tree", 1), ("other", 2)):
        for number in range(60):
            path = place / tree / f"d{number % 3}" / f"f{number}"
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(chance.randbytes(5000 * seed))
        (place / tree / "big").write_bytes(chance.randbytes(4_000_000))
    for line in (("keygen", "key"), ("keygen", "key2"), ("pack", "-q", "tree", "p.ztp"),
                 ("pack", "-q", *KEY, "tree", "e.ztp"), ("explode", "-q", "p.ztp", "exploded")):
        subprocess.run([tool, *line], cwd=place, check=True)


class Walk:
    def __init__(self, tool, place):
        self.tool, self.place, self.work, self.temporary = tool, place / "made", place / "work", place / "tmp"
        self.place.mkdir(parents=True)
        make(tool, self.place)
        self.faults, self.ended = [], 0

    def fresh(self):
        """A folder to work in whose packages may be changed; the rest is only read."""
        for folder in (self.work, self.temporary):
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir()
        for path in self.place.iterdir():
            if path.suffix == ".ztp":
                shutil.copy(path, self.work)
            else:
                (self.work / path.name).symlink_to(path)

    def start(self, line, output):
        with open(self.place / "p.ztp", "rb") as package:
            source = subprocess.Popen(["cat"], stdin=package, stdout=subprocess.PIPE)
        environment = dict(os.environ, TMPDIR=str(self.temporary))
        process = subprocess.Popen([self.tool, *line], cwd=self.work, env=environment, stdin=source.stdout, stdout=output,
                                   stderr=subprocess.PIPE)
        source.stdout.close()
        return process, source

    def finish(self, process, source, what):
        try:
            errors = process.communicate(timeout=LONGEST)[1]
        except subprocess.TimeoutExpired:
            process.kill()
            errors = process.communicate()[1]
            self.faults.append(f"{what}: it goes on")
        source.wait()
        left = [path for folder in (self.work, self.temporary) for path in folder.rglob("*")
                if ".ztservices" in path.name or path.is_relative_to(self.temporary)]
        if left:
            self.faults.append(f"{what}: it leaves {left}")
        return process.returncode, errors

    def check_package(self, line, what):
        for name in ("p.ztp", "e.ztp", "new.ztp"):
            path = self.work / name
            if not path.exists() or (self.place / name).exists() and path.read_bytes() == (self.place / name).read_bytes():
                continue
            if name != "new.ztp" and " ".join(line[:2]) not in CHANGES and line[0] not in CHANGES:
                self.faults.append(f"{what}: it changed {name}")
            listed = subprocess.run([self.tool, "part", "list", path], stdout=subprocess.DEVNULL, check=False)
            if listed.returncode:
                self.faults.append(f"{what}: {name} is damaged")

    def time_of(self, line):
        self.fresh()
        began = time.monotonic()
        process, source = self.start(line, subprocess.DEVNULL)
        code, errors = self.finish(process, source, line)
        if code not in (0, 1) or (code == 1 and line[0] != "diff"):
            self.faults.append(f"{line}: it ends with {code}: {errors}")
        return time.monotonic() - began

    def signals(self, line):
        longest = self.time_of(line)
        for number in ENDS:
            for instant in range(INSTANTS):
                self.fresh()
                process, source = self.start(line, subprocess.DEVNULL)
                time.sleep(longest * (instant + 0.5) / INSTANTS)
                process.send_signal(number)
                what = f"{line}, {number.name} at {instant}"
                code, errors = self.finish(process, source, what)
                self.ended += code in (128 + number, -number)
                if code not in (0, 128 + number, -number) and not (code == 1 and line[0] == "diff"):
                    self.faults.append(f"{what}: it ends with {code}: {errors}")
                self.check_package(line, what)

    def closed_pipe(self, line):
        """Nobody reads the output, and then nobody goes on reading it while a signal comes."""
        self.fresh()
        read, write = os.pipe()
        process, source = self.start(line, write)
        os.close(write)
        os.close(read)
        what = f"{line}, a closed pipe"
        code, _ = self.finish(process, source, what)
        if code not in (0, 1, 3):
            self.faults.append(f"{what}: it ends with {code}")
        self.check_package(line, what)
        self.fresh()
        read, write = os.pipe()
        process, source = self.start(line, write)
        os.close(write)
        time.sleep(self.longest_wait(line))
        process.send_signal(signal.SIGTERM)
        self.finish(process, source, f"{line}, a full pipe")
        os.close(read)

    @staticmethod
    def longest_wait(line):
        return 0.5 if line[-1] == "-" or line[0] in ("cat", "unpack") or line[1] == "cat" else 0.05


def main():
    tool = str(pathlib.Path(sys.argv[1]).resolve())
    commands = commands_of(tool)
    if set(commands) != set(LINES):
        sys.exit(f"no line for, or no command: {set(commands) ^ set(LINES)}")
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    with tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        walk = Walk(tool, pathlib.Path(name) / "walk")
        for lines in LINES.values():
            for line in lines:
                walk.signals(line)
                walk.closed_pipe(line)
    for fault in walk.faults:
        print(fault)
    print(f"{len(commands)} commands, ended by {walk.ended} signals, {len(walk.faults)} faults")
    return 1 if walk.faults or walk.ended < len(commands) else 0


sys.exit(main())
