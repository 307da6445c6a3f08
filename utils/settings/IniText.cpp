#include "utils/settings/IniText_p.h"

#include "utils/settings/StoredVariant_p.h"

#include <QDataStream>
#include <QMap>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <limits>
#include <new>
#include <string>

namespace Utils {
namespace IniText {

/// The numbers from \p first to \p last, as QRect counts them. Of the largest rectangles in a file
/// the result does not fit, and wraps around.
static int extent(int first, int last)
{
    return static_cast<int>(static_cast<unsigned>(last) - static_cast<unsigned>(first) + 1);
}

static QString textOf(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<UnbuiltValue>())
        return value.value<UnbuiltValue>().text;

    const auto marked = [](const char *mark, const QByteArray &bytes) {
        return QString(QLatin1String(mark) + latin1(bytes) + QLatin1Char(')'));
    };
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return QStringLiteral("@Invalid()");
    case QMetaType::QByteArray:
        return marked("@ByteArray(", value.toByteArray());
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Bool:
    case QMetaType::Double:
    case QMetaType::QKeySequence: {
        const QString text = value.toString();
        if (text.contains(QChar(QChar::Null)))
            return QLatin1String("@String(") + text + QLatin1Char(')');
        return text.startsWith(QLatin1Char('@')) ? QString(QLatin1Char('@') + text) : text;
    }
    case QMetaType::QRect: {
        const QRect rect = value.toRect();
        return QString::asprintf("@Rect(%d %d %d %d)", rect.x(), rect.y(),
                                 extent(rect.left(), rect.right()),
                                 extent(rect.top(), rect.bottom()));
    }
    case QMetaType::QSize:
        return QString::asprintf("@Size(%d %d)", value.toSize().width(), value.toSize().height());
    case QMetaType::QPoint:
        return QString::asprintf("@Point(%d %d)", value.toPoint().x(), value.toPoint().y());
    default:
        break;
    }

    const bool isDateTime = value.userType() == QMetaType::QDateTime;
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(streamVersion(isDateTime));
    stream << writable(value);
    return marked(isDateTime ? "@DateTime(" : "@Variant(", bytes);
}

static void appendKey(std::string &text, const QStringRef &key)
{
    static const char digits[] = "0123456789ABCDEF";
    for (const QChar c : key) {
        const ushort code = c.unicode();
        const bool isPlain = (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
                             (code >= '0' && code <= '9') || code == '_' || code == '-' ||
                             code == '.';
        if (code == '/') {
            text += '\\';
        } else if (isPlain) {
            text += static_cast<char>(code);
        } else {
            text += code > 0xff ? "%U" : "%";
            for (int shift = code > 0xff ? 12 : 4; shift >= 0; shift -= 4)
                text += digits[(code >> shift) % 16];
        }
    }
}

static void appendEscaped(std::string &text, const QString &value)
{
    const std::size_t start = text.size();
    bool needsQuotes = false;
    bool wasNumber = false; // after which a digit would be read as a part of it
    for (const QChar c : value) {
        const ushort code = c.unicode();
        needsQuotes = needsQuotes || code == ';' || code == ',' || code == '=';

        const bool isDigit = (code >= '0' && code <= '9') || (code >= 'a' && code <= 'f') ||
                             (code >= 'A' && code <= 'F');
        if (wasNumber && isDigit) {
            text += "\\x";
            text += QByteArray::number(code, 16).constData();
            continue;
        }
        wasNumber = false;
        switch (code) {
        case '\0':
            text += "\\0";
            wasNumber = true;
            break;
        case '\a':
            text += "\\a";
            break;
        case '\b':
            text += "\\b";
            break;
        case '\f':
            text += "\\f";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\t':
            text += "\\t";
            break;
        case '\v':
            text += "\\v";
            break;
        case '"':
        case '\\':
            text += '\\';
            text += static_cast<char>(code);
            break;
        default:
            if (code < 0x20 || code >= 0x7f) {
                text += "\\x";
                text += QByteArray::number(code, 16).constData();
                wasNumber = true;
            } else {
                text += static_cast<char>(code);
            }
        }
    }
    const bool hasText = text.size() > start;
    if (needsQuotes || (hasText && (text[start] == ' ' || text.back() == ' '))) {
        text.insert(start, 1, '"');
        text += '"';
    }
}

static void appendText(std::string &text, const QVariant &value)
{
    if (value.userType() == QMetaType::Int)
        text += std::to_string(value.toInt());
    else
        appendEscaped(text, textOf(value));
}

static void appendValue(std::string &text, const QVariant &value)
{
    // A QVariantList of one item is written as one @Variant. Written as a list, it would be read as
    // the item itself.
    const bool isList = value.userType() == QMetaType::QStringList ||
                        (value.userType() == QMetaType::QVariantList && value.toList().size() != 1);
    if (!isList) {
        appendText(text, value);
        return;
    }

    const QVariantList values = value.toList();
    if (values.isEmpty())
        text += "@Invalid()";
    const char *comma = "";
    for (const QVariant &each : values) {
        text += comma;
        appendText(text, each);
        comma = ", ";
    }
}

static QByteArray bytesOf(const std::string &text)
{
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::bad_alloc(); // as QByteArray does
    return QByteArray(text.data(), static_cast<int>(text.size()));
}

QByteArray writeValue(const QVariant &value)
{
    std::string text;
    appendValue(text, value);
    return bytesOf(text);
}

QByteArray write(const QSettings::SettingsMap &values, Groups groups)
{
    // Sorted by section first: the key "a-b/x" sorts before "a/x", but the section "a" before
    // "a-b". The keys of a section are adjacent nevertheless.
    QMap<QString, std::string> sections;
    for (auto entry = values.begin(); entry != values.end();) {
        const int slash = entry.key().indexOf(QLatin1Char('/'));
        const QString section = entry.key().left(qMax(slash, 0));
        std::string &text = sections[section];
        for (; entry != values.end(); ++entry) {
            const int end = entry.key().indexOf(QLatin1Char('/'));
            if (end != slash || entry.key().leftRef(qMax(end, 0)) != section)
                break;
            appendKey(text, entry.key().midRef(slash + 1));
            text += '=';
            appendValue(text, *entry);
            text += '\n';
        }
    }

    std::string text;
    for (auto section = sections.begin(); section != sections.end(); ++section) {
        if (!text.empty())
            text += '\n';
        std::string name;
        appendKey(name, QStringRef(&section.key()));
        if (name.empty())
            text += "[General]\n";
        else if (qstricmp(name.c_str(), "general") == 0)
            text += groups == Groups::AsTheyAre ? "[%" + name + "]\n" : "[%General]\n";
        else
            text += '[' + name + "]\n";
        text += *section;
    }
    return bytesOf(text);
}

} // namespace IniText
} // namespace Utils
