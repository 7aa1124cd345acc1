#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Edits other people's packages with every command that changes one: edit_corpus.py FORKS ADD CORPUS STEP [-v]

Takes each STEPth package. An independent reader of ZIP archives sees what the edit did not name as it was before: every
item with its bytes and fields, every content type, every relationship. Or the command refused, and the file is
unchanged. Commands that refuse good packages are a fault too. ADD gives packages the file system that some commands
need. Prints how often each command edited and refused; with -v also the codes of the refusals.
"""
import collections
import io
import json
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
REFUSALS = (1, 2, 3, 4)  # exit codes
GOOD = "opc-good"
FOLDERS = (GOOD, "opc-bad", "made", "zip-hostile")
KEY = "00" * 32
COMMENT = b"by hand"
SURROUNDED = 5  # good packages that get a comment, and a program in front
CORE_RELATIONSHIP = ".*/metadata/core-properties"
MANIFEST_RELATIONSHIP = ".*/filesystemManifest"
PLAIN_NAME = re.compile(r"[A-Za-z0-9/._-]+")
CREATED = "{http://purl.org/dc/terms/}created"
SOURCE = bytes(range(256))
UNREADABLE = (zipfile.BadZipFile, ElementTree.ParseError, UnicodeDecodeError, ValueError, NotImplementedError)
PIECE = re.compile(r"/\[\d+\](\.last)?\.piece$", re.I)

# Stand for words that depend on the package.
Package = collections.namedtuple("Package", "data part relationship")

# What a command may change in the archive beside the content types: items by a pattern, relationships of the package by
# their types and ids. `content` is of the part that gets the bytes of the source. It edits all good packages, or, where
# `is_refused`, no package.
Command = collections.namedtuple("Command", "name arguments items types ids content is_refused",
                                 defaults=("", "", None, False))
BARE = (
    Command("props set title", ("props", "set", "PACKAGE", "title=Another title"), "CORE", CORE_RELATIONSHIP),
    Command("props set release", ("props", "set", "PACKAGE", "content-type=application/vnd.corvanta.model.test",
                                  "friendly-name=Test", "release=R2020a"), r"CORE|metadata/ztcore.*",
            CORE_RELATIONSHIP + "|.*/coreProperties.*"),
    Command("add --create", ("add", "PACKAGE", "SOURCE", "--create"), MANIFEST + "|fsroot/source.bin",
            MANIFEST_RELATIONSHIP, content="fsroot/source.bin"),
    Command("part put a new part", ("part", "put", "PACKAGE", "/other/new.bin", "SOURCE", "--type", "image/png"),
            "other/new.bin", content="other/new.bin"),
    Command("part put", ("part", "put", "PACKAGE", "PART", "SOURCE"), "PART", content="PART"),
    Command("part remove", ("part", "remove", "PACKAGE", "PART"), "PART|RELS"),
    Command("rel add", ("rel", "add", "PACKAGE", "urn:new", "http://example.com/", "--external", "--id", "new1"),
            "", "urn:new", "new1"),
    Command("rel add to a part", ("rel", "add", "PACKAGE", "urn:new", "/other", "--external", "--source", "PART"),
            "RELS"),
    Command("rel remove", ("rel", "remove", "PACKAGE", "RELATIONSHIP"), "", "", "RELATIONSHIP"),
    Command("add without a file system", ("add", "PACKAGE", "SOURCE"), "", is_refused=True),
    Command("rekey without a file system", ("rekey", "PACKAGE", "--new-key-file", "KEYFILE"), "", is_refused=True),
)
OWN_FILE = "fsroot/folder/itself.bin"
WITH_FILES = (
    Command("add", ("add", "PACKAGE", "SOURCE", "--to", "new"), MANIFEST + "|fsroot/new/source.bin",
            content="fsroot/new/source.bin"),
    Command("add --force", ("add", "PACKAGE", "ITSELF", "--to", "folder", "--force"), MANIFEST + "|" + OWN_FILE),
    Command("update", ("update", "PACKAGE", "TREE"), MANIFEST + "|fsroot/source.bin", content="fsroot/source.bin"),
    Command("update --delete", ("update", "PACKAGE", "TREE", "--delete"),
            MANIFEST + "|fsroot/source.bin|" + OWN_FILE, content="fsroot/source.bin"),
    Command("move", ("move", "PACKAGE", "/folder/itself.bin", "/elsewhere/moved.bin"), MANIFEST),
    Command("remove", ("remove", "PACKAGE", "/folder/itself.bin"), MANIFEST + "|" + OWN_FILE),
    Command("remove --glob", ("remove", "PACKAGE", "--glob", "**/*.bin"), MANIFEST + "|" + OWN_FILE),
    Command("add with a key", ("add", "PACKAGE", "SOURCE", "--key-file", "KEYFILE"), "", is_refused=True),
    Command("rekey", ("rekey", "PACKAGE", "--new-key-file", "KEYFILE"), MANIFEST + "|fsroot/.*", MANIFEST_RELATIONSHIP),
)
DECRYPT = Command("rekey --to-plain", ("rekey", "PACKAGE", "--key-file", "KEYFILE", "--to-plain", "--force"),
                  MANIFEST + "|fsroot/.*", MANIFEST_RELATIONSHIP)
COMMANDS = (*BARE, *WITH_FILES, DECRYPT)

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


def relationships_item(part):
    folder, _, name = part.rpartition("/")
    return f"{folder}/_rels/{name}.rels".lstrip("/")


def described(data):
    """The package with a part and a relationship of its own; None where it has none or the other reader gives up."""
    try:
        view = View(data)
        parts = [name for name, kind in sorted(content_types(view).items())
                 if kind and PLAIN_NAME.fullmatch(name) and not name.endswith(".rels") and not kind.startswith(CORE_TYPE)
                 and (name, 0) in view.items]
        ids = sorted(name for name in relationships(view) if name and PLAIN_NAME.fullmatch(name))
    except UNREADABLE:
        return Package(data, None, None)
    return Package(data, *(next(iter(names), None) for names in (parts, ids)))


class Check:
    def __init__(self, forks, add, scratch):
        self.forks, self.add, self.scratch = forks, add, scratch
        self.edits, self.refusals, self.good = collections.Counter(), collections.Counter(), collections.Counter()
        self.good_edits = collections.Counter()
        self.faults = []
        self.files = {"SOURCE": scratch / "source.bin", "ITSELF": scratch / "itself.bin", "KEYFILE": scratch / "key",
                      "TREE": scratch / "tree", "PACKAGE": scratch / "packages" / "package"}
        for folder in (self.files["TREE"], self.files["PACKAGE"].parent):
            folder.mkdir()
        for file in (self.files["SOURCE"], self.files["TREE"] / "source.bin"):
            file.write_bytes(SOURCE)
        self.files["ITSELF"].write_bytes(b"replaced")
        self.files["KEYFILE"].write_text(KEY)

    def check(self, name, data, is_good=False):
        package = described(data)
        for command in BARE:
            self.run(name, command, package, is_good)
        self.files["PACKAGE"].write_bytes(data)
        if subprocess.run([self.add, self.files["PACKAGE"]], capture_output=True, check=False).returncode:
            return
        filled = described(self.files["PACKAGE"].read_bytes())
        for command in WITH_FILES:
            after = self.run(name, command, filled, is_good)
        if after:  # of rekey
            plain = self.run(name, DECRYPT, described(after), is_good)
            if plain and View(plain).read(OWN_FILE) != View(filled.data).read(OWN_FILE):
                self.faults.append(f"{name}: {DECRYPT.name}: the content of the file")

    def run(self, name, command, package, is_good):
        """The package after the command; None where it refuses."""
        words = self.files | {"PART": package.part and "/" + package.part, "RELATIONSHIP": package.relationship}
        arguments = [words.get(word, word) for word in command.arguments]
        if None in arguments:
            return None
        copy = self.files["PACKAGE"]
        copy.write_bytes(package.data)
        done = self.forks.run(*arguments, "--json", timeout=60)
        after = copy.read_bytes()
        self.good[command.name] += is_good
        if [path for path in copy.parent.iterdir() if path != copy]:
            self.faults.append(f"{name}: {command.name}: it leaves files behind")
        if done.returncode:
            return self.refused(name, command, done, after == package.data)
        self.edits[command.name] += 1
        self.good_edits[command.name] += is_good
        if command.is_refused:
            self.faults.append(f"{name}: {command.name}: it was not refused")
        faults = [what for what in self.faults_of(command, package, after)
                  if not (json.loads(done.stdout or "{}").get("replaced") and what.startswith(PROPERTIES))]
        self.faults += [f"{name}: {command.name}: {what}" for what in faults]
        return after

    def refused(self, name, command, done, is_same):
        if done.returncode not in REFUSALS:
            self.faults.append(f"{name}: {command.name}: it ended with {done.returncode}: {done.stderr}")
        if not is_same:
            self.faults.append(f"{name}: {command.name}: it ended with {done.returncode} and changed the file")
        try:
            code = json.loads(done.stderr.splitlines()[-1])["error"]["code"]
        except (IndexError, KeyError, TypeError, ValueError):
            code = "no code"
            self.faults.append(f"{name}: {command.name}: it gave no reason: {done.stderr}")
        self.refusals[command.name, f"{done.returncode} {code}"] += 1

    def too_few(self):
        """The commands that refuse what they should edit."""
        for command in COMMANDS:
            edited, good = self.good_edits[command.name], self.good[command.name]
            if not command.is_refused and (good == 0 or edited < good):
                yield f"{command.name}: it edited {edited} of {good} good packages"

    def print_counts(self, with_codes):
        for command in COMMANDS:
            codes = {code: count for (name, code), count in self.refusals.items() if name == command.name}
            print(f"{command.name:28} {self.edits[command.name]:4} edited {sum(codes.values()):4} refused, of good ones "
                  f"{self.good_edits[command.name]}/{self.good[command.name]}")
            for code, count in sorted(codes.items(), key=lambda one: -one[1]) if with_codes else ():
                print(f"    {count:4} {code}")

    def faults_of(self, command, package, after):
        try:
            old, new = View(package.data), View(after)
            yield from self.items_changed(command, package, old, new)
            yield from self.relationships_changed(command, package, old, new)
            if old.surroundings != new.surroundings:
                yield f"the comment or what stands before the archive: {old.surroundings}, {new.surroundings}"
        except UNREADABLE as fault:
            yield f"the other reader gives up: {fault!r}"
        opened = self.forks.run("part", "list", self.files["PACKAGE"], timeout=60)
        if opened.returncode:
            yield f"the package cannot be opened any more: {opened.stderr}"

    @staticmethod
    def items_changed(command, package, old, new):
        old_types, new_types = content_types(old), content_types(new)
        core = [name for name, kind in (old_types | new_types).items() if kind and kind.startswith(CORE_TYPE)]
        part = package.part or "-"
        words = {"CORE": core, "PART": [part], "RELS": [relationships_item(part)]}
        named = re.compile(re.sub("CORE|PART|RELS", lambda word: "|".join(map(re.escape, words[word[0]])) or "-",
                                  command.items), re.I)

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
        if command.content and new.read(command.content.replace("PART", part)) != SOURCE:
            yield f"the content of {command.content} is not that of the source"
        for name in core:
            if (name, 0) in old.items and (name, 0) in new.items:
                before, after = properties(old.read(name)), properties(new.read(name))
                if command.name == "props set release" and CREATED not in before:
                    after.pop(CREATED, None)  # a package gets it together with its first release
                if before != after:
                    yield f"{PROPERTIES} in {name}: {before} {after}"

    @staticmethod
    def relationships_changed(command, package, old, new):
        before, after = relationships(old), relationships(new)
        ids = [package.relationship if command.ids == "RELATIONSHIP" else command.ids]
        for name in before.keys() | after.keys():
            one, other = before.get(name), after.get(name)
            is_named = name in ids or re.fullmatch(command.types, (one or other).get("Type", ""))
            if one != other and not is_named:
                yield f"the relationship {name}: {one}, {other}"
        if command.ids == "RELATIONSHIP" and ids[0] in after:
            yield f"the relationship {ids[0]} is still there"


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
            check.check(package.name, package.read_bytes(), package.parent.name == GOOD)
        for package in packages[:SURROUNDED]:
            data = package.read_bytes()
            check.check(package.name + " with a comment", data[:-2] + len(COMMENT).to_bytes(2, "little") + COMMENT)
            check.check(package.name + " behind a program", b"#!/bin/sh\nexit\n" + data)
    check.print_counts("-v" in sys.argv[5:])
    faults = [*check.faults, *check.too_few()]
    print("\n".join(faults))
    print(f"{len(packages)} packages, {check.edits.total()} edits, {check.refusals.total()} refusals; {len(faults)} faults")
    return 1 if faults else 0


sys.exit(main())
