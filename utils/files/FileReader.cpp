#include "utils/files/FileReader.h"

#include "utils/base/Encoding_p.h"
#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/files/File.h"

#include <QFile>
#include <QTextCodec>
#include <QTextStream>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace Utils {

// Qt ends the process when a string becomes too long, as the line of a file of zeros would.
static const qint64 maxLineLength = 1 << 28;

// A longer line is left to QTextStream, which needs no bytes besides the text.
static const std::size_t maxLineSize = std::size_t(16) << 20;

static const std::size_t blockSize = std::size_t(64) << 10;

// QTextStream decodes so many bytes of the file at once. Where one of these pieces ends is visible
// in the text of lines that are not UTF-8.
static const qint64 streamPiece = 16384;

namespace {

/// The bytes of a file, line by line.
class LineBytes
{
public:
    enum class Outcome
    {
        Found,
        AtEnd,   ///< what is left of the file, without a line feed; may be nothing
        TooLong, ///< more than maxLineSize
        Failed   ///< a read failed
    };

    explicit LineBytes(QFile &file) : m_file(file) {}

    /// Finds the next line, with its line feed: the \a size bytes from begin() on.
    Outcome find(std::size_t &size);
    void skip(std::size_t size) { m_begin += size; }

    const char *begin() const { return m_bytes.data() + m_begin; }
    std::size_t size() const { return m_end - m_begin; } ///< of the bytes read ahead
    qint64 position() const { return m_position + static_cast<qint64>(m_begin); } ///< in the file

private:
    qint64 readMore();

    QFile &m_file;
    std::vector<char> m_bytes;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    qint64 m_position = 0; // of m_bytes in the file
};

} // namespace

LineBytes::Outcome LineBytes::find(std::size_t &size)
{
    std::size_t searched = 0;
    for (;;) {
        const std::size_t left = this->size() - searched;
        const void *const end = left > 0 ? std::memchr(begin() + searched, '\n', left) : nullptr;
        if (end) {
            size = static_cast<std::size_t>(static_cast<const char *>(end) + 1 - begin());
            return Outcome::Found;
        }
        searched = size = this->size();
        if (size >= maxLineSize)
            return Outcome::TooLong;
        const qint64 count = readMore();
        if (count <= 0)
            return count < 0 ? Outcome::Failed : Outcome::AtEnd;
    }
}

/// Reads after the bytes that are left. Returns how many were read; -1 on failure.
qint64 LineBytes::readMore()
{
    if (size() >= m_bytes.size() / 2)
        m_bytes.resize(std::max(blockSize, 2 * m_bytes.size()));
    std::memmove(m_bytes.data(), begin(), size());
    m_position += static_cast<qint64>(m_begin);
    m_end = size();
    m_begin = 0;
    const qint64 count =
        m_file.read(m_bytes.data() + m_end, static_cast<qint64>(m_bytes.size() - m_end));
    m_end += static_cast<std::size_t>(std::max<qint64>(count, 0));
    return count;
}

/// Decodes bytes that are not UTF-8, from \p position in the file on, as QTextStream does. The last
/// character is left out if it is cut off.
static QString decodeAsStream(const char *bytes, std::size_t size, qint64 position)
{
    QTextCodec *const codec = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    QString text;
    while (size > 0) {
        const auto piece =
            std::min(size, static_cast<std::size_t>(streamPiece - position % streamPiece));
        text += codec->toUnicode(bytes, static_cast<int>(piece), &state);
        bytes += piece;
        position += static_cast<qint64>(piece);
        size -= piece;
    }
    return text;
}

/// The number of characters of the line end of \p text. At the end of the file a CR is one.
template <typename Character>
static std::size_t lineEndSize(const Character *text, std::size_t size)
{
    const bool hasLineFeed = size > 0 && text[size - 1] == Character('\n');
    const std::size_t rest = size - (hasLineFeed ? 1 : 0);
    const bool hasReturn = rest > 0 && text[rest - 1] == Character('\r');
    return (hasLineFeed ? 1 : 0) + (hasReturn ? 1 : 0);
}

