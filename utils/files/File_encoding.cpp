#include "utils/files/File.h"

#include "utils/base/EncodingFinder_p.h"
#include "utils/base/Encoding_p.h"
#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/files/File_p.h"
#include "utils/platform/Platform.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <algorithm>
#include <new>
#include <vector>

namespace Utils {

static const int pieceSize = 256 * 1024; // of which the encoding is searched for at once

/// The fallback encoding of the process, which several threads may use.
class Fallback
{
public:
    QString name() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_name;
    }

    void setName(const QString &name)
    {
        const QMutexLocker lock(&m_mutex);
        m_name = name;
    }

private:
    mutable QMutex m_mutex;
    QString m_name = QStringLiteral("windows-1252");
};

static Fallback &fallback()
{
    static Fallback fallback;
    return fallback;
}

static QString nameOf(const EncodingFinder::Result &result, bool *isGuess)
{
    if (isGuess)
        *isGuess = result.isGuess;
    return result.name.isEmpty() ? fallback().name() : QString::fromLatin1(result.name);
}

/// Passes the bytes of \p file to \p finder, as many as it needs. False when a read fails.
static bool findEncoding(QFile &file, EncodingFinder &finder)
{
    std::vector<char> block(pieceSize);
    for (;;) {
        const qint64 count = file.read(block.data(), static_cast<qint64>(block.size()));
        if (count <= 0)
            return count == 0;
        if (!finder.add(block.data(), static_cast<int>(count)))
            return true;
    }
}

Data::String File::encoding(const Data::String &path, bool *isGuess)
{
    LastError operation;
    try {
        QFile file(pathForQt(path));
        EncodingFinder finder;
        if (isName(path) && file.open(QIODevice::ReadOnly) && findEncoding(file, finder)) {
            operation.succeeded();
            return nameOf(finder.result(), isGuess);
        }
        LastError::cannotRead(file);
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
    }
    if (isGuess)
        *isGuess = true;
    return {};
}

/// As File::encodingOf(), but throws std::bad_alloc when the memory does not suffice.
static QString findEncodingOf(const QByteArray &bytes, bool *isGuess)
{
    EncodingFinder finder;
    for (qint64 next = 0; next < bytes.size(); next += pieceSize) { // beyond INT_MAX in the end
        const qint64 size = std::min<qint64>(pieceSize, bytes.size() - next);
        if (!finder.add(bytes.constData() + next, static_cast<int>(size)))
            break;
    }
    return nameOf(finder.result(), isGuess);
}

Data::String File::encodingOf(const QByteArray &bytes, bool *isGuess)
{
    LastError operation;
    try {
        QString name = findEncodingOf(bytes, isGuess);
        operation.succeeded();
        return name;
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
    }
    if (isGuess)
        *isGuess = true;
    return {};
}

