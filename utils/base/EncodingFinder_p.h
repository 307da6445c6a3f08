#pragma once

#include <QByteArray>

namespace Utils {

/// Finds the encoding of a text from its bytes.
///
///     EncodingFinder finder;
///     while (finder.add(next, size))
///         ...
///     const EncodingFinder::Result result = finder.result();
class EncodingFinder
{
public:
    struct Result
    {
        QByteArray name; ///< empty when it cannot be found, as that of windows-1252
        bool isGuess = true;
    };

    /// Adds the next bytes. Returns whether further bytes may change the result.
    bool add(const char *bytes, int size);

    /// The result for all bytes.
    Result result() const;

private:
    void addUtf8(const char *begin, const char *end);
    bool isFull() const;

    QByteArray m_head;    // the first bytes
    QByteArray m_cut;     // the start of a UTF-8 sequence that continues in the next bytes
    int m_sequences = 0;  // of UTF-8; not counted to the end
    bool m_isUtf8 = true; // so far
    bool m_hasEscape = false;
};

} // namespace Utils
