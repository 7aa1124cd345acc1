#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Explodes and implodes other people's packages, whose parts and relationships must stay: explode_corpus.py FORKS CORPUS
STEP [ORACLE]

Takes every STEP-th package of the corpus. `ztpkg diff` must find no difference, by bytes as well, and so must a comparison
of digests and of relationships. ORACLE, an independent reader, must see the same in both where it can read the first;
without it, or what it needs, that part is left out. Packages with relationships that the standard forbids, which a reader tolerates and a writer
refuses, must fail with that fault.
"""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from forks import Forks

SKIPPED = 77
LIBRARY = pathlib.Path("/usr/share/java/poi-ooxml.jar")  # of the independent reader
REFUSED = {"lib3mf__HelixWithThumbnail_IncorrectRelationship.3mf",
           "poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx"}


def facts(forks, package):
    """The parts with their types and contents, and the relationships in their order."""
    found = json.loads(forks.run("info", "--json", "--digest", package).stdout)
    parts = {part["name"]: (part["contentType"], part["sha256"]) for part in found["parts"]
             if not part["name"].endswith(".rels")}
    return parts, sorted(json.dumps(one) for one in found["relationships"])


def fault_of(forks, package, exploded, imploded):
    done = forks.run("explode", "-q", package, exploded)
    if done.returncode:
        return f"explode: {done.stderr}"
    done = forks.run("implode", "--json", exploded, imploded)
    if package.name in REFUSED:
        code = json.loads(done.stderr)["error"]["code"] if done.returncode == 1 else done.returncode
        return "" if code == "invalid-relationship" and not imploded.exists() else f"should be refused: {code}"
    if done.returncode:
        return f"implode: {done.stderr}"
    for form in ((), ("--parts", "--raw")):
        done = forks.run("diff", *form, package, imploded)
        if done.returncode or done.stdout:
            return f"diff finds {done.stdout} {done.stderr}"
    return "" if facts(forks, package) == facts(forks, imploded) else "the parts or relationships differ"


def seen_by(oracle, packages):
    """What the independent reader sees of each, in no order; relationships parts may be written otherwise."""
    output = subprocess.run([oracle, *packages], capture_output=True, check=False, timeout=600).stdout
    reports = [json.loads(line) for line in output.splitlines()]
    for report in reports:
        del report["file"]
        report.pop("error", None)  # which names the file
        report["parts"] = [part for part in report.get("parts", []) if not part["name"].endswith(".rels")]
    return [in_order(report) for report in reports]


def in_order(value):
    if isinstance(value, dict):
        return {key: in_order(item) for key, item in value.items()}
    return sorted(map(in_order, value), key=json.dumps) if isinstance(value, list) else value


def count_seen_differently(oracle, pairs):
    if not LIBRARY.is_file() or not oracle.is_file() or not shutil.which("java"):
        print("no independent reader")
        return 0
    seen = [seen_by(oracle, side) for side in zip(*pairs)]
    if [len(reports) for reports in seen] != [len(pairs)] * 2:
        sys.exit(f"the independent reader saw {list(map(len, seen))} of {len(pairs)} packages")
    read = [(pair[0].name, *reports) for pair, *reports in zip(pairs, *seen) if reports[0]["ok"]]
    different = [name for name, before, after in read if before != after]
    parts = sum(len(before["parts"]) for _, before, _ in read)
    print(f"the independent reader read {len(read)} of {len(pairs)} packages, {parts} parts; {len(different)} differ", *different)
    return len(different)


def main():
    program, corpus, step = sys.argv[1], pathlib.Path(sys.argv[2]), int(sys.argv[3])
    packages = sorted((corpus / "opc-good").glob("*"))[::step]
    if not packages:
        print("skipped: no corpus")
        return SKIPPED
    failed, pairs = 0, []
    with Forks(program) as forks, tempfile.TemporaryDirectory() as name:
        for number, package in enumerate(packages):
            exploded, imploded = pathlib.Path(name, f"exploded{number}"), pathlib.Path(name, f"imploded{number}")
            fault = fault_of(forks, package, exploded, imploded)
            if fault:
                failed += 1
                print(f"{package.name}: {fault}")
            if imploded.exists():
                pairs.append((package, imploded))
        if len(sys.argv) > 4:
            failed += count_seen_differently(pathlib.Path(sys.argv[4]), pairs)
    print(f"{len(packages)} packages, {failed} failures")
    return 1 if failed else 0


sys.exit(main())
