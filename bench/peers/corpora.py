# SPDX-License-Identifier: Apache-2.0
"""The trees that are packed: A text and code, B shared objects, C 50,000 tiny files, and others by number or size."""
import os
import random
import shutil
import stat

WORDS = "alpha beta gamma delta epsilon record value index node field type name size time path left right key data block"


def regular_files(root):
    for folder, folders, files in os.walk(root):
        folders.sort()
        for name in sorted(files):
            path = os.path.join(folder, name)
            status = os.lstat(path)
            if stat.S_ISREG(status.st_mode):
                yield path, status.st_size


def copy_files(sources, most, is_wanted, target):
    """Copies files of the sources, each up to its own number of bytes, up to `most` bytes in all."""
    total = 0
    for root, most_of_root in sources:
        taken = 0
        for path, size in regular_files(root):
            if not is_wanted(path, size) or taken + size > most_of_root or total + size > most:
                continue
            os.makedirs(os.path.dirname(target + path), exist_ok=True)
            shutil.copy2(path, target + path)
            taken += size
            total += size


def pseudo_text(source, size):
    words, text = WORDS.split(), ""
    while len(text) < size:
        text += f"{source.choice(words)}={source.randrange(100000)}\n"
    return text[:size]


def make_text_and_code(target):
    copy_files([("/usr/include", 100_000_000), ("/usr/share/doc", 50_000_000)], 150_000_000,
               lambda path, size: size < 8_000_000, target)


def make_shared_objects(target):
    copy_files([("/usr/lib", 200_000_000)], 200_000_000,
               lambda path, size: ".so" in os.path.basename(path) and 4096 < size < 40_000_000, target)


def make_small_files(target, count, least=120, most=280, in_folder=100):
    source = random.Random(1)
    for number in range(count):
        if number % in_folder == 0:
            folder = os.path.join(target, f"dir{number // in_folder:05}")
            os.makedirs(folder)
        with open(os.path.join(folder, f"item{number:07}.txt"), "w") as file:
            file.write(pseudo_text(source, source.randint(least, most)))


def make_long_text(target, size):
    source = random.Random(2)
    os.makedirs(target)
    block = pseudo_text(source, 4 << 20)
    with open(os.path.join(target, "text.txt"), "w") as file:
        for number in range(0, size, 4 << 20):
            # Every block begins elsewhere, so that they differ.
            turn = source.randrange(len(block))
            file.write((block[turn:] + block[:turn])[:size - number])


MAKERS = {
    "A": make_text_and_code,
    "B": make_shared_objects,
    "C": lambda target: make_small_files(target, 50_000),
    "100,000 files": lambda target: make_small_files(target, 100_000, 100, 100),
    "1,000,000 files": lambda target: make_small_files(target, 1_000_000, 100, 100),
    "2 GiB of text": lambda target: make_long_text(target, 2 << 30),
}


def corpus(folder, name):
    """The path of that corpus in `folder`, made if it is not there yet."""
    path = os.path.join(folder, name.replace(",", "").replace(" ", "-"))
    if not os.path.isdir(path):
        unfinished = path + ".unfinished"
        shutil.rmtree(unfinished, ignore_errors=True)
        os.makedirs(folder, exist_ok=True)
        MAKERS[name](unfinished)
        os.rename(unfinished, path)
    return path


def bytes_in(folder):
    return sum(os.lstat(os.path.join(path, name)).st_size for path, _, names in os.walk(folder) for name in names)
