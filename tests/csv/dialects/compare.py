#!/usr/bin/env python3
"""Compares the detection of dialects with csv.Sniffer of Python, on the labelled samples: compare.py KELM

KELM is the program kelm. Sniffer gets the first 64 KiB of a file, decoded by the right encoding, and the
delimiters that the detection knows. Where it raises an error, it has no answer. It knows of no
encodings, comments, units and decimal points. What the labels leave open is not counted.
"""

import collections
import csv
import json
import os
import subprocess
import sys
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
WORDS = {",": "comma", ";": "semicolon", "\t": "tab", "|": "bar", "\\s+": "blanks", " ": "blanks",
         "": "none"}
KINDS = ("encoding", "delimiter", "quotes", "comment", "header", "units", "decimal")
PROPERTIES = {"units": "header", "decimal": "decimalPoint"}


def detected(kelm, path):
    """The answers of the detection, and their confidences."""
    command = [kelm, "table", path, "--dialect", "--json"]
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", LC_ALL="C.UTF-8")
    found = json.loads(subprocess.run(command, check=True, capture_output=True, env=environment).stdout)
    row = lambda number: "no" if number is None else str(number + 1)
    answers = {
        "encoding": found["encoding"],
        "delimiter": WORDS.get(found["delimiter"], found["delimiter"]),
        "quotes": "rfc4180" if found["quotes"] else "no",
        "comment": found["comment"] or "no",
        "header": row(found["headerRow"]),
        "units": row(found["unitRow"]),
        "decimal": {".": "point", ",": "comma"}[found["decimalPoint"]],
    }
    sure = {kind: found["confidence"][PROPERTIES.get(kind, kind)] > 0.9 for kind in KINDS}
    return answers, sure


def sniffed(path, encoding):
    """The answers of csv.Sniffer."""
    text = path.read_bytes()[:65536].decode("latin-1" if encoding == "-" else encoding, "replace")
    text = text.removeprefix("\ufeff")
    answers = {}
    try:
        answers["delimiter"] = WORDS.get(csv.Sniffer().sniff(text, ",;\t| ").delimiter, "another")
    except csv.Error:
        answers["delimiter"] = "error"
    try:
        answers["header"] = csv.Sniffer().has_header(text)
    except (csv.Error, StopIteration):
        answers["header"] = "error"
    return answers


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    right = collections.Counter()
    sure = collections.Counter()
    wrong = collections.Counter()
    judged = collections.Counter()
    with open(FOLDER / "labels.csv", encoding="utf-8", newline="") as file:
        labels = list(csv.DictReader(file))
    for label in labels:
        path = FOLDER / label["file"]
        answers, are_sure = detected(sys.argv[1], path)
        theirs = sniffed(path, label["encoding"])
        for kind in KINDS:
            for group in ("all", label["set"]):
                if label[kind] == "-":
                    wrong[kind, group] += are_sure[kind]
                    continue
                is_right = answers[kind] == label[kind]
                judged[kind, group] += 1
                right[kind, group] += is_right
                sure[kind, group] += is_right and are_sure[kind]
                wrong[kind, group] += are_sure[kind] and not is_right
        if label["delimiter"] != "-":
            right["Sniffer", "delimiter"] += theirs["delimiter"] == label["delimiter"]
        if label["header"] != "-":  # it tells whether there is one, and not where
            right["Sniffer", "header"] += theirs["header"] == (label["header"] != "no")

    print(f"{len(labels)} samples")
    heads = ("", "judged", "right", "tuning", "held out", "right, sure", "wrong, sure", "Sniffer")
    print("".join(f"{head:>13}" for head in heads))
    for kind in KINDS:
        percent = lambda count, group: f"{100 * count[kind, group] / judged[kind, group]:.1f} %"
        sniffer = ""
        if kind in ("delimiter", "header"):
            sniffer = f"{100 * right['Sniffer', kind] / judged[kind, 'all']:.1f} %"
        cells = (kind, judged[kind, "all"], percent(right, "all"), percent(right, "tuning"),
                 percent(right, "held"), percent(sure, "all"), wrong[kind, "all"], sniffer)
        print("".join(f"{cell:>13}" for cell in cells))


main()
