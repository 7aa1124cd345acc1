# SPDX-License-Identifier: Apache-2.0
"""What the tests of completions share: the command line as --help tells it, a package to complete in, a terminal."""
import contextlib
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
PATIENCE = 20  # seconds until a terminal that stays silent is a fault


def skip_without(*programs):
    missing = [program for program in programs if not shutil.which(program)]
    if missing:
        print("skipped: there is no", ", ".join(missing))
        sys.exit(SKIPPED)


class Checks:
    """Counts what was held against what."""

    def __init__(self):
        self.done, self.faults = 0, []

    def equal(self, what, found, expected):
        self.done += 1
        if found != expected:
            self.faults.append(f"{what}\n  should be {expected!r}\n  and was   {found!r}")

    def contains(self, what, found, expected):
        self.done += 1
        if expected not in found:
            self.faults.append(f"{what}\n  should have {expected!r}\n  and was     {found!r}")

    def finish(self):
        print("\n".join(self.faults) or f"{self.done} checks")
        sys.exit(1 if self.faults or not self.done else 0)


def command_line(tool, command=()):
    """All commands as tuples of words (aliases too), each with its option names and its purpose."""
    text = subprocess.run([tool, *command, "--help"], capture_output=True, text=True, check=True).stdout
    options = re.findall(r"^ {2,6}(-[^\n]*?)(?: {2,}|\n)", text, re.MULTILINE)
    names = [name for option in options for name in re.findall(r"(?<![\w-])--?\w[\w-]*", option)]
    found = {tuple(command): names}
    listed = re.search(r"\nCommands:\n(.*?)\n\n", text, re.DOTALL)
    for line in re.findall(r"^  (\w[^\n]*?) {2,}", listed.group(1) if listed else "", re.MULTILINE):
        for word in line.split(", "):
            found |= command_line(tool, (*command, word))
    return found


@contextlib.contextmanager
def workplace(tool):
    """A directory with p.ztp and "a package.ztp", which hold the same, and a PATH in which ztpkg is the tool."""
    with tempfile.TemporaryDirectory(prefix="ztpkg-shell-") as name:
        place = pathlib.Path(name).resolve()
        (place / "bin").mkdir()
        (place / "bin/ztpkg").symlink_to(pathlib.Path(tool).resolve())
        work = place / "work"
        for folder in ("tree/with space/deep", "tree/empty", "out"):
            (work / folder).mkdir(parents=True)
        for file, text in (("with space/a file.txt", "the spaced one\n"), ("with space/deep/q", "q\n"),
                           ("plain.txt", "the plain one\n"), ("plain:colon", ":\n"), ("it's $HOME", "h\n"),
                           ("x$(touch hostile)", "the hostile one\n")):
            (work / "tree" / file).write_text(text)
        for package in ("p.ztp", "a package.ztp"):
            subprocess.run([tool, "pack", "-q", work / "tree", work / package], check=True)
        environment = dict(os.environ, LC_ALL="C.UTF-8", HOME=name, TERM="dumb",
                           PATH=f"{place / 'bin'}{os.pathsep}{os.environ['PATH']}")
        yield work, environment


class Terminal:
    """A shell that somebody types into."""

    def __init__(self, command, directory, environment):
        self.pid, self.descriptor = pty.fork()
        if self.pid == 0:
            os.chdir(directory)
            os.execvpe(command[0], command, environment)
        self.seen = ""

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def wait_for(self, text):
        """What was printed up to the text, which is taken from it; None when it never came."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.seen:
            if time.monotonic() > deadline or not select.select([self.descriptor], [], [], PATIENCE)[0]:
                return None
            try:
                self.seen += os.read(self.descriptor, 65536).decode(errors="replace")
            except OSError:
                return None
        before, _, self.seen = self.seen.partition(text)
        return before

    def close(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.descriptor)
