#include "utils/files/File.h"

#include "utils/base/EncodingFinder_p.h"
#include "utils/base/Encoding_p.h"
#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/files/File_p.h"

#include <QFile>
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
        QFile file(path);
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
    for (int next = 0; next < bytes.size(); next += pieceSize) {
        if (!finder.add(bytes.constData() + next, std::min(pieceSize, bytes.size() - next)))
            break;
    }
    return nameOf(finder.result(), isGuess);
}

Data::String File::encodingOf(const QByteArray &bytes, bool *isGuess)
{
    LastError operation;
    try {
        const QString name = findEncodingOf(bytes, isGuess);
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

bool decodeFile(QByteArray bytes, const QString &path, const QString &encoding,
                DecodedFile &decoded)
{
    bool isGuess = false;
    const QString name = isAutomatic(encoding) ? findEncodingOf(bytes, &isGuess) : encoding;
    const Encoding used(name);
    if (!used.isValid())
        return LastError::set(".err.encoding", {name});
    const Encoding::Outcome outcome = used.toUtf8(bytes);
    if (outcome == Encoding::Outcome::Invalid && path.isEmpty())
        return LastError::set(".err.decodeText", {used.name()});
    if (outcome == Encoding::Outcome::Invalid)
        return LastError::set(".err.decode", {path, used.name()});
    if (outcome == Encoding::Outcome::TooLong)
        return LastError::set(".err.toolarge", {path});
    decoded = {bytes, used.name(), isGuess};
    return true;
}

Data::String File::read(const Data::String &path, const Data::String &encoding)
{
    LastError operation;
    try {
        QByteArray bytes = readRaw(path);
        DecodedFile decoded;
        if (bytes.isEmpty() && !(exists(path) && size(path) == 0))
            return {};
        if (!decodeFile(std::move(bytes), path, encoding, decoded))
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
