#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Finds options that nothing tries: option_cases.py ZTPKG

Every option that `ztpkg COMMAND --help` tells of must stand, by one of its names, on a command line of that command in
a case of cases/, or in a list or call of a script in this directory.
"""
import ast
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ENDS = tuple(";|&()\n")  # of a command line of the shell
WORD_OR_END = re.compile(r"""(?:'[^']*'|"(?:\\.|[^"\\])*"|\\.|[^\s;|&()'"])+|[;|&()\n]""")
FEWEST = 80  # options; should --help look otherwise one day, this script must learn to read it anew


def help_of(tool, command):
    return subprocess.run([tool, *command, "--help"], check=True, capture_output=True, text=True).stdout


def rows(text, heading):
    """The first columns of the lines below a heading."""
    block = re.search(rf"^{heading}:\n((?:  .*\n)+)", text, re.MULTILINE)
    return [line.strip() for line in block[1].splitlines() if not line.startswith(" " * 10)] if block else []


def all_options(tool, command=()):
    """For every command its names, and for each of its options the names of that."""
    text = help_of(tool, command)
    groups = [name for name in re.findall(r"^(\w+):$", text, re.MULTILINE) if name not in ("Commands", "Arguments", "Names")]
    for group in groups:
        for row in rows(text, group):
            names = re.findall(r"(?<!\S)--?[a-z0-9][a-z0-9-]*", row.split("  ")[0], re.IGNORECASE)
            if names and "--help" not in names:
                yield command, names
    for row in rows(text, "Commands"):
        yield from all_options(tool, (*command, row.split("  ")[0].split(", ")[0]))


def steps_of(case):
    """The command of every step, with the lines that continue it."""
    return re.findall(r"^[$>] (.*(?:\n\+ .*)*)", case, re.MULTILINE)


def case_lines():
    """The words of every command line of ztpkg in the cases."""
    for path in sorted((HERE / "cases").glob("*.case")):
        for step in steps_of(path.read_text()):
            line = []
            for word in [*WORD_OR_END.findall(step.replace("\n+ ", "\n")), ";"]:
                if word not in ENDS:
                    line.append(word.replace("'", "").replace('"', ""))
                    continue
                if "ztpkg" in line:
                    yield line[line.index("ztpkg") + 1:]
                line = []


def script_lines():
    """The texts of every list and call in the scripts."""
    for path in sorted(HERE.glob("*.py")):
        for node in ast.walk(ast.parse(path.read_text())):
            if isinstance(node, (ast.List, ast.Tuple, ast.Call)):
                yield [one.value for one in ast.walk(node) if isinstance(one, ast.Constant) and isinstance(one.value, str)]


def has_option(words, names):
    """Also one with its value ("--level=fast", "-lfast"), and a letter among others ("-qf")."""
    for word in words:
        for name in names:
            if word == name or word.startswith(name + "="):
                return True
            if len(name) == 2 and re.match(rf"-[A-Za-z]*{name[1]}", word):
                return True
    return False


def main():
    tool, failed, count = sys.argv[1], 0, 0
    aliases = {"remove": ("rm",), "move": ("mv",), "list": ("ls",)}
    lines = [*case_lines(), *script_lines()]
    for command, names in all_options(tool):
        count += 1
        firsts = {command[0], *aliases.get(command[0], ())} if command else set()
        tried = [line for line in lines if not command or (firsts & set(line) and set(command[1:]) <= set(line))]
        if not any(has_option(line, names) for line in tried):
            failed += 1
            print(f"no case tries ztpkg {' '.join(command)} {', '.join(names)}")
    print(f"{count} options, {failed} of them untried")
    return 1 if failed or count < FEWEST else 0


sys.exit(main())
