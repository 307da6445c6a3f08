#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

namespace Utils {

/// The encoding of a text, found in parts of it.
struct DialectEncoding
{
    QString name = QStringLiteral("UTF-8");
    double confidence = 0.0;
    int unitSize = 1; ///< bytes of a code unit
    int markSize = 0; ///< bytes of the byte order mark

    /// Finds the encoding of \p parts, the first of which is the start of the text. \p isWhole
    /// tells that there are no other parts. The edges of parts may cut off characters.
    static DialectEncoding find(const QVector<QByteArray> &parts, bool isWhole);

    /// The encoding \p name, of a text that starts with the bytes \p start.
    static DialectEncoding named(const QString &name, const QByteArray &start);

    QString decode(const QByteArray &part, bool isStart) const;
};

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
