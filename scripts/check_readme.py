#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that the library example of the README stands, word for word, in the example that is compiled."""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1] if len(sys.argv) > 1 else ".")
shown = re.findall(r"```cpp\n(.*?)```", (root / "README.md").read_text(), re.DOTALL)
compiled = (root / "examples/keep_directory.cpp").read_text()
if not shown or any(example not in compiled for example in shown):
    sys.exit("README.md shows an example that examples/keep_directory.cpp does not hold")
