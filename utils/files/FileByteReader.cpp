#include "utils/files/FileByteReader.h"

#include "utils/base/Limits_p.h"
#include "utils/base/LineFile_p.h"
#include "utils/platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace Utils {

static const int windowSize = 128 * 1024;

class FileByteReaderPrivate
{
public:
    explicit FileByteReaderPrivate(OwnedFile newFile)
        : file(std::move(newFile), std::numeric_limits<int>::max(), {windowSize, windowSize})
    {}

    bool hasLine(); // finds the lines on the first call
    bool nextLine(QByteArray &line);

    LineFile file;
    int currentLine = 0;

private:
    bool readNext(QByteArray &line);

    bool isIndexed = false;
};

bool FileByteReaderPrivate::hasLine()
{
    if (!isIndexed && file.isOpen()) {
        isIndexed = true;
        file.findLines({}); // no lines after an error, rather than some that would pass for all
    }
    return static_cast<std::size_t>(currentLine) + 1 < file.numLines();
}

bool FileByteReaderPrivate::nextLine(QByteArray &line)
{
    try {
        return readNext(line);
    } catch (const std::bad_alloc &) {
        return false; // larger than the memory
    }
}

bool FileByteReaderPrivate::readNext(QByteArray &line)
{
    const auto index = static_cast<std::size_t>(currentLine);
    const qint64 offset = file.lineStart(index);
    const auto length = static_cast<int>(file.lineEnd(index) - offset);
    ++currentLine;

    file.seek(offset);
    LineFile::Count size; // less than the length if the file was truncated meanwhile
    if (length > windowSize && length <= maxByteCount) {
        line.resize(length);
        size = file.read(line.data(), length);
        line.resize(size.count);
        if (line.endsWith('\r'))
            line.chop(1);
    } else if (length > 0 && length <= windowSize) {
        const ByteWindow::View bytes = file.view(offset, length);
        size = bytes.size;
        file.seek(offset + size.count);

        // Resized only once, because this dominates the cost of a short line.
        const bool hasReturn = size.count > 0 && bytes.begin[size.count - 1] == '\r';
        line.resize(size.count - hasReturn);
        std::memcpy(line.data(), bytes.begin, static_cast<std::size_t>(line.size()));
    }
    return size.count > 0 && (size.count == length || !size.hasFailed);
}

FileByteReader::FileByteReader(const Data::String &path)
    : d(std::make_unique<FileByteReaderPrivate>(
          OwnedFile(Platform::openFile(path.toStdString(), "rb"))))
{}

FileByteReader::~FileByteReader() = default;

bool FileByteReader::isOpen() const { return d->file.isOpen(); }

bool FileByteReader::readLine(QByteArray &line, bool trim)
{
    if (!d->hasLine() || !d->nextLine(line)) {
        line.clear();
        return false;
    }
    if (trim)
        line = line.trimmed();
    return true;
}

QByteArray FileByteReader::nextLine()
{
    QByteArray line;
    readLine(line, /*trim=*/false);
    return line;
}

void FileByteReader::rereadLine()
{
    if (d->currentLine > 0)
        --d->currentLine;
}

int FileByteReader::lineCount() const { return d->currentLine; }

void FileByteReader::readFile()
{
    QByteArray line;
    while (d->hasLine() && d->nextLine(line)) {
        if (!lineRead(line))
            return;
    }
}

QByteArray FileByteReader::read(long n)
{
    QByteArray bytes;
    if (!d->file.isOpen() || n <= 0)
        return bytes;

    // Grows with the bytes read, so that a caller may request more bytes than there are.
    const int wanted = static_cast<int>(std::min<long>(n, maxByteCount));
    int size = 0;
    int asked = 0;
    int count = 0;
    try {
        do {
            asked = std::min(wanted - size, std::max(size, 1 << 20));
            bytes.resize(size + asked);
            count = d->file.read(bytes.data() + size, asked).count;
            size += count;
        } while (count == asked && size < wanted);
        bytes.resize(size);
        return bytes;
    } catch (const std::bad_alloc &) {
        return {}; // larger than the memory
    }
}

bool FileByteReader::lineRead(const QByteArray &) { return true; }

} // namespace Utils
