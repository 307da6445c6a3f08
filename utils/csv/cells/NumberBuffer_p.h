#pragma once

#include "utils/platform/Platform.h"

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
template <typename Number>
class NumberBuffer
{
public:
    int size() const { return static_cast<int>(m_size); }
    Number operator[](int i) const { return m_numbers.get()[i]; }
    Number &operator[](int i) { return m_numbers.get()[i]; }

    /// Returns room for \p count more numbers after the last one. They are appended when setEnd()
    /// is called.
    Number *room(std::size_t count)
    {
        if (m_capacity - m_size < count)
            setCapacity(std::max(m_size + m_size / 2, m_size + count));
        return m_numbers.get() + m_size;
    }

    /// Appends the numbers that were written into room(), up to \p end.
    void setEnd(const Number *end) { m_size = static_cast<std::size_t>(end - m_numbers.get()); }

    void append(Number number)
    {
        Number *const next = room(1);
        *next = number;
        setEnd(next + 1);
    }

    /// Allocates room for the largest possible number. Unused room takes no memory where the system
    /// allocates it lazily.
    void reserve(std::size_t count)
    {
        setCapacity(std::max(count, m_size));
        Platform::useLargePages(m_numbers.get(), m_capacity * sizeof(Number));
    }

    /// Frees the unused room.
    void squeeze() { setCapacity(m_size); }

private:
    struct Release
    {
        void operator()(Number *numbers) const { std::free(numbers); }
    };

    void setCapacity(std::size_t capacity)
    {
        // Never 0, for which realloc() may return null.
        const std::size_t room = std::max(capacity, std::size_t(1));
        void *const numbers = std::realloc(m_numbers.get(), room * sizeof(Number));
        if (!numbers)
            throw std::bad_alloc();
        static_cast<void>(m_numbers.release()); // realloc() has freed it
        m_numbers.reset(static_cast<Number *>(numbers));
        m_capacity = capacity;
    }

    std::unique_ptr<Number, Release> m_numbers;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace Utils
