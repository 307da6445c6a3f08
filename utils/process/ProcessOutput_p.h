#pragma once

#include "data/String.h"
#include "utils/base/Encoding_p.h"

#include <QByteArray>

#include <memory>

class QTextDecoder;

namespace Utils {

/// The output of a child process, which arrives in pieces: UTF-8, or text in another encoding.
class ProcessOutput
{
public:
    /// Neither of the two texts becomes longer than \p limit code units; the rest is lost.
    explicit ProcessOutput(int limit = 1000 * 1000 * 1000);
    ~ProcessOutput();

    /// Clears both texts.
    void clear();

    /// Begins a new output in \p encoding; an invalid one stands for UTF-8. An incomplete character
    /// of the output before is dropped.
    void begin(const Encoding &encoding);

    /// Appends a piece to both texts or, when \p keep is false, to the recent text only, of which
    /// then only the last line is kept. Returns the text of the piece; a character that is still
    /// incomplete belongs to the next piece.
    Data::String append(const QByteArray &bytes, bool keep);

    /// Ends the output: appends and returns U+FFFD if its last character is incomplete, otherwise
    /// nothing. The next piece starts a new output.
    Data::String end(bool keep);

    Data::String text() const;

    /// Returns the recent text and clears it.
    Data::String takeRecent();

private:
    QString decode(const QByteArray &bytes);

    /// Returns \p text of a decoder without single halves of surrogate pairs, which some decoders
    /// pass on: the first half at its end belongs to the next piece, others become U+FFFD.
    QString inPairs(QString text);
    void add(const QString &piece, bool keep);
    void separateRecent();
    void keepLastLine();

    const int m_limit;
    bool m_isBegun = false;                  // a byte order mark is removed only before this
    Encoding m_encoding;                     // invalid for UTF-8
    QByteArray m_rest;                       // the bytes of an incomplete character
    std::unique_ptr<QTextDecoder> m_decoder; // of UTF-8 only since the first invalid byte
    QChar m_half;                            // the first half of a surrogate pair, or null
    QString m_text;
    int m_recentBegin = 0; // of the recent text in m_text; -1 when it is in m_recent
    QString m_recent;
    int m_searched = 0; // this much of m_recent is known to contain no line end
};

} // namespace Utils
