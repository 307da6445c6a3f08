# -*- coding: utf-8 -*-
"""What a script sees of the library: kelm run --verbose examples/scripts/tour.py [FOLDER]

FOLDER gets the files that the tour makes; without it they go to the folder for temporary files.
"""

import sys
import time

from KelmUtils import Utils


def heading(text):
    print "\n  " + text


def write_report(path, lines):
    if not Utils.File.write(path, lines):
        sys.exit("Cannot write " + path)
    print "  %s: %d bytes" % (Utils.File.base(path, True), Utils.File.size(path))


here = Utils.File.parentFolder(sys.argv[0])
data = Utils.File.cleanPath(Utils.File.join(here, "..", "data"))
folder = Utils.File.join(sys.argv[1] if len(sys.argv) > 1 else Utils.File.tempPath(), "tour")
Utils.File.createDir(folder)

heading("Files: the samples, by pattern, with their sizes")
samples = sorted(Utils.File.search(data, "*.csv;*.txt;*.tag;*.xml", False), key=str)
for path in samples:
    print "  %-16s %s" % (Utils.File.base(path, True), Utils.File.sizeString(path))
print "  S235 is first in", Utils.File.base(Utils.File.searchInFiles("S235", samples), True)

heading("Settings: each change is a signal, which kelm reports on the side")
settings = Utils.Settings("Tour")
settings.setInt("runs", settings.getInt("runs") + 1)
settings.setString("last", Utils.File.base(samples[0], True))
for path in samples[:2]:
    settings.addMRU("samples", path)
print "  runs:", settings.getInt("runs"), " recent:", ", ".join(
    str(Utils.File.base(path, True)) for path in settings.getMRU("samples"))

heading("Texts: from the catalogue, in the language of the user")
text = Utils.StringTable.lookup(".Kelm.Console.msg.weight")
print "  " + str(text).replace("%1", "S235").replace("%2", "812")
print "  units:", ", ".join(
    str(Utils.StringTable.lookupi(".Kelm.Console.ctx.units", index)) for index in range(3))

heading("A child process: its output is read while it runs")
process = Utils.Process("wc", ["-l", Utils.File.join(data, "load_curve.csv")])
if not process.start() or not process.wait():
    sys.exit(str(process.errorMessage()))
print "  %s gives %s, with status %d" % (
    "wc -l", str(process.output()).split()[0], process.exitCode())

heading("Progress: a bar on the terminal, where Esc cancels")
count = 0
progress = Utils.Progress(len(samples) * 20, "Counting lines", True)
progress.show()
for path in samples:
    count += str(Utils.File.read(path)).count("\n")
    for step in range(20):
        time.sleep(0.005)
        if not progress.tick():
            break
progress.hide()
if progress.cancelled():
    sys.exit("Cancelled")
print "  %d lines in %d files" % (count, len(samples))

heading("Files again: what the tour has found")
write_report(Utils.File.join(folder, "report.txt"), ["lines " + str(count)])
Utils.File.remove(Utils.File.join(folder, "*"))
Utils.File.remove(folder)
