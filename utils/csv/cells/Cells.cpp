#include "utils/csv/cells/Cells_p.h"

namespace Utils {

double &csvHoleValue()
{
    static double value = 0.0;
    return value;
}

double csvNumber(const QString &text, bool *ok)
{
    if (text.isEmpty()) {
        if (ok)
            *ok = false;
        return csvHoleValue();
    }
    const int brace = text.indexOf(QLatin1Char('{'));
    return parseNumber(brace < 0 ? text : text.left(brace), ok);
}

} // namespace Utils
