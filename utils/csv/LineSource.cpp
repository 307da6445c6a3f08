#include "utils/csv/LineSource_p.h"

#include "utils/base/ByteScan_p.h"
#include "utils/feedback/Progress.h"

#include <algorithm>
#include <cerrno>
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

LineSource::LineSource(OwnedFile file) : m_file(std::move(file))
{
    // A buffer of its own would be filled at each seek.
    std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
}

void LineSource::close()
{
    m_file.reset();
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
            const auto [count, hasFailed] =
                read(bytes.get(), std::min(scanSize, LineIndex::maxFileSize - start));
            if (hasFailed)
                return nullptr;
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
        if (readByBlocks(start, line.holder)) {
            line.holder.reserve(line.holder.size() + scanPadding);
            line.begin = line.holder.constData();
            line.end = line.begin + line.holder.size();
            return line;
        }
    } catch (const std::bad_alloc &) {
        // as good as one that cannot be read
    }
    Line none;
    none.isRead = false;
    return none;
}

LineSource::Bytes LineSource::read(char *bytes, int size)
{
    Bytes result;
    while (m_file && result.count < size) {
        std::clearerr(m_file.get()); // of what failed before
        const auto wanted = static_cast<std::size_t>(size - result.count);
        result.count += static_cast<int>(std::fread(bytes + result.count, 1, wanted, m_file.get()));
        if (!std::ferror(m_file.get()))
            break; // all, or the end of the file
        result.hasFailed = errno != EINTR;
        if (result.hasFailed)
            break;
    }
    return result;
}

LineSource::Bytes LineSource::readAt(int offset, char *bytes, int size)
{
    if (m_file && std::fseek(m_file.get(), offset, SEEK_SET) != 0) {
        Bytes nothing;
        nothing.hasFailed = true;
        return nothing;
    }
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
    m_count = readAt(m_start, m_bytes.get(), m_step).count; // what is there is good
    return holds() ? m_bytes.get() + (offset - m_start) : nullptr;
}

/// A line by the rule about zero bytes. False when the file cannot be read up to its end.
bool LineSource::readByBlocks(int offset, QByteArray &line)
{
    char block[blockSize];
    while (true) {
        const auto [count, hasFailed] = readAt(offset, block, blockSize);
        const void *const zero = std::memchr(block, '\0', static_cast<std::size_t>(count));
        const char *end = zero ? static_cast<const char *>(zero) : block + count;
        const void *const feed = std::memchr(block, '\n', static_cast<std::size_t>(end - block));
        if (feed)
            end = static_cast<const char *>(feed);
        line.append(block, static_cast<int>(end - block));
        if (feed || hasFailed || count == 0)
            return feed || !hasFailed;
        offset += count;
    }
}

} // namespace Utils
