#include "utils/files/FileReader.h"

#include "utils/base/FileName_p.h"

#include <QFile>
#include <QTextStream>

#include <limits>
#include <new>

namespace Utils {

// Qt ends the process when a string becomes too long, as the line of a file of zeros would.
static const qint64 maxLineLength = 1 << 28;

class FileReaderPrivate
{
public:
    bool isAtEnd() const { return isBroken || stream.atEnd(); }
    bool read(Data::String &line);

    QFile file;
    QTextStream stream;
    bool isBroken = false; // a read has failed
    bool rereadPending = false;
    int linesRead = 0;
};

/// False when the line cannot be read completely, or is larger than the memory.
bool FileReaderPrivate::read(Data::String &line)
{
    try {
        const bool isRead = stream.readLineInto(&line, maxLineLength);
        // A failed read is always the last one for a line, and leaves a part of the line.
        isBroken = file.error() != QFile::NoError;
        // At the end of the file, a byte order mark or bytes without a character count as an empty
        // line.
        if (!isBroken && (isRead || stream.atEnd()))
            return true;
    } catch (const std::bad_alloc &) {
    }
    line.clear();
    return false;
}

FileReader::FileReader(const Data::String &path) : d(std::make_unique<FileReaderPrivate>())
{
    d->file.setFileName(path);
    if (!isName(path) || !d->file.open(QIODevice::ReadOnly))
        return;
    d->stream.setDevice(&d->file);
    d->stream.setCodec("UTF-8");
}

FileReader::~FileReader() = default;

bool FileReader::isOpen() const { return d->file.isOpen(); }

bool FileReader::readLine(Data::String &line, bool trim)
{
    if (!isOpen() || d->isAtEnd())
        return false;
    if (d->rereadPending) {
        d->rereadPending = false;
        return true;
    }

    if (!d->read(line))
        return false;
    if (d->linesRead < std::numeric_limits<int>::max())
        ++d->linesRead;
    if (trim)
        line = line.trimmed();
    return true;
}

Data::String FileReader::nextLine()
{
    Data::String line;
    readLine(line, /*trim=*/false);
    return line;
}

void FileReader::rereadLine() { d->rereadPending = true; }

int FileReader::lineCount() const { return d->linesRead; }

void FileReader::readFile()
{
    if (!isOpen())
        return;
    Data::String line;
    do {
        if (d->isAtEnd() || !d->read(line))
            return;
    } while (lineRead(line));
}

bool FileReader::lineRead(const Data::String &) { return true; }

} // namespace Utils
