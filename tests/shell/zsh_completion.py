#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the zsh completion, and types into a zsh: zsh_completion.py ZTPKG SHARE"""
import pathlib
import re
import subprocess
import sys

import support

# What is typed, and what is then printed by the tool that was called.
TYPED = [
    ("ztpkg ca\tp.z\tpl\t.\t\n", "the plain one"),
    ("ztpkg cat p.ztp /wi\t/a\t\n", "the spaced one"),
    ("ztpkg cat a\\ pack\t/wi\t/a\t\n", "the spaced one"),
    ("ztpkg pack -q --lev\tsm\ttr\t out/t.ztp && ztpkg cat out/t.ztp plain.txt\n", "the plain one"),
    ("ztpkg props s\tp.ztp ti\tspring && ztpkg props get p.ztp\n", "title=spring"),
    ("ztpkg cat p.ztp /x\t\n", "the hostile one"),
    ("ztpkg ls --js\tp.ztp\n", '[\r\n{"path"'),
]


def function_of(command, bodies):
    """The function that completes the command, found as zsh finds it: from one to the next."""
    name = "_ztpkg"
    for word in command:
        name = next(function for words, function in re.findall(r"^ +([\w|-]+)\) (_\w+) ;;", bodies[name], re.MULTILINE)
                    if word in words.split("|"))
    return bodies[name]


def check_terminal(checks, functions, work, environment):
    terminal = support.Terminal(["zsh", "-f", "-i"], work, environment)
    try:
        terminal.type(f"PS1='> '; unsetopt zle_bracketed_paste beep; fpath=({functions} $fpath); autoload -U compinit; "
                      "compinit -u -D; echo rea''dy\n")
        checks.equal("zsh starts", terminal.wait_for("ready\r\n") is not None, True)
        for keys, printed in TYPED:
            terminal.type(keys)
            checks.equal(f"typing {keys!r} prints {printed}", terminal.wait_for(printed) is not None, True)
        checks.equal("a name was run", (work / "hostile").exists(), False)
    finally:
        terminal.close()


def main():
    tool, share = sys.argv[1:]
    support.skip_without("zsh")
    functions = pathlib.Path(share) / "zsh/site-functions"
    text = (functions / "_ztpkg").read_text()
    checks = support.Checks()
    syntax = subprocess.run(["zsh", "-n", functions / "_ztpkg"], capture_output=True, text=True, check=False)
    checks.equal("zsh -n", (syntax.returncode, syntax.stderr), (0, ""))
    bodies = dict(re.findall(r"^(_\w+)\(\) \{\n(.*?)^\}\n", text, re.MULTILINE | re.DOTALL))
    for command, options in support.command_line(tool).items():
        body = function_of(command, bodies)
        for option in options:
            checks.equal(f"{command} has {option}", bool(re.search(rf"\){option}=?\[|\*{option}=?\[", body)), True)
        for word in command[-1:]:
            checks.contains(f"{command}", function_of(command[:-1], bodies), f"'{word}:")
    with support.workplace(tool) as (work, environment):
        check_terminal(checks, functions, work, environment)
    checks.finish()


main()
