#include "utils/settings/IniText_p.h"

#include "utils/base/Utf8_p.h"
#include "utils/settings/StoredVariant_p.h"

#include <QDataStream>
#include <QMap>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QStringList>
#include <QVector>

#include <algorithm>
#include <cstring>

namespace Utils {
namespace IniText {

QString latin1(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.constData(), bytes.size());
}

QDataStream::Version streamVersion(bool isDateTime)
{
    return isDateTime ? QDataStream::Qt_5_6 : QDataStream::Qt_4_0;
}

/// The numbers of a text such as "@Rect(1 2 3 4)". Empty unless there are \p count of them.
static QVector<int> numbersIn(const QString &text, int count)
{
    QVector<int> numbers;
    QString word;
    for (const QChar c : text.mid(text.indexOf(QLatin1Char('(')) + 1)) {
        if (c == QLatin1Char(' ') || c == QLatin1Char(')'))
            numbers.append(word.toInt());
        if (c == QLatin1Char(' '))
            word.clear();
        else if (c != QLatin1Char(')'))
            word += c;
    }
    return numbers.size() == count ? numbers : QVector<int>();
}

/// The last of \p count numbers from \p first on, as QRect counts them. It wraps around.
static int lastOf(int first, int count)
{
    return static_cast<int>(static_cast<unsigned>(first) + static_cast<unsigned>(count) - 1);
}

/// The value of "@Rect(1 2 3 4)", "@Size(1 2)" or "@Point(1 2)"; invalid when it is none of them.
static QVariant geometryOf(const QString &text)
{
    const auto numbers = [&](const char *mark, int count) {
        return text.startsWith(QLatin1String(mark)) ? numbersIn(text, count) : QVector<int>();
    };
    QVector<int> n = numbers("@Rect(", 4);
    if (!n.isEmpty()) {
        QRect rect;
        rect.setCoords(n[0], n[1], lastOf(n[0], n[2]), lastOf(n[1], n[3]));
        return rect;
    }
    n = numbers("@Size(", 2);
    if (!n.isEmpty())
        return QSize(n[0], n[1]);
    n = numbers("@Point(", 2);
    if (!n.isEmpty())
        return QPoint(n[0], n[1]);
    return {};
}

/// The value that QDataStream has written as \p data, which is the end of \p text.
static QVariant streamedValueOf(const QString &text, const QString &data, bool isDateTime)
{
    const QByteArray bytes = data.toLatin1();
    const QDataStream::Version version = streamVersion(isDateTime);
    const Images images = hasGuiApplication() ? Images::Built : Images::Refused;
    if (!isReadable(bytes, version, images))
        return QVariant::fromValue(UnbuiltValue{text});
    QDataStream stream(bytes);
    stream.setVersion(version);
    QVariant value;
    stream >> value;
    return value;
}

static QVariant valueOf(const QString &text)
{
    if (!text.startsWith(QLatin1Char('@')))
        return text;

    const auto startsWith = [&](const char *mark) { return text.startsWith(QLatin1String(mark)); };
    if (text.endsWith(QLatin1Char(')'))) {
        if (startsWith("@ByteArray("))
            return text.mid(11, text.size() - 12).toLatin1();
        if (startsWith("@String("))
            return text.mid(8, text.size() - 9);
        if (startsWith("@Variant("))
            return streamedValueOf(text, text.mid(9), /*isDateTime=*/false);
        if (startsWith("@DateTime("))
            return streamedValueOf(text, text.mid(10), /*isDateTime=*/true);
        if (text == QLatin1String("@Invalid()"))
            return QVariant();
        QVariant geometry = geometryOf(text);
        if (geometry.isValid())
            return geometry;
    }
    return startsWith("@@") ? text.mid(1) : text;
}

static QVariant valueOf(const QStringList &texts)
{
    QStringList plain = texts;
    for (QString &text : plain) {
        if (text.startsWith(QLatin1String("@@"))) {
            text.remove(0, 1);
        } else if (text.startsWith(QLatin1Char('@'))) {
            QVariantList values;
            for (const QString &each : texts)
                values.append(valueOf(each));
            return values;
        }
    }
    return plain;
}

static bool isUnbuilt(const QVariant &value)
{
    return value.userType() == qMetaTypeId<UnbuiltValue>();
}

bool hasUnbuilt(const QSettings::SettingsMap &values)
{
    return std::any_of(values.cbegin(), values.cend(), [](const QVariant &value) {
        const QVariantList list =
            value.userType() == QMetaType::QVariantList ? value.toList() : QVariantList();
        return isUnbuilt(value) || std::any_of(list.cbegin(), list.cend(), isUnbuilt);
    });
}

QVariant built(const QVariant &value)
{
    if (isUnbuilt(value)) {
        const QVariant again = valueOf(value.value<UnbuiltValue>().text);
        return isUnbuilt(again) ? QVariant() : again;
    }
    if (value.userType() != QMetaType::QVariantList)
        return value;
    QVariantList values = value.toList();
    for (QVariant &each : values) {
        if (isUnbuilt(each))
            each = built(each);
    }
    return values;
}

static bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
static bool isBlank(char c) { return c == ' ' || c == '\t'; }
static bool isSpace(char c) { return isBlank(c) || isLineEnd(c); }

namespace {

/// A line, without leading white space and comments. After a backslash at its end, and within
/// quotes, it continues in the next line of the file.
struct Line
{
    int start = 0;
    int end = 0;
    int equals = -1; ///< the position of the first "=" outside quotes
};

class Lines
{
public:
    explicit Lines(const QByteArray &text, int start = 0) : m_text(text), m_position(start) {}

