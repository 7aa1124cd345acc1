#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks every #include against the layers that the root CMakeLists.txt declares.

A file of a layer may include headers of its own layer and of those that the layer depends on, and foreign
libraries only as THIRD_PARTY and SHOWS allow. Public headers see Boost alone, the tool sees public headers alone.
"""
import re
import sys
from pathlib import Path

# What a foreign include begins with, and the CMake target that allows it.
FOREIGN = {
    "boost/": "Boost::boost",
    "xercesc/": "XercesC::XercesC",
    "libdeflate.h": "libdeflate::libdeflate",
    "zlib.h": "ZLIB::ZLIB",
    "openssl/": "OpenSSL::Crypto",
    "unicode/": "ICU::uc",
    "CLI/": "CLI11::CLI11",
    "nlohmann/": "nlohmann_json::nlohmann_json",
}
# The tool is no layer of the library: it is written on the public headers, and each of its two libraries
# is slow enough to compile to be kept to one file.
TOOL_ONLY_IN = {"CLI11::CLI11": "CommandLine.cpp", "nlohmann_json::nlohmann_json": "Json.cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


class Layer:
    def __init__(self, text):
        words = text.split()
        self.name = words.pop(0)
        self.lists = {"FOLDER": [], "DEPENDS": [], "THIRD_PARTY": [], "SHOWS": [], "HEADERS": []}
        current = None
        for word in words:
            if word in self.lists:
                current = self.lists[word]
            else:
                current.append(word)
        self.folder = self.lists["FOLDER"][0]


def read_layers(root):
    text = re.sub(r"#.*", "", (root / "CMakeLists.txt").read_text())
    return {layer.name: layer for layer in map(Layer, re.findall(r"zt_layer\(([^)]*)\)", text))}


def reachable(layers, name):
    seen = {name}
    for below in layers[name].lists["DEPENDS"]:
        seen |= reachable(layers, below)
    return seen


def includes(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def foreign_target(header):
    return next((target for prefix, target in FOREIGN.items() if header.startswith(prefix)), None)


class Checker:
    def __init__(self, root):
        self.root = root
        self.layers = read_layers(root)
        self.owner = {h: l.name for l in self.layers.values() for h in l.lists["HEADERS"]}
        self.faults = []
        self.checked = 0

    def fault(self, path, number, text):
        self.faults.append(f"{path.relative_to(self.root)}:{number}: {text}")

    def owner_of(self, header):
        if header in self.owner:
            return self.owner[header]
        folder = header.rpartition("/")[0]
        return next((l.name for l in self.layers.values() if l.folder == folder), None)

    def check_layer(self, layer):
        allowed = reachable(self.layers, layer.name)
        foreign = set(layer.lists["THIRD_PARTY"] + layer.lists["SHOWS"]) | {"Boost::boost"}
        files = [self.root / "include" / h for h in layer.lists["HEADERS"]]
        files += sorted(f for f in (self.root / "src" / layer.folder).iterdir() if f.suffix in (".hpp", ".cpp"))
        for path in files:
            public = path.is_relative_to(self.root / "include")
            self.checked += 1
            for number, quote, header in includes(path):
                target = foreign_target(header)
                if target and target not in ({"Boost::boost"} if public else foreign):
                    self.fault(path, number, f"{layer.name} may not see {header}")
                if quote == '"':
                    self.check_own(path, number, header, allowed, public)

    def check_own(self, path, number, header, allowed, public):
        owner = self.owner_of(header)
        if owner is None:
            self.fault(path, number, f"{header} belongs to no layer")
        elif owner not in allowed:
            self.fault(path, number, f"{header} belongs to {owner}, which does not stand below")
        elif public and header not in self.owner:
            self.fault(path, number, f"a public header includes {header}, which is not public")

    def check_tool(self):
        for path in sorted((self.root / "tool").rglob("*.[ch]pp")):
            self.checked += 1
            for number, quote, header in includes(path):
                target = foreign_target(header)
                if target in TOOL_ONLY_IN and path.name != TOOL_ONLY_IN[target]:
                    self.fault(path, number, f"{header} is included in {TOOL_ONLY_IN[target]} alone")
                if target and target != "Boost::boost" and target not in TOOL_ONLY_IN:
                    self.fault(path, number, f"the tool may not see {header}")
                if quote == '"' and header not in self.owner and not (self.root / "tool" / header).exists():
                    self.fault(path, number, f"{header} is neither a public header nor the tool's own")

    def check_nothing_forgotten(self):
        known = {self.root / "include" / h for h in self.owner}
        for path in sorted((self.root / "include").rglob("*.hpp")):
            if path not in known:
                self.faults.append(f"{path.relative_to(self.root)}: no layer lists this public header")
        folders = {self.root / "src" / l.folder for l in self.layers.values()}
        for path in sorted((self.root / "src").rglob("*.[ch]pp")):
            if path.parent not in folders:
                self.faults.append(f"{path.relative_to(self.root)}: its folder is no layer")


def main():
    checker = Checker(Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve())
    for layer in checker.layers.values():
        checker.check_layer(layer)
    checker.check_tool()
    checker.check_nothing_forgotten()
    print("\n".join(checker.faults) or f"{checker.checked} files in {len(checker.layers)} layers: all look downward")
    return 1 if checker.faults or not checker.checked else 0


if __name__ == "__main__":
    sys.exit(main())
