#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs each example: run_examples.py FOLDER-OF-PROGRAMS. Checks what it prints, its exit code, and what it leaves."""
import os
import signal
import subprocess
import sys
import tempfile
import time
import zipfile
from pathlib import Path

programs = Path(sys.argv[1]).resolve()
EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
CORE = ('<cp:coreProperties xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties" '
        'xmlns:dc="http://purl.org/dc/elements/1.1/"><dc:title>Old</dc:title><dc:creator>Ada</dc:creator>'
        '</cp:coreProperties>')
TYPES = ('<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" '
         'ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Default Extension="xml" '
         'ContentType="application/vnd.openxmlformats-package.core-properties+xml"/></Types>')
RELS = ('<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="r" '
        'Type="http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties" '
        'Target="docProps/core.xml"/></Relationships>')
used = set()


def run(name, *arguments, code=0, **environment):
    used.add(name)
    done = subprocess.run([programs / name, *arguments], capture_output=True, text=True, check=False,
                          env={**os.environ, "LC_ALL": "C.UTF-8", **environment}, timeout=120)
    assert done.returncode == code, (name, done.returncode, done.stdout, done.stderr)
    return done.stdout + done.stderr


def equal(seen, wanted):
    assert seen == wanted, f"{seen!r} instead of {wanted!r}"


def make_hostile(good, bad):
    """The same package, whose manifest has a path that leads out of the destination."""
    with zipfile.ZipFile(good) as source, zipfile.ZipFile(bad, "w") as target:
        for item in source.infolist():
            content = source.read(item)
            if "anifest" in item.filename:
                content = content.replace(b"/notes/first.txt", b"/notes/../../evil.txt")
            target.writestr(item.filename, content)


def make_document(path):
    with zipfile.ZipFile(path, "w") as document:
        for name, text in (("[Content_Types].xml", TYPES), ("_rels/.rels", RELS), ("docProps/core.xml", CORE)):
            document.writestr(name, text)


def check_files(tree):
    equal(run("keep_directory", "tree", "tree.ztp", "restored"), "")
    equal((tree.parent / "restored/notes/first.txt").read_text(), "first\n")
    equal((tree.parent / "restored/run").stat().st_mode & 0o777, 0o750)
    equal(run("list_package", "tree.ztp"), "/.hidden  0\n/notes\n/notes/first.txt  6\n/notes/link -> first.txt\n/run  4\n")
    equal(run("read_file", "tree.ztp", "/notes/first.txt"), "first\n")
    assert "does not exist" in run("read_file", "tree.ztp", "/none", code=1)
    run("add_from_memory", "tree.ztp", "/notes/caf\u00e9.txt", "rain")
    equal(run("read_file", "tree.ztp", "/notes/caf\u00e9.txt"), "rain")
    run("add_from_memory", "new.ztp", "/a.txt", "a")
    equal(run("list_package", "new.ztp"), "/a.txt  1\n")


def check_extraction(tree):
    equal(run("extract_safely", "tree.ztp", "safe"), "")
    equal((tree.parent / "safe/notes/first.txt").read_text(), "first\n")
    make_hostile("tree.ztp", "evil.ztp")
    assert run("extract_safely", "evil.ztp", "safe/deep", code=2).startswith("refused: ")
    assert not list(tree.parent.rglob("evil.txt"))


def check_changes():
    make_document("document.docx")
    equal(run("change_properties", "document.docx", "New"), "title: Old\nauthor: Ada\n")
    assert "title: New\n" in run("change_properties", "document.docx", "Newer")
    run("custom_transform", "tree/notes/first.txt", "capitals.ztp", "/shout.txt")
    equal(run("read_file", "capitals.ztp", "/shout.txt"), "FIRST\n")
    equal(run("custom_disk", "tree", "seen.ztp"), "3 files and links\n")
    assert ".hidden" not in run("list_package", "seen.ztp")


def check_password():
    arguments = ("protect_with_password", "tree", "secret.ztp", "/notes/first.txt")
    equal(run(*arguments, PACKAGE_PASSWORD="rain and snow"), "first\n")
    assert b"first" not in Path("secret.ztp").read_bytes()
    again = ("protect_with_password", "", "secret.ztp", "/notes/first.txt")
    equal(run(*again, code=2, PACKAGE_PASSWORD="rain"), "Another password is needed\n")


def check_report():
    assert run("verify_package", "tree.ztp").endswith(" parts, 0 faults\n")
    bytes_ = bytearray(Path("tree.ztp").read_bytes())
    bytes_[bytes_.index(b"first\n")] ^= 1
    Path("damaged.ztp").write_bytes(bytes_)
    assert "fault damaged-content: " in run("verify_package", "damaged.ztp", code=1)


def check_progress(tree):
    seen = run("show_progress", "tree", "shown.ztp")  # as text, each carriage return is a line feed
    assert "\n3 of 3 files, 10 of 10 bytes\nsaving\n" in seen and seen.endswith("\ndone\n"), seen
    before = Path("shown.ztp").read_bytes()
    with (tree / "large").open("wb") as large:
        large.truncate(20 << 30)  # a hole, which takes minutes to pack
    used.add("show_progress")
    process = subprocess.Popen([programs / "show_progress", "tree", "shown.ztp"], stdout=subprocess.PIPE, text=True)
    process.stdout.read(1)
    time.sleep(0.3)
    began = time.monotonic()
    process.send_signal(signal.SIGINT)
    output = process.communicate(timeout=60)[0]
    print(f"cancelled after {1000 * (time.monotonic() - began):.0f} ms")
    equal(process.returncode, 2)
    assert output.endswith("\ncancelled; a package that was there is as before\n"), output
    equal(Path("shown.ztp").read_bytes(), before)
    equal([item.name for item in tree.parent.iterdir() if item.name.startswith(".")], [])


def main():
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        tree = Path(scratch) / "tree"
        (tree / "notes").mkdir(parents=True)
        (tree / ".hidden").touch()
        (tree / "notes/first.txt").write_text("first\n")
        (tree / "notes/link").symlink_to("first.txt")
        (tree / "run").write_text("run\n")
        (tree / "run").chmod(0o750)
        check_files(tree)
        check_extraction(tree)
        check_changes()
        check_password()
        check_report()
        check_progress(tree)
    forgotten = {path.stem for path in EXAMPLES.glob("*.cpp")} - used
    assert not forgotten, f"no test of {sorted(forgotten)}"
    print(f"{len(used)} examples do what they say")


main()
