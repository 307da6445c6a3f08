#!/usr/bin/env python3
"""Fails unless the picture of the README shows the tour as it is now: picture.py SVG TOUR

All headings of the script TOUR must be in the picture, in order, and so must the commands that
hold nothing but plain words.
"""

import re
import sys
from pathlib import Path
from xml.etree import ElementTree


def shown(path):
    """The lines of the picture."""
    lines = {}
    for text in ElementTree.parse(path).getroot().iter("{http://www.w3.org/2000/svg}text"):
        lines[int(text.get("y"))] = lines.get(int(text.get("y")), "") + text.text
    return [lines[place] for place in sorted(lines)]


def wanted(path):
    """What the tour shows of itself."""
    for line in Path(path).read_text(encoding="utf-8").splitlines():
        heading = re.fullmatch(r"heading '(.*)'", line)
        if heading:
            yield "=== " + heading[1]
        elif re.fullmatch(r"kelm [\w./=, -]+", line):
            yield "$ " + line


def main():
    lines = iter(shown(sys.argv[1]))
    count = 0
    for text in wanted(sys.argv[2]):
        count += 1
        if text not in lines:
            sys.exit(
                f"{sys.argv[1]} does not show, in its place, {text}\nMake it by tools/picture."
            )
    if count < 2:
        sys.exit(f"{sys.argv[2]} has no headings")


main()
