#!/usr/bin/env python3
"""Prints columns of numbers and what Statistics has to return for them, as JSON.

    tests/text/statistics_reference.py > tests/text/statistics_reference.json

Everything is computed with fractions, so the results are exact, and roots with 80 digits. The
numbers are rounded to doubles only when they are printed.
"""

import json
import random
from decimal import Decimal, getcontext
from fractions import Fraction
from math import comb

HOLE = 1e300
PERCENTS = [0, 2.5, 10, 25, 33.3, 50, 75, 90, 99, 100]
WINDOWS = [(0, 0), (1, 1), (4, 0), (0, 3), (3, 6), (100, 100)]
# The normal distribution's upper quartile, as a double is what the library multiplies by.
ROBUST = Fraction(1.482602218505602)

getcontext().prec = 80
getcontext().Emin = -999999
getcontext().Emax = 999999


def root(fraction):
    number = Decimal(fraction.numerator) / Decimal(fraction.denominator)
    return Fraction(number.sqrt())


def in_range(fraction):
    """The nearest double, or None beyond their range."""
    try:
        return float(fraction)
    except OverflowError:
        return None


def exact(numbers):
    return [Fraction(number) for number in numbers if number != HOLE]


def pairs(a, b):
    return [
        (Fraction(left), Fraction(right))
        for left, right in zip(a, b)
        if left != HOLE and right != HOLE
    ]


def mean(values):
    return sum(values) / len(values) if values else Fraction(0)


def squares(values):
    centre = mean(values)
    return sum((value - centre) ** 2 for value in values)


def percentile(values, percent):
    ordered = sorted(values)
    if not ordered:
        return Fraction(0)
    position = (len(ordered) - 1) * Fraction(percent) / 100
    index = int(position)
    if index + 1 == len(ordered):
        return ordered[index]
    return ordered[index] + (position - index) * (ordered[index + 1] - ordered[index])


def absolute_deviation(values):
    centre = percentile(values, 50)
    return percentile([abs(value - centre) for value in values], 50)


def weighted(values, weights):
    counted = [(value, weight) for value, weight in pairs(values, weights) if weight > 0]
    if not counted:
        return Fraction(0), Fraction(0)
    total = sum(weight for _, weight in counted)
    centre = sum(value * weight for value, weight in counted) / total
    if len(counted) < 2:
        return centre, Fraction(0)
    spread = sum(weight * (value - centre) ** 2 for value, weight in counted)
    of_squares = sum(weight**2 for _, weight in counted)
    return centre, root(total / (total**2 - of_squares) * spread)


def correlation(a, b):
    both = pairs(a, b)
    left = [pair[0] for pair in both]
    right = [pair[1] for pair in both]
    if len(both) < 2 or len(set(left)) == 1 or len(set(right)) == 1:
        return Fraction(0)
    products = sum((x - mean(left)) * (y - mean(right)) for x, y in both)
    return products / root(squares(left) * squares(right))


def solve(matrix, right):
    """The solution of an equation system, by elimination."""
    rows = [line + [value] for line, value in zip(matrix, right)]
    size = len(rows)
    for column in range(size):
        pivot = next(row for row in range(column, size) if rows[row][column] != 0)
        rows[column], rows[pivot] = rows[pivot], rows[column]
        for row in range(size):
            if row != column:
                factor = rows[row][column] / rows[column][column]
                rows[row] = [a - factor * b for a, b in zip(rows[row], rows[column])]
    return [rows[i][size] / rows[i][i] for i in range(size)]


def evaluate(factors, x):
    return sum(factor * x**power for power, factor in enumerate(factors))


def fit(x, y, degree):
    both = pairs(x, y)
    if len({pair[0] for pair in both}) <= degree:
        return None
    centre = mean([pair[0] for pair in both])
    moved = [(left - centre, right) for left, right in both]
    # The normal equations lose nothing in fractions.
    matrix = [
        [sum(left ** (i + j) for left, _ in moved) for j in range(degree + 1)]
        for i in range(degree + 1)
    ]
    factors = solve(matrix, [sum(right * left**i for left, right in moved) for i in range(degree + 1)])
    terms = [
        [factors[j] * comb(j, i) * (-centre) ** (j - i) for j in range(i, degree + 1)]
        for i in range(degree + 1)
    ]
    coefficients = [sum(term) for term in terms]
    residuals = [right - evaluate(factors, left - centre) for left, right in both]
    total = squares([right for _, right in both])
    square = sum(residual**2 for residual in residuals)
    low, high = min(both)[0], max(both)[0]
    points = [float(low), float(high), float(low + (high - low) / 3)]
    every = iter(residuals)
    return {
        "degree": degree,
        "count": len(both),
        "coefficients": [float(coefficient) for coefficient in coefficients],
        # What rounding of the terms that cancel each other is relative to
        "sizes": [float(sum(map(abs, term))) for term in terms],
        "rSquared": float(1 - square / total) if total else 0.0,
        "residualSumSquare": float(square),
        "residuals": [
            HOLE if HOLE in (left, right) else float(next(every)) for left, right in zip(x, y)
        ],
        "points": points,
        "values": [float(evaluate(factors, Fraction(point) - centre)) for point in points],
        "spread": float(max((abs(right - mean([b for _, b in both])) for _, right in both))),
    }


