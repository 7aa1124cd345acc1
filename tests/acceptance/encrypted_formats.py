#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads a package of each kind by docs/formats.md alone: with hashlib, hmac, zlib, zipfile and the cryptography module,
and nothing of the library. usage: encrypted_formats.py ZTPKG"""
import base64
import hashlib
import hmac
import os
import random
import stat
import subprocess
import sys
import tempfile
import unicodedata
import urllib.parse
import xml.etree.ElementTree as xml
import zipfile
import zlib
from pathlib import Path

try:
    from cryptography.hazmat.primitives.ciphers.aead import AESGCM
except ImportError:
    print("no module cryptography")
    sys.exit(77)

BASE = "http://schemas.corvanta.example"
MANIFEST = BASE + "/package/2013/relationships/filesystemManifest"
PASSWORD = "caf\u00e9 \u00a0 au lait"
EARLIER = "cafe\u0301 au lait"  # decomposed


def expand(root, info):
    return hmac.new(root, info + b"\x01", hashlib.sha256).digest()


def key_of_password(entry, password):
    """The key by a cipher entry, whose hash must be right."""
    name = f"{{{BASE}/package/2018/cipherData}}"
    text = {tag: entry.find(name + tag).text for tag in ("Hash", "Salt", "IV")}
    normal = "".join(" " if unicodedata.category(c) == "Zs" else c for c in unicodedata.normalize("NFC", password))
    salt = text["Salt"].encode() + base64.b64decode(text["IV"])
    if text["Salt"].startswith("$scrypt$"):
        cost = dict(pair.split("=") for pair in text["Salt"].split("$")[2].split(","))
        root = hashlib.scrypt(normal.encode(), salt=salt, n=2 ** int(cost["ln"]), r=int(cost["r"]), p=int(cost["p"]),
                              maxmem=2 ** 30, dklen=32)
    else:
        root = hashlib.pbkdf2_hmac("sha256", password.encode(), salt, 600_000, 32)
    if base64.b64encode(expand(root, b"ztservices cipher data: verifier")).decode() != text["Hash"]:
        sys.exit("the hash of the password is another one")
    return expand(root, b"ztservices cipher data: key")


def content_types(package):
    types = {}
    space = "{http://schemas.openxmlformats.org/package/2006/content-types}"
    root = xml.fromstring(package.read("[Content_Types].xml"))
    defaults = {d.get("Extension").lower(): d.get("ContentType") for d in root.iter(space + "Default")}
    for name in package.namelist():
        types["/" + name] = defaults.get(name.rpartition(".")[2].lower())
    types.update({o.get("PartName"): o.get("ContentType") for o in root.iter(space + "Override")})
    return types


def decrypted(stored, content_type, key):
    parameters = dict(part.strip().split("=", 1) for part in content_type.split(";")[1:])
    if "encryption" not in parameters:
        return stored
    if parameters.get("iv") != "inline":
        sys.exit(f"an unknown mark: {content_type}")
    content = AESGCM(key).decrypt(stored[:16], stored[16:], None)
    if parameters["encryption"] == "AES256-GCM":
        return content
    if parameters["encryption"] != "AES256-GCM-DEFLATE":
        sys.exit(f"an unknown mark: {content_type}")
    inflater = zlib.decompressobj(-15)
    content = inflater.decompress(content)
    if not inflater.eof or inflater.unused_data:
        sys.exit("not a whole deflate stream")
    return content


def name_of(path, key):
    encoded = urllib.parse.quote(path, safe="/+@")
    return hmac.new(key, encoded.encode("utf-16-le"), hashlib.sha256).hexdigest()


def target_of(package, relationship_type):
    space = "{http://schemas.openxmlformats.org/package/2006/relationships}"
    for one in xml.fromstring(package.read("_rels/.rels")).iter(space + "Relationship"):
        if one.get("Type") == relationship_type:
            return "/" + one.get("Target").lstrip("/")
    return None


def read(path, key=None, password=None):
    """All files by path: content and permissions; links by path: target; and the marks that were met."""
    with zipfile.ZipFile(path) as package:
        types = content_types(package)
        if password is not None:
            data = package.read(target_of(package, BASE + "/package/2018/relationships/cipherData")[1:])
            key = key_of_password(xml.fromstring(data)[0], password)
        manifest = target_of(package, MANIFEST)
        marks = set()

        def content(part):
            marks.add(types[part].partition("encryption=")[2].split(";")[0])
            return decrypted(package.read(part[1:]), types[part], key)

        files, links = {}, {}
        for entry in xml.fromstring(content(manifest)):
            where, part = entry.get("name"), entry.get("content")
            if entry.get("type") == "SymLink":
                links[where] = part
            elif entry.get("type") == "File":
                if not part and "encryption=AES256-GCM-DEFLATE" in types[manifest]:
                    part = "/fsroot/" + name_of(where, key)
                files[where] = (content(part), int(entry.get("permissions"), 8))
                is_deflated = "encryption=AES256-GCM-DEFLATE" in types[part]
                if (entry.text or "").strip() != (f"DEFLATE {len(files[where][0])}" if is_deflated else ""):
                    sys.exit(f"{where}: the text of its entry is {entry.text}")
                if key is not None:
                    if not part.startswith("/fsroot/" + name_of(where, key)):
                        sys.exit(f"{where}: the name of its part does not follow from the key")
    return files, links, marks


def make_tree(tree):
    (tree / "folder").mkdir(parents=True)
    (tree / "folder/long").write_bytes(random.Random(18).randbytes(2_500_000))
    (tree / "folder/shrinks.txt").write_text("a line of text\n" * 300_000)
    (tree / "long zeros").write_bytes(bytes(9_000_000))
    (tree / "empty").touch()
    (tree / "gr\u00fc\u00dfe").write_text("text")
    os.symlink("folder/long", tree / "link")
    for file in tree.rglob("*"):
        if not file.is_symlink() and file.is_file():
            file.chmod(0o640)


def pack_as_earlier(ztpkg, package):
    """A package whose password is derived as that of packages before scrypt, and was not normalized."""
    salt, iv = os.urandom(16).hex(), os.urandom(16)
    root = hashlib.pbkdf2_hmac("sha256", EARLIER.encode(), salt.encode() + iv, 600_000, 32)
    Path("derived").write_bytes(expand(root, b"ztservices cipher data: key"))
    verifier = base64.b64encode(expand(root, b"ztservices cipher data: verifier")).decode()
    Path("entry.xml").write_text(
        f'''<?xml version="1.0" encoding="UTF-8"?>
<CipherData xmlns="{BASE}/package/2018/cipherData"><CipherEntry>
<RelationshipSelector SourceURI="/" SelectorType="ByType" Value="{MANIFEST}"/>
<Hash>{verifier}</Hash><Salt>{salt}</Salt><IV>{base64.b64encode(iv).decode()}</IV></CipherEntry></CipherData>''',
        encoding="ascii")
    for command in (["pack", "-q", "-k", "derived", "tree", package],
                    ["part", "put", package, "/metadata/ztCipherData.xml", "entry.xml", "--type",
                     "application/vnd.corvanta.package.cipherData+xml"],
                    ["rel", "add", package, BASE + "/package/2018/relationships/cipherData",
                     "/metadata/ztCipherData.xml"]):
        subprocess.run([ztpkg, *command], check=True, stdout=subprocess.DEVNULL)
    Path("earlier").write_text(EARLIER + "\n", encoding="utf-8")
    Path("earlier").chmod(stat.S_IRUSR)
    subprocess.run([ztpkg, "verify", "-q", package, "--password-file", "earlier"], check=True)


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        tree = Path("tree")
        make_tree(tree)
        Path("password").write_text(PASSWORD + "\n", encoding="utf-8")
        Path("password").chmod(stat.S_IRUSR)
        files = {f"/{f.relative_to(tree)}": (f.read_bytes(), 0o640)
                 for f in tree.rglob("*") if f.is_file() and not f.is_symlink()}
        subprocess.run([ztpkg, "keygen", "key"], check=True)
        key = bytes.fromhex(Path("key").read_text())
        plain, both = {"AES256-GCM"}, {"AES256-GCM", "AES256-GCM-DEFLATE"}
        kinds = [("plain", [], {}, {""}),
                 ("key", ["-k", "key"], {"key": key}, plain),
                 ("counted", ["-k", "key", "--iv=deterministic", "--iv-prefix=0011223344556677"], {"key": key}, plain),
                 ("compressed", ["-k", "key", "--compress"], {"key": key}, both),
                 ("password", ["--password-file", "password"], {"password": PASSWORD}, plain),
                 ("cheap", ["--password-file", "password", "--password-cost=10", "--compress"],
                  {"password": PASSWORD}, both)]
        for name, options, secret, marks in kinds:
            subprocess.run([ztpkg, "pack", "-q", *options, "tree", name + ".ztp"], check=True)
            if read(name + ".ztp", **secret) != (files, {"/link": "folder/long"}, marks):
                sys.exit(f"{name}: read otherwise than it was packed")
        pack_as_earlier(ztpkg, "earlier.ztp")
        if read("earlier.ztp", password=EARLIER) != (files, {"/link": "folder/long"}, plain):
            sys.exit("the package with an earlier password is read otherwise")
        subprocess.run([ztpkg, "rekey", "-q", "plain.ztp", "--new-key-file", "key", "--compress"], check=True)
        if read("plain.ztp", key=key) != (files, {"/link": "folder/long"}, both):
            sys.exit("the package that was encrypted is read otherwise")
        print(f"{len(kinds) + 2} packages were read by their documentation")


if __name__ == "__main__":
    main()
