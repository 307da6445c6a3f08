#pragma once

#include "tests/csv/Rows.h"

// A plain model of tables that are quoted as in RFC 4180, one character after the other.

struct PlainQuoted
{
    QChar delimiter = QLatin1Char(',');
    QString comment;   // the start of a comment line, "" for none
    QString exception; // the start of a line that is no comment

    /// The rows of \p text. \p isClosed, if not null, is set to whether all quotes are.
    Rows rows(const QString &text, bool *isClosed = nullptr) const
    {
        Rows rows;
        bool isOpen = false;
        for (int at = 0; at < text.size();) {
            const bool isRow = !isComment(text, at);
            if (isRow)
                rows.append(row(text, at, isOpen));
            else
                plainText(text, at, /*isComment=*/true);
            skipBreak(text, at);
        }
        if (isClosed)
            *isClosed = !isOpen;
        return rows;
    }

private:
    bool isComment(const QString &text, int from) const
    {
        const QStringRef rest = text.midRef(from);
        return !comment.isEmpty() && rest.startsWith(comment) &&
               (exception.isEmpty() || !rest.startsWith(exception));
    }

    static bool isAt(const QString &text, int at, QChar character)
    {
        return at < text.size() && text.at(at) == character;
    }

    static void skipBreak(const QString &text, int &at)
    {
        if (text.midRef(at).startsWith(QLatin1String("\r\n")))
            ++at;
        ++at;
    }

    /// The text up to the next delimiter or line break, or up to the next line break.
    QString plainText(const QString &text, int &at, bool isComment) const
    {
        const int start = at;
        while (at < text.size() && text.at(at) != QLatin1Char('\n') &&
               text.at(at) != QLatin1Char('\r') && (isComment || text.at(at) != delimiter))
            ++at;
        return text.mid(start, at - start);
    }

    /// The text after an opening quote, and the closing quote, unless \p isOpen.
    static QString quotedText(const QString &text, int &at, bool &isOpen)
    {
        const QChar quote = QLatin1Char('"');
        QString field;
        for (isOpen = true; isOpen && at < text.size(); ++at) {
            const bool isTwo = isAt(text, at, quote) && isAt(text, at + 1, quote);
            if (isTwo)
                ++at;
            if (isTwo || text.at(at) != quote)
                field += text.at(at);
            else
                isOpen = false;
        }
        return field;
    }

    QStringList row(const QString &text, int &at, bool &isOpen) const
    {
        QStringList fields;
        while (true) {
            QString field;
            if (isAt(text, at, QLatin1Char('"')))
                field = quotedText(text, ++at, isOpen);
            fields.append(field + plainText(text, at, /*isComment=*/false));
            if (!isAt(text, at, delimiter))
                return fields;
            ++at;
        }
    }
};
