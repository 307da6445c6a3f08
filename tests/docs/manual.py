#!/usr/bin/env python3
"""Checks the manual pages of the programs.

    manual.py lint PAGE...          mandoc finds nothing wrong in the pages
    manual.py complete PAGE PROGRAM the page has what "PROGRAM --help" shows, and no more: commands
                                    with their arguments, options with their values, actions

The status is 77, with the reason on standard output, where mandoc is not installed: CTest then skips
the test.
"""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77
OPTION = re.compile(r"^  (?:-(\w), )?--([\w-]+)(?: <(.+?)>)?(?:  |$)")
ACTION = re.compile(r"^  ([a-z]\w*(?: \S+)*)(?:  |$)")
COMMAND = re.compile(r"^  (\w+)  +\S")


def lint(pages):
    if not shutil.which("mandoc"):
        print("SKIP: mandoc is not installed")
        sys.exit(SKIPPED)
    command = ("mandoc", "-T", "lint", "-W", "warning", *pages)
    sys.exit(subprocess.run(command).returncode)


def help_of(program, *command):
    """What the program shows of itself, without a display: the lines of each section."""
    environment = {key: os.environ[key] for key in os.environ if key != "DISPLAY"}
    result = subprocess.run(
        (program, *command, "--help"), stdout=subprocess.PIPE, text=True, env=environment
    )
    if result.returncode != 0:
        sys.exit(f"{program} {' '.join(command)} --help ends with {result.returncode}")
    sections = {"": []}
    name = ""
    for line in result.stdout.splitlines():
        if re.fullmatch(r"[A-Z]\w+:", line):
            name = line[:-1]
        sections.setdefault(name, []).append(line)
    return sections


def matches(pattern, lines):
    return {match.groups(default="") for match in map(pattern.match, lines) if match}


def option(item):
    """The names and the value of an item such as "Fl d , Fl -delimiter Ar TEXT"."""
    match = re.fullmatch(r"(?:Fl (\w) , )?Fl -([\w-]+)(?: Ar (\S+))?", item)
    return match.groups(default="") if match else None


def action(item):
    """The words of an item such as "Cm list Op Ar GROUP", as the help shows them."""
    if not item.startswith("Cm "):
        return None
    return (re.sub(r" Op Ar (\S+)", r" [\1]", item[3:]).replace(" Ar ", " "),)


def read(page):
    """The options and actions of each section, and the commands with their arguments."""
    items, commands = {}, {}
    section = ""
    for line in Path(page).read_text(encoding="utf-8").splitlines():
        macro, _, rest = line.partition(" ")
        if macro == ".Sh":
            section = rest
        elif macro == ".Ss":
            section, _, commands[rest.partition(" ")[0]] = rest.partition(" ")
        elif macro == ".It":
            items.setdefault(section, set()).update({option(rest), action(rest)} - {None})
    return items, commands


def compare(what, page, program):
    """Tells the differences, and returns their number."""
    for entry in sorted(program - page):
        print(f"The page lacks in {what}: {' '.join(entry)}")
    for entry in sorted(page - program):
        print(f"The program lacks in {what}: {' '.join(entry)}")
    return len(page ^ program)


def complete(page, program):
    items, commands = read(page)
    shown = help_of(program)
    general = items["OPTIONS"]
    names = {name for (name,) in matches(COMMAND, shown.get("Commands", []))}
    wrong = compare("the commands", {(name,) for name in commands}, {(name,) for name in names})
    if not names:
        wrong += compare("the options", general, matches(OPTION, shown["Options"]))
    for name in sorted(names & set(commands)):
        parts = help_of(program, name)
        usage = parts[""][0]
        if usage != f"Usage: {Path(program).name} {name} [options] {commands[name]}":
            print(f"The page has other arguments than: {usage}")
            wrong += 1
        found = matches(OPTION, parts["Options"]) | matches(ACTION, parts.get("Arguments", []))
        wrong += compare(name, general | items.get(name, set()), found)
    sys.exit(1 if wrong else 0)


def main():
    if sys.argv[1] == "lint":
        lint(sys.argv[2:])
    complete(*sys.argv[2:])


main()
