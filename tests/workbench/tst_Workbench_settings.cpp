#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/settings/SettingsDialog.h"
#include "examples/workbench/table/TableView.h"
#include "utils/settings/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSpinBox>
#include <QTableView>
#include <QToolButton>

using Utils::Settings;
using Workbench::SettingsDialog;
namespace Preferences = Workbench::Preferences;

static const SettingsHome home;

class tst_Workbench_settings : public QObject
{
    Q_OBJECT

private:
    /// The dialog, after it was opened by the keyboard.
    static SettingsDialog &open(TestWindow &test)
    {
        test.press(Qt::Key_Comma, Qt::ControlModifier);
        auto *const dialog = test.window().findChild<SettingsDialog *>();
        if (!dialog || !QTest::qWaitForWindowActive(dialog))
            qFatal("the dialog is not open");
        return *dialog;
    }

    template <typename Widget>
    static Widget &part(SettingsDialog &dialog, const char *name)
    {
        auto *const found = dialog.findChild<Widget *>(name);
        if (!found)
            qFatal("%s is missing", name);
        return *found;
    }

    static bool isMarked(SettingsDialog &dialog, const char *name)
    {
        const QWidget &editor = part<QWidget>(dialog, name);
        const QWidget &focus = editor.focusProxy() ? *editor.focusProxy() : editor;
        for (const QLabel *const label : dialog.findChildren<QLabel *>()) {
            if (label->buddy() == &editor)
                return label->font().bold() &&
                       part<QToolButton>(dialog, QByteArray("reset ") + name).isVisible() &&
                       !focus.accessibleDescription().isEmpty();
        }
        return false;
    }

    static void click(SettingsDialog &dialog, const char *button)
    {
        QTest::mouseClick(&part<QAbstractButton>(dialog, button), Qt::LeftButton);
    }

private Q_SLOTS:
    void init()
    {
        QSettings().clear();
        Workbench::setLanguage("en"); // the catalogue is set up once in a process
    }

    void settingsAreEditedByTheKeyboard()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        auto &limit = part<QSpinBox>(dialog, "memoryLimit");
        QCOMPARE(limit.value(), 64);
        QCOMPARE(limit.maximum(), 1024);
        QVERIFY(!isMarked(dialog, "memoryLimit"));

        TestWindow::enterInto(limit, "128");
        QCOMPARE(Preferences::memoryLimit.value(), 128);
        QVERIFY(isMarked(dialog, "memoryLimit"));
        QVERIFY(dialog.isVisible()); // Return ends the entry only

