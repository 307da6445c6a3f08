#pragma once

#include "utils/base/Utf8_p.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <iterator>

namespace Utils {

// The field with each quote doubled
inline QByteArray csvDoubled(QByteArray field) { return field.replace('"', "\"\""); }

inline QString csvDoubled(QString field)
{
    return field.replace(QLatin1Char('"'), QLatin1String("\"\""));
}

/// Appends fields to a text, in quotes as in RFC 4180 where this is needed.
template <typename Text>
class QuotedOutput
{
public:
    /// The special texts are arguments because \p Text may be bytes or code units.
    QuotedOutput(const Text &delimiter, const Text &comment, const Text &mark, const Text &quote,
                 const Text &lineFeed, const Text &carriageReturn)
        : m_special{delimiter, quote, lineFeed, carriageReturn}, m_comment(comment), m_mark(mark)
    {}

    void append(const Text &field, bool isFirst, Text &to) const
    {
        if (!isFirst)
            to += m_special[0];
        to += needsQuotes(field) ? quoted(field) : field;
    }

    /// Changes the row that starts at \p start of \p text and has the first field \p first, if it
    /// would not be read as this row: a comment, or an empty line, which other programs may ignore.
    void finishRow(Text &text, int start, const Text &first) const
    {
        const bool isEmpty = text.size() == start;
        const bool isComment =
            !m_comment.isEmpty() && text.mid(start, m_comment.size()) == m_comment;
        if (isEmpty || (isComment && !needsQuotes(first)))
            text.replace(start, first.size(), quoted(first));
    }

private:
    Text quoted(const Text &field) const { return m_special[1] + csvDoubled(field) + m_special[1]; }

    bool needsQuotes(const Text &field) const
    {
        return field.startsWith(m_mark) ||
               std::any_of(std::begin(m_special), std::end(m_special),
                           [&](const Text &special) { return field.contains(special); });
    }

    const Text m_special[4];
    const Text m_comment;
    const Text m_mark; // a byte order mark, which is skipped at the start of a file
};

/// The output as code units, and as UTF-8.
inline QuotedOutput<QString> quotedTextOutput(const QString &delimiter, const QString &comment)
{
    return {delimiter,
            comment,
            QString(QChar(QChar::ByteOrderMark)),
            QStringLiteral("\""),
            QStringLiteral("\n"),
            QStringLiteral("\r")};
}

inline QuotedOutput<QByteArray> quotedByteOutput(const QString &delimiter, const QString &comment)
{
    return {delimiter.toUtf8(), comment.toUtf8(), utf8Mark, "\"", "\n", "\r"};
}

} // namespace Utils
