#pragma once

#include "data/String.h"

#include <QByteArray>

#include <memory>

class QTextDecoder;

namespace Utils {

/// The text that a child writes as UTF-8, taken up in pieces as they come.
class ProcessOutput
{
public:
    /// Neither of the two texts gets longer than \p limit code units: the rest is lost.
    explicit ProcessOutput(int limit = 1000 * 1000 * 1000);
    ~ProcessOutput();

    /// Empties both texts.
    void clear();

    /// Adds a piece to both texts, or, for \p keep false, to the recent one alone, of which only
    /// the last line is left then. Gives the text of the piece: a character whose bytes are not
    /// all there belongs to the next one.
    Data::String append(const QByteArray &bytes, bool keep);

    /// Adds what stands for a character that was cut off, if one was, and gives it. The next piece
    /// begins anew.
    Data::String end(bool keep);

    Data::String text() const;

    /// The recent text, which is empty then.
    Data::String takeRecent();

private:
    QString decode(const QByteArray &bytes);
    void add(const QString &piece, bool keep);
    void separateRecent();
    void keepLastLine();

    const int m_limit;
    bool m_isBegun = false;                  // a mark in front of the text may be none any more
    QByteArray m_rest;                       // of a character that is not whole yet
    std::unique_ptr<QTextDecoder> m_decoder; // once something was no UTF-8
    QString m_text;
    int m_recentBegin = 0; // where the recent text begins in that, -1 when it is held apart:
    QString m_recent;
    int m_searched = 0; // so much of this one is known to hold no line end
};

} // namespace Utils
