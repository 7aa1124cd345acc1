#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Repairs packages with random cuts, changed bytes and lost directories: repair_damage.py FORKS COUNT [SEED]

Every part whose header, content and directory entry were not touched must come back byte for byte, and no part may come
back otherwise. One thing nobody can know: where the directory is damaged, a name in a local header has no other record,
and its bytes have no checksum. A part whose name was hit there may come back under the name that it then has, with the
content that it had; the command must say that something is lost, and if it is a file, its path must be below
/lost+found. The new package must have no faults, and each file in it the contents that it had.
"""
import pathlib
import random
import struct
import sys
import tempfile
import zipfile

from forks import Forks

MANIFEST = "metadata/filesystemManifest.xml"
NOT_PARTS = ("[Content_Types].xml",)


def make_tree(place, chance):
    tree = place / "tree"
    for number in range(12):
        folder = tree / f"folder {number % 4}" / "é"
        folder.mkdir(parents=True, exist_ok=True)
        text = b"line %d\n" % number * chance.randrange(200)
        (folder / f"{number}.txt").write_bytes(text if number % 3 else chance.randbytes(chance.randrange(5000)))
    (tree / "empty").mkdir()
    (tree / "link").symlink_to("folder 1")
    with zipfile.ZipFile(tree / "inner.zip", "w") as inner:  # stored: its headers are in the package as they are
        inner.writestr("fsroot/inner.txt", "inner")
    return tree


class Item:
    """What a container says of one item, and where: its header with the content, and its entry."""

    def __init__(self, archive, info, data, entry):
        name, extra = struct.unpack("<HH", data[info.header_offset + 26:info.header_offset + 30])
        end = info.header_offset + 30 + name + extra + info.compress_size
        self.name, self.content = info.filename, archive.read(info)
        self.ranges = [range(info.header_offset, end), entry]
        self.name_bytes = range(info.header_offset + 30, info.header_offset + 30 + name)


def items_of(package):
    data = package.read_bytes()
    with zipfile.ZipFile(package) as archive:
        at, items = archive.start_dir, []
        for info in archive.infolist():
            lengths = struct.unpack("<HHH", data[at + 28:at + 34])
            items.append(Item(archive, info, data, range(at, at + 46 + sum(lengths))))
            at += 46 + sum(lengths)
        return data, archive.start_dir, items


class Damage:
    def __init__(self, data, directory, chance):
        kind = chance.choice(("cut", "flips", "directory", "flips and directory"))
        self.data, self.places, self.end, self.kind = bytearray(data), set(), len(data), kind
        if kind == "cut":
            self.end = chance.randrange(60, len(data))
        if "flips" in kind:
            self.places = {chance.randrange(len(data)) for _ in range(chance.randint(1, 4))}
        if "directory" in kind:
            self.places |= set(range(directory, len(data)))
            self.places -= set(range(directory, directory + chance.choice((0, 0, 100))))
        for place in self.places:
            self.data[place] ^= chance.randint(1, 255)
        self.data = self.data[:self.end]
        self.has_directory = "directory" not in kind and kind != "cut"
        self.leaves_directory = self.has_directory and all(place < directory for place in self.places)

    def touches(self, part):
        content, entry = part.ranges
        hit = any(place in content for place in self.places) or content.stop > self.end
        return hit or self.has_directory and any(place in entry for place in self.places)

    def renames(self, part):
        return not self.leaves_directory and any(place in part.name_bytes for place in self.places)


def parts_in(package):
    with zipfile.ZipFile(package) as archive:
        return {info.filename: archive.read(info) for info in archive.infolist()
                if info.filename not in NOT_PARTS and not info.filename.endswith(".rels")}


def wrong_files(forks, package, key, tree, out):
    """Files that were extracted and are not what they were."""
    done = forks.run("unpack", "-q", package, out, *key)
    if done.returncode:
        return [done.stderr.decode()]
    contents, wrong = {path.read_bytes() for path in tree.rglob("*") if path.is_file()}, []
    for path in out.rglob("*"):
        relative = path.relative_to(out)
        if path.is_file() and not path.is_symlink():
            is_found = relative.parts[0].startswith("lost+found")
            if path.read_bytes() not in contents or not is_found and path.read_bytes() != (tree / relative).read_bytes():
                wrong.append(str(relative))
    return wrong


def fault_of(forks, items, damage, package, key, tree, place):
    broken, new = place / "broken", place / "new"
    broken.write_bytes(damage.data)
    done = forks.run("repair", broken, new, *key)
    expected = {item.name: item.content for item in items if not damage.touches(item)
                and item.name not in NOT_PARTS and not item.name.endswith(".rels")}
    if broken.read_bytes() != damage.data:
        return "the source was changed"
    if not new.exists():
        return f"nothing was saved of {sorted(expected)}: {done.stderr}" if expected or done.returncode == 0 else ""
    found, whole = parts_in(new), {item.name: item.content for item in items}
    missing = [name for name in expected if name != MANIFEST and found.get(name) != expected[name]]
    renamed = {item.content for item in items if damage.renames(item)}
    others = [name for name in found if name != MANIFEST and found[name] != whole.get(name)]
    invented = [name for name in others if found[name] not in renamed]
    if missing or invented:
        return f"missing {missing}, invented {invented}"
    if others and done.returncode != 1:
        return f"exit {done.returncode}, but {others} have other names"
    if done.returncode == 0 and set(found) != {name for name in whole if name not in NOT_PARTS and not name.endswith(".rels")}:
        return f"exit 0, but parts are lost: {sorted(set(whole) - set(found))}"
    if not any(name.startswith("fsroot/") for name in found) or MANIFEST not in found:
        return ""
    verified = forks.run("verify", new, *(key if b"encryption=" in zipfile.ZipFile(new).read(NOT_PARTS[0]) else []))
    if verified.returncode:
        return "the new package has faults: " + verified.stdout.decode()
    types_lost = any(place in next(item for item in items if item.name in NOT_PARTS).ranges[0] for place in damage.places)
    if key and (types_lost or b"lost content types" in done.stdout):
        return ""  # without types nothing says that contents are encrypted
    wrong = wrong_files(forks, new, key, tree, place / "out")
    return f"wrong files: {wrong}" if wrong else ""


def main():
    program, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]) if len(sys.argv) > 3 else 1
    failed = 0
    memory = pathlib.Path("/dev/shm")  # a disk would sync every package
    with Forks(program) as forks, tempfile.TemporaryDirectory(dir=memory if memory.is_dir() else None) as name:
        place = pathlib.Path(name)
        tree = make_tree(place, random.Random(seed))
        forks.run("keygen", place / "key")
        secret = ["--key-file", place / "key"]
        forks.run("pack", "-q", tree, place / "plain", "--title", "T")
        forks.run("pack", "-q", tree, place / "secret", *secret)
        for number in range(count):
            chance = random.Random(f"{seed} {number}")
            key = secret if number % 3 == 0 else []
            package = place / ("secret" if key else "plain")
            data, directory, items = items_of(package)
            damage = Damage(data, directory, chance)
            with tempfile.TemporaryDirectory(dir=place) as work:
                fault = fault_of(forks, items, damage, package, key, tree, pathlib.Path(work))
            if fault:
                failed += 1
                print(f"seed {seed}, number {number}, {damage.kind}: {fault}")
    print(f"{count} damaged packages, {failed} failures")
    return 1 if failed else 0


sys.exit(main())
