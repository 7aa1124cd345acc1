#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Does every kind of damage to a good package and holds what `ztpkg verify` lists against it: verify_damage.py FORKS

Each damage is a function that takes the bytes of a good package and returns those of a bad one, with the faults
that must be listed: the code and the item of each, no more and no fewer.
"""
import io
import json
import pathlib
import struct
import sys
import tempfile
import warnings
import zipfile

from forks import Forks

warnings.filterwarnings("ignore", message="Duplicate name")  # which is what one of them is about
BASE = "http://schemas.corvanta.example"
MANIFEST = "metadata/filesystemManifest.xml"
TYPES = "[Content_Types].xml"
RELS = "_rels/.rels"
A, B, SECRET = "fsroot/a.txt", "fsroot/b.bin", "fsroot/c.key"
RELATIONS = "http://schemas.openxmlformats.org/package/2006/relationships"
CORE = RELATIONS + "/metadata/core-properties"
CORE_TYPE = "application/vnd.openxmlformats-package.core-properties+xml"
RELATIONS_TYPE = "application/vnd.openxmlformats-package.relationships+xml"
CASES = []


def entry(name, content, kind="File"):
    return f'<fileEntry name="{name}" type="{kind}" content="{content}"/>'


ENTRIES = [entry("/a.txt", "/" + A), entry("/b.bin", "/" + B), entry("/c.key", "/" + SECRET),
           entry("/d", "", "Folder"), entry("/l", "a.txt", "SymLink")]


def manifest(entries):
    return (f'<fileEntries xmlns="{BASE}/package/2013/filesystemManifest" createdByEncoding="UTF-8" '
            f'createdByPlatform="lxamd64" version="2.0">{"".join(entries)}</fileEntries>')


def relation(number, kind, target):
    return f'<Relationship Id="rId{number}" Type="{kind}" Target="{target}"/>'


def relations(rows):
    return f'<Relationships xmlns="{RELATIONS}">{"".join(rows)}</Relationships>'


RELATION = relation(1, BASE + "/package/2013/relationships/filesystemManifest", "/" + MANIFEST)
OVERRIDE = f'<Override PartName="/{MANIFEST}" ContentType="application/vnd.corvanta.package.filesystemManifest+xml"/>'
SECRET_ROW = f'<Override PartName="/{SECRET}" ContentType="application/octet-stream;encryption=AES256-GCM-InlineIV"/>'
DEFAULTS = [f'<Default Extension="rels" ContentType="{RELATIONS_TYPE}"/>',
            '<Default Extension="txt" ContentType="text/plain"/>',
            '<Default Extension="bin" ContentType="application/octet-stream"/>',
            '<Default Extension="xml" ContentType="application/xml"/>', OVERRIDE, SECRET_ROW]


def types(rows):
    return f'<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">{"".join(rows)}</Types>'


def items(**changes):
    """The good package's items; a change of None takes one out."""
    good = {TYPES: types(DEFAULTS), RELS: relations([RELATION]), A: "alpha " * 50, B: "\x00\x01beta" * 50,
            SECRET: "s" * 40, MANIFEST: manifest(ENTRIES)}
    good.update(changes.pop("more", {}))
    return {name: text for name, text in good.items() if text is not None}


def archive(contents):
    target = io.BytesIO()
    with zipfile.ZipFile(target, "w", zipfile.ZIP_STORED) as out:
        for name, text in contents if isinstance(contents, list) else contents.items():
            info = zipfile.ZipInfo(name)
            info.create_system = 3
            out.writestr(info, text)
    return target.getvalue()


def with_items(more):
    return archive(items(more=more))


GOOD = with_items({})


def starts(data, signature):
    at = data.find(signature)
    while at >= 0:
        yield at
        at = data.find(signature, at + 1)


def places(data, name):
    """Where an item's local header, its data and its directory entry begin."""
    raw = name.encode()
    local = next(at for at in starts(data, b"PK\3\4") if data[at + 30:].startswith(raw))
    central = next(at for at in starts(data, b"PK\1\2") if data[at + 46:].startswith(raw))
    return local, local + 30 + len(raw), central


def flipped(data, at, mask=0x01):
    return data[:at] + bytes([data[at] ^ mask]) + data[at + 1:]


