#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

namespace Utils {

/// A list of numbers that are appended one by one, many millions of them.
///
/// It grows by realloc(), which moves large blocks without copying where the system supports it. A
/// vector would hold the old and the new block at the same time, and so double the memory of a
/// table.
class NumberBuffer
{
public:
    int size() const { return static_cast<int>(m_size); }
    quint32 operator[](int i) const { return m_numbers.get()[i]; }
    quint32 &operator[](int i) { return m_numbers.get()[i]; }

    /// Returns room for \p count more numbers after the last one. They are appended when setEnd()
    /// is called.
    quint32 *room(std::size_t count)
    {
        if (m_capacity - m_size < count)
            setCapacity(std::max(m_size + m_size / 2, m_size + count));
        return m_numbers.get() + m_size;
    }

    /// Appends the numbers that were written into room(), up to \p end.
    void setEnd(const quint32 *end) { m_size = static_cast<std::size_t>(end - m_numbers.get()); }

    void append(quint32 number)
    {
        quint32 *const next = room(1);
        *next = number;
        setEnd(next + 1);
    }

    /// Allocates room for the largest possible number. Unused room takes no memory where the system
    /// allocates it lazily.
    void reserve(std::size_t count) { setCapacity(std::max(count, m_size)); }

    /// Frees the unused room.
    void squeeze() { setCapacity(m_size); }

private:
    struct Release
    {
        void operator()(quint32 *numbers) const { std::free(numbers); }
    };

    void setCapacity(std::size_t capacity)
    {
        void *const numbers = std::realloc(m_numbers.get(), capacity * sizeof(quint32));
        if (!numbers)
            throw std::bad_alloc();
        static_cast<void>(m_numbers.release()); // realloc() has freed it
        m_numbers.reset(static_cast<quint32 *>(numbers));
        m_capacity = capacity;
    }

    std::unique_ptr<quint32, Release> m_numbers;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace Utils
