#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

namespace Utils {

struct EncodingTable;

/// An encoding of text as bytes: one of those of QTextCodec. Where Qt is built without ICU, as it
/// is on Windows, code pages of consoles that it does not have are taken from the system.
///
/// The five bytes that windows-1252 does not define, 0x81, 0x8D, 0x8F, 0x90 and 0x9D, are the
/// control characters with the same numbers, as web browsers read them.
///
/// All functions throw std::bad_alloc when the memory does not suffice.
class Encoding
{
public:
    enum class Outcome
    {
        Decoded,
        Invalid, ///< bytes are not valid in the encoding, or the last character is incomplete
        TooLong  ///< more bytes of UTF-8 than a QByteArray can hold
    };

    /// Constructs an invalid encoding.
    Encoding() = default;

    /// The encoding with a name such as "windows-1252", "latin1" or "Shift_JIS", in any case.
    /// Invalid when there is none. The code pages of consoles have the names that ICU has for them:
    ///
    ///     "IBM437", "cp437", "437"    => IBM437
    ///     "IBM00858", "cp858"         => IBM00858
    explicit Encoding(const QString &name);

    bool isValid() const { return m_table != nullptr; }

    /// The usual name.
    QString name() const;

    bool isUtf8() const;

    /// The same encoding, but an invalid one for UTF-8: for text that is decoded unless it is
    /// UTF-8.
    Encoding unlessUtf8() const { return isUtf8() ? Encoding() : *this; }

    /// Whether each byte is a character, and those below 0x80 are ASCII.
    bool isSingleByte() const;

    /// Whether lines, fields and numbers can be found in the bytes: line ends and the characters
    /// from the space to "?" are the bytes of ASCII, and neither a line feed nor \p delimiter, a
    /// byte of ASCII, is a part of another character.
    bool keepsLinesAndFields(char delimiter) const;

    /// Replaces the \p bytes of a whole text by its UTF-8, without its byte order mark. They are
    /// unchanged unless the outcome is Decoded. No second array is needed when they are not shared.
    Outcome toUtf8(QByteArray &bytes) const;

    /// Decodes a part of a text in a single-byte encoding to UTF-8 at \p to, and moves \p to after
    /// it. Memory: 64 bytes after \p end are readable, and \p to has room for partRoom() bytes.
    /// False when a byte is not valid.
    bool decodePart(const char *begin, const char *end, char *&to) const;
    static constexpr qint64 partRoom(qint64 size) { return 4 * quarterRoom(size / 4 + 1); }

    /// For each quarter of a part, which are decoded side by side.
    static constexpr qint64 quarterRoom(qint64 size) { return 3 * size + 64; }

    /// Decodes a part of a text. Bytes that are not valid become U+FFFD.
    QString toText(const char *begin, const char *end) const;
    QByteArray partToUtf8(const QByteArray &part) const;

    /// Encodes a whole text, with a byte order mark in "UTF-16" and "UTF-32" only. False when
    /// \p text has a character that the encoding does not have.
    bool fromText(const QString &text, QByteArray &bytes) const;

private:
    std::shared_ptr<const EncodingTable> m_table;
};

/// Whether a host asks for the encoding that is found, in place of a name.
inline bool isAutomatic(const QString &encoding) { return encoding == QLatin1String("auto"); }

/// Sets \p usual to what a table stores for an encoding that its host sets: "", "auto", or the
/// usual name of the encoding \p name. False, with a reason, when there is none of that name.
bool findUsualName(const QString &name, QString &usual);

/// The text of valid UTF-8. A byte order mark at its start is a character.
QString textOfUtf8(const QByteArray &utf8);

} // namespace Utils
