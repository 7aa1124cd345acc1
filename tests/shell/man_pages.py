#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the manual pages: man_pages.py ZTPKG SHARE. Formatters that are not installed are left out."""
import os
import pathlib
import re
import shutil
import subprocess
import sys

import support

SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXAMPLES", "EXIT STATUS", "ENVIRONMENT", "SEE ALSO"]
FORMATTERS = [
    ["mandoc", "-Tlint", "-Wwarning"],
    ["groff", "-ww", "-man", "-Tutf8", "-z"],
    ["man", "--warnings", "-E", "UTF-8", "-Tutf8", "-Z", "-l"],
]


def plain(roff):
    """The text of a page without its fonts and escapes."""
    text = re.sub(r"\\f[BIR]", "", roff)
    for escape, character in ((r"\-", "-"), (r"\(aq", "'"), (r"\(ga", "`"), (r"\(ha", "^"), (r"\(ti", "~"), (r"\e", "\\")):
        text = text.replace(escape, character)
    return text


def check_formats(checks, page):
    for formatter in FORMATTERS:
        if shutil.which(formatter[0]):
            environment = dict(os.environ, LC_ALL="C.UTF-8")
            done = subprocess.run([*formatter, page], env=environment, capture_output=True, text=True, check=False)
            told = done.stderr + (done.stdout if formatter[0] == "mandoc" else "")
            checks.equal(" ".join([*formatter, page.name]), (done.returncode, told), (0, ""))


def check_contents(checks, tool, command, options, page):
    text = plain(page.read_text())
    found = re.findall(r"^\.SH (.*)", text, re.MULTILINE)
    checks.equal(f"sections of {page.name}", [name for name in found if name in SECTIONS], SECTIONS)
    tags = re.findall(r"^\.TP\n(.*)", text, re.MULTILINE)
    names = [word for tag in tags for word in re.split(r",? ", tag)]
    for option in options:
        checks.contains(f"options of {page.name}", names, option)
    usage = subprocess.run([tool, *command, "--help"], capture_output=True, text=True, check=True).stdout
    checks.contains(page.name, text, usage.splitlines()[0].removeprefix("Usage: "))
    checks.contains(page.name, text, usage.splitlines()[-1].strip())


def main():
    tool, share = sys.argv[1:]
    pages = pathlib.Path(share) / "man/man1"
    checks = support.Checks()
    commands = support.command_line(tool)
    expected = sorted("-".join(["ztpkg", *command]) + ".1" for command in commands)
    checks.equal("pages", sorted(page.name for page in pages.iterdir()), expected)
    for command, options in commands.items():
        page = pages / ("-".join(["ztpkg", *command]) + ".1")
        check_contents(checks, tool, command, options, page)
        check_formats(checks, page)
    print("formatters:", ", ".join(formatter[0] for formatter in FORMATTERS if shutil.which(formatter[0])) or "none")
    checks.finish()


main()
