#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks what scripts/make_sbom.py writes of packages: sbom.py SOURCE BUILD-TREE VERSION FILE...

The packages are made here, one of the FILEs each. The document must have what SPDX 2.3 demands, name the packages with
their checksums, and the system's packages that the loader takes for the files, and that the compiler read.
"""
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

source, build, version = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
TYPES = {"DESCRIBES", "DEPENDS_ON", "GENERATED_FROM", "BUILD_DEPENDENCY_OF", "BUILD_TOOL_OF"}


def make_package(folder, name, depends, file):
    tree = folder / "tree" / name
    (tree / "DEBIAN").mkdir(parents=True)
    relation = f"Depends: {depends}\n" if depends else ""
    (tree / "DEBIAN/control").write_text(f"Package: {name}\nVersion: {version}-1\nArchitecture: all\nMaintainer: x <x@localhost>\n"
                                         f"{relation}Description: x\n")
    shutil.copy(file, tree / name)
    subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "-b", tree, folder / f"{name}.deb"], check=True, stdout=subprocess.DEVNULL)


def write(folder):
    done = subprocess.run([source / "scripts/make_sbom.py", folder, build, version], check=True, capture_output=True,
                          env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000"})
    return done.stdout


def check_form(document):
    """What sections 6, 7 and 11 of the format demand of each field that is there."""
    assert (document["spdxVersion"], document["dataLicense"], document["SPDXID"]) == ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT")
    assert re.fullmatch(r"https://[^\s#]+", document["documentNamespace"]), document["documentNamespace"]
    assert document["creationInfo"]["created"] == "2023-11-14T22:13:20Z", document["creationInfo"]
    for creator in document["creationInfo"]["creators"]:
        assert re.fullmatch(r"(Person|Organization|Tool): .+", creator), creator
    names = [package["SPDXID"] for package in document["packages"]]
    assert len(set(names)) == len(names), names
    for package in document["packages"]:
        assert re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", package["SPDXID"]), package
        assert package["name"] and package["versionInfo"] and package["downloadLocation"] == "NOASSERTION", package
        assert package["filesAnalyzed"] is False and "packageVerificationCode" not in package, package
        for reference in package.get("externalRefs", []):
            assert re.fullmatch(r"pkg:deb/debian/[^@\s]+@[^?\s]+\?arch=\w+", reference["referenceLocator"]), reference
    for relationship in document["relationships"]:
        assert relationship["relationshipType"] in TYPES, relationship
        for end in (relationship["spdxElementId"], relationship["relatedSpdxElement"]):
            assert end in names or end == "SPDXRef-DOCUMENT", relationship


def related(document, kind, one=None, other=None):
    """Names at the other end of relationships."""
    names = {package["SPDXID"]: package["name"] for package in document["packages"]}
    return {names[r["spdxElementId"] if other else r["relatedSpdxElement"]] for r in document["relationships"]
            if r["relationshipType"] == kind and one in (None, r["spdxElementId"]) and other in (None, r["relatedSpdxElement"])}


def linked_to(program):
    """The packages of what the loader finds for a program, asked in another way: only what the program itself names."""
    named = subprocess.run(["objdump", "-p", program], check=True, capture_output=True, text=True).stdout
    found = dict(re.findall(r"(\S+) => (\S+)", subprocess.run(["ldd", program], check=True, capture_output=True, text=True).stdout))
    paths = {found.get(name, "") for name in re.findall(r"NEEDED\s+(\S+)", named)} - {""}
    forms = {form for path in paths for form in (path, path.removeprefix("/usr"), os.path.realpath(path))}
    owned = subprocess.run(["dpkg", "-S", *forms], check=False, capture_output=True, text=True).stdout
    return {line.split(":")[0] for line in owned.splitlines()}


def check(folder, files):
    files = {f"package{i}": file for i, file in enumerate(files)}
    for i, (name, file) in enumerate(files.items()):
        make_package(folder, name, f"package0 (= {version}-1)" if i else "", file)
    (folder / f"ztservices-{version}.tar.gz").write_bytes(b"sources")
    document = json.loads(write(folder))
    check_form(document)
    assert related(document, "DESCRIBES", one="SPDXRef-DOCUMENT") == {*files, "ztservices-source"}
    for package in document["packages"]:
        if "packageFileName" in package:
            seen = hashlib.sha256((folder / package["packageFileName"]).read_bytes()).hexdigest()
            assert package["checksums"] == [{"algorithm": "SHA256", "checksumValue": seen}], package
    for name, file in files.items():
        wanted = linked_to(file) | ({"package0"} if name != "package0" else set())
        seen = related(document, "DEPENDS_ON", one=f"SPDXRef-Release-{name}")
        assert seen == wanted and "libc6" in seen, (name, seen, wanted)
    headers = related(document, "BUILD_DEPENDENCY_OF", other="SPDXRef-Release-ztservices-source")
    assert headers >= {"libboost1.74-dev", "nlohmann-json3-dev", "libcli11-dev", "libssl-dev", "libc6-dev"} or not Path(
        "/usr/share/doc/libboost1.74-dev").exists(), headers
    assert not {name for name in headers if "gtest" in name or "gmock" in name}, headers
    assert len(related(document, "BUILD_TOOL_OF", other="SPDXRef-Release-ztservices-source")) >= 1
    print(f"{len(document['packages'])} packages, {len(document['relationships'])} relationships")


if not all(shutil.which(program) for program in ("dpkg-deb", "ninja", "readelf")):
    sys.exit(77)
with tempfile.TemporaryDirectory() as scratch:
    check(Path(scratch), sys.argv[4:])
