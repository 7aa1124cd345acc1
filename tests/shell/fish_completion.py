#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Asks the fish completion what it offers: fish_completion.py ZTPKG SHARE"""
import pathlib
import subprocess
import sys

import support

# What is typed, and what is offered.
CASES = [
    ("ztpkg un", ["unpack"]),
    ("ztpkg no-command ", []),
    ("ztpkg pack --le", ["--level"]),
    ("ztpkg pack --level ", ["default", "fast", "small"]),
    ("ztpkg pack --level=f", ["--level=fast"]),
    ("ztpkg pack -l s", ["small"]),
    ("ztpkg pack --title ", []),
    ("ztpkg pack ", ["out/", "tree/"]),
    ("ztpkg pack -f --level=fast --title t tree p", ["p.ztp"]),
    ("ztpkg pack tree p.ztp ", []),
    ("ztpkg ls p", ["p.ztp"]),
    ("ztpkg add p.ztp tr", ["tree/"]),
    ("ztpkg unpack p.ztp o", ["out/"]),
    ("ztpkg unpack p.ztp out /plain.txt /e", ["/empty"]),
    ("ztpkg add p.ztp --to /e", ["/empty"]),
    ("ztpkg cat p.ztp /with\\ space/a", ["/with space/a file.txt"]),
    ("ztpkg cat p.ztp pl", ["plain.txt", "plain:colon"]),
    ("ztpkg cat 'a package.ztp' /e", ["/empty"]),
    ("ztpkg cat ~/work/p.ztp /e", ["/empty"]),
    ("ztpkg cat no-such.ztp /e", []),
    ("ztpkg props ", ["get", "set"]),
    ("ztpkg props set p.ztp ti", ["title="]),
    ("ztpkg props set p.ztp title=x su", ["subject="]),
]


def ask(script, line, work, environment):
    command = ["fish", "--no-config", "-c", f"source {script}; complete -C $argv[1]", line]
    done = subprocess.run(command, cwd=work, env=environment, capture_output=True, text=True, check=False)
    return sorted(text.split("\t")[0] for text in done.stdout.splitlines()), done.stderr


def main():
    tool, share = sys.argv[1:]
    support.skip_without("fish")
    script = pathlib.Path(share) / "fish/vendor_completions.d/ztpkg.fish"
    checks = support.Checks()
    syntax = subprocess.run(["fish", "--no-execute", script], capture_output=True, text=True, check=False)
    checks.equal("fish --no-execute", (syntax.returncode, syntax.stderr), (0, ""))
    with support.workplace(tool) as (work, environment):
        for line, expected in CASES:
            checks.equal(line, ask(script, line, work, environment), (expected, ""))
        for command, options in support.command_line(tool).items():
            line = " ".join(["ztpkg", *command])
            offered = ask(script, line + " -", work, environment)[0] + ask(script, line + " --", work, environment)[0]
            for option in options:
                checks.contains(f"options of {command}", offered, option)
            for word in command[-1:]:
                checks.contains(f"{command}", ask(script, line, work, environment)[0], word)
    checks.finish()


main()
