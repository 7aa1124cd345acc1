#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Drives ztpkg through a terminal of its own: the bar, narrow windows, Ctrl-C, colours. usage: terminal.py ZTPKG"""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

LARGE = 400 << 20  # sparse; enough to be met while it is read or written
PAUSE = 1.2  # seconds; the bar is for work that takes over one


class Terminal:
    """A command with a terminal for its output, and what it printed there."""

    def __init__(self, command, columns=80, **environment):
        self.printed = b""
        variables = {"PATH": os.environ["PATH"], "TERM": "xterm", **environment}
        variables.update((k, v) for k, v in os.environ.items() if k.endswith("SAN_OPTIONS"))
        self.process, self.master = pty.fork()
        if self.process == 0:
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.execve(command[0], command, variables)

    def pause(self, folder):
        """Makes the work last, from when the large file is at hand, on however fast a machine."""
        while not any(folder in target and "little" not in target for target in self.open_files()):
            check(os.waitpid(self.process, os.WNOHANG)[0] == 0, f"it was over too early: {self.printed}")
            time.sleep(0.001)
        os.kill(self.process, signal.SIGSTOP)
        time.sleep(PAUSE)
        os.kill(self.process, signal.SIGCONT)

    def open_files(self):
        links = f"/proc/{self.process}/fd"
        for number in os.listdir(links):
            try:
                yield os.readlink(f"{links}/{number}")
            except OSError:  # closed meanwhile
                continue

    def read(self):
        """False at the end."""
        try:
            more = os.read(self.master, 65536) if select.select([self.master], [], [], 60)[0] else b""
        except OSError:  # how Linux tells that the last writer has gone
            more = b""
        self.printed += more
        return bool(more)

    def until(self, pattern):
        while not re.search(pattern, self.printed):
            check(self.read(), f"{pattern} never appeared: {self.printed[-500:]}")

    def finish(self):
        while self.read():
            pass
        os.close(self.master)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


def check(condition, message):
    if not condition:
        sys.exit(f"terminal: {message}")


def lines_of_the_bar(printed):
    return [line for line in re.split(rb"\r|\n", printed) if b"%" in line]


def bar_appears_and_goes(ztpkg, scratch):
    run = Terminal([ztpkg, "pack", "--level", "fast", scratch + "/src", scratch + "/bar.ztp"])
    run.pause(scratch + "/src/large")
    check(run.finish() == 0, run.printed)
    bars = lines_of_the_bar(run.printed)
    check(bars, f"no bar: {run.printed}")
    whole = rb"\d+% \[#* *\] [\d.]+ .?B of 419 MB, \d+ files?, [\d.]+ .?B/s, \d+:\d\d left"
    check(any(re.search(whole, bar) for bar in bars), bars)
    check(re.search(rb"\r\x1b\[Kstored 2 files", run.printed), f"the bar was not taken away: {run.printed[-200:]}")


def bar_fits_narrow_windows(ztpkg, scratch):
    for columns in (10, 30, 60):
        run = Terminal([ztpkg, "unpack", "-f", scratch + "/bar.ztp", scratch + "/out"], columns)
        run.pause(scratch + "/out/")
        check(run.finish() == 0, run.printed)
        bars = [re.sub(rb"\x1b\[K", b"", line) for line in lines_of_the_bar(run.printed)]
        check(bars and all(len(line) < columns for line in bars), f"{columns} columns: {bars}")


def no_bar_where_it_is_not_wanted(ztpkg, scratch):
    large, new, out = scratch + "/src/large", scratch + "/new.ztp", scratch + "/out"
    for place, command in ((out + "/", ["unpack", "--no-progress", "-f", scratch + "/bar.ztp", out]),
                           (out + "/", ["unpack", "--quiet", "-f", scratch + "/bar.ztp", out]),
                           (large, ["pack", "--no-progress", "-f", "--level", "fast", scratch + "/src", new]),
                           (large, ["add", "--no-progress", scratch + "/small.ztp", large])):
        run = Terminal([ztpkg, *command])
        run.pause(place)
        check(run.finish() == 0 and not lines_of_the_bar(run.printed), f"{command}: {run.printed}")
    piped = subprocess.run([ztpkg, "unpack", "-f", scratch + "/bar.ztp", scratch + "/out"], capture_output=True)
    check(piped.returncode == 0 and b"%" not in piped.stderr + piped.stdout, piped.stderr)


def control_c_ends_without_a_trace(ztpkg, scratch):
    before = set(os.listdir(scratch))
    run = Terminal([ztpkg, "pack", scratch + "/src", scratch + "/never.ztp"])
    run.pause(scratch + "/src/large")
    run.until(rb"%")
    os.write(run.master, b"\x03")
    code = run.finish()
    check(code == 130, f"Ctrl-C: exit code {code}: {run.printed[-200:]}")
    check(run.printed.endswith(b"\r\x1b[Kztpkg: pack: interrupted\r\n"), run.printed[-200:])
    check(set(os.listdir(scratch)) == before, f"left behind: {set(os.listdir(scratch)) - before}")


def colours_are_for_terminals(ztpkg, scratch):
    folder, link = b"\x1b[1;34m/folder\x1b[0m", b"\x1b[1;36m/link\x1b[0m"
    listing = [ztpkg, "list", scratch + "/small.ztp"]
    run = Terminal(listing)
    check(run.finish() == 0 and folder in run.printed and link in run.printed, run.printed)
    for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        run = Terminal(listing, **variables)
        check(run.finish() == 0 and b"\x1b" not in run.printed, f"{variables}: {run.printed}")
    check(b"\x1b" not in subprocess.run(listing, capture_output=True).stdout, "colours in a pipe")


def main():
    ztpkg = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch:
        os.makedirs(scratch + "/src")
        os.makedirs(scratch + "/small/folder")
        os.symlink("folder", scratch + "/small/link")
        for name, size in (("large", LARGE), ("little", 5)):
            with open(f"{scratch}/src/{name}", "wb") as file:
                file.truncate(size)
        subprocess.run([ztpkg, "pack", "-q", scratch + "/small", scratch + "/small.ztp"], check=True)
        for test in (bar_appears_and_goes, bar_fits_narrow_windows, no_bar_where_it_is_not_wanted,
                     control_c_ends_without_a_trace, colours_are_for_terminals):
            start = time.monotonic()
            test(ztpkg, scratch)
            print(f"{test.__name__}: as it should be ({time.monotonic() - start:.1f} s)")


if __name__ == "__main__":
    main()
