#pragma once

#include <QtAlgorithms>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <utility>

namespace Utils {

// Below this the counts of a radix sort cost more than they save.
constexpr std::ptrdiff_t shortRange = 1000;

template <int mostDigits, typename Element>
void sortByKey(Element *start, Element *end, Element *spare, quint64 differences);

/// Sorts the elements from \p start to \p end by their `quint64 sortKey() const`. Elements of equal
/// keys stay in the order in which they stand, which must be that of their operator<(); it compares
/// the keys first. \p spare has room for as many elements.
///
/// The sort goes by \p mostDigits digits of 11 bits and compares what these do not tell apart. The
/// more elements there are, the more digits it takes to tell nearly all of them apart.
template <int mostDigits, typename Element>
void sortByKey(Element *start, Element *end, Element *spare)
{
    quint64 differences = 0;
    for (const Element *element = start; element != end; ++element)
        differences |= element->sortKey() ^ start->sortKey();
    sortByKey<mostDigits>(start, end, spare, differences);
}

/// The same where it is known in which bits keys differ.
template <int mostDigits, typename Element>
void sortByKey(Element *start, Element *end, Element *spare, quint64 differences)
{
    if (end - start < shortRange) {
        std::sort(start, end);
        return;
    }

    // The highest bits in which keys differ, in digits, the lowest first, each sort keeping the
    // order of the one before. A sort by the bits below them as well takes twice the time.
    constexpr int digitBits = 11;
    constexpr std::size_t mask = (1u << digitBits) - 1;
    const int bits = 64 - static_cast<int>(qCountLeadingZeroBits(differences));
    const int lowest = std::max(0, bits - mostDigits * digitBits);
    const int digits = (bits - lowest + digitBits - 1) / digitBits;
    const auto digitOf = [=](const Element &element, int digit) {
        return (element.sortKey() >> (lowest + digit * digitBits)) & mask;
    };

    std::array<std::array<quint32, mask + 1>, mostDigits> places{};
    for (const Element *element = start; element != end; ++element) {
        for (int digit = 0; digit < digits; ++digit)
            ++places[digit][digitOf(*element, digit)];
    }
    Element *from = start;
    Element *to = spare;
    const std::ptrdiff_t size = end - start;
    for (int digit = 0; digit < digits; ++digit) {
        std::exclusive_scan(places[digit].begin(), places[digit].end(), places[digit].begin(), 0u);
        for (const Element *element = from; element != from + size; ++element)
            to[places[digit][digitOf(*element, digit)]++] = *element;
        std::swap(from, to);
    }
    if (from != start)
        std::copy(from, from + size, start);

    if (lowest == 0)
        return;
    for (Element *run = start; run != end;) {
        Element *runEnd = run + 1;
        while (runEnd != end && (runEnd->sortKey() ^ run->sortKey()) >> lowest == 0)
            ++runEnd;
        if (runEnd - run > 1)
            sortByKey<mostDigits>(run, runEnd, spare); // not deep: there are fewer bits each time
        run = runEnd;
    }
}

} // namespace Utils
