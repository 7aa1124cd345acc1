#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Brings about each error of the table in the documentation, in JSON: error_codes.py ZTPKG TOOL_MD [FAULTS]

No code without a way to have it, and no way that leads to another one. FAULTS is a library that makes functions of the
system fail; without it (sanitizers do not bear it) the errors that take it are left out.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from tool_tables import error_codes_of

PREPARATION = """
mkdir src empty; echo text > src/a.txt; printf '\\351' > src/u.txt; mkdir src/d; echo b > src/d/b
ztpkg keygen k; ztpkg keygen other; ztpkg pack -q src p.ztp; ztpkg pack -q -k k src e.ztp; ztpkg pack -q empty empty.ztp
printf 'sesame\\n' > pw; ztpkg pack -q --password-file pw src w.ztp
printf text > text; make-package foreign.zip --part /a=b
python3 -c "d=open('p.ztp','rb').read(); open('cut.ztp','wb').write(d[:-20])"
cp p.ztp damaged.ztp
python3 - <<'END'
import zipfile
archive = zipfile.ZipFile("damaged.ztp")
info = archive.getinfo("fsroot/d/b")
data = bytearray(open("damaged.ztp", "rb").read())
data[info.header_offset + 30 + len(info.filename)] ^= 1
open("damaged.ztp", "wb").write(data)
END
echo '<fileEntry name="/gone" content="/fsroot/gone" type="File"/>' | make-package gone.ztp --entries
echo '<fileEntry name="/../up" content="/a" type="File"/>' | make-package unsafe.ztp --entries --part /a=b
echo '<nonsense/>' | make-package nonsense.ztp --manifest
python3 -c "print('<fileEntry name=\\"' + '/d' * 50000 + '\\" type=\\"Folder\\" content=\\"x\\"/>')" | make-package deep.ztp --entries
python3 - <<'END'
import zipfile
with zipfile.ZipFile("w.ztp") as old, zipfile.ZipFile("costly.ztp", "w") as new:
    for name in old.namelist():
        new.writestr(name, old.read(name).replace(b"ln=17,", b"ln=24,"))
END
mkdir bad out links; touch 'bad/a\\b'; ln -s /etc links/l; mkdir -p links2/l; ln -s x link; ztpkg pack -q bad/.. x.ztp -x '*' ; ztpkg pack -q links links.ztp --skip-outside-links
mkdir long; truncate -s 68719476736 long/f; mkdir many; for i in 1 2 3 4 5 6 7 8; do head -c 3000000 /dev/zero > many/$i; done
mkdir withlink; ln -s a withlink/l; ztpkg pack -q withlink withlink.ztp; mkfifo keys; mkdir -p slow; truncate -s 100G slow/big; mkdir changing; truncate -s 200M changing/big
"""

