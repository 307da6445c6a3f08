#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVTable_p.h"
#include "utils/csv/backends/CSVFileData_p.h"
#include "utils/files/File.h"

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
    d->path = path;
    return emptyWithoutMemory([&] {
        const bool limited = fileSizeLimit >= 1;
        if (limited && File::exists(path) && File::size(path) > inBytes(fileSizeLimit) &&
            d->hasSingleDelimiter())
            return d->readInFile();

        static const bool isRawReadOff = qEnvironmentVariableIsSet("KLT_NORAWREAD");
        if (limited && !quoted && d->hasSingleDelimiter() && !isRawReadOff)
            return setData(File::readRaw(path));
        if (path.startsWith(QLatin1String("http://"))) // which File::read() fetches
            return setData(File::read(path), quoted);
        // Read only once: a second read of a pipe would wait for another writer.
        const CSVText text = CSVText::fromFile(File::readRaw(path));
        return !text.isEmpty() && d->appendText(text, quoted);
    });
}

bool CSVTablePrivate::readInFile()
{
    auto inFile = std::make_unique<CSVFileData>(byteDelimiter());
    inFile->reader.setHoleValue(holeValue);
    Progress *const reporter = progress;
    TaskProgress task(reporter);
    task.start(/*steps=*/0, progressLabel);
    useText();
    const bool isRead = inFile->reader.read(path, reporter);
    backend = std::move(inFile);
    return isRead;
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
    if (!isWhole)
        textData->quoted = wasQuoted;
    return isWhole && current().isValid();
}

bool CSVTable::setData(const Data::String &text, bool quoted)
{
    return emptyWithoutMemory(
        [&] { return !text.isEmpty() && d->appendText(CSVText(text), quoted); });
}

bool CSVTable::setData(const char *text, bool quoted)
{
    return emptyWithoutMemory([&] { return setData(Data::String(text), quoted); });
}

bool CSVTable::setData(const QByteArray &bytes)
{
    return emptyWithoutMemory([&] {
        if (!d->hasSingleDelimiter())
            return setData(Data::String(QString::fromLatin1(bytes)), /*quoted=*/false);
        if (bytes.isEmpty())
            return false;

        clearCSV(); // the text rows remain when the memory does not suffice
        std::unique_ptr<CSVData> backend;
        {
            const TaskProgress task(d->progress);
            backend = d->backends.makeBytes(bytes, d->byteDelimiter(), /*parseNow=*/!d->demandParse,
                                            d->progress, d->progressLabel);
        }
        d->backend = std::move(backend);
        return isValid();
    });
}

bool CSVTable::hasHeader() const
{
    return emptyWithoutMemory([&] {
        const QStringList fields = data(0);
        return std::any_of(fields.begin(), fields.end(), [](const QString &field) {
            bool isNumber = false;
            field.toDouble(&isNumber);
            return !isNumber;
        });
    });
}

bool CSVTable::isValid() const { return d->current().isValid(); }
int CSVTable::numRows() const { return d->current().numRows(); }

int CSVTable::numColumns(int row) const
{
    return emptyWithoutMemory([&] { return d->current().numColumns(row); });
}

bool CSVTable::isEmpty(int row, int col) const
{
    return !emptyWithoutMemory([&] { return !d->current().isEmpty(row, col); });
}

} // namespace Utils
