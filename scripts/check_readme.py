#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks README.md, the other documents of the root, and those of docs/ and fuzz/: check_readme.py [FOLDER-OF-SOURCES]

Links lead to files that exist, and to headings that they have; programs of scripts/ that a document names exist; the
lines of a C++ example stand, word for word, in one of the examples that are compiled. What console examples print is
checked by tests/acceptance/readme_examples.py.
"""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
LINK = re.compile(r"\]\(([^)\s]+)\)")
FENCED = re.compile(r"^```(\w*)\n(.*?)^```", re.MULTILINE | re.DOTALL)


def anchors(document):
    """What the headings of a document are called in links, as Markdown renderers make it."""
    headings = re.findall(r"^#+ (.*)$", FENCED.sub("", document.read_text()), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def link_faults(document, text):
    for link in LINK.findall(text):
        if re.match(r"[a-z]+:", link):
            continue
        path, _, anchor = link.partition("#")
        target = (document.parent / path).resolve() if path else document
        if not target.exists():
            yield f"a link to {link}, which does not exist"
        elif anchor and anchor not in anchors(target):
            yield f"a link to {link}, a heading that does not exist"


def example_faults(text, compiled):
    for language, block in FENCED.findall(text):
        if language == "cpp" and not any(block in source for source in compiled):
            yield f"a C++ example that no program of examples/ has: {block.splitlines()[0]}"


def script_faults(text):
    for name in sorted(set(re.findall(r"(?<![\w/])((?:scripts|\.ci)/[\w.-]*\w)", text))):
        if not (root / name).exists():
            yield f"{name}, which does not exist"


def main():
    compiled = [path.read_text() for path in (root / "examples").glob("*.cpp")]
    documents = [*root.glob("*.md"), *(root / "docs").glob("*.md"), *(root / "fuzz").glob("*.md")]
    faults = []
    for document in documents:
        text = document.read_text()
        plain = FENCED.sub("", text)
        for fault in (*link_faults(document, plain), *example_faults(text, compiled), *script_faults(text)):
            faults.append(f"{document.relative_to(root)} has {fault}")
    if "```cpp\n" not in (root / "README.md").read_text():
        faults.append("README.md has no C++ example")
    print("\n".join(faults) or f"{len(documents)} documents: links, names and examples are right")
    return 1 if faults or not documents else 0


sys.exit(main())
