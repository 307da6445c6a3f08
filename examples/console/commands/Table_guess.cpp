#include "examples/console/commands/Table.h"

namespace Kelm {

using Utils::CSVDialect;

TableLayout layoutOf(const CSVDialect &dialect)
{
    TableLayout layout;
    layout.delimiter = dialect.delimiter();
    if (layout.delimiter.isEmpty()) // one column: a character that no text has
        layout.delimiter = "\x1f";
    layout.comment = dialect.comment();
    if (dialect.comment().isEmpty() && dialect.confidence(CSVDialect::Comment) < 1.0)
        layout.comment = usualComment;
    layout.isQuoted = dialect.quotes() != CSVDialect::NoQuotes;
    return layout;
}

} // namespace Kelm
