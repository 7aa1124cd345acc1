#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Extracts packages that want to get out of their directory, or to take all of the machine: hostile_packages.py FORKS

Every package is made here, from a manifest and parts of any kind. For each of them nothing may change in the whole
tree above the destination but below the destination, and the tool must end within 10 seconds and 1 GiB, with
success or with an error of its own; for those that lead outside, an error is what must come. `ztpkg verify` must
end within the same bounds, and every other command with those packages that are deep or wide. So must the commands
that are given a key, for parts that say that they are encrypted and inflate to all the memory that there is.
"""
import io
import functools
import itertools
import os
import pathlib
import shutil
import stat
import struct
import subprocess
import sys
import tempfile
import zipfile
import zlib
from xml.sax.saxutils import quoteattr

from forks import Forks

BASE = "http://schemas.corvanta.example"
MANIFEST = "metadata/filesystemManifest.xml"
SANITIZED = b"__asan_init" in pathlib.Path(sys.argv[1]).read_bytes()
SECONDS = 100 if SANITIZED else 10
BYTES = 0 if SANITIZED else 1 << 30  # the shadow memory of a sanitized program takes terabytes of addresses
DEPTH = 100_000
REFUSED, EITHER = "refused", "either"


def entry(kind, name, content=""):
    return f"<fileEntry name={quoteattr(name)} type={quoteattr(kind)} content={quoteattr(content)}/>"


def file(name, content="/fsroot/f"):
    return entry("File", name, content)


def link(name, target):
    return entry("SymLink", name, target)


def folder(name):
    return entry("Folder", name)


def package(entries, parts=("fsroot/f",)):
    head = (f'<fileEntries xmlns="{BASE}/package/2013/filesystemManifest" createdByEncoding="UTF-8" '
            'createdByPlatform="lxamd64" version="2.0">')
    types = ('<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" '
             'ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Override '
             f'PartName="/{MANIFEST}" ContentType="application/vnd.corvanta.package.filesystemManifest+xml"/>')
    types += "".join(f'<Override PartName="/{part}" ContentType="text/plain"/>' for part in parts) + "</Types>"
    relations = ('<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship '
                 f'Id="rId1" Type="{BASE}/package/2013/relationships/filesystemManifest" Target="/{MANIFEST}"/>'
                 '</Relationships>')
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("[Content_Types].xml", types)
        archive.writestr("_rels/.rels", relations)
        archive.writestr(MANIFEST, head + "".join(entries) + "</fileEntries>")
        for part in parts:
            archive.writestr(part, "evil")
    return out.getvalue()


def upward_paths():
    """`..` in every position of paths of one to four names, with and without what may hide it."""
    for length in range(1, 5):
        for ups in itertools.product((False, True), repeat=length):
            if any(ups):
                path = "/".join(".." if up else "d" for up in ups)
                yield from ("/" + path, path, "//" + path, "/./" + path, "/" + path + "/evil", "\\" + path.replace("/", "\\"))


def cases():
    """Name, package, what must come of it."""
    for path in upward_paths():
        # A backslash is a letter like any other in what a manifest lists.
        wanted = EITHER if "\\" in path else REFUSED
        for form in (file(path), link(path, "x"), folder(path)):
            yield f"{form}", package([form]), wanted
    for outside in ("..", "../..", "../victim", "/../victim", "../../../../../../etc/passwd", "d/../../victim", "./../x"):
        yield f"link to {outside}", package([folder("/d"), link("/l", outside)]), REFUSED
        yield f"deep link to {outside}", package([link("/a/b/l", "../../" + outside)]), REFUSED
        yield f"file through a link to {outside}", package([link("/l", outside), file("/l/evil")]), REFUSED
        yield f"file first, through a link to {outside}", package([file("/l/evil"), link("/l", outside)]), REFUSED
    yield "link to an absolute place", package([link("/l", "/victim"), file("/l/evil")]), REFUSED
    yield "link to itself", package([link("/l", "l")]), EITHER
    yield "links to each other", package([link("/a", "b"), link("/b", "a"), file("/a/x")]), REFUSED
    chain = [link(f"/l{i}", f"l{i + 1}") for i in range(1000)]
    yield "chain of links", package(chain + [file("/l1000")]), EITHER
    yield "chain of links that ends outside", package(chain + [link("/l1000", "../victim")]), REFUSED
    yield "file through a chain of links", package(chain + [link("/l1000", ".."), file("/l0/victim/evil")]), REFUSED
    steps = [link("/a", "."), link("/b", "a/.."), file("/b/victim/evil")]
    yield "links that lead out step by step", package(steps), REFUSED
    yield "link up behind a link", package([folder("/d"), link("/d/l", ".."), link("/x", "d/l/../victim")]), REFUSED
    yield "folder that becomes a link", package([folder("/d"), link("/d", "../victim"), file("/d/evil")]), REFUSED
    yield "file below a file", package([file("/a"), file("/a/b")]), REFUSED
    yield "file below a file, listed first", package([file("/a/b"), file("/a")]), REFUSED
    yield "link below a file", package([file("/a"), link("/a/b", "c")]), REFUSED
    yield "the root as a link", package([link("/", "../victim"), file("/evil")]), REFUSED
    yield "the root as a file", package([file("/")]), REFUSED
    yield "no name", package([file("")]), EITHER
    yield "same file twice", package([file("/a"), file("/a")]), REFUSED
    yield "same file by another spelling", package([file("/a"), file("//a"), file("/./a")]), EITHER
    yield "name of 4,096 bytes", package([file("/" + "n" * 4096)]), REFUSED
    yield "name of 255 bytes", package([file("/" + "n" * 255)]), EITHER
    yield "name of 256 bytes", package([file("/" + "é" * 128)]), REFUSED
    yield "path of 4,096 bytes", package([file("/d" * 2048)]), EITHER
    yield "link target of 4,096 bytes", package([link("/l", "t" * 4096)]), EITHER
    yield "names that are no files' names", package([file("/d/."), file("/d/"), folder("/e//")]), EITHER
    yield "control characters", package([file("/a\n\t\x85b"), file("/\u202Etxt.exe")]), EITHER
    yield "the temporary names of the tool", package([file("/.ztservices-AAAAAA"), link("/.ztservices-x", "a")]), EITHER
    yield f"{DEPTH:,} levels of folders", package([folder("/d" * DEPTH)]), EITHER
    yield f"a file below {DEPTH:,} levels", package([file("/d" * 60_000)]), EITHER
    deep = [folder(f"/{i}" + "/d" * 2000) for i in range(300)]
    yield "300 paths of 2,000 levels each", package(deep), REFUSED
    yield "15 paths of 2,000 levels each, and a link outside", package(deep[:15] + [link("/l", "..")]), REFUSED
    yield f"{DEPTH:,} levels upwards", package([file("/.." * (DEPTH // 2) + "/victim/evil")]), REFUSED
    yield "20,000 files of one part", package([file(f"/f{i}") for i in range(20_000)]), EITHER
    yield "a part that is not there", package([file("/a", "/fsroot/none")]), REFUSED
    yield "the manifest as contents", package([file("/m", "/" + MANIFEST)]), EITHER
    yield "contents with an upward name", package([file("/a", "/fsroot/../../victim")]), REFUSED


def large_cases():
    """Name, package, whether it can be listed: small files that stand for very much."""
    yield f"{DEPTH:,} levels of folders, and a file", package([folder("/d" * DEPTH), file("/x")]), False
    yield "300 paths of 2,000 levels each", package([file("/x")] + [folder(f"/{i}" + "/d" * 2000) for i in range(300)]), False
    yield "300 entries, 60,000 levels down", package([file("/x")] + [file("/d" * 60_000 + f"/{i}") for i in range(300)]), False
    yield "1,000 names of 4,096 letters", package([file("/x")] + [folder(f"/{i}" + "n" * 4090) for i in range(1000)]), True


COMMANDS = (["list"], ["list", "--long"], ["list", "--json"], ["info"], ["info", "--json"], ["cat", "/x"], ["verify"],
            ["add", "victim/kept", "--to", "/d"], ["remove", "--glob", "d"], ["remove", "/"])


def faults_of_commands(forks, place, data, can_be_listed):
    """What every command but `unpack` does wrong; the package comes after the command's name."""
    for name, *arguments in COMMANDS:
        (place / "p.ztpkg").write_bytes(data)
        try:
            done = run(forks, place / "parent", name, "../p.ztpkg", *arguments)
        except subprocess.TimeoutExpired:
            yield f"{name} {arguments} took more than {SECONDS} seconds"
            continue
        wanted = (0, 1) if name != "list" else (0,) if can_be_listed else (1,)
        if done.returncode not in wanted or b"internal error" in done.stderr:
            yield f"{name} {arguments} ended with {done.returncode}: {done.stderr[:300]!r}"


