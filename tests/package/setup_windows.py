"""Checks that tools/setup-windows builds Qt again when the way it is built has changed, and not
when only a comment has.

    python3 setup_windows.py tools/setup-windows
"""

import pathlib
import subprocess
import sys
import tempfile

script = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")

# What stands in the script, and what stands there after a change.
changes = [
    ("version=5.15.8", "version=5.15.9"),
    ("optimization=-O1", "optimization=-O2"),
    ("-no-libjpeg", "-qt-libjpeg"),
    ("-no-feature-$feature", "-feature-$feature"),
    ("    textmarkdownreader", "    texthtmlparser"),
    ("tools=(moc ", "tools=("),
    ("/false/' \"$plugin/windows.pri\"", "/true/' \"$plugin/windows.pri\""),
    ("QMAKE_CFLAGS_OPTIMIZE_FULL = $optimization", "QMAKE_CFLAGS_OPTIMIZE_FULL = -O3"),
    ("-posix\" \"$work/bin", "-win32\" \"$work/bin"),
    ("fetch-source bookworm", "fetch-source trixie"),
    ("sub-src-qmake_all", "qmake_all"),
    ('rm -rf "$made/doc"', 'rm -rf "$made/plugins"'),
    ("\"$work/installed\" install ", "\"$work/installed\" install_docs "),
]
kept = [
    ("# Unpacks the source", "# Now unpacks the source"),
    ("leave_out_tablets() {\n", "leave_out_tablets() {\n\n    # A comment.\n"),
    ("optimization=-O1\n", "optimization=-O1\n\n"),
    ("One at a time.", "Only one at a time."),
    ("say 'done'", "say 'ready'"),
]


def recipe_of(text):
    """The recipe of a copy of the script with this text."""
    with tempfile.TemporaryDirectory() as folder:
        tools = pathlib.Path(folder, "tools")
        tools.mkdir()
        copy = tools / "setup-windows"
        copy.write_text(text, encoding="utf-8")
        recipe = subprocess.run(
            ["bash", copy, "--recipe"], check=True, capture_output=True, text=True
        ).stdout
        made = sorted(path.name for path in pathlib.Path(folder).rglob("*"))
        assert made == ["setup-windows", "tools"], f"--recipe makes {made}"
        return recipe


recipe = recipe_of(script)
failures = []
if len(recipe) < 32:
    failures.append(f"the recipe is {recipe!r}")
for expected, pairs in ((True, changes), (False, kept)):
    for old, new in pairs:
        if old not in script:
            failures.append(f"the script has no {old!r}")
        elif (recipe_of(script.replace(old, new, 1)) != recipe) != expected:
            failures.append(f"{new!r} in place of {old!r}: changed should be {expected}")
print("\n".join(failures))
sys.exit(1 if failures else 0)
