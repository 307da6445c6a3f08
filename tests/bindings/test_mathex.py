# -*- coding: utf-8 -*-

import math
import sys

import mathex
import suite

INFINITY = float('inf')
NAN = float('nan')


class Mathex(suite.TestCase):

    def assertNaN(self, value):
        self.assertNotEqual(value, value)

    def test_has_no_name_of_math_and_documents_each(self):
        self.assertEqual(set(mathex.__all__) & set(dir(math)), set())
        for name in mathex.__all__:
            self.assertTrue(getattr(mathex, name).__doc__, name)

    def test_imports_decimal_only_when_it_is_needed(self):
        loaded = sys.modules.pop('decimal', None)
        try:
            reload(mathex)
            self.assertNotIn('decimal', sys.modules)
            self.assertEqual(mathex.roundeven(2.665, 2), 2.66)
            self.assertIn('decimal', sys.modules)
        finally:
            if loaded:
                sys.modules['decimal'] = loaded

    def test_brings_functions_alone(self):
        names = {}
        exec 'from mathex import *' in names
        del names['__builtins__']
        self.assertEqual(sorted(names), sorted(mathex.__all__))
        self.assertEqual(mathex.__all__, sorted(
            name for name, value in vars(mathex).items()
            if callable(value) and not name.startswith('_')))

    def test_sign(self):
        for number, sign in [(3, 1), (-2.5, -1), (0, 0), (-0.0, 0), (1e-320, 1), (-INFINITY, -1)]:
            self.assertInt(mathex.sign(number), sign)
        self.assertNaN(mathex.sign(NAN))

    def test_clamp(self):
        for number, clamped in [(5, 3), (-5, 1), (2, 2), (1, 1), (3, 3), (INFINITY, 3)]:
            self.assertEqual(mathex.clamp(number, 1, 3), clamped)
        self.assertEqual(mathex.clamp(7, 2, 2), 2)
        self.assertNaN(mathex.clamp(NAN, 1, 3))
        with self.assertRaises(ValueError):
            mathex.clamp(2, 3, 1)

    def test_lerp(self):
        self.assertEqual(mathex.lerp(10, 20, 0.25), 12.5)
        self.assertEqual(mathex.lerp(10, 20, 1.5), 25)
        self.assertEqual(mathex.lerp(10, 20, -1), 0)
        self.assertEqual(mathex.lerp(1e20, 0.1, 1), 0.1)
        self.assertEqual(mathex.lerp(0.1, 1e20, 0), 0.1)

    def test_unlerp(self):
        self.assertEqual(mathex.unlerp(10, 20, 12.5), 0.25)
        self.assertEqual(mathex.unlerp(10, 20, 25), 1.5)
        self.assertEqual(mathex.unlerp(20, 10, 20), 0)
        self.assertEqual(mathex.unlerp(1, 3, 2), 0.5)  # also of whole numbers
        with self.assertRaises(ValueError):
            mathex.unlerp(1, 1, 1)

    def test_sine_and_cosine_are_exact_at_right_angles(self):
        for angle, sine, cosine in [(0, 0, 1), (90, 1, 0), (180, 0, -1), (270, -1, 0), (360, 0, 1),
                                    (-90, -1, 0), (-180, 0, -1), (-270, 1, 0), (90 + 36e9, 1, 0)]:
            self.assertEqual((mathex.sind(angle), mathex.cosd(angle)), (sine, cosine))
            self.assertNotIn('-0.0', (str(mathex.sind(angle)), str(mathex.cosd(angle))))

    def test_sine_and_cosine_between_right_angles(self):
        for angle in range(-725, 725, 7):
            self.assertAlmostEqual(mathex.sind(angle), math.sin(math.radians(angle)), 13)
            self.assertAlmostEqual(mathex.cosd(angle), math.cos(math.radians(angle)), 13)
        self.assertAlmostEqual(mathex.sind(30), 0.5, 15)
        self.assertAlmostEqual(mathex.cosd(60), 0.5, 15)
        for function in (mathex.sind, mathex.cosd, mathex.tand):
            self.assertNaN(function(NAN))
            with self.assertRaises(ValueError):
                function(INFINITY)

    def test_tangent(self):
        self.assertAlmostEqual(mathex.tand(45), 1, 15)
        self.assertAlmostEqual(mathex.tand(-45), -1, 15)
        self.assertEqual(mathex.tand(180), 0)
        for angle in (90, 270, -90):
            with self.assertRaises(ValueError):
                mathex.tand(angle)

    def test_inverse_functions(self):
        self.assertEqual(mathex.asind(1), 90)
        self.assertEqual(mathex.acosd(-1), 180)
        self.assertEqual(mathex.atand(INFINITY), 90)
        self.assertEqual(mathex.atan2d(1, 0), 90)
        self.assertEqual(mathex.atan2d(0, -1), 180)
        self.assertAlmostEqual(mathex.atan2d(-1, -1), -135, 12)
        self.assertAlmostEqual(mathex.asind(0.5), 30, 12)
        self.assertAlmostEqual(mathex.acosd(0.5), 60, 12)
        self.assertAlmostEqual(mathex.atand(-1), -45, 12)
        for function in (mathex.asind, mathex.acosd):
            with self.assertRaises(ValueError):
                function(1.1)

    def test_hypot3(self):
        self.assertEqual(mathex.hypot3(2, 3, 6), 7)
        self.assertEqual(mathex.hypot3(-2, 0, 0), 2)
        self.assertAlmostEqual(mathex.hypot3(1e200, 1e200, 1e200) / 1e200, math.sqrt(3), 14)
        self.assertEqual(mathex.hypot3(1, INFINITY, 1), INFINITY)

    def test_cbrt(self):
        for root in list(range(-50, 51)) + [1e100, -1e-100, 0.5]:
            self.assertAlmostEqual(mathex.cbrt(float(root) ** 3), root, 15)
        self.assertEqual([mathex.cbrt(number ** 3) for number in range(100)], range(100))
        self.assertEqual(mathex.cbrt(-INFINITY), -INFINITY)
        self.assertEqual(math.copysign(1, mathex.cbrt(-0.0)), -1)
        self.assertNaN(mathex.cbrt(NAN))
        self.assertGreater(mathex.cbrt(1.7e308), 1e102)

    def test_log2(self):
        for exponent in (-1074, -1022, -1, 0, 1, 3, 29, 31, 1023):
            self.assertEqual(mathex.log2(math.ldexp(1, exponent)), exponent)
        self.assertAlmostEqual(mathex.log2(10), 3.321928094887362, 15)
        self.assertEqual(mathex.log2(INFINITY), INFINITY)
        self.assertNaN(mathex.log2(NAN))
        for number in (0, -1, -0.5):
            with self.assertRaises(ValueError):
                mathex.log2(number)

    def test_roundeven(self):
        for number, digits, rounded in [
                (0.5, 0, 0), (1.5, 0, 2), (2.5, 0, 2), (-2.5, 0, -2), (2.51, 0, 3),
                (2.675, 2, 2.68), (2.665, 2, 2.66), (0.15, 1, 0.2), (0.25, 1, 0.2),
                (1250, -2, 1200), (1350, -2, 1400), (49, -2, 0), (3, 5, 3), (1e300, 2, 1e300),
                (5e-324, 1074, 5e-324), (5e-324, 2000, 5e-324), (1.5, 10 ** 9, 1.5),
                (1e300, -400, 0), (1e300, -401, 0), (1.5, -10 ** 9, 0), (1.5, -2 ** 70, 0)]:
            self.assertEqual(mathex.roundeven(number, digits), rounded)
        self.assertIs(type(mathex.roundeven(2)), float)
        self.assertEqual(math.copysign(1, mathex.roundeven(-1.5, -10 ** 9)), -1)
        self.assertEqual(mathex.roundeven(INFINITY), INFINITY)
        self.assertNaN(mathex.roundeven(NAN))

    def test_isclose(self):
        self.assertTrue(mathex.isclose(1e10, 1e10 + 1))
        self.assertFalse(mathex.isclose(1e8, 1e8 + 1))
        self.assertTrue(mathex.isclose(99, 100, 0.01))  # of the larger one
        self.assertFalse(mathex.isclose(0, 1e-12))
        self.assertTrue(mathex.isclose(0, 1e-12, absolute=1e-9))
        self.assertTrue(mathex.isclose(INFINITY, INFINITY))
        self.assertFalse(mathex.isclose(INFINITY, 1e300))
        self.assertFalse(mathex.isclose(-INFINITY, INFINITY, 10))
        self.assertFalse(mathex.isclose(NAN, NAN))

    def test_refuses_what_is_no_number(self):
        for function in (mathex.sind, mathex.cosd, mathex.tand, mathex.asind, mathex.acosd,
                         mathex.atand, mathex.log2):
            with self.assertRaises(TypeError):
                function('1x')


suite.run()
