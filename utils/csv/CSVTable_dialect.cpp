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
        return QStringLiteral("\x1f"); // which no text has, so that there is one column
    return dialect.quotes() == CSVDialect::NoQuotes ? QRegExp::escape(dialect.delimiter())
                                                    : QString(dialect.delimiter());
}

bool CSVTable::setDialect(const CSVDialect &dialect)
{
    if (!dialect.isValid())
        return false; // the reason of detect() stays
    LastError operation;
    return falseWithoutMemory([&] {
        const QStringList delimiters(tableDelimiter(dialect));
        const Data::String marker = dialect.comment();
        if (!setEncoding(dialect.encoding()))
            return false;

        d->textData->delimiters = delimiters;
        d->textData->alternateDelimiters.clear();
        d->textData->comment = marker;
        d->textData->commentException.clear();
        setQuoting(dialect.quotes() == CSVDialect::NoQuotes ? Classic : Rfc4180);
        setDecimalPoint(dialect.decimalPoint());
        setHeaderRows(dialect.headerRow() == 0 ? dialect.firstDataRow() : 0);
        return operation.succeeded();
    });
}

} // namespace Utils
