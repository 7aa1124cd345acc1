#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Ends every command by signals and closed pipes: signals.py ZTPKG

Walks the commands that --help names. Each runs to its end once; that gives what it prints and makes. Then it is
interrupted at several instants, and runs with a standard output that nobody reads. It must end at once with the exit code
of the documentation, leave no temporary file in any folder, and leave each file and package as it was or as it should be.
"""
import array
import fcntl
import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time

from tool_tables import commands_of

# Signals, and when they come, as a part of the time between the first instruction of a command and its end.
ENDS = ((signal.SIGINT, 0.2), (signal.SIGTERM, 0.5), (signal.SIGHUP, 0.7), (signal.SIGINT, 0.9))
LONGEST = 10  # seconds until a command ends after a signal
OUTPUT_CLOSED = 3
PIPE_BYTES = 65536  # of output that a pipe holds without a reader

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
# Signals end these at once, as they make no file; the others remove theirs before.
READING = {"list", "diff", "cat", "info", "verify", "props get", "part list", "part cat", "rel list"}
CHANGING_OUTPUT = {"uuid", "created"}  # properties that are new in every package


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


def removes_its_files(line):
    command = " ".join(line[:2]) if line[0] in ("part", "rel", "props") else line[0]
    return command not in READING and "-O" not in line or "--treemap" in line


def waits_for_signals(process):
    """Whether a running process has a handler of its own for SIGTERM."""
    try:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    except OSError:
        return False
    caught = int(next(line for line in status.splitlines() if line.startswith("SigCgt")).split()[1], 16)
    return bool(caught & 1 << signal.SIGTERM - 1)


class Walk:
    def __init__(self, tool, place):
        self.tool, self.place, self.work, self.temporary = tool, place / "made", place / "work", place / "tmp"
        self.place.mkdir(parents=True)
        make(tool, self.place)
        self.faults, self.ended, self.known = [], 0, {}

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

    def facts_of(self, package):
        """What a package holds, apart from what is made at random; it must be whole."""
        for key in ("key", "key2", None):
            secret = ("--key-file", self.place / key) if key else ()
            if subprocess.run([self.tool, "verify", "-q", *secret, package], capture_output=True, check=False).returncode:
                continue
            rows = json.loads(subprocess.run([self.tool, "list", "--json", *secret, package], check=True,
                                             capture_output=True).stdout)
            is_secret = any(row["encrypted"] for row in rows)
            for row in rows:
                if is_secret:
                    del row["part"]
                if row["path"] == "/piped":
                    del row["modified"]
            properties = subprocess.run([self.tool, "props", "get", package], check=True, capture_output=True, text=True)
            kept = [text for text in properties.stdout.splitlines() if text.split("=")[0] not in CHANGING_OUTPUT]
            found = json.loads(subprocess.run([self.tool, "info", "--json", "--digest", package], check=True,
                                              capture_output=True).stdout)
            parts = [(part["name"], part["contentType"], part["sha256"]) for part in found["parts"]
                     if not is_secret and not part["name"].startswith(("/metadata/", "/docProps/"))]
            return is_secret, key if is_secret else None, rows, kept, parts, found["relationships"]
        return "damaged"

    def state_of(self, path):
        if path.name == "newkey":
            return path.stat().st_size
        digest = hashlib.sha256(path.read_bytes()).hexdigest()
        if path.suffix != ".ztp":
            return digest
        if digest not in self.known:
            self.known[digest] = self.facts_of(path)
        return self.known[digest]

    def states(self):
        return {str(path.relative_to(self.work)): self.state_of(path) for path in self.work.rglob("*")
                if path.is_file() and not path.is_symlink()}

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
        return process.returncode, errors.decode()

    def wait_until_it_works(self, process, line):
        while removes_its_files(line) and process.poll() is None and not waits_for_signals(process):
            time.sleep(0.0005)

    def run_to_the_end(self, line):
        """The usual exit code, the length of the output, the time from the first instant, and the states of all files."""
        self.fresh()
        before = self.states()
        with open(self.place.parent / "output", "w+b") as output:
            process, source = self.start(line, output)
            self.wait_until_it_works(process, line)
            began = time.monotonic()
            code, errors = self.finish(process, source, line)
            seconds = time.monotonic() - began
            length = os.fstat(output.fileno()).st_size
        if code != (1 if line[0] == "diff" else 0):
            self.faults.append(f"{line}: it ends with {code}: {errors}")
        return code, length, seconds, before, self.states()

    def check_states(self, what, before, after, is_done):
        """Each file is as before, or as the command makes it; where it is done, all are so."""
        found = self.states()
        for name in before.keys() | after.keys() | found.keys():
            states = [after.get(name)] if is_done else [before.get(name), after.get(name)]
            if found.get(name) not in states:
                self.faults.append(f"{what}: {name} is {found.get(name)}")

    def walk(self, line):
        usual, length, seconds, before, after = self.run_to_the_end(line)
        for number, instant in ENDS:
            self.signal(line, number, instant * seconds, usual, before, after)
        self.closed_pipe(line, usual, length, before, after)
        self.full_pipe(line, usual, length, before, after)

    def signal(self, line, number, seconds, usual, before, after):
        self.fresh()
        process, source = self.start(line, subprocess.DEVNULL)
        self.wait_until_it_works(process, line)
        time.sleep(seconds)
        process.send_signal(number)
        what = f"{line}, {number.name} after {seconds:.3f} s"
        code, errors = self.finish(process, source, what)
        self.check_end(what, line, number, code, errors, usual)
        self.check_states(what, before, after, code == usual)

    def check_end(self, what, line, number, code, errors, usual):
        ended = 128 + number if removes_its_files(line) else -number
        # A drawing is made late: until then nothing is to be removed.
        is_ended = code == ended or "--treemap" in line and code == -number
        self.ended += is_ended
        if code != usual and not is_ended:
            self.faults.append(f"{what}: it ends with {code}: {errors}")
        if code == 128 + number and not errors.endswith(": interrupted\n"):
            self.faults.append(f"{what}: it says {errors}")

    def closed_pipe(self, line, usual, length, before, after):
        """Nobody reads the output: no message, and the exit code of the documentation where there is any output."""
        self.fresh()
        read, write = os.pipe()
        os.close(read)
        process, source = self.start(line, write)
        os.close(write)
        what = f"{line}, a closed pipe"
        code, errors = self.finish(process, source, what)
        if code != (OUTPUT_CLOSED if length else usual) or length and errors:
            self.faults.append(f"{what}: it ends with {code}: {errors}")
        self.check_states(what, before, after, code == usual)

    def full_pipe(self, line, usual, length, before, after):
        """Nobody goes on reading the output while a signal comes."""
        self.fresh()
        read, write = os.pipe()
        process, source = self.start(line, write)
        os.close(write)
        is_blocked = length > PIPE_BYTES
        if is_blocked:
            self.wait_until_full(read, process)
        else:
            self.wait_until_it_works(process, line)
        process.send_signal(signal.SIGTERM)
        what = f"{line}, a full pipe"
        code, errors = self.finish(process, source, what)
        os.close(read)
        self.check_end(what, line, signal.SIGTERM, code, errors, usual)
        if is_blocked and code == usual:
            self.faults.append(f"{what}: it ends as if all were read")
        self.check_states(what, before, after, code == usual)

    @staticmethod
    def wait_until_full(read, process):
        held = array.array("i", [0])
        while held[0] < PIPE_BYTES and process.poll() is None:
            time.sleep(0.002)
            fcntl.ioctl(read, termios.FIONREAD, held)


def main():
    tool = str(pathlib.Path(sys.argv[1]).resolve())
    commands = commands_of(lambda *words: subprocess.run([tool, *words], check=True, capture_output=True))
    if set(commands) != set(LINES):
        sys.exit(f"no line for, or no command: {set(commands) ^ set(LINES)}")
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    with tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        walk = Walk(tool, pathlib.Path(name) / "walk")
        for lines in LINES.values():
            for line in lines:
                walk.walk(line)
    for fault in walk.faults:
        print(fault)
    print(f"{len(commands)} commands, ended by {walk.ended} signals, {len(walk.faults)} faults")
    return 1 if walk.faults or walk.ended < len(commands) else 0


sys.exit(main())
