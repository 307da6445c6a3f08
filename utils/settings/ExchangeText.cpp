#include "utils/settings/ExchangeText_p.h"

#include "utils/base/Utf8_p.h"
#include "utils/settings/IniText_p.h"
#include "utils/settings/StoredVariant_p.h"

#include <QDataStream>
#include <QVariant>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace Utils {
namespace ExchangeText {

static const char firstLine[] = "; Exported settings, format 1";
static const char lastLine[] = "; End of the exported settings";

// In characters, each of which takes up to six when it is written. Settings take time that grows
// with the square of the number of groups in a key.
static const int longestKey = 2000;
static const int longestWrittenKey = 6 * longestKey;

static const char variantMark[] = "@Variant(";
static const char dateTimeMark[] = "@DateTime(";

static bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; }
static bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// Whether \p text, such as "@Variant(...)", is a complete value that any program can read.
static bool isWholeVariant(const QString &text)
{
    const bool isDateTime = text.startsWith(QLatin1String(dateTimeMark));
    if (!isDateTime && !text.startsWith(QLatin1String(variantMark)))
        return true;
    if (!text.endsWith(QLatin1Char(')')))
        return true; // it is read as a text

    const int start = text.indexOf(QLatin1Char('(')) + 1;
    const QByteArray bytes = text.mid(start, text.size() - start - 1).toLatin1();
    const auto version = isDateTime ? QDataStream::Qt_5_6 : QDataStream::Qt_4_0;
    if (!isReadable(bytes, version, Images::Refused))
        return false;
    QDataStream stream(bytes);
    stream.setVersion(version);
    QVariant value;
    stream >> value;
    return stream.status() == QDataStream::Ok && stream.atEnd();
}

/// Whether what follows the "=" of a line can be read by any program. It is examined as texts,
/// because a damaged value must not be built.
static bool isReadable(const QByteArray &written)
{
    if (!written.contains('@') && !written.contains('\\'))
        return true;
    const QStringList texts = IniText::readTexts(written);
    return std::all_of(texts.begin(), texts.end(), isWholeVariant);
}

QByteArray write(const QSettings::SettingsMap &values)
{
    QSettings::SettingsMap written;
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (value.key().size() <= longestKey && isReadable(IniText::writeValue(*value)))
            written.insert(written.cend(), value.key(), *value);
    }
    return firstLine + QByteArray("\n") + IniText::write(written, IniText::Groups::AsTheyAre) +
           lastLine + '\n';
}

/// The character that the "%" at \p i in \p key begins, such as "%20" or "%U20AC", or -1 when that
/// is no number. Moves \p i to its last digit.
static int numberedCharacter(const QByteArray &key, int &i)
{
    const bool isLong = i + 1 < key.size() && key[i + 1] == 'U';
    const int first = i + (isLong ? 2 : 1);
    const int count = isLong ? 4 : 2;
    i = first + count - 1;
    if (i >= key.size())
        return -1;
    const char *const digits = key.constData() + first;
    const auto isDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    return std::all_of(digits, digits + count, isDigit) ? key.mid(first, count).toInt(nullptr, 16)
                                                        : -1;
}

/// Whether \p key is not too long, the "%" in it begin numbers, and no name in it is empty. A "\"
/// separates names, and so does a "/" that is written as a number.
static bool isKey(const QByteArray &key)
{
    if (key.size() > longestWrittenKey)
        return false;
    bool isInName = false;
    for (int i = 0; i < key.size(); ++i) {
        const char c = key[i];
        if (!isAscii(c) || c == '"' || c == ';' || c == '/')
            return false;
        const int character = c == '%' ? numberedCharacter(key, i) : c;
        const bool separates = c == '\\' || character == '/';
        if (character < 0 || (separates && !isInName))
            return false;
        isInName = !separates;
    }
    return isInName;
}

/// Whether the value \p written ends on its line: its quotes are closed, and no backslash joins it
/// with the next line.
static bool isClosed(const QByteArray &written)
{
    bool isQuoted = false;
    for (int i = 0; i < written.size(); ++i) {
        const char c = written[i];
        if (c == '\\') {
            if (++i == written.size())
                return false;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == ';' && !isQuoted) {
            break; // a comment
        }
    }
    return !isQuoted;
}

static bool isSection(const QByteArray &line)
{
    const QByteArray name = line.mid(1, line.size() - 2).trimmed();
    return line.endsWith(']') && !name.contains(']') && !name.contains('=') &&
           (name.compare("%general", Qt::CaseInsensitive) == 0 || isKey(name));
}

/// Whether \p line, without blanks around it, is one that settings are read from.
static bool isLine(const QByteArray &line)
{
    if (line.isEmpty() || line.startsWith(';'))
        return true;
    if (line.startsWith('['))
        return isSection(line);
    const int equals = line.indexOf('=');
    const QByteArray value = line.mid(equals + 1);
    return equals > 0 && isKey(line.left(equals).trimmed()) && isClosed(value) && isReadable(value);
}

Outcome read(const QByteArray &text, QSettings::SettingsMap &values, int &badLine)
{
    const int start = sizeOfUtf8Mark(text);
    const bool hasMark = start > 0;
    int line = 0;
    bool isEnded = false;
    for (int i = start; i < text.size(); ++line) {
        int end = text.indexOf('\n', i);
        if (end < 0)
            end = text.size();
        const int length = end > i && text[end - 1] == '\r' ? end - 1 - i : end - i;
        const QByteArray bytes = QByteArray::fromRawData(text.constData() + i, length);
        const QByteArray trimmed = bytes.trimmed();
        if (line == 0 && trimmed != firstLine)
            return Outcome::Foreign;
        if (!trimmed.isEmpty())
            isEnded = trimmed == lastLine;
        const char *const first = bytes.constData();
        const char *const last = first + length;
        if (std::any_of(first, last, isControl) || !isValidUtf8(first, last) || !isLine(trimmed)) {
            badLine = line + 1;
            return Outcome::BadLine;
        }
        i = end + 1;
    }
    if (line == 0)
        return Outcome::Foreign;
    if (!isEnded)
        return Outcome::Incomplete;

    // The mark makes texts that are not ASCII be read as UTF-8.
    values = IniText::read(hasMark ? text : utf8Mark + text);
    for (auto value = values.begin(); value != values.end();)
        value = value.key().size() > longestKey ? values.erase(value) : std::next(value);
    return Outcome::Complete;
}

} // namespace ExchangeText
} // namespace Utils
