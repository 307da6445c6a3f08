#include "tests/workbench/TestWindow.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/output/OutputView.h"
#include "examples/workbench/process/ProcessPane.h"
#include "examples/workbench/table/TableView.h"
#include "tests/csv/FailingMemory.h"
#include "tests/support/ByteDisk.h"

#include <QDockWidget>
#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QScrollBar>
#include <QStatusBar>
#include <QTableView>
#include <QTextBlock>
#include <QToolButton>
#include <QUuid>

#include <cerrno>
#include <ctime>

using Workbench::OutputView;
using Workbench::ProcessPane;
using Workbench::ProcessRun;
using Workbench::TableView;
namespace Preferences = Workbench::Preferences;

static const SettingsHome home;

class tst_Workbench_processes : public QObject
{
    Q_OBJECT

private:
    const QByteArray m_mark = "WORKBENCH_TEST_MARK=" + QUuid::createUuid().toByteArray();

    static ProcessPane &pane(TestWindow &test)
    {
        return *qobject_cast<ProcessPane *>(test.window().tool("Processes"));
    }

    /// How many of the processes of the system have been started here, or by those that were.
    int numRunning() const
    {
        int count = 0;
        const QStringList folders = QDir("/proc").entryList(QDir::Dirs);
        for (const QString &folder : folders) {
            QFile environment("/proc/" + folder + "/environ");
            if (folder.toInt() > 0 && environment.open(QIODevice::ReadOnly) &&
                environment.readAll().split('\0').contains(m_mark))
                ++count;
        }
        return count;
    }

    static void type(TestWindow &test, const char *name, const QString &text)
    {
        auto *const field = pane(test).findChild<QLineEdit *>(name);
        QVERIFY(field);
        TestWindow::typeInto(*field, text);
        QCOMPARE(field->text(), text);
    }

    /// Shows the pane by the menu Window, and types what is to be run.
    static void enter(TestWindow &test, const QString &arguments, const QString &result = {},
                      const QString &log = {}, const QString &command = KELM_SOLVER)
    {
        auto *const dock = test.window().findChild<QDockWidget *>("Processes");
        if (!dock->isVisible())
            test.choose(dock->toggleViewAction());
        QTRY_VERIFY(pane(test).isVisible());
        type(test, "processCommand", command);
        type(test, "processArguments", arguments);
        type(test, "processFolder", QFileInfo(test.path("x")).path());
        type(test, "processResult", result);
        type(test, "processLog", log);
    }

    static QString state(TestWindow &test)
    {
        return pane(test).findChild<QLabel *>("processState")->text();
    }

    static bool isRunning(TestWindow &test)
    {
        return pane(test).run() && pane(test).run()->isRunning();
    }

    /// The lines in the view, all that are to be shown.
    static QStringList lines(TestWindow &test)
    {
        pane(test).output().flush();
        return pane(test).output().toPlainText().chopped(1).split('\n');
    }

    static QColor colourOf(TestWindow &test, const QString &line)
    {
        const QTextCursor found = pane(test).output().document()->find(line);
        return found.isNull() ? QColor() : found.charFormat().foreground().color();
    }

    static QPushButton &cancelButton(TestWindow &test)
    {
        return *pane(test).findChild<QWidget *>("processProgress")->findChild<QPushButton *>();
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QList<QByteArray> parts = m_mark.split('=');
        qputenv(parts.at(0), parts.at(1)); // the processes inherit it
    }

    void init()
    {
        QSettings().clear();
        Workbench::setLanguage("en"); // the catalogue is set up once in a process
    }

    void cleanup() { QTRY_COMPARE(numRunning(), 0); }

    void processesRunASolverAndOpenItsResult()
    {
        TestWindow test;
        enter(test, "--seconds 1 --output rod.csv", "rod.csv", "solver.log");
        QList<int> shown;
        const QWidget *const display = pane(test).findChild<QWidget *>("processProgress");
        connect(display->findChild<QProgressBar *>(), &QProgressBar::valueChanged, this,
                [&](int value) { shown.append(value); });
        const auto *const ordinary = test.window().statusBar()->findChild<QWidget *>("progress");

        test.press(Qt::Key_F12);
        QVERIFY(isRunning(test));
        QTRY_VERIFY(display->isVisible());
        QTRY_VERIFY(ordinary->isVisible());
        QVERIFY(!test.command("startProcess")->isEnabled());
        QTRY_VERIFY(test.view<TableView>());

        QVERIFY(!ordinary->isVisible());
        QVERIFY(!display->isVisible());
        QVERIFY2(shown.size() > 10 && shown.contains(500) && shown.last() == 1000, // thousandths
                 qPrintable(QString::number(shown.size())));
        QVERIFY(lines(test).contains("10 %"));
        QVERIFY2(lines(test).first().contains("--output rod.csv"), qPrintable(lines(test).first()));
        QVERIFY2(state(test).startsWith("Ended with exit code 0"), qPrintable(state(test)));
        QVERIFY(contentsOf(test.path("solver.log")).endsWith("95 %\n100 %\n"));
        QCOMPARE(test.view<TableView>()->grid().model()->rowCount(), 101);
        QCOMPARE(test.document().path(), test.path("rod.csv"));
    }

