# SPDX-License-Identifier: Apache-2.0
"""The programs that are measured beside ztpkg, and what each does for one piece of work.

In the commands stand {ztpkg}, {floor}, {source} (the tree, also the current folder of what packs), {work} (a folder of their
own), {archive} (what the program packs to) and {zip} (an archive by zip, which its readers read)."""
import dataclasses
import os
import shutil
import subprocess

PACKAGES = ["zip", "unzip", "p7zip-full", "libarchive-tools", "age", "pigz", "zstd", "squashfs-tools",
            "default-jdk-headless", "libcommons-compress-java"]
COMMONS = "/usr/share/java/commons-compress.jar"


@dataclasses.dataclass
class Work:
    """One line of the table: ztpkg's command and the peers', of which the fastest is the measure."""
    name: str
    corpus: str
    own: str
    peers: dict  # program: command
    goal: float  # the ratio to reach
    in_source: bool = False  # whether the commands run in the tree
    before: str = ""  # makes what the commands read; ztpkg and peers share it
    basis: str = ""  # a command of ztpkg that is the measure instead of peers
    factor: float = 1  # of the basis
    floor: str = ""  # bench_floor's command, which does only what nobody can leave out; no measure

    def commands(self):
        own = {"ztpkg": self.own, "floor": self.floor} if self.floor else {"ztpkg": self.own}
        return {**own, "ztpkg, basis": self.basis} if self.basis else {**own, **self.peers}


ZIP_WRITERS = {
    "zip": "zip -qr {archive} .",
    "7z": "7z a -tzip -mx5 -bso0 -bsp0 {archive} .",
    "bsdtar": "bsdtar -caf {archive} .",
    "commons-compress": f"java -cp {COMMONS}:{{classes}} ParallelZip {{archive}} .",
}
ZIP_READERS = {
    "unzip": "unzip -qq {zip} -d out",
    "7z": "7z x -bso0 -bsp0 -oout {zip}",
    "bsdtar": "mkdir out && bsdtar -xf {zip} -C out",
}
ZIP_CHECKERS = {"unzip": "unzip -tqq {zip}", "7z": "7z t -bso0 -bsp0 {zip}"}
OTHERS = {
    "tar | zstd": "tar -cf - . | zstd -q -o {archive}",
    "mksquashfs": "mksquashfs . {archive} -quiet -no-progress",
}
AGE_WRITER = {"tar | age": "tar -cf - . | age -r $(cat {work}/recipient) -o {archive}"}
AGE_READER = {"age | tar": "mkdir out && age -d -i {work}/identity {work}/tree.age | tar -xf - -C out"}

COMPRESSING_SEALERS = {
    "tar | gzip | age": "tar -cf - . | gzip | age -r $(cat {work}/recipient) -o {archive}",
    "7z -mhe": "7z a -mx1 -psecret -mhe=on -bso0 -bsp0 {archive}.7z . && mv {archive}.7z {archive}",
}
COMPRESSED_READERS = {
    "age | gzip | tar": "mkdir out && age -d -i {work}/identity {work}/tree.age | tar -xzf - -C out",
    "7z -mhe": "7z x -psecret -bso0 -bsp0 -oout {work}/tree.7z",
}

ZIPPED = "rm -f {zip} {work}/tree.ztp; (cd {source} && zip -qr {zip} .); {ztpkg} pack -q {source} {work}/tree.ztp"
SEALED = ("rm -f {work}/tree.*; {ztpkg} pack -q -k {work}/key {source} {work}/tree.ztp; "
          "(cd {source} && tar -cf - . | age -r $(cat {work}/recipient) -o {work}/tree.age)")
COMPRESSED = ("rm -f {work}/tree.*; {ztpkg} pack -q -k {work}/key --compress {source} {work}/tree.ztp; (cd {source} && "
              "tar -czf - . | age -r $(cat {work}/recipient) -o {work}/tree.age; "
              "7z a -mx1 -psecret -mhe=on -bso0 -bsp0 {work}/tree.7z .)")


def trees():
    goals = {"A": (.30, .20, .40, .50, 1.6, 1.4), "B": (.22, .14, .45, .50, 1.6, 1.3), "C": (.50, 0, .60, 0, 2.0, 1.6)}
    for corpus, (pack, fast, unpack, verify, seal, unseal) in goals.items():
        yield Work("pack", corpus, "{ztpkg} pack -q . {archive}", ZIP_WRITERS, pack, in_source=True,
                   floor="{floor} pack . {archive}")
        if fast:
            yield Work("pack --level fast", corpus, "{ztpkg} pack -q --level fast . {archive}", ZIP_WRITERS, fast,
                       in_source=True, floor="{floor} pack . {archive} 1")
        yield Work("unpack", corpus, "{ztpkg} unpack -q {work}/tree.ztp out", ZIP_READERS, unpack, before=ZIPPED + "; {floor} pack {source} {work}/tree.floor",
                   floor="{floor} unpack {work}/tree.floor out")
        if verify:
            yield Work("verify", corpus, "{ztpkg} verify -q {work}/tree.ztp", ZIP_CHECKERS, verify,
                       before=ZIPPED + "; {floor} pack {source} {work}/tree.floor",
                       floor="{floor} verify {work}/tree.floor")
        yield Work("pack with key", corpus, "{ztpkg} pack -q -k {work}/key . {archive}", AGE_WRITER, seal,
                   in_source=True, floor="{floor} seal . {archive}")
        yield Work("unpack with key", corpus, "{ztpkg} unpack -q -k {work}/key {work}/tree.ztp out", AGE_READER, unseal,
                   before=SEALED + "; {floor} seal {source} {work}/tree.floor",
                   floor="{floor} unseal {work}/tree.floor out")


