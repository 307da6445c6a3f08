#include "utils/csv/LineSource_p.h"

#include "utils/csv/ByteScan_p.h"
#include "utils/feedback/Progress.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Utils {

// Of the search for lines: whole blocks, and small enough for the second cache.
static const int scanSize = 16 * LineSource::blockSize;

// The first window at a place that is not next to the last one. Whoever goes on gets larger ones.
static const int smallWindowSize = 16 * 1024;

void LineIndex::squeeze()
{
    if (m_pieces.size() != 1)
        return; // less than a piece of several
    auto exact = std::unique_ptr<int[]>(new int[static_cast<std::size_t>(m_size)]);
    std::copy_n(m_pieces.front().get(), m_size, exact.get());
    m_pieces.front() = std::move(exact);
}

LineSource::LineSource(std::FILE *file) : m_file(file)
{
    // A buffer of its own would be filled at each seek.
    std::setvbuf(m_file, nullptr, _IONBF, 0);
}

void LineSource::close()
{
    if (m_file)
        std::fclose(m_file);
    m_file = nullptr;
    m_bytes.reset();
    m_count = 0;
}

std::shared_ptr<const LineIndex> LineSource::findLines(Progress *progress)
{
    try {
        const auto index = std::make_shared<LineIndex>();
        const std::unique_ptr<char[]> bytes(new char[scanSize]);
        index->append(0);
        while (true) {
            const int start = index->fileSize;
            const int count = read(bytes.get(), std::min(scanSize, LineIndex::maxFileSize - start));
            if (count == 0)
                break;
            for (int block = 0; block < count; block += blockSize) {
                const int origin = start + block + 1; // of the line behind a line feed
                const auto append = [&](int feed) { index->append(origin + feed); };
                const int size = std::min(blockSize, count - block);
                index->hasZeroBytes |= scanLineFeeds(bytes.get() + block, size, append);
                if (progress)
                    progress->tick(1);
            }
            index->fileSize = start + count;
        }
        index->squeeze();
        return index;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

LineSource::Line LineSource::line(const LineIndex &index, int number)
{
    const int start = index.start(number);
    const int size = index.end(number) - start;
    Line line;
    if (size == 0)
        return line;
    try {
        if (const char *const bytes = window(start, size)) {
            // A line feed that is not the end of the line is behind a zero byte of the line.
            const bool isWhole =
                !index.hasZeroBytes || !std::memchr(bytes, '\0', static_cast<std::size_t>(size));
            if (isWhole) {
                line.begin = bytes;
                line.end = bytes + size;
                return line;
            }
        }
        line.holder = readByBlocks(start);
        line.holder.reserve(line.holder.size() + scanPadding);
        line.begin = line.holder.constData();
        line.end = line.begin + line.holder.size();
        return line;
    } catch (const std::bad_alloc &) {
        return Line();
    }
}

int LineSource::read(char *bytes, int size)
{
    if (!m_file || size <= 0)
        return 0;
    return static_cast<int>(std::fread(bytes, 1, static_cast<std::size_t>(size), m_file));
}

int LineSource::readAt(int offset, char *bytes, int size)
{
    if (!m_file || std::fseek(m_file, offset, SEEK_SET) != 0)
        return 0;
    return read(bytes, std::min(size, LineIndex::maxFileSize - offset));
}

/// The bytes at \p offset, or null when they are too many, or not there.
const char *LineSource::window(int offset, int size)
{
    const qint64 end = qint64(offset) + size;
    const auto holds = [&] { return offset >= m_start && end <= qint64(m_start) + m_count; };
    if (holds())
        return m_bytes.get() + (offset - m_start);
    if (size > windowSize || !m_file)
        return nullptr;

    // A line feed is between a line and the next one.
    const bool goesOn = offset >= m_start && offset <= qint64(m_start) + m_count + 1;
    const bool goesBack = offset < m_start && end + 1 >= m_start;
    const bool isNear = m_count > 0 && (goesOn || goesBack);
    m_step = isNear ? std::min(4 * m_step, windowSize) : smallWindowSize;
    m_step = std::max(m_step, size);

    if (!m_bytes)
        m_bytes.reset(new char[windowSize + scanPadding]);
    const qint64 start = isNear && goesBack ? std::max<qint64>(end + 1 - m_step, 0) : offset;
    m_start = static_cast<int>(std::min<qint64>(start, offset));
    m_count = readAt(m_start, m_bytes.get(), m_step);
    return holds() ? m_bytes.get() + (offset - m_start) : nullptr;
}

/// A line by the rule about zero bytes.
QByteArray LineSource::readByBlocks(int offset)
{
    QByteArray line;
    char block[blockSize];
    while (const int count = readAt(offset, block, blockSize)) {
        const void *const zero = std::memchr(block, '\0', static_cast<std::size_t>(count));
        const char *end = zero ? static_cast<const char *>(zero) : block + count;
        const void *const feed = std::memchr(block, '\n', static_cast<std::size_t>(end - block));
        if (feed)
            end = static_cast<const char *>(feed);
        line.append(block, static_cast<int>(end - block));
        if (feed)
            break;
        offset += count;
    }
    return line;
}

} // namespace Utils