    /// The end of the line that was read last.
    int position() const { return m_position; }

    bool next(Line &line)
    {
        const int size = m_text.size();
        line.equals = -1;
        line.start = m_position;
        while (line.start < size && isSpace(m_text[line.start]))
            ++line.start;

        bool isQuoted = false;
        int i = line.start;
        while (i < size) {
            const char c = m_text[i++];
            if (c == '=') {
                if (!isQuoted && line.equals < 0)
                    line.equals = i - 1;
            } else if (isLineEnd(c)) { // never the first character, as white space was skipped
                if (!isQuoted) {
                    --i;
                    break;
                }
            } else if (c == '\\') {
                i = afterEscape(i);
            } else if (c == '"') {
                isQuoted = !isQuoted;
            } else if (c == ';') {
                if (i == line.start + 1) {
                    i = afterComment(i);
                    line.start = i;
                } else if (!isQuoted) {
                    --i;
                    break;
                }
            }
        }
        m_position = i;
        line.end = i;
        return line.end > line.start;
    }

private:
    /// After what a backslash before \p i takes: a character, or a line end of one or two.
    int afterEscape(int i) const
    {
        if (i == m_text.size())
            return i;
        const char escaped = m_text[i++];
        const bool isPair = i < m_text.size() && isLineEnd(escaped) && isLineEnd(m_text[i]);
        return isPair && escaped != m_text[i] ? i + 1 : i;
    }

    int afterComment(int i) const
    {
        while (i < m_text.size() && !isLineEnd(m_text[i]))
            ++i;
        while (i < m_text.size() && isSpace(m_text[i]))
            ++i;
        return i;
    }

    const QByteArray m_text;
    int m_position;
};

/// The value after a "=": one text, or several separated by commas.
class Value
{
public:
    Value(const QByteArray &text, bool isUtf8) : m_text(text), m_isUtf8(isUtf8) { read(); }

    QStringList texts() const { return m_list + QStringList(m_current); }
    QVariant value() const { return m_isList ? valueOf(texts()) : valueOf(m_current); }

private:
    void read()
    {
        bool isQuoted = false;  // at the current position
        bool hasQuotes = false; // the current text, which then keeps the blanks at its end
        skipBlanks();
        while (m_at < m_text.size()) {
            switch (m_text[m_at]) {
            case '\\':
                ++m_at;
                if (!readEscape())
                    return;
                break;
            case '"':
                ++m_at;
                hasQuotes = true;
                isQuoted = !isQuoted;
                if (!isQuoted)
                    skipBlanks();
                break;
            case ',':
                if (!isQuoted) {
                    ++m_at;
                    if (!hasQuotes)
                        chop();
                    m_isList = true;
                    m_list.append(m_current);
                    m_current.clear();
                    hasQuotes = false;
                    skipBlanks();
                    break;
                }
                Q_FALLTHROUGH();
            default:
                readPlain();
            }
        }
        if (!hasQuotes)
            chop();
    }

    void skipBlanks()
    {
        while (m_at < m_text.size() && isBlank(m_text[m_at]))
            ++m_at;
        m_kept = m_current.size();
    }

    /// Removes the blanks at the end, except those that were written as escape sequences.
    void chop()
    {
        while (m_current.size() > m_kept &&
               (m_current.endsWith(QLatin1Char(' ')) || m_current.endsWith(QLatin1Char('\t'))))
            m_current.chop(1);
    }

    void readPlain()
    {
        int end = m_at + 1;
        while (end < m_text.size() && m_text[end] != '\\' && m_text[end] != '"' &&
               m_text[end] != ',')
            ++end;
        const QByteArray plain = m_text.mid(m_at, end - m_at);
        m_current += m_isUtf8 ? QString::fromUtf8(plain.constData(), plain.size()) : latin1(plain);
        m_at = end;
    }