/// Sets \p line to the text of a line, at \p position in the file, without its line end.
static void decodeLine(const char *bytes, std::size_t size, qint64 position, QString &line)
{
    const char *source = bytes;
    const char *const end = bytes + (size - lineEndSize(bytes, size));
    line.resize(static_cast<int>(end - bytes)); // in the memory that the text has
    QChar *target = line.data();
    if (decodeUtf8(source, end, target) && source == end) {
        const int length = static_cast<int>(target - line.constData());
        if (length != line.size())
            line.resize(length);
        return;
    }
    const QString text = decodeAsStream(bytes, size, position);
    const std::size_t length = static_cast<std::size_t>(text.size());
    line = text.chopped(static_cast<int>(lineEndSize(text.utf16(), length)));
}

/// The size of a byte order mark of UTF-8 that \p bytes start with.
static std::size_t markSize(const LineBytes &bytes)
{
    const char mark[] = {'\xEF', '\xBB', '\xBF'};
    const bool hasMark =
        bytes.size() >= sizeof(mark) && std::memcmp(bytes.begin(), mark, sizeof(mark)) == 0;
    return hasMark ? sizeof(mark) : 0;
}

class FileReaderPrivate
{
public:
    bool open(const QString &path);
    bool setEncoding(const QString &path, const QString &name);
    bool isAtEnd() const;
    bool read(Data::String &line);

    QFile file;
    Encoding encoding; // invalid for UTF-8
    LineBytes bytes{file};
    QTextStream stream;
    bool isStream = false; // that reads the lines, and not the bytes
    bool isBroken = false; // a read has failed
    bool rereadPending = false;
    int linesRead = 0;

private:
    bool isCutOff() const;
    void decode(const char *begin, std::size_t size, qint64 position, QString &line) const;
    bool readBytes(Data::String &line);
    bool readSpecial(LineBytes::Outcome outcome, std::size_t size, bool isFirst,
                     Data::String &line);
    bool readStream(Data::String &line);
    bool startStream();
};

bool FileReaderPrivate::isAtEnd() const
{
    if (isBroken)
        return true;
    if (isStream)
        return stream.atEnd();
    return bytes.size() == 0 ? file.atEnd() : isCutOff();
}

/// Whether nothing but a part of a character is left, with which the file ends. QTextStream returns
/// an empty line for it if it decodes this part alone.
bool FileReaderPrivate::isCutOff() const
{
    const std::size_t longest = 3; // which is a part
    if (encoding.isValid() || bytes.size() > longest || bytes.position() == 0 || !file.atEnd())
        return false;
    const qint64 last = bytes.position() + static_cast<qint64>(bytes.size()) - 1;
    return bytes.position() > last - last % streamPiece &&
           decodeAsStream(bytes.begin(), bytes.size(), bytes.position()).isEmpty();
}

/// False when the line cannot be read completely, or is larger than the memory.
bool FileReaderPrivate::read(Data::String &line)
{
    try {
        if (isStream ? readStream(line) : readBytes(line))
            return true;
    } catch (const std::bad_alloc &) {
    }
    line.clear();
    return false;
}

bool FileReaderPrivate::readBytes(Data::String &line)
{
    const bool isFirst = bytes.position() == 0;
    std::size_t size = 0;
    const LineBytes::Outcome outcome = bytes.find(size);
    if (isFirst || outcome != LineBytes::Outcome::Found)
        return readSpecial(outcome, size, isFirst, line);
    decode(bytes.begin(), size, bytes.position(), line);
    bytes.skip(size);
    return true;
}

void FileReaderPrivate::decode(const char *begin, std::size_t size, qint64 position,
                               QString &line) const
{
    if (encoding.isValid())
        line = encoding.toText(begin, begin + size - lineEndSize(begin, size));
    else
        decodeLine(begin, size, position, line);
}

