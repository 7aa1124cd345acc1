#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Renders the treemap of a package as a browser does, and looks at the picture: treemap.py ZTPKG

Two files, one of them with three quarters of the bytes, must cover areas of about that ratio, in colours of their own.
Takes a headless chromium, or else rsvg-convert; without either the test is skipped.
"""
import os
import pathlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
import zlib

SKIPPED = 77
SVG = "{http://www.w3.org/2000/svg}"


def render(svg, png, width, height):
    """False where no renderer is present."""
    browser = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
    if browser:
        command = [browser, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                   f"--user-data-dir={png.parent / 'profile'}", "--force-device-scale-factor=1",
                   f"--window-size={width},{height}", f"--screenshot={png}", svg.as_uri()]
    elif shutil.which("rsvg-convert"):
        command = ["rsvg-convert", "-w", str(width), "-h", str(height), "-o", str(png), str(svg)]
    else:
        return False
    subprocess.run(command, check=True, capture_output=True, timeout=200, env=dict(os.environ, HOME=str(png.parent)))
    return True


def pixels(png):
    """Rows of (red, green, blue) of a PNG with 8 bits a channel."""
    data, at, content = png.read_bytes(), 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour = struct.unpack(">IIBB", body[:10])
        content += body if kind == b"IDAT" else b""
        at += length + 12
    channels = {2: 3, 6: 4}[colour]
    assert depth == 8
    raw, stride = zlib.decompress(content), width * channels
    rows, last = [], bytearray(stride)
    for number in range(height):
        begin = number * (stride + 1)
        row = unfiltered(raw[begin], bytearray(raw[begin + 1:begin + 1 + stride]), last, channels)
        rows.append([tuple(row[x:x + 3]) for x in range(0, stride, channels)])
        last = row
    return rows


def unfiltered(kind, row, last, channels):
    for x in range(len(row)):
        left, up = row[x - channels] if x >= channels else 0, last[x]
        corner = last[x - channels] if x >= channels else 0
        estimate = left + up - corner
        paeth = min((left, up, corner), key=lambda value: abs(estimate - value))
        row[x] = (row[x] + (0, left, up, (left + up) // 2, paeth)[kind]) & 255
    return row


def boxes(svg):
    """The rectangles of the drawing, by the paths in their titles."""
    found = {}
    for parent in ElementTree.parse(svg).iter():
        title, box = parent.find(f"{SVG}title"), parent.find(f"{SVG}rect")
        box = parent if parent.tag == f"{SVG}rect" else box
        if title is not None and box is not None:
            found[title.text] = [float(box.get(key, 0)) for key in ("x", "y", "width", "height")] + [box.get("fill")]
    return found


def main():
    tool = sys.argv[1]
    with tempfile.TemporaryDirectory() as name:
        place = pathlib.Path(name)
        tree, svg, png = place / "tree", place / "map.svg", place / "map.png"
        (tree / "folder").mkdir(parents=True)
        chance = random.Random(1)
        (tree / "folder" / "large.bin").write_bytes(chance.randbytes(300_000))
        (tree / "small <&>.bin").write_bytes(chance.randbytes(100_000))
        subprocess.run([tool, "pack", "-q", tree, place / "p.ztp"], check=True)
        subprocess.run([tool, "info", "-q", "--treemap", svg, place / "p.ztp"], check=True, stdout=subprocess.DEVNULL)
        root = ElementTree.parse(svg).getroot()
        width, height = (round(float(re.match(r"[\d.]+", root.get(side))[0])) for side in ("width", "height"))
        if "<script" in svg.read_text() or not render(svg, png, width, height):
            print("skipped: neither chromium nor rsvg-convert")
            return SKIPPED
        rows, areas = pixels(png), {}
        for title, (x, y, w, h, fill) in boxes(svg).items():
            if ".bin" in title:
                middle = rows[min(len(rows) - 1, int(y + h * 0.9))][min(len(rows[0]) - 1, int(x + w * 0.9))]
                areas["large" if "large" in title else "small"] = (w * h, middle == tuple(bytes.fromhex(fill[1:])))
        if len(areas) != 2 or not 2.4 < areas["large"][0] / areas["small"][0] < 3.6:
            sys.exit(f"areas {areas}")
        if not all(is_painted for _, is_painted in areas.values()):
            sys.exit(f"the boxes were not painted: {areas}")
    return 0


sys.exit(main())