    /// False when the text ends within the escape sequence.
    bool readEscape()
    {
        static const char names[] = "abfnrtv\"?'\\";
        static const char values[] = "\a\b\f\n\r\t\v\"?'\\";

        if (m_at >= m_text.size())
            return false;
        const char c = m_text[m_at++];
        const char *name = c == '\0' ? nullptr : std::strchr(names, c);
        if (name) {
            m_current += QLatin1Char(values[name - names]);
        } else if (c == 'x') {
            if (m_at >= m_text.size() || (digitAt(m_at, 16) >= 0 && !readNumber(16)))
                return false;
        } else if (c >= '0' && c <= '7') {
            --m_at;
            if (!readNumber(8))
                return false;
        } else if (isLineEnd(c) && m_at < m_text.size() && isLineEnd(m_text[m_at]) &&
                   m_text[m_at] != c) {
            ++m_at; // a line end of two characters; any other character after a backslash is
                    // skipped
        }
        m_kept = m_current.size();
        return true;
    }

    bool readNumber(int base)
    {
        ushort code = 0;
        for (int digit; (digit = digitAt(m_at, base)) >= 0; ++m_at)
            code = static_cast<ushort>(code * base + digit);
        m_current += QChar(code);
        return m_at < m_text.size();
    }

    int digitAt(int index, int base) const
    {
        static const char digits[] = "0123456789abcdef";
        if (index >= m_text.size() || m_text[index] == '\0')
            return -1;
        const char c = m_text[index];
        const char *digit = std::strchr(digits, c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
        return digit && digit - digits < base ? static_cast<int>(digit - digits) : -1;
    }

    const QByteArray m_text;
    const bool m_isUtf8;
    int m_at = 0;
    int m_kept = 0; // characters of the current text that are not chopped
    QString m_current;
    QStringList m_list;
    bool m_isList = false;
};

} // namespace

QStringList readTexts(const QByteArray &written)
{
    const QByteArray text = '=' + written;
    Lines lines(text); // a comment at the end is no part of the value
    Line line;
    lines.next(line);
    return Value(text.mid(1, line.end - 1), /*isUtf8=*/true).texts();
}

static QString unescapedKey(const QByteArray &key)
{
    QString result;
    int i = 0;
    while (i < key.size()) {
        const char c = key[i];
        if (c != '%' || i == key.size() - 1) {
            result += c == '\\' ? QLatin1Char('/') : QLatin1Char(c);
            ++i;
            continue;
        }
        const int digits = key[i + 1] == 'U' ? 4 : 2;
        const int first = i + (digits == 4 ? 2 : 1);
        bool isNumber = first + digits <= key.size();
        const int code = isNumber ? key.mid(first, digits).toInt(&isNumber, 16) : 0;
        result += isNumber ? QChar(code) : QLatin1Char('%');
        i = isNumber ? first + digits : i + 1;
    }
    return result;
}

/// The prefix of the keys in a section.
static QString prefixOf(const QByteArray &section)
{
    if (section.compare("general", Qt::CaseInsensitive) == 0)
        return QString();
    if (section.compare("%general", Qt::CaseInsensitive) == 0)
        return latin1(section.mid(1)) + QLatin1Char('/');
    return unescapedKey(section) + QLatin1Char('/');
}

QSettings::SettingsMap read(const QByteArray &text)
{
    const bool isUtf8 = sizeOfUtf8Mark(text) > 0;

    // A section that occurs twice is one section. Sections are read in the order of their names.
    QMap<QString, QByteArray> sections;
    QString prefix;
    int start = 0;
    const auto finish = [&](int end) {
        QByteArray &section = sections[prefix];
        if (!section.isEmpty())
            section += '\n';
        section += text.mid(start, end - start);
    };
    Lines lines(text, isUtf8 ? 3 : 0);
    Line line;
    while (lines.next(line)) {
        if (text[line.start] != '[')
            continue;
        finish(line.start);
        const int bracket = text.indexOf(']', line.start);
        const int end = bracket < 0 || bracket >= line.end ? line.end : bracket;
        prefix = prefixOf(text.mid(line.start + 1, end - line.start - 1).trimmed());
        start = lines.position();
    }
    finish(line.start);

    QSettings::SettingsMap values;
    for (auto section = sections.cbegin(); section != sections.cend(); ++section) {
        Lines entries(*section);
        while (entries.next(line)) {
            if (line.equals < 0)
                continue;
            int keyEnd = line.equals;
            while (keyEnd > line.start && isBlank(section->at(keyEnd - 1)))
                --keyEnd;
            const QByteArray key = section->mid(line.start, keyEnd - line.start);
            const QByteArray value = section->mid(line.equals + 1, line.end - line.equals - 1);
            values[section.key() + unescapedKey(key)] = Value(value, isUtf8).value();
        }
    }
    return values;
}

} // namespace IniText
} // namespace Utils
