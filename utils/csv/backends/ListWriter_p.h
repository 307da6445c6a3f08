#pragma once

#include "utils/csv/cells/Cells_p.h"
#include "utils/platform/Platform.h"

#include <QList>
#include <QVector>

#include <type_traits>
#include <utility>

namespace Utils {

/// Whether a QList of \p Item holds numbers, one after the other. On 32-bit systems it holds
/// pointers to them.
template <typename Item>
constexpr bool holdsNumbersInOneBlock =
    std::is_same<Item, double>::value && !QTypeInfo<Item>::isLarge && !QTypeInfo<Item>::isStatic;

/// A list to which items are appended. extend() is called before, with the number of items that
/// follow.
template <typename Item, bool isOneBlock = holdsNumbersInOneBlock<Item>>
class ListWriter
{
public:
    static constexpr int mostAtOnce = 64; // that are appended fast

    /// \p size is the largest possible one.
    explicit ListWriter(int size) { m_list.reserve(size); }

    void extend(int) {}
    void append(Item item) { csvAppend(m_list, std::move(item)); }
    const QList<Item> &list() const { return m_list; }

private:
    QList<Item> m_list;
};

/// The same for numbers. They are written into the memory of the list, because QList::append()
/// takes longer than the conversion of many a number.
template <>
class ListWriter<double, true>
{
public:
    static constexpr int mostAtOnce = 64;

    explicit ListWriter(int size) : m_room(size) { m_list.reserve(size); }

    void extend(int count)
    {
        static const QList<double> zeros = QVector<double>(mostAtOnce, 0.0).toList();
        const int used = m_list.size();
        if (count == zeros.size()) {
            m_list += zeros;
        } else {
            for (int i = 0; i < count; ++i)
                m_list.append(0.0);
        }
        m_next = &m_list[used];
        if (used == 0)
            Platform::useLargePages(m_next, static_cast<std::size_t>(m_room) * sizeof(double));
    }

    void append(double number) { *m_next++ = number; }
    const QList<double> &list() const { return m_list; }

private:
    QList<double> m_list;
    int m_room;
    double *m_next = nullptr;
};

} // namespace Utils
