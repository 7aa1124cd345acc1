#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Explodes and implodes other people's packages, whose parts and relationships must stay: explode_corpus.py ZTPKG
CORPUS STEP

Takes every STEP-th package of the corpus. Packages with relationships that the standard forbids, which a reader
tolerates and a writer refuses, must fail with that fault.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

SKIPPED = 77
REFUSED = {"lib3mf__HelixWithThumbnail_IncorrectRelationship.3mf",
           "poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx"}


def run(tool, *arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, timeout=300, check=False)


def facts(tool, package):
    """The parts with their types and contents, and the relationships in their order."""
    found = json.loads(run(tool, "info", "--json", "--digest", package).stdout)
    parts = {part["name"]: (part["contentType"], part["sha256"]) for part in found["parts"]
             if not part["name"].endswith(".rels")}
    return parts, sorted(json.dumps(one) for one in found["relationships"])


def fault_of(tool, package, place):
    exploded, imploded = place / "exploded", place / "imploded"
    done = run(tool, "explode", "-q", package, exploded)
    if done.returncode:
        return "explode: " + done.stderr
    done = run(tool, "implode", "--json", exploded, imploded)
    if package.name in REFUSED:
        code = json.loads(done.stderr)["error"]["code"] if done.returncode == 1 else done.returncode
        return "" if code == "invalid-relationship" and not imploded.exists() else f"should be refused: {code}"
    if done.returncode:
        return "implode: " + done.stderr
    return "" if facts(tool, package) == facts(tool, imploded) else "the parts or relationships differ"


def main():
    tool, corpus, step = sys.argv[1], pathlib.Path(sys.argv[2]), int(sys.argv[3])
    packages = sorted((corpus / "opc-good").glob("*"))[::step]
    if not packages:
        print("skipped: no corpus")
        return SKIPPED
    failed = 0
    for package in packages:
        with tempfile.TemporaryDirectory() as name:
            fault = fault_of(tool, package, pathlib.Path(name))
        if fault:
            failed += 1
            print(f"{package.name}: {fault}")
    print(f"{len(packages)} packages, {failed} failures")
    return 1 if failed else 0


sys.exit(main())
