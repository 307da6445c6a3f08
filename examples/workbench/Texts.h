#pragma once

#include <QString>
#include <QStringList>

QT_FORWARD_DECLARE_CLASS(QObject)

namespace Workbench {

/// Loads the texts of the library and of the program from the folder of resources. \p language is a
/// language such as "de"; "" is that of the system. The application object must exist.
void loadTexts(const QString &resources, const QString &language);

/// The languages for which there are texts, such as "de" and "en".
QStringList languages();

/// The name of a language in this language itself, such as "Deutsch".
QString nameOf(const QString &language);

/// Changes the language while the program runs, also that of Qt's own dialogs and of numbers; "" is
/// the language of the system. All windows get QEvent::LanguageChange. False, with nothing changed,
/// when the texts cannot be read.
bool setLanguage(const QString &wanted);

/// The text of an id such as ".ctx.open" in the table of the program.
QString text(const char *id);

/// The same for a count, in the plural form of the language; %1 is replaced by it.
QString textFor(const char *id, int count);

/// Sets a property of \p object, such as "text" or "toolTip", to the text of \p id: now, and each
/// time that retranslate() is called for the object or for one that it belongs to.
void bindText(QObject *object, const char *property, const char *id);

/// Sets the texts that are bound to \p root, and to all objects that belong to it, in the current
/// language.
void retranslate(QObject *root);

} // namespace Workbench
