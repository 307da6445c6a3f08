// Files that change, vanish or are unusual, and windows that are closed in the middle of a task.

#include "tests/workbench/DocumentTest.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/table/TableDocument.h"
#include "tests/support/ProcessorTime.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Windows.h"
#include "utils/feedback/Progress.h"

#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QStatusBar>
#include <QTableWidget>
#include <QWindow>

#include <sys/stat.h>

using Workbench::PlotPane;
using Workbench::TableDocument;
using Workbench::TableView;

static const SettingsHome home;

class tst_Workbench_faults : public QObject
{
    Q_OBJECT

private:
    static QTableView &grid(TestWindow &test) { return test.view<TableView>()->grid(); }

    static QString cell(TestWindow &test, int row, int col)
    {
        return grid(test).model()->index(row, col).data().toString();
    }

    /// Rows of a number, zero and a text.
    static QByteArray table(int numRows)
    {
        QByteArray text = "n,zero,name\n";
        for (int n = 0; n < numRows; ++n)
            text += QByteArray::number(n) + ",0,sample " + QByteArray::number(n * 7 % 1000) + '\n';
        return text;
    }

    /// The message in the bar above the document, "" when there is none.
    static QString message(TestWindow &test)
    {
        for (const QLabel *const label : test.window().currentTab()->findChildren<QLabel *>()) {
            if (label->isVisible() && label->wordWrap())
                return label->text();
        }
        return {};
    }

    static void addStorages()
    {
        QTest::addColumn<int>("limit"); // megabytes

        QTest::newRow("in memory") << 64;
        QTest::newRow("in the file") << 1;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void workbenchStandsAFileThatShrinks_data() { addStorages(); }

    void workbenchStandsAFileThatShrinks()
    {
        QFETCH(int, limit);
        Workbench::Preferences::memoryLimit.set(limit);
        TestWindow test;
        const int numRows = 100000;
        test.open(test.file("a.csv", table(numRows)));
        QCOMPARE(test.document().holdsContents(), limit > 1);
        QFile file(test.path("a.csv"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.resize(file.size() / 2));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(60),
                                 QFileDevice::FileModificationTime));
        file.close();

        QTest::keyClick(&grid(test), Qt::Key_End, Qt::ControlModifier);
        QCOMPARE(grid(test).currentIndex().row(), numRows - 1);
        QCOMPARE(cell(test, numRows - 1, 0), limit > 1 ? QString("99999") : QString());
        QCOMPARE(cell(test, 10, 0), QString("10"));
        QTRY_VERIFY(message(test).contains("Another program has changed"));
        QCOMPARE(message(test).contains("cells that are gone"), limit == 1);

        test.press(Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier); // sorts
        QCOMPARE(grid(test).model()->rowCount(), numRows);
        test.press(Qt::Key_R, Qt::AltModifier); // reloads
        QTRY_VERIFY(grid(test).model()->rowCount() < numRows);
        QVERIFY(grid(test).model()->rowCount() > numRows / 3);
        QCOMPARE(message(test), QString());
    }

    void workbenchTellsAtOnceThatAFileIsDeleted_data() { addStorages(); }

    void workbenchTellsAtOnceThatAFileIsDeleted()
    {
        QFETCH(int, limit);
        if (limit == 1)
            SKIP_ON_WINDOWS(
                "Wine keeps the name of a deleted file that is open, as Windows 7 does");
        Workbench::Preferences::memoryLimit.set(limit);
        TestWindow test;
        test.open(test.file("a.csv", table(100000)));
        QVERIFY(QFile::remove(test.path("a.csv")));

        QTRY_VERIFY(message(test).contains("deleted or moved"));
        QVERIFY(message(test).contains("Save it"));
        QCOMPARE(cell(test, 99999, 0), QString("99999"));

        test.file("a.csv", table(100000)); // it comes back
        QTRY_VERIFY(!message(test).contains("deleted"));
    }

