#!/usr/bin/env python3
"""Checks the pictures of the guides.

    pictures.py shown ROOT         the pictures that README.md and the guides show are there
    pictures.py made FOLDER SHOWN  the pictures in FOLDER, which were made just now, are those in the
                                   folder SHOWN: the same names, and sizes in pixels that differ by a
                                   quarter at most

The pixels are not compared: each machine has other fonts.
"""

import re
import sys
from pathlib import Path

IMAGE = re.compile(r"!\[[^\]]*\]\(([^)]+)\)")


def size_of(path):
    """Width and height of a PNG picture."""
    start = path.read_bytes()[:24]
    if len(start) < 24 or not start.startswith(b"\x89PNG\r\n\x1a\n"):
        sys.exit(f"{path} is no PNG picture")
    return int.from_bytes(start[16:20], "big"), int.from_bytes(start[20:24], "big")


def check_shown(root):
    count = wrong = 0
    for guide in [root / "README.md", *sorted((root / "docs").glob("*.md"))]:
        for name in IMAGE.findall(guide.read_text(encoding="utf-8")):
            count += 1
            path = guide.parent / name
            if not path.exists():
                print(f"{guide} shows {name}, which is not there")
                wrong += 1
            elif path.suffix == ".png":
                size_of(path)
    if count == 0:
        sys.exit("no guide shows a picture")
    return wrong == 0


def is_alike(a, b):
    return abs(a - b) <= max(a, b) / 4


def check_made(folder, shown):
    made = {path.name for path in folder.glob("*.png")}
    kept = {path.name for path in shown.glob("*.png")}
    for name in sorted(made - kept):
        print(f"{shown} has no {name}: run tools/screenshots, and look at it")
    for name in sorted(kept - made):
        print(f"{name} was not made")
    is_good = bool(made) and made == kept
    for name in sorted(made & kept):
        now, before = size_of(folder / name), size_of(shown / name)
        if not all(map(is_alike, now, before)):
            print(f"{name} has {now} pixels instead of {before}")
            is_good = False
    return is_good


def main():
    check, *paths = sys.argv[1:]
    checks = {"shown": check_shown, "made": check_made}
    if not checks[check](*map(Path, paths)):
        sys.exit(1)


main()
