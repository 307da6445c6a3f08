#!/usr/bin/env python3
"""Checks what gdb shows of the types of the library:

    printers.py SOURCE HOST LIBRARY
    printers.py GUIDE HOST LIBRARY    for a guide: a session, where "..." is any text

HOST is the program that is made of SOURCE, whose comments promise what gdb shows. Its functions
call look() at their end, where gdb must keep the promises of the function: in the running program,
and in a core file of it. gdb loads the printers by itself, because they are beside LIBRARY.

Ends with 77 when gdb is missing, or may not run a program.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PROMISE = re.compile(r"^\s*// (?P<expression>\S.*?) => (?P<text>.+)$")
CONTINUED = re.compile(r"^\s*//     (?P<text>.+)$")
STOP = re.compile(r"^\s*look\(\);$")
MARK = "@@@@"
TYPES = (
    "Data::String", "Data::Variant", "Data::VariantCollection", "Data::Color", "Utils::DateTime",
    "Utils::TagFile", "Utils::TagFile::Tag", "Utils::CSVTable", "Utils::PublicSignal",
    "Utils::Slot", "Utils::Settings",
)  # fmt: skip
# For the host: freed memory is overwritten at once. Otherwise it depends on chance whether a
# destroyed object still looks valid.
TUNABLES = "glibc.malloc.tcache_count=0:glibc.malloc.perturb=165"
# Shows random memory as each type.
SHOW_NOISE = """
import gdb
for kind in {types}:
    for offset in range(0, {last}, 8):
        command = f"output *({{kind}} *)((char *)main::noise.words + {{offset}})"
        text = gdb.execute(command, to_string=True)
        if len(text) > 100000:
            print("Python: too long")
