#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures how finely the sources are cut: files, functions, comments of public headers.

usage: measure_grain.py [REVISION | FOLDER]   a revision of this repository, or a folder that holds a checkout;
                                              the working tree by default

A function counts from the first line of its signature to its closing brace; lambdas count with the function that holds
them. A file-local function stands in an unnamed namespace or is static; it has one call site when its name occurs twice
in the file. The share of comments is that of comment lines in lines that are not blank, without the licence line.
"""
import io
import re
import statistics
import subprocess
import sys
import tarfile
import tempfile
from pathlib import Path

FOLDERS = ("include", "src", "tool", "tests")
PROJECT = Path(__file__).resolve().parent.parent
COMMENT_OR_LITERAL = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'|^[ \t]*#[^\n]*',
    re.DOTALL | re.MULTILINE,
)
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
# What may stand before the brace of a function's body; the rest is a braced initializer.
BODY = re.compile(r"(\)|\b(const|noexcept|override|final|try)|->\s*[\w:<>,&*\s]+)\s*$")


def without_comments(text):
    """The code alone, on the same lines."""
    return COMMENT_OR_LITERAL.sub(lambda match: "\n" * match.group().count("\n"), text)


class Function:
    def __init__(self, signature, first, last, local):
        head = re.sub(r"<[^<>]*>", "", re.sub(r"<[^<>]*>", "", signature))
        name = re.search(r"([\w~]+)\s*\(", head)
        self.name, self.lines, self.local = (name.group(1) if name else "operator"), last - first + 1, local


def kind_of(head, scopes):
    """What a brace opens behind this text: namespace, unnamed, type, function or other."""
    if scopes and scopes[-1][0] in ("function", "other"):
        return "other"
    if re.match(r"(inline )?namespace\b", head):
        return "namespace" if re.search(r"namespace\s+\w", head) else "unnamed"
    if "(" in head and not re.match(r"[^(]*[^=!<>]=[^=]", head) and BODY.search(head):
        return "function"
    if "(" in head and re.search(r"\)\s*(noexcept\s*)?:[^:]", head):  # an initializer in a constructor's list, or its body
        return "function" if re.search(r"[)}]\s*$", head) else "initializer"
    return "type" if re.search(r"\b(class|struct|union|enum)\b", head) and "(" not in head else "other"


def functions_of(text):
    functions, scopes, head, line, first = [], [], "", 1, 1
    for character in without_comments(text):
        if character == "{":
            kind = kind_of(head.strip(), scopes)
            scopes.append((kind, head.strip(), first))
            head = head + "{" if kind == "initializer" else ""
        elif character == "}" and scopes:
            kind, signature, begun = scopes.pop()
            if kind == "function":
                local = (scopes and scopes[-1][0] == "unnamed") or signature.startswith("static ")
                functions.append(Function(signature, begun, line, local))
            head = head + "}" if kind == "initializer" else ""
        elif character == ";" or (character == ":" and re.fullmatch(r"\s*(public|protected|private)", head)):
            head = ""
        else:
            if not head.strip():
                head, first = "", line
            head += character
        line += character == "\n"
    return functions


def read_tree(root):
    paths = (p for folder in FOLDERS for p in (root / folder).rglob("*.[ch]pp"))
    return {p.relative_to(root): p.read_text(encoding="utf-8") for p in sorted(paths)}


def line_count(text):
    return text.count("\n")


def one_user_headers(files):
    """Private headers, and those among them that one file includes beside their own source."""
    own = {p: t for p, t in files.items() if p.parts[0] in ("src", "tool")}
    private = [p for p in own if p.suffix == ".hpp"]
    by_name = {}
    for header in private:
        by_name.setdefault(header.name, []).append(header)
    users = dict.fromkeys(private, 0)
    for path, text in own.items():
        for include in INCLUDE.findall(text):
            for header in by_name.get(Path(include).name, []):
                if str(header).endswith("/" + include) and header.with_suffix("") != path.with_suffix(""):
                    users[header] += 1
    return private, [p for p in private if users[p] == 1]


def comment_share(texts):
    lines = [l.strip() for text in texts for l in text.splitlines() if l.strip() and "SPDX-License" not in l]
    comments = sum(l.startswith(("//", "/*", "*")) for l in lines)
    return 100 * comments / max(1, len(lines))


def percentile(values, share):
    return sorted(values)[int(share * (len(values) - 1))] if values else 0


def report_files(files):
    print("folder    files   lines  under 25   median header / source")
    for folder in FOLDERS:
        own = {p: line_count(t) for p, t in files.items() if p.parts[0] == folder}
        medians = [
            f"{statistics.median([n for p, n in own.items() if p.suffix == suffix] or [0]):.0f}" for suffix in (".hpp", ".cpp")
        ]
        small = sum(n < 25 for n in own.values())
        print(f"{folder:8} {len(own):6} {sum(own.values()):7} {small:9}   {medians[0]:>13} / {medians[1]}")
    private, single = one_user_headers(files)
    print(f"private headers: {len(private)}, with one user beside their own source: {len(single)}")


def report_functions(files):
    functions, local, once = [], 0, 0
    for path, text in files.items():
        if path.parts[0] == "tests":
            continue
        found, code = functions_of(text), without_comments(text)
        functions += [(f.lines, f"{path}: {f.name}") for f in found]
        names = [f.name for f in found if f.local and path.suffix == ".cpp"]
        local += len(names)
        once += sum(len(re.findall(rf"\b{re.escape(name)}\b", code)) == 2 for name in names)
    lengths = [n for n, _ in functions]
    print(f"functions: {len(lengths)}, lines: median {statistics.median(lengths or [0]):.0f}, ", end="")
    print(f"90 % {percentile(lengths, 0.9)}, longest {max(lengths or [0])}, over 60: {sum(n > 60 for n in lengths)}")
    for length, where in sorted(functions, reverse=True):
        if length > 60:
            print(f"  {length:4}  {where}")
    print(f"file-local functions: {local}, with one call site: {once}")


def report(root):
    files = read_tree(root)
    report_files(files)
    report_functions(files)
    share = comment_share([t for p, t in files.items() if p.parts[0] == "include"])
    print(f"comments in public headers: {share:.1f} %")
    print("largest files, tests apart:")
    sizes = sorted(((line_count(t), p) for p, t in files.items() if p.parts[0] != "tests"), reverse=True)
    for lines, path in sizes[:10]:
        print(f"  {lines:4}  {path}")


def main():
    wanted = sys.argv[1] if len(sys.argv) > 1 else str(PROJECT)
    if Path(wanted).is_dir():
        report(Path(wanted))
        return
    archive = subprocess.run(["git", "-C", PROJECT, "archive", wanted, *FOLDERS], check=True, capture_output=True)
    with tempfile.TemporaryDirectory() as folder:
        tarfile.open(fileobj=io.BytesIO(archive.stdout)).extractall(folder)
        report(Path(folder))


if __name__ == "__main__":
    main()
