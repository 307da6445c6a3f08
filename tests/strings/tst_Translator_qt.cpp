// Qt itself in German: its menus, dialogs and shortcuts, and a form.

#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/SettingsHome.h"
#include "ui_PlateForm.h"
#include "utils/files/File.h"
#include "utils/strings/StringTable.h"
#include "utils/strings/Translator.h"

#include <QColorDialog>
#include <QContextMenuEvent>
#include <QKeySequence>
#include <QLineEdit>
#include <QMenu>
#include <QTextEdit>
#include <QtTest>

using Utils::StringTable;

/// The texts of the actions in \p menu, without the shortcuts after them.
static QStringList textsOf(const QMenu &menu)
{
    QStringList texts;
    for (const QAction *action : menu.actions()) {
        if (!action->isSeparator())
            texts.append(action->text().section('\t', 0, 0));
    }
    return texts;
}

/// The texts of all labels, and of buttons that have one, in any depth.
static QStringList textsIn(const QWidget &window)
{
    QStringList texts;
    for (const QLabel *label : window.findChildren<QLabel *>())
        texts.append(label->text());
    for (const QAbstractButton *button : window.findChildren<QAbstractButton *>())
        texts.append(button->text());
    texts.removeAll("");
    return texts;
}

class tst_Translator_qt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        StringTable::initialize("de_DE", "", "");
        Utils::File::setSearchPath(LIBRARY_RESOURCES, "");
        QVERIFY(StringTable::load("Kelm.Widgets"));
        Utils::File::setSearchPath(TEST_RESOURCES, "");
        QVERIFY(StringTable::load("Plate"));
    }

    void showsTheMenuOfALineInGerman()
    {
        QLineEdit line;
        const QScopedPointer<QMenu> menu(line.createStandardContextMenu());

        QCOMPARE(textsOf(*menu),
                 QStringList({"&Rückgängig", "&Wiederherstellen", "&Ausschneiden", "&Kopieren",
                              "&Einfügen", "Löschen", "Alles auswählen"}));
    }

    void showsADialogOfColoursInGerman()
    {
        QColorDialog dialog;
        dialog.setOptions(QColorDialog::DontUseNativeDialog | QColorDialog::ShowAlphaChannel);
        const QStringList texts = textsIn(dialog);

        QCOMPARE(dialog.windowTitle(), QString("Farbe wählen"));
        for (const char *text :
             {"&Farbton:", "&Sättigung:", "Helligkei&t:", "&Rot:", "&Grün:", "&Blau:",
              "A&lphakanal:", "Gr&undfarben", "&Eigene Farben", "&Zu eigenen Farben hinzufügen"})
            QVERIFY2(texts.contains(text), qPrintable(text + (" is not in " + texts.join(", "))));
    }

    void givesTheDialogOfColoursNoLetterTwice()
    {
        QColorDialog dialog;
        dialog.setOptions(QColorDialog::DontUseNativeDialog | QColorDialog::ShowAlphaChannel);

        QString letters;
        for (const QString &text : textsIn(dialog)) {
            const int at = text.indexOf('&');
            if (at >= 0 && at + 1 < text.size())
                letters += text[at + 1].toUpper();
        }
        const QSet<QChar> distinct(letters.begin(), letters.end());
        QVERIFY2(letters.size() >= 12, qPrintable(letters));
        QVERIFY2(distinct.size() == letters.size(), qPrintable(letters));
    }

    void showsTheHelpOfADialogInGerman()
    {
        QDialog dialog;
        dialog.setWhatsThis("help");
        QStringList texts;
        QTimer::singleShot(0, &dialog, [&texts] {
            auto *const menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            if (!menu)
                return;
            texts = textsOf(*menu);
            menu->close();
        });

        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(1, 1), QPoint(1, 1));
        QCoreApplication::sendEvent(&dialog, &event);

        QCOMPARE(texts, QStringList{"Direkthilfe"});
    }

    void showsShortcutsInGerman()
    {
        const QKeySequence keys(Qt::CTRL | Qt::ALT | Qt::SHIFT | Qt::Key_A);

        QCOMPARE(keys.toString(QKeySequence::NativeText), QString("Strg+Alt+Umschalt+A"));
        QCOMPARE(QKeySequence("Strg+Umschalt+A", QKeySequence::NativeText),
                 QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
        QCOMPARE(keys.toString(QKeySequence::PortableText), QString("Ctrl+Alt+Shift+A"));
        QCOMPARE(QKeySequence(Qt::META | Qt::Key_A).toString(QKeySequence::NativeText),
                 QString("Meta+A"));
    }

    void showsAFormInGerman()
    {
        QWidget window;
        Ui::PlateForm form;
        form.setupUi(&window);

        QCOMPARE(window.windowTitle(), QString("Blech"));
        QCOMPARE(form.thicknessLabel->text(), QString("&Dicke"));
        QCOMPARE(form.thicknessLabel->toolTip(),
                 QString("<b>Dicke</b> des Blechs<br>in Millimetern"));
        QCOMPARE(form.apply->text(), QString("&Übernehmen"));
        QCOMPARE(form.apply->toolTip(), QString(".apply.tip")); // no such string
        QCOMPARE(form.thickness->placeholderText(), QString("mm"));
    }

    void leavesWhatItDoesNotKnowInEnglish()
    {
        QTextEdit edit;
        const QScopedPointer<QMenu> menu(edit.createStandardContextMenu());

        QVERIFY(
            textsOf(*menu).contains("&Copy")); // asked for under another name than the table has
        QCOMPARE(QDialog::tr("OK"), QString("OK"));
    }
};

int main(int argc, char *argv[])
{
    const SettingsHome home; // the dialog of colours reads settings
    qputenv("QT_STYLE_OVERRIDE", "fusion");
    const QApplication application(argc, argv);
    tst_Translator_qt test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Translator_qt.moc"
