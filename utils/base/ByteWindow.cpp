#include "utils/base/ByteWindow_p.h"

#include "utils/base/ByteScan_p.h"

#include <cstddef>

namespace Utils {

void ByteWindow::clear()
{
    m_count = Count();
    m_room = 0;
    m_bytes.reset();
}

/// Chooses the window that contains the bytes at \p offset, and allocates its memory.
void ByteWindow::move(qint64 offset, int size)
{
    // There may be a line feed between these bytes and their neighbours.
    const qint64 end = offset + size;
    const bool goesOn = offset >= m_start && offset <= m_start + m_count.count + 1;
    const bool goesBack = offset < m_start && end + 1 >= m_start;
    const bool isNear = m_count.count > 0 && (goesOn || goesBack);
    const int more = m_step < m_sizes.largest / 4 ? 4 * m_step : m_sizes.largest;
    m_step = std::max(isNear ? more : m_sizes.first, size);
    const qint64 start = isNear && goesBack ? std::max<qint64>(end + 1 - m_step, 0) : offset;
    makeRoom();
    m_start = std::min(start, offset);
}

/// Allocates memory for the bytes that are requested next. Frees memory of exceptional size.
void ByteWindow::makeRoom()
{
    const int wanted = std::max(m_step, m_sizes.largest);
    if (m_room >= m_step && m_room <= wanted)
        return;
    clear(); // first, because there may be no memory for both
    m_bytes.reset(new char[static_cast<std::size_t>(wanted) + scanPadding]);
    m_room = wanted;
}

} // namespace Utils
