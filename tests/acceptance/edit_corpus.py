#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Edits other people's packages with every command that changes one: edit_corpus.py FORKS ADD CORPUS STEP

Takes each STEPth package. An independent reader of ZIP archives sees what the edit did not name as it was before: every item with its bytes and
fields, every content type, every relationship. Or the command refused, and the file is unchanged. ADD gives packages
the file system that `add` and `remove` need.
"""
import collections
import io
import pathlib
import re
import subprocess
import sys
import tempfile
import warnings
import xml.etree.ElementTree as ElementTree
import zipfile

from forks import Forks

SKIPPED = 77
TYPES = "[Content_Types].xml"
ROOT_RELATIONSHIPS = "_rels/.rels"
MANIFEST = "metadata/filesystemManifest.xml"
CORE_TYPE = "application/vnd.openxmlformats-package.core-properties+xml"
PROPERTIES = "other properties"
REPLACED = b"replaced what cannot be read"  # the tool says that properties are lost
REFUSALS = (1, 2, 3, 4)  # exit codes
FOLDERS = ("opc-good", "opc-bad", "made", "zip-hostile")
KEY = "00" * 32
COMMENT = b"by hand"
SURROUNDED = 5  # good packages that get a comment, and a program in front
CREATED = "{http://purl.org/dc/terms/}created"
PIECE = re.compile(r"/\[\d+\](\.last)?\.piece$", re.I)

# What a command may change in the archive beside the content types and the package's relationships: items by a pattern.
Command = collections.namedtuple("Command", "name arguments changes needs_files")
COMMANDS = (
    Command("props set title", ("props", "set", "PACKAGE", "title=Another title"), "CORE", False),
    Command("props set release", ("props", "set", "PACKAGE", "content-type=application/vnd.corvanta.model.test",
                                  "friendly-name=Test", "release=R2020a"), r"CORE|metadata/ztcore.*", False),
    Command("add", ("add", "PACKAGE", "SOURCE", "--to", "new", "-q"), MANIFEST + "|fsroot/new/.*", True),
    Command("add --force", ("add", "PACKAGE", "SOURCE", "--to", "folder", "--force", "-q"),
            MANIFEST + "|fsroot/folder/itself.bin", True),
    Command("remove", ("remove", "PACKAGE", "/folder/itself.bin", "-q"), MANIFEST + "|fsroot/folder/itself.bin", True),
    Command("remove --glob", ("remove", "PACKAGE", "--glob", "**/*.bin", "-q"),
            MANIFEST + "|fsroot/folder/itself.bin", True),
    Command("add with a key", ("add", "PACKAGE", "SOURCE", "--key-file", "KEYFILE", "-q"), None, True),
    Command("add without a file system", ("add", "PACKAGE", "SOURCE", "-q"), None, False),
)

ZIP64 = 1
DESCRIPTOR_FLAG = 8  # of the way in which an archive was written; ours knows all sizes in advance

Item = collections.namedtuple("Item", "fields stored info")


def stored_bytes(data, info):
    begin = info.header_offset + 30
    begin += sum(int.from_bytes(data[info.header_offset + at:info.header_offset + at + 2], "little") for at in (26, 28))
    return data[begin:begin + info.compress_size]


def extra_fields(block):
    """Without that of zip64, which says no more than where and how large the item is."""
    fields = []
    while len(block) >= 4:
        number, size = int.from_bytes(block[:2], "little"), int.from_bytes(block[2:4], "little")
        if number != ZIP64:
            fields.append(block[:4 + size])
        block = block[4 + size:]
    return fields, block


def fields_of(info):
    return (info.compress_type, info.date_time, info.comment, extra_fields(info.extra), info.internal_attr, info.external_attr,
            info.create_system, info.create_version, info.extract_version, info.flag_bits & ~DESCRIPTOR_FLAG, info.CRC,
            info.file_size)


class View:
    """An archive as the other reader sees it: items by name and number, since hostile archives have names twice."""

    def __init__(self, data):
        self.items, seen = {}, collections.Counter()
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            self.archive = zipfile.ZipFile(io.BytesIO(data))
        for info in self.archive.infolist():
            name = info.orig_filename
            self.items[name, seen[name]] = Item(fields_of(info), stored_bytes(data, info), info)
            seen[name] += 1
        self.surroundings = self.archive.comment, data[:min((info.header_offset for info in self.archive.infolist()),
                                                            default=0)]

    def read(self, wanted):
        """The content of the first item of that name in any case; None without one."""
        found = (item for (name, _), item in self.items.items() if name.lower() == wanted.lower())
        item = next(found, None)
        return item and self.archive.read(item.info)


def content_types(view):
    """The content type of each part, by the rules of the standard."""
    text = view.read(TYPES)
    if text is None:
        return {}
    root = ElementTree.fromstring(text)
    space = root.tag.partition("}")[0] + "}"
    defaults = {one.get("Extension").lower(): one.get("ContentType") for one in root.iter(space + "Default")}
    overrides = {one.get("PartName").lower(): one.get("ContentType") for one in root.iter(space + "Override")}
    types = {}
    for name in {PIECE.sub("", name) for name, _ in view.items if not name.endswith("/") and name.lower() != TYPES.lower()}:
        dot, extension = name.rpartition("/")[2].rpartition(".")[1:]
        types[name] = overrides.get("/" + name.lower(), defaults.get(extension.lower()) if dot else None)
    return types


def relationships(view):
    text = view.read(ROOT_RELATIONSHIPS)
    if not text or b"<" not in text.replace(b"<?", b""):
        return {}
    return {one.get("Id"): dict(one.attrib) for one in ElementTree.fromstring(text)}


def properties(content):
    """Those that no command names. The spelling of times and of their types may change."""
    found = {}
    for element in ElementTree.fromstring(content):
        name = element.tag.rpartition("}")[2]
        text = element.text or ""
        if name in ("created", "modified", "lastPrinted"):
            text = text[:len("2000-01-01T00:00:00")].rstrip("Z")
        if name != "title" and (text or len(element)):
            found.setdefault(element.tag, []).append(text)
    return found


class Check:
    def __init__(self, forks, add, scratch):
        self.forks, self.add, self.scratch = forks, add, scratch
        self.counts = collections.Counter()
        self.faults = []
        self.source = scratch / "source.bin"
        self.source.write_bytes(bytes(range(256)))
        (scratch / "key").write_text(KEY)

    def report(self, package, command, what):
        self.faults.append(f"{package}: {command.name}: {what}")

    def check(self, package, before):
        copy = self.scratch / "packages" / "package"
        copy.parent.mkdir(exist_ok=True)
        for command in COMMANDS:
            if not command.needs_files:
                self.run(package, command, before, copy)
        copy.write_bytes(before)
        if subprocess.run([self.add, copy], capture_output=True, check=False).returncode:
            return
        filled = copy.read_bytes()
        for command in COMMANDS:
            if command.needs_files:
                self.run(package, command, filled, copy)

    def run(self, package, command, before, copy):
        copy.write_bytes(before)
        words = {"PACKAGE": copy, "KEYFILE": self.scratch / "key",
                 "SOURCE": self.source if command.name != "add --force" else self.itself()}
        done = self.forks.run(*(words.get(word, word) for word in command.arguments), timeout=60)
        after = copy.read_bytes()
        if [path for path in copy.parent.iterdir() if path != copy]:
            self.report(package, command, "it leaves files behind")
        if done.returncode not in (0, *REFUSALS):
            self.report(package, command, f"it ended with {done.returncode}: {done.stderr}")
        if done.returncode:
            self.counts["refused"] += 1
            if after != before:
                self.report(package, command, f"it ended with {done.returncode} and changed the file")
        elif command.changes is None:
            self.report(package, command, "it was not refused")
        else:
            self.counts["edited"] += 1
            faults = self.faults_of(command, before, after)
            self.faults += [f"{package}: {command.name}: {what}" for what in faults
                            if not (REPLACED in done.stderr and what.startswith(PROPERTIES))]

    def itself(self):
        path = self.scratch / "itself.bin"
        path.write_bytes(b"replaced")
        return path

    def faults_of(self, command, before, after):
        try:
            old, new = View(before), View(after)
            return [*self.items_changed(command, old, new), *self.rest_changed(old, new)]
        except (zipfile.BadZipFile, ElementTree.ParseError, UnicodeDecodeError, ValueError) as fault:
            return [f"the other reader gives up: {fault!r}"]

    @staticmethod
    def items_changed(command, old, new):
        old_types, new_types = content_types(old), content_types(new)
        core = [name for name, kind in (old_types | new_types).items() if kind and kind.startswith(CORE_TYPE)]
        named = re.compile(command.changes.replace("CORE", "|".join(map(re.escape, core)) or "-"), re.I)

        def is_named(name):
            return name.lower() in (TYPES.lower(), ROOT_RELATIONSHIPS) or named.fullmatch(name)

        for key, item in old.items.items():
            if is_named(key[0]):
                continue
            if key not in new.items:
                yield f"{key[0]} is gone"
            elif new.items[key].stored != item.stored:
                yield f"the content of {key[0]}"
            elif new.items[key].fields != item.fields:
                yield f"the fields of {key[0]}: {item.fields} {new.items[key].fields}"
        yield from (f"{name} has come" for name, number in new.items.keys() - old.items.keys() if not is_named(name))
        for name, kind in old_types.items():
            if not is_named(name) and new_types.get(name) != kind:
                yield f"the type of {name}: {kind}, {new_types.get(name)}"
        for name in core:
            if (name, 0) in old.items and (name, 0) in new.items:
                before, after = properties(old.read(name)), properties(new.read(name))
                if command.name == "props set release" and CREATED not in before:
                    after.pop(CREATED, None)  # a package gets it together with its first release
                if before != after:
                    yield f"{PROPERTIES} in {name}: {before} {after}"

    @staticmethod
    def rest_changed(old, new):
        after = relationships(new)
        for name, one in relationships(old).items():
            if after.get(name) != one:
                yield f"the relationship {name}: {one}, {after.get(name)}"
        if old.surroundings != new.surroundings:
            yield f"the comment or what stands before the archive: {old.surroundings}, {new.surroundings}"


def main():
    program, add, corpus = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    if not corpus.is_dir():
        print("skipped: no corpus of packages beside the checkout")
        return SKIPPED
    step = int(sys.argv[4])
    packages = [path for folder in FOLDERS for path in sorted((corpus / folder).iterdir()) if path.is_file()][::step]
    memory = pathlib.Path("/dev/shm")  # a disk would sync every save
    with Forks(program) as forks, tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as scratch:
        check = Check(forks, add, pathlib.Path(scratch))
        for package in packages:
            check.check(package.name, package.read_bytes())
        for package in packages[:SURROUNDED]:
            data = package.read_bytes()
            check.check(package.name + " with a comment", data[:-2] + len(COMMENT).to_bytes(2, "little") + COMMENT)
            check.check(package.name + " behind a program", b"#!/bin/sh\nexit\n" + data)
    for fault in check.faults:
        print(fault)
    print(f"{len(packages)} packages, {check.counts['edited']} edits, {check.counts['refused']} refusals; "
          f"{len(check.faults)} faults")
    return 1 if check.faults or not check.counts["edited"] else 0


sys.exit(main())
