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
        self.server = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.scratch = tempfile.TemporaryDirectory(prefix="ztpkg-forks-")
        self.outputs = [os.path.join(self.scratch.name, name) for name in ("out", "err")]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.stdin.close()
        self.server.wait()
        self.server.stdout.close()
        self.scratch.cleanup()

    def run(self, *arguments, cwd=".", timeout=None, most_memory=0):
        """The exit code and both outputs of `ztpkg ARGUMENTS`; subprocess.TimeoutExpired where it takes longer."""
        words = ["ztpkg", *map(str, arguments)]
        fields = [os.path.abspath(cwd), str(most_memory), *self.outputs, *words]
        request = b"".join(os.fsencode(field) + b"\0" for field in fields)
        self.server.stdin.write(b"%d\n" % len(request) + request)
        pid = self._number()
        late = not select.select([self.server.stdout], [], [], timeout)[0]
        if late:
            os.kill(pid, signal.SIGKILL)
        code = os.waitstatus_to_exitcode(self._number())
        if late:
            raise subprocess.TimeoutExpired(words, timeout)
        return subprocess.CompletedProcess(words, code, *(Path(path).read_bytes() for path in self.outputs))

    def _number(self):
        line = b""
        while not line.endswith(b"\n"):
            byte = self.server.stdout.read(1)
            if not byte:
                raise RuntimeError("the program that runs ztpkg has ended")
            line += byte
        return int(line)
