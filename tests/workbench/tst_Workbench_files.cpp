#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "tests/support/Windows.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>
#include <QToolButton>

using Workbench::TableDocument;
using Workbench::TableView;

static const SettingsHome home;

class tst_Workbench_files : public QObject
{
    Q_OBJECT

private:
    static int numTabs(TestWindow &test)
    {
        return test.window().findChild<QTabWidget *>()->count(); // docks have a QTabBar, too
    }

    static QString cell(TestWindow &test, int row, int col)
    {
        const QAbstractItemModel *const model = test.view<TableView>()->grid().model();
        return model->index(row, col).data().toString();
    }

    /// Types \p text into a cell.
    static void type(TestWindow &test, int row, int col, const QString &text)
    {
        QTableView &grid = test.view<TableView>()->grid();
        TestWindow::changeCell(grid, grid.model()->index(row, col), text);
    }

    /// Writes a file as another program does, a minute later.
    static void change(const QString &path, const QByteArray &contents)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(contents), qint64(contents.size()));
        QVERIFY(file.flush());
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(60),
                                 QFileDevice::FileModificationTime));
    }

    static QPushButton *button(TestWindow &test, const QString &text)
    {
        for (QPushButton *const candidate :
             test.window().currentTab()->findChildren<QPushButton *>()) {
            if (candidate->text() == text && candidate->isVisible())
                return candidate;
        }
        return nullptr;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void workbenchOpensAFileByTheKeyboard()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));

        QVERIFY(test.view<TableView>());
        QCOMPARE(numTabs(test), 1);
        QCOMPARE(cell(test, 1, 2), QString("3.249"));
        const QString format = test.window().statusBar()->findChild<QToolButton *>()->text();
        QVERIFY2(format.contains("1,200"), qPrintable(format));
        QVERIFY2(format.contains("UTF-8"), qPrintable(format));

        // A file that is open already gets no second tab.
        test.open(test.path("load_curve.csv"));
        QCOMPARE(numTabs(test), 1);
    }

    void workbenchOpensFilesThatAreDropped()
    {
        TestWindow test;
        QMimeData files;
        files.setUrls({QUrl::fromLocalFile(test.sample("load_curve.csv")),
                       QUrl::fromLocalFile(test.sample("bolts.csv"))});
        QDragEnterEvent enters(QPoint(9, 9), Qt::CopyAction, &files, Qt::LeftButton, {});
        QApplication::sendEvent(&test.window(), &enters);
        QVERIFY(enters.isAccepted());
        QDropEvent drops(QPoint(9, 9), Qt::CopyAction, &files, Qt::LeftButton, {});
        QApplication::sendEvent(&test.window(), &drops);

        QCOMPARE(numTabs(test), 2);
        QCOMPARE(test.document().path(), test.path("bolts.csv"));
    }

    void workbenchTellsWhyAFileIsNotOpened()
    {
        TestWindow test;
        QString message;
        test.onDialog([&](QWidget *dialog) {
            message = qobject_cast<QMessageBox *>(dialog)->text();
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.window().openFiles({test.path("gone.csv")}); // as by the command line

        QVERIFY2(message.contains("gone.csv") && message.contains("does not exist"),
                 qPrintable(message));
        QCOMPARE(numTabs(test), 0);
    }

    void workbenchListsTheFilesThatWereOpened()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        test.open(test.sample("bolts.csv"));
        test.restart();
        QCOMPARE(numTabs(test), 0);

        // With the keyboard: the menu File, its entry for recent files, the second of them.
        QMenu *const fileMenu = test.window().menuBar()->actions().constFirst()->menu();
        test.press(Qt::Key_F, Qt::AltModifier);
        QTRY_VERIFY(fileMenu->isVisible());
        QTest::keyClick(fileMenu, Qt::Key_R);
        QTRY_VERIFY(QApplication::activePopupWidget() != fileMenu);
        QWidget *const recent = QApplication::activePopupWidget();
        QTest::keyClick(recent, Qt::Key_Down);
        QTest::keyClick(recent, Qt::Key_Return);

        QTRY_COMPARE(numTabs(test), 1);
        QCOMPARE(test.document().path(), test.path("load_curve.csv"));
    }

    void workbenchSavesWhatWasChanged()
    {
        TestWindow test;
        test.open(test.file("a.csv", "Time{s},Force{kN}\n0,1.5\n1,2.5\n"));
        type(test, 0, 1, "9.75");
        QVERIFY(test.document().isChanged());
        QVERIFY(test.window().windowTitle().contains("a.csv"));
        QVERIFY(test.window().isWindowModified());

        test.press(Qt::Key_S, Qt::ControlModifier);

        QVERIFY(!test.document().isChanged());
        QVERIFY(!test.window().isWindowModified());
        QCOMPARE(contentsOf(test.path("a.csv")), QByteArray("Time{s},Force{kN}\n0,9.75\n1,2.5\n"));
    }

    void workbenchAsksBeforeChangesAreLost()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a,b\n1,2\n"));
        type(test, 0, 0, "7");

        test.onDialog(
            [](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Cancel); });
        test.press(Qt::Key_Q, Qt::ControlModifier);
        QVERIFY(test.window().isVisible());

        test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Save); });
        test.press(Qt::Key_Q, Qt::ControlModifier);
        QVERIFY(!test.window().isVisible());
        QCOMPARE(contentsOf(test.path("a.csv")), QByteArray("a,b\n7,2\n"));
    }

    void workbenchClosesAFileByTheButtonOfItsTab()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        test.open(test.sample("load_curve.csv"));
        const auto *const bar = test.window().findChild<QTabWidget *>()->tabBar();
        QTest::mouseClick(bar->tabButton(0, QTabBar::RightSide), Qt::LeftButton);

        QCOMPARE(numTabs(test), 1);
        QCOMPARE(test.document().path(), test.path("load_curve.csv"));
        QVERIFY(bar->tabButton(0, QTabBar::RightSide));
    }

    void workbenchTellsWhatSavingWouldLose()
    {
        TestWindow test;
        const QByteArray contents = "# bench 3\nTime;Force\n0;1\n1;2\n2;3\n";
        test.open(test.file("a.csv", contents));
        type(test, 0, 1, "8");

        QString message;
        test.onDialog([&](QWidget *dialog) {
            message = qobject_cast<QMessageBox *>(dialog)->text();
            TestWindow::pressButton(dialog, QMessageBox::Cancel);
        });
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY2(message.contains("comments of the file"), qPrintable(message));
        QCOMPARE(contentsOf(test.path("a.csv")), contents);
        QVERIFY(test.document().isChanged());
    }

    void workbenchSavesUnderAnotherNameWhatSavingWouldLose()
    {
        TestWindow test;
        const QByteArray contents = "# bench 3\nTime;Force\n0;1\n1;2\n2;3\n";
        test.open(test.file("a.csv", contents));
        type(test, 0, 1, "8");

        test.onDialog([&](QWidget *dialog) {
            const auto *const box = qobject_cast<QMessageBox *>(dialog);
            for (QAbstractButton *const each : box->buttons()) {
                if (box->buttonRole(each) == QMessageBox::ActionRole)
                    QTest::mouseClick(each, Qt::LeftButton);
            }
            test.answerFileDialog(test.path("b.csv"));
        });
        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(test.document().path(), test.path("b.csv"));
        QVERIFY(!test.document().isChanged());
        QCOMPARE(contentsOf(test.path("a.csv")), contents);
        QCOMPARE(contentsOf(test.path("b.csv")), QByteArray("Time;Force\n0;8\n1;2\n2;3\n"));
    }

    void workbenchOffersToReloadAFileThatHasChanged()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a,b\n1,2\n3,4\n"));
        QVERIFY(!button(test, "&Reload"));

        change(test.path("a.csv"), "a,b\n5,6\n");
        QTRY_VERIFY(button(test, "&Reload"));
        QCOMPARE(cell(test, 0, 0), QString("1")); // nothing changes until the user wants it
        QTest::mouseClick(button(test, "&Reload"), Qt::LeftButton);

        QCOMPARE(cell(test, 0, 0), QString("5"));
        QCOMPARE(test.view<TableView>()->grid().model()->rowCount(), 1);
        QVERIFY(!button(test, "&Reload"));
    }

    void workbenchKeepsTheTableWhenTheNewFileCannotBeRead()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a,b\n1,2\n3,4\n"));
        change(test.path("a.csv"), "");
        QTRY_VERIFY(button(test, "&Reload"));

        QString message;
        test.onDialog([&](QWidget *dialog) {
            message = qobject_cast<QMessageBox *>(dialog)->text();
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        QTest::mouseClick(button(test, "&Reload"), Qt::LeftButton);

        QVERIFY2(message.contains("empty"), qPrintable(message));
        QCOMPARE(cell(test, 1, 1), QString("4"));
    }

    void workbenchTellsThatAFileIsGone()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a,b\n1,2\n"));
        QVERIFY(QFile::remove(test.path("a.csv")));

        QWidget other; // the window is told when it becomes the active one again
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        other.hide();
        test.window().activateWindow();

        QTRY_VERIFY(button(test, "&Ignore"));
        QVERIFY(!button(test, "&Reload"));
        QCOMPARE(cell(test, 0, 1), QString("2"));
        test.press(Qt::Key_I, Qt::AltModifier);
        QTRY_VERIFY(!button(test, "&Ignore"));
    }

    void workbenchChangesTheFormatWithAPreview()
    {
        TestWindow test;
        test.open(test.file("a.txt", "a;b\n1,5;2\n2,5;3\n"));
        QCOMPARE(test.view<TableView>()->grid().model()->columnCount(), 2);

        test.onDialog([](QWidget *dialog) {
            auto *const preview = dialog->findChild<QTableWidget *>();
            QCOMPARE(preview->columnCount(), 2);
            auto *const delimiters = dialog->findChildren<QComboBox *>().constFirst();
            delimiters->setFocus();
            QTest::keyClick(delimiters, Qt::Key_Up); // the comma
            QTRY_COMPARE(preview->item(0, 0)->text(), QString("1"));
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        QTest::mouseClick(test.window().statusBar()->findChild<QToolButton *>(), Qt::LeftButton);

        QCOMPARE(cell(test, 0, 0), QString("1"));
        QCOMPARE(cell(test, 0, 1), QString("5;2"));
    }

    void workbenchDetectsTheFormatAgain()
    {
        TestWindow test;
        test.open(test.file("a.txt", "a;b\n1,5;2\n2,5;3\n"));
        test.onDialog([](QWidget *dialog) {
            auto *const preview = dialog->findChild<QTableWidget *>();
            auto *const delimiters = dialog->findChildren<QComboBox *>().constFirst();
            delimiters->setFocus();
            QTest::keyClick(delimiters, Qt::Key_Up); // the comma
            QTRY_COMPARE(preview->item(0, 0)->text(), QString("1"));
            const auto *const buttons = dialog->findChild<QDialogButtonBox *>();
            for (QAbstractButton *const each : buttons->buttons()) {
                if (buttons->buttonRole(each) == QDialogButtonBox::ResetRole)
                    QTest::mouseClick(each, Qt::LeftButton);
            }
            QTRY_COMPARE(preview->item(0, 0)->text(), QString("1,5"));
            QTest::mouseClick(buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);
        });
        test.choose("format");

        QCOMPARE(cell(test, 0, 0), QString("1,5"));
        QCOMPARE(cell(test, 0, 1), QString("2"));
    }

    void workbenchReadsATableWithAnyDelimiter()
    {
        TestWindow test;
        test.open(test.file("a.txt", "asb\n1s2\n3s4\n"));
        test.onDialog([](QWidget *dialog) {
            auto *const preview = dialog->findChild<QTableWidget *>();
            auto *const delimiters = dialog->findChildren<QComboBox *>().constFirst();
            QVERIFY(delimiters->isEditable());
            TestWindow::typeInto(*delimiters->lineEdit(), "s");
            QTRY_COMPARE(preview->columnCount(), 2);
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        test.choose("format");

        const auto &table = dynamic_cast<const TableDocument &>(test.document());
        QCOMPARE(table.dialect().delimiter(), QString("s"));
        QCOMPARE(cell(test, 1, 1), QString("4"));
    }

    void workbenchKeepsTheFormatThatIsNotChanged()
    {
        TestWindow test;
        test.open(test.file("a.csv", QByteArray("1,2\n").repeated(4000)));
        auto &table = dynamic_cast<TableDocument &>(test.document());
        Utils::CSVDialect dialect = table.dialect();
        dialect.setHeader(1498, 1499, 1500);
        QVERIFY(table.readAs(dialect));
        QCOMPARE(table.numRows(), 2500);

        test.onDialog([](QWidget *dialog) { QTest::keyClick(dialog, Qt::Key_Return); });
        test.choose("format");

        QCOMPARE(table.dialect().headerRow(), 1498);
        QCOMPARE(table.dialect().unitRow(), 1499);
        QCOMPARE(table.dialect().firstDataRow(), 1500);
        QCOMPARE(table.numRows(), 2500);
    }

    void workbenchOffersTheFormatOnlyOfATable()
    {
        TestWindow test;
        const auto &button = *test.window().statusBar()->findChild<QToolButton *>();
        test.open(test.sample("materials.tag"));
        QVERIFY(!button.text().isEmpty());
        QVERIFY(!button.isEnabled());
        QCOMPARE(button.toolTip(), QString());
        const auto colour = [&](const QWidget &widget) {
            return widget.palette().color(QPalette::ButtonText).name();
        };
        QCOMPARE(colour(button), colour(test.window())); // it is read all the same
        QPalette other = QApplication::palette();
        other.setColor(QPalette::ButtonText, Qt::red);
        test.window().setPalette(other);
        QCOMPARE(colour(button), QColor(Qt::red).name());

        test.open(test.sample("load_curve.csv"));
        QVERIFY(button.isEnabled());
        QVERIFY2(button.toolTip().contains("Click"), qPrintable(button.toolTip()));
        QVERIFY(Workbench::setLanguage("de"));
        QTRY_VERIFY2(button.toolTip().contains("Klick"), qPrintable(button.toolTip()));
        QVERIFY(Workbench::setLanguage("en"));
        test.press(Qt::Key_W, Qt::ControlModifier);
        QTRY_COMPARE(button.toolTip(), QString());
    }

    void workbenchChangesItsLanguageWhileItRuns()
    {
        TestWindow test;
        test.open(test.sample("load_curve.csv"));
        QCOMPARE(test.command("save")->text(), QString("&Save"));

        // As by a script, or by another instance.
        Workbench::Preferences::language.set("de");

        QTRY_COMPARE(test.command("save")->text(), QString("&Speichern"));
        QCOMPARE(test.command("sortAscending")->text(), QString("&Aufsteigend sortieren"));
        test.restart();
        QCOMPARE(test.command("save")->text(), QString("&Speichern"));
        Workbench::Preferences::language.set("en");
        QTRY_COMPARE(test.command("save")->text(), QString("&Save"));
    }

    void workbenchChangesTheLanguageOfTheDialogsOfQt()
    {
        SKIP_ON_WINDOWS("tools/setup-windows builds no translations of Qt");
        TestWindow test;
        Workbench::Preferences::language.set("de");
        QTRY_COMPARE(test.command("save")->text(), QString("&Speichern"));
        test.onDialog([](QWidget *dialog) {
            QVERIFY(qobject_cast<QFileDialog *>(dialog));
            bool hasButton = false;
            for (const QPushButton *const each : dialog->findChildren<QPushButton *>())
                hasButton = hasButton || each->text().remove('&') == "Abbrechen";
            QVERIFY(hasButton);
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.press(Qt::Key_O, Qt::ControlModifier);
        Workbench::Preferences::language.set("en");
        QTRY_COMPARE(test.command("save")->text(), QString("&Save"));
    }

    void workbenchKeepsItsLayout()
    {
        TestWindow test;
        test.window().resize(900, 700);
        QTest::qWait(50);
        const QSize size = test.window().size();
        test.press(Qt::Key_Q, Qt::ControlModifier);
        test.restart();

        QTRY_COMPARE(test.window().size(), size);
    }
};

QTEST_MAIN(tst_Workbench_files)
#include "tst_Workbench_files.moc"
