#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVArrayData_p.h"
#include "utils/csv/CSVFileData_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"

#include <new>

namespace Utils {

namespace {

/// While it lives, a reporter may be used for something else.
class SavedProgress
{
public:
    explicit SavedProgress(Progress *progress) : m_progress(progress)
    {
        if (m_progress)
            m_progress->save();
    }
    SavedProgress(const SavedProgress &) = delete;
    SavedProgress &operator=(const SavedProgress &) = delete;
    ~SavedProgress()
    {
        if (m_progress)
            m_progress->restore();
    }

private:
    Progress *const m_progress;
};

/// Megabytes in bytes as a 32-bit number, which wraps: 2048 gives a negative one, and 4096 gives 0.
int inBytes(int megabytes) { return static_cast<int>(static_cast<unsigned>(megabytes) << 20); }

} // namespace

// A backend becomes the current one when it is whole: the host may call the table while its
// progress is reported.

bool CSVTable::read(const Data::String &path, int fileSizeLimit, bool quoted)
{
    d->path = path;
    const bool limited = fileSizeLimit >= 1;
    if (limited && File::exists(path) && File::size(path) > inBytes(fileSizeLimit) &&
        d->hasSingleDelimiter())
    {
        auto backend = std::make_unique<CSVFileData>(d->byteDelimiter());
        backend->reader.setHoleValue(d->holeValue);
        Progress *const progress = d->progress;
        const SavedProgress saved(progress);
        if (progress) {
            progress->setMaxSteps(0);
            progress->setLabel(d->progressLabel);
        }
        clearCSV();
        const bool isRead = backend->reader.read(path, progress);
        d->use(std::move(backend));
        return isRead;
    }

    static const bool isRawReadOff = qEnvironmentVariableIsSet("KLT_NORAWREAD");
    if (limited && !quoted && d->hasSingleDelimiter() && !isRawReadOff)
        return setData(File::readRaw(path));
    if (path.startsWith(QLatin1String("http://"))) // which File::read() fetches
        return setData(File::read(path), quoted);
    // Looked at once: a pipe would wait for somebody else.
    try {
        const CSVText text = CSVText::fromFile(File::readRaw(path));
        return !text.isEmpty() && d->setText(text, quoted);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool CSVTablePrivate::setText(const CSVText &text, bool quoted)
{
    useText();
    const bool wasQuoted = textData.quoted;
    textData.quoted = quoted && textData.delimiters.size() < 2;
    bool isWhole = false;
    {
        const SavedProgress saved(progress);
        isWhole = textData.setText(text, /*parseNow=*/!demandParse, progress, progressLabel);
    }
    if (!isWhole)
        textData.quoted = wasQuoted;
    return isWhole && data->isValid();
}

bool CSVTable::setData(const Data::String &text, bool quoted)
{
    try {
        return !text.isEmpty() && d->setText(CSVText(text), quoted);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool CSVTable::setData(const char *text, bool quoted)
{
    return setData(Data::String(text), quoted);
}

bool CSVTable::setData(const QByteArray &bytes)
{
    try {
        if (!d->hasSingleDelimiter())
            return setData(Data::String(QString::fromLatin1(bytes)), /*quoted=*/false);
        if (bytes.isEmpty())
            return false;

        clearCSV();
        auto backend = std::make_unique<CSVArrayData>(d->byteDelimiter());
        {
            const SavedProgress saved(d->progress);
            backend->setData(bytes, /*parseNow=*/!d->demandParse, d->progress, d->progressLabel);
        }
        d->use(std::move(backend));
        return isValid();
    } catch (const std::bad_alloc &) {
        return false; // back on the text rows, as they were
    }
}

bool CSVTable::hasHeader() const
{
    const QStringList fields = data(0);
    return std::any_of(fields.begin(), fields.end(), [](const QString &field) {
        bool isNumber = false;
        field.toDouble(&isNumber);
        return !isNumber;
    });
}

bool CSVTable::isValid() const { return d->data->isValid(); }
int CSVTable::numRows() const { return d->data->numRows(); }
int CSVTable::numColumns(int row) const { return d->data->numColumns(row); }
bool CSVTable::isEmpty(int row, int col) const { return d->data->isEmpty(row, col); }

} // namespace Utils
