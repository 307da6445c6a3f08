#include "utils/base/LineFile_p.h"

#include "utils/base/ByteScan_p.h"
#include "utils/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <new>

namespace Utils {

// The chunk size of the search for lines: a multiple of the block size and of the buffer size of a
// file, so that this buffer is bypassed, and small enough for the second-level cache.
static const int scanSize = 16 * LineFile::blockSize;

/// The bits of the start of \p line that are not stored.
qint64 LineStarts::upperBits(std::size_t line) const
{
    const auto next = std::upper_bound(m_firstLines.begin(), m_firstLines.end(), line);
    return span * (next - m_firstLines.begin());
}

void LineStarts::moveEnd(qint64 start)
{
    for (; m_end <= start; m_end += span)
        m_firstLines.push_back(m_size);
}

void LineStarts::squeeze()
{
    if (m_pieces.size() != 1)
        return; // of several pieces, less than one is unused
    std::unique_ptr<quint32[]> exact(new quint32[m_size]);
    std::copy_n(m_pieces.front().get(), m_size, exact.get());
    m_pieces.front() = std::move(exact);
}

LineFile::LineFile(OwnedFile file, qint64 maxBytes, Window window, std::size_t maxLines)
    : m_file(std::move(file)), m_maxBytes(maxBytes), m_maxLines(maxLines), m_window(window)
{}

void LineFile::close()
{
    m_file.reset();
    m_bytes.reset();
    m_count = Count();
}

bool LineFile::findLines(const std::function<void()> &tick)
{
    LineStarts lines;
    m_lines = LineStarts();
    m_hasTooManyLines = false;
    try {
        const std::unique_ptr<char[]> bytes(new char[scanSize]);
        lines.append(0);
        while (m_position < m_maxBytes) {
            const qint64 start = m_position;
            const auto wanted = std::min<qint64>(scanSize, m_maxBytes - start);
            const Count size = read(bytes.get(), static_cast<int>(wanted));
            if (size.hasFailed)
                return false;
            if (size.count == 0)
                break;
            for (int block = 0; block < size.count; block += blockSize) {
                const qint64 origin = start + block + 1; // start of the line after a feed at 0
                const auto append = [&](int feed) { lines.append(origin + feed); };
                const int length = std::min(blockSize, size.count - block);
                m_hasZeroBytes |= scanLineFeeds(bytes.get() + block, length, append);
                if (tick)
                    tick();
            }
            m_hasTooManyLines = lines.size() > m_maxLines;
            if (m_hasTooManyLines)
                return false;
        }
        lines.squeeze();
    } catch (const std::bad_alloc &) {
        return false;
    }
    m_lines = std::move(lines);
    m_end = std::min(m_position, m_maxBytes);
    return true;
}

LineFile::Count LineFile::read(char *bytes, int size)
{
    Count result;
    if (!m_file)
        return result;
    if (m_position != m_filePosition && !Platform::seekFile(m_file.get(), m_position)) {
        result.hasFailed = true;
        return result;
    }
    while (result.count < size && !result.hasFailed) {
        std::clearerr(m_file.get()); // errors of earlier reads
        const auto wanted = static_cast<std::size_t>(size - result.count);
        result.count += static_cast<int>(std::fread(bytes + result.count, 1, wanted, m_file.get()));
        if (!std::ferror(m_file.get()))
            break; // complete, or the end of the file
        result.hasFailed = errno != EINTR;
    }
    m_position += result.count;
    m_filePosition = result.hasFailed ? -1 : m_position; // unknown after a failure
    return result;
}

LineFile::Count LineFile::readAt(qint64 offset, char *bytes, int size)
{
    seek(offset);
    return read(bytes, static_cast<int>(std::min<qint64>(size, m_maxBytes - offset)));
}

LineFile::View LineFile::view(qint64 offset, int size)
{
    if (!isInWindow(offset, size))
        moveWindow(offset, size);
    View view;
    view.begin = m_bytes.get() + (offset - m_start);
    const qint64 left = m_start + m_count.count - offset;
    view.size.count = static_cast<int>(std::clamp<qint64>(left, 0, size));
    view.size.hasFailed = view.size.count < size && m_count.hasFailed;
    return view;
}

void LineFile::moveWindow(qint64 offset, int size)
{
    if (!m_bytes)
        m_bytes.reset(new char[static_cast<std::size_t>(m_window.largest) + scanPadding]);

    // There is a line feed between this line and its neighbour.
    const qint64 end = offset + size;
    const bool goesOn = offset >= m_start && offset <= m_start + m_count.count + 1;
    const bool goesBack = offset < m_start && end + 1 >= m_start;
    const bool isNear = m_count.count > 0 && (goesOn || goesBack);
    m_step = isNear ? std::min(4 * m_step, m_window.largest) : m_window.first;
    m_step = std::max(m_step, size);
    const qint64 start = isNear && goesBack ? std::max<qint64>(end + 1 - m_step, 0) : offset;
    m_start = std::min(start, offset);
    m_count = readAt(m_start, m_bytes.get(), m_step); // may be short
}

} // namespace Utils
