#include "utils/text/List.h"

#include <cmath>
#include <utility>
#include <vector>

namespace Utils {

// The elements may have no order (what is not a number, empty texts), so that no sort of the
// standard library takes them, and what comes out depends on the sort. This one takes any relation:
// no scan leaves the range. Pivot is the middle of first, centre and last.
template <typename Element, typename IsBefore>
static void quickSort(Element *start, Element *end, IsBefore isBefore)
{
    while (end - start >= 2) {
        Element *const last = end - 1;
        Element *const centre = start + (end - start) / 2;
        if (isBefore(*last, *start))
            std::swap(*last, *start);
        if (end - start == 2)
            return;
        if (isBefore(*centre, *start))
            std::swap(*centre, *start);
        if (isBefore(*last, *centre))
            std::swap(*last, *centre);
        if (end - start == 3)
            return;

        std::swap(*centre, *last);
        Element *low = start;
        Element *high = last - 1;
        while (low < high) {
            while (low < high && isBefore(*low, *last))
                ++low;
            while (low < high && isBefore(*last, *high))
                --high;
            if (low < high) {
                std::swap(*low, *high);
                ++low;
                --high;
            }
        }
        if (isBefore(*low, *last))
            ++low;
        std::swap(*last, *low);

        // The shorter side first, so that the stack stays low.
        if (low - start < end - low) {
            quickSort(start, low, isBefore);
            start = low + 1;
        } else {
            quickSort(low + 1, end, isBefore);
            end = low;
        }
    }
}

static QList<int> inOrder(const std::vector<int> &positions, bool ascending)
{
    return ascending ? QList<int>(positions.begin(), positions.end())
                     : QList<int>(positions.rbegin(), positions.rend());
}

template <typename Values, typename IsBefore>
static QList<int> sorted(const Values &values, bool ascending, IsBefore isBefore)
{
    std::vector<int> positions;
    for (int i = 0; i < values.size(); ++i)
        positions.push_back(i);
    quickSort(positions.data(), positions.data() + positions.size(), isBefore);
    return inOrder(positions, ascending);
}

template <typename Values>
static QList<int> sortedNumbers(const Values &values, bool ascending)
{
    return sorted(values, ascending, [&](int a, int b) {
        return values[a] == values[b] ? a < b : values[a] < values[b];
    });
}

QList<int> List::indexSort(const QList<int> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

QList<int> List::indexSort(const QList<double> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

QList<int> List::indexSort(const QVector<double> &values, bool ascending)
{
    return sortedNumbers(values, ascending);
}

QList<int> List::indexSort(const QStringList &values, bool ascending, bool caseSensitive)
{
    const Qt::CaseSensitivity sensitivity = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    return sorted(values, ascending, [&](int a, int b) {
        if (values[a].isEmpty() || values[a] == values[b])
            return a < b;
        return QString::compare(values[a], values[b], sensitivity) < 0;
    });
}

} // namespace Utils