def moving(column, before, after):
    means = []
    for row in range(len(column)):
        window = exact(column[max(0, row - before) : row + after + 1])
        means.append(float(mean(window)) if window else HOLE)
    return means


def results(name, x, y, weights):
    values = exact(x)
    deviation = absolute_deviation(values)
    weighted_mean, weighted_deviation = weighted(x, weights)
    fits = []
    for degree in range(4):
        try:
            fits.append(fit(x, y, degree))
        except OverflowError:  # a result is not in the range of a double
            break
    return {
        "name": name,
        "x": x,
        "y": y,
        "weights": weights,
        "percentiles": [[percent, float(percentile(values, percent))] for percent in PERCENTS],
        "medianAbsoluteDeviation": float(deviation),
        "robustDeviation": float(deviation * ROBUST),
        "weightedMean": float(weighted_mean),
        "weightedDeviation": float(weighted_deviation),
        "correlation": float(correlation(x, y)),
        "mean": float(mean(values)),
        "variance": in_range(squares(values) / len(values)) if values else 0.0,
        "deviation": float(root(squares(values) / (len(values) - 1))) if len(values) > 1 else 0.0,
        "fits": [one for one in fits if one],
        "moving": [[before, after, moving(x, before, after)] for before, after in WINDOWS],
    }


def holed(numbers, every):
    return [HOLE if RANDOM.random() < every else number for number in numbers]


RANDOM = random.Random(20)


def columns():
    def normal(size, centre=0.0, spread=1.0):
        return [RANDOM.gauss(centre, spread) for _ in range(size)]

    def uniform(size, low, high):
        return [RANDOM.uniform(low, high) for _ in range(size)]

    def around(x, factors, spread):
        return [float(evaluate(factors, value)) + RANDOM.gauss(0, spread) for value in x]

    x = normal(40, 50, 12)
    yield "random", x, around(x, [3, 0.5], 4), uniform(40, 0.1, 2)

    x = normal(40, 50, 12)
    y = around(x, [3, 0.5], 4)
    yield "holes", holed(x, 0.2), holed(y, 0.2), holed(uniform(40, 0.1, 2), 0.2)

    yield "nothing", [], [], []
    yield "only holes", [HOLE, HOLE], [1.0, HOLE], [1.0, 1.0]
    yield "one value", [7.25], [3.0], [2.0]
    yield "one value among holes", [HOLE, 7.25, HOLE], [1.0, 3.0, 2.0], [1.0, 2.0, HOLE]
    yield "two values", [0.1, 0.7], [3.0, -4.0], [0.3, 2.0]
    yield "equal values", [0.1] * 30, normal(30), uniform(30, 0.1, 2)
    yield "equal y", normal(30), [0.1] * 30, [0.7] * 30

    moved = uniform(40, 0, 100)
    x = [1e15 + value for value in moved]
    y = [1e15 + value for value in around([a - 1e15 for a in x], [3, 2], 5)]
    yield "offset 1e15", x, y, uniform(40, 0.1, 2)

    x = [-1e15 + value for value in moved]
    yield "offset -1e15 in x", holed(x, 0.1), around(moved, [1, 2, 0.1], 1), uniform(40, 0.1, 2)

    x = [1.7e9 + 60.0 * minute for minute in range(40)]
    yield "dates", x, around([a - 1.7e9 for a in x], [20, 0.001], 0.5), uniform(40, 0.1, 2)

    yield "outlier first", [1e15] + normal(40), normal(41), [1e15] + uniform(40, 0.5, 1)
    yield "magnitudes", [
        RANDOM.choice([-1, 1]) * 10 ** RANDOM.uniform(-8, 8) for _ in range(40)
    ], normal(40), [10 ** RANDOM.uniform(-8, 8) for _ in range(40)]
    yield "tiny", [1e-200 * a for a in normal(30)], [1e-200 * a for a in normal(30)], [1e-250] * 30
    yield "huge", [1e250 * a for a in normal(30)], [1e250 * a for a in normal(30)], [1e250] * 30
    yield "weights of 0 and below", normal(20), normal(20), [0.0, -1.0, 1.0, 2.0] * 5
    yield "one great weight", normal(20), normal(20), [1.0] * 7 + [1e15] + [1.0] * 12
    yield "different lengths", normal(20), normal(15), uniform(17, 0.1, 2)
    yield "repeated x", [float(i % 5) for i in range(40)], normal(40), uniform(40, 0.1, 2)


def main():
    print(
        "[\n"
        + ",\n".join(json.dumps(results(*column), separators=(",", ":")) for column in columns())
        + "\n]"
    )


main()
