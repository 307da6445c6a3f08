#include "utils/csv/CSVTable.h"

#include "utils/base/LastError_p.h"
#include "utils/base/Limits_p.h"
#include "utils/base/Utf8_p.h"
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

/// Sets the \p content of a file. What is empty is reported by the caller.
template <typename Content, typename Set>
static bool setUnlessEmpty(const Content &content, const Set &set)
{
    return !content.isEmpty() && set(content);
}

/// Stores why the \p bytes of the file \p path are no text. Returns false.
static bool tellNoText(const QByteArray &bytes, const Data::String &path)
{
    if (bytes.size() > maxTextLength)
        return LastError::setFor(".err.toolarge", path);
    const bool isText = startsWithWideMark(bytes) ||
                        isValidUtf8(bytes.constData(), bytes.constData() + bytes.size());
    return LastError::setFor(isText ? ".err.empty" : ".err.utf8", path);
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
            d->hasSingleDelimiter())
            return d->readInFile();

        static const bool isRawReadOff = qEnvironmentVariableIsSet("KLT_NORAWREAD");
        if (limited && !quoted && d->hasSingleDelimiter() && !isRawReadOff)
            return setUnlessEmpty(File::readRaw(path),
                                  [&](const auto &bytes) { return setData(bytes); });
        if (path.startsWith(QLatin1String("http://"))) // which File::read() fetches
            return setUnlessEmpty(File::read(path),
                                  [&](const auto &text) { return setData(text, quoted); });
        // Read only once: a second read of a pipe would wait for another writer.
        const QByteArray bytes = File::readRaw(path);
        const CSVText text = CSVText::fromFile(bytes);
        return text.isEmpty() ? tellNoText(bytes, path) : d->appendText(text, quoted);
    });
    return isRead ? operation.succeeded() : LastError::setFor(".err.empty", path);
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
    if (!isWhole) {
        textData->quoted = wasQuoted;
        return LastError::set(".err.memory");
    }
    return current().isValid() || LastError::set(".err.norows");
}

bool CSVTable::setData(const Data::String &text, bool quoted)
{
    LastError operation;
    const bool isSet =
        falseWithoutMemory([&] { return !text.isEmpty() && d->appendText(CSVText(text), quoted); });
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
    const bool isSet = falseWithoutMemory([&] {
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
    return isSet ? operation.succeeded() : LastError::set(".err.notext");
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
