#!/usr/bin/env python3
"""Extracts the examples of README.md and the guides, runs them and checks the output they show.

    examples.py extract GUIDE FOLDER     writes the sources, and prints their paths
    examples.py run GUIDE FOLDER ROOT    runs what was built of them in FOLDER

A fenced block of a guide is one of these, by the word after the fence:

    cpp          a program, when it has a main(), or else the body of a function that returns
                 true. It must succeed, and print what the block "text" after it shows, or nothing.
                 "// => value" after a statement is the value of its expression, or of the variable
                 that it declares.
    python       a script, for which the same holds. The program kelm runs it.
    text         what the example before it prints
    console      commands, each after "$ ", and what each prints; a line "..." stands for any lines
    LANG file=F  the file F, which lies where the examples of the guide run; it may be an example
    others       those in SHOWN, which show a form or what is done by hand

Each example runs by itself, in a new folder with the guide's files and copies of the project's
folders "examples" and "res", where ROOT is the folder of the project. Without the environment
variable KELM, which names the program, scripts and commands are left out.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

EXAMPLES = {"cpp", "python", "console"}
SHOWN = {"cmake", "ebnf", "none", "sh", "sip"}
FENCE = re.compile(r"^```\s*(.*)$")
PROMISE = re.compile(
    r"^(?P<indent> *)(?P<statement>\S.*);\s*// => "
    r'(?P<value>(?:"(?:[^"\\]|\\.)*"|\{[^}]*\}|[\w.+-]+(?:::\w+)*))(?:[,:;]? .*)?$'
)
DECLARATION = re.compile(r"^(?:const )?[\w:<>, ]+ [&*]?(?P<name>\w+) = .*$")
PROLOGUE = '#include "tests/docs/Example.h"\n\n'


@dataclass
class Block:
    language: str
    name: str  # of the file that it is, or ""
    line: int  # of the guide, that of the text's first line
    text: str = ""
    output: str = ""  # what the example prints

    def is_program(self):
        return self.language == "cpp" and " main(" in self.text

    def is_fragment(self):
        return self.language == "cpp" and not self.is_program()


@dataclass
class Guide:
    path: Path
    blocks: list = field(default_factory=list)

    def fail(self, line, message):
        sys.exit(f"{self.path}:{line}: {message}")

    def fragments(self):
        return [block for block in self.blocks if block.is_fragment()]

    def programs(self):
        return [block for block in self.blocks if block.is_program()]

    def add(self, block):
        if block.language == "text":
            if not self.blocks or self.blocks[-1].language not in {"cpp", "python"}:
                self.fail(block.line, "output of no example")
            self.blocks[-1].output = block.text
            return
        if not block.name and block.language not in EXAMPLES | SHOWN:
            language = block.language or "no language"
            self.fail(
                block.line, f"a block of {language} is not tested: see {Path(__file__).name}"
            )
        self.blocks.append(block)


def read(path):
    guide = Guide(path)
    block = None
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        fence = FENCE.match(line)
        if block is None and fence:
            language, _, name = fence.group(1).partition(" file=")
            block = Block(language, name, number + 1)
        elif fence:
            guide.add(block)
            block = None
        elif block is not None:
            block.text += line + "\n"
    if block is not None:
        guide.fail(block.line, "this block does not end")
    return guide


def checked(line):
    """The line, and where it promises a value the test of it."""
    promise = PROMISE.match(line)
    if not promise:
        if "// =>" in line:
            raise ValueError(line)
        return line
    statement, value = promise["statement"], promise["value"]
    if value.startswith("{"):
        value = value[1:-1]
    declaration = DECLARATION.match(statement)
    subject = declaration["name"] if declaration else statement
    kept = statement + "; " if declaration else ""
    return (
        f"{promise['indent']}{kept}{{ const auto is = {subject}; "
        f"const std::decay_t<decltype(is)> wanted{{{value}}}; "
        "verify(is == wanted, is, __FILE__, __LINE__); }"
    )


def source_of(guide, block):
    lines = []
    for offset, line in enumerate(block.text.splitlines()):
        try:
            lines.append(checked(line))
        except ValueError:
            guide.fail(block.line + offset, "this promise is not understood")
    return f'#line {block.line} "{guide.path}"\n' + "\n".join(lines) + "\n"


def sources(guide):
    """The texts of the files that are built, and of what belongs to them, by their names."""
    fragments = guide.fragments()
    texts = {}
    if fragments:
        text = PROLOGUE
        for number, block in enumerate(fragments):
            body = source_of(guide, block)
            text += f"static bool example{number}()\n{{\n{body}return true;\n}}\n"
        names = ", ".join(f"example{number}" for number in range(len(fragments)))
        text += (
            "int main(int argc, char *argv[])\n{\n"
            f"    return runExample({{{names}}}, argc, argv);\n}}\n"
        )
        texts["examples.cpp"] = text
    for number, block in enumerate(guide.programs(), 1):
        texts[f"program{number}.cpp"] = block.text
        texts[f"program{number}.txt"] = block.output
    for block in guide.blocks:
        if block.name:
            texts[f"files/{block.name}"] = block.text
    return texts


def extract(guide, folder):
    for name, text in sources(guide).items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        # A source that stays the same is not built again.
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")
        if path.parent == folder and path.suffix == ".cpp":
            print(path)


def fits(output, wanted):
    """Whether the output is the wanted one, in which a line "..." stands for any lines."""
    pattern = "".join(
        "(?s:.*)" if line == "..." else re.escape(line + "\n") for line in wanted.splitlines()
    )
    return re.fullmatch(pattern, output) is not None


class Scene:
    """A folder in which one example runs."""

    def __init__(self, guide, folder, root):
        self.folder = folder
        for name in ("examples", "res"):
            shutil.copytree(root / name, Path(folder) / name)
        for block in guide.blocks:
            if block.name:
                path = Path(folder) / block.name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(block.text, encoding="utf-8")
        places = {"HOME": folder, "XDG_CONFIG_HOME": folder, "XDG_RUNTIME_DIR": folder}
        self.environment = dict(os.environ, TZ="UTC", **places)
        kelm = os.environ.get("KELM")
        if kelm:
            self.environment["PATH"] = f"{Path(kelm).parent}:{os.environ['PATH']}"

    def run(self, command, stderr=None):
        result = subprocess.run(
            command, cwd=self.folder, env=self.environment, stdout=subprocess.PIPE, stderr=stderr
        )
        return result.returncode, result.stdout.decode("utf-8", errors="replace")


def complaint(scene, block, command):
    """What is wrong with the example, or nothing."""
    if block.language == "console":
        for part in re.split(r"^\$ ", block.text, flags=re.MULTILINE)[1:]:
            line, _, wanted = part.partition("\n")
            _, output = scene.run(["bash", "-c", line], stderr=subprocess.STDOUT)
            if not fits(output, wanted):
                return f"{line}\nprints\n{output}instead of\n{wanted}"
        return ""
    if block.language == "python":
        (Path(scene.folder) / "example.py").write_text(block.text, encoding="utf-8")
    status, output = scene.run(command)
    if status != 0:
        return f"the example ends with {status}, having printed\n{output}"
    if not fits(output, block.output):
        return f"the example prints\n{output}instead of\n{block.output}"
    return ""


def run(guide, folder, root):
    commands = []
    for number, block in enumerate(guide.fragments()):
        commands.append((block, [folder / "examples", str(number)]))
    for number, block in enumerate(guide.programs(), 1):
        commands.append((block, [folder / f"program{number}"]))
    others = [block for block in guide.blocks if block.language in {"python", "console"}]
    if "KELM" in os.environ:
        commands += [(block, ["kelm", "run", "example.py"]) for block in others]
    elif others:
        print(f"{len(others)} examples are left out, as there is no program kelm")

    bad = 0
    for block, command in commands:
        with tempfile.TemporaryDirectory() as place:
            wrong = complaint(Scene(guide, place, root), block, command)
        if wrong:
            print(f"{guide.path}:{block.line}: {wrong}")
            bad += 1
    print(f"{len(commands) - bad} of {len(commands)} examples are as they should be")
    return bad == 0


def main():
    command, guide, folder = sys.argv[1], read(Path(sys.argv[2])), Path(sys.argv[3])
    if command == "extract":
        extract(guide, folder)
    elif not run(guide, folder, Path(sys.argv[4])):
        sys.exit(1)


main()
