#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Has several processes change and read one package at once: crowd_model.py ZTPKG SEED SECONDS [PROCESSES]

Each process adds, removes, moves and updates files in a folder of its own, at random, and knows from the exit codes what the
folder then holds: a command does its work, or says that the package is busy and changes nothing. Some commands are killed;
then the folder is as before or as the command makes it. Meanwhile each process lists the package, reads files and verifies
it: its own folder is always what it should be.
"""
import concurrent.futures
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

BUSY, KILLED = 5, -9
PROCESSES = 4
NAMES = [f"{name}.file" for name in ("a", "b", "é", "c d", "long" * 20, "#x", "e%20f")]


class Difference(Exception):
    pass


class Worker:
    """One of the processes, and the model of its folder: contents by path."""

    def __init__(self, tool, place, seed, number):
        self.tool, self.package, self.chance = tool, place / "p.ztp", random.Random(f"{seed} {number}")
        self.folder, self.tree = f"w{number}", place / f"tree{number}"
        (self.tree / self.folder).mkdir(parents=True)
        self.model, self.steps, self.busy, self.killed, self.longest = {}, [], 0, 0, 0.1

    def run(self, *arguments):
        done = subprocess.run([self.tool, *map(str, arguments)], capture_output=True, timeout=300, check=False)
        self.steps.append((arguments, done.returncode))
        return done

    def read(self, *arguments):
        done = self.run(*arguments)
        if done.returncode:
            raise Difference(f"ends with {done.returncode}: {done.stderr.decode(errors='replace')}")
        return done.stdout

    def held(self):
        """What the package holds in the folder."""
        paths = [path for path in self.read("list", self.package).decode().splitlines()
                 if path.startswith(f"/{self.folder}/") and path.endswith(".file")]
        return {path: self.read("cat", self.package, path) for path in paths}

    def check(self):
        held = self.held()
        if held != self.model:
            raise Difference(f"the package holds {sorted(held)}, and should hold {sorted(self.model)}, or contents differ")

    def change(self, after, *arguments):
        """A command that makes of the folder what `after` says."""
        if self.chance.randrange(8):
            done = self.run(*arguments)
            code, message = done.returncode, done.stderr
        else:
            code, message = self.kill(arguments), b""
        if code == KILLED:
            self.killed += 1
            held = self.held()
            if held not in (self.model, after):
                raise Difference(f"a kill leaves {sorted(held)}, neither {sorted(self.model)} nor {sorted(after)}")
            self.model = held
        elif code == BUSY:
            self.busy += 1
        elif code == 0:
            self.model = after
        else:
            raise Difference(f"ends with {code}: {message.decode(errors='replace')}")

    def kill(self, arguments):
        with subprocess.Popen([self.tool, *map(str, arguments)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL) as process:
            time.sleep(self.chance.random() * self.longest)
            process.kill()
            code = process.wait()
        self.steps.append((arguments, code))
        return code

    def content(self):
        return self.chance.randbytes(self.chance.choice((0, 1, 100, 5000, 200_000)))

    def add(self):
        names = self.chance.sample(NAMES, self.chance.randint(1, 3))
        after = dict(self.model)
        for name in names:
            after[f"/{self.folder}/{name}"] = content = self.content()
            (self.tree / name).write_bytes(content)
        self.change(after, "add", "-q", "--force", self.package, *[self.tree / name for name in names], "--to",
                    f"/{self.folder}")

    def remove(self):
        if self.model:
            paths = self.chance.sample(sorted(self.model), self.chance.randint(1, len(self.model)))
            self.change({path: content for path, content in self.model.items() if path not in paths},
                        "remove", "-q", self.package, *paths)

    def move(self):
        if self.model:
            path, to = self.chance.choice(sorted(self.model)), f"/{self.folder}/{self.chance.choice(NAMES)}"
            after = dict(self.model)
            after[to] = after.pop(path)
            if path != to:
                self.change(after, "move", "-q", "--force", self.package, path, to)

    def update(self):
        folder = self.tree / self.folder
        shutil.rmtree(folder)
        folder.mkdir()
        after = {}
        for name in self.chance.sample(NAMES, self.chance.randrange(len(NAMES))):
            after[f"/{self.folder}/{name}"] = content = self.content()
            (folder / name).write_bytes(content)
        self.change(after, "update", "-q", "--delete", "--checksum", self.package, self.tree, self.folder)

    def verify(self):
        self.read("verify", "-q", self.package)

    def work(self, end):
        while time.monotonic() < end:
            started = time.monotonic()
            self.chance.choice((self.add, self.add, self.remove, self.move, self.update, self.check, self.verify))()
            self.longest = min(2, time.monotonic() - started)
        self.check()


def result_of(worker, end):
    try:
        worker.work(end)
        return ""
    except (Difference, subprocess.TimeoutExpired) as difference:
        return f"{worker.folder}: {difference}\n" + "".join(f"  {step}\n" for step in worker.steps[-8:])


def main():
    tool, seed, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
    processes = int(sys.argv[4]) if len(sys.argv) > 4 else PROCESSES
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    with tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        place = pathlib.Path(name)
        (place / "nothing").mkdir()
        subprocess.run([tool, "pack", "-q", place / "nothing", place / "p.ztp"], check=True)
        workers = [Worker(tool, place, seed, number) for number in range(processes)]
        end = time.monotonic() + seconds
        with concurrent.futures.ThreadPoolExecutor(processes) as threads:
            faults = [fault for fault in threads.map(lambda worker: result_of(worker, end), workers) if fault]
        (place / "last").write_text("last")
        if subprocess.run([tool, "add", "-q", place / "p.ztp", place / "last"], check=False).returncode:
            faults.append("the last command fails")
        faults += [f"left: {path.name}" for path in place.iterdir() if ".ztservices" in path.name]
        faults += [fault for fault in map(lambda worker: result_of(worker, 0), workers) if fault]
    print(*faults, sep="\n", end="\n" if faults else "")
    print(f"seed {seed}: {processes} processes, {sum(len(worker.steps) for worker in workers)} operations, "
          f"{sum(worker.busy for worker in workers)} met a busy package, {sum(worker.killed for worker in workers)} killed")
    return 1 if faults else 0


sys.exit(main())