def put(data, at, form, *numbers):
    return data[:at] + struct.pack("<" + form, *numbers) + data[at + struct.calcsize("<" + form):]


def end(data):
    return data.rindex(b"PK\5\6")


def case(*faults):
    def take(make):
        CASES.append((make.__name__.replace("_", " "), make, sorted(faults, key=str)))
        return make
    return take


def item(name):
    return "/" + name


# ---- the container

@case()
def a_good_package():
    return GOOD


@case(("damaged-content", item(A)))
def a_flipped_bit_in_content():
    return flipped(GOOD, places(GOOD, A)[1] + 3)


@case(("damaged-content", item(MANIFEST)))
def a_flipped_bit_in_the_manifest():
    return flipped(GOOD, places(GOOD, MANIFEST)[1] + 30)


@case(("damaged-content", item(RELS)))
def a_flipped_bit_in_relationships():
    return flipped(GOOD, places(GOOD, RELS)[1] + 30)


@case(("damaged-content", item(TYPES)))
def a_flipped_bit_in_content_types():
    return flipped(GOOD, places(GOOD, TYPES)[1] + 30)


@case(("bad-local-header", item(A)), ("damaged-content", item(A)))
def a_flipped_bit_in_the_crc_of_the_directory():
    return flipped(GOOD, places(GOOD, A)[2] + 16)


@case(("damaged-directory", None))
def a_flipped_bit_in_a_signature_of_the_directory():
    return flipped(GOOD, places(GOOD, B)[2] + 1)


@case(("bad-local-header", item("fsroot/q.txt")), ("unreferenced-part", item("fsroot/q.txt")),
      ("missing-part", item("a.txt")))
def a_changed_name_in_the_directory():
    at = places(GOOD, A)[2] + 46
    return GOOD[:at] + b"fsroot/q.txt" + GOOD[at + 12:]


@case(("bad-local-header", item(A)))
def a_changed_name_in_a_local_header():
    at = places(GOOD, A)[0] + 30
    return GOOD[:at] + b"fsroot/q.txt" + GOOD[at + 12:]


@case(("bad-local-header", item(A)))
def no_local_header():
    return flipped(GOOD, places(GOOD, A)[0] + 2)


@case(("bad-local-header", item(A)), ("damaged-content", item(A)), ("gap", item(A)))
def a_smaller_size_in_the_directory():
    at = places(GOOD, A)[2]
    return put(GOOD, at + 20, "II", 290, 290)


@case(("bad-local-header", item(A)), ("damaged-content", item(A)), ("overlap", item(A)))
def a_larger_size_in_the_directory():
    at = places(GOOD, A)[2]
    return put(GOOD, at + 20, "II", 310, 310)


@case(("bad-local-header", item(A)))
def a_wrong_size_in_a_local_header():
    return put(GOOD, places(GOOD, A)[0] + 18, "II", 290, 290)


@case(("damaged-entry", item(A)), ("gap", item(RELS)))
def a_size_beyond_the_file():
    return put(GOOD, places(GOOD, A)[2] + 20, "I", 1 << 30)


@case(("damaged-entry", item(A)), ("gap", item(RELS)))
def an_offset_beyond_the_file():
    return put(GOOD, places(GOOD, A)[2] + 42, "I", 1 << 30)


@case(("damaged-content", item(A)), ("damaged-content", item(B)))
def contents_of_two_parts_swapped():
    a, b = places(GOOD, A)[1], places(GOOD, B)[1]
    return GOOD[:a] + GOOD[b:b + 300] + GOOD[a + 300:b] + GOOD[a:a + 300] + GOOD[b + 300:]


@case(("bad-local-header", item(A)), ("bad-local-header", item(B)), ("damaged-content", item(A)),
      ("damaged-content", item(B)))
def headers_of_two_parts_swapped():
    a, b = places(GOOD, A)[2] + 42, places(GOOD, B)[2] + 42
    changed = put(GOOD, a, "4s", GOOD[b:b + 4])
    return put(changed, b, "4s", GOOD[a:a + 4])


@case(("unreadable-item", item(A)), ("bad-local-header", item(A)))
def an_unknown_method():
    return put(GOOD, places(GOOD, A)[2] + 10, "H", 99)


