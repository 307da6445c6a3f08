#!/usr/bin/env python3
"""Fails where a guide names a file or folder that is not there: files.py GUIDE ROOT

A path is a text between backquotes and begins with a folder of the project. In a row of a table
whose first two cells are a file and a name, the file must have that name in it, as a whole word. The
files that the guide shows as examples need not be there.
"""

import re
import sys
from pathlib import Path

PATH = re.compile(r"`((?:\w[\w.-]*/)+[\w.-]*|(?:data|bindings)/?|CONTRIBUTING\.md)`")
EXAMPLE = re.compile(r"^```\w+ file=(\S+)", re.MULTILINE)
ROW = re.compile(r"^\| `([\w./-]+\.\w+)` \| `(\w+)` \|")


def main():
    guide, root = Path(sys.argv[1]), Path(sys.argv[2])
    checked = wrong = 0
    contents = guide.read_text(encoding="utf-8")
    examples = set(EXAMPLE.findall(contents))
    for number, line in enumerate(contents.splitlines(), 1):
        for path in set(PATH.findall(line)) - examples:
            checked += 1
            if not (root / path).exists():
                print(f"{guide}:{number}: there is no {path}")
                wrong += 1
        row = ROW.match(line)
        if row and (root / row[1]).is_file():
            text = (root / row[1]).read_text(encoding="utf-8")
            if not re.search(rf"\b{row[2]}\b", text):
                print(f"{guide}:{number}: {row[1]} has no {row[2]}")
                wrong += 1
    if checked < 10:
        sys.exit(f"{guide} names no files")
    sys.exit(1 if wrong else 0)


main()
