#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what is read and written against what an independent reader (Apache POI) saw in other people's packages.

  independent_reader.py reads ZTPKG CORPUS          "ztpkg info" reports what the other reader saw
  independent_reader.py writes ADD CORPUS ORACLE    after a file system was added, it still sees all that
"""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77

# Where the two readers differ, and why ours is as it is. Each must still be a difference.
FRACTION = "the other reader takes the digits of a fraction of seconds for milliseconds"
NOT_OPENED = "the other reader refuses a package with an item of no content type"
DIFFERENCES = {
    ("closedxml__Add_one_row_without_value.xlsx", "core properties"): FRACTION,
    ("closedxml__CFColorScaleLowMidHigh.xlsx", "core properties"): FRACTION,
    ("closedxml__CFIsBlank.xlsx", "core properties"): FRACTION,
    ("closedxml__Formulas.xlsx", "core properties"): FRACTION,
    ("closedxml__MultiplePartsHaveNonUniqueRelId-output.xlsx", "core properties"): FRACTION,
    ("closedxml__Style_data_cells_at_intersection_of_value_field_and_axis_field_with_specific_values.xlsx",
     "core properties"): FRACTION,
    ("nuget.client__Test.Reposigned.1.0.0.nupkg", "package"): NOT_OPENED,
    ("poi__51626.xlsx", "relationships"): "the other reader percent-encodes an external target",
    ("poi__53734.xlsx", "relationships"): "the other reader puts a slash behind an external target",
    ("poi__CorePropertiesHasEntities.ooxml", "core properties"): "a document type declaration is refused",
    ("poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx", "relationships"):
        "the other reader shows no relationships of a package with two core-properties relationships",
    ("poi__OPCCompliance_CoreProperties_OnlyOneCorePropertiesPartFAIL.docx", "core properties"):
        "the other reader refuses those of a package that has two parts of them; ours reads the first",
}


def skip(reason):
    print(reason)
    sys.exit(SKIPPED)


def expectations(corpus):
    if not corpus.is_dir():
        skip("no corpus of packages beside the checkout")
    with open(corpus / "opc-good.expect.jsonl", encoding="utf-8") as lines:
        return [json.loads(line) for line in lines]


def seen_by_other(report):
    """Parts, relationships and core properties in one form, which is that of "ztpkg info"."""
    if not report["ok"]:
        return {"package": report["error"]}
    sources = [("/", report["rels"] or [])] + [(part["name"], part.get("rels", [])) for part in report["parts"]]
    core = {name: text for name, text in (report["core"] or {}).items() if text is not None}
    return {"parts": {part["name"]: (part["type"], part.get("size"), part.get("sha256")) for part in report["parts"]},
            "relationships": {(source, one["id"], one["type"], one["target"], one["mode"])
                              for source, rels in sources for one in rels},
            "core properties": core}


def seen_by_us(report):
    core = report["coreProperties"]
    if core and "keywords" in core:
        core["keywords"] = " ".join(keyword["text"] for keyword in core["keywords"])
    return {"parts": {part["name"]: (part["contentType"], part["size"], part["sha256"]) for part in report["parts"]},
            "relationships": {(one["source"], one["id"], one["type"], one["target"], one["mode"])
                              for one in report["relationships"]},
            "core properties": core}


def compare_reading(ztpkg, corpus):
    found = set()
    reports = expectations(corpus)
    for report in reports:
        file = pathlib.PurePath(report["file"]).name
        command = [ztpkg, "info", "--json", "--digest", corpus / report["file"]]
        ours = seen_by_us(json.loads(subprocess.run(command, check=True, capture_output=True).stdout))
        theirs = seen_by_other(report)
        for fact, value in theirs.items():
            if ours.get(fact) == value:
                continue
            found.add((file, fact))
            if (file, fact) not in DIFFERENCES:
                print(f"{file}: {fact}: {ours.get(fact)}\n  and not {value}")
    for file, fact in DIFFERENCES.keys() - found:
        print(f"{file}: {fact}: no longer a difference")
    print(f"{len(reports)} packages, {len(found)} differences of which {len(found & DIFFERENCES.keys())} are known")
    return found == DIFFERENCES.keys()


def add_file_systems(program, corpus, reports, directory):
    copies = []
    for report in reports:
        copy = directory / pathlib.PurePath(report["file"]).name
        shutil.copyfile(corpus / report["file"], copy)
        copies.append(copy)
    subprocess.run([program, *copies], check=True)
    return copies


def lost(before, after):
    """What the other reader no longer sees; the package's relationships part has of course changed."""
    before["parts"].pop("/_rels/.rels", None)
    return [fact for fact in before if not (before[fact].items() <= after[fact].items()
                                            if isinstance(before[fact], dict) else before[fact] <= after[fact])]


def compare_writing(program, corpus, oracle):
    reports = expectations(corpus)
    for tool in ("java", "unzip"):
        if not shutil.which(tool):
            skip(f"no {tool}")
    if not oracle.is_file() or not pathlib.Path("/usr/share/java/poi-ooxml.jar").is_file():
        skip("no independent reader beside the checkout, or no Apache POI")
    good = True
    with tempfile.TemporaryDirectory() as name:
        copies = add_file_systems(program, corpus, reports, pathlib.Path(name))
        for copy in copies:
            test = subprocess.run(["unzip", "-tqq", copy], capture_output=True, text=True, check=False)
            if test.returncode or test.stdout or test.stderr:
                print(f"{copy.name}: unzip: {test.stdout}{test.stderr}")
                good = False
        output = subprocess.run([oracle, *copies], capture_output=True, check=False).stdout
        after = [json.loads(line) for line in output.splitlines()]
    if len(after) != len(reports):
        sys.exit(f"the independent reader saw {len(after)} packages of {len(reports)}")
    for before, now, copy in zip(map(seen_by_other, reports), map(seen_by_other, after), copies):
        if ("package" in before) != ("package" in now) or ("parts" in before and lost(before, now)):
            print(f"{copy.name}: no longer as before: {now.get('package') or lost(before, now)}")
            good = False
        elif "parts" in now and "/metadata/filesystemManifest.xml" not in now["parts"]:
            print(f"{copy.name}: no file system is seen")
            good = False
    return good


def main():
    arguments = [pathlib.Path(argument) for argument in sys.argv[2:]]
    good = compare_reading(*arguments) if sys.argv[1] == "reads" else compare_writing(*arguments)
    sys.exit(0 if good else 1)


main()