"""


def promises(source):
    """The expressions and the texts of each function of the host."""
    groups, current = [], []
    for line in source.read_text(encoding="utf-8").splitlines():
        promise, more = PROMISE.match(line), CONTINUED.match(line)
        if STOP.match(line):
            groups.append(current)
            current = []
        elif more and current:
            separator = "" if current[-1][1].endswith("{") else " "
            current[-1] = (current[-1][0], current[-1][1] + separator + more["text"])
        elif promise:
            current.append((promise["expression"], promise["text"]))
    return groups


class Debugger:
    """gdb, with the host in a folder of its own."""

    def __init__(self, host, library, folder):
        self.host, self.library, self.folder = host, library, folder
        self.environment = dict(
            os.environ, HOME=folder, XDG_CONFIG_HOME=folder, XDG_CONFIG_DIRS=folder, TZ="UTC"
        )

    def run(self, commands, locale="C.UTF-8"):
        """What gdb prints for the commands, and what it complains of."""
        settings = ["set pagination off", "set width 0", "set confirm off"]
        settings.append(f"set environment GLIBC_TUNABLES {TUNABLES}")
        line = ["gdb", "-batch", "-nx", "-iex", f"add-auto-load-safe-path {self.library.parent}"]
        line += ["-iex", "set debuginfod enabled off"]
        for command in (*settings, *commands):
            line += ["-ex", command]
        result = subprocess.run(
            [*line, self.host],
            cwd=self.folder,
            env=dict(self.environment, LC_ALL=locale),
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=300,
        )
        output = result.stdout.decode("utf-8", errors="replace")
        complaints = result.stderr.decode("utf-8", errors="replace")
        return output.replace(self.folder, "FOLDER"), complaints


def shown(promised):
    """Commands that show the expressions."""
    for expression, _ in promised:
        yield f"echo {MARK}"
        yield f"output {expression}"
    yield f"echo {MARK}\\n"


def fits(is_shown, text):
    pattern = re.escape(text).replace("ADDRESS", "0x[0-9a-f]+")
    return re.fullmatch(pattern, is_shown) is not None


def kept(groups, output, title):
    """Prints each promise that the output does not keep, and returns whether there is none."""
    texts = iter(output.split(MARK)[1:])
    is_kept = True
    for group in groups:
        for expression, text in group:
            is_shown = next(texts, "nothing").rstrip("\n")
            if not fits(is_shown, text):
                print(f"{title}: {expression} is shown as\n  {is_shown}\ninstead of\n  {text}")
                is_kept = False
        next(texts, None)  # up to the next stop
    return is_kept


def is_quiet(complaints, title):
    if "Python" in complaints or "Traceback" in complaints:
        print(f"{title}: gdb complains\n{complaints}")
        return False
    return True


def live(debugger, groups):
    """In the running program; and whether gdb may run it."""
    commands = ["break look", "run"]
    for i, group in enumerate(groups):
        commands += ["up", *shown(group), f"generate-core-file core{i}", "continue"]
    output, complaints = debugger.run(commands)
    if "ptrace: " in complaints or "Couldn't get registers" in complaints:
        print(f"gdb may not run programs here: {complaints}")
        sys.exit(77)
    return kept(groups, output, "live") & is_quiet(complaints, "live")


def in_core(debugger, groups):
    commands = []
    for i, group in enumerate(groups):
        commands += [f"core-file core{i}", "up", *shown(group)]
    output, complaints = debugger.run(commands)
    return kept(groups, output, "core file") & is_quiet(complaints, "core file")


def in_ascii(debugger, groups):
    """Where gdb can show only ASCII."""
    escapes = {"µ": r"\xb5", "🔩": r"\U0001f529"}
    group = [
        (expression, "".join(escapes.get(character, character) for character in text))
        for expression, text in groups[0]
    ]
    output, complaints = debugger.run(["core-file core0", "up", *shown(group)], locale="C")
    return kept([group], output, "in ASCII") & is_quiet(complaints, "in ASCII")


def returned(debugger):
    """The result of a function, which has no address."""
    commands = ["break made", "break payload", "run", "finish", "continue", "finish"]
    output, complaints = debugger.run(commands)
    wanted = (
        r'= "made!"$',
        r'= 4 values = \{\["isNew"\] = true, \["path"\] = "a.csv", \["rows"\] = 3, ',
    )
    is_kept = all(re.search(text, output, re.MULTILINE) for text in wanted)
    if not is_kept:
        print(f"returned values are shown as\n{output}")
    return is_kept & is_quiet(complaints, "returned values")


def all_children(debugger):
    """More of them than gdb shows."""
    children = "list(gdb.default_visualizer(gdb.parse_and_eval('many')).children())"
    commands = ["core-file core3", "up", f"python tags = {children}"]
    output, complaints = debugger.run([*commands, "python print(len(tags), tags[999][1])"])
    is_kept = output.endswith('1000 Tag "T999", 0 properties\n')
    if not is_kept:
        print(f"many tags are shown as\n{output}")
    return is_kept & is_quiet(complaints, "many tags")


def noise(debugger):
    """Random memory as objects, in a core file, which is read faster."""
    script = SHOW_NOISE.format(types=TYPES, last=8 * 30)
    command = f"python exec({script!r})"
    output, complaints = debugger.run(["core-file core0", command])
    if "Error" in complaints:
        print(f"random memory: {complaints}")
        return False
    return is_quiet(complaints + output, "random memory")


def loaded(debugger):
    output, _ = debugger.run(["core-file core0", "info pretty-printer"])
    is_loaded = re.search(r"libKelmUtils\S* pretty-printers:\n  KelmUtils\n", output)
    if not is_loaded:
        print(f"gdb has not loaded the printers:\n{output}")
    return bool(is_loaded)


def transcript(guide):
    """The commands and the texts of the session in a guide."""
    text = guide.read_text(encoding="utf-8")
    for part in text.split("\n(gdb) ")[1:]:
        command, _, output = part.partition("\n")
        yield command, output.split("```")[0].rstrip("\n")


def check_guide(guide, debugger):
    debugger.folder = str(guide.parent.parent)  # where the examples are
    steps = list(transcript(guide))
    commands = []
    for command, _ in steps:
        commands += [f"echo {MARK}", command]
    output, complaints = debugger.run(commands)
    is_right = len(steps) > 5 and is_quiet(complaints, "guide")
    for (command, text), is_shown in zip(steps, output.split(MARK)[1:]):
        pattern = re.escape(re.sub("0x[0-9a-f]+", "ADDRESS", text)).replace(r"\.\.\.", "(?s:.*)")
        is_shown = is_shown.rstrip("\n")
        if not re.fullmatch(pattern.replace("ADDRESS", "0x[0-9a-f]+"), is_shown):
            print(f"{guide}: {command} shows\n{is_shown}\ninstead of\n{text}")
            is_right = False
    return is_right


def main():
    source, host, library = (Path(argument) for argument in sys.argv[1:])
    if not shutil.which("gdb"):
        print("gdb is not installed")
        sys.exit(77)
    if source.suffix == ".md":
        with tempfile.TemporaryDirectory() as folder:
            sys.exit(0 if check_guide(source, Debugger(host, library, folder)) else 1)
    groups = promises(source)
    if sum(len(group) for group in groups) < 70:
        sys.exit(f"{source} has too few promises")
    with tempfile.TemporaryDirectory() as folder:
        debugger = Debugger(host, library, folder)
        results = [
            live(debugger, groups),
            loaded(debugger),
            in_core(debugger, groups),
            in_ascii(debugger, groups),
            returned(debugger),
            all_children(debugger),
            noise(debugger),
        ]
    sys.exit(0 if all(results) else 1)


main()