    void workbenchTellsThatAFileIsUnreadable_data() { addStorages(); }

    void workbenchTellsThatAFileIsUnreadable()
    {
        QFETCH(int, limit);
        if (limit == 1)
            SKIP_ON_WINDOWS(
                "Wine keeps the name of a deleted file that is open, as Windows 7 does");
        Workbench::Preferences::memoryLimit.set(limit);
        TestWindow test;
        test.open(test.file("a.csv", table(100000)));
        // Also for the super-user, whom rights do not stop.
        QVERIFY(QFile::remove(test.path("a.csv")));
        QVERIFY(QDir().mkdir(test.path("a.csv")));

        QTRY_VERIFY(message(test).contains("cannot be read any more"));
        QString reason;
        test.onDialog([&](QWidget *dialog) {
            reason = qobject_cast<QMessageBox *>(dialog)->text();
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.press(Qt::Key_F5);
        QVERIFY2(reason.contains("a.csv"), qPrintable(reason));
        QCOMPARE(cell(test, 99999, 0), QString("99999")); // nothing is lost
    }

    void workbenchReachesWhatIsLeftOfAFileThatShrinks()
    {
        Workbench::Preferences::memoryLimit.set(1);
        TestWindow test;
        const int numRows = 100000;
        test.open(test.file("a.csv", table(numRows)));
        QVERIFY(!test.document().holdsContents());
        QFile file(test.path("a.csv"));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(100));

        test.press(Qt::Key_F, Qt::ControlModifier);
        TestWindow::enterInto(*test.window().findChild<QLineEdit *>("findLine"), "sample 7");
        QCOMPARE(cell(test, grid(test).currentIndex().row(), 2), QString("sample 7"));
        test.press(Qt::Key_F3); // which finds no other one
        QCOMPARE(cell(test, grid(test).currentIndex().row(), 2), QString("sample 7"));

        TestWindow::clickHeaders(grid(test), {0});
        const auto &pane = static_cast<const PlotPane &>(*test.window().tool("Plot"));
        test.press(Qt::Key_F9);
        QTRY_COMPARE(pane.statistics().columnCount(), 1);
        const int count = pane.statistics().item(0, 0)->data(Qt::UserRole).toInt();
        const int numHoles = pane.statistics().item(1, 0)->data(Qt::UserRole).toInt();
        QVERIFY2(count > 2 && count < 10, qPrintable(QString::number(count)));
        QCOMPARE(count + numHoles, numRows);

        auto *const filter = test.window().findChild<QLineEdit *>("filterLine");
        test.window().statusBar()->clearMessage();
        TestWindow::enterInto(*filter, "> 1");
        const QString told = test.window().statusBar()->currentMessage();
        QVERIFY2(told.contains("has become shorter"), qPrintable(told));
        QVERIFY(grid(test).model()->rowCount() > 0);
        QVERIFY(grid(test).model()->rowCount() < count);
        QCOMPARE(cell(test, 0, 0), QString("2"));
    }

    void workbenchTellsWhyAFileIsNotReadAgain_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("reason");

        for (const QString &kind : DocumentTest::kinds()) {
            const auto add = [&](const char *fault, const char *reason) {
                QTest::addRow("%s, %s", qPrintable(kind), fault) << kind << fault << reason;
            };
            add("deleted", "does not exist");
            add("a folder", "folder");
            add("a bad block", "Input/output error");
            add("a pipe", "a device or a pipe");
        }
    }

