# -*- coding: utf-8 -*-
"""Young's modulus and tensile strength from the table of a tensile test.

Open examples/data/load_curve.csv and this script in the workbench, and run it by F8.
"""

import math

import Workbench

DIAMETER = 10.0  # mm, of the bar

table = Workbench.table()
forces = table.column("Force").values()
strains = table.column("Strain").values()
area = math.pi * DIAMETER ** 2 / 4.0

# Holes are nan, which differs from itself.
points = [(strain, 1000.0 * force / area) for strain, force in zip(strains, forces)
          if strain == strain and force == force]
strength = max(stress for strain, stress in points)
elastic = [(strain, stress) for strain, stress in points
           if 20.0 < stress < 300.0 and strain < 2.0]

# The line through the elastic part; the strain is in mm/m.
mean_strain = sum(strain for strain, stress in elastic) / len(elastic)
mean_stress = sum(stress for strain, stress in elastic) / len(elastic)
slope = (sum((strain - mean_strain) * (stress - mean_stress)
             for strain, stress in elastic) /
         sum((strain - mean_strain) ** 2 for strain, stress in elastic))

print "%d of %d rows have a strain and a force" % (len(points), table.numRows())
print "Young's modulus   %8.0f N/mm²" % (1000.0 * slope)
print "Tensile strength  %8.0f N/mm²" % strength
Workbench.setScriptResult(round(strength, 1))
