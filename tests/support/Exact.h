#pragma once

#include <QStringList>

#include <cmath>

// Comparing numbers to the last bit: QCOMPARE takes doubles for equal that are only close, and 0.0
// for -0.0. All NaN values are equal.

/// A number as text that is different for each number.
inline QString exact(double value)
{
    return std::isnan(value) ? QStringLiteral("nan")
                             : QString::asprintf("%a (%.17g)", value, value);
}

template <typename List>
QStringList exact(const List &values)
{
    QStringList texts;
    for (const double value : values)
        texts.append(exact(value));
    return texts;
}

inline bool isExactly(double a, double b)
{
    return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

/// Where two lists part, "" when they do not: for lists that are too long to be shown.
template <typename List, typename Other>
QString difference(const List &found, const Other &expected)
{
    if (found.size() != expected.size())
        return QStringLiteral("%1 numbers, not %2").arg(found.size()).arg(expected.size());
    for (int i = 0; i < found.size(); ++i) {
        if (!isExactly(found[i], expected[i]))
            return QStringLiteral("%1 at %2, not %3")
                .arg(exact(static_cast<double>(found[i])))
                .arg(i)
                .arg(exact(static_cast<double>(expected[i])));
    }
    return {};
}
