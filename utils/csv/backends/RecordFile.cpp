#include "utils/csv/backends/RecordFile_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/csv/cells/Cells_p.h"
#include "utils/feedback/Progress.h"
#include "utils/platform/Platform.h"

#include <QFileInfo>

#include <cstring>
#include <new>

namespace Utils {

static const int blockSize = 10240;          // of the steps of a reporter
static const int scanSize = 16 * blockSize;  // searched at once
static const qint64 nearSize = 1 << 18;      // read at once for adjacent rows
static const qint64 farSize = 1 << 14;       // read at once for another row
static const qint64 maxRecordSize = 1 << 30; // a list of fields holds no more

bool RecordFile::open(const QString &path, const QuotedFormat<char> &format, Progress *progress)
{
    if (!isName(path) || !QFileInfo(path).isFile())
        return LastError::isNoFile(path);
    m_file.setFileName(path);
    const QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered;
    const int shared = Platform::openShared(path.toStdString());
    const bool isOpen =
        shared < 0 ? m_file.open(mode) : m_file.open(shared, mode, QFile::AutoCloseHandle);
    return (isOpen && findRows(format, progress)) || LastError::cannotRead(m_file);
}

/// Reads \p size bytes, or up to the end of the file. False when they cannot be read.
bool RecordFile::readAt(qint64 offset, char *bytes, qint64 size, qint64 &count)
{
    count = 0;
    if (m_file.pos() != offset && !m_file.seek(offset))
        return false;
    while (count < size) {
        const qint64 more = m_file.read(bytes + count, size - count);
        if (more < 0)
            return false;
        if (more == 0)
            break;
        count += more;
    }
    return true;
}

bool RecordFile::findRows(const QuotedFormat<char> &format, Progress *progress)
{
    const auto ahead = static_cast<int>(std::max(format.comment.size(), format.exception.size()));
    const int mostKept = Units<char>::length + ahead + 1;
    const std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(scanSize + mostKept)]);
    QuoteScanner<char> scanner(format);
    qint64 base = 0; // of the bytes in the file
    qint64 count = 0;
    if (!readAt(0, bytes.get(), sizeof utf8Mark - 1, count))
        return false;
    base = sizeOfUtf8Mark(bytes.get(), bytes.get() + count);

    int kept = 0; // bytes that are not scanned yet
    int size = 0;
    bool hasTooMany = false;
    const auto addRow = [&](int index) {
        const char *const begin = bytes.get() + index;
        const char *const end = bytes.get() + size;
        hasTooMany = hasTooMany || numRows() == csvMostRows;
        if (begin != end && !hasTooMany && !format.isComment(begin, end))
            m_starts.append(base + index);
    };
    const auto addRows = [&](quint64, quint64 rows, const Units<char> &, int from) {
        for (; rows != 0; rows &= rows - 1)
            addRow(from + static_cast<int>(qCountTrailingZeroBits(rows)) + 1);
    };
    qint64 numTicks = 0;
    for (bool isEnd = false, isFirst = true; !isEnd; isFirst = false) {
        if (hasTooMany)
            return csvTooManyRows(m_file.fileName());
        if (!readAt(base + kept, bytes.get() + kept, scanSize, count))
            return false;
        isEnd = count < scanSize;
        size = kept + static_cast<int>(count);
        if (isFirst)
            addRow(0);
        const int scanned = scanner.scan(bytes.get(), size, isEnd, addRows);
        kept = size - scanned;
        base += scanned;
        std::memmove(bytes.get(), bytes.get() + scanned, static_cast<std::size_t>(kept));
        for (; progress && numTicks < (base + kept + blockSize - 1) / blockSize; ++numTicks)
            progress->tick(1);
    }
    m_end = base;
    m_starts.squeeze();
    if (scanner.isInQuotes())
        m_openQuoteLine = lineAt(startOf(numRows() - 1));
    return !hasTooMany || csvTooManyRows(m_file.fileName());
}

/// The number of the line in the file, from 1 on, at \p offset; 1 when it cannot be read.
qint64 RecordFile::lineAt(qint64 offset)
{
    const std::unique_ptr<char[]> bytes(new char[scanSize]);
    qint64 line = 1;
    for (qint64 start = 0; start < offset;) {
        qint64 count = 0;
        if (!readAt(start, bytes.get(), std::min<qint64>(scanSize, offset - start), count) ||
            count == 0)
            return 1;
        line += std::count(bytes.get(), bytes.get() + count, '\n');
        start += count;
    }
    return line;
}

RecordFile::Record RecordFile::record(int row)
{
    const Record none = {nullptr, nullptr, false};
    const qint64 start = startOf(row);
    const qint64 size = (row + 1 < numRows() ? startOf(row + 1) : m_end) - start;
    if (size > maxRecordSize)
        return none;
    if (start < m_start || start + size > m_start + m_count) {
        const bool isNear = start >= m_start && start <= m_start + m_count;
        const qint64 wanted = std::max(size, isNear ? nearSize : farSize);
        m_count = 0;
        if (wanted > m_room || m_room > std::max(wanted, nearSize)) {
            m_window.reset();
            m_room = 0;
            m_window.reset(new (std::nothrow) char[static_cast<std::size_t>(wanted)]);
            if (!m_window)
                return none;
            m_room = wanted;
        }
        m_start = start;
        if (!readAt(start, m_window.get(), wanted, m_count)) {
            m_count = 0;
            return none;
        }
    }
    const char *const begin = m_window.get() + (start - m_start);
    const qint64 left = std::clamp<qint64>(m_start + m_count - start, 0, size);
    return {begin, begin + left, left == size};
}

} // namespace Utils