@case(("unreadable-item", item(A)), ("bad-local-header", item(A)))
def an_encrypted_item():
    return put(GOOD, places(GOOD, A)[2] + 8, "H", 1)


@case(("no-end-record", None))
def a_truncated_tail():
    return GOOD[:end(GOOD)]


@case(("no-end-record", None), ("damaged-content", item(MANIFEST)))
def several_faults_in_a_truncated_package():
    return flipped(GOOD, places(GOOD, MANIFEST)[1] + 30)[:end(GOOD) - 10]


@case(("trailing-data", None))
def data_behind_the_end():
    return GOOD + b"something else"


@case(("damaged-end-record", None))
def a_wrong_count_in_the_end_record():
    return put(GOOD, end(GOOD) + 8, "HH", 3, 3)


@case(("damaged-end-record", None))
def a_wrong_offset_in_the_end_record():
    return put(GOOD, end(GOOD) + 16, "I", 1 << 30)


@case(("damaged-end-record", None))
def an_archive_in_the_comment():
    inner = archive({"x": "y"})
    return put(GOOD, end(GOOD) + 20, "H", len(inner)) + inner


@case(("prefix-bytes", None))
def bytes_in_front():
    return b"#!/bin/false\n" + GOOD


@case(("gap", item(RELS)), ("missing-part", "/a.txt"))
def an_item_that_only_the_file_has():
    start, stop = places(GOOD, A)[2], places(GOOD, B)[2]
    data = GOOD[:start] + GOOD[stop:]
    data = put(data, end(data) + 8, "HH", 5, 5)
    return put(data, end(data) + 12, "I", len(data) - 22 - data.index(b"PK\1\2"))


@case(("names-clash", item(A)))
def an_item_twice():
    return archive(list(items().items()) + [(A, "y")])


@case(("names-clash", item("fsroot/A.TXT")), ("unreferenced-part", item("fsroot/A.TXT")))
def names_that_differ_in_case():
    return with_items({"fsroot/A.TXT": "x"})


@case(("derived-name", item("fsroot/a.txt/x.bin")), ("unreferenced-part", item("fsroot/a.txt/x.bin")))
def a_name_derived_from_another():
    return with_items({"fsroot/a.txt/x.bin": "x"})


# ---- the package

@case(("no-content-types", None))
def no_content_types():
    return with_items({TYPES: None})


@case(("several-content-types", item(TYPES)))
def two_content_types():
    return with_items({TYPES.upper(): types(DEFAULTS)})


@case(("invalid-content-types", item(TYPES)))
def content_types_that_break_the_rules():
    return with_items({TYPES: types(DEFAULTS + DEFAULTS[:1])})


@case(("invalid-content-types", item(TYPES)))
def content_types_that_are_no_xml():
    return with_items({TYPES: "<Types"})


@case(("untyped-item", item("x.unknown")))
def an_item_without_a_type():
    return with_items({"x.unknown": "x"})


@case(("invalid-part-name", item("a b.txt")))
def a_name_that_no_part_may_have():
    return with_items({"a b.txt": "x"})


@case(("invalid-content-type", item("x.odd")))
def a_type_that_is_none():
    return with_items({TYPES: types(DEFAULTS + ['<Default Extension="odd" ContentType="no type"/>']), "x.odd": "x"})


@case(("type-parameters", item("_rels/x.xml.rels")))
def parameters_of_a_type_of_the_package():
    row = f'<Override PartName="/_rels/x.xml.rels" ContentType="{RELATIONS_TYPE};a=b"/>'
    return with_items({TYPES: types(DEFAULTS + [row]), "x.xml": "<x/>", "_rels/x.xml.rels": relations([])})


@case(("relationships-type", item("_rels/x.xml.rels")))
def relationships_of_another_type():
    row = '<Override PartName="/_rels/x.xml.rels" ContentType="application/xml"/>'
    return with_items({TYPES: types(DEFAULTS + [row]), "x.xml": "<x/>", "_rels/x.xml.rels": relations([])})


@case(("relationships-of-relationships", item("_rels/_rels/.rels.rels")))
def relationships_of_relationships():
    return with_items({"_rels/_rels/.rels.rels": relations([])})