bool File::setFallbackEncoding(const Data::String &name)
{
    LastError operation;
    try {
        const Encoding encoding(name);
        if (!encoding.isValid())
            return LastError::set(".err.encoding", {name});
        fallback().setName(encoding.name());
        return operation.succeeded();
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

Data::String File::fallbackEncoding() { return fallback().name(); }

/// Stores why the file \p path, or bytes of no file, cannot be decoded. Returns false.
static bool tellProblem(Encoding::Outcome outcome, const QString &path, const Encoding &encoding)
{
    if (outcome == Encoding::Outcome::TooLong)
        return LastError::set(".err.toolarge", {path});
    return path.isEmpty() ? LastError::set(".err.decodeText", {encoding.name()})
                          : LastError::set(".err.decode", {path, encoding.name()});
}

static bool decodeBy(const Encoding &encoding, QByteArray bytes, const QString &path,
                     DecodedFile &decoded)
{
    const Encoding::Outcome outcome = encoding.toUtf8(bytes);
    if (outcome != Encoding::Outcome::Decoded)
        return tellProblem(outcome, path, encoding);
    decoded.utf8 = bytes;
    decoded.encoding = encoding.name();
    return true;
}

bool decodeFile(QByteArray bytes, const QString &path, const QString &encoding,
                DecodedFile &decoded)
{
    decoded.isGuess = false;
    const QString name = isAutomatic(encoding) ? findEncodingOf(bytes, &decoded.isGuess) : encoding;
    const Encoding used(name);
    if (!used.isValid())
        return LastError::set(".err.encoding", {name});
    return decodeBy(used, std::move(bytes), path, decoded);
}

namespace {

/// Decodes a file in a single-byte encoding piece by piece.
class PieceDecoder
{
public:
    PieceDecoder(QFile &file, const Encoding &encoding) : m_file(file), m_encoding(encoding) {}

    Encoding::Outcome read(); ///< Invalid, too, when the file cannot be read

    QByteArray utf8;
    bool hasFailed = false; ///< whether the file could not be read

private:
    static constexpr int size = 64 * 1024; // of a piece, so that it stays in the processor's cache
    static constexpr int padding = 64;

    bool reserve(qint64 left);

    QFile &m_file;
    const Encoding &m_encoding;
    qint64 m_decoded = 0; // bytes of the file
    qint64 m_used = 0;    // bytes of the text
};

/// Makes room for one more piece, and for the other bytes of the file, of which there are \p left.
bool PieceDecoder::reserve(qint64 left)
{
    constexpr qint64 room = Encoding::partRoom(size);
    if (utf8.size() - m_used >= room)
        return true;
    const qint64 most = maxByteCount;
    if (m_used + room > most)
        return false;
    qint64 wanted = m_used + room;
    if (m_decoded > 0) { // the rest becomes longer at the same rate, more or less
        const double growth = double(m_used) / double(m_decoded);
        wanted += static_cast<qint64>(double(left) * growth) + left / 16;
    }
    utf8.reserve(static_cast<int>(std::min(wanted, most))); // resize() would add room
    utf8.resize(static_cast<int>(std::min(wanted, most)));
    Platform::useLargePages(utf8.data(), static_cast<std::size_t>(utf8.size()));
    return true;
}

Encoding::Outcome PieceDecoder::read()
{
    std::vector<char> piece(size + padding);
    qint64 left = m_file.size();
    if (left > maxByteCount)
        return Encoding::Outcome::TooLong;
    while (true) {
        const qint64 count = m_file.read(piece.data(), size);
        hasFailed = count < 0;
        if (hasFailed)
            return Encoding::Outcome::Invalid;
        if (count == 0)
            break;
        left = std::max<qint64>(left - count, 0);
        if (!reserve(left))
            return Encoding::Outcome::TooLong;
        char *to = utf8.data() + m_used;
        if (!m_encoding.decodePart(piece.data(), piece.data() + count, to))
            return Encoding::Outcome::Invalid;
        m_decoded += count;
        m_used = to - utf8.constData();
    }
    utf8.resize(static_cast<int>(m_used));
    return Encoding::Outcome::Decoded;
}

} // namespace

/// The encoding in which the open file can be decoded while it is read; not valid when there is
/// none, or when this cannot be told from the start of the file.
static Encoding findSingleByte(QFile &file, const QString &encoding)
{
    constexpr qint64 fewest = 65536; // bytes, for which this is worth it
    if (file.size() < fewest)
        return {};
    Encoding found;
    if (isAutomatic(encoding)) {
        EncodingFinder finder;
        std::vector<char> start(pieceSize);
        const qint64 count = file.read(start.data(), static_cast<qint64>(start.size()));
        const bool isFound = count > 0 && !finder.add(start.data(), static_cast<int>(count)) &&
                             finder.result().name.isEmpty() && file.seek(0);
        if (isFound)
            found = Encoding(fallback().name());
    } else {
        found = Encoding(encoding);
    }
    return found.isSingleByte() ? found : Encoding();
}

bool readDecoded(const Data::String &path, const QString &encoding, DecodedFile &decoded)
{
    QFile file(pathForQt(path));
    // A pipe could not be opened a second time.
    if (isName(path) && QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly)) {
        const Encoding found = findSingleByte(file, encoding);
        if (found.isValid()) {
            PieceDecoder decoder(file, found);
            const Encoding::Outcome outcome = decoder.read();
            if (decoder.hasFailed)
                return LastError::cannotRead(file);
            if (outcome != Encoding::Outcome::Decoded)
                return tellProblem(outcome, path, found);
            decoded = {decoder.utf8, found.name(), isAutomatic(encoding)};
            return true;
        }
        file.close();
    }
    const bool isAuto = isAutomatic(encoding);
    EncodingFinder finder;
    QByteArray bytes = isAuto ? readRaw(path, finder) : File::readRaw(path);
    if (bytes.isEmpty() && LastError::id()) // not for an empty file
        return false;
    if (!isAuto)
        return decodeFile(std::move(bytes), path, encoding, decoded);

    const Encoding found(nameOf(finder.result(), &decoded.isGuess));
    if (!found.isUtf8() || !finder.isUtf8())
        return decodeBy(found, std::move(bytes), path, decoded);
    bytes.remove(0, sizeOfUtf8Mark(bytes)); // they have been validated while they were read
    decoded.utf8 = bytes;
    decoded.encoding = found.name();
    return true;
}

Data::String File::read(const Data::String &path, const Data::String &encoding)
{
    LastError operation;
    try {
        DecodedFile decoded;
        if (!readDecoded(path, encoding, decoded))
            return {};
        if (decoded.utf8.size() > maxTextLength) {
            LastError::set(".err.toolarge", {path});
            return {};
        }
        QString text = textOfUtf8(decoded.utf8);
        operation.succeeded();
        return text;
    } catch (const std::bad_alloc &) {
        LastError::set(".err.memory");
        return {};
    }
}

bool File::write(const Data::String &path, const Data::String &text, const Data::String &encoding)
{
    const LastError operation;
    try {
        const Encoding used(encoding);
        if (!used.isValid())
            return LastError::set(".err.encoding", {encoding});
        QByteArray bytes;
        if (!used.fromText(text, bytes))
            return LastError::set(".err.encode", {path, used.name()});
        return writeRaw(path, bytes);
    } catch (const std::bad_alloc &) {
        return LastError::set(".err.memory");
    }
}

} // namespace Utils
