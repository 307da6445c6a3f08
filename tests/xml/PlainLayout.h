#pragma once

#include <QStringList>

// The layout of a document in plain steps over the text that Qt writes.

/// The trimmed line \p tag in its layout: what follows its "<".
inline QString plainTag(const QString &tag)
{
    QString ending = tag.endsWith("/>") ? "/>" : ">";
    QString current;
    QString name;
    QString nameAttribute;
    QString typeAttribute;
    QStringList others;
    bool inQuotes = false;
    for (int i = 1; i < tag.size(); ++i) {
        const QChar character = tag.at(i);
        if (!inQuotes && character == '<' && tag.at(i - 1) == '>') {
            ending = tag.mid(i - 1);
            break;
        }
        const bool closes = character == '/' && i + 1 < tag.size() && tag.at(i + 1) == '>';
        if (!inQuotes && (character == ' ' || character == '>' || closes)) {
            if (name.isEmpty())
                name = current;
            else if (nameAttribute.isEmpty() && current.startsWith("name="))
                nameAttribute = current;
            else if (typeAttribute.isEmpty() && current.startsWith("type="))
                typeAttribute = current;
            else if (!current.isEmpty())
                others.append(current);
            current.clear();
        } else {
            if (character == '"')
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
    tokens += others;
    return tokens.join(' ') + ending;
}

/// Whether the trimmed line \p text is laid out as a tag.
inline bool isPlainTag(const QString &text)
{
    return text.startsWith('<') && text.endsWith('>') && text.contains(' ') &&
           text.contains("=\"") && !text.startsWith("<!") && !text.contains("</") &&
           !text.startsWith("<?");
}

inline QString plainLine(const QString &line)
{
    const QString text = line.trimmed();
    if (text == "<!--*-->")
        return QString();
    return isPlainTag(text) ? line.left(line.indexOf('<') + 1) + plainTag(text) : line;
}

/// The text that a file has when Qt writes \p text.
inline QString plainLayout(const QString &text)
{
    QString laidOut;
    const QStringList lines = text.split('\n');
    for (const QString &line : lines)
        laidOut += plainLine(line) + '\n';
    return laidOut;
}
