#include "utils/csv/CSVTable.h"

#include "utils/base/Encoding_p.h"
#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/base/Utf8_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/files/File.h"
#include "utils/files/File_p.h"

namespace Utils {

bool CSVTable::setEncoding(const Data::String &name)
{
    LastError operation;
    return falseWithoutMemory(
        [&] { return findUsualName(name, d->encoding) && operation.succeeded(); });
}

Data::String CSVTable::encoding() const { return d->encoding; }

Data::String CSVTable::detectedEncoding(bool *isGuess) const
{
    if (isGuess)
        *isGuess = d->isEncodingGuess;
    return d->detectedEncoding;
}

bool CSVTablePrivate::hasPlainDelimiter() const
{
    const bool needsText =
        dialect.skipsComments && !textData->isRfc4180 && !textData->comment.isEmpty();
    return hasSingleDelimiter() && !needsText &&
           (encoding.isEmpty() || textData->delimiters.first().at(0) < QChar(0x80));
}

bool CSVTablePrivate::canReadInFile()
{
    detectedEncoding.clear();
    isEncodingGuess = false;
    if (dialect.endsAtReturns && !textData->isRfc4180)
        return false;
    if (encoding.isEmpty())
        return true;
    const QString found =
        isAutomatic(encoding) ? QString(File::encoding(path, &isEncodingGuess)) : encoding;
    if (!Encoding(found).keepsLinesAndFields(byteDelimiter()))
        return false;
    detectedEncoding = found;
    return true;
}

bool CSVTablePrivate::readFile(QByteArray &bytes, bool *isUtf8)
{
    detectedEncoding.clear();
    isEncodingGuess = false;
    if (encoding.isEmpty()) {
        bytes = isUtf8 ? readRaw(path, *isUtf8) : File::readRaw(path);
        return true;
    }
    DecodedFile decoded;
    return readDecoded(path, encoding, decoded) && setDecoded(decoded, bytes);
}

bool CSVTablePrivate::decode(QByteArray &bytes)
{
    detectedEncoding.clear();
    isEncodingGuess = false;
    if (encoding.isEmpty())
        return true;
    DecodedFile decoded;
    return decodeFile(std::move(bytes), QString(), encoding, decoded) && setDecoded(decoded, bytes);
}

bool CSVTablePrivate::setDecoded(const DecodedFile &decoded, QByteArray &bytes)
{
    bytes = decoded.utf8;
    detectedEncoding = decoded.encoding;
    isEncodingGuess = decoded.isGuess;
    return true;
}

/// Stores why the \p bytes of the file \p path are not a text.
static void tellNoText(const QByteArray &bytes, const Data::String &path)
{
    if (bytes.size() > maxTextLength) {
        LastError::setFor(".err.toolarge", path);
        return;
    }
    const bool isText = startsWithWideMark(bytes) ||
                        isValidUtf8(bytes.constData(), bytes.constData() + bytes.size());
    LastError::setFor(isText ? ".err.empty" : ".err.utf8", path);
}

CSVText CSVTablePrivate::textOfFile()
{
    QByteArray bytes;
    bool isUtf8 = true;
    if (!readFile(bytes, &isUtf8))
        return CSVText(QString());
    if (!encoding.isEmpty() || !startsWithWideMark(bytes))
        endLinesAtFeeds(bytes);
    CSVText text = encoding.isEmpty() ? CSVText::fromFile(bytes, isUtf8) : CSVText::fromUtf8(bytes);
    if (text.isEmpty())
        tellNoText(bytes, path);
    return text;
}

} // namespace Utils
