#include "utils/strings/StringTable.h"

#include "utils/files/File.h"
#include "utils/strings/StringTableState_p.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

namespace Utils {

static bool isActiveContext(const Data::String &name)
{
    const Data::String &contexts = stringTableState.contexts;
    return name == contexts || name == stringTableState.productContext ||
           contexts.split(QLatin1Char(';')).contains(name);
}

/// The text that a file of strings writes as \p text.
static Data::String toCatalogueText(Data::String text)
{
    const QLatin1String lineEnd("\\n");
    if (text.contains(lineEnd)) {
        text.replace(lineEnd, QLatin1String("\n"));
        if (text.contains(QLatin1Char('<')) && text.contains(QLatin1Char('>')))
            text.replace(QLatin1Char('\n'), QLatin1String("<br>"));
    }

    // Not StringUtil::unescape(), to which "\t" is a tab: here it stays as it is, and only what is
    // a tab already may have a backslash in front.
    const QLatin1String slash("*SLASH*");
    text.replace(QLatin1String("\\\\"), slash);
    text.replace(QLatin1String("\\\t"), QLatin1String("\t"));
    text.replace(slash, QLatin1String("\\"));
    text.replace(QLatin1String("\\\\t"), QLatin1String("\\t"));
    return text;
}

/// Reads what is in \p parent. The strings go to \p texts, those of forms to the forms of \p table.
static void readStrings(const QDomElement &parent, StringTable::Table &table, TextsById &texts)
{
    // Calls itself, but no deeper than documents are nested, which Document::open() limits.
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

bool readStringTable(StringTable::Table &table, const Data::String &name,
                     const Data::String &language)
{
    Data::String path = File::findResource(name, "_" + language + ".xml");
    // It is the current language that counts, also when another one is asked for.
    if (path.isEmpty() && stringTableState.language != QLatin1String("en"))
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
    if (!StringTableState::alive || stringTableState.language.isEmpty())
        return false;

    Table table;
    if (!readStringTable(table, name, stringTableState.language))
        return false;
    const Data::String key = "." + name;
    for (auto form = table.uiStrings.constBegin(); form != table.uiStrings.constEnd(); ++form)
        stringTableState.uiIndex[form.key()] = key;
    stringTableState.tables[key] = table;
    stringTableState.found.clear();
    return true;
}

} // namespace Utils
