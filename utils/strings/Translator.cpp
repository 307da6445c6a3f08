#include "utils/strings/Translator.h"

#include "utils/catalogue/Catalogue_p.h"
#include "utils/strings/StringTable.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstring>

namespace Utils {

namespace {

struct QtText
{
    const char *contexts[2]; // the second may be null
    const char *source;
    const char *id;
};

} // namespace

// clang-format off
static const QtText qtTexts[] = {
    {{"QLineEdit", "QTextControl"}, "&Undo",                 ".ctx.undo"},
    {{"QLineEdit", "QTextControl"}, "&Redo",                 ".ctx.redo"},
    {{"QLineEdit", "QTextControl"}, "Cu&t",                  ".ctx.cut"},
    {{"QLineEdit", "QTextControl"}, "&Copy",                 ".ctx.copy"},
    {{"QLineEdit", "QTextControl"}, "Copy &Link Location",   ".ctx.copylink"},
    {{"QLineEdit", "QTextControl"}, "&Paste",                ".ctx.paste"},
    {{"QLineEdit", "QTextControl"}, "Delete",                ".ctx.delete"},
    {{"QLineEdit", "QTextControl"}, "Select All",            ".ctx.selectall"},
    {{"QDialog", nullptr},          "What's This?",          ".ctx.whatsthis"},
    {{"QColorDialog", nullptr},     "Select Color",          ".ctx.selcolor"},
    {{"QColorDialog", nullptr},     "Hu&e:",                 ".ctx.hue"},
    {{"QColorDialog", nullptr},     "&Sat:",                 ".ctx.sat"},
    {{"QColorDialog", nullptr},     "&Val:",                 ".ctx.val"},
    {{"QColorDialog", nullptr},     "&Red:",                 ".ctx.red"},
    {{"QColorDialog", nullptr},     "&Green:",               ".ctx.green"},
    {{"QColorDialog", nullptr},     "Bl&ue:",                ".ctx.blue"},
    {{"QColorDialog", nullptr},     "A&lpha channel:",       ".ctx.alpha"},
    {{"QColorDialog", nullptr},     "&Basic colors",         ".ctx.basiccolor"},
    {{"QColorDialog", nullptr},     "&Custom colors",        ".ctx.customcolor"},
    {{"QColorDialog", nullptr},     "&Add to Custom Colors", ".ctx.addcustomcolor"},
    {{"QShortcut", nullptr},        "Ctrl",                  ".ctx.ctrl"},
    {{"QShortcut", nullptr},        "Alt",                   ".ctx.alt"},
    {{"QShortcut", nullptr},        "Shift",                 ".ctx.shift"},
    {{"QShortcut", nullptr},        "+",                     ".ctx.plus"},
};
// clang-format on

static bool isEqual(const char *a, const char *b) { return b && std::strcmp(a, b) == 0; }

/// The id in the catalogue of a text of Qt, or null.
static const char *idOfQtText(const char *context, const char *source)
{
    const auto isIt = [&](const QtText &text) {
        return isEqual(source, text.source) &&
               (isEqual(context, text.contexts[0]) || isEqual(context, text.contexts[1]));
    };
    const auto found = std::find_if(std::begin(qtTexts), std::end(qtTexts), isIt);
    return found == std::end(qtTexts) ? nullptr : found->id;
}

static Data::String widgetText(const Data::String &source)
{
    const Data::String table(".Kelm.Widgets");
    if (source.startsWith(table) || source.startsWith(QLatin1String(".TORVE.")))
        return StringTable::lookup(source);
    if (source.startsWith(QLatin1Char('.')))
        return StringTable::lookup(table + source);

    // lookup() would read such an id as a part of the name of the table.
    Catalogue *const texts = catalogue.ifAlive();
    if (texts && texts->tables.contains(table))
        return texts->tables[table].strings.value(source, source);
    return StringTable::lookup(table + source);
}

/// The string of a form; "" when no strings of the form are loaded.
static Data::String formText(const Data::String &form, const Data::String &source)
{
    Catalogue *const texts = catalogue.ifAlive();
    if (!texts || !texts->uiIndex.contains(form))
        return {};
    const auto table = texts->tables.constFind(texts->uiIndex[form]);
    if (table == texts->tables.constEnd())
        return {};
    return table->uiStrings.value(form).value(source, source);
}

/// \p text, or null when it is empty: Qt keeps its own text only for null.
static QString toAnswer(const QString &text) { return text.isEmpty() ? QString() : text; }

Translator::Translator(QObject *parent) : QTranslator(parent)
{
    if (QCoreApplication::instance())
        QCoreApplication::installTranslator(this);
}

Translator::~Translator() = default;

QString Translator::translate(const char *context, const char *sourceText,
                              const char *disambiguation, int) const
{
    if (!context)
        context = "";
    if (!sourceText)
        sourceText = "";

    const bool isOfQt = context[0] == 'Q';
    const bool isMarked = isOfQt && isEqual("_Qok", disambiguation);
    const bool isWidget = std::strncmp(context, "Widgets::", 9) == 0;
    if (sourceText[0] == '.') {
        if (isOfQt && !isMarked)
            return {};
    } else {
        if (const char *const id = idOfQtText(context, sourceText))
            return toAnswer(StringTable::lookup(Data::String(".Kelm.Widgets") + id));
        if (!isWidget)
            return {};
    }
    return toAnswer(isWidget || isMarked ? widgetText(sourceText) : formText(context, sourceText));
}

bool Translator::isEmpty() const { return false; }

} // namespace Utils
