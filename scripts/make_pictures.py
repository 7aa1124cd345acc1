#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Draws the pictures of the documentation: make_pictures.py [--check] [--ztpkg PROGRAM] [FOLDER-OF-SOURCES]

docs/pictures/layers.svg shows the layers of the root CMakeLists.txt, way-of-a-byte.svg the tables of
docs/architecture.md under that heading, terminal.svg what ztpkg prints. With --check nothing is written, and a picture
that differs is a fault. Without --ztpkg the terminal is left alone.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile
from html import escape
from pathlib import Path

FONT = "font-family='DejaVu Sans,Arial,sans-serif'"
MONO = "font-family='DejaVu Sans Mono,Consolas,monospace'"
INK, PAPER, BOX, LINE = "#1f2933", "#ffffff", "#e6eef7", "#5b7a9d"
LICENSE = "SPDX-License-" "Identifier: Apache-2.0"  # in two pieces: it is the pictures', not a second one of this file


def svg(width, height, title, body, paper=PAPER):
    return (f"<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 {width} {height}' width='{width}' height='{height}' "
            f"role='img'>\n<!-- {LICENSE} -->\n<!-- Made by scripts/make_pictures.py -->\n"
            f"<title>{escape(title)}</title>\n<rect width='{width}' height='{height}' rx='6' fill='{paper}'/>\n"
            + "\n".join(body) + "\n</svg>\n")


def box(x, y, width, height, text, small=""):
    lines = [f"<rect x='{x}' y='{y}' width='{width}' height='{height}' rx='5' fill='{BOX}' stroke='{LINE}'/>",
             f"<text x='{x + width / 2:g}' y='{y + (19 if small else height / 2 + 5):g}' {FONT} font-size='13' "
             f"fill='{INK}' text-anchor='middle'>{escape(text)}</text>"]
    if small:
        lines.append(f"<text x='{x + width / 2:g}' y='{y + 34}' {FONT} font-size='10' fill='{LINE}' "
                     f"text-anchor='middle'>{escape(small)}</text>")
    return lines


def read_layers(root):
    """Names in the order of CMakeLists.txt, and what each links."""
    text = re.sub(r"#.*", "", (root / "CMakeLists.txt").read_text())
    layers = {}
    for call in re.findall(r"zt_layer\(([^)]*)\)", text):
        words = call.split()
        depends = re.search(r"DEPENDS((?:\s+zt_\w+)+)", call)
        layers[words[0]] = depends.group(1).split() if depends else []
    return layers


def draw_layers(root):
    layers = read_layers(root)
    rank = {}
    for name, below in layers.items():
        rank[name] = 1 + max((rank[other] for other in below), default=-1)
    rows = [[n for n in layers if rank[n] == r] for r in range(max(rank.values()) + 1)]
    width, step = 720, 70
    height = step * len(rows) + 90
    place = {}
    for r, row in enumerate(rows):
        for i, name in enumerate(row):
            place[name] = (width * (i + 1) / (len(row) + 1), height - 50 - step * r)
    body = [f"<defs><marker id='a' viewBox='0 0 8 8' refX='8' refY='4' markerWidth='7' markerHeight='7' orient='auto'>"
            f"<path d='M0 0L8 4L0 8z' fill='{LINE}'/></marker></defs>"]
    for name, below in layers.items():
        for other in below:
            (x1, y1), (x2, y2) = place[name], place[other]
            body.append(f"<line x1='{x1:g}' y1='{y1 + 16:g}' x2='{x2:g}' y2='{y2 - 17:g}' stroke='{LINE}' "
                        f"marker-end='url(#a)'/>")
    for name, (x, y) in place.items():
        body += box(x - 55, y - 16, 110, 32, name.removeprefix("zt_"))
    body += box(170, 8, 380, 30, "ztpkg, examples and programs: public headers alone")
    return svg(width, height, "Layers of libztservices; each links only what is below it", body)


