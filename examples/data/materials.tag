$ Sample materials. Not for design.
*TYPE
name: materials
version: 2

$ All values are in these units.
*units
length: mm
stress: N/mm²
density: kg/mm³
temperature: °C
conductivity: W/(m K)
specificHeat: J/(kg K)
expansion: 1/K

*material
name: S235
kind: structural steel
standard\:year: EN 10025-2:2019
density: 7.85e-06
youngsModulus: 210000
poissonRatio: 0.3
shearModulus: 80769.2
yieldStrength: 235
tensileStrength: 360
conductivity: 54
specificHeat: 470
expansion: 1.2e-05
isotropic: yes
metal: yes
uses: frames; plates
$ temperature and modulus
modulusTable:4
20 210000
100 204960
200 198660
300 192360

*material
name: S355
kind: structural steel
standard\:year: EN 10025-2:2019
density: 7.85e-06
youngsModulus: 210000
poissonRatio: 0.3
shearModulus: 80769.2
yieldStrength: 355
tensileStrength: 490
conductivity: 50
specificHeat: 470
expansion: 1.2e-05
isotropic: yes
metal: yes
uses: bridges; cranes
$ temperature and modulus
modulusTable:4
20 210000
100 204960
200 198660
300 192360

*material
name: 42CrMo4
kind: tempering steel
density: 7.85e-06
youngsModulus: 210000
poissonRatio: 0.3
shearModulus: 80769.2
yieldStrength: 900
tensileStrength: 1100
conductivity: 42
specificHeat: 460
expansion: 1.15e-05
isotropic: yes
metal: yes
uses: shafts; gears; bolts
$ temperature and modulus
modulusTable:4
20 210000
100 204960
200 198660
300 192360

*material
name: X5CrNi18-10
kind: stainless steel
density: 7.9e-06
youngsModulus: 200000
poissonRatio: 0.3
shearModulus: 76923.1
yieldStrength: 230
tensileStrength: 540
conductivity: 15
specificHeat: 500
expansion: 1.6e-05
isotropic: yes
metal: yes
uses: tanks; pipes
$ temperature and modulus
modulusTable:4
20 200000
100 194240
200 187040
300 179840

*material
name: GJL-250
kind: grey cast iron
density: 7.2e-06
youngsModulus: 110000
poissonRatio: 0.26
shearModulus: 43650.8
yieldStrength: 165
tensileStrength: 250
conductivity: 48
specificHeat: 500
expansion: 1.1e-05
isotropic: yes
metal: yes
uses: housings; machine beds
$ temperature and modulus
modulusTable:4
20 110000
100 106040
200 101090
300 96140

*material
name: EN AW-6082 T6
kind: aluminium alloy
density: 2.7e-06
youngsModulus: 70000
poissonRatio: 0.33
shearModulus: 26315.8
yieldStrength: 260
tensileStrength: 310
conductivity: 172
specificHeat: 897
expansion: 2.34e-05
isotropic: yes
metal: yes
uses: profiles; cranes
$ temperature and modulus
modulusTable:4
20 70000
100 66920
200 63070
300 59220

*material
name: Ti-6Al-4V
kind: titanium alloy
density: 4.43e-06
youngsModulus: 114000
poissonRatio: 0.34
shearModulus: 42537.3
yieldStrength: 880
tensileStrength: 950
conductivity: 6.7
specificHeat: 560
expansion: 8.6e-06
isotropic: yes
metal: yes
uses: blades; implants
$ temperature and modulus
modulusTable:4
20 114000
100 109440
200 103740
300 98040

*material
name: PA 66
kind: polyamide
standard\:year: ISO 16396-1:2015
density: 1.14e-06
youngsModulus: 3000
poissonRatio: 0.39
shearModulus: 1079.14
yieldStrength: 80
tensileStrength: 80
conductivity: 0.25
specificHeat: 1700
expansion: 8e-05
isotropic: yes
metal: no
uses: 
$ temperature and modulus
modulusTable:4
20 3000
100 2328
200 1488
300 648
