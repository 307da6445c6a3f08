#!/usr/bin/env python3
"""Fails where a Natvis file is not as the sources are: natvis.py FILE PRINTERS ROOT

The file must be well-formed and have only known elements. A header must declare each type and each
member of ours that it names. Offsets in types of Qt must be those of PRINTERS, which are tested.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

NAMESPACE = "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}"
ELEMENTS = set(
    "AutoVisualizer Type DisplayString StringView Expand Item ExpandedItem TreeItems Size "
    "HeadPointer LeftPointer RightPointer ValueNode CustomListItems Variable Loop Exec "
    "Synthetic".split()
)
WANTED = set(
    "Data::String Data::Variant Data::Color Utils::DateTime Utils::TagFile Utils::TagFile::Tag "
    "Utils::CSVTable Utils::Signal Utils::Slot Utils::Settings".split()
) | {"QMap<Data::String,Data::Variant>"}
TYPE = re.compile(r"\b(?:Data|Utils)(?:::\w+)+")
# Members of our classes, but not those of the standard library of Visual C++, which begin with "_".
MEMBER = re.compile(r"(?:\b(m_\w+)|_(?:Myval2|Ptr)->(?!d_ptr)(\w+))")
OFFSET = re.compile(r"[+] (\d+)")


def sources(root):
    """The texts of all headers and of the sources with private classes, without comments."""
    files = [file for name in ("data", "utils") for file in (root / name).rglob("*.h")]
    files.append(root / "utils/csv/CSVReader.cpp")
    return "\n".join(re.sub(r"//.*", "", file.read_text(encoding="utf-8")) for file in files)


def expressions(node):
    """The texts and the attributes of a node that may have expressions."""
    for part in node.iter():
        yield part.text or ""
        yield from part.attrib.values()


def is_declared(name, text):
    last = name.split("::")[-1]
    return re.search(rf"\b(?:class|struct)\s+(?:KELMUTILS_EXPORT\s+)?(?:\w+::)?{last}\b", text)


def complaints(tree, printers, text):
    for node in tree.iter():
        if node.tag.removeprefix(NAMESPACE) not in ELEMENTS:
            yield f"there is no element {node.tag}"
    types = tree.findall(f"{NAMESPACE}Type")
    names = {node.get("Name") for node in types}
    yield from (f"{name} is missing" for name in WANTED - names)
    known = set(re.findall(r"\b\d+\b", re.sub(r"(?s).*# Offsets|\n\n\n.*", "", printers)))
    for node in types:
        for expression in expressions(node):
            for name in TYPE.findall(expression):
                if not is_declared(name, text):
                    yield f"no header declares {name}"
            for match in MEMBER.finditer(expression):
                member = match[1] or match[2]
                if not re.search(rf"\b{member}\b[^(;]*;", text):
                    yield f"no class has the member {member} of {node.get('Name')}"
            if "d_ptr" in expression:
                for offset in set(OFFSET.findall(expression)) - known - {"1"}:
                    yield f"{node.get('Name')} has an offset {offset}, which the printers have not"
    if len(names) != len(types):
        yield "a type occurs twice"


def main():
    file, printers, root = (Path(argument) for argument in sys.argv[1:])
    tree = ElementTree.parse(file).getroot()
    wrong = sorted(set(complaints(tree, printers.read_text(encoding="utf-8"), sources(root))))
    for complaint in wrong:
        print(f"{file}: {complaint}")
    sys.exit(1 if wrong else 0)


main()
