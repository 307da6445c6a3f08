#include "utils/csv/CSVTable.h"

#include "utils/base/Encoding_p.h"
#include "utils/base/FileName_p.h"
#include "utils/base/LastError_p.h"
#include "utils/csv/CSVReader_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/csv/backends/CSVFileData_p.h"
#include "utils/files/File.h"

#include <QFileInfo>

#include <algorithm>

namespace Utils {

/// Megabytes in bytes as a 32-bit number, which wraps: 2048 yields a negative number, 4096 yields
/// 0.
static int inBytes(int megabytes)
{
    return static_cast<int>(static_cast<unsigned>(megabytes) << 20);
}

// A backend becomes current only when it is complete: the host may call the table while progress is
// reported.

bool CSVTable::read(const Data::String &path, int fileSizeLimit, bool quoted)
{
    LastError operation;
    d->path = path;
    const bool isRead = falseWithoutMemory([&] {
        const bool limited = fileSizeLimit >= 1;
        if (limited && File::exists(path) && File::size(path) > inBytes(fileSizeLimit) &&
            d->hasPlainDelimiter() && d->canReadInFile())
            return d->readInFile();

        static const bool isRawReadOff = qEnvironmentVariableIsSet("KLT_NORAWREAD");
        const bool isRaw =
            !quoted || d->textData->isRfc4180; // unlike other quotes, the bytes support them
        if (limited && isRaw && d->hasPlainDelimiter() && !isRawReadOff)
            return d->readBytes();
        if (path.startsWith(QLatin1String("http://"))) { // which File::read() fetches
            const Data::String text = File::read(path);
            return !text.isEmpty() && setData(text, quoted);
        }
        // Read only once: a second read of a pipe would wait for another writer.
        const CSVText text = d->textOfFile();
        return !text.isEmpty() && d->appendText(text, quoted);
    });
    return isRead ? operation.succeeded() : LastError::setFor(".err.empty", path);
}

bool CSVTablePrivate::readInFile()
{
    if (textData->isRfc4180)
        return readRecords();
    auto inFile = std::make_unique<CSVFileData>(byteDelimiter());
    inFile->source = QFileInfo(pathForQt(path)).absoluteFilePath();
    inFile->reader.setHoleValue(holeValue);
    CSVReaderPrivate::of(inFile->reader).mostRows = mostRows;
    if (!detectedEncoding.isEmpty()) {
        if (!inFile->reader.setEncoding(detectedEncoding)) // when the memory does not suffice
            return false;
        inFile->setEncoding(Encoding(detectedEncoding));
    }
    Progress *const reporter = progress;
    TaskProgress task(reporter);
    task.start(/*steps=*/0, progressLabel);
    useText();
    const bool isRead = inFile->reader.read(path, reporter);
    use(std::move(inFile));
    return isRead;
}

bool CSVTablePrivate::readBytes()
{
    QByteArray bytes;
    return readFile(bytes) && setDecodedBytes(std::move(bytes));
}

bool CSVTablePrivate::appendText(const CSVText &text, bool quoted)
{
    useText();
    const bool wasQuoted = textData->quoted;
    textData->quoted = quoted && textData->delimiters.size() < 2;
    bool isWhole = false;
    {
        const TaskProgress task(progress);
        isWhole = textData->appendText(text, /*parseNow=*/!demandParse, progress, progressLabel);
    }
    if (!isWhole) {
        textData->quoted = wasQuoted;
        return LastError::set(".err.memory");
    }
    const int line = textData->openQuoteLine;
    if (line > 0)
        return LastError::set(".err.csvquote", {QString::number(line)});
    return current().isValid() || LastError::set(".err.norows");
}

bool CSVTable::setData(const Data::String &text, bool quoted)
{
    LastError operation;
    const bool isSet = falseWithoutMemory([&] {
        QString lines = text;
        d->endLinesAtFeeds(lines);
        return !lines.isEmpty() && d->appendText(CSVText(lines), quoted);
    });
    return isSet ? operation.succeeded() : LastError::set(".err.notext");
}

bool CSVTable::setData(const char *text, bool quoted)
{
    const LastError operation;
    return falseWithoutMemory([&] { return setData(Data::String(text), quoted); });
}

bool CSVTable::setData(const QByteArray &bytes)
{
    LastError operation;
    const bool isSet = falseWithoutMemory([&] { return d->setBytes(bytes); });
    return isSet ? operation.succeeded() : LastError::set(".err.notext");
}

bool CSVTablePrivate::setBytes(QByteArray bytes)
{
    if (encoding.isEmpty() && !hasSingleDelimiter()) {
        QString text = QString::fromLatin1(bytes);
        endLinesAtFeeds(text);
        return !text.isEmpty() && appendText(CSVText(text), /*quoted=*/false);
    }
    return decode(bytes) && setDecodedBytes(std::move(bytes));
}

bool CSVTablePrivate::setDecodedBytes(QByteArray bytes)
{
    if (bytes.isEmpty())
        return false;
    const bool isEncoded = !encoding.isEmpty();
    if (textData->isRfc4180 && hasSingleDelimiter())
        return setQuotedBytes(bytes);
    endLinesAtFeeds(bytes);
    if (!hasPlainDelimiter()) {
        const CSVText text = isEncoded ? CSVText::fromUtf8(bytes) : CSVText::ofBytes(bytes);
        return appendText(text, /*quoted=*/false);
    }

    useText(); // the text rows remain when the memory does not suffice
    std::unique_ptr<CSVData> newBackend;
    {
        const TaskProgress task(progress);
        newBackend = backends.makeBytes(bytes, byteDelimiter(), /*parseNow=*/!demandParse, progress,
                                        progressLabel);
    }
    if (isEncoded)
        newBackend->setUtf8();
    use(std::move(newBackend));
    return current().isValid();
}

bool CSVTable::hasHeader() const
{
    return d->readCells([&] {
        const QStringList fields = data(0);
        return std::any_of(fields.begin(), fields.end(), [&](const QString &field) {
            bool isNumber = false;
            csvToDouble(field, d->decimalPoint(), &isNumber);
            return !isNumber;
        });
    });
}

bool CSVTable::isValid() const { return d->current().isValid(); }
int CSVTable::numRows() const { return d->current().numRows(); }

int CSVTable::numColumns(int row) const
{
    return d->readCells([&] { return d->current().numColumns(row); });
}

bool CSVTable::isEmpty(int row, int col) const
{
    return !d->readCells([&] { return !d->current().isEmpty(row, col); });
}

} // namespace Utils
