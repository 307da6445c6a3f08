#include "utils/base/Placeholders_p.h"

namespace Utils {

Data::String fillPlaceholders(const QString &text, const QStringList &values)
{
    QString filled;
    filled.reserve(text.size());
    for (int at = 0; at < text.size(); ++at) {
        const bool isMarker = text[at] == QLatin1Char('%') && at + 1 < text.size();
        const int number = isMarker ? text[at + 1].unicode() - '0' : 0;
        if (number >= 1 && number <= 9 && number <= values.size()) {
            filled += values[number - 1];
            ++at;
        } else {
            filled += text[at];
        }
    }
    return filled;
}

} // namespace Utils
