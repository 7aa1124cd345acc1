# SPDX-License-Identifier: Apache-2.0
"""Runs one command and says what it took: wall and processor seconds, peak memory, bytes written to a disk."""
import dataclasses
import os
import shutil
import subprocess
import time


@dataclasses.dataclass
class Figures:
    seconds: float
    processor: float
    peak: int  # bytes, of the largest of its processes
    written: int  # bytes to block devices; 0 in memory


def touch_memory(folder, size):
    """Makes a virtual machine hold that much memory. One that was idle has given it back to its host, and the program
    that runs first afterwards would wait for it on behalf of those that follow."""
    path = os.path.join(folder, "touched")
    with open(path, "wb") as file:
        for _ in range(min(size, shutil.disk_usage(folder).free // 2) >> 20):
            file.write(bytes(1 << 20))
    os.remove(path)


def bytes_written(process):
    with open(f"/proc/{process}/io") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("write_bytes"))


def run(command, folder):
    """Runs a shell command; one that fails ends the measurement."""
    start = time.perf_counter()
    child = subprocess.Popen(["bash", "-c", "set -eo pipefail; " + command], cwd=folder, stdout=subprocess.DEVNULL)
    os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOWAIT)
    took = time.perf_counter() - start
    written = bytes_written(child.pid)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise SystemExit(f"bench: ended with {child.returncode}: {command}")
    return Figures(took, usage.ru_utime + usage.ru_stime, usage.ru_maxrss << 10, written)
