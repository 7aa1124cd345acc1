#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints a header or document as doxygen understands it: doxygen_filter.py FILE

Headings get the names that links use; names are unique only within one document. In headers a backslash in a comment is no
command, and specialisations of std::hash, which doxygen cannot place, are left out.
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]


def key(document):
    """What distinguishes the headings of a document."""
    path = document.resolve()
    name = path.relative_to(ROOT) if path.is_relative_to(ROOT) else path.name
    return re.sub(r"\W", "-", str(name)).lower()


def name_of(document, heading):
    slug = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
    return f"{key(document)}-{slug}"


def filtered_document(path, text):
    def link(match):
        file, anchor = match.groups()
        target = path.parent / file if file else path
        return f"](#{key(target)}-{anchor})"

    # A second README would be a second main page.
    text = re.sub(r"\[([^\]]*)\]\((?:\.\./)?fuzz/README\.md\)", r"\1", text)
    pieces = re.split(r"(^```.*?^```$)", text, flags=re.MULTILINE | re.DOTALL)
    for i in range(0, len(pieces), 2):
        pieces[i] = re.sub(r"\]\(([\w./-]*\.md)?#([\w-]+)\)", link, pieces[i])
        pieces[i] = re.sub(r"^(#+) (.*)$", lambda m: f"{m[1]} {m[2]} {{#{name_of(path, m[2])}}}", pieces[i],
                           flags=re.MULTILINE)
    return "".join(pieces)


def filtered_header(text):
    text = re.sub(r"^template <>\nstruct std::hash<.*?^\};\n", "", text, flags=re.MULTILINE | re.DOTALL)
    return re.sub(r"^( *//.*)$", lambda m: m[1].replace("\\", "\\\\"), text, flags=re.MULTILINE)


source = Path(sys.argv[1])
content = source.read_text()
print(filtered_document(source, content) if source.suffix == ".md" else filtered_header(content), end="")
