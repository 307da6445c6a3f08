#include "utils/base/LineFile_p.h"

#include "utils/base/ByteScan_p.h"

#include <algorithm>
#include <cerrno>
#include <new>

namespace Utils {

// The chunk size of the search for lines: a multiple of the block size and of the buffer size of a
// file, so that this buffer is bypassed, and small enough for the second-level cache.
static const int scanSize = 16 * LineFile::blockSize;

void LineStarts::squeeze()
{
    if (m_pieces.size() != 1)
        return; // of several pieces, less than one is unused
    std::unique_ptr<int[]> exact(new int[m_size]);
    std::copy_n(m_pieces.front().get(), m_size, exact.get());
    m_pieces.front() = std::move(exact);
}

LineFile::LineFile(OwnedFile file, int maxBytes, Window window)
    : m_file(std::move(file)), m_maxBytes(maxBytes), m_window(window)
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
    try {
        const std::unique_ptr<char[]> bytes(new char[scanSize]);
        lines.append(0);
        while (m_position < m_maxBytes) {
            const int start = static_cast<int>(m_position);
            const Count size = read(bytes.get(), std::min(scanSize, m_maxBytes - start));
            if (size.hasFailed)
                return false;
            if (size.count == 0)
                break;
            for (int block = 0; block < size.count; block += blockSize) {
                const int origin = start + block + 1; // start of the line after a feed at 0
                const auto append = [&](int feed) { lines.append(origin + feed); };
                const int length = std::min(blockSize, size.count - block);
                m_hasZeroBytes |= scanLineFeeds(bytes.get() + block, length, append);
                if (tick)
                    tick();
            }
        }
        lines.squeeze();
    } catch (const std::bad_alloc &) {
        return false;
    }
    m_lines = std::move(lines);
    m_end = static_cast<int>(std::min<qint64>(m_position, m_maxBytes));
    return true;
}

LineFile::Count LineFile::read(char *bytes, int size)
{
    Count result;
    if (!m_file)
        return result;
    if (m_position != m_filePosition &&
        std::fseek(m_file.get(), static_cast<long>(m_position), SEEK_SET) != 0)
    {
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

LineFile::Count LineFile::readAt(int offset, char *bytes, int size)
{
    seek(offset);
    return read(bytes, std::min(size, m_maxBytes - offset));
}

LineFile::View LineFile::view(int offset, int size)
{
    if (!isInWindow(offset, size))
        moveWindow(offset, size);
    View view;
    view.begin = m_bytes.get() + (offset - m_start);
    view.size.count = std::clamp(m_start + m_count.count - offset, 0, size);
    view.size.hasFailed = view.size.count < size && m_count.hasFailed;
    return view;
}

void LineFile::moveWindow(int offset, int size)
{
    if (!m_bytes)
        m_bytes.reset(new char[static_cast<std::size_t>(m_window.largest) + scanPadding]);

    // There is a line feed between this line and its neighbour.
    const qint64 end = qint64(offset) + size;
    const bool goesOn = offset >= m_start && offset <= qint64(m_start) + m_count.count + 1;
    const bool goesBack = offset < m_start && end + 1 >= m_start;
    const bool isNear = m_count.count > 0 && (goesOn || goesBack);
    m_step = isNear ? std::min(4 * m_step, m_window.largest) : m_window.first;
    m_step = std::max(m_step, size);
    const qint64 start = isNear && goesBack ? std::max<qint64>(end + 1 - m_step, 0) : offset;
    m_start = static_cast<int>(std::min<qint64>(start, offset));
    m_count = readAt(m_start, m_bytes.get(), m_step); // may be short
}

} // namespace Utils
