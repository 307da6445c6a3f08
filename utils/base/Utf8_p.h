#pragma once

#include <QByteArray>
#include <QChar>

#include <cstring>

namespace Utils {

/// Decodes valid UTF-8 from \p source up to \p end into \p target, which needs room for one code
/// unit per byte. Moves both pointers after the decoded text.
///
/// Returns false and stops before an invalid sequence. Returns true and stops before a sequence
/// that \p end cuts off: the bytes that follow may complete it.
bool decodeUtf8(const char *&source, const char *end, QChar *&target);

/// Whether the bytes from \p begin to \p end are valid UTF-8, without a sequence that is cut off.
bool isValidUtf8(const char *begin, const char *end);

/// The same, one byte at a time.
bool isValidUtf8Plainly(const char *begin, const char *end);

/// Validates bytes that are read piece by piece, while the processor has them in its cache.
class Utf8Validator
{
public:
    /// What the bytes so far require of the next ones.
    struct State
    {
        quint64 wanted = 0; // which of them must be continuations
        quint64 limits = 0; // which special limits the next one has, a bit each
        quint64 invalid = 0;
    };

    /// The pieces follow each other in memory from \p begin on.
    explicit Utf8Validator(const char *begin) : m_next(begin) {}

    /// Validates the bytes up to \p end, except for the last ones, which may be cut off.
    void advance(const char *end);

    /// Whether all bytes up to \p end are valid UTF-8, without a sequence that is cut off.
    bool finish(const char *end);

private:
    const char *m_next;
    State m_state;
};

/// The byte order mark of UTF-8.
constexpr char utf8Mark[] = "\xef\xbb\xbf";

/// The size of the byte order mark of UTF-8 with which the bytes start; 0 when there is none.
inline int sizeOfUtf8Mark(const char *begin, const char *end)
{
    constexpr int size = sizeof utf8Mark - 1;
    return end - begin >= size && std::memcmp(begin, utf8Mark, size) == 0 ? size : 0;
}
inline int sizeOfUtf8Mark(const QByteArray &bytes)
{
    return sizeOfUtf8Mark(bytes.constData(), bytes.constData() + bytes.size());
}

/// Whether \p bytes, at least the first four of a text, start with a byte order mark of UTF-16 or
/// UTF-32.
bool startsWithWideMark(const QByteArray &bytes);

} // namespace Utils
