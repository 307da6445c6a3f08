#!/usr/bin/env python3
"""Checks what a desktop knows the workbench by: desktop.py CHECK ROOT VERSION

    entry     desktop-file-validate finds nothing wrong in the desktop entry
    metainfo  appstreamcli finds nothing wrong in the AppStream data, which are of this VERSION
    kinds     the desktop offers the workbench for the files that it opens: for each pattern in
              Kinds.cpp, the type that the shared MIME database finds, with the type that we add

ROOT is the folder of the project. The status is 77, with the reason on standard output, where a
program that checks is not installed: CTest then skips the test.
"""

import fnmatch
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path
from xml.etree import ElementTree

SKIPPED = 77
SYSTEM_TYPES = Path("/usr/share/mime/packages/freedesktop.org.xml")
MIME = "{http://www.freedesktop.org/standards/shared-mime-info}"
PLAIN = {"text/plain", "text/x-python", "text/x-python3"}  # any editor is better for these


def run(*command):
    """What the command prints. The test fails when the command does."""
    if not shutil.which(command[0]):
        print(f"SKIP: {command[0]} is not installed")
        sys.exit(SKIPPED)
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        sys.exit(f"{command[0]} ends with {result.returncode}\n{result.stdout}")
    return result.stdout


def entry_of(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    return dict(line.split("=", 1) for line in lines if "=" in line)


def check_entry(root, _):
    path = root / "examples/workbench/desktop/kelm-workbench.desktop"
    output = run("desktop-file-validate", str(path))
    if output:
        sys.exit(output)
    icon = root / "examples/workbench/res/icons" / (entry_of(path)["Icon"] + ".svg")
    if not icon.exists():
        sys.exit(f"there is no {icon}")


def check_metainfo(root, version):
    path = root / "examples/workbench/desktop/example.kelmutils.workbench.metainfo.xml"
    run("appstreamcli", "validate", "--no-net", str(path))
    component = ElementTree.parse(path).getroot()
    newest = component.find("releases/release").get("version")
    if newest != version:
        sys.exit(f"the newest release is {newest} instead of {version}")
    launched = component.findtext("launchable")
    if not (path.parent / launched).exists():
        sys.exit(f"there is no {launched}")


def type_of(pattern, types):
    """The type of files that match the pattern, or nothing."""
    found = [
        (int(glob.get("weight", "50")), kind.get("type"))
        for kind in types
        for glob in kind.iter(MIME + "glob")
        if fnmatch.fnmatch(pattern.replace("*", "a"), glob.get("pattern"))
    ]
    return max(found)[1] if found else None


def check_kinds(root, _):
    ours = root / "examples/workbench/desktop/kelm-workbench.xml"
    with tempfile.TemporaryDirectory() as folder:
        packages = Path(folder) / "mime/packages"
        packages.mkdir(parents=True)
        shutil.copy(ours, packages)
        # It notes that any other folder is unusual.
        os.environ["XDG_DATA_HOME"] = folder
        output = run("update-mime-database", str(packages.parent))
    if output:
        sys.exit(output)
    if not SYSTEM_TYPES.exists():
        print(f"SKIP: there is no {SYSTEM_TYPES}")
        sys.exit(SKIPPED)

    types = [
        kind
        for path in (SYSTEM_TYPES, ours)
        for kind in ElementTree.parse(path).getroot().iter(MIME + "mime-type")
    ]
    entry = entry_of(root / "examples/workbench/desktop/kelm-workbench.desktop")
    offered = set(entry["MimeType"].split(";")) - {""}
    unknown = offered - {kind.get("type") for kind in types}
    if unknown:
        sys.exit(f"nobody knows the types {', '.join(sorted(unknown))}")
    kinds = (root / "examples/workbench/Kinds.cpp").read_text(encoding="utf-8")
    patterns = re.findall(r'"(\*\.\w+)"', kinds)
    if "*.csv" not in patterns:
        sys.exit("Kinds.cpp has no patterns")
    for pattern in patterns:
        found = type_of(pattern, types)
        if found and found not in offered | PLAIN:
            sys.exit(f"the desktop entry has no type {found} for {pattern}")


def main():
    name, root, version = sys.argv[1:]
    checks = {"entry": check_entry, "metainfo": check_metainfo, "kinds": check_kinds}
    checks[name](Path(root), version)


main()
