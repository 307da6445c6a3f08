#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVTable_p.h"
#include "utils/csv/backends/CSVArrayData_p.h"
#include "utils/csv/backends/CSVStringData_p.h"

namespace Utils {

CSVBackends CSVBackends::standard()
{
    const auto makeText = []() -> std::unique_ptr<CSVTextData> {
        return std::make_unique<CSVStringData>();
    };
    const auto makeBytes = [](const QByteArray &bytes, char delimiter, bool parseNow,
                              Progress *progress,
                              const Data::String &label) -> std::unique_ptr<CSVData> {
        auto backend = std::make_unique<CSVArrayData>(delimiter);
        backend->setData(bytes, parseNow, progress, label);
        return backend;
    };
    return {makeText, makeBytes};
}

void CSVTablePrivate::useBackends(CSVTable &table, const CSVBackends &newBackends)
{
    table.d->useText();
    table.d->textData = newBackends.makeText();
    table.d->backends = newBackends;
}

CSVTable::CSVTable(const Data::String &delimiter) : d(new CSVTablePrivate)
{
    d->addDelimiter(delimiter, /*alternate=*/false); // throws: else rows would be split differently
}

CSVTable::~CSVTable() = default;

void CSVTable::addDelimiter(const Data::String &delimiter, bool alternate)
{
    unlessOutOfMemory([&] { d->addDelimiter(delimiter, alternate); });
}

void CSVTablePrivate::addDelimiter(const Data::String &delimiter, bool alternate)
{
    QStringList &list = alternate ? textData->alternateDelimiters : textData->delimiters;
    if (!delimiter.isEmpty() && !list.contains(delimiter))
        list.append(delimiter);
}

void CSVTable::setComment(const Data::String &comment, char except)
{
    unlessOutOfMemory([&] {
        const Data::String exception =
            except != 0 ? Data::String(comment + except) : d->textData->commentException;
        d->textData->comment = comment;
        d->textData->commentException = exception;
        d->dialect.skipsComments = false;
    });
}

Data::String CSVTable::comment() const { return d->textData->comment; }

void CSVTable::setDemandParse(bool on) { d->demandParse = on; }
bool CSVTable::isDemandRead() const { return d->current().isReadOnly(); }

void CSVTable::setHoleValue(double value)
{
    d->holeValue = value;
    csvHoleValue() = value;
}

void CSVTable::setProgress(Progress *progress, const Data::String &label)
{
    d->progress = progress;
    d->progressLabel = label;
}

Progress *CSVTable::progress() const { return d->progress; }

Data::String CSVTable::path() const { return d->path; }
void CSVTable::clearPath() { d->path = Data::String(); }

void CSVTable::clear()
{
    unlessOutOfMemory([&] {
        QStringList &delimiters = d->textData->delimiters;
        if (delimiters.size() > 1)
            delimiters = delimiters.mid(0, 1);
        d->textData->clear();
        clearCSV();
    });
}

void CSVTable::clearCSV() { d->useText(); }

} // namespace Utils
