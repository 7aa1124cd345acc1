#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the JSON of every command against the schemas of docs/schemas: json_schemas.py ZTPKG_FORKS SCHEMAS CORPUS

For packages of the tool's own (plain, empty, encrypted, damaged), and for other people's where the corpus
is there; and the words of the fault and error tables in docs/tool.md against those of the schemas.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from forks import Forks

SKIPPED = 77
try:
    import jsonschema
except ImportError:
    print("skipped: no python3-jsonschema")
    sys.exit(SKIPPED)

KINDS = (".docx", ".xlsx", ".3mf", ".nupkg")
COMMANDS = {"list": ["list", "--json"], "info": ["info", "--digest", "--json"], "verify": ["verify", "--json"],
            "props": ["props", "get", "--json"], "parts": ["part", "list", "--json"],
            "relationships": ["rel", "list", "--json"]}
BESIDE = ("cat", "part cat", "pack -")  # their documents are on standard error, since data are on standard output
MAKER = pathlib.Path(__file__).with_name("make_package.py")


def load(folder):
    schemas = {path.name.split(".")[0]: json.loads(path.read_text()) for path in folder.glob("*.schema.json")}
    done = schemas.pop("done")  # one definition for each command
    schemas |= {command: {**definition, "$schema": done["$schema"]} for command, definition in done["$defs"].items()}
    for schema in schemas.values():
        jsonschema.Draft202012Validator.check_schema(schema)
    return {name: jsonschema.Draft202012Validator(schema) for name, schema in schemas.items()}


class Check:
    def __init__(self, forks, schemas):
        self.forks, self.schemas, self.documents, self.failed = forks, schemas, 0, 0

    def document(self, name, text, of):
        self.documents += 1
        try:
            fault = jsonschema.exceptions.best_match(self.schemas[name].iter_errors(json.loads(text)))
        except ValueError as error:
            fault = error
        if fault:
            self.failed += 1
            print(f"{of}: {name}: {str(fault)[:1000]}")

    def command(self, name, arguments):
        done = self.forks.run(*arguments, timeout=100)
        of = " ".join(str(argument) for argument in arguments)
        if name in BESIDE:
            if done.returncode == 0:
                self.document(name.removesuffix(" -"), done.stderr, of)
        elif done.returncode == 0 or done.stdout:
            self.document(name, done.stdout, of)
            if done.returncode == 0 and done.stderr:
                self.document("error", done.stderr, of)  # there is none
        if done.returncode != 0 and not (arguments[0] == "diff" and done.returncode == 1):
            self.document("error", done.stderr, of)
        return done.returncode

    def ends(self, arguments, code):
        """Of any command: what it prints, and how it ends."""
        words = [word for word in arguments[:2] if re.fullmatch("[a-z]+", str(word))]
        name = " ".join(words) if words[:1] and words[0] in ("part", "rel", "props") else arguments[0]
        name = "props" if name == "props get" else name
        found = self.command("pack -" if name == "pack" and "-" in arguments else name, arguments)
        if found != code:
            self.failed += 1
            print(f"{arguments} ended with {found} and not with {code}")

    def package(self, path):
        return {name: self.command(name, arguments + [path]) for name, arguments in COMMANDS.items()}


def own_packages(forks, place):
    def run(*arguments):
        forks.run(*arguments).check_returncode()

    tree = place / "tree"
    (tree / "dir é\n").mkdir(parents=True)
    (tree / "empty").mkdir()
    (tree / "a.txt").write_text("alpha")
    (tree / "dir é\n" / "b.bin").write_bytes(bytes(range(256)))
    (tree / "link").symlink_to("a.txt")
    os.utime(tree / "a.txt", ns=(0, 1_700_000_000_123_456_000))
    run("pack", "-q", tree, place / "plain.ztp", "--title", "T", "--keywords", "k", "--modified",
        "2026-03-01T12:30:00Z")
    (place / "none").mkdir()
    run("pack", "-q", place / "none", place / "empty.ztp")
    run("keygen", place / "key")
    run("keygen", place / "other")
    run("pack", "-q", tree, place / "encrypted.ztp", "--key-file", place / "key")
    (place / "password").write_text("open sesame\n")
    run("pack", "-q", tree, place / "password.ztp", "--password-file", place / "password")
    for arguments in (["secret.ztp", "--entries", "--encrypted", "--secret", "/fsroot/x=y"], ["parts.zip", "--part", "/a=b"]):
        subprocess.run([sys.executable, MAKER, *arguments], cwd=place, check=True, input=b"")
    plain = (place / "plain.ztp").read_bytes()
    (place / "damaged.ztp").write_bytes(plain.replace(b"alpha", b"Alpha"))
    (place / "truncated.ztp").write_bytes(plain[:-10])
    return sorted(place.glob("*.ztp")) + [place / "parts.zip"]


