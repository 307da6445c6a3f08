#include "utils/csv/CSVTable.h"

#include "utils/base/LastError_p.h"
#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable_p.h"

#include <QRegExp>

namespace Utils {

/// The rules of a table with \p dialect. Its delimiter is a pattern unless there are quotes.
static CSVDialectRules rulesOf(const CSVDialect &dialect)
{
    CSVDialectRules rules;
    rules.outputDelimiter = dialect.delimiter();
    rules.delimiter = dialect.quotes() == CSVDialect::NoQuotes
                          ? QRegExp::escape(dialect.delimiter())
                          : QString(dialect.delimiter());
    if (dialect.isAligned()) {
        rules.delimiter = dialect.delimiter();
        rules.outputDelimiter = QStringLiteral(" ");
    } else if (dialect.delimiter().isEmpty()) {
        rules.delimiter = QStringLiteral("\x1f"); // which no text contains, so there is one column
        rules.outputDelimiter = rules.delimiter;
    }
    rules.skipsComments = !dialect.comment().isEmpty();
    rules.endsAtReturns = dialect.hasCarriageReturns();
    return rules;
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
        const CSVDialectRules rules = rulesOf(dialect);
        const QStringList delimiters(rules.delimiter);
        const Data::String marker = dialect.comment();
        if (!setEncoding(encodingFor(dialect)))
            return false;

        d->dialect = rules;
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