@case(("invalid-relationships", item(RELS)))
def two_relationships_of_one_id():
    return with_items({RELS: relations([RELATION, RELATION])})


@case(("missing-target", "/"))
def a_relationship_to_nothing():
    return with_items({RELS: relations([RELATION, relation(2, "http://x/y", "/gone.xml")])})


@case(("backslash-target", "/"), ("missing-target", "/"))
def a_backslash_in_a_target():
    return with_items({RELS: relations([RELATION, relation(2, "http://x/y", "a\\b.xml")])})


@case(("duplicate-piece", item("x.bin/[0].PIECE")))
def a_piece_twice():
    return with_items({"x.bin/[0].piece": "1", "x.bin/[0].PIECE": "2", "x.bin/[1].last.piece": "3"})


@case(("missing-piece", item("x.bin")))
def a_piece_that_is_missing():
    return with_items({"x.bin/[0].piece": "1", "x.bin/[2].last.piece": "3"})


def core(texts):
    row = '<Override PartName="/core%d.xml" ContentType="application/vnd.openxmlformats-package.core-properties+xml"/>'
    more = {f"core{i}.xml": text for i, text in enumerate(texts)}
    more[TYPES] = types(DEFAULTS + [row % i for i in range(len(texts))])
    more[RELS] = relations([RELATION] + [relation(i + 2, CORE, f"/core{i}.xml") for i in range(len(texts))])
    return with_items(more)


NO_PROPERTIES = f'<coreProperties xmlns="{CORE.replace("relationships/", "")}"/>'


@case(("several-core-properties", "/"))
def two_core_properties():
    return core([NO_PROPERTIES, NO_PROPERTIES])


@case(("invalid-core-properties", item("core0.xml")))
def core_properties_that_break_the_rules():
    return core(["<x/>"])


CIPHER = "metadata/ztCipherData.xml"
# Parts of ztpkg's own besides the manifests: their names, content types, and what leads to them.
OWN_PARTS = [
    ("metadata/ztcoreProperties.xml", "coreProperties", "2012/relationships/coreProperties"),
    ("metadata/ztcorePropertiesExtension.xml", "corePropertiesExtension",
     "2014/relationships/corePropertiesExtension"),
    ("metadata/ztcorePropertiesReleaseInfo.xml", "corePropertiesReleaseInfo",
     "2019/relationships/corePropertiesReleaseInfo"),
    (CIPHER, "cipherData", "2018/relationships/cipherData")]


def type_row(name, kind):
    return f'<Override PartName="/{name}" ContentType="{kind}"/>'


OWN_TYPES = [type_row(name, f"application/vnd.corvanta.package.{kind}+xml") for name, kind, _ in OWN_PARTS]


@case()
def core_properties_whose_relationship_writes_them_in_another_case():
    return with_items({RELS: relations([RELATION, relation(2, CORE, "/CORE.xml")]), "core.xml": NO_PROPERTIES,
                       TYPES: types(DEFAULTS + [type_row("core.xml", CORE_TYPE)])})


@case(("invalid-cipher-data", item(CIPHER)))
def cipher_data_whose_relationship_writes_it_in_another_case():
    target = relation(2, f"{BASE}/package/2018/relationships/cipherData", "/metadata/ztcipherdata.xml")
    return with_items({RELS: relations([RELATION, target]), CIPHER: "<x/>", TYPES: types(DEFAULTS + OWN_TYPES[3:])})


@case(*[("orphaned-part", item(name)) for name, _, _ in OWN_PARTS], ("orphaned-part", item("docProps/core.xml")))
def parts_of_our_own_to_which_nothing_leads():
    orphans = {name: "<x/>" for name, _, _ in OWN_PARTS}
    return with_items({**orphans, "docProps/core.xml": NO_PROPERTIES,
                       TYPES: types(DEFAULTS + OWN_TYPES + [type_row("docProps/core.xml", CORE_TYPE)])})


@case(("orphaned-part", item(MANIFEST)))
def a_manifest_to_which_nothing_leads():
    return with_items({RELS: relations([])})


@case()
def parts_of_others_under_our_names():
    return with_items({name: "<x/>" for name, _, _ in OWN_PARTS})


