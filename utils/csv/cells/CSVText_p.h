#pragma once

#include "utils/csv/cells/Cells_p.h"

#include <QByteArray>
#include <QString>

namespace Utils {

/// A text as it came, shared with whoever has given it: code units, or the UTF-8 of a file, which
/// takes half the memory and is decoded a cell at a time.
class CSVText
{
public:
    explicit CSVText(const QString &text) : m_text(csvToKeep(text)) {}

    /// What File::read() makes of a file with these \p bytes: UTF-8, or UTF-16 and UTF-32 with a
    /// byte order mark, which is no part of it. "" when it is neither, or longer than a text may
    /// be.
    static CSVText fromFile(const QByteArray &bytes);

    bool isEmpty() const { return size() == 0; }
    bool isUtf8() const { return !m_utf8.isNull(); }
    int size() const { return isUtf8() ? m_utf8.size() - m_start : m_text.size(); }

    /// Of UTF-8.
    const char *bytes() const { return m_utf8.constData() + m_start; }

    /// Of the others.
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
