# SPDX-License-Identifier: Apache-2.0
"""Whether system calls can be traced here: strace may be missing, or forbidden as in some containers."""
import shutil
import subprocess


def is_possible():
    return bool(shutil.which("strace")) and not subprocess.run(["strace", "-f", "true"], capture_output=True,
                                                               check=False).returncode