        auto &flush = part<QCheckBox>(dialog, "flushFiles");
        flush.setFocus();
        QTest::keyClick(&flush, Qt::Key_Space);
        QVERIFY(!Preferences::flushFiles.value());
        QVERIFY(isMarked(dialog, "flushFiles"));

        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        test.restart();
        QCOMPARE(Preferences::memoryLimit.value(), 128);
    }

    void settingsTakeNoValueOutOfTheRange()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        TestWindow::enterInto(part<QSpinBox>(dialog, "memoryLimit"), "99999");
        QVERIFY(Preferences::memoryLimit.value() <= 1024);

        auto &line = *part<QWidget>(dialog, "tempPath").findChild<QLineEdit *>();
        const QString old = Preferences::tempFolder.value();
        TestWindow::enterInto(line, "/no/such/folder");
        QVERIFY(part<QLabel>(dialog, "settingsProblem").text().contains("/no/such/folder"));
        QCOMPARE(Preferences::tempFolder.value(), Data::String(old));

        const QString folder = QFileInfo(test.path("x")).path();
        TestWindow::enterInto(line, folder);
        QCOMPARE(QString(Preferences::tempFolder.value()), folder);
        QCOMPARE(part<QLabel>(dialog, "settingsProblem").text(), QString());
        QVERIFY(isMarked(dialog, "tempPath"));
    }

    void settingsTakeTheFolderOfADialog()
    {
        TestWindow test;
        const QString folder = QFileInfo(test.path("x")).path();
        SettingsDialog &dialog = open(test);
        auto *const button = part<QWidget>(dialog, "tempPath").findChild<QToolButton *>();
        test.answerFileDialog(folder);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(QString(Preferences::tempFolder.value()), folder);

        test.onDialog([](QWidget *chooser) { QTest::keyClick(chooser, Qt::Key_Escape); });
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(QString(Preferences::tempFolder.value()), folder);
    }

    void settingsAreReset()
    {
        TestWindow test;
        QVERIFY(Preferences::memoryLimit.set(100) && Preferences::digits.set(9));
        SettingsDialog &dialog = open(test);
        QVERIFY(isMarked(dialog, "memoryLimit") && isMarked(dialog, "digits"));

        click(dialog, "reset memoryLimit");
        QCOMPARE(part<QSpinBox>(dialog, "memoryLimit").value(), 64);
        QVERIFY(!isMarked(dialog, "memoryLimit") && isMarked(dialog, "digits"));
        QVERIFY(Preferences::stopTime.set(7));

        test.onDialog([](QWidget *box) { TestWindow::pressButton(box, QMessageBox::No); });
        click(dialog, "resetAll");
        QCOMPARE(Preferences::digits.value(), 9);
        test.onDialog([](QWidget *box) { TestWindow::pressButton(box, QMessageBox::Yes); });
        click(dialog, "resetAll");
        QCOMPARE(Preferences::digits.value(), 5);
        QCOMPARE(Preferences::stopTime.value(), 2);
        QCOMPARE(part<QSpinBox>(dialog, "digits").value(), 5);
        QVERIFY(!isMarked(dialog, "digits") && !isMarked(dialog, "stopTime"));
    }

    void settingsOfOthersAreShownAtOnce()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        QVERIFY(Preferences::stopTime.set(9)); // as by a script
        QCOMPARE(part<QSpinBox>(dialog, "stopTime").value(), 9);
        QVERIFY(isMarked(dialog, "stopTime"));

        // As by another instance: not through the library.
        QSettings().setValue("Workbench/outputLines", 500);
        QTRY_COMPARE(part<QSpinBox>(dialog, "outputLines").value(), 500);

        Settings().removeKey("Workbench");
        QCOMPARE(part<QSpinBox>(dialog, "stopTime").value(), 2);
        QVERIFY(!isMarked(dialog, "stopTime"));
    }

    void settingsChangeTheLanguage()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        auto &box = part<QComboBox>(dialog, "language");
        QCOMPARE(box.currentData().toString(), QString());
        box.setFocus();
        QTest::keyClicks(&box, "Deutsch");
        QTRY_COMPARE(dialog.windowTitle(), QString("Einstellungen"));
        QCOMPARE(box.itemText(0), QString("Wie das System"));
        QCOMPARE(test.command("save")->text(), QString("&Speichern"));

        click(dialog, "reset language");
        QTRY_COMPARE(dialog.windowTitle(), QString("Preferences")); // that of the system
        QCOMPARE(test.command("save")->text(), QString("&Save"));
    }

    void settingsAreExportedAndImported()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        TestWindow::enterInto(part<QSpinBox>(dialog, "digits"), "7");
        test.answerFileDialog(test.path("mine.ini"));
        click(dialog, "exportSettings");
        const QByteArray exported = contentsOf(test.path("mine.ini"));
        QVERIFY2(exported.contains("digits=7"), exported.constData());
        QVERIFY(!exported.contains("[Window]") && !exported.contains("tempPath"));

        QVERIFY(Preferences::digits.set(3));
        test.answerFileDialog(test.path("mine.ini"));
        click(dialog, "importSettings");
        QCOMPARE(Preferences::digits.value(), 7);
        QCOMPARE(part<QSpinBox>(dialog, "digits").value(), 7);
    }

    void settingsOfThisComputerAreNotExported()
    {
        TestWindow test;
        QVERIFY(Preferences::digits.set(7) && Preferences::tempFolder.set(test.path("")));
        Settings("Plot").setString("folder", test.path("plots")); // as after an export
        Settings("Console").setValue("history", QStringList("print 'typed'"));
        test.open(test.file("a.csv", "a\n1\n")); // one of the recent files
        test.window().close();                   // where each part keeps its state
        test.restart();
        const QStringList groups = QSettings().childGroups();
        for (const char *group : {"Console", "MRU", "Plot", "Process", "Window", "gui"})
            QVERIFY2(groups.contains(group), group);

        test.answerFileDialog(test.path("mine.ini"));
        click(open(test), "exportSettings");

        const QByteArray exported = contentsOf(test.path("mine.ini"));
        QVERIFY2(exported.contains("\n[Workbench]\n") && exported.contains("\ndigits=7\n") &&
                     exported.count("\n[") == 1,
                 exported.constData());
    }

    void settingsOfThisComputerAreNotImported_data()
    {
        QTest::addColumn<QByteArray>("group");
        QTest::addColumn<QByteArray>("key");

        QTest::newRow("console") << QByteArray("Console") << QByteArray("history");
        QTest::newRow("plot") << QByteArray("Plot") << QByteArray("folder");
        QTest::newRow("process") << QByteArray("Process") << QByteArray("command");
        QTest::newRow("window") << QByteArray("Window") << QByteArray("geometry");
        QTest::newRow("folders") << QByteArray("gui") << QByteArray("tempPath");
    }

    void settingsOfThisComputerAreNotImported()
    {
        QFETCH(QByteArray, group);
        QFETCH(QByteArray, key);
        TestWindow test;
        QVERIFY(Preferences::digits.set(7));
        Settings(group.constData()).setString(key.constData(), "mine");
        SettingsDialog &dialog = open(test);
        test.answerFileDialog(test.path("mine.ini"));
        click(dialog, "exportSettings");
        QByteArray theirs = contentsOf(test.path("mine.ini"));
        theirs.replace("digits=7\n", "digits=8\n\n[" + group + "]\n" + key + "=theirs\n");
        test.file("theirs.ini", theirs);

        test.answerFileDialog(test.path("theirs.ini"));
        click(dialog, "importSettings");

        QCOMPARE(Preferences::digits.value(), 8);
        QCOMPARE(Settings(group.constData()).getString(key.constData(), ""), Data::String("mine"));
    }

    void settingsStayAfterABrokenImport()
    {
        TestWindow test;
        SettingsDialog &dialog = open(test);
        TestWindow::enterInto(part<QSpinBox>(dialog, "digits"), "7");
        test.answerFileDialog(test.path("mine.ini"));
        click(dialog, "exportSettings");
        QByteArray damaged = contentsOf(test.path("mine.ini"));
        damaged.replace("digits=7", "digits=9").chop(10);
        test.file("damaged.ini", damaged);

        test.answerFileDialog(test.path("damaged.ini"));
        const QString message = [&] {
            QString told;
            QTimer next; // the message follows the file dialog
            connect(&next, &QTimer::timeout, this, [&] {
                auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
                if (!box)
                    return;
                told = box->text();
                QTest::keyClick(box, Qt::Key_Return);
            });
            next.start(50);
            click(dialog, "importSettings");
            return told;
        }();
        QVERIFY2(message.startsWith("Nothing has been imported") && message.contains("damaged.ini"),
                 qPrintable(message));
        QCOMPARE(Preferences::digits.value(), 7);
    }

    void settingsApplyToTheStatistics()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a\n1.23456789\n1.23456789\n"));
        TestWindow::clickHeaders(test.view<Workbench::TableView>()->grid(), {0});
        auto *const plot = qobject_cast<Workbench::PlotPane *>(test.window().tool("Plot"));
        const auto mean = [&] {
            const QTableWidgetItem *const item = plot->statistics().item(3, 0);
            return item ? item->text() : QString();
        };
        QTRY_COMPARE(mean(), QString("1.2346"));
        SettingsDialog &dialog = open(test);
        TestWindow::enterInto(part<QSpinBox>(dialog, "digits"), "8");
        QCOMPARE(mean(), QString("1.2345679"));
    }
};

QTEST_MAIN(tst_Workbench_settings)
#include "tst_Workbench_settings.moc"