@functools.cache
def zeros(size):
    """Zeros, so many MiB of them, deflated, and their CRC."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    piece = packer.compress(bytes(1 << 20)) + packer.flush(zlib.Z_FULL_FLUSH)
    crc = 0
    for _ in range(size):
        crc = zlib.crc32(bytes(1 << 20), crc)
    return piece * size + b"\3\0", crc


def bomb(name):
    """A package in which that part is marked as encrypted, and is 1 GiB of zeros."""
    with zipfile.ZipFile(io.BytesIO(package([file("/f")]))) as before:
        contents = {item: before.read(item) for item in before.namelist()}
    contents[name], crc = zeros(1024)
    types = contents["[Content_Types].xml"].decode()
    at = types.index('"', types.index('ContentType="', types.index(f'"/{name}"')) + len('ContentType="'))
    contents["[Content_Types].xml"] = types[:at] + ";encryption=AES256-GCM;iv=inline" + types[at:]
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w") as archive:
        for item, data in contents.items():
            archive.writestr(item, data)
        local = archive.getinfo(name).header_offset
    data = bytearray(out.getvalue())
    central = data.rindex(name.encode()) - 46
    for method, header in ((8, local), (10, central)):
        struct.pack_into("<H", data, header + method, zipfile.ZIP_DEFLATED)
        struct.pack_into("<I", data, header + method + 6, crc)
        struct.pack_into("<I", data, header + method + 14, 1 << 30)
    return bytes(data)


def faults_of_bomb(forks, place, name):
    (place / "p.ztpkg").write_bytes(bomb(name))
    (place / "key").write_bytes(bytes(range(32)))
    refusal = b"it cannot be encrypted, as its content type says that it is"
    for command, wanted in ((["cat", "-k", "key", "p.ztpkg", "f"], refusal), (["ls", "-k", "key", "p.ztpkg"], b""),
                            (["unpack", "-q", "-k", "key", "p.ztpkg", "out"], refusal),
                            (["verify", "-k", "key", "p.ztpkg"], b"shrunk-encryption")):
        try:
            done = run(forks, place, *command)
        except subprocess.TimeoutExpired:
            yield f"{command[0]} took more than {SECONDS} seconds"
            continue
        fails = command[0] != "ls" or name == MANIFEST
        if done.returncode != (1 if fails else 0) or wanted not in done.stderr + done.stdout:
            yield f"{command[0]} ended with {done.returncode}: {done.stderr[:300]!r}"
    remove(place / "out")


def snapshot(root, without):
    """Everything below the root: kind, mode, size or target and contents."""
    found = {}
    for directory, folders, files in os.walk(root):
        if pathlib.Path(directory) == without:
            folders.clear()
            continue
        for name in folders + files:
            path = os.path.join(directory, name)
            if path == str(without):
                continue
            info = os.lstat(path)
            kind = stat.S_IFMT(info.st_mode)
            what = os.readlink(path) if stat.S_ISLNK(kind) else pathlib.Path(path).read_bytes() if stat.S_ISREG(kind) else ""
            found[path] = (info.st_mode, what)
    return found


def run(forks, directory, *arguments):
    return forks.run(*arguments, cwd=directory, timeout=SECONDS, most_memory=BYTES)


def remove(tree):
    """Also one that is too deep for a path."""
    try:
        shutil.rmtree(tree)
    except FileNotFoundError:
        pass
    except (OSError, RecursionError):
        subprocess.run(["rm", "-rf", tree], check=True)


def fault_of(forks, place, wanted):
    out = place / "parent" / "out"
    before = snapshot(place, out)
    try:
        done = run(forks, place / "parent", "unpack", "-q", "../p.ztpkg", "out")
    except subprocess.TimeoutExpired:
        return f"took more than {SECONDS} seconds"
    if snapshot(place, out) != before:
        return "something changed outside the destination"
    try:
        verified = run(forks, place, "verify", "-q", place / "p.ztpkg")
    except subprocess.TimeoutExpired:
        return f"took more than {SECONDS} seconds to verify"
    if verified.returncode not in (0, 1) or b"internal error" in verified.stderr:
        return f"verify ended with {verified.returncode}: {verified.stderr[:300]!r}"
    if done.returncode not in (0, 1, 3) or (done.returncode != 0) != done.stderr.startswith(b"ztpkg: unpack: "):
        return f"ended with {done.returncode}: {done.stderr[:300]!r}"
    if b"internal error" in done.stderr or b"not enough memory" in done.stderr:
        return f"failed by itself: {done.stderr[:300]!r}"
    if wanted == REFUSED and done.returncode == 0:
        return "was extracted"
    return None


def main():
    failed = count = 0
    tool = str(pathlib.Path(sys.argv[1]).resolve())
    with Forks(tool) as forks, tempfile.TemporaryDirectory(prefix="ztpkg-hostile-") as name:
        place = pathlib.Path(name).resolve()
        (place / "parent" / "victim").mkdir(parents=True)
        (place / "parent" / "victim" / "kept").write_text("kept")
        (place / "victim").mkdir()
        for what, data, wanted in cases():
            count += 1
            (place / "p.ztpkg").write_bytes(data)
            remove(place / "parent" / "out")
            fault = fault_of(forks, place, wanted)
            if fault:
                failed += 1
                print(f"{what[:200]}: {fault}")
        remove(place / "parent" / "out")
        for what, data, can_be_listed in large_cases():
            count += 1
            faults = list(faults_of_commands(forks, place, data, can_be_listed))
            failed += bool(faults)
            for fault in faults:
                print(f"{what}: {fault}")
        for name in ("fsroot/f", MANIFEST):
            count += 1
            for fault in faults_of_bomb(forks, place, name):
                failed += 1
                print(f"1 GiB of zeros as {name}: {fault}")
    print(f"{count} hostile packages, {failed} not as they should be")
    return 1 if failed else 0


sys.exit(main())
