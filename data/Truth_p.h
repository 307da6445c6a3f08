#pragma once

#include <QLatin1String>
#include <QString>

namespace Data {

/// Whether \p text is "true", "yes" or "1", in any case, without other characters around it.
inline bool saysYes(const QString &text)
{
    const QString lower = text.toLower();
    return lower == QLatin1String("true") || lower == QLatin1String("yes") ||
           lower == QLatin1String("1");
}

} // namespace Data
