# SPDX-License-Identifier: Apache-2.0
"""What the tool and its documentation say of commands and errors, for the tests that walk all of them."""
import pathlib
import re


def commands_of(run, *above):
    """The names of all commands that do something, by the help of the tool; `run` is Forks.run or the like."""
    text = run(*above, "--help").stdout.decode()
    block = re.search(r"^Commands:\n((?:  .*\n)+)", text, re.MULTILINE)
    if not block:
        return [" ".join(above)]
    words = [line.split()[0].rstrip(",") for line in block[1].splitlines() if not line.startswith(" " * 10)]
    return [name for word in words for name in commands_of(run, *above, word)]


def error_codes_of(document):
    """The exit code of each error of the documentation; 128 for a signal."""
    text = pathlib.Path(document).read_text(encoding="utf-8").split("\n## Errors\n")[1].split("\n## ")[0]
    codes = {}
    for names, exit_code in re.findall(r"^\| (`[a-z`, -]+) \| (\d+)(?:\+n)? \|", text, re.MULTILINE):
        codes |= dict.fromkeys(re.findall(r"`([a-z-]+)`", names), int(exit_code))
    return codes
