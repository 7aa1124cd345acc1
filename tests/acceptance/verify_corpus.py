#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds `ztpkg verify` to other people's packages: verify_corpus.py FORKS CORPUS

Good packages have no faults, but those that are listed here by name; growth hints, which many office programs leave,
are told and are none. Each package that is to be refused has a fault.
"""
import json
import pathlib
import sys

from forks import Forks

SKIPPED = 77
TOLERATED = {
    "nuget.client__Test.Reposigned.1.0.0.nupkg": [
        ("untyped-item", "/.signature.p7s"),
    ],
    "nuget.client__TestPackage.SupportingMultipleFrameworksNestedPS1.1.2.0.nupkg": [
        ("missing-target", "/"),
    ],
    "poi__60316b.dotx": [
        ("missing-target", "/word/header1.xml"),
        ("missing-target", "/word/header2.xml"),
        ("missing-target", "/word/header3.xml"),
    ],
    "poi__CorePropertiesHasEntities.ooxml": [
        ("invalid-core-properties", "/docProps/core.xml"),
    ],
    "poi__Excel_file_with_trash_item.xlsx": [
        ("invalid-part-name", "/[trash]/0000.dat"),
    ],
    "poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx": [
        ("several-core-properties", "/"),
    ],
    "poi__xlsx-corrupted.xlsx": [
        ("invalid-relationships", "/_rels/.rels"),
    ],
}


def report_of(forks, path):
    done = forks.run("verify", "--json", path, timeout=60)
    report = json.loads(done.stdout)
    if done.returncode != (0 if report["ok"] else 1) or report["ok"] != (faults_of(report) == []):
        sys.exit(f"{path.name}: exit code {done.returncode}, ok {report['ok']}")
    return report


def faults_of(report):
    return [(fault["code"], fault["item"]) for fault in report["faults"] if fault["code"] != "growth-hint"]


def packages(folder):
    return sorted(path for path in folder.iterdir() if path.is_file())


def main():
    corpus = pathlib.Path(sys.argv[2])
    if not corpus.is_dir():
        print("skipped: no corpus of packages beside the checkout")
        return SKIPPED
    with Forks(sys.argv[1]) as forks:
        failed = hints = 0
        good = packages(corpus / "opc-good")
        for path in good:
            report = report_of(forks, path)
            found = faults_of(report)
            hints += len(found) < len(report["faults"])
            if found != TOLERATED.get(path.name, []):
                failed += 1
                print(f"{path.name}: {found}")
        # One that breaks no rule: "/xl/metadata" and "/xl/metadata.xml" are not derived from one another.
        bad = [path for path in packages(corpus / "opc-bad") if path.name != "poi__64473.xlsx"]
        for path in bad:
            if not faults_of(report_of(forks, path)):
                failed += 1
                print(f"{path.name}: no fault")
    print(f"{len(good)} good packages, {hints} with growth hints, {len(TOLERATED)} with something else to tolerate; "
          f"{len(bad)} bad ones; {failed} not as they should be")
    return 1 if failed or not good or not bad else 0


sys.exit(main())
