// Files that change, vanish or are unusual, and windows that are closed in the middle of a task.

#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "utils/feedback/Progress.h"

#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QWindow>

#include <ctime>

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
        Workbench::Preferences::memoryLimit.set(limit);
        TestWindow test;
        test.open(test.file("a.csv", table(100000)));
        QVERIFY(QFile::remove(test.path("a.csv")));

        QTRY_VERIFY(message(test).contains("deleted or moved"));
        QCOMPARE(message(test).contains("Save it"), limit > 1);
        QCOMPARE(cell(test, 99999, 0), QString("99999"));

        test.file("a.csv", table(100000)); // it comes back
        QTRY_VERIFY(!message(test).contains("deleted"));
    }

    void workbenchTellsThatAFileIsUnreadable_data() { addStorages(); }

    void workbenchTellsThatAFileIsUnreadable()
    {
        QFETCH(int, limit);
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
        const std::clock_t start = std::clock();
        test.window().openFiles({test.file("wide.csv", row + '\n' + row + '\n')});
        QCOMPARE(grid(test).model()->columnCount(), numColumns);
        QCOMPARE(cell(test, 0, numColumns - 1), QString::number(numColumns - 1));

        QTest::keyClick(&grid(test), Qt::Key_End);
        QCOMPARE(grid(test).currentIndex().column(), numColumns - 1);
        QTest::keyClick(&grid(test), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(test.view<TableView>()->selectedColumns().size(), numColumns);
        const auto &pane = static_cast<const PlotPane &>(*test.window().tool("Plot"));
        QTRY_COMPARE(pane.statistics().columnCount(), 8);
        const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
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
            auto *const line = test.window().findChild<QLineEdit *>(name);
            line->setText(text);
            QTest::keyClick(line, Qt::Key_Return);
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
                grid(test).setCurrentIndex(grid(test).model()->index(0, 2));
                test.command("sortAscending")->trigger();
            } else if (task == "find") {
                type("findLine", "sample 7");
            } else if (task == "filter") {
                type("filterLine", "> 7");
            } else {
                grid(test).selectColumn(1); // of zeros: each cell is looked at
                test.command("plotSelection")->trigger();
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
        test.command("format")->trigger();
        QVERIFY(!test.window().isVisible());
        QVERIFY(!QApplication::activeModalWidget());
    }
};

QTEST_MAIN(tst_Workbench_faults)
#include "tst_Workbench_faults.moc"
