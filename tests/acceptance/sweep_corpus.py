#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs every command on other people's packages, good and bad: sweep_corpus.py FORKS TOOL_MD CORPUS STEP [FOLDER...]

Takes every STEP-th package of each folder of the corpus. Every command works, or fails with errors of the documented
table, printed as JSON with the exit code of the table; none of them is internal. On a good package every command works,
apart from those that need a file system where it has none, and from verify, which names what readers tolerate. Of a bad
package verify names the faults. A command that only reads leaves the package as it is, one that fails to change it too,
and nothing else is left.
"""
import collections
import json
import pathlib
import shutil
import sys
import tempfile

from forks import Forks
from tool_tables import commands_of, error_codes_of

SKIPPED = 77
GOOD, BAD, FOLDERS = "opc-good", "opc-bad", ("opc-good", "opc-bad", "made", "zip-hostile")
OF_NO_PACKAGE = {"keygen", "pack"}
OF_FILES = {"list", "cat", "unpack", "update", "remove", "move", "rekey", "add", "diff"}

# In these lines P is the package and PART one of its parts; other names lie in the same folder. --json is added where the
# line does not ask for another form.
READING = (
    ("list", "P"), ("list", "--depth", "2", "--sort", "size", "P", "*"), ("list", "--long", "--total", "P"),
    ("list", "--tree", "P"), ("cat", "P", "*"),
    ("info", "--digest", "P"), ("info", "--treemap", "map.svg", "P"), ("info", "-k", "key", "P"),
    ("verify", "P"), ("verify", "-k", "key", "P"), ("part", "list", "P"), ("part", "cat", "P", "PART"),
    ("rel", "list", "P"), ("rel", "list", "--source", "/", "P"), ("props", "get", "P"),
    ("diff", "--checksum", "P", "tree"), ("diff", "P", "P"), ("diff", "--parts", "P", "P"), ("diff", "--raw", "--parts", "P", "P"),
    ("unpack", "--verbose", "P", "out"), ("unpack", "--update", "--delete", "P", "out"), ("unpack", "-O", "--raw", "P"),
    ("explode", "P", "exploded"), ("implode", "exploded", "imploded"), ("part", "list", "imploded"),
    ("repair", "P", "repaired"), ("verify", "repaired"),
)
CHANGING = (
    ("part", "put", "P", "/sweep/part.bin", "tree/file", "--type", "a/b"),
    ("part", "put", "P", "/sweep/part.bin", "tree/file"),
    ("rel", "add", "P", "http://example.com/t", "/sweep/part.bin", "--id", "swept"), ("rel", "remove", "P", "swept"),
    ("part", "remove", "P", "/sweep/part.bin"), ("props", "set", "P", "title=swept"),
    ("add", "P", "tree"), ("add", "--create", "P", "tree"), ("update", "--delete", "P", "tree"),
    ("move", "P", "/file", "/moved"), ("rekey", "P", "--new-key-file", "key"), ("list", "-k", "key", "P"),
    ("remove", "-k", "key", "P", "/moved"), ("rekey", "-k", "key", "--to-plain", "--force", "P"), ("verify", "P"),
)
FORMS = {"--long", "--tree"}
IMPLODED = {"implode": "invalid-relationship", "part list": "cannot-read"}  # which nothing made
# What good packages hold that readers tolerate, and these commands do not.
EXCEPTIONS = {
    "lib3mf__HelixWithThumbnail_IncorrectRelationship.3mf": IMPLODED,
    "poi__CorePropertiesHasEntities.ooxml": {"props get": "invalid-content"},
    "poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx": IMPLODED | {"repair": "repaired-in-part"},
}


def command_in(line):
    return " ".join(line[:2]) if line[0] in ("part", "rel", "props") else line[0]


HEALTHY = {"poi__64473.xlsx"}  # old readers alone take two of its names, metadata and metadata.xml, for a clash


class Sweep:
    def __init__(self, forks, codes, place):
        self.forks, self.codes, self.place = forks, codes, place
        self.count, self.faults, self.seen, self.is_changed = 0, [], collections.Counter(), False

    def fresh(self):
        shutil.rmtree(self.place, ignore_errors=True)
        (self.place / "tree").mkdir(parents=True)
        (self.place / "tree" / "file").write_text("swept")
        (self.place / "key").write_text("00" * 32)
        (self.place / "key").chmod(0o600)

    def check(self, package):
        self.fresh()
        copy = self.place / "P"
        shutil.copyfile(package, copy)
        parts = self.forks.run("part", "list", "P", cwd=self.place, timeout=120).stdout.split()
        part = parts[-1].decode() if parts else "/none"
        for number, line in enumerate(READING + CHANGING):
            self.is_changed = number >= len(READING)
            before = copy.read_bytes()
            works = self.run(package, [part if word == "PART" else word for word in line])
            if copy.read_bytes() != before and not (works and self.is_changed):
                self.faults.append(f"{package.name}: {' '.join(line)} has changed it")
        left = [path.name for path in self.place.rglob("*") if ".ztservices" in path.name]
        if left:
            self.faults.append(f"{package.name}: {left} is left")

    def run(self, package, line):
        """Whether it works."""
        done = self.forks.run(*line, *([] if FORMS & set(line) else ["--json"]), cwd=self.place, timeout=120)
        self.count += 1
        works = done.returncode == 0 or line[0] == "diff" and done.returncode == 1
        try:
            codes = [] if works or FORMS & set(line) else self.codes_in(done)
            fault = self.fault_of(package, line, works, codes)
        except (AssertionError, ValueError, KeyError, TypeError) as error:
            fault = f"ends with {done.returncode} and prints {done.stderr[:300]}: {error}"
        if fault:
            self.faults.append(f"{package.parent.name}/{package.name}: {' '.join(line)} {fault}")
        return works

    def codes_in(self, done):
        """Of the one JSON document on standard error, whose exit code must be that of the table."""
        document = json.loads(done.stderr)
        problems = document.get("problems", [document["error"]])
        codes = [problem["code"] for problem in problems]
        exits = {self.codes[code] for code in codes}
        assert done.returncode in exits or done.args[1] == "diff" and exits == {1} and done.returncode == 2, codes
        assert all(problem["message"] for problem in problems)
        return codes

    def fault_of(self, package, line, works, codes):
        command = command_in(line)
        self.seen[package.parent.name, command, codes[0] if codes else "works"] += 1
        if "internal-error" in codes:
            return "has an internal error"
        if works and package.parent.name == BAD and line == ["verify", "P"] and not self.is_changed \
                and package.name not in HEALTHY:
            return "finds no fault of a bad package"
        if works or package.parent.name != GOOD or FORMS & set(line):
            return ""
        is_lacking = codes == ["no-file-system"] and command in OF_FILES
        is_tolerated = codes == ["faults-found"] and command == "verify"
        is_known = codes == [EXCEPTIONS.get(package.name, {}).get(command)]
        return "" if is_lacking or is_tolerated or is_known else f"fails on a good package: {codes}"


def main():
    program, document, corpus, step = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3]), int(sys.argv[4])
    folders = sys.argv[5:] or FOLDERS
    if not corpus.is_dir():
        print("skipped: no corpus of packages beside the checkout")
        return SKIPPED
    packages = [path for folder in folders for path in sorted((corpus / folder).iterdir())[::step] if path.is_file()]
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    with Forks(program) as forks, tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        walked = {command_in(line) for line in READING + CHANGING} | OF_NO_PACKAGE
        sweep = Sweep(forks, error_codes_of(document), pathlib.Path(name) / "sweep")
        if walked != (commands := set(commands_of(forks.run))):
            sys.exit(f"no line for, or no command: {walked ^ commands}")
        for package in packages:
            sweep.check(package)
    for fault in sweep.faults:
        print(fault)
    for (folder, command, code), count in sorted(sweep.seen.items()):
        print(f"{folder:12} {command:12} {code:24} {count}")
    print(f"{len(packages)} packages, {sweep.count} commands, {len(sweep.faults)} faults")
    return 1 if sweep.faults else 0


sys.exit(main())
