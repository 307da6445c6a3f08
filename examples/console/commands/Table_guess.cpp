#include "examples/console/commands/Table.h"

#include "utils/files/File.h"

namespace Kelm {

using Utils::CSVDialect;
using Utils::File;

bool isHeldAsBytes(const QString &path, const CSVDialect &dialect, std::optional<int> sizeLimit,
                   bool isRowPerLine)
{
    if (!sizeLimit || dialect.delimiter().size() > 1)
        return false;
    const qint64 megabyte = 1024 * 1024;
    const int overflow = 2048; // from which limit on the library leaves nearly every file there
    const bool isLarger = *sizeLimit >= overflow || File::size(path) > *sizeLimit * megabyte;
    // Such quotes need text, which is left on the disk only above the limit.
    return isRowPerLine ? isLarger : dialect.quotes() == CSVDialect::NoQuotes;
}

/// A decimal comma is applied unless it is only a guess, because it makes texts numbers.
static char appliedPoint(const CSVDialect &dialect)
{
    const bool isComma =
        dialect.decimalPoint() == ',' && dialect.confidence(CSVDialect::DecimalPoint) >= probable;
    return isComma ? ',' : '.';
}

CSVDialect detectApplied(const QString &path, const CSVDialect &known, std::optional<int> sizeLimit,
                         bool isRowPerLine)
{
    const CSVDialect found = CSVDialect::detect(path, known);
    if (!found.isValid())
        return found;
    CSVDialect applied = known;
    applied.setDelimiter(found.delimiter());
    applied.setDecimalPoint(appliedPoint(found));
    const bool areQuotesKnown = known.confidence(CSVDialect::Quoting) > 0.0;
    applied.setQuotes(sizeLimit && !areQuotesKnown ? CSVDialect::NoQuotes : found.quotes());
    const bool isUsual = found.comment().isEmpty() && found.confidence(CSVDialect::Comment) < 1.0;
    applied.setComment(isUsual ? Data::String(usualComment) : found.comment());
    if (isHeldAsBytes(path, applied, sizeLimit, isRowPerLine)) {
        applied.setQuotes(CSVDialect::NoQuotes);
        applied.setComment(QString());
    }
    return CSVDialect::detect(path, applied); // the rows depend on all of that
}

} // namespace Kelm
