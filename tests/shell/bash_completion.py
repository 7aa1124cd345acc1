#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Asks the bash completion what it offers: bash_completion.py ZTPKG SHARE"""
import pathlib
import re
import subprocess
import sys

import support

PACKAGE = pathlib.Path("/usr/share/bash-completion/bash_completion")

# compopt works only while bash completes; here it tells what it was asked for.
ASK = r"""
compopt() { printf 'compopt %s\n' "$*"; }
line=$1
shift
COMP_LINE=$line COMP_POINT=${#line} COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
_ztpkg ztpkg "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
[[ ${#COMPREPLY[@]} -eq 0 ]] || printf '%s\n' "${COMPREPLY[@]}"
"""
NAMES = ["compopt -o filenames", "compopt -o nospace"]

# What is typed, and what is offered.
CASES = [
    ("ztpkg un", ["unpack"]),
    ("ztpkg no-command ", []),
    ("ztpkg --v", ["--version"]),
    ("ztpkg pack --le", ["--level"]),
    ("ztpkg pack --level ", ["default", "fast", "small"]),
    ("ztpkg pack --level s", ["small"]),
    ("ztpkg pack --level=", ["default", "fast", "small"]),
    ("ztpkg pack --level=f", ["fast"]),
    ("ztpkg pack -qfl ", ["default", "fast", "small"]),
    ("ztpkg pack -qfx '*.l' ", ["compopt -o dirnames"]),
    ("ztpkg pack -lfast ", ["compopt -o dirnames"]),
    ("ztpkg pack -l ", ["default", "fast", "small"]),
    ("ztpkg pack --title ", []),
    ("ztpkg pack ", ["compopt -o dirnames"]),
    ("ztpkg pack -f --level=fast --title t tree ", ["compopt -o default"]),
    ("ztpkg pack tree p.ztp ", []),
    ("ztpkg list ", ["compopt -o default"]),
    ("ztpkg ls --j", ["--json"]),
    ("ztpkg add p.ztp tree ", ["compopt -o default"]),
    ("ztpkg unpack p.ztp ", ["compopt -o dirnames"]),
    ("ztpkg unpack p.ztp out /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg unpack p.ztp out /plain.txt /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg add p.ztp --to /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg add --to /e", []),
    ("ztpkg cat -- -", ["compopt -o default"]),
    ("ztpkg cat p.ztp /w", [*NAMES, "/with space/"]),
    ("ztpkg cat p.ztp w", [*NAMES, "with space/"]),
    (r"ztpkg cat p.ztp /with\ space/a", ["compopt -o filenames", "/with space/a file.txt"]),
    ('ztpkg cat p.ztp "/wi', ["compopt -o filenames", "/with space", "/with space/a file.txt", "/with space/deep",
                              "/with space/deep/q"]),
    ('ztpkg cat p.ztp "/with space/a', ["compopt -o filenames", "/with space/a file.txt"]),
    ("ztpkg cat p.ztp '/with space/a", ["compopt -o filenames", "/with space/a file.txt"]),
    (r"ztpkg cat p.ztp /with\ space/d", [*NAMES, "/with space/deep/"]),
    (r"ztpkg cat a\ package.ztp /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg cat 'a package.ztp' /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg cat ~/work/p.ztp /e", ["compopt -o filenames", "/empty"]),
    ("ztpkg cat p.ztp /plain:c", ["compopt -o filenames", "colon"]),
    ("ztpkg cat p.ztp /x", ["compopt -o filenames"]),
    ("ztpkg cat p.ztp /it", ["compopt -o filenames"]),
    ("ztpkg cat p.ztp /no-such", ["compopt -o filenames"]),
    ("ztpkg cat no-such.ztp /", ["compopt -o filenames"]),
    ("ztpkg cat tree /", ["compopt -o filenames"]),
    ("ztpkg props ", ["get", "set"]),
    ("ztpkg props set p.ztp ti", ["compopt -o nospace", "title="]),
    ("ztpkg props set p.ztp title=", []),
    ("ztpkg props set p.ztp title=x su", ["compopt -o nospace", "subject="]),
]


def words_of(line):
    """As bash cuts a line: at blanks, and at = and :, which are words too."""
    pattern = r"""(?:\\.|"[^"]*"?|'[^']*'?|[^\s=:"'\\])+|[=:]+"""
    words = re.findall(pattern, line)
    return words + [""] if line.endswith(" ") else words


def ask(script, line, work, environment):
    command = ["bash", "--norc", "-c", f'source "$0"\n{ASK}', script, line, *words_of(line)]
    done = subprocess.run(command, cwd=work, env=environment, capture_output=True, text=True, check=False)
    lines = done.stdout.splitlines()
    offered = [text for text in lines if not text.startswith("compopt ")]
    return sorted(set(lines) - set(offered)) + sorted(offered), done.stderr


def check_terminal(checks, setup, work, environment):
    """What readline makes of it: names with blanks arrive at the tool whole."""
    terminal = support.Terminal(["bash", "--norc", "--noprofile", "-i"], work, environment)
    try:
        terminal.type(f"PS1='> '; {setup}; echo rea''dy\n")
        checks.equal("bash starts", terminal.wait_for("ready\r\n") is not None, True)
        for keys, printed in (("ztpkg ca\tp.zt\t/wi\ta\t\n", "the spaced one"),
                              ("ztpkg ca\t'a p\tpl\t.\t\n", "the plain one"),
                              ('ztpkg cat p.ztp "/wi\t/a\t\n', "the spaced one"),
                              ("ztpkg pack -qfl sm\ttr\t out/t.ztp && ztpkg cat out/t.ztp plain.txt\n", "the plain one")):
            terminal.type(keys)
            checks.equal(f"typing {keys!r} prints {printed}", terminal.wait_for(printed) is not None, True)
        checks.equal("a name was run", (work / "hostile").exists(), False)
    finally:
        terminal.close()


def main():
    tool, share = sys.argv[1:]
    support.skip_without("bash")
    script = str(pathlib.Path(share) / "bash-completion/completions/ztpkg")
    checks = support.Checks()
    with support.workplace(tool) as (work, environment):
        for line, expected in CASES:
            offered, errors = ask(script, line, work, environment)
            checks.equal(line, (offered, errors), (expected, ""))
        for command, options in support.command_line(tool).items():
            offered, _ = ask(script, " ".join(["ztpkg", *command, "-"]), work, environment)
            checks.equal(f"options of {command}", offered, sorted(options))
            for word in command[-1:]:
                offered, _ = ask(script, " ".join(["ztpkg", *command[:-1], word]), work, environment)
                checks.contains(f"commands of {command[:-1]}", offered, word)
        check_terminal(checks, f"source {script}", work, environment)
        if PACKAGE.exists():  # which loads the file itself, by its name
            with_package = dict(environment, XDG_DATA_DIRS=share)
            check_terminal(checks, f"source {PACKAGE}", work, with_package)
        else:
            print("without the bash-completion package, which is not installed")
    checks.finish()


main()
