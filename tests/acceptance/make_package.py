#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes a package that holds whatever a case needs, right or wrong: make-package FILE [option...]

Standard input, where --manifest or a form of it is given, is the manifest:
  --entries       it is a list of fileEntry elements; the document round them is added
  --manifest      it is the whole document
  --v1            the manifest is of version 1
  --encrypted     its part is marked as encrypted
  --part NAME=TEXT        a part of type text/plain with these contents (repeatable)
  --secret NAME=TEXT      the same, marked as encrypted
  --no-types      leaves [Content_Types].xml out
"""
import argparse
import sys
import zipfile

BASE = "http://schemas.corvanta.example"
CURRENT = {"namespace": BASE + "/package/2013/filesystemManifest",
           "relation": BASE + "/package/2013/relationships/filesystemManifest",
           "type": "application/vnd.corvanta.package.filesystemManifest+xml",
           "part": "/metadata/filesystemManifest.xml",
           "attributes": 'createdByEncoding="UTF-8" createdByPlatform="lxamd64" version="2.0"'}
VERSION_1 = {"namespace": BASE + "/talbex/compiler/2011/fileManifest",
             "relation": BASE + "/talbex/compiler/2011/relationships/fileManifest",
             "type": "application/vnd.corvanta.talbex.compiler.fileManifest+xml",
             "part": "/metadata/filesystemManifestV1.xml",
             "attributes": 'platform="lxamd64" encoding="UTF-8"'}
MARK = ";encryption=AES256-GCM;iv=inline"


def arguments():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("file")
    for name in ("entries", "manifest", "v1", "encrypted", "no-types"):
        parser.add_argument("--" + name, action="store_true")
    parser.add_argument("--part", action="append", default=[])
    parser.add_argument("--secret", action="append", default=[])
    return parser.parse_args()


def types_of(parts):
    rows = "".join(f'<Override PartName="{name}" ContentType="{kind}"/>' for name, kind, _ in parts)
    return ('<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" '
            f'ContentType="application/vnd.openxmlformats-package.relationships+xml"/>{rows}</Types>')


def main():
    wanted = arguments()
    form = VERSION_1 if wanted.v1 else CURRENT
    parts = [(*item.split("=", 1), kind) for kind, items in
             (("text/plain", wanted.part), ("text/plain" + MARK, wanted.secret)) for item in items]
    parts = [(name, kind, text) for name, text, kind in parts]
    relations = ""
    if wanted.entries or wanted.manifest:
        text = sys.stdin.read()
        if wanted.entries:
            text = f'<fileEntries xmlns="{form["namespace"]}" {form["attributes"]}>{text}</fileEntries>'
        parts.append((form["part"], form["type"] + (MARK if wanted.encrypted else ""), text))
        relations = f'<Relationship Id="rId1" Type="{form["relation"]}" Target="{form["part"]}"/>'
    with zipfile.ZipFile(wanted.file, "w", zipfile.ZIP_DEFLATED) as archive:
        if not wanted.no_types:
            archive.writestr("[Content_Types].xml", types_of(parts))
        archive.writestr("_rels/.rels", '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/'
                         f'relationships">{relations}</Relationships>')
        for name, _, text in parts:
            archive.writestr(name.lstrip("/"), text)


main()
