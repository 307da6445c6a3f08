#include "utils/csv/CSVTable.h"

#include "utils/csv/CSVTable_p.h"

namespace Utils {

CSVTable::CSVTable(const Data::String &delimiter) : d(new CSVTablePrivate)
{
    addDelimiter(delimiter);
}

CSVTable::~CSVTable() = default;

void CSVTable::addDelimiter(const Data::String &delimiter, bool alternate)
{
    QStringList &list = alternate ? d->textData.alternateDelimiters : d->textData.delimiters;
    if (!delimiter.isEmpty() && !list.contains(delimiter))
        list.append(delimiter);
}

void CSVTable::setComment(const Data::String &comment, char except)
{
    d->textData.comment = comment;
    if (except != 0)
        d->textData.commentException = comment + except;
}

Data::String CSVTable::comment() const { return d->textData.comment; }

void CSVTable::setDemandParse(bool on) { d->demandParse = on; }
bool CSVTable::isDemandRead() const { return d->data->isReadOnly(); }

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
    QStringList &delimiters = d->textData.delimiters;
    while (delimiters.size() > 1)
        delimiters.removeLast();
    d->textData.clear();
    clearCSV();
}

void CSVTable::clearCSV() { d->useText(); }

} // namespace Utils
