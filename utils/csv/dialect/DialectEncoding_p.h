#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

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

} // namespace Utils
