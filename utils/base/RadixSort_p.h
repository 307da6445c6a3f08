#pragma once

#include <QtAlgorithms>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <utility>

namespace Utils {

// For fewer elements the counting of a radix sort costs more than it saves.
constexpr std::ptrdiff_t shortRange = 1000;

/// Sorts the elements from \p start to \p end by their `quint64 sortKey() const`. Elements with
/// equal keys keep their order, which must already be the order of operator<(). That operator
/// compares the keys first. \p spare has room for the same number of elements.
///
/// Sorts by at most \p mostDigits digits of \p digitBits bits, and then each run of elements that
/// these digits do not distinguish. The more elements there are, the more digits are needed to
/// distinguish nearly all of them. Longer digits need fewer passes, but the passes take longer when
/// the elements do not fit into the caches: with 11 bits twice as long as with 10.
template <int mostDigits, int digitBits, typename Element>
void sortByKey(Element *start, Element *end, Element *spare)
{
    if (end - start < shortRange) {
        std::sort(start, end);
        return;
    }

    // Sorts by the highest bits in which keys differ, divided into digits, the lowest digit first.
    // Each pass is stable. Sorting by the bits below them as well takes twice the time.
    quint64 differences = 0;
    for (const Element *element = start; element != end; ++element)
        differences |= element->sortKey() ^ start->sortKey();
    constexpr std::size_t mask = (1u << digitBits) - 1;
    const int bits = 64 - static_cast<int>(qCountLeadingZeroBits(differences));
    const int lowest = std::max(0, bits - mostDigits * digitBits);
    const int digits = (bits - lowest + digitBits - 1) / digitBits;
    const auto digitOf = [=](const Element &element, int digit) {
        return (element.sortKey() >> (lowest + digit * digitBits)) & mask;
    };

    std::array<std::array<quint32, mask + 1>, mostDigits> offsets{};
    for (const Element *element = start; element != end; ++element) {
        for (int digit = 0; digit < digits; ++digit)
            ++offsets[digit][digitOf(*element, digit)];
    }
    Element *from = start;
    Element *to = spare;
    const std::ptrdiff_t size = end - start;
    for (int digit = 0; digit < digits; ++digit) {
        std::exclusive_scan(offsets[digit].begin(), offsets[digit].end(), offsets[digit].begin(),
                            0u);
        for (const Element *element = from; element != from + size; ++element)
            to[offsets[digit][digitOf(*element, digit)]++] = *element;
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
        // With fewer bits each time, so the recursion is not deep.
        if (runEnd - run > 1)
            sortByKey<mostDigits, digitBits>(run, runEnd, spare);
        run = runEnd;
    }
}

} // namespace Utils
