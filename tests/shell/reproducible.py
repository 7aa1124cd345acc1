#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the manual pages again, elsewhere and later, and compares: reproducible.py GENERATE PAGES VERSION DATE"""
import filecmp
import os
import pathlib
import subprocess
import sys
import tempfile


def files_below(place):
    return sorted(file.relative_to(place) for file in place.rglob("*") if file.is_file())


def main():
    generate, pages, version, date = sys.argv[1:]
    first = pathlib.Path(pages)
    with tempfile.TemporaryDirectory(prefix="ztpkg-share-") as name:
        environment = dict(os.environ, LC_ALL="C", TZ="Asia/Kathmandu", HOME=name)
        subprocess.run([generate, name, version, date], env=environment, cwd=name, check=True)
        names = files_below(first)
        if not names or names != files_below(pathlib.Path(name)):
            sys.exit("other files than those of the build")
        _, different, unread = filecmp.cmpfiles(first, name, names, shallow=False)
        if different or unread:
            sys.exit(f"not the same: {different + unread}")
        print(f"{len(names)} files are the same")


main()