@case(("orphaned-part", item("metadata/ZTcoreProperties.xml")))
def a_part_to_which_another_kind_of_relationship_leads():
    name = "metadata/ZTcoreProperties.xml"
    other = relation(2, BASE + "/package/2014/relationships/other", "/" + name)
    return with_items({RELS: relations([RELATION, other]), name: "<x/>", TYPES: types(DEFAULTS + OWN_TYPES[:1])})


@case()
def core_properties_to_which_another_kind_of_relationship_leads():
    other = relation(2, BASE + "/package/2014/relationships/other", "/docProps/core.xml")
    return with_items({RELS: relations([RELATION, other]), "docProps/core.xml": NO_PROPERTIES,
                       TYPES: types(DEFAULTS + [type_row("docProps/core.xml", CORE_TYPE)])})


# ---- folders that only attributes mark

def marked(data, name, attributes=0x10):
    """As an MS-DOS program would have written that item."""
    central = places(data, name)[2]
    return put(put(data, central + 5, "B", 0), central + 38, "I", attributes)


@case(("folder-mark", item(RELS)))
def relationships_that_are_marked_as_a_folder():
    return marked(GOOD, RELS)


@case(("folder-mark", item(RELS)), ("invalid-relationships", item(RELS)))
def empty_relationships_that_are_marked_as_a_folder():
    return marked(with_items({RELS: ""}), RELS)


@case(("folder-mark", item(B)))
def a_file_that_is_marked_as_a_volume_label():
    return marked(GOOD, B, 0x08)


@case()
def a_folder_by_its_attributes():
    return marked(with_items({"docs": ""}), "docs")


@case(("names-clash", item("DOCS")), ("untyped-item", item("DOCS")))
def a_folder_in_front_of_a_file_of_its_name():
    return marked(with_items({"docs": "", "DOCS": "x"}), "docs")


@case(("names-clash", item("docs")), ("untyped-item", item("DOCS")))
def a_folder_behind_a_file_of_its_name():
    return marked(with_items({"DOCS": "x", "docs": ""}), "docs")


@case(("names-clash", item("FSROOT/A.TXT")))
def a_folder_of_the_name_of_a_part():
    return marked(with_items({"FSROOT/A.TXT": ""}), "FSROOT/A.TXT")


@case()
def a_folder_twice():
    return archive(list(items().items()) + [("docs/", ""), ("DOCS/", "")])


@case(("missing-piece", item("x.bin")), ("names-clash", item("x.bin")))
def pieces_of_what_is_there_as_a_whole():
    return with_items({"x.bin/[0].piece": "1", "x.bin": "2"})


# ---- the file system

@case(("missing-part", "/../evil"), ("unsafe-path", "/../evil"))
def a_manifest_whose_relationship_writes_it_in_another_case():
    return with_items({RELS: relations([RELATION.replace("/metadata", "/Metadata")]),
                       MANIFEST: manifest(ENTRIES + [entry("/../evil", "")])})


@case(("missing-part", "/b.bin"))
def a_missing_part():
    return with_items({B: None})


@case(("unreferenced-part", item("fsroot/extra.bin")))
def an_extra_part():
    return with_items({"fsroot/extra.bin": "x"})


@case(("foreign-part", item("x.xml")))
def contents_that_are_a_part_elsewhere():
    more = {MANIFEST: manifest(ENTRIES + [entry("/x.xml", "/docs/x.xml")]), "docs/x.xml": "<x/>",
            RELS: relations([RELATION, relation(2, BASE + "/other", "/docs/x.xml")])}
    return with_items(more)


@case()
def contents_elsewhere():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/x.xml", "/docs/x.xml")]), "docs/x.xml": "<x/>"})


@case(("foreign-part", item("a.txt")))
def contents_to_which_a_part_leads():
    return with_items({"docs/x.xml": "<x/>",
                       "docs/_rels/x.xml.rels": relations([relation(1, BASE + "/other", "../fsroot/a.txt")])})


@case(("foreign-part", item("r")))
def contents_that_are_relationships():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/r", "/" + RELS)])})


@case(("foreign-part", item("a.txt")))
def contents_to_which_the_package_leads():
    return with_items({RELS: relations([RELATION, relation(2, BASE + "/other", "/FSROOT/a.txt")])})


@case(("shared-part", "/again"))
def a_part_of_two_files():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/again", "/" + A)])})


