#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes what a release consists of and depends on, as SPDX 2.3: make_sbom.py FOLDER-OF-FILES BUILD-TREE VERSION

FOLDER holds the Debian packages and the tarball of the sources. Nothing is listed by hand: the libraries are those that
the programs in the packages ask for, the headers those that the compiler read, as Ninja recorded them, the tools those of
CMake's cache. All become the Debian packages of this system that own the files. Prints the document; its time is SOURCE_DATE_EPOCH.
"""
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile
from datetime import datetime, timezone
from pathlib import Path

AUTHORS = "The ztservices authors"
OURS = ("CMakeFiles/zt", "tool/CMakeFiles/")  # objects of the library and the tool, not those of tests


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def spdx_id(kind, name):
    return "SPDXRef-" + kind + "-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def owners(paths):
    """The Debian packages that own files, without those files that none owns. dpkg knows some by their name below /usr."""
    names = sorted({form for path in paths for form in (path, path.removeprefix("/usr"), "/usr" + path)})
    found = subprocess.run(["dpkg-query", "-S", *names], capture_output=True, text=True, check=False).stdout
    return {owner for line in found.splitlines() if not line.startswith("diversion ")
            for owner in line.rsplit(": ", 1)[0].split(", ")}


def needed_libraries(package):
    """Shared libraries that the programs of a Debian package ask the loader for, where they lie in this system."""
    cached = dict(re.findall(r"^\s*(\S+) \(libc6.*\) => (\S+)$", output("/sbin/ldconfig", "-p"), re.M)[::-1])
    with tempfile.TemporaryDirectory() as folder:
        output("dpkg-deb", "-x", package, folder)
        programs = [path for path in Path(folder).rglob("*") if path.is_file() and path.open("rb").read(4) == b"\x7fELF"]
        dynamic = "".join(output("readelf", "-dW", path) for path in programs)
    names = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
    return {os.path.realpath(cached[name]) for name in names if name in cached} | {
        cached[name] for name in names if name in cached}


def headers_read(tree):
    """Files outside of the project that the compiler read for the library and the tool."""
    headers, ours = set(), False
    for line in output("ninja", "-C", tree, "-t", "deps").splitlines():
        if line and not line.startswith(" "):
            ours = line.startswith(OURS)
        elif ours and line.strip().startswith("/usr/"):
            headers.add(line.strip())
    return {os.path.realpath(header) for header in headers}


def build_tools(tree):
    """The compiler and the programs that ran it."""
    cache = (Path(tree) / "CMakeCache.txt").read_text()
    return {os.path.realpath(re.search(rf"^{key}:\w+=(.*)$", cache, re.M).group(1))
            for key in ("CMAKE_CXX_COMPILER", "CMAKE_COMMAND", "CMAKE_MAKE_PROGRAM")}


def debian_packages(names):
    """Elements for packages of this system: what each is, and where it came from."""
    form = "${Package}\t${Version}\t${Architecture}\t${source:Package}\t${source:Version}\t${Homepage}\n"
    for line in output("dpkg-query", "-W", "-f", form, *sorted(names)).splitlines() if names else ():
        name, version, architecture, source, source_version, home = line.split("\t")
        yield {"SPDXID": spdx_id("Debian", name), "name": name, "versionInfo": version, "supplier": "Organization: Debian",
               "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "homepage": home or "NOASSERTION",
               "sourceInfo": f"built from {source} {source_version}", "licenseConcluded": "NOASSERTION",
               "licenseDeclared": "NOASSERTION", "copyrightText": "NOASSERTION",
               "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                                 "referenceLocator": f"pkg:deb/debian/{name}@{version}?arch={architecture}"}]}


def own_file(path, name, version):
    return {"SPDXID": spdx_id("Release", name), "name": name, "versionInfo": version, "packageFileName": path.name,
            "supplier": f"Organization: {AUTHORS}", "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "checksums": [{"algorithm": "SHA256", "checksumValue": hashlib.sha256(path.read_bytes()).hexdigest()}],
            "licenseConcluded": "Apache-2.0", "licenseDeclared": "Apache-2.0", "copyrightText": f"2026 {AUTHORS}"}


class Document:
    """Packages and relationships, each once."""

    def __init__(self):
        self.packages, self.relationships = {}, set()

    def add(self, package):
        return self.packages.setdefault(package["SPDXID"], package)["SPDXID"]

    def relate(self, one, kind, other):
        self.relationships.add((one, kind, other))

    def as_json(self, version, key):
        time = datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), timezone.utc)
        return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"ztservices-{version}",
                "documentNamespace": f"https://spdx.org/spdxdocs/ztservices-{version}-{key}",
                "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ"),
                                 "creators": [f"Organization: {AUTHORS}", f"Tool: make_sbom.py-{version}"]},
                "packages": [self.packages[name] for name in sorted(self.packages)],
                "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
                                  for one, kind, other in sorted(self.relationships)]}


def add_dependencies(document, element, path, own):
    """What a Debian package of ours needs to run: libraries, and others of our packages."""
    for package in debian_packages(owners(needed_libraries(path))):
        document.relate(element, "DEPENDS_ON", document.add(package))
    for other in re.findall(r"[a-z0-9.+-]+(?= \(= )", output("dpkg-deb", "-f", path, "Depends")):
        if other in own:
            document.relate(element, "DEPENDS_ON", own[other])


def main():
    folder, tree, version = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    document, own, files = Document(), {}, {}
    for path in sorted(folder.glob("*.deb")):
        name, full = output("dpkg-deb", "-f", path, "Package").strip(), output("dpkg-deb", "-f", path, "Version").strip()
        own[name], files[name] = document.add(own_file(path, name, full)), path
    source = folder / f"ztservices-{version}.tar.gz"
    source_id = document.add(own_file(source, "ztservices-source", version))
    for element in (*own.values(), source_id):
        document.relate("SPDXRef-DOCUMENT", "DESCRIBES", element)
    for name, element in own.items():
        document.relate(element, "GENERATED_FROM", source_id)
        add_dependencies(document, element, files[name], own)
    for kind, files_used in (("BUILD_DEPENDENCY_OF", headers_read(tree)), ("BUILD_TOOL_OF", build_tools(tree))):
        for package in debian_packages(owners(files_used)):
            document.relate(document.add(package), kind, source_id)
    key = hashlib.sha256(json.dumps(document.as_json(version, "")).encode()).hexdigest()[:32]
    print(json.dumps(document.as_json(version, key), indent=1))


main()