def many_entries():
    corpus = "100,000 files"
    listing = "{ztpkg} list {work}/tree.ztp"
    yield Work("list", corpus, listing, {"unzip -l": "unzip -l {zip}"}, .5, before=ZIPPED)
    yield Work("cat of one", corpus, "{ztpkg} cat {work}/tree.ztp /dir00500/item0050000.txt", {}, .9, before=ZIPPED,
               basis=listing)
    yield Work("add of one", corpus,
               "cp {work}/tree.ztp {archive}; {ztpkg} add -q {archive} {source}/dir00000/item0000000.txt", {}, 1.5,
               before=ZIPPED, basis=listing + "; cp {work}/tree.ztp {archive}")


def long_text():
    corpus = "2 GiB of text"
    yield Work("pack", corpus, "{ztpkg} pack -q . {archive}", {"pigz": "pigz -K -c text.txt > {archive}"}, .75,
               in_source=True)
    yield Work("unpack", corpus, "{ztpkg} unpack -q {work}/tree.ztp out", {"unzip": ZIP_READERS["unzip"]}, .45,
               before=ZIPPED)


def million():
    """The basis is ten times the same work on 100,000 files, which {small} names."""
    corpus = "1,000,000 files"
    small_archive = "rm -f {work}/small.ztp; {ztpkg} pack -q {small} {work}/small.ztp"
    yield Work("pack", corpus, "{ztpkg} pack -q . {archive}", {}, 1.2, in_source=True, factor=10,
               basis="{ztpkg} pack -q {small} {archive}")
    yield Work("list", corpus, "{ztpkg} list {work}/tree.ztp", {}, 1.2, factor=10,
               before="rm -f {work}/tree.ztp; {ztpkg} pack -q {source} {work}/tree.ztp; " + small_archive,
               basis="{ztpkg} list {work}/small.ztp")
    yield Work("unpack", corpus, "{ztpkg} unpack -q {work}/tree.ztp out", {}, 1.2, factor=10,
               before="rm -f {work}/tree.ztp; {ztpkg} pack -q {source} {work}/tree.ztp; " + small_archive,
               basis="{ztpkg} unpack -q {work}/small.ztp out")


def sealed():
    """Contents that are compressed and then encrypted."""
    yield Work("pack with key, compressed", "A", "{ztpkg} pack -q -k {work}/key --compress . {archive}",
               COMPRESSING_SEALERS, .6, in_source=True)
    yield Work("unpack with key, compressed", "A", "{ztpkg} unpack -q -k {work}/key {work}/tree.ztp out",
               COMPRESSED_READERS, 1.0, before=COMPRESSED)


def others():
    """Programs of other formats, for orientation."""
    for corpus in "ABC":
        yield Work("pack, other formats", corpus, "{ztpkg} pack -q . {archive}", OTHERS, 0, in_source=True)


SUITES = {"trees": trees, "entries": many_entries, "long": long_text, "million": million, "sealed": sealed,
          "others": others}


def install():
    """Installs what is missing; needs apt-get and, for an ordinary user, sudo."""
    needed = {"zip": "zip", "unzip": "unzip", "7z": "p7zip-full", "bsdtar": "libarchive-tools", "age": "age",
              "pigz": "pigz", "zstd": "zstd", "mksquashfs": "squashfs-tools", "javac": "default-jdk-headless"}
    missing = {package for program, package in needed.items() if not shutil.which(program)}
    if not os.path.exists(COMMONS):
        missing.add("libcommons-compress-java")
    if not missing:
        return
    as_root = [] if os.geteuid() == 0 else ["sudo"]
    subprocess.run(as_root + ["apt-get", "update", "-q"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(as_root + ["apt-get", "install", "-q", "-y", "--no-install-recommends", *sorted(missing)],
                   check=True, stdout=subprocess.DEVNULL)


def make_keys(ztpkg, work):
    subprocess.run([ztpkg, "keygen", work + "/key"], check=True)
    subprocess.run(["age-keygen", "-o", work + "/identity"], check=True, capture_output=True)
    with open(work + "/recipient", "wb") as file:
        subprocess.run(["age-keygen", "-y", work + "/identity"], check=True, stdout=file)


def compile_java(source, classes):
    os.makedirs(classes, exist_ok=True)
    subprocess.run(["javac", "-cp", COMMONS, "-d", classes, source], check=True)


def versions(ztpkg):
    """program: version, as each says it."""
    ask = {"ztpkg": [ztpkg, "--version"], "zip": ["zip", "-v"], "unzip": ["unzip", "-v"], "7z": ["7z", "i"],
           "bsdtar": ["bsdtar", "--version"], "age": ["age", "--version"], "pigz": ["pigz", "--version"]}
    said = {}
    for program, command in ask.items():
        text = subprocess.run(command, capture_output=True, text=True, check=False)
        lines = [line.strip() for line in (text.stdout + text.stderr).splitlines() if any(c.isdigit() for c in line)]
        said[program] = lines[0][:60] if lines else "?"
    package = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", "libcommons-compress-java"],
                             capture_output=True, text=True, check=False)
    said["commons-compress"] = package.stdout or "?"
    return said