/// Reads the first line, one without an end, or one that is very long.
bool FileReaderPrivate::readSpecial(LineBytes::Outcome outcome, std::size_t size, bool isFirst,
                                    Data::String &line)
{
    const int start = static_cast<int>(std::min<std::size_t>(bytes.size(), 4));
    const bool isUtf8 = !encoding.isValid();
    if (isUtf8 && isFirst && startsWithWideMark(QByteArray::fromRawData(bytes.begin(), start)))
        return startStream() && readStream(line);

    const std::size_t mark = isUtf8 ? markSize(bytes) : 0;
    switch (outcome) {
    case LineBytes::Outcome::Failed:
        isBroken = true;
        return false;
    case LineBytes::Outcome::TooLong:
        if (!startStream() || !readStream(line))
            return false;
        if (mark > 0 && !isFirst) // the stream takes it for the start of the file
            line.prepend(QChar(QChar::ByteOrderMark));
        return true;
    case LineBytes::Outcome::AtEnd:
        if (size == 0 && !file.atEnd()) // shorter than the system says
            return false;
        break;
    case LineBytes::Outcome::Found:
        break;
    }
    const std::size_t skipped = isFirst ? mark : 0;
    decode(bytes.begin() + skipped, size - skipped, bytes.position() + static_cast<qint64>(skipped),
           line);
    bytes.skip(size);
    return true;
}

/// Continues with the stream, from the next line on.
bool FileReaderPrivate::startStream()
{
    const qint64 position = bytes.position();
    isStream = true;
    if (!file.seek(position)) {
        isBroken = true;
        return false;
    }
    stream.setDevice(&file);
    stream.setCodec(encoding.isValid() ? encoding.name().toLatin1().constData() : "UTF-8");
    stream.setAutoDetectUnicode(position == 0 && !encoding.isValid());
    return true;
}

bool FileReaderPrivate::readStream(Data::String &line)
{
    const bool isRead = stream.readLineInto(&line, maxLineLength);
    // A failed read is always the last one for a line, and leaves a part of the line.
    isBroken = file.error() != QFile::NoError;
    // At the end of the file, a byte order mark or bytes without a character count as an empty
    // line.
    return !isBroken && (isRead || stream.atEnd());
}

bool FileReaderPrivate::open(const QString &path)
{
    file.setFileName(pathForQt(path));
    return isName(path) && file.open(QIODevice::ReadOnly);
}

/// Sets the encoding of the open file. False when there is none of that name, or when the file
/// cannot be read to find it.
bool FileReaderPrivate::setEncoding(const QString &path, const QString &name)
{
    constexpr qint64 largestPeek = 1 << 16;
    QString found = name;
    if (isAutomatic(name))
        found =
            file.isSequential() ? File::encodingOf(file.peek(largestPeek)) : File::encoding(path);
    const Encoding named(found);
    if (!named.isValid())
        return found.isEmpty() ? false : LastError::set(".err.encoding", {name});
    if (named.isUtf8())
        return true;
    encoding = named;
    isStream = !named.keepsLinesAndFields('\n');
    return true;
}

FileReader::FileReader(const Data::String &path) : d(std::make_unique<FileReaderPrivate>())
{
    if (d->open(path) && d->file.isSequential()) { // which cannot be read ahead
        d->isStream = true;
        d->stream.setDevice(&d->file);
        d->stream.setCodec("UTF-8");
    }
}

FileReader::FileReader(const Data::String &path, const Data::String &encoding)
    : d(std::make_unique<FileReaderPrivate>())
{
    LastError operation;
    if (!d->open(path)) {
        LastError::cannotRead(d->file);
        return;
    }
    if (!d->setEncoding(path, encoding)) {
        d->file.close();
        return;
    }
    if (d->file.isSequential() || d->isStream) {
        d->isStream = true;
        d->stream.setDevice(&d->file);
        d->stream.setCodec(d->encoding.isValid() ? d->encoding.name().toLatin1().constData()
                                                 : "UTF-8");
        d->stream.setAutoDetectUnicode(!d->encoding.isValid());
    }
    operation.succeeded();
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
