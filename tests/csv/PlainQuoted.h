#pragma once

#include "tests/csv/Rows.h"

// A plain model of tables that are quoted as in RFC 4180, one character after the other.

struct PlainQuoted
{
    QChar delimiter = QLatin1Char(',');
    QString comment;   // the start of a comment line, "" for none
    QString exception; // the start of a line that is no comment

    bool isComment(const QString &text, int from) const
    {
        const QStringRef rest = text.midRef(from);
        return !comment.isEmpty() && rest.startsWith(comment) &&
               (exception.isEmpty() || !rest.startsWith(exception));
    }

    /// The rows of \p text. \p isClosed, if not null, is set to whether all quotes are.
    Rows rows(const QString &text, bool *isClosed = nullptr) const
    {
        const QChar quote = QLatin1Char('"');
        Rows rows;
        int at = 0;
        bool isOpen = false;
        const auto isBreak = [&] {
            return at < text.size() &&
                   (text.at(at) == QLatin1Char('\n') || text.at(at) == QLatin1Char('\r'));
        };
        const auto skipBreak = [&] {
            if (text.midRef(at).startsWith(QLatin1String("\r\n")))
                ++at;
            ++at;
        };
        while (at < text.size()) {
            if (isComment(text, at)) {
                while (at < text.size() && !isBreak())
                    ++at;
                skipBreak();
                continue;
            }
            QStringList row;
            bool isRow = true;
            while (isRow) {
                QString field;
                if (at < text.size() && text.at(at) == quote) {
                    isOpen = true;
                    ++at;
                    while (isOpen && at < text.size()) {
                        const bool isQuote = text.at(at) == quote;
                        const bool isTwo =
                            isQuote && at + 1 < text.size() && text.at(at + 1) == quote;
                        if (isQuote && !isTwo)
                            isOpen = false;
                        else
                            field += text.at(at);
                        at += isTwo ? 2 : 1;
                    }
                }
                while (at < text.size() && text.at(at) != delimiter && !isBreak())
                    field += text.at(at++);
                row.append(field);
                isRow = at < text.size() && text.at(at) == delimiter;
                if (isRow)
                    ++at;
                else if (at < text.size())
                    skipBreak();
            }
            rows.append(row);
        }
        if (isClosed)
            *isClosed = !isOpen;
        return rows;
    }
};