def draw_way(root):
    text = (root / "docs/architecture.md").read_text().split("## The way of one byte")[1].split("\n## ")[0]
    rows = re.findall(r"^\| ([^|`]+?) \| (`.*`) \|$", text, re.MULTILINE)
    half = len(rows) // 2
    body, wide, high = [], 165, 46
    for line, (label, part) in enumerate((("pack", rows[:half]), ("unpack", rows[half:]))):
        y = 40 + line * 190
        body.append(f"<text x='20' y='{y - 14}' {FONT} font-size='14' font-weight='bold' fill='{INK}'>ztpkg {label}</text>")
        for i, (step, files) in enumerate(part):
            x = 20 + i * (wide + 25)
            names = re.findall(r"`([^`]+)`", files)
            body += box(x, y, wide, high, step, f"{len(names)} sources")
            if i + 1 < len(part):
                body.append(f"<path d='M{x + wide + 2} {y + high / 2:g}h18m-6 -4l6 4l-6 4' fill='none' stroke='{LINE}'/>")
            for n, name in enumerate(names):
                body.append(f"<text x='{x}' y='{y + high + 15 + 13 * n}' {MONO} font-size='8' fill='{INK}'>"
                            f"{escape(name)}</text>")
    height = 40 + 190 + high + 15 + 13 * 7
    return svg(20 + 4 * (wide + 25), height, "The way of one byte into a package and out of it", body)


COMMANDS = ("ztpkg pack notes notes.ztp", "ztpkg list --long notes.ztp", "ztpkg verify notes.ztp")


def draw_terminal(program):
    with tempfile.TemporaryDirectory() as scratch:
        notes = Path(scratch) / "notes"
        (notes / "drafts").mkdir(parents=True)
        (notes / "readme.txt").write_text("hello\n")
        (notes / "drafts/rain.txt").write_text("rain\n" * 400)
        (notes / "run").write_text("#!/bin/sh\nexec true\n")
        (notes / "drafts/first").symlink_to("../readme.txt")
        for path, mode in (("readme.txt", 0o644), ("drafts/rain.txt", 0o644), ("run", 0o755)):
            (notes / path).chmod(mode)
            os.utime(notes / path, (1772368200, 1772368200))
        lines = []
        for command in COMMANDS:
            lines.append(("$ " + command, "#8fd18f"))
            done = subprocess.run([program, *command.split()[1:]], cwd=scratch, capture_output=True, text=True,
                                  check=True, env={**os.environ, "LC_ALL": "C.UTF-8", "TZ": "UTC"})
            output = re.sub(r", \d+\.\d s$", ", 0.0 s", done.stderr + done.stdout, flags=re.MULTILINE)
            lines += [(line, "#e4e7eb") for line in output.splitlines()]
    body = [f"<circle cx='{18 + 16 * i}' cy='14' r='5' fill='{c}'/>" for i, c in enumerate(("#e66", "#ec5", "#6c6"))]
    body += [f"<text x='14' y='{44 + 18 * i}' {MONO} font-size='12' fill='{color}' xml:space='preserve'>{escape(line)}</text>"
             for i, (line, color) in enumerate(lines)]
    return svg(780, 40 + 18 * len(lines) + 10, "ztpkg packs, lists and verifies a directory", body, "#1f2933")


def comparable(name, text):
    """The terminal without its numbers, since sizes depend on the libraries that compress."""
    return re.sub(r"[0-9.]+", "#", text) if name == "terminal.svg" else text


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--ztpkg")
    parser.add_argument("root", nargs="?", default=".", type=Path)
    options = parser.parse_args()
    pictures = {"layers.svg": draw_layers(options.root), "way-of-a-byte.svg": draw_way(options.root)}
    if options.ztpkg:
        pictures["terminal.svg"] = draw_terminal(Path(options.ztpkg).resolve())
    folder = options.root / "docs/pictures"
    stale = []
    for name, text in pictures.items():
        if not options.check:
            (folder / name).write_text(text)
        elif not (folder / name).exists() or comparable(name, (folder / name).read_text()) != comparable(name, text):
            stale.append(name)
    if stale:
        sys.exit(f"not up to date: {', '.join(stale)} (scripts/make_pictures.py --ztpkg build/release/tool/ztpkg)")
    print(f"{len(pictures)} pictures")


main()
