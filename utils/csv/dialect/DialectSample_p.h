#pragma once

#include "utils/csv/dialect/DialectEncoding_p.h"

#include <QByteArray>
#include <QStringList>

#include <functional>

namespace Utils {

/// What is read of a text to detect its dialect.
struct DialectSample
{
    /// Returns up to \p size bytes at \p position.
    using Read = std::function<QByteArray(qint64 position, int size)>;

    /// Reads the sample of a text of \p size bytes. Its encoding is \p encoding unless that is "".
    static DialectSample take(qint64 size, const QString &encoding, const Read &read);

    DialectEncoding encoding;
    QStringList parts;       ///< whole lines that end at line feeds; the first part is the start
    bool isText = true;      ///< false when there are many control characters
    bool isWhole = true;     ///< whether the parts are the whole text
    bool hasReturns = false; ///< lines ended at carriage returns alone
};

} // namespace Utils
