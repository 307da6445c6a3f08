#include "utils/csv/CSVTable.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable_p.h"

#include <QRegExp>

namespace Utils {

/// The delimiter of a table, a pattern unless there are quotes.
static QString tableDelimiter(const CSVDialect &dialect)
{
    if (dialect.isAligned())
        return dialect.delimiter();
    if (dialect.delimiter().isEmpty())
        return QStringLiteral("\x1f"); // which no text contains, so there is one column
    return dialect.quotes() == CSVDialect::NoQuotes ? QRegExp::escape(dialect.delimiter())
                                                    : QString(dialect.delimiter());
}

/// The encoding of a table. A file whose sample is UTF-8 may be in another encoding.
static Data::String encodingFor(const CSVDialect &dialect)
{
    const double certain = 0.9;
    const bool mayDiffer = dialect.encoding() == QLatin1String("UTF-8") &&
                           dialect.confidence(CSVDialect::Encoding) <= certain;
    return mayDiffer ? Data::String("auto") : dialect.encoding();
}

bool CSVTable::setDialect(const CSVDialect &dialect)
{
    if (!dialect.isValid())
        return false; // the reason of detect() stays
    LastError operation;
    return falseWithoutMemory([&] {
        const QStringList delimiters(tableDelimiter(dialect));
        const Data::String marker = dialect.comment();
        if (!setEncoding(encodingFor(dialect)))
            return false;

        d->textData->delimiters = delimiters;
        d->textData->alternateDelimiters.clear();
        d->textData->comment = marker;
        d->textData->commentException.clear();
        setQuoting(dialect.quotes() == CSVDialect::NoQuotes ? Classic : Rfc4180);
        setDecimalPoint(dialect.decimalPoint());
        d->headers = {dialect.hasHeader() ? dialect.firstDataRow() : 0, dialect.headerRow(),
                      dialect.unitRow(), /*objects=*/-1};
        return operation.succeeded();
    });
}

} // namespace Utils
