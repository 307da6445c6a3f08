// kelm strings --pseudo: a string table for a pseudo language.

#include "examples/console/commands/Strings.h"

#include "examples/console/Output.h"
#include "utils/strings/StringTable.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <QRegularExpression>

namespace Kelm {

/// The letters of \p text with accents.
static QString accented(QString text)
{
    static const QString plain = "AaCcDdEeGgIiKkLlNnOoRrSsTtUuYyZz";
    static const QString strange = QString::fromUtf8("ÅåÇçÐďÉéĜĝÎîĶķĻļÑñÕõŔŕŠšŢţÛûÝýŽž");
    for (QChar &letter : text) {
        const int index = plain.indexOf(letter);
        if (index >= 0)
            letter = strange[index];
    }
    return text;
}

/// The same for the visible part of \p text: not for placeholders, tags, entities, escape
/// sequences and the letter of a shortcut.
static QString accentedText(const QString &text)
{
    static const QRegularExpression kept(R"(%[1-9][0-9]?|<[^<>]*>|&#?\w+;|&.|\\.)");
    QString result;
    int end = 0;
    for (auto match = kept.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        result += accented(text.mid(end, found.capturedStart() - end)) + found.captured();
        end = found.capturedEnd();
    }
    return result + accented(text.mid(end));
}

/// A record such as "[min=Least][max=Most]" keeps its keys, and a list its separators.
static QString pseudoText(const QString &text)
{
    static const QRegularExpression field(R"((\[[^=\]]*=)([^\]]*))");
    const QString blank = QString(text).remove(QRegularExpression("[^\\w]"));
    if (blank.isEmpty())
        return text;
    if (!field
             .match(text, 0, QRegularExpression::NormalMatch,
                    QRegularExpression::AnchoredMatchOption)
             .hasMatch())
    {
        // Other languages need about a third more room than English.
        return '[' + accentedText(text) + QString(text.size() / 3, '~') + ']';
    }
    QString result;
    int end = 0;
    for (auto match = field.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        result += text.mid(end, found.capturedEnd(1) - end) + accentedText(found.captured(2));
        end = found.capturedEnd();
    }
    return result + text.mid(end);
}

static void translate(const QDomElement &parent, Utils::Xml::Document &document)
{
    QDomElement child = parent.firstChildElement();
    for (; !child.isNull(); child = child.nextSiblingElement()) {
        if (child.tagName().toLower() != "string") {
            translate(child, document);
            continue;
        }
        const QString text = Utils::Xml::Element(child).childTextData();
        while (!child.firstChild().isNull())
            child.removeChild(child.firstChild());
        if (!text.isEmpty())
            child.appendChild(document.createTextNode(pseudoText(text)));
    }
}

Result printPseudoLocale(const QString &path)
{
    Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
    Data::String error;
    if (!document.open(path, "StringTable", error))
        return failed(error);
    translate(document.documentElement(), document);
    const QString text = document.toText();
    if (text.isEmpty())
        return failed(QString(Utils::StringTable::lookup(".Kelm.Utils.err.toodeep")).arg(path));
    printUnchanged(text.chopped(1)); // which adds the last line end
    return good();
}

} // namespace Kelm