def others(place):
    """Commands that do not suit every package, with the exit code of each."""
    key, other, password = place / "key", place / "other", place / "password"
    for package, secret in (("encrypted.ztp", ["--key-file", key]), ("password.ztp", ["--password-file", password])):
        yield ["list", "--json", place / package, *secret], 0
        yield ["info", "--json", "--digest", place / package, *secret], 0
    for name in ("list", "info"):
        yield [name, "--json", place / "encrypted.ztp", "--key-file", other], 4
        yield [name, "--json", place / "password.ztp", "--password-file", key], 4
        yield [name, "--json", place / "encrypted.ztp", "--key-file", place / "gone"], 3
    yield ["list", "--json", place / "encrypted.ztp"], 4
    yield ["info", "--json", place / "encrypted.ztp"], 0
    yield ["props", "get", "--json", place / "encrypted.ztp"], 0
    yield ["list", "--json", place / "gone"], 3
    yield ["info", "--json"], 2
    yield ["--json"], 2
    yield ["verify", "--json", place], 3
    yield ["diff", "--json", place / "plain.ztp", place / "tree"], 0
    yield ["diff", "--json", place / "plain.ztp", place / "none"], 1
    yield ["diff", "--json", place / "empty.ztp", place / "plain.ztp"], 1
    yield ["diff", "--json", place / "damaged.ztp", place / "gone"], 3
    yield ["update", "--json", "-q", place / "empty.ztp", place / "tree"], 0
    yield ["update", "--json", "-q", place / "empty.ztp", place / "gone"], 3
    yield ["repair", "--json", place / "damaged.ztp", place / "repaired.ztp"], 1
    yield ["repair", "--json", place / "plain.ztp", place / "copied.ztp"], 0
    yield ["repair", "--json", "-v", place / "plain.ztp", place / "copied2.ztp"], 0
    yield ["repair", "--json", place / "plain.ztp", place / "copied.ztp"], 3
    (place / "texts").mkdir()
    (place / "texts" / "é.txt").write_bytes(b"\xE9")
    (place / "texts" / "utf8.txt").write_text("é")
    for options in ([], ["--text-to-utf8"], ["-q", "--text-to-utf8", "--text-charset", "latin1"]):
        yield ["pack", "--json", "--dry-run", place / "texts", place / "new", *options], 0
        yield ["pack", "--json", "--force", place / "texts", place / "texts.zip", *options], 0
        yield ["add", "--json", "--force", place / "plain.ztp", place / "texts", *options], 0
    yield ["pack", "--json", "--text-to-utf8", "--text-unknown=fail", place / "texts", place / "new"], 1
    for options in ([], ["--verbose"]):
        yield ["pack", "--json", "--force", place / "tree", place / "again.ztp", *options], 0
        yield ["update", "--json", place / "again.ztp", place / "texts", *options], 0
        yield ["unpack", "--json", "--force", place / "plain.ztp", place / "out", *options], 0
        yield ["unpack", "--json", place / "plain.ztp", place / "out", *options], 3
        yield ["remove", "--json", place / "again.ztp", "--glob", "*.txt", *options], 0
    yield ["unpack", "--json", place / "damaged.ztp", place / "out2"], 1
    yield ["pack", "--json", place / "tree", "-"], 0
    yield ["pack", "--json", place / "gone", "-"], 3
    yield ["cat", "--json", place / "plain.ztp", "/a.txt"], 0
    yield ["cat", "--json", place / "plain.ztp", "/empty"], 1
    yield ["cat", "--json", place / "damaged.ztp", "/a.txt"], 1
    yield ["move", "--json", place / "again.ztp", "/empty", "/moved"], 0
    yield ["move", "--json", "-v", place / "again.ztp", "/moved", "/again"], 0
    yield ["move", "--json", place / "again.ztp", "/empty", "/moved"], 1
    yield ["keygen", "--json", place / "new"], 0
    yield ["keygen", "--json", place / "new"], 3
    yield ["rekey", "--json", place / "again.ztp", "--new-key-file", place / "new"], 0
    yield ["rekey", "--json", place / "again.ztp", "--new-key-file", place / "new"], 4
    yield ["rekey", "--json", "-v", place / "again.ztp", "-k", place / "new", "--to-plain", "--force"], 0
    yield ["props", "set", place / "plain.ztp", "title=x", "--json"], 0
    yield ["props", "set", place / "plain.ztp", "title=\u00e9", "subject=", "--json", "-v"], 0
    yield ["props", "set", place / "plain.ztp", "uuid=x", "--json"], 2
    parts = place / "parts.zip"
    yield ["part", "cat", "--json", parts, "/a"], 0
    yield ["part", "cat", "--json", parts, "/b"], 1
    yield ["part", "put", "--json", parts, "/b", place / "key", "--type", "text/plain"], 0
    yield ["diff", "--json", parts, place / "plain.ztp", "--parts"], 1
    yield ["rel", "add", "--json", parts, "http://example.com/t", "/b"], 0
    yield ["rel", "add", "--json", "-v", parts, "http://example.com/t", "/b"], 0
    yield ["part", "remove", "--json", parts, "/b"], 0
    yield ["rel", "remove", "--json", parts, "rId1"], 0
    yield ["rel", "remove", "--json", "-v", parts, "rId2"], 0
    yield ["part", "put", "--json", "-v", parts, "/b", place / "key", "--type", "text/plain"], 0
    yield ["part", "remove", "--json", "-v", parts, "/b"], 0
    yield ["explode", "--json", parts, place / "exploded"], 0
    yield ["explode", "--json", parts, place / "exploded"], 3
    yield ["implode", "--json", place / "exploded", place / "imploded.zip"], 0


