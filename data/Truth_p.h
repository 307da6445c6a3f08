#pragma once

#include <QLatin1String>
#include <QString>

namespace Data {

/// Whether \p text says yes: "true", "yes" or "1", in any case and with nothing around it.
inline bool saysYes(const QString &text)
{
    const QString lower = text.toLower();
    return lower == QLatin1String("true") || lower == QLatin1String("yes") ||
           lower == QLatin1String("1");
}

} // namespace Data
