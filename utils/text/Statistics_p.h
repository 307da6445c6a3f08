#pragma once

#include "data/Array.h"
#include "utils/base/NumberKey_p.h"
#include "utils/base/Simd_p.h"

#include <QList>

#include <algorithm>

// How Statistics reads columns. The function for each value is a template parameter, so that the
// compiler inlines it into the loop.

namespace Utils {

// A call opens no more bins than this: 16 MB of counts and edges.
constexpr int maxBins = 1000000;

/// The values of a call: a whole column, or the rows that a list of indices selects.
class Selection
{
public:
    /// The number of values that are gathered at a time: they stay in the first-level cache.
    static constexpr int bufferSize = 1024;

    /// Keeps a reference to \p indices.
    Selection(const Data::Array &array, const QList<int> &indices)
        : m_data(array.data), m_rows(rowsOf(array)), m_indices(indices)
    {
        const bool isNone = indices.size() == 1 && indices.first() < 0;
        const bool isNamed = !indices.isEmpty() && m_rows > 0;
        m_size = isNone ? 0 : isNamed ? indices.size() : m_rows;
    }

    int size() const { return m_size; }

    /// The number of values that are read at a time.
    int runLength() const { return m_indices.isEmpty() ? m_size : bufferSize; }

    /// The \p count values from number \p first on. They are gathered in \p buffer if they are not
    /// adjacent.
    const double *values(int first, int count, double *buffer) const
    {
        if (m_indices.isEmpty())
            return m_data + first;

        for (int i = 0; i < count; ++i) {
            const int index = m_indices.at(first + i);
            buffer[i] = index >= 0 && index < m_rows ? m_data[index] : Data::noValue;
        }
        return buffer;
    }

    static int rowsOf(const Data::Array &array)
    {
        return array.data ? std::max(static_cast<qint32>(array.size), 0) : 0;
    }

private:
    const double *m_data;
    int m_rows;
    const QList<int> &m_indices;
    int m_size;
};

/// Calls \p visit with a pointer to values and their count, until all values, including holes, were
/// passed.
template <typename Visit>
void forEachRun(const Selection &selection, Visit visit)
{
    double buffer[Selection::bufferSize];
    for (qint64 first = 0; first < selection.size(); first += selection.runLength()) {
        const int begin = static_cast<int>(first);
        const int count = std::min(selection.runLength(), selection.size() - begin);
        visit(selection.values(begin, count, buffer), count);
    }
}

/// Calls \p visit with each value that is not a hole.
template <typename Visit>
void forEachValue(const Selection &selection, Visit visit)
{
    forEachRun(selection, [&](const double *values, int count) {
        for (int i = 0; i < count; ++i) {
            if (!Data::isHole(values[i]))
                visit(values[i]);
        }
    });
}

/// Calls \p visit with each pair of values without a hole, to the end of the shorter selection.
template <typename Visit>
void forEachPair(const Selection &a, const Selection &b, Visit visit)
{
    double bufferA[Selection::bufferSize];
    double bufferB[Selection::bufferSize];
    const int size = std::min(a.size(), b.size());
    for (qint64 first = 0; first < size; first += Selection::bufferSize) {
        const int begin = static_cast<int>(first);
        const int count = std::min<int>(Selection::bufferSize, size - begin);
        const double *valuesA = a.values(begin, count, bufferA);
        const double *valuesB = b.values(begin, count, bufferB);
        for (int i = 0; i < count; ++i) {
            if (!Data::isHole(valuesA[i]) && !Data::isHole(valuesB[i]))
                visit(valuesA[i], valuesB[i]);
        }
    }
}

/// All bits set for a hole, none for a value. Masking out holes is faster than a branch that cannot
/// be predicted. Only noValue itself has its bits.
inline quint64 holeMask(double value)
{
    return 0 - quint64(bitsOf(value) == bitsOf(Data::noValue));
}

/// The number of values.
int lengthOf(const Selection &selection);

struct Sum
{
    double sum = 0.0;
    int count = 0;

    double mean() const { return count > 0 ? sum / count : 0.0; }
};

Sum sumOf(const Selection &selection);

/// The sum of the squared distances from \p mean; its mean() is the variance.
Sum squaresOf(const Selection &selection, double mean);

double sampleDeviation(const Sum &squares);

/// The number of values, the smallest and the largest one, which are 0.0 when there are none.
struct Ends
{
    double min = 0.0;
    double max = 0.0;
    int count = 0;
};

Ends endsOf(const Selection &selection);

} // namespace Utils
