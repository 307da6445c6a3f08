#include "utils/csv/backends/RecordFile_p.h"

#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/feedback/Progress.h"
#include "utils/platform/Platform.h"

#include <QFileInfo>

#include <algorithm>
#include <cstring>
#include <new>

namespace Utils {

static const int blockSize = LineFile::blockSize; // of the steps of a reporter
static const int scanSize = 16 * blockSize;       // searched at once
static const qint64 maxRecordSize = 1 << 30;      // a list of fields holds no more

RecordFile::RecordFile(int mostRows) : m_mostRows(mostRows), m_window({16 * 1024, 256 * 1024}) {}

bool RecordFile::open(const QString &path, const QuotedFormat<char> &format, Progress *progress)
{
    m_file.setFileName(pathForQt(path));
    if (!isName(path) || !QFileInfo(m_file).isFile())
        return LastError::isNoFile(path);
    m_path = path;
    const QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered;
    const int shared = Platform::openShared(path.toStdString());
    const bool isOpen =
        shared < 0 ? m_file.open(mode) : m_file.open(shared, mode, QFile::AutoCloseHandle);
    return (isOpen && findRows(format, progress)) || LastError::cannotRead(m_path, m_file);
}

/// Reads \p size bytes, or up to the end of the file.
ByteWindow::Count RecordFile::readAt(qint64 offset, char *bytes, int size)
{
    ByteWindow::Count result;
    result.hasFailed = m_file.pos() != offset && !m_file.seek(offset);
    while (result.count < size && !result.hasFailed) {
        const qint64 more = m_file.read(bytes + result.count, size - result.count);
        result.hasFailed = more < 0;
        if (more <= 0)
            break;
        result.count += static_cast<int>(more);
    }
    return result;
}

bool RecordFile::findRows(const QuotedFormat<char> &format, Progress *progress)
{
    const auto ahead = static_cast<int>(std::max(format.comment.size(), format.exception.size()));
    const int mostKept = Units<char>::length + ahead + 1;
    const std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(scanSize + mostKept)]);
    QuoteScanner<char> scanner(format);
    const ByteWindow::Count mark = readAt(0, bytes.get(), sizeof utf8Mark - 1);
    if (mark.hasFailed)
        return false;
    qint64 base = sizeOfUtf8Mark(bytes.get(), bytes.get() + mark.count); // of the bytes in the file

    int kept = 0; // bytes that are not scanned yet
    int size = 0;
    bool hasTooMany = false;
    const auto addRow = [&](int index) {
        const char *const begin = bytes.get() + index;
        const char *const end = bytes.get() + size;
        if (begin == end || hasTooMany || format.isComment(begin, end))
            return;
        hasTooMany = numRows() == m_mostRows;
        if (!hasTooMany)
            m_starts.append(base + index);
    };
    const auto addRows = [&](quint64, quint64 rows, const Units<char> &, int from) {
        for (; rows != 0; rows &= rows - 1)
            addRow(from + static_cast<int>(qCountTrailingZeroBits(rows)) + 1);
    };
    qint64 numTicks = 0;
    for (bool isEnd = false, isFirst = true; !isEnd; isFirst = false) {
        if (hasTooMany)
            return csvTooManyRows(m_path, m_mostRows);
        const ByteWindow::Count more = readAt(base + kept, bytes.get() + kept, scanSize);
        if (more.hasFailed)
            return false;
        isEnd = more.count < scanSize;
        size = kept + more.count;
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
    return !hasTooMany || csvTooManyRows(m_path, m_mostRows);
}

/// The number of the line in the file, from 1 on, at \p offset; 1 when it cannot be read.
qint64 RecordFile::lineAt(qint64 offset)
{
    const std::unique_ptr<char[]> bytes(new char[scanSize]);
    LineBreaks breaks;
    for (qint64 start = 0; start < offset;) {
        const auto wanted = static_cast<int>(std::min<qint64>(scanSize, offset - start));
        const ByteWindow::Count more = readAt(start, bytes.get(), wanted);
        if (more.hasFailed || more.count == 0)
            return 1;
        breaks.add(bytes.get(), bytes.get() + more.count);
        start += more.count;
    }
    return breaks.count() + 1;
}

RecordFile::Record RecordFile::record(int row)
{
    const Record none = {nullptr, nullptr, false};
    const qint64 start = startOf(row);
    const qint64 size = (row + 1 < numRows() ? startOf(row + 1) : m_end) - start;
    try {
        if (size > maxRecordSize)
            throw std::bad_alloc();
        const auto read = [this](qint64 offset, char *bytes, int count) {
            return readAt(offset, bytes, count);
        };
        const ByteWindow::View view = m_window.view(start, static_cast<int>(size), read);
        if (view.size.hasFailed) {
            LastError::cannotRead(m_path, m_file);
            return none;
        }
        const bool isWhole = view.size.count == size;
        if (!isWhole)
            LastError::setFor(".err.shorter", m_path);
        return {view.begin, view.begin + view.size.count, isWhole};
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return none;
    }
}

} // namespace Utils
