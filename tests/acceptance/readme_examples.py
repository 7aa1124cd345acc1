#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Types what documents show, one example after the other, and compares what comes: readme_examples.py ZTPKG FILE...

Times that work takes are not compared, nor what packages take, which differs with the compressing library.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

def examples(text):
    """Every command with what the document says that it prints."""
    for block in re.findall(r"```console\n(.*?)```", text, re.DOTALL):
        for command, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
            yield command, output


def comparable(output):
    output = re.sub(r"[0-9.]+ s$", "SECONDS", output, flags=re.MULTILINE)
    output = re.sub(r"(in|now has|from|parts of) [0-9.]+ (kB|B|bytes)", r"\1 SIZE", output)
    return re.sub(r"(8893 +)\d+", r"\1STORED", output)


def run_all(tool, document):
    """The number of the commands, and of those that print something else."""
    count = failed = 0
    with tempfile.TemporaryDirectory(prefix="ztpkg-document-") as name:
        place = pathlib.Path(name)
        (place / "scripts").mkdir()
        (place / "scripts" / "ztpkg").symlink_to(tool)
        environment = {**os.environ, "PATH": f"{place}/scripts:{os.environ['PATH']}"}
        for command, wanted in examples(document.read_text()):
            count += 1
            done = subprocess.run(["sh", "-c", command], cwd=place, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True, check=False, env=environment)
            if done.returncode != 0 or comparable(done.stdout) != comparable(wanted):
                failed += 1
                print(f"{document}: {command}\nended with {done.returncode} and printed\n{done.stdout}"
                      f"where the document has\n{wanted}")
    return count, failed


def main():
    tool = pathlib.Path(sys.argv[1]).resolve()
    results = [run_all(tool, pathlib.Path(document)) for document in sys.argv[2:]]
    count, failed = (sum(column) for column in zip(*results))
    print(f"{count} examples, {failed} not as the documents have them")
    return 1 if failed or not all(of_one for of_one, _ in results) else 0


sys.exit(main())
