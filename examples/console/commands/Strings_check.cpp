// kelm strings --check: finds the mistakes of translators in string tables.

#include "examples/console/commands/Strings.h"

#include "examples/console/Output.h"
#include "utils/strings/StringTable.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace Kelm {

using Utils::StringTable;

namespace {

/// The location of a text: in the file itself, or in a context or form of it.
struct Location
{
    QString scope; ///< such as "the form "PlateForm"", or ""
    QString id;

    bool operator<(const Location &other) const
    {
        return scope == other.scope ? id < other.id : scope < other.scope;
    }
    QString toText() const
    {
        return '"' + id + '"' + (scope.isEmpty() ? QString() : " of " + scope);
    }
};

/// A file of a table in one language.
struct File
{
    QString path;
    QString table;
    QString language;
    QMap<Location, QString> texts;
    QStringList mistakes;

    void note(const QString &mistake) { mistakes.append(path + ": " + mistake); }
};

} // namespace

static const QStringList &allForms()
{
    static const QStringList forms{"zero", "one", "two", "few", "many", "other"};
    return forms;
}

static void readTexts(const QDomElement &parent, const QString &scope, File &file)
{
    QDomElement child = parent.firstChildElement();
    for (; !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName().toLower();
        const QString name = child.attribute("name");
        if (tag == "context" || tag == "ui") {
            const QString inner = QString(tag == "ui" ? "the form \"%1\"" : "the context \"%1\"");
            readTexts(child, inner.arg(name), file);
        }
        if (tag != "string")
            continue;
        const Location location{scope, child.attribute("id")};
        if (location.id.isEmpty()) {
            file.note(QString("Line %1 has a text without an id").arg(child.lineNumber()));
            continue;
        }
        if (file.texts.contains(location)) {
            file.note(QString("The id %1 occurs again in line %2")
                          .arg(location.toText())
                          .arg(child.lineNumber()));
        }
        file.texts[location] = Utils::Xml::Element(child).childTextData();
    }
}

static File readFile(const QString &path)
{
    // A region begins with a capital letter, as in "Plates_pt_BR.xml".
    static const QRegularExpression ending("_([a-z]{2,3}(?:[_-][A-Z][A-Za-z0-9]+)*)$");

    File file;
    file.path = path;
    const QFileInfo info(path);
    file.table = info.path() + '/' + info.completeBaseName();
    const QRegularExpressionMatch match = ending.match(file.table);
    if (match.hasMatch()) {
        file.language = match.captured(1);
        file.table.truncate(match.capturedStart());
    } else {
        file.note("The name does not end with a language, as in Plates_en.xml");
    }

    Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
    Data::String error;
    if (document.open(path, "StringTable", error))
        readTexts(document.documentElement(), "", file);
    else
        file.note(error);
    return file;
}

static QStringList placeholdersIn(const QString &text)
{
    static const QRegularExpression placeholder("%[1-9][0-9]?");
    QStringList found;
    for (auto match = placeholder.globalMatch(text); match.hasNext();)
        found.append(match.next().captured());
    found.removeDuplicates();
    std::sort(found.begin(), found.end());
    return found;
}

/// The location without the name of a plural form, and this form. "" when it has none.
static QString takeForm(Location &location)
{
    QString end = location.id.section('.', -1);
    if (!allForms().contains(end))
        return {};
    location.id.chop(end.size() + 1);
    return end;
}

/// The locations of the texts that have plural forms: "other" and at least one more, in some
/// language. A text such as ".ctx.other" alone is no such text.
static QSet<QString> pluralsIn(const QList<File *> &files)
{
    QSet<QString> withOther;
    QSet<QString> withOneMore;
    for (const File *file : files) {
        for (Location location : file->texts.keys()) {
            const QString form = takeForm(location);
            if (form == "other")
                withOther.insert(location.toText());
            else if (!form.isEmpty())
                withOneMore.insert(location.toText());
        }
    }
    return withOther.intersect(withOneMore);
}

/// Whether all counts of a plural form of \p language are the same number, as for "one" in English,
/// but not in Russian, where it is also the form of 21, nor in French, where it is that of 0.
static bool isFormOfOneNumber(const QString &form, const QString &language)
{
    int numbers = 0;
    for (int n = 0; n <= 1000 && numbers < 2; ++n)
        numbers += StringTable::pluralForm(n, language) == form;
    return numbers == 1;
}

