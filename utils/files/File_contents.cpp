#include "utils/files/File.h"

#include "utils/base/EncodingFinder_p.h"
#include "utils/base/FileName_p.h"
#include "utils/base/FileStatus_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/base/SafeFile_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File_p.h"
#include "utils/platform/Platform.h"
#include "utils/text/DateTime.h"
#include "utils/text/DateTime_p.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QTextStream>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <new>
#include <vector>

namespace Utils {

static const char utf8[] = "UTF-8";
static const QLatin1Char wildcard('*');
static const QLatin1String httpScheme("http://");

/// Opens a file to read it. A failure stores its reason.
static bool open(QFile &file)
{
    return (isName(file.fileName()) && file.open(QIODevice::ReadOnly)) ||
           LastError::cannotRead(file);
}

/// Stores why the content of \p file is no result, and returns none.
static QString unreadable(const QFile &file)
{
    LastError::cannotRead(file);
    return {};
}

static QString notUtf8(const QFile &file)
{
    LastError::setFor(".err.utf8", file.fileName());
    return {};
}

static QString tooLarge(const QFile &file)
{
    LastError::setFor(".err.toolarge", file.fileName());
    return {};
}

/// Appends bytes of \p file until \p bytes has \p most bytes or the file ends. False when a read
/// fails.
///
/// A single read of Qt does not report that: a read that fails after some bytes is short, like a
/// read at the end of a file, and only the next read reports the error.
static bool readOn(QFile &file, QByteArray &bytes, qint64 most)
{
    char block[4096];
    while (bytes.size() < most) {
        const qint64 wanted = std::min<qint64>(sizeof(block), most - bytes.size());
        const qint64 length = file.read(block, wanted);
        if (length <= 0)
            return length == 0;
        bytes.append(block, static_cast<int>(length));
    }
    return true;
}

/// The text of \p file, or "" when it is not valid UTF-8 or cannot be read to its end.
///
/// A QTextStream would be slower, and would not report the error: it replaces invalid bytes by a
/// replacement character, and drops a sequence that is cut off at the end.
static QString readUtf8(QFile &file)
{
    if (const int size = sizeOfUtf8Mark(file.peek(sizeof utf8Mark - 1)))
        file.skip(size);

    QString text(static_cast<int>(file.size()), Qt::Uninitialized);
    int used = 0;
    constexpr int blockSize = 64 * 1024;
    std::vector<char> block(blockSize);
    int kept = 0; // bytes of a sequence that the previous block cut off
    while (true) {
        const auto length = static_cast<int>(file.read(block.data() + kept, blockSize - kept));
        if (length < 0)
            return unreadable(file);
        if (length == 0)
            break;

        const char *source = block.data();
        const char *const end = source + kept + length;
        if (text.size() - used < end - source) // the file has no size or has grown
            text.resize(used + static_cast<int>(end - source));
        QChar *target = text.data() + used;
        if (!decodeUtf8(source, end, target))
            return notUtf8(file);
        used = static_cast<int>(target - text.constData());
        kept = static_cast<int>(end - source);
        std::copy(source, end, block.begin());
    }
    if (kept > 0)
        return notUtf8(file);

    text.resize(used);
    text.squeeze(); // characters that are not ASCII have more bytes than code units
    return text;
}

/// The whole text of \p file.
static QString readAll(QFile &file)
{
    if (file.size() > maxTextLength)
        return tooLarge(file);
    if (!startsWithWideMark(file.peek(4)))
        return readUtf8(file);

    QTextStream stream(&file);
    stream.setCodec(utf8);
    const QString text = stream.readAll();
    return file.error() == QFile::NoError ? text : unreadable(file);
}

/// The first \p lines lines, each followed by a line feed.
static QString readHead(QFile &file, int lines)
{
    QTextStream stream(&file);
    stream.setCodec(utf8);
    QString text;
    QString line;
    for (int i = 0; i < lines && stream.readLineInto(&line); ++i)
        text += line + QLatin1Char('\n');
    return file.error() == QFile::NoError ? text : unreadable(file);
}

/// The end of \p file. Counts line feeds block by block from the end of the file, adds them to
/// \p lines, and starts at the block where the sum exceeds zero.
static QString readTail(QFile &file, int lines)
{
    constexpr int blockSize = 200;
    constexpr int windowSize = 1000 * blockSize; // the number of bytes read at once

    const qint64 size = file.size();
    qint64 start = 0;
    QByteArray window;
    qint64 windowStart = size;
    int count = lines;
    for (qint64 position = size - blockSize - 1; position > 0 && count <= 0; position -= blockSize)
    {
        if (size - position > maxTextLength)
            return tooLarge(file);
        if (position < windowStart) {
            windowStart = std::max(position + blockSize - windowSize, qint64(0));
            if (!file.seek(windowStart))
                return unreadable(file);
            window = file.read(windowSize);
            if (!readOn(file, window, std::min<qint64>(windowSize, size - windowStart)))
                return unreadable(file);
        }
        // The window is short if the file has shrunk meanwhile.
        const int offset = qMin(static_cast<int>(position - windowStart), window.size());
        const char *const block = window.constData() + offset;
        // Line feeds after a zero byte of the block are not counted.
        const uint length = qstrnlen(block, qMin(window.size() - offset, blockSize));
        count += static_cast<int>(std::count(block, block + length, '\n'));
        start = position;
    }
    if (!file.seek(start))
        return unreadable(file);
    QByteArray tail = file.read(size - start);
    if (!readOn(file, tail, size - start))
        return unreadable(file);
    return QString::fromUtf8(tail.constData(), tail.size());
}

Data::String File::read(const Data::String &path, int lines)
{
    const LastError operation;
    if (path.startsWith(httpScheme))
        return readHttp(path);

    QFile file(pathForQt(path));
    if (!open(file))
        return {};

    try {
        if (lines == 0 || file.size() == 0)
            return readAll(file);
        return lines > 0 ? readHead(file, lines) : readTail(file, lines);
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return {};
    }
}

/// The bytes of \p file as far as a single read returns them, of which there are \p size or, if
/// that is 0, an unknown number. As QFile::readAll(), but into memory with large pages, and by
/// \p read, which returns how many bytes it has read to an address.
template <typename Read>
static QByteArray readOnce(QFile &file, qint64 size, const Read &read)
{
    if (size == 0)
        return file.readAll();
    QByteArray bytes(static_cast<int>(size), Qt::Uninitialized);
    Platform::useLargePages(bytes.data(), static_cast<std::size_t>(bytes.size()));
    const qint64 length = read(file, bytes.data(), bytes.size());
    bytes.resize(static_cast<int>(std::max<qint64>(length, 0)));
    return bytes;
}

template <typename Read>
static QByteArray readRawBy(const QString &path, const Read &read)
{
    const LastError operation;
    QFile file(pathForQt(path));
    if (!open(file))
        return {};
    const qint64 size = file.size();

    try {
        if (size > maxByteCount)
            return tooLarge(file).toUtf8();
        QByteArray bytes = readOnce(file, size, read);
        if (!readOn(file, bytes, maxByteCount))
            return unreadable(file).toUtf8();
        return bytes.size() < maxByteCount ? bytes : tooLarge(file).toUtf8();
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return {};
    }
}

QByteArray File::readRaw(const Data::String &path)
{
    return readRawBy(path,
                     [](QFile &file, char *bytes, qint64 size) { return file.read(bytes, size); });
}

/// Reads a file to \p bytes in pieces that the cache of a processor can hold. \p add is called with
/// the start and the end of each. Returns the number of bytes.
template <typename Add>
static qint64 readPieces(QFile &file, char *bytes, qint64 size, const Add &add)
{
    constexpr qint64 pieceSize = 262144;
    qint64 done = 0;
    for (qint64 count = 1; done < size && count > 0;) {
        count = file.read(bytes + done, std::min(pieceSize, size - done));
        if (count > 0)
            add(bytes + done, bytes + done + count);
        done += std::max<qint64>(count, 0);
    }
    return done;
}

QByteArray readRaw(const Data::String &path, bool &isUtf8)
{
    qint64 validated = 0;
    const auto read = [&](QFile &file, char *bytes, qint64 size) {
        Utf8Validator validator(bytes);
        validated = readPieces(file, bytes, size,
                               [&](const char *, const char *end) { validator.advance(end); });
        isUtf8 = validator.finish(bytes + validated);
        return validated;
    };
    QByteArray bytes = readRawBy(path, read);
    if (bytes.size() != validated) // the file has no size or has grown
        isUtf8 = isValidUtf8(bytes.constData(), bytes.constData() + bytes.size());
    return bytes;
}

QByteArray readRaw(const Data::String &path, EncodingFinder &finder)
{
    qint64 added = 0;
    const auto read = [&](QFile &file, char *bytes, qint64 size) {
        added = readPieces(file, bytes, size, [&](const char *begin, const char *end) {
            finder.add(begin, static_cast<int>(end - begin));
        });
        return added;
    };
    QByteArray bytes = readRawBy(path, read);
    const auto rest = static_cast<int>(bytes.size() - added); // if it has no size or has grown
    if (rest > 0)
        finder.add(bytes.constData() + added, rest);
    return bytes;
}

/// Replaces the content of \p output, a result of makeOutput() or a SafeFile, by the text that
/// \p put writes to a stream. \p finish completes it; its argument is whether all was written.
template <typename Put, typename Finish>
static bool writeText(QIODevice &output, const Put &put, const Finish &finish)
{
    const LastError operation;
    if (!openOutput(output))
        return false;

    const WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    QTextStream stream(&output);
    stream.setCodec(utf8);
    put(stream);
    stream.flush();
    return finish(output, stream.status() == QTextStream::Ok);
}

template <typename Put>
static bool writeText(const QString &path, const Put &put)
{
    return writeText(*makeOutput(path), put, &finishOutput);
}

template <typename Put>
static bool writeTextSafely(const QString &path, const Put &put)
{
    SafeFile file(path);
    return writeText(file, put, [&](QIODevice &, bool isWritten) {
        return isWritten ? file.commit(/*flush=*/true) : file.storeReason();
    });
}

bool File::write(const Data::String &path, const Data::String &text)
{
    return writeText(path, [&](QTextStream &stream) { stream << text; });
}

static void putLines(QTextStream &stream, const QStringList &lines)
{
    for (const QString &line : lines)
        stream << line << '\n';
}

bool File::write(const Data::String &path, const QStringList &lines)
{
    return writeText(path, [&](QTextStream &stream) { putLines(stream, lines); });
}

bool File::writeRaw(const Data::String &path, const QByteArray &bytes)
{
    const LastError operation;
    const std::unique_ptr<QIODevice> output = makeOutput(path);
    return openOutput(*output) && finishOutput(*output, output->write(bytes) == bytes.size());
}

bool File::writeSafely(const Data::String &path, const Data::String &text)
{
    return writeTextSafely(path, [&](QTextStream &stream) { stream << text; });
}

bool File::writeSafely(const Data::String &path, const char *text)
{
    return writeSafely(path, Data::String(text));
}

bool File::writeSafely(const Data::String &path, const QStringList &lines)
{
    return writeTextSafely(path, [&](QTextStream &stream) { putLines(stream, lines); });
}

bool File::writeSafely(const Data::String &path, const QByteArray &bytes)
{
    const LastError operation;
    SafeFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    return file.write(bytes) == bytes.size() ? file.commit(/*flush=*/true) : file.storeReason();
}

void File::setSafeWriting(bool on, bool flush) { SafeFile::setUsed(on, flush); }

bool File::isSafeWriting() { return SafeFile::isUsed(); }

/// Opens a file by Platform::openFile(). Its errno is preserved when the temporary texts of the
/// call are destroyed.
static std::FILE *openStream(const QString &path, const char *mode)
{
    const LastError operation;
    int error = 0;
    std::FILE *stream = nullptr;
    {
        const std::string name = path.toUtf8().toStdString();
        stream = Platform::openFile(name, mode);
        error = errno;
    }
    if (!stream && *mode == 'r')
        LastError::cannotRead(path, error);
    else if (!stream)
        LastError::cannotWrite(path, error);
    errno = error;
    return stream;
}

Data::String File::lastError() { return lastErrorText(); }

std::FILE *File::openRead(const Data::String &path) { return openStream(path, "rb"); }

std::FILE *File::openWrite(const Data::String &path, bool append)
{
    return openStream(path, append ? "ab" : "wb");
}

bool File::exists(const Data::String &path)
{
    if (path.contains(wildcard)) {
        const LastError::Apart apart; // no failure: the reason from before is kept
        const Data::String pattern = base(path, /*withExtension=*/true);
        return !search(parentFolder(path), pattern, /*recursive=*/false, 0).isEmpty();
    }
    return !path.isEmpty() && QFileInfo::exists(pathForQt(path));
}

bool File::isDir(const Data::String &path) { return QFileInfo(pathForQt(path)).isDir(); }

bool File::isFile(const Data::String &path) { return QFileInfo(pathForQt(path)).isFile(); }

qint64 File::size(const Data::String &path)
{
    const QFileInfo file(pathForQt(path));
    return file.exists() ? file.size() : 0;
}

Data::String File::sizeString(const Data::String &pathOrNumber)
{
    QFileInfo file(pathForQt(pathOrNumber));
    file.setCaching(false);
    qint64 size = file.exists() ? file.size() : 0;
    if (size < 1) {
        bool isNumber = false;
        size = pathOrNumber.toLongLong(&isNumber);
        if (!isNumber || size < 0)
            return {};
    }

    const double bytes = static_cast<double>(size);
    const int unit = size > 0 ? static_cast<int>(std::log10(bytes) / std::log10(1024.0)) : 0;
    QString text = QString::number(bytes / std::pow(1020.0, unit), 'f', std::min(unit, 2));
    const int point = text.indexOf(QLatin1Char('.'));
    for (int i = (point < 0 ? text.size() : point) - 3; i > 0; i -= 3)
        text.insert(i, QLatin1Char(','));

    const QStringList words = {QStringLiteral("bytes"), QStringLiteral("KB"), QStringLiteral("MB"),
                               QStringLiteral("GB"), QStringLiteral("TB")};
    return text + QLatin1Char(' ') + words.value(unit);
}

unsigned int File::timestamp(const Data::String &path) { return timestampOf(fileStatus(path)); }

Data::String File::timestampString(const Data::String &path, const Data::String &format)
{
    const Platform::EntryStatus status = fileStatus(path);
    if (status.entry == Platform::Entry::Missing || status.entry == Platform::Entry::Unknown)
        return {};
    return dateTimeText(QDateTime::fromMSecsSinceEpoch(status.modified),
                        format.isEmpty() ? DateTime::formatISO() : format);
}

Data::String File::version(const Data::String &path)
{
    const auto version = Platform::fileVersion(path.toUtf8().toStdString());
    return version ? QString::fromStdString(Platform::formatVersion(*version)) : QString();
}

bool File::containsWord(const Data::String &path, const Data::String &word, bool caseSensitive)
{
    const Data::String text = read(path);
    const auto isBoundary = [&](int position) {
        return position < 0 || position >= text.size() || !text.at(position).isLetterOrNumber();
    };
    const Qt::CaseSensitivity rule = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (int at = text.indexOf(word, 0, rule); at >= 0; at = text.indexOf(word, at + 1, rule)) {
        if (isBoundary(at - 1) && isBoundary(at + word.size()))
            return true;
    }
    return false;
}

bool File::isSupportedImage(const Data::String &path)
{
    static const QList<QByteArray> formats = QImageReader::supportedImageFormats();
    return formats.contains(extension(path.toLower()).toUtf8());
}

} // namespace Utils
