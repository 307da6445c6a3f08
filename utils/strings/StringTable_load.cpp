#include "utils/strings/StringTable.h"

#include "utils/base/LastError_p.h"
#include "utils/base/ReplaceAll_p.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable_p.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <new>

namespace Utils {

static bool isActiveContext(const Data::String &name)
{
    const Data::String &contexts = catalogue->contexts;
    return name == contexts || name == catalogue->productContext ||
           contexts.split(QLatin1Char(';')).contains(name);
}

/// The text of a string that is written as \p written in the file.
static Data::String toCatalogueText(const Data::String &written)
{
    const QString slash = QStringLiteral("\\");
    const QString slashes = QStringLiteral("\\\\");
    const QString lineEnd = QStringLiteral("\\n");
    const QString tab = QStringLiteral("\t");

    QString text = written;
    if (text.contains(lineEnd)) {
        text = replaceAll(text, lineEnd, QStringLiteral("\n"));
        if (text.contains(QLatin1Char('<')) && text.contains(QLatin1Char('>')))
            text = replaceAll(text, QStringLiteral("\n"), QStringLiteral("<br>"));
    }

    // Not StringUtil::unescape(), which converts "\t" to a tab: here it stays as it is, and only a
    // backslash before a real tab is removed.
    const QString placeholder = QStringLiteral("*SLASH*");
    text = replaceAll(text, slashes, placeholder);
    text = replaceAll(text, slash + tab, tab);
    text = replaceAll(text, placeholder, slash);
    return replaceAll(text, slashes + QLatin1Char('t'), slash + QLatin1Char('t'));
}

/// Reads the children of \p parent. Strings are added to \p texts, those of forms to \p table.
static void readStrings(const QDomElement &parent, CatalogueTable &table, TextsById &texts)
{
    // Recursion is no deeper than the document is nested, which Document::open() limits.
    QDomElement child = parent.firstChildElement();
    for (; !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName().toLower();
        const Data::String name = child.attribute(QStringLiteral("name"));
        if (tag == QLatin1String("string"))
            texts[child.attribute(QStringLiteral("id"))] =
                toCatalogueText(Xml::Element(child).childTextData());
        else if (tag == QLatin1String("ui"))
            readStrings(child, table, table.uiStrings[name]);
        else if (tag == QLatin1String("context") && isActiveContext(name))
            readStrings(child, table, texts);
    }
}

bool readStringTable(CatalogueTable &table, const Data::String &name, const Data::String &language)
{
    const LastError::Apart apart; // or the texts of a reason could not be loaded without losing it
    Data::String path = File::findResource(name, "_" + language + ".xml");
    // The current language decides, even when another one was requested.
    if (path.isEmpty() && catalogue->language != QLatin1String("en"))
        path = File::findResource(name, "_en.xml");
    if (path.isEmpty())
        return false;

    Xml::Document document(Xml::Document::Normal, 0.0);
    Data::String error;
    if (!document.open(path, "StringTable", error))
        return false;
    readStrings(document.documentElement(), table, table.strings);
    return true;
}

bool StringTable::load(const Data::String &name)
{
    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || texts->language.isEmpty())
        return false;

    try {
        CatalogueTable table;
        if (!readStringTable(table, name, texts->language))
            return false;
        // Replaced only when everything is complete.
        const Data::String key = "." + name;
        QMap<Data::String, Data::String> uiIndex = texts->uiIndex;
        for (auto form = table.uiStrings.constBegin(); form != table.uiStrings.constEnd(); ++form)
            uiIndex[form.key()] = key;
        QMap<Data::String, CatalogueTable> tables = texts->tables;
        tables[key] = table;
        texts->uiIndex.swap(uiIndex);
        texts->tables.swap(tables);
        texts->found = QHash<Data::String, Data::String>();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace Utils
