#!/usr/bin/env python3
"""Starts the installed workbench with a file, and checks its window: window.py PROGRAM FILE ENTRY

The window must show the name of the file, have an icon, and be the one that the desktop entry ENTRY
describes; then the program must end with it. Run it by tests/workbench/display.
"""

import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

PATIENCE = 60  # seconds
FRAME = 0xFF22405C  # a colour in the icon


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout


def find_window(process, name):
    """The id of the window that has the name in its title."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline and process.poll() is None:
        listed = output_of("xprop", "-root", "_NET_CLIENT_LIST")
        for window in re.findall(r"0x[0-9a-f]+", listed):
            if name in output_of("xprop", "-id", window, "_NET_WM_NAME"):
                return window
        time.sleep(0.1)
    sys.exit(f"no window of {name}; the program's status is {process.poll()}")


def check(window, entry):
    wanted = re.search(r"^StartupWMClass=(.*)$", entry, re.MULTILINE)[1]
    name = output_of("xprop", "-id", window, "WM_CLASS")
    if f'"{wanted}"' not in name:
        sys.exit(f"the desktop entry wants {wanted}: {name}")
    icon = output_of("xprop", "-id", window, "-f", "_NET_WM_ICON", "32c", "_NET_WM_ICON")
    if f" {FRAME}," not in icon:
        sys.exit(f"the icon of the window is not ours: {icon[:80]}")


def main():
    program, path, entry = sys.argv[1:]
    # Nothing but the installed tree may be needed.
    for variable in ("KELM_RES_DIR", "KELM_HOME_DIR", "PYTHON_DIR", "LD_LIBRARY_PATH"):
        os.environ.pop(variable, None)
    process = subprocess.Popen((program, "--language", "en", path), cwd="/")
    try:
        window = find_window(process, Path(path).name)
        check(window, Path(entry).read_text(encoding="utf-8"))
        process.send_signal(signal.SIGTERM)
        process.wait(PATIENCE)
    finally:
        process.kill()


main()
