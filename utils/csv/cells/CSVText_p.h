#pragma once

#include "utils/csv/cells/Cells_p.h"

#include <QByteArray>
#include <QString>

namespace Utils {

/// The text of valid UTF-8. A byte order mark at its start is a character of the text.
QString csvDecoded(const char *begin, const char *end);

/// The same without white space at the ends. White space of ASCII has been removed before.
QString csvUtf8Text(const char *begin, const char *end);

/// An unchanged text, implicitly shared with the caller: code units, or the UTF-8 of a file, which
/// takes half the memory and is decoded one cell at a time.
class CSVText
{
public:
    explicit CSVText(const QString &text) : m_text(csvToKeep(text)) {}

    /// The text that File::read() returns for a file with these \p bytes: UTF-8, which they are
    /// if \p isUtf8, or UTF-16 or UTF-32 with a byte order mark, which is not part of the text. ""
    /// for any other encoding, and for a text that is too long.
    static CSVText fromFile(const QByteArray &bytes, bool isUtf8);

    /// The text of valid UTF-8, in which a byte order mark is a character. "" when it is too long.
    static CSVText fromUtf8(const QByteArray &utf8);

    /// The same text for bytes that are not checked: of any other encoding, they are wrong UTF-8,
    /// which is decoded one cell at a time.
    static CSVText ofBytes(const QByteArray &bytes);

    bool isEmpty() const { return size() == 0; }
    bool isUtf8() const { return !m_utf8.isNull(); }
    int size() const { return isUtf8() ? m_utf8.size() - m_start : m_text.size(); }

    /// Only if isUtf8().
    const char *bytes() const { return m_utf8.constData() + m_start; }

    /// Only if not isUtf8().
    const QChar *characters() const { return m_text.constData(); }

    /// The part from \p begin to \p end, in bytes or code units.
    QString part(int begin, int end) const;
    QString toString() const { return part(0, size()); }
    QString firstLine() const;

private:
    QString m_text;
    QByteArray m_utf8;
    int m_start = 0;
};

} // namespace Utils