COMMANDS = {
    "invalid-package": "ztpkg list text --json",
    "damaged-part": "ztpkg cat damaged.ztp d/b --json",
    "missing-part": "ztpkg cat gone.ztp /gone --json",
    "invalid-content": "ztpkg list nonsense.ztp --json",
    "no-file-system": "ztpkg list foreign.zip --json",
    "no-such-entry": "ztpkg remove p.ztp none --json",
    "not-a-file": "ztpkg cat p.ztp d --json",
    "unsafe-path": "ztpkg unpack unsafe.ztp out --json",
    "too-deep": "ztpkg list deep.ztp --json",
    "faults-found": "ztpkg verify damaged.ztp --json",
    "repaired-in-part": "ztpkg repair damaged.ztp saved.ztp --json",
    "uuid-is-set": "ztpkg props set p.ztp uuid=11111111-2222-4333-8444-555555555555 --json",
    "incomplete-properties": "ztpkg props set foreign.zip friendly-name=x --json",
    "bad-name": "ztpkg pack bad new.ztp --json",
    "part-name-clash": "ztpkg part put foreign.zip /a/below text -t text/plain --json",
    "invalid-relationship": "ztpkg rel add foreign.zip http://e.com/t /a --id '1 2' --json",
    "too-long": "ztpkg pack -k k long new.ztp --json",
    "bad-text": "ztpkg pack src new.ztp --text-to-utf8 --text-unknown=fail --json",
    "not-encrypted": "ztpkg add -k k p.ztp text --json",
    "outside-link": "ztpkg pack links new.ztp --json",
    "internal-error": "ZT_FAULT=internal LD_PRELOAD=$FAULTS ztpkg keygen new --json",
    "usage": "ztpkg move p.ztp --json",
    "already-exists": "ztpkg keygen k --json",
    "file-in-the-way": "ztpkg move p.ztp d u.txt --json",
    "folder-in-the-way": "ztpkg pack src out --json",
    "link-in-the-way": "ztpkg add withlink.ztp links2/l --json",
    "cannot-read": "ztpkg rekey none --new-key-file k --json",
    "cannot-write": "ztpkg pack src none/p.ztp --json",
    "disk-full": "ztpkg cat p.ztp a.txt --json > /dev/full",
    "file-changed": "ztpkg pack changing new.ztp --json & pid=$!; while kill -0 $pid 2> /dev/null; do touch changing/big; done; wait $pid",
    "io-error": "ZT_FAULT=entropy LD_PRELOAD=$FAULTS ztpkg keygen new --json",
    "out-of-memory": "ZT_FAULT=memory LD_PRELOAD=$FAULTS ztpkg pack many new.ztp --json",
    "package-busy": "ztpkg move --json --retry-lock 0 -k keys e.ztp a.txt c & exec 3> keys; ztpkg rm -q -k k e.ztp d; cat k >&3; "
                    "exec 3>&-; wait $!",
    "key-required": "ztpkg update e.ztp src --json",
    "bad-key": "ztpkg list -k text e.ztp --json",
    "costly-password": "ztpkg list costly.ztp --password-file pw --json",
    "cannot-decrypt": "ztpkg unpack -k other e.ztp out --json",
    "bad-password": "ztpkg list w.ztp --password-file /dev/null --json",
    "interrupted": "ztpkg pack slow new.ztp --json & pid=$!; while [ -e /proc/$pid/exe ] && "
                   "! ls -l /proc/$pid/fd 2> /dev/null | grep -q slow/big; do :; done; kill -TERM $pid; wait $pid",
}
INJECTED = ("internal-error", "io-error", "out-of-memory")


def codes_in(errors):
    """The codes of one JSON document; it must be all that is on standard error."""
    document = json.loads(errors)
    problems = document.get("problems", [document["error"]])
    return [problem["code"] for problem in problems]


def main():
    tool, codes = pathlib.Path(sys.argv[1]).resolve(), error_codes_of(sys.argv[2])
    faults = pathlib.Path(sys.argv[3]).resolve() if len(sys.argv) > 3 else None
    if set(codes) != set(COMMANDS):
        sys.exit(f"the table has other codes than this test: {set(codes) ^ set(COMMANDS)}")
    failed = 0
    with tempfile.TemporaryDirectory() as name:
        place = pathlib.Path(name)
        maker = pathlib.Path(__file__).resolve().with_name("make_package.py")
        (place / "make-package").write_text(f'#!/bin/sh\nexec "{sys.executable}" "{maker}" "$@"\n')
        (place / "make-package").chmod(0o755)
        (place / "ztpkg").symlink_to(tool)
        environment = dict(os.environ, PATH=f"{place}:{os.environ['PATH']}", FAULTS=str(faults))
        (place / "work").mkdir()

        def run(command):
            return subprocess.run(["sh", "-c", command], cwd=place / "work", env=environment, stdin=subprocess.DEVNULL,
                                  capture_output=True, timeout=200, check=False)

        prepared = run("set -e\n" + PREPARATION)
        if prepared.returncode:
            sys.exit(f"preparation failed: {prepared.stderr.decode()}")
        for code, command in COMMANDS.items():
            if code in INJECTED and not faults:
                continue
            done = run(command)
            wanted = 128 + 15 if code == "interrupted" else codes[code]
            try:
                found = codes_in(done.stderr)
            except ValueError:
                found = [done.stderr.decode()]
            if code not in found or done.returncode != wanted:
                failed += 1
                print(f"{code}: {command}\n  ended with {done.returncode} and {found}")
    print(f"{len(COMMANDS)} codes, {failed} failures")
    return 1 if failed else 0


sys.exit(main())
