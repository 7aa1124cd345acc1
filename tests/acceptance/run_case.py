#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs one acceptance case of ztpkg: run_case.py ZTPKG CASE

A case is a text file, read line by line:
  # text       a comment
  needs WORD   skips the case unless WORD holds: "user" (not root), "root", "tmpfs" (small disks can be mounted), or
               the name of a program
  > COMMAND    preparation: a shell command that must succeed; its output does not matter
  $ COMMAND    a step: a shell command whose outputs and exit code are compared with what follows it
  + TEXT       another line of the command before it
  1| TEXT      a line of its standard output, to the letter
  2| TEXT      a line of its standard error, to the letter
  1~ REGEX     a line of its standard output that the whole regular expression matches; 2~ the same for
               standard error
  ? CODE       its exit code, 0 where there is no such line
What is not listed must not be printed. Commands run by sh, in one fresh directory, one after the other, with
"ztpkg" and "make-package" (make_package.py beside this file) as commands.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

SKIPPED = 77
LONGEST = 100


class Step:
    def __init__(self, line, command, prepares):
        self.line, self.command, self.prepares = line, command, prepares
        self.expected = {"1": [], "2": []}
        self.code = 0


def parse(text):
    needs, steps = [], []
    for number, line in enumerate(text.splitlines(), 1):
        mark, rest = line[:2], line[2:].removeprefix(" ")
        if line.startswith("needs "):
            needs.append(line.split()[1])
        elif mark in ("> ", "$ "):
            steps.append(Step(number, line[2:], mark == "> "))
        elif line.startswith("+"):
            steps[-1].command += "\n" + line[2:]
        elif mark in ("1|", "2|", "1~", "2~"):
            steps[-1].expected[mark[0]].append((mark[1], rest))
        elif mark == "? ":
            steps[-1].code = int(rest)
        elif line and not line.startswith("#"):
            sys.exit(f"line {number} is none of a case: {line}")
    return needs, steps


def is_there(need):
    if need == "user":
        return os.geteuid() != 0
    if need == "root":
        return os.geteuid() == 0
    if need == "tmpfs":
        command = ["unshare", "-m", "mount", "-t", "tmpfs", "-o", "size=1m", "none", tempfile.gettempdir()]
        return shutil.which("unshare") and subprocess.run(command, capture_output=True, check=False).returncode == 0
    return shutil.which(need) is not None


def matches(kind, expected, line):
    return re.fullmatch(expected, line) is not None if kind == "~" else expected == line


def compare(name, expected, output):
    lines = output.decode("utf-8", "backslashreplace").split("\n")
    if lines[-1] == "":
        lines.pop()
    if len(lines) == len(expected) and all(matches(k, e, l) for (k, e), l in zip(expected, lines)):
        return ""
    wanted = "".join(f"  {kind} {text}\n" for kind, text in expected) or "  nothing\n"
    found = "".join(f"    {line}\n" for line in lines) or "  nothing\n"
    return f"{name} should be\n{wanted}and was\n{found}"


def run(step, environment, directory):
    done = subprocess.Popen(["sh", "-c", step.command], cwd=directory, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
    try:
        output, errors = done.communicate(timeout=LONGEST)
    except subprocess.TimeoutExpired:
        os.killpg(done.pid, signal.SIGKILL)  # with what it has put into the background
        return f"took more than {LONGEST} seconds\n"
    if step.prepares:
        return "" if done.returncode == 0 else f"preparation failed: {errors.decode('utf-8', 'backslashreplace')}"
    fault = compare("standard output", step.expected["1"], output)
    fault += compare("standard error", step.expected["2"], errors)
    if done.returncode != step.code:
        fault += f"exit code should be {step.code} and was {done.returncode}\n"
    return fault


def command_directory(tool, place):
    """A directory for PATH that holds the commands of the cases."""
    place.mkdir()
    (place / "ztpkg").symlink_to(pathlib.Path(tool).resolve())
    (place / "python3").symlink_to(sys.executable)  # no wrapper of it, which may take longer than the script
    script = pathlib.Path(__file__).resolve().parent / "make_package.py"
    maker = place / "make-package"
    maker.write_text(f'#!/bin/sh\nexec "{sys.executable}" "{script}" "$@"\n')
    maker.chmod(0o755)
    return place


def main():
    tool, case = sys.argv[1:]
    needs, steps = parse(pathlib.Path(case).read_text(encoding="utf-8"))
    missing = [need for need in needs if not is_there(need)]
    if missing:
        print("skipped: needs", ", ".join(missing))
        return SKIPPED
    os.umask(0o022)
    with tempfile.TemporaryDirectory(prefix="ztpkg-case-") as name:
        place = pathlib.Path(name).resolve()
        commands = command_directory(tool, place / "bin")
        (place / "work").mkdir()
        environment = dict(os.environ, LC_ALL="C.UTF-8", TZ="Asia/Kathmandu",
                           PATH=f"{commands}{os.pathsep}{os.environ['PATH']}")
        for step in steps:
            fault = run(step, environment, place / "work")
            if fault:
                print(f"{case}:{step.line}: {step.command}\n{fault}")
                return 1
    return 0


sys.exit(main())
