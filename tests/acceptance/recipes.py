#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the scripts of docs/recipes.md as they stand there: recipes.py ZTPKG RECIPES DIRECTORIES"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77


class Place:
    def __init__(self, root, tool, scripts):
        self.root, self.scripts = root, scripts
        commands = root / "bin"
        commands.mkdir()
        (commands / "ztpkg").symlink_to(pathlib.Path(tool).resolve())
        self.environment = {"PATH": f"{commands}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "HOME": str(root)}

    def run(self, name, code=0, **settings):
        environment = self.environment | {key: str(value) for key, value in settings.items()}
        done = subprocess.run(["sh", "-c", self.scripts.pop(name, None) or self.kept[name]], env=environment, cwd=self.root,
                              capture_output=True, text=True, timeout=300, check=False)
        if done.returncode != code:
            sys.exit(f"{name} ended with {done.returncode}: {done.stdout}{done.stderr}")
        return done

    def ztpkg(self, *arguments):
        return subprocess.run([self.root / "bin" / "ztpkg", *arguments], check=True, capture_output=True, text=True).stdout


def scripts_of(text):
    """By the name in the comment of the second line."""
    blocks = re.findall(r"^```sh\n(#!/bin/sh\n# ([a-z-]+): .*?)^```$", text, re.DOTALL | re.MULTILINE)
    return {name: script for script, name in blocks}


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}: found {found!r} and not {wanted!r}")


def nightly(place):
    data, backups = place.root / "data", place.root / "backups"
    data.mkdir()
    (data / "a").write_text("1")
    place.run("nightly", DATA=data, BACKUPS=backups)
    old, recent = backups / "2020-01-01.ztpkg", backups / "2020-01-02.ztpkg"
    for path in (old, recent):
        shutil.copy(backups / "current.ztpkg", path)
    os.utime(old, (0, 0))
    (data / "a").unlink()
    (data / "b").write_text("2")
    place.run("nightly", DATA=data, BACKUPS=backups, KEEP_DAYS=7)
    expect("the current package", place.ztpkg("list", backups / "current.ztpkg"), "/b\n")
    left = sorted(path.name for path in backups.iterdir() if path.name.startswith("20"))
    expect("the old one is gone, the recent one stays", (left[0], len(left)), (recent.name, 2))
    expect("the copy of the day", place.ztpkg("list", backups / left[1]), "/b\n")
    (backups / "current.ztpkg").write_bytes(b"no package")
    os.utime(recent, (0, 0))
    place.run("nightly", code=1, DATA=data, BACKUPS=backups, KEEP_DAYS=7)
    expect("after a failure nothing is removed", recent.exists(), True)


def make_projects(place, names):
    projects = place.root / "projects"
    for name in names:
        (projects / name).mkdir(parents=True)
        (projects / name / "file.txt").write_text(name)
    return projects


def packing(place, count):
    packages, names = place.root / "packages", [f"p{number}" for number in range(count)]
    projects = make_projects(place, names)
    (projects / "p with space").mkdir()
    place.run("pack-all", PROJECTS=projects, PACKAGES=packages)
    expect("packages", len(list(packages.glob("*.ztpkg"))), count + 1)
    expect("one of them", place.ztpkg("cat", packages / "p7.ztpkg", "file.txt"), "p7")
    shutil.rmtree(projects / "p with space")
    shutil.rmtree(packages)
    if shutil.which("make"):
        place.run("make-all", PROJECTS=projects, PACKAGES=packages)
        expect("made", len(list(packages.glob("*.ztpkg"))), count)
        before = {path.name: path.stat().st_ino for path in packages.iterdir()}
        (projects / "p5" / "new.txt").write_text("new")
        (projects / "p6" / "file.txt").unlink()
        later = max(path.stat().st_mtime for path in packages.iterdir()) + 2
        for path in (projects / "p5" / "new.txt", projects / "p5", projects / "p6"):
            os.utime(path, (later, later))
        place.run("make-all", PROJECTS=projects, PACKAGES=packages)
        changed = {path.name for path in packages.iterdir() if path.stat().st_ino != before[path.name]}
        expect("made again", changed, {"p5.ztpkg", "p6.ztpkg"})
    else:
        place.scripts.pop("make-all")
        place.run("pack-all", PROJECTS=projects, PACKAGES=packages)
    return packages


def checking(place, packages, count):
    rows = json.loads(place.run("check-all", PACKAGES=packages).stdout)
    expect("reports", (len(rows), all(row["ok"] for row in rows)), (count, True))
    (packages / "p1.ztpkg").write_bytes((packages / "p2.ztpkg").read_bytes()[:-30])
    (packages / "gone.ztpkg").write_bytes(b"")
    rows = json.loads(place.run("check-all", code=1, PACKAGES=packages).stdout)
    expect("bad ones", {pathlib.Path(row["package"]).name for row in rows if not row.get("ok")}, {"p1.ztpkg", "gone.ztpkg"})


def finding(place, packages):
    done = place.run("find-in-packages", PACKAGES=packages, PATTERN="new.*")
    name = "p5.ztpkg" if shutil.which("make") else None
    expect("found", done.stdout, f"{packages / name}: /new.txt\n" if name else "")
    expect("told of those that cannot be read", {line.split(":")[1] for line in done.stderr.splitlines()}, {" list"})


def main():
    tool, recipes, count = sys.argv[1], pathlib.Path(sys.argv[2]), int(sys.argv[3])
    if not shutil.which("xargs"):
        print("skipped: no xargs")
        return SKIPPED
    with tempfile.TemporaryDirectory() as name:
        place = Place(pathlib.Path(name), tool, scripts_of(recipes.read_text()))
        place.kept = dict(place.scripts)
        nightly(place)
        packages = packing(place, count)
        checking(place, packages, count)
        finding(place, packages)
        if place.scripts:
            sys.exit(f"recipes without a test: {sorted(place.scripts)}")
    return 0


sys.exit(main())
