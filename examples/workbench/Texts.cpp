#include "examples/workbench/Texts.h"

#include "utils/files/File.h"
#include "utils/strings/StringTable.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QLocale>
#include <QPointer>
#include <QTranslator>
#include <QVariant>

namespace Workbench {

using Utils::StringTable;

static const char tableName[] = "Kelm.Workbench";
static const QByteArray prefix = "text of "; // of a property that holds the id of a text

static QString resourceFolder;

/// Makes Qt's own dialogs and the numbers speak \p language.
static void setLanguageOfQt(const QString &language)
{
    QLocale::setDefault(QLocale(language));
    static QPointer<QTranslator> translator;
    delete translator; // which also removes it from the application
    translator = new QTranslator(QCoreApplication::instance());
    // The texts in the sources of Qt are English, so there may be no file for that.
    if (translator->load("qtbase_" + language,
                         QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(translator);
}

/// The language of the system, or English when there are no texts in it.
static QString systemLanguage()
{
    const QString system = QLocale::system().name().section('_', 0, 0);
    return languages().contains(system) ? system : QString("en");
}

void loadTexts(const QString &resources, const QString &language)
{
    resourceFolder = resources;
    const QString wanted = language.isEmpty() ? systemLanguage() : language;
    const QString chosen = languages().contains(wanted) ? wanted : QString("en");

    Utils::File::setSearchPath(resources, "");
    StringTable::initialize(chosen, "Desktop", "");
    for (const char *table :
         {"Kelm.Data", "Kelm.Framework", "Kelm.Utils", "Kelm.Widgets", tableName})
        StringTable::load(table);
    setLanguageOfQt(chosen);
}

QStringList languages()
{
    const QString start = QString(tableName) + '_';
    const QDir folder(Utils::File::join(resourceFolder, "locale"));
    QStringList found;
    for (const QString &file : folder.entryList({start + "*.xml"}, QDir::Files, QDir::Name))
        found.append(file.mid(start.size()).section('.', 0, 0));
    return found;
}

QString nameOf(const QString &language)
{
    return StringTable::lookupl(QString('.') + tableName + ".ctx.language", language);
}

bool setLanguage(const QString &wanted)
{
    const QString language = wanted.isEmpty() ? systemLanguage() : wanted;
    if (language == StringTable::language())
        return true;
    const QLocale old;
    setLanguageOfQt(language);
    if (StringTable::setLanguage(language))
        return true;
    setLanguageOfQt(old.name().section('_', 0, 0));
    return false;
}

QString text(const char *id) { return StringTable::lookup(QString('.') + tableName + id); }

QString textFor(const char *id, int count)
{
    return StringTable::lookupn(QString('.') + tableName + id, count)
        .arg(QLocale().toString(count));
}

/// Sets \p property to the text of \p id. Titles of windows have no key as menus and buttons do.
static void setText(QObject *object, const QByteArray &property, const QByteArray &id)
{
    const bool hasKey = property == "text" || property == "title";
    object->setProperty(property, hasKey ? text(id) : text(id).remove('&'));
}

void bindText(QObject *object, const char *property, const char *id)
{
    object->setProperty(prefix + property, QByteArray(id));
    setText(object, property, id);
}

static void setTexts(QObject *object)
{
    const QList<QByteArray> names = object->dynamicPropertyNames();
    for (const QByteArray &name : names) {
        if (name.startsWith(prefix))
            setText(object, name.mid(prefix.size()), object->property(name).toByteArray());
    }
}

void retranslate(QObject *root)
{
    setTexts(root);
    const QList<QObject *> parts = root->findChildren<QObject *>();
    for (QObject *const part : parts)
        setTexts(part);
}

} // namespace Workbench
