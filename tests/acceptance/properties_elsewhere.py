#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Core properties that ztpkg sets, as an independent reader of packages sees them: properties_elsewhere.py ZTPKG

Office documents of other makers lie beside a developer's checkout, as does the other reader; where one of them
is absent there is nothing to do.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
SHARED = Path(__file__).parents[3] / "shared"
READER = SHARED / "oracle/poi-oracle.sh"
VALUES = {"category": "c <&>", "content-status": "Draft", "creator": "Élève 😀", "description": "two  words",
          "identifier": "urn:x", "keywords": "one, two", "language": "de-AT", "last-modified-by": "me", "revision": "7",
          "subject": "s", "title": "[a, b]", "version": "1.0", "created": "2026-03-01T12:30:00Z",
          "modified": "2026-03-02T00:00:00Z", "last-printed": "2026-03-03T23:59:59Z"}


def camel(name):
    first, *rest = name.split("-")
    return first + "".join(word.capitalize() for word in rest)


EXPECTED = {camel(name): value for name, value in VALUES.items()}


def run(*command):
    done = subprocess.run(command, capture_output=True, check=False)
    if done.returncode:
        sys.exit(f"{command} exited with {done.returncode}: {done.stderr.decode()[-2000:]}")
    return done.stdout.decode()


def see(packages):
    """What the other reader makes of them; it may warn, and its exit code says no more than its output."""
    done = subprocess.run(["sh", str(READER), *map(str, packages)], capture_output=True, check=False)
    return [json.loads(line) for line in done.stdout.decode().splitlines()]


def contents(seen):
    return {part["name"]: part["sha256"] for part in seen["parts"] if not part.get("core")}


def has_own_properties(seen):
    return seen["ok"] and seen.get("core") and any(seen["core"].values())


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    documents = sorted((SHARED / "corpus/opc-good").glob("*.docx"))
    if not (READER.exists() and documents and shutil.which("java") and Path("/usr/share/java/poi.jar").exists()):
        print("skipped: no other reader, or no documents, beside the checkout")
        return SKIPPED
    before = [seen for seen in see(documents) if has_own_properties(seen)]
    with tempfile.TemporaryDirectory() as scratch:
        scratch = Path(scratch)
        (scratch / "empty").mkdir()
        run(ztpkg, "pack", scratch / "empty", scratch / "own.ztp",
            *(argument for name, value in VALUES.items() for argument in ("--" + name, value)))
        copies = [scratch / f"{index}.docx" for index in range(len(before))]
        for copy, seen in zip(copies, before):
            copy.write_bytes(Path(seen["file"]).read_bytes())
            run(ztpkg, "props", "set", copy, "title=A title of ours")
        own, *after = see([scratch / "own.ztp", *copies])
    if own["core"] != EXPECTED:
        sys.exit(f"set was {EXPECTED}, the other reader sees {own['core']}")
    for old, new in zip(before, after):
        if new.get("core") != old["core"] | {"title": "A title of ours"}:
            sys.exit(f"{old['file']}: {old['core']} became {new.get('core')}")
        if contents(new) != contents(old):
            sys.exit(f"{old['file']}: other parts changed")
    print(f"a new package and {len(after)} documents of other makers have the properties that were set")
    return 0 if after else 1


sys.exit(main())