/// Compares the placeholders of \p text with those of \p model, the same text in another language.
/// With \p mayLackOne, the number may be a word in \p text.
static void checkPlaceholders(File &file, const QString &name, const QString &text,
                              const QString &model, bool mayLackOne)
{
    const QStringList own = placeholdersIn(text);
    const QStringList wanted = placeholdersIn(model);
    const auto isLacking = [&](const QString &placeholder) { return !own.contains(placeholder); };
    const auto lacking = std::count_if(wanted.begin(), wanted.end(), isLacking);
    const bool isGood = mayLackOne && lacking <= 1;
    for (const QString &placeholder : wanted) {
        if (!isGood && isLacking(placeholder))
            file.note(QString("The text of %1 lacks \"%2\"").arg(name, placeholder));
    }
    for (const QString &placeholder : own) {
        if (!wanted.contains(placeholder))
            file.note(QString("The text of %1 has \"%2\" in addition").arg(name, placeholder));
    }
}

/// Compares one text of \p model with what \p file has at the same location.
static void checkText(File &file, const File &model, const Location &location)
{
    const auto text = file.texts.constFind(location);
    if (text == file.texts.constEnd())
        file.note(QString("The id %1 is missing").arg(location.toText()));
    else if (text->isEmpty() && !model.texts[location].isEmpty())
        file.note(QString("The text of %1 is empty").arg(location.toText()));
    else
        checkPlaceholders(file, location.toText(), *text, model.texts[location], false);
}

/// Checks the forms of the text at \p location, which has no form in its id.
static void checkForms(File &file, const File &model, const Location &location)
{
    const QStringList wanted = StringTable::pluralForms(file.language);
    const QString modelText = model.texts.value({location.scope, location.id + ".other"});
    for (const QString &form : allForms()) {
        const Location whole{location.scope, location.id + '.' + form};
        const auto text = file.texts.constFind(whole);
        const bool isThere = text != file.texts.constEnd();
        if (isThere && !wanted.contains(form)) {
            file.note(QString("The id %1 is of no use: the language has no such form")
                          .arg(whole.toText()));
        } else if (!isThere && wanted.contains(form)) {
            file.note(QString("The id %1 is missing").arg(whole.toText()));
        } else if (isThere && !modelText.isEmpty()) {
            checkPlaceholders(file, whole.toText(), *text, modelText,
                              isFormOfOneNumber(form, file.language));
        }
    }
}

/// Compares the files of one table, of which the first is the model for the others.
static void compare(const QList<File *> &files)
{
    const QSet<QString> plurals = pluralsIn(files);
    QMap<Location, const File *> locations; // with the first file that has a text there
    QMap<Location, const File *> forms;
    for (const File *file : files) {
        for (const Location &location : file->texts.keys()) {
            Location base = location;
            const bool isForm = !takeForm(base).isEmpty() && plurals.contains(base.toText());
            QMap<Location, const File *> &found = isForm ? forms : locations;
            const Location &name = isForm ? base : location;
            if (!found.contains(name))
                found.insert(name, file);
        }
    }
    for (File *file : files) {
        for (auto location = locations.cbegin(); location != locations.cend(); ++location)
            checkText(*file, **location, location.key());
        for (auto location = forms.cbegin(); location != forms.cend(); ++location)
            checkForms(*file, **location, location.key());
    }
}

Result checkStrings(const QStringList &paths)
{
    QList<File> files;
    for (const QString &path : paths)
        files.append(readFile(path));

    QMap<QString, QList<File *>> tables;
    for (File &file : files)
        tables[file.table].append(&file);
    for (QList<File *> &table : tables) {
        // English is what the others are translated from.
        std::stable_sort(table.begin(), table.end(), [](const File *a, const File *b) {
            return a->language == "en" && b->language != "en";
        });
        compare(table);
    }

    int count = 0;
    for (const File &file : qAsConst(files)) {
        for (const QString &mistake : file.mistakes)
            print(mistake);
        count += file.mistakes.size();
    }
    if (count == 0)
        return good();
    return failed(count == 1 ? QString("There is 1 mistake")
                             : QString("There are %1 mistakes").arg(count));
}

} // namespace Kelm
