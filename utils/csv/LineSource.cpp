#include "utils/csv/LineSource_p.h"

#include "utils/base/ByteScan_p.h"
#include "utils/base/Limits_p.h"
#include "utils/feedback/Progress.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

namespace Utils {

static const ByteWindow::Sizes window = {16 * 1024, 256 * 1024};

static OwnedFile withoutBuffer(OwnedFile file)
{
    // The buffer of the C library would be filled at each seek.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

LineSource::LineSource(OwnedFile file, int mostLines)
    : m_file(withoutBuffer(std::move(file)), std::numeric_limits<qint64>::max(), window,
             static_cast<std::size_t>(mostLines))
{}

bool LineSource::findLines(Progress *progress)
{
    if (!progress)
        return m_file.findLines({});
    return m_file.findLines([progress] { progress->tick(1); });
}

LineSource::Line LineSource::line(int number)
{
    const auto index = static_cast<std::size_t>(number);
    const qint64 start = m_file.lineStart(index);
    const qint64 size = m_file.lineEnd(index) - start;
    Line line;
    if (size == 0)
        return line;
    try {
        if (size <= window.largest && m_file.isOpen()) {
            const ByteWindow::View bytes = m_file.view(start, static_cast<int>(size));
            // A line feed within the line always follows a zero byte of the line.
            const bool isWhole = bytes.size.count == size &&
                                 (!m_file.hasZeroBytes() ||
                                  !std::memchr(bytes.begin, '\0', static_cast<std::size_t>(size)));
            if (isWhole) {
                line.begin = bytes.begin;
                line.end = bytes.begin + size;
                return line;
            }
        }
        readByBlocks(start, start + size, line);
        if (line.error == 0) {
            line.holder.reserve(line.holder.size() + scanPadding);
            line.begin = line.holder.constData();
            line.end = line.begin + line.holder.size();
            return line;
        }
    } catch (const std::bad_alloc &) {
        line.error = ENOMEM;
    }
    Line none;
    none.isRead = false;
    none.error = line.error;
    return none;
}

/// Reads a line that may contain zero bytes, from \p offset to \p end. A zero byte hides the bytes
/// after it up to the end of the block; blocks count from the start of the line. Sets the error
/// when the line cannot be read to its end.
void LineSource::readByBlocks(qint64 offset, qint64 end, Line &line)
{
    char block[blockSize];
    while (true) {
        errno = 0;
        const auto [count, hasFailed] = m_file.readAt(offset, block, blockSize);
        const int error = errno == 0 ? EIO : errno;
        const void *const zero = std::memchr(block, '\0', static_cast<std::size_t>(count));
        const char *next = zero ? static_cast<const char *>(zero) : block + count;
        const void *const feed = std::memchr(block, '\n', static_cast<std::size_t>(next - block));
        if (feed)
            next = static_cast<const char *>(feed);
        if (line.holder.size() > maxByteCount - blockSize)
            throw std::bad_alloc();
        line.holder.append(block, static_cast<int>(next - block));
        if (feed)
            return;
        if (hasFailed) {
            line.error = error;
            return;
        }
        if (count == 0) {
            line.isCut = offset < end && m_file.isOpen();
            return;
        }
        offset += count;
    }
}

} // namespace Utils