def words_of_tables(text):
    """The codes of the tables of faults and of errors in the documentation."""
    def codes(heading, following):
        rows = text[text.index(heading):text.index(following)].splitlines()
        return {word for row in rows if row.startswith("| `") for word in re.findall("`([a-z0-9-]+)`", row.split("|")[1])}
    return codes("| code | item |", "## props"), codes("## Errors", "## JSON")


def check_tables(check, documentation):
    faults, errors = words_of_tables(documentation)
    schema = check.schemas["verify"].schema["properties"]["faults"]["items"]["properties"]["code"]["enum"]
    words = check.schemas["error"].schema["properties"]["error"]["properties"]["code"]["enum"]
    if set(schema) != faults or set(words) != errors:
        check.failed += 1
        print("the tables differ from the schemas:", set(schema) ^ faults, set(words) ^ errors)


def main():
    tool, folder, corpus = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    with Forks(tool) as forks, tempfile.TemporaryDirectory() as name:
        check = Check(forks, load(folder))
        check_tables(check, (folder.parent / "tool.md").read_text())
        place = pathlib.Path(name)
        for path in own_packages(forks, place):
            codes = check.package(path)
            if path.name in ("plain.ztp", "empty.ztp") and set(codes.values()) != {0}:
                check.failed += 1
                print(path.name, codes)
        forks.run("explode", "-q", place / "plain.ztp", place / "files").check_returncode()
        check.document("exploded", (place / "files" / "package.json").read_text(), "explode")
        for arguments, code in others(place):
            check.ends(arguments, code)
        foreign = sorted(path for path in (corpus / "opc-good").glob("*") if path.suffix in KINDS)
        for path in foreign:
            check.package(path)
    print(f"{check.documents} documents, {len(foreign)} packages of the corpus, {check.failed} failures")
    return 1 if check.failed else 0


sys.exit(main())
