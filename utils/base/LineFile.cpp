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

LineFile::LineFile(OwnedFile file, qint64 maxBytes, ByteWindow::Sizes window, std::size_t maxLines)
    : m_file(std::move(file)), m_maxBytes(maxBytes), m_maxLines(maxLines), m_window(window)
{}

void LineFile::close()
{
    m_file.reset();
    m_window.clear();
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

ByteWindow::View LineFile::view(qint64 offset, int size)
{
    return m_window.view(offset, size, [this](qint64 start, char *bytes, int count) {
        return readAt(start, bytes, count);
    });
}

} // namespace Utils
