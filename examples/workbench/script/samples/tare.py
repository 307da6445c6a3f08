"""Sets the force at the start of a test to zero. Ctrl+Z takes it back, all rows at once.

Open examples/data/load_curve.csv and this script in the workbench, and run it by F8.
"""

import Workbench

table = Workbench.table()
forces = table.column("Force").values()
offset = forces[0]
for row, force in enumerate(forces):
    if force == force:  # a hole is nan, which differs from itself
        table.setCell(row, "Force", round(force - offset, 3))
print "%d rows are changed by %g %s" % (len(forces), -offset, table.column("Force").unit())
