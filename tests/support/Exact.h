#pragma once

#include <QStringList>

#include <cmath>

// Numbers as text that tells all of them apart, also 0.0 from -0.0, but no NaN from another. With
// it QCOMPARE compares to the last bit, where it takes doubles for equal that are only close.

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