@case(("missing-target", "/"))
def a_missing_manifest():
    return with_items({MANIFEST: None})


@case(("manifest-type", item(MANIFEST)))
def a_manifest_of_another_type():
    return with_items({TYPES: types(DEFAULTS[:4] + [SECRET_ROW])})


@case(("several-manifests", item(MANIFEST)))
def two_manifests():
    other = relation(2, BASE + "/package/2013/relationships/filesystemManifest", "/other.xml")
    return with_items({RELS: relations([RELATION, other]), "other.xml": manifest([])})


@case(("invalid-manifest", item(MANIFEST)))
def a_manifest_that_breaks_off():
    return with_items({MANIFEST: manifest(ENTRIES)[:-5]})


@case(("invalid-manifest", item(MANIFEST)))
def a_manifest_that_is_not_valid():
    return with_items({MANIFEST: manifest(ENTRIES + ["<odd/>"])})


@case(("invalid-entry", "/x"), ("invalid-entry", "/y"))
def entries_with_bad_values():
    return with_items({MANIFEST: manifest(ENTRIES + [
        entry("/x", "", "Folder").replace("/>", ' permissions="755"/>'),
        entry("/y", "", "Folder").replace("/>", ' permissions="7"/>')])})


@case(("duplicate-entry", "/a.txt"))
def an_entry_twice():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/a.txt", "/" + A)])})


@case(("unsafe-path", "/d/../../x"))
def a_path_that_leads_upwards():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/d/../../x", "y", "SymLink")])})


@case(("unclear-path", "/d//x"), ("unclear-path", "/./x"))
def paths_that_name_no_single_place():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/d//x", "y", "SymLink"), entry("/./x", "y", "SymLink")])})


@case(("below-file", "/a.txt/x"))
def an_entry_below_a_file():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/a.txt/x", "y", "SymLink")])})


@case(("below-link", "/l/x"), ("below-link", "/l/y"))
def entries_below_a_link():
    return with_items({MANIFEST: manifest(ENTRIES + [entry("/l/x", "y", "SymLink"), entry("/l/y", "y", "SymLink")])})


@case(("bad-link-target", "/empty"), ("bad-link-target", "/long"))
def links_that_no_disk_can_hold():
    links = [entry("/empty", "", "SymLink"), entry("/long", "t" * 4096, "SymLink"), entry("/ok", "t" * 4095, "SymLink")]
    return with_items({MANIFEST: manifest(ENTRIES + links)})


@case(("truncated-encryption", "/c.key"))
def content_too_short_to_be_encrypted():
    return with_items({SECRET: "short"})


@case(("damaged-content", item(B)), ("missing-part", "/gone"), ("prefix-bytes", None), ("trailing-data", None),
      ("unreferenced-part", item("fsroot/extra.bin")), ("untyped-item", item("x.unknown")), ("unsafe-path", "/.."))
def everything_at_once():
    data = with_items({"fsroot/extra.bin": "x", "x.unknown": "x",
                       MANIFEST: manifest(ENTRIES + [entry("/gone", "/fsroot/gone"), entry("/..", "x", "SymLink")])})
    return b"in front" + flipped(data, places(data, B)[1] + 5) + b"behind"


def faults_of(forks, data, directory):
    path = pathlib.Path(directory, "p.ztpkg")
    path.write_bytes(data)
    done = forks.run("verify", "--json", path, timeout=100)
    report = json.loads(done.stdout)
    found = sorted(((fault["code"], fault["item"]) for fault in report["faults"]), key=str)
    sound = report["ok"] == (not found) and done.returncode == (1 if found else 0)
    return found if sound else f"exit code {done.returncode}, ok {report['ok']}"


def main():
    failed = 0
    kinds = {code for _, _, faults in CASES for code, _ in faults}
    with Forks(sys.argv[1]) as forks, tempfile.TemporaryDirectory() as directory:
        for name, make, expected in CASES:
            found = faults_of(forks, make(), directory)
            if found != expected:
                failed += 1
                print(f"{name}: should be\n  {expected}\nand was\n  {found}")
    print(f"{len(CASES)} damages with {len(kinds)} codes, {failed} not as they should be")
    return 1 if failed else 0


sys.exit(main())
