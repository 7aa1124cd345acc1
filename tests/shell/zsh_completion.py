#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the zsh completion, and types into a zsh: zsh_completion.py ZTPKG SHARE"""
import pathlib
import shlex
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


# The functions of zsh that show what fits print it here, since they work only while zsh completes.
ASK = r"""
_call_program() { shift; eval "$@" }
_files() { print files }
_directories() { print directories }
_wanted() { print -l "$paths[@]" }
_describe() {
  local word
  for word in "$finished[@]" "$unfinished[@]"; do
    word=${word//\\:/$'\x01'}
    print -r -- "${${word%%:*}//$'\x01'/:}"
  done
}
compset() { return 0 }
place=$1
shift
words=("$@") CURRENT=$# PREFIX=$@[-1]
fpath=($place $fpath)
autoload -U _ztpkg
_ztpkg
"""

# What is typed, and what is offered.
CASES = [
    ("ztpkg un", ["unpack"]),
    ("ztpkg no-command ''", []),
    ("ztpkg pack --level ''", ["default", "fast", "small"]),
    ("ztpkg pack --level=f", ["--level=fast"]),
    ("ztpkg pack -qfl s", ["small"]),
    ("ztpkg pack --title ''", []),
    ("ztpkg pack ''", ["directories"]),
    ("ztpkg pack -f --level=fast --title t tree ''", ["files"]),
    ("ztpkg pack tree p.ztp ''", []),
    ("ztpkg list --key-file=''", ["files"]),
    ("ztpkg unpack p.ztp out /e", ["/empty"]),
    ("ztpkg add p.ztp --to /e", ["/empty"]),
    ("ztpkg cat 'a package.ztp' /e", ["/empty"]),
    ("ztpkg cat '~/work/p.ztp' /e", ["/empty"]),
    ("ztpkg cat no-such.ztp /e", []),
    ("ztpkg props ''", ["get", "set"]),
    ("ztpkg props set p.ztp ti", ["title="]),
]


def ask(functions, words, work, environment):
    """What begins with the last word; quoted as it was typed, which the script undoes."""
    command = ["zsh", "-f", "-c", ASK, "zsh", functions, *map(shlex.quote, words[:-1]), words[-1]]
    done = subprocess.run(command, cwd=work, env=environment, capture_output=True, text=True, check=False)
    kinds = ["files", "directories"]
    return sorted(text for text in done.stdout.splitlines() if text in kinds or text.startswith(words[-1])), done.stderr


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
    checks = support.Checks()
    syntax = subprocess.run(["zsh", "-n", functions / "_ztpkg"], capture_output=True, text=True, check=False)
    checks.equal("zsh -n", (syntax.returncode, syntax.stderr), (0, ""))
    with support.workplace(tool) as (work, environment):
        for line, expected in CASES:
            checks.equal(line, ask(functions, shlex.split(line), work, environment), (expected, ""))
        for command, options in support.command_line(tool).items():
            offered, _ = ask(functions, ["ztpkg", *command, "-"], work, environment)
            checks.equal(f"options of {command}", offered, sorted(options))
            for word in command[-1:]:
                checks.contains(f"{command}", ask(functions, ["ztpkg", *command], work, environment)[0], word)
        check_terminal(checks, functions, work, environment)
    checks.finish()


main()
