#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/Progress_p.h"
#include "utils/feedback/WaitCursor.h"

#include <QtTest>

#include <memory>

using Utils::Process;
using Utils::Progress;

class tst_Process_wait : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeHost> m_host;

    /// Lets the program, which waits for a line, end at the \p count-th report.
    void endAt(int count, const Process &process)
    {
        m_host->reaction = [count, &process](const QString &call) {
            if (call.startsWith(QString("setProgress(%1,").arg(count)))
                process.sendData("\n", 0);
        };
    }

    void cancelAt(int count)
    {
        m_host->reaction = [count](const QString &call) {
            if (call.startsWith(QString("setProgress(%1,").arg(count)))
                Progress::any()->cancel();
        };
    }

private Q_SLOTS:
    void init()
    {
        Utils::progressState = Utils::ProgressState();
        Utils::progressState.popupDelay = 0; // shown at the first report
        m_host.reset(new FakeHost);
        Utils::setApplication(m_host.get());
    }

    void cleanup()
    {
        Utils::setApplication(nullptr);
        QVERIFY(!Progress::any());
    }

    void tellsTheHost_data()
    {
        QTest::addColumn<bool>("showProgress");
        QTest::addColumn<Data::String>("message");
        QTest::addColumn<QStringList>("calls");

        QTest::newRow("a popup") << true << Data::String("Solve")
                                 << QStringList{
                                        "setProgressLabel(Solve, 1)", "showProgress(1, 1, 1)",
                                        "setProgressLabel(Solve, 1)", "setProgress(1, 0, 1)",
                                        "setProgress(2, 0, 1)",       "setProgressLabel(, 1)",
                                        "showProgress(0, 1, 1)"};
        QTest::newRow("no message") << true << Data::String()
                                    << QStringList{"setProgressLabel(Press Esc to cancel., 0)",
                                                   "showProgress(1, 1, 0)",
                                                   "setProgress(1, 0, 0)",
                                                   "setProgress(2, 0, 0)",
                                                   "setProgressLabel(, 0)",
                                                   "showProgress(0, 1, 0)"};
        QTest::newRow("without") << false << Data::String("Solve")
                                 << QStringList{
                                        "setProgressLabel(Solve, 0)", "showProgress(1, 0, 0)",
                                        "setProgress(1, 0, 0)",       "setProgress(2, 0, 0)",
                                        "setProgressLabel(, 0)",      "showProgress(0, 0, 0)"};
        QTest::newRow("without, no message")
            << false << Data::String()
            << QStringList{"showProgress(1, 0, 0)", "setProgress(1, 0, 0)", "setProgress(2, 0, 0)",
                           "setProgressLabel(, 0)", "showProgress(0, 0, 0)"};
    }

    void tellsTheHost()
    {
        QFETCH(bool, showProgress);
        QFETCH(Data::String, message);
        QFETCH(QStringList, calls);
        Process process("/bin/sh", shellArguments("read line; echo ended"));
        process.setMessage(message);
        QVERIFY(process.start());
        // At the second report the program may end. The wait after it notices that, unless the
        // machine is busy.
        endAt(2, process);

        QVERIFY(process.wait(showProgress));

        QCOMPARE(process.output(), Data::String("ended\n"));
        QStringList told = m_host->calls;
        for (const QString &call : qAsConst(m_host->calls)) {
            if (call.startsWith("setProgress(") && !calls.contains(call))
                told.removeOne(call);
        }
        QCOMPARE(told, calls);
    }

    void tellsNothingOfAProgramThatHasEnded()
    {
        Process process("/bin/sh", shellArguments("exit 3"));
        process.setMessage("Solve");
        QVERIFY(process.start());
        QVERIFY(waitForEnd(process));

        QVERIFY(process.wait(false));

        QCOMPARE(process.exitCode(), 3);
        QCOMPARE(m_host->calls.filter("setProgress(1"), QStringList("setProgress(1, 0, 0)"));
        QCOMPARE(m_host->calls.filter("setProgress(2"), QStringList());
    }

    void returnsAtOnceWhenNothingWasStarted()
    {
        Process process;
        QVERIFY(process.wait(true));
        QVERIFY(process.wait(false));
    }

    void waitsWithoutAHost()
    {
        Utils::setApplication(nullptr);
        Process process("/bin/sh", shellArguments("sleep 0.3; echo ended"));
        process.setMessage("Solve");
        QVERIFY(process.start());

        QVERIFY(process.wait(true));

        QCOMPARE(process.output(), Data::String("ended\n"));
    }

    void showsTheWaitCursor()
    {
        Process process("/bin/sh", shellArguments("read line"));
        QVERIFY(process.start());
        bool isShown = false;
        m_host->reaction = [&](const QString &call) {
            if (!call.startsWith("setProgress("))
                return;
            isShown = Utils::WaitCursor::activated();
            process.sendData("\n", 0);
        };

        QVERIFY(process.wait(false));

        QVERIFY(isShown);
        QVERIFY(!Utils::WaitCursor::activated());
    }

    void takesOutputWhileItWaits()
    {
        Process process("/bin/sh", shellArguments("echo a; read line; echo b"));
        QVERIFY(process.start());
        Data::String seen;
        m_host->reaction = [&](const QString &) {
            if (!seen.isEmpty())
                return;
            seen = process.recentOutput();
            if (!seen.isEmpty())
                process.sendData("\n", 0);
        };

        QVERIFY(process.wait(true));

        QCOMPARE(seen, Data::String("a\n"));
        QCOMPARE(process.output(), Data::String("a\nb\n"));
        QCOMPARE(process.recentOutput(), Data::String("b\n"));
    }

    // Cancelling

    void killsAsItsModeSays_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("hasMessage");
        QTest::addColumn<int>("left");

        QTest::newRow("default") << 0 << true << 0;
        QTest::newRow("default, no popup") << 0 << false << 0;
        QTest::newRow("single") << 1 << true << 1;
        QTest::newRow("tree") << 2 << true << 0;
    }

    void killsAsItsModeSays()
    {
        QFETCH(int, mode);
        QFETCH(bool, hasMessage);
        QFETCH(int, left);
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap '' TERM; sleep 60 & echo .; wait"));
        marked.mark(process);
        process.setKillMode(static_cast<Process::KillModes>(mode));
        process.setMessage(hasMessage ? "Solve" : "");
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(2));
        cancelAt(2);

        QVERIFY(!process.wait(true));

        QVERIFY(marked.waitFor(left));
        m_host->reaction = nullptr;
        QVERIFY(process.wait(true)); // notices the end
        QVERIFY(!process.isRunning());
        QVERIFY(!process.normalExit());
    }

    void isNotCancelledWithoutProgress()
    {
        Process process("/bin/sh", shellArguments("read line; echo ended"));
        QVERIFY(process.start());
        m_host->reaction = [&](const QString &call) {
            if (call.startsWith("setProgress(1,"))
                Progress::any()->cancel();
            if (call.startsWith("setProgress(3,"))
                process.sendData("\n", 0);
        };

        QVERIFY(process.wait(false));

        QCOMPARE(process.output(), Data::String("ended\n"));
    }

    void isCancelledAtTheFirstReport()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        cancelAt(1);

        QVERIFY(!process.wait(true));

        QCOMPARE(marked.ids(), QList<pid_t>());
        m_host->reaction = nullptr;
        QVERIFY(process.wait(true));
    }

    // With an object that deletes itself

    void endsWhenTheObjectHasDeletedItself()
    {
        auto *const process = new Process("/bin/sh", shellArguments("read line; echo ended"));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        process->setMessage("Solve");
        QVERIFY(process->start());
        endAt(1, *process);

        QVERIFY(process->wait(true));

        QVERIFY(!object);
    }

    void endsWhenTheHostHasLetTheObjectDeleteItself_data()
    {
        QTest::addColumn<QString>("at");

        QTest::newRow("in the first call") << "setProgressLabel(Solve";
        QTest::newRow("in a report") << "setProgress(1,";
        QTest::newRow("in a later report") << "setProgress(2,";
    }

    void endsWhenTheHostHasLetTheObjectDeleteItself()
    {
        QFETCH(QString, at);
        auto *const process = new Process("/bin/sh", shellArguments("read line; echo ended"));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        process->setMessage("Solve");
        QVERIFY(process->start());
        m_host->reaction = [&](const QString &call) {
            if (!object || !call.startsWith(at))
                return;
            process->sendData("\n", 0);
            QVERIFY(QTest::qWaitFor([&] { return !object; }, 60000)); // processes events
        };

        QVERIFY(process->wait(true));

        QVERIFY(!object);
    }

    void isCancelledWhenTheHostHasLetTheObjectDeleteItself()
    {
        auto *const process = new Process("/bin/sh", shellArguments("read line"));
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        QVERIFY(process->start());
        m_host->reaction = [&](const QString &call) {
            if (!object || !call.startsWith("setProgress(1,"))
                return;
            process->sendData("\n", 0);
            QVERIFY(QTest::qWaitFor([&] { return !object; }, 60000));
            Progress::any()->cancel();
        };

        QVERIFY(!process->wait(true));

        QVERIFY(!object);
    }

    void deletesItselfWhenItIsCancelled()
    {
        const MarkedProcesses marked;
        auto *const process = new Process("/bin/sleep", QStringList("60"));
        marked.mark(*process);
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        process->setMessage("Solve");
        QVERIFY(process->start());
        cancelAt(2);

        QVERIFY(!process->wait(true));

        QCOMPARE(marked.ids(), QList<pid_t>());
        QTRY_VERIFY_WITH_TIMEOUT(!object, 60000);
    }
};

QTEST_MAIN(tst_Process_wait)
#include "tst_Process_wait.moc"
