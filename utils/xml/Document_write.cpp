#include "utils/files/File.h"
#include "utils/xml/Document.h"

namespace Utils {
namespace Xml {

static const QLatin1String emptyLine("<!--*-->");

/// The tokens of the tag \p tag: its name, then its attributes in the order in which they are
/// written. \p ending gets what closes the tag, with all that follows where another one begins.
static QStringList orderedTokens(const QString &tag, QString &ending)
{
    ending = QString(tag.endsWith(QLatin1String("/>")) ? QLatin1String("/>") : QLatin1String(">"));
    QString current;
    QString name;
    QString nameAttribute;
    QString typeAttribute;
    QStringList others;
    bool inQuotes = false;
    for (int i = 1; i < tag.size(); ++i) {
        const QChar character = tag.at(i);
        if (!inQuotes && character == QLatin1Char('<') && tag.at(i - 1) == QLatin1Char('>')) {
            ending = tag.mid(i - 1);
            break;
        }
        const bool closes = character == QLatin1Char('/') && i + 1 < tag.size() &&
                            tag.at(i + 1) == QLatin1Char('>');
        if (!inQuotes && (character == QLatin1Char(' ') || character == QLatin1Char('>') || closes))
        {
            if (name.isEmpty())
                name = current;
            else if (nameAttribute.isEmpty() && current.startsWith(QLatin1String("name=")))
                nameAttribute = current;
            else if (typeAttribute.isEmpty() && current.startsWith(QLatin1String("type=")))
                typeAttribute = current;
            else if (!current.isEmpty())
                others.append(current);
            current.clear();
        } else {
            if (character == QLatin1Char('"'))
                inQuotes = !inQuotes;
            current += character;
        }
    }

    others.sort(Qt::CaseSensitive);
    QStringList tokens(name);
    if (!nameAttribute.isEmpty())
        tokens.append(nameAttribute);
    if (!typeAttribute.isEmpty())
        tokens.append(typeAttribute);
    return tokens + others;
}

/// Whether the trimmed line \p text looks like one start tag with attributes.
static bool isTag(const QString &text)
{
    return text.startsWith(QLatin1Char('<')) && text.endsWith(QLatin1Char('>')) &&
           text.contains(QLatin1Char(' ')) && text.contains(QLatin1String("=\"")) &&
           !text.startsWith(QLatin1String("<!")) && !text.contains(QLatin1String("</")) &&
           !text.startsWith(QLatin1String("<?"));
}

bool Document::write(const Data::String &path) const
{
    QStringList lines = toString(2).split(QLatin1Char('\n'));
    for (QString &line : lines) {
        const QString text = line.trimmed();
        if (text == emptyLine) {
            line.clear();
        } else if (isTag(text)) {
            QString ending;
            const QStringList tokens = orderedTokens(text, ending);
            line = line.left(line.indexOf(QLatin1Char('<')) + 1) + tokens.join(QLatin1Char(' ')) +
                   ending;
        }
    }
    return File::write(path, lines);
}

} // namespace Xml
} // namespace Utils