    void workbenchTellsWhyAFileIsNotReadAgain()
    {
        QFETCH(QString, kind);
        QFETCH(QString, fault);
        QFETCH(QString, reason);
        if (fault == "a bad block")
            SKIP_ON_WINDOWS("no read can be made to fail there");
        if (fault == "a pipe")
            SKIP_ON_WINDOWS("Windows has no pipes in folders");
        DocumentTest test;
        const QString path = test.openSample(kind);
        test.changeSample(kind, "125");
        std::unique_ptr<ReadFault> badBlock;
        if (fault == "a bad block")
            badBlock = std::make_unique<ReadFault>(path, 0);
        else
            QVERIFY(QFile::rename(path, path + ".old"));
        if (fault == "a folder")
            QVERIFY(QDir().mkdir(path));
        if (fault == "a pipe")
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);

        QStringList messages;
        test.onMessages({QMessageBox::Yes, QMessageBox::Ok}, messages);
        test.press(Qt::Key_F5);

        QCOMPARE(messages.size(), 2);
        QVERIFY2(messages.first().contains("Discard them"), qPrintable(messages.first()));
        QVERIFY2(messages.last().contains(path) && messages.last().contains(reason),
                 qPrintable(messages.last()));
        QCOMPARE(test.sampleValue(kind), QString("125")); // nothing is lost
        QVERIFY(test.document().isChanged());
        test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.sampleValue(kind), QString("100"));

        badBlock.reset();
        if (fault == "a folder")
            QVERIFY(QDir().rmdir(path));
        if (fault == "a pipe")
            QVERIFY(QFile::remove(path));
        if (fault != "a bad block")
            QVERIFY(QFile::rename(path + ".old", path));
        test.press(Qt::Key_F5);
        QCOMPARE(test.sampleValue(kind), QString("100"));
        QVERIFY(!test.document().isChanged());
    }

    void workbenchDoesNotWaitForTheReaderOfAPipe_data()
    {
        QTest::addColumn<QString>("kind");

        for (const QString &kind : DocumentTest::kinds())
            QTest::newRow(qPrintable(kind)) << kind;
    }

    void workbenchDoesNotWaitForTheReaderOfAPipe()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(QString, kind);
        DocumentTest test;
        const QString path = test.openSample(kind);
        test.changeSample(kind, "125");
        QVERIFY(QFile::remove(path));
        QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);

        QString reason;
        test.onMessage(QMessageBox::Ok, reason);
        test.press(Qt::Key_S, Qt::ControlModifier);

        QVERIFY2(reason.contains(path) && reason.contains("a device or a pipe"),
                 qPrintable(reason));
        QVERIFY(test.document().isChanged());
        QCOMPARE(test.sampleValue(kind), QString("125"));
    }

    void workbenchTellsWhyWhatIsDroppedIsNotOpened()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        TestWindow test;
        const QString pipe = test.path("pipe.dat");
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(QDir().mkdir(test.path("folder")));
        QMimeData files;
        files.setUrls({QUrl::fromLocalFile(pipe), QUrl("https://example.com/a.csv"),
                       QUrl::fromLocalFile(test.path("folder")),
                       QUrl::fromLocalFile(test.sample("bolts.csv"))});
        QDragEnterEvent enters(QPoint(9, 9), Qt::CopyAction, &files, Qt::LeftButton, {});
        QDropEvent drops(QPoint(9, 9), Qt::CopyAction, &files, Qt::LeftButton, {});

        QString message;
        test.onMessage(QMessageBox::Ok, message);
        QApplication::sendEvent(&test.window(), &enters);
        QApplication::sendEvent(&test.window(), &drops);

        const QStringList lines = message.split('\n');
        QVERIFY2(lines.size() == 2, qPrintable(message));
        QVERIFY2(lines.first().contains(pipe), qPrintable(message));
        QVERIFY2(lines.last().contains(test.path("folder")), qPrintable(message));
        QCOMPARE(test.document().path(), test.path("bolts.csv")); // the others are
    }

    void workbenchAsksBeforeBothChangesOfAFileAreMixed()
    {
        DocumentTest test;
        test.openSample("csv");
        test.changeSample("csv", "125");
        test.changeOnDisk("work/a.csv", "Time{s},Force{kN}\n0,99\n");
        QTRY_VERIFY(message(test).contains("If you reload it, your changes are lost"));

        QString question;
        test.onMessage(QMessageBox::No, question);
        QTest::mouseClick(test.reloadButton(), Qt::LeftButton);
        QVERIFY(question.contains("Discard them"));
        QCOMPARE(test.sampleValue("csv"), QString("125"));
        QVERIFY(test.document().isChanged());

        test.onMessage(QMessageBox::Yes, question);
        QTest::mouseClick(test.reloadButton(), Qt::LeftButton);
        QCOMPARE(test.sampleValue("csv"), QString("99"));
        QVERIFY(!test.document().isChanged());
    }

    void formatIsNotChangedWhenTheFileIsGone_data()
    {
        QTest::addColumn<bool>("isPipe");

        QTest::newRow("nothing is there") << false;
        QTest::newRow("a pipe is there") << true;
    }

    void formatIsNotChangedWhenTheFileIsGone()
    {
        QFETCH(bool, isPipe);
        if (isPipe)
            SKIP_ON_WINDOWS("Windows has no pipes in folders");
        DocumentTest test;
        const QString path = test.openSample("csv");
        QVERIFY(QFile::remove(path));
        if (isPipe)
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);

        QString summary;
        QStringList messages;
        test.onDialog([&](QWidget *dialog) {
            const auto labels = dialog->findChildren<QLabel *>();
            for (const QLabel *const label : labels) {
                if (label->wordWrap())
                    summary = label->text();
            }
            QCOMPARE(dialog->findChild<QTableWidget *>()->rowCount(), 0);
            test.onMessages({QMessageBox::Ok}, messages);
            QTest::keyClick(dialog, Qt::Key_Return);
            QVERIFY(dialog->isVisible());
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.choose("format");

        QVERIFY2(summary.contains("a.csv"), qPrintable(summary));
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages.first().contains(path), qPrintable(messages.first()));
        QCOMPARE(test.sampleValue("csv"), QString("100"));
    }

    void formatWithAnUnknownEncodingIsRefused()
    {
        DocumentTest test;
        test.openSample("csv");

        QStringList messages;
        test.onDialog([&](QWidget *dialog) {
            auto *const encodings = dialog->findChildren<QComboBox *>().at(1);
            TestWindow::typeInto(*encodings->lineEdit(), "UTF-9");
            QTRY_COMPARE(dialog->findChild<QTableWidget *>()->rowCount(), 0);
            test.onMessages({QMessageBox::Ok}, messages);
            QTest::keyClick(dialog, Qt::Key_Return);
            QVERIFY(dialog->isVisible());
            TestWindow::typeInto(*encodings->lineEdit(), "windows-1252");
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        test.choose("format");

        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages.first().contains("UTF-9"), qPrintable(messages.first()));
        QCOMPARE(test.sampleValue("csv"), QString("100"));
        QVERIFY(test.document().description().contains("windows-1252"));
    }

    void formatThatLosesChangesIsAskedFor()
    {
        DocumentTest test;
        test.openSample("csv");
        test.changeSample("csv", "125");

        QStringList messages;
        test.onDialog([&](QWidget *dialog) {
            test.onMessages({QMessageBox::No}, messages);
            QTest::keyClick(dialog, Qt::Key_Return);
            QVERIFY(dialog->isVisible());
            QCOMPARE(test.sampleValue("csv"), QString("125"));
            test.onMessages({QMessageBox::Yes}, messages);
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        test.choose("format");

        QCOMPARE(messages.size(), 2);
        QVERIFY2(messages.first().contains("Discard them"), qPrintable(messages.first()));
        QCOMPARE(test.sampleValue("csv"), QString("100"));
        QVERIFY(!test.document().isChanged());
    }

    void workbenchShowsARowOfManyColumns_data() { addStorages(); }

    void workbenchShowsARowOfManyColumns()
    {
        QFETCH(int, limit);
        Workbench::Preferences::memoryLimit.set(limit);
        const int numColumns = 1000000;
        QByteArray row;
        for (int col = 0; col < numColumns; ++col)
            row += QByteArray::number(col) + ',';
        row.chop(1);
        TestWindow test;
        const double start = processorTime();
        test.window().openFiles({test.file("wide.csv", row + '\n' + row + '\n')});
        QCOMPARE(grid(test).model()->columnCount(), numColumns);
        QCOMPARE(cell(test, 0, numColumns - 1), QString::number(numColumns - 1));

        QTest::keyClick(&grid(test), Qt::Key_End);
        QCOMPARE(grid(test).currentIndex().column(), numColumns - 1);
        QTest::keyClick(&grid(test), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(test.view<TableView>()->selectedColumns().size(), numColumns);
        const auto &pane = static_cast<const PlotPane &>(*test.window().tool("Plot"));
        QTRY_COMPARE(pane.statistics().columnCount(), 8);
        const double seconds = processorTime() - start;
        qInfo("%.1f s of processor time", seconds);
        // It was hours when columns were compared one with all others.
        QVERIFY2(seconds < 20.0, qPrintable(QString::number(seconds)));
    }

    void workbenchIsClosedInTheMiddleOfATask_data()
    {
        QTest::addColumn<QString>("task");

        for (const char *const task : {"read", "sort", "find", "filter", "plot"})
            QTest::newRow(task) << task;
    }

    void workbenchIsClosedInTheMiddleOfATask()
    {
        QFETCH(QString, task);
        TestWindow test;
        const QString path = test.file("a.csv", table(1000000));
        if (task != "read")
            test.open(path);
        const auto type = [&](const char *name, const QString &text) {
            TestWindow::enterInto(*test.window().findChild<QLineEdit *>(name), text);
        };
        bool isRunning = false;
        bool wasAsked = false;
        {
            // Shown from the start, as for a task of more than two seconds.
            Utils::Progress outer(10, "Working", /*cancelable=*/true);
            outer.show();
            QTimer::singleShot(0, &test.window(), [&] {
                wasAsked = isRunning;
                test.window().windowHandle()->close();
            });
            isRunning = true;
            if (task == "read") {
                test.window().openFiles({path});
            } else if (task == "sort") {
                TestWindow::clickCell(grid(test), grid(test).model()->index(0, 2));
                QTest::keyClick(&grid(test), Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier);
            } else if (task == "find") {
                type("findLine", "sample 7");
            } else if (task == "filter") {
                type("filterLine", "> 7");
            } else {
                TestWindow::clickHeaders(grid(test), {1}); // of zeros: each cell is looked at
                QTest::keyClick(&grid(test), Qt::Key_F9);
            }
            isRunning = false;
            outer.tick(10);
        }

        QVERIFY(wasAsked);
        QTRY_VERIFY(!test.window().isVisible());
        QVERIFY(!Utils::Progress::any());
        QVERIFY(!QApplication::activeModalWidget());
    }

    void workbenchIsNotClosedBehindADialog()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        test.onDialog([&](QWidget *dialog) {
            test.window().windowHandle()->close();
            QVERIFY(test.window().isVisible());
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        test.press(Qt::Key_G, Qt::ControlModifier);
        QVERIFY(test.window().isVisible());
        QVERIFY(test.view<TableView>());
    }

    void workbenchClosesWithItsDialogAtTheEndOfTheSession()
    {
        TestWindow test;
        test.open(test.sample("bolts.csv"));
        test.onDialog([](QWidget *) { QApplication::closeAllWindows(); });
        test.choose("format");
        QVERIFY(!test.window().isVisible());
        QVERIFY(!QApplication::activeModalWidget());
    }
};

QTEST_MAIN(tst_Workbench_faults)
#include "tst_Workbench_faults.moc"
