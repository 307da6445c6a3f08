#pragma once

#include <QtGlobal>

#include <algorithm>
#include <memory>

namespace Utils {

/// A window on a file: the bytes around those that were requested last, because a seek and a read
/// for each line or row would be slow.
class ByteWindow
{
public:
    /// How many bytes are read: first at a new position, then more with each adjacent read, up to
    /// largest. More are read only when more are requested.
    struct Sizes
    {
        int first;
        int largest;
    };

    /// The number of bytes read. It is less than requested at the end of the file, and on a read
    /// error, when hasFailed is true.
    struct Count
    {
        int count = 0;
        bool hasFailed = false;
    };

    struct View
    {
        const char *begin = nullptr;
        Count size;
    };

    explicit ByteWindow(Sizes sizes) : m_sizes(sizes) {}

    /// The bytes at \p offset, followed by scanPadding readable bytes. Valid until the next call.
    /// \p readAt reads bytes of the file that are not in the window: it is called with their
    /// offset, the memory for them and their number, and returns a Count. Throws std::bad_alloc
    /// when the memory does not suffice.
    template <typename ReadAt>
    View view(qint64 offset, int size, const ReadAt &readAt)
    {
        if (!isInside(offset, size)) {
            move(offset, size);
            m_count = readAt(m_start, m_bytes.get(), m_step); // may be short
        }
        View view;
        view.begin = m_bytes.get() + (offset - m_start);
        const qint64 left = m_start + m_count.count - offset;
        view.size.count = static_cast<int>(std::clamp<qint64>(left, 0, size));
        view.size.hasFailed = view.size.count < size && m_count.hasFailed;
        return view;
    }

    /// Frees the memory.
    void clear();

private:
    bool isInside(qint64 offset, int size) const
    {
        return offset >= m_start && offset + size <= m_start + m_count.count;
    }

    void move(qint64 offset, int size);
    void makeRoom();

    const Sizes m_sizes;
    std::unique_ptr<char[]> m_bytes;
    int m_room = 0; // for how many bytes there is memory
    qint64 m_start = 0;
    Count m_count;
    int m_step = 0; // how many bytes were requested
};

} // namespace Utils
