#pragma once

#include <QByteArray>

namespace Utils {

/// A byte order mark: the name of its encoding, and its bytes. Both are empty without a mark.
struct ByteOrderMark
{
    QByteArray name;
    int size = 0;

    /// That of a text whose first bytes are \p start, four if there are as many.
    static ByteOrderMark of(const QByteArray &start);
};

/// Finds the encoding of a text from its bytes.
///
///     EncodingFinder finder;
///     while (finder.add(next, size))
///         ...
///     const EncodingFinder::Result result = finder.result();
class EncodingFinder
{
public:
    static constexpr int headSize = 64 * 1024; ///< in which marks and zero bytes are searched for

    struct Result
    {
        QByteArray name; ///< empty when it cannot be found, as that of windows-1252
        bool isGuess = true;
    };

    /// Adds the next bytes. Returns whether further bytes may change the result.
    bool add(const char *bytes, int size);

    /// Tells that bytes are left out here: before the next bytes or, at the end, after the last.
    /// They may contain a part of a character. The first headSize bytes must be complete.
    void skip();

    /// The result for all bytes.
    Result result() const;

    /// Whether all bytes are valid UTF-8, whatever the result is. None may have been left out.
    bool isUtf8() const { return m_isUtf8 && m_cut.isEmpty(); }

private:
    void addUtf8(const char *begin, const char *end);
    bool isFull() const;

    QByteArray m_head;    // the first bytes
    QByteArray m_cut;     // the start of a UTF-8 sequence that continues in the next bytes
    int m_sequences = 0;  // of UTF-8; not counted to the end
    bool m_isUtf8 = true; // so far
    bool m_hasEscape = false;
    bool m_isAfterGap = false; // the next bytes may be the end of a character
};

} // namespace Utils