    void processesTakeFilesOfADialog()
    {
        TestWindow test;
        enter(test, "--seconds 0.1 --output rod.csv", {}, {}, "none");
        QVERIFY(QDir().mkdir(test.path("run")));
        QList<QToolButton *> buttons;
        for (QToolButton *const each : pane(test).findChildren<QToolButton *>()) {
            if (!each->defaultAction() && each->isVisible())
                buttons.append(each);
        }
        const QStringList paths{KELM_SOLVER, test.path("run"), test.path("run/rod.csv"),
                                test.path("run/rod.log")};
        QCOMPARE(buttons.size(), paths.size());
        for (int i = 0; i < paths.size(); ++i) {
            test.answerFileDialog(paths.at(i));
            QTest::mouseClick(buttons.at(i), Qt::LeftButton);
        }

        test.press(Qt::Key_F12);
        QTRY_VERIFY(test.view<TableView>());
        QCOMPARE(test.document().path(), test.path("run/rod.csv"));
        QVERIFY(contentsOf(test.path("run/rod.log")).endsWith("100 %\n"));

        // A dialog that is left keeps what there is.
        test.onDialog([](QWidget *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
        QTest::mouseClick(buttons.constFirst(), Qt::LeftButton);
        QCOMPARE(pane(test).findChild<QLineEdit *>("processCommand")->text(), QString(KELM_SOLVER));
        test.choose("clearLines");
        QCOMPARE(pane(test).output().toPlainText(), QString());
    }

    void processesTellHowASolverFails()
    {
        TestWindow test;
        test.file("old.csv", "a,b\n1,2\n");
        enter(test, "--seconds 0.2 --fail", "old.csv");
        test.press(Qt::Key_Return); // in a field of the form
        QTRY_VERIFY(pane(test).run() && !isRunning(test));

        QVERIFY2(state(test).startsWith("Ended with exit code 3"), qPrintable(state(test)));
        QVERIFY(lines(test).contains("solver: the solution does not converge"));
        QVERIFY(!lines(test).contains("55 %"));
        QVERIFY(colourOf(test, "solver: the solution") != colourOf(test, "50 %"));
        QTest::qWait(100);
        QVERIFY(!test.view<TableView>()); // that of an earlier run is not opened
        QVERIFY(Workbench::setLanguage("de"));
        QTRY_VERIFY2(state(test).contains("mit Code 3 beendet"), qPrintable(state(test)));
    }

    void processesTellThatAResultIsMissing()
    {
        TestWindow test;
        enter(test, "--seconds 0.1", "old.csv");
        test.press(Qt::Key_F12);
        QTRY_VERIFY(!isRunning(test));
        QVERIFY2(state(test).contains("has not written " + test.path("old.csv")),
                 qPrintable(state(test)));
        QVERIFY(!test.view<TableView>());
    }

    void processesTellWhyNothingIsStarted_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("reason");

        QTest::newRow("program") << "processCommand"
                                 << "/no/such/solver"
                                 << "No such file";
        QTest::newRow("no program") << "processCommand"
                                    << ""
                                    << "No program defined";
        QTest::newRow("folder") << "processFolder"
                                << "/no/such/folder"
                                << "/no/such/folder";
        QTest::newRow("log") << "processLog"
                             << "/no/such/folder/a.log"
                             << "No such file";
    }

    void processesTellWhyNothingIsStarted()
    {
        QFETCH(QString, field);
        QFETCH(QString, text);
        QFETCH(QString, reason);
        TestWindow test;
        enter(test, "--seconds 30");
        type(test, field.toUtf8().constData(), text);
        test.press(Qt::Key_F12);

        QVERIFY2(state(test).contains(reason), qPrintable(state(test)));
        QVERIFY(!isRunning(test));
        QVERIFY(test.command("startProcess")->isEnabled());
    }

    void processesTellThatTheirLogIsNotComplete()
    {
        TestWindow test;
        enter(test, "--seconds 0.2", {}, "solver.log");
        const ByteDisk disk(QFileInfo(test.path("x")).path(), 20);
        test.press(Qt::Key_F12);
        QTRY_VERIFY(pane(test).run() && !isRunning(test));

        QVERIFY2(state(test).startsWith("Ended with exit code 0"), qPrintable(state(test)));
        QVERIFY2(state(test).contains("solver.log") && state(test).contains("No space left"),
                 qPrintable(state(test)));
        QCOMPARE(QFileInfo(test.path("solver.log")).size(), qint64(20));
        QVERIFY(lines(test).contains("100 %")); // all of it is shown
    }

    void processesTellThatTheirOutputIsNotComplete()
    {
        TestWindow test;
        const QString script =
            "echo first; head -c 10000000 /dev/zero | tr '\\0' x; echo; echo last";
        enter(test, "-c \"" + script + '"', {}, "solver.log", "/bin/sh");
        FailingMemory memory(6 << 20, FailingMemory::Larger); // the line needs more
        test.press(Qt::Key_F12);
        QTRY_VERIFY_WITH_TIMEOUT(pane(test).run() && !isRunning(test), 60000);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY2(state(test).startsWith("Ended with exit code 0"), qPrintable(state(test)));
        const QString problem = "The end of the output is missing: " + qt_error_string(ENOMEM);
        QVERIFY2(state(test).endsWith(problem), qPrintable(state(test)));
        QVERIFY(lines(test).contains("first"));
        QVERIFY(!lines(test).contains("last"));
        QVERIFY(contentsOf(test.path("solver.log")).endsWith("xxx"));

        type(test, "processArguments", "-c true");
        test.press(Qt::Key_F12);
        QTRY_VERIFY(!isRunning(test));
        QVERIFY2(!state(test).contains("missing"), qPrintable(state(test)));
    }

    void processesTellThatAResultIsGone()
    {
        TestWindow test;
        enter(test, "--seconds 0.1 --output rod.csv", "rod.csv");
        test.press(Qt::Key_F12);
        QTRY_VERIFY(test.view<TableView>());
        test.press(Qt::Key_W, Qt::ControlModifier);
        QVERIFY(QFile::remove(test.path("rod.csv")));

        QString message;
        test.onMessage(QMessageBox::Ok, message);
        test.press(Qt::Key_F12, Qt::ControlModifier);
        QVERIFY2(message.contains(test.path("rod.csv")), qPrintable(message));
        QVERIFY(!test.view<TableView>());
    }

    void processesOpenTheirResultBehindADialog()
    {
        TestWindow test;
        test.open(test.file("a.csv", "a,b\n1,2\n3,4\n5,6\n"));
        enter(test, "--seconds 0.5 --output rod.csv", "rod.csv");
        test.press(Qt::Key_F12);
        QVERIFY(isRunning(test));

        QPointer<TableView> table = test.view<TableView>();
        test.onDialog([&](QWidget *dialog) {
            QTRY_COMPARE(test.document().path(), test.path("rod.csv"));
            QVERIFY(dialog->isVisible());
            QTest::keyClicks(QApplication::focusWidget(), "3");
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        });
        table->grid().setFocus();
        test.press(Qt::Key_G, Qt::ControlModifier);

        QCOMPARE(table->grid().currentIndex().row(), 2); // it was that of the other table
        QCOMPARE(test.view<TableView>()->grid().currentIndex().row(), 0);
    }

    void processesEndATreeThatDoesNotWantTo()
    {
        TestWindow test;
        QVERIFY(Preferences::stopTime.set(1));
        enter(test, "--seconds 60 --stubborn --children 2");
        test.press(Qt::Key_F12);
        QTRY_VERIFY(lines(test).contains("2 children started"));
        QTRY_COMPARE(numRunning(), 3);

        QTest::mouseClick(&cancelButton(test), Qt::LeftButton);
        QCOMPARE(numRunning(), 0);
        QVERIFY2(state(test).startsWith("Cancelled after"), qPrintable(state(test)));
        QVERIFY(!cancelButton(test).isVisible());
    }

    void processesEndByEsc()
    {
        TestWindow test;
        QVERIFY(Preferences::stopTime.set(30)); // until it would be killed
        enter(test, "--seconds 60 --children 1");
        test.press(Qt::Key_F12);
        QTRY_COMPARE(numRunning(), 2);
        QElapsedTimer time;
        time.start();
        test.press(Qt::Key_Escape);
        QVERIFY(!isRunning(test));
        QVERIFY2(time.elapsed() < 20000, qPrintable(QString::number(time.elapsed()))); // asked
        QCOMPARE(numRunning(), 0);
    }

    void processesStaySmoothInAFlood()
    {
        TestWindow test;
        QVERIFY(Preferences::outputLines.set(2000));
        enter(test, "--flood -1");
        test.press(Qt::Key_F12);
        QTRY_VERIFY(pane(test).output().numLeftOut() > 0);

        const OutputView &output = pane(test).output();
        // Processor time: other programs may compute, too.
        std::clock_t longest = 0;
        std::clock_t before = std::clock();
        QElapsedTimer total;
        total.start();
        bool isTold = false;
        while (total.elapsed() < 2000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
            longest = qMax(longest, std::clock() - before);
            isTold = isTold || !output.document()->find(" lines left out").isNull();
            before = std::clock();
        }
        const double pause = 1000.0 * double(longest) / CLOCKS_PER_SEC;
        qInfo("%lld lines were left out in %lld ms; the longest pause was %.0f ms",
              static_cast<long long>(output.numLeftOut()), static_cast<long long>(total.elapsed()),
              pause);
        QVERIFY(isTold);
        QVERIFY2(pause < 200, qPrintable(QString::number(pause))); // also with sanitizers
        QVERIFY(output.blockCount() <= 2000);
        const QScrollBar *const bar = output.verticalScrollBar();
        QTRY_COMPARE(bar->value(), bar->maximum());

        // What the user looks at stays, as far as it is kept.
        test.window().activateWindow();
        pane(test).output().setFocus();
        QTest::keyClick(&pane(test).output(), Qt::Key_Home, Qt::ControlModifier);
        QTest::qWait(200);
        QVERIFY(bar->value() < bar->maximum() / 2);
        QTest::keyClick(&pane(test).output(), Qt::Key_End, Qt::ControlModifier);
        QTest::qWait(200);
        QTRY_COMPARE(bar->value(), bar->maximum());

        test.press(Qt::Key_F12, Qt::ShiftModifier);
        QVERIFY(!isRunning(test));
        QVERIFY(lines(test).last().startsWith("Cancelled"));
        QVERIFY(output.blockCount() <= 2000);
    }

    void processesAreEndedBeforeTheWindowIs_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<int>("count");

        QTest::newRow("with a child") << "--seconds 60 --children 1" << 2;
        QTest::newRow("in a flood") << "--flood -1" << 1;
    }

