# SPDX-License-Identifier: Apache-2.0
"""Runs ztpkg many times as subprocess.run() would, without starting a program for each: see ztpkg_forks.cpp."""
import os
import select
import signal
import subprocess
import tempfile
from pathlib import Path


class Forks:
    def __init__(self, program):
        self.program = os.path.abspath(program)
        self.scratch = tempfile.TemporaryDirectory(prefix="ztpkg-forks-")
        self.outputs = [os.path.join(self.scratch.name, name) for name in ("out", "err")]
        self._start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        code = self._end()
        self.scratch.cleanup()
        if code != 0:
            raise RuntimeError(f"the program that runs ztpkg ended with {code}")

    def run(self, *arguments, cwd=".", timeout=None, most_memory=0, fault=""):
        """The exit code and both outputs of `ztpkg ARGUMENTS`; subprocess.TimeoutExpired where it takes longer.
        `fault` is for ztpkg_failing."""
        words = ["ztpkg", *map(str, arguments)]
        fields = [os.path.abspath(cwd), str(most_memory), fault, *self.outputs, *words]
        request = b"".join(os.fsencode(field) + b"\0" for field in fields)
        self.server.stdin.write(b"%d\n" % len(request) + request)
        if not select.select([self.server.stdout], [], [], timeout)[0]:
            os.killpg(self.server.pid, signal.SIGKILL)
            self._end()
            self._start()
            raise subprocess.TimeoutExpired(words, timeout)
        code = self._number(words)
        return subprocess.CompletedProcess(words, code, *(Path(path).read_bytes() for path in self.outputs))

    def _start(self):
        self.server = subprocess.Popen([self.program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0,
                                       start_new_session=True)

    def _end(self):
        self.server.stdin.close()
        self.server.stdout.close()
        return self.server.wait()

    def _number(self, words):
        line = b""
        while not line.endswith(b"\n"):
            byte = self.server.stdout.read(1)
            if not byte:
                raise RuntimeError(f"{words} ended the program: {Path(self.outputs[1]).read_text(errors='replace')}")
            line += byte
        return int(line)
