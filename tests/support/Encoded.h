#pragma once

#include <QByteArray>
#include <QString>
#include <QTextCodec>

#include <algorithm>

/// Whether a line end stays one after the first byte of a character of \p encoding, as where Qt
/// decodes by ICU.
inline bool keepsLineEnds(const QByteArray &encoding)
{
    return QTextCodec::codecForName(encoding)->toUnicode("\x81\n").endsWith('\n');
}

/// The bytes of \p text in an encoding, as Qt writes them, without a byte order mark.
inline QByteArray encoded(const QString &text, const QByteArray &encoding)
{
    if (encoding.startsWith("UTF-32")) { // which Qt writes with zero bytes that are too many
        QByteArray bytes;
        for (const uint code : text.toUcs4()) {
            const char big[] = {0, char(code >> 16), char(code >> 8), char(code)};
            bytes.append(big, 4);
            if (encoding.endsWith("LE"))
                std::reverse(bytes.end() - 4, bytes.end());
        }
        return bytes;
    }
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    QTextCodec *const codec = QTextCodec::codecForName(encoding);
    return codec->fromUnicode(text.constData(), text.size(), &state);
}