    void processesAreEndedBeforeTheWindowIs()
    {
        QFETCH(QString, arguments);
        QFETCH(int, count);
        TestWindow test;
        enter(test, arguments);
        test.press(Qt::Key_F12);
        QTRY_COMPARE(numRunning(), count);

        test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::No); });
        test.press(Qt::Key_Q, Qt::ControlModifier);
        QVERIFY(test.window().isVisible());
        QCOMPARE(numRunning(), count);

        test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Yes); });
        test.press(Qt::Key_Q, Qt::ControlModifier);
        QVERIFY(!test.window().isVisible());
        QCOMPARE(numRunning(), 0);
    }

    void processesEndWithTheProgram()
    {
        TestWindow test;
        enter(test, "--seconds 60 --stubborn --children 2");
        test.press(Qt::Key_F12);
        QTRY_COMPARE(numRunning(), 3);
        test.restart(); // without closing the window
        QCOMPARE(numRunning(), 0);
    }

    void processesKeepWhatWasEntered()
    {
        TestWindow test;
        enter(test, "--seconds 7 \"a b\"", "a.csv", "b.log");
        test.press(Qt::Key_Q, Qt::ControlModifier);
        test.restart();
        const auto textOf = [&](const char *name) {
            return pane(test).findChild<QLineEdit *>(name)->text();
        };
        QCOMPARE(textOf("processCommand"), QString(KELM_SOLVER));
        QCOMPARE(textOf("processArguments"), QString("--seconds 7 \"a b\""));
        QCOMPARE(textOf("processResult"), QString("a.csv"));
        QCOMPARE(textOf("processLog"), QString("b.log"));
        QVERIFY(pane(test).isVisible()); // as the layout was
    }
};

QTEST_MAIN(tst_Workbench_processes)
#include "tst_Workbench_processes.moc"
