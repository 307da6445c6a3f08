#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Limits.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/Progress_p.h"
#include "utils/files/File.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <memory>

#include <unistd.h>

using OwnNamespace::AsOrdinaryUser;
using Utils::File;
using Utils::Process;
using Utils::Progress;

Q_DECLARE_METATYPE(Utils::Process::RunResult)
Q_DECLARE_METATYPE(Utils::Process::StopRequest)

/// Ignores the request to end, and keeps starting others.
static const char stubborn[] = "trap '' TERM; echo .; while :; do sleep 60 & sleep 0.01; done";

/// Programs that are run and stopped, in a PID namespace of their own.
class tst_Process_run : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        QCOMPARE(getpid(), 1);
    }

    void init() { File::exists("/"); } // clears the reason

    // Running

    void runsAProgramToItsEnd_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("isNormal");

        QTest::newRow("well") << QByteArray("echo a") << -1 << 0 << true;
        QTest::newRow("in time") << QByteArray("echo a") << 60000 << 0 << true;
        QTest::newRow("slowly") << QByteArray("sleep 0.3; echo a") << -7 << 0 << true;
        QTest::newRow("with a code") << QByteArray("echo a; exit 42") << 60000 << 42 << true;
        QTest::newRow("by a signal") << QByteArray("echo a; kill -9 $$") << -1 << 9 << false;
        QTest::newRow("without its output")
            << QByteArray("echo a; exec >&- 2>&-; sleep 0.1; exit 3") << -1 << 3 << true;
        QTest::newRow("before its descendant")
            << QByteArray("echo a; sleep 20 & exit 4") << 60000 << 4 << true;
    }

    void runsAProgramToItsEnd()
    {
        QFETCH(QByteArray, script);
        QFETCH(int, timeout);
        QFETCH(int, exitCode);
        QFETCH(bool, isNormal);
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments(script));
        marked.mark(process);

        QCOMPARE(process.run(timeout), Process::RunFinished);

        QCOMPARE(process.output(), Data::String("a\n"));
        QCOMPARE(process.exitCode(), exitCode);
        QCOMPARE(process.normalExit(), isNormal);
        QVERIFY(!process.isRunning());
        QCOMPARE(File::lastError(), Data::String());
    }

    void tellsWhyAProgramIsNotStarted()
    {
        Process process("/missing", QStringList("x"));

        QCOMPARE(process.run(), Process::RunNotStarted);

        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.processstart"));
        QCOMPARE(process.errorMessage(), Data::String("execvp: No such file or directory"));
        process.setCommand("/bin/true");
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE(File::lastError(), Data::String());
    }

    void leavesAProgramAloneThatIsRunning()
    {
        Process process("/bin/sh", shellArguments("echo a; read line; echo b"));
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "a\n"));
        const qint64 pid = process.getPID();

        QCOMPARE(process.run(0), Process::RunNotStarted);

        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.processrun"));
        QCOMPARE(process.getPID(), pid);
        QCOMPARE(process.output(), Data::String("a\n"));
        QVERIFY(process.sendData("\n", 0));
        QVERIFY(process.wait(false));
        QCOMPARE(process.output(), Data::String("a\nb\n"));
    }

    void stopsAProgramAfterItsTime_data()
    {
        QTest::addColumn<int>("timeout");

        QTest::newRow("none") << 0;
        QTest::newRow("some") << 200;
    }

    void stopsAProgramAfterItsTime()
    {
        QFETCH(int, timeout);
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QElapsedTimer timer;
        timer.start();

        QCOMPARE(process.run(timeout), Process::RunTimedOut);

        QVERIFY(timer.elapsed() >= timeout);
        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.processtime"));
        QVERIFY(!process.isRunning());
        QVERIFY(!process.normalExit());
        QCOMPARE(process.exitCode(), SIGTERM);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void reportsNoProgress()
    {
        FakeHost host;
        Utils::setApplication(&host);
        const auto reset = qScopeGuard([] { Utils::setApplication(nullptr); });
        bool isCalled = false;
        QTimer::singleShot(0, this, [&] { isCalled = true; });
        Process process("/bin/sh", shellArguments("sleep 0.3"));
        process.setMessage("Solve");

        QCOMPARE(process.run(), Process::RunFinished);

        QCOMPARE(host.calls, QStringList());
        QVERIFY(!isCalled); // no events
        QCoreApplication::processEvents();
        QVERIFY(isCalled);
    }

    void deletesItselfWhenItHasRun_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<Process::RunResult>("result");

        QTest::newRow("to its end") << QByteArray("sleep 0.1") << Process::RunFinished;
        QTest::newRow("for its time") << QByteArray("sleep 60") << Process::RunTimedOut;
    }

    void deletesItselfWhenItHasRun()
    {
        QFETCH(QByteArray, script);
        QFETCH(Process::RunResult, result);
        const MarkedProcesses marked;
        auto *const process = new Process("/bin/sh", shellArguments(script));
        marked.mark(*process);
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();

        QCOMPARE(process->run(1000), result);

        QVERIFY(!object);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void signalsNothingWhenNoProcessCanBeMade()
    {
        const AsOrdinaryUser user;
        QVERIFY(user.isDone());
        const MarkedProcesses marked;
        Process bystander("/bin/sleep", QStringList("60"));
        marked.mark(bystander);
        QVERIFY(bystander.start());
        {
            const Limit limit(RLIMIT_NPROC, 0);
            Process process("/bin/sleep", QStringList("60"));
            process.setStopPolicy(10, Process::AskTree);

            QCOMPARE(process.run(0), Process::RunNotStarted);
            QVERIFY(process.stop());
            QCOMPARE(process.getPID(), qint64(0));
        }
        QVERIFY(!qProcess(bystander)->waitForFinished(200));
        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(bystander.getPID())});
        QVERIFY(bystander.stop());
    }

    // Stopping

    void hasNothingToStop()
    {
        Process process("/bin/true");

        QVERIFY(process.stop());
        QCOMPARE(process.run(), Process::RunFinished);
        QVERIFY(process.stop());
        QVERIFY(process.normalExit());
    }

    void noticesTheEndOfAProgramWhenItIsStopped()
    {
        Process process("/bin/sh", shellArguments("echo a; exit 5"));
        QVERIFY(process.start());
        const QString path = QString("/proc/%1").arg(process.getPID());
        for (int i = 0; i < 60000 && QFile::exists(path); ++i)
            QThread::msleep(1); // without events
        QVERIFY(!QFile::exists(path));
        QVERIFY(process.isRunning());

        QVERIFY(process.stop());

        QVERIFY(process.normalExit());
        QCOMPARE(process.exitCode(), 5);
        QCOMPARE(process.output(), Data::String("a\n"));
    }

    void readsTheOutputOfAProgramThatEnds()
    {
        // More than a pipe holds: it ends only when this is read.
        Process process(
            "/bin/sh",
            shellArguments("trap 'yes 12345678 | head -n 100000; echo last; exit 7' TERM\n"
                           "echo first; while :; do sleep 0.01; done"));
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "first\n"));
        process.setStopPolicy(60000);

        QVERIFY(process.stop());

        QVERIFY(process.normalExit());
        QCOMPARE(process.exitCode(), 7);
        QCOMPARE(process.output().size(), 6 + 9 * 100000 + 5);
        QVERIFY(process.output().endsWith("last\n"));
    }

    void killsWhatIgnoresTheRequest_data()
    {
        QTest::addColumn<int>("time");
        QTest::addColumn<Process::StopRequest>("request");

        QTest::newRow("the program is asked") << 300 << Process::AskProgram;
        QTest::newRow("all are asked") << 300 << Process::AskTree;
        QTest::newRow("none is asked") << 0 << Process::AskProgram;
    }

    void killsWhatIgnoresTheRequest()
    {
        QFETCH(int, time);
        QFETCH(Process::StopRequest, request);
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments(stubborn));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitForAtLeast(5));
        process.setStopPolicy(time, request);
        QElapsedTimer timer;
        timer.start();

        QVERIFY(process.stop());

        QVERIFY(timer.elapsed() >= time);
        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(!process.isRunning());
        QCOMPARE(process.exitCode(), SIGKILL);
    }

    void isNotStoppedAgainWhileItIsStopped()
    {
        const QTemporaryDir folder;
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap 'echo late; while [ ! -e go ]; do "
                                                  "sleep 0.01; done; exit 5' TERM\n"
                                                  "echo early; while :; do sleep 0.01; done"));
        marked.mark(process);
        process.setWorkingDirectory(folder.path());
        process.setStopPolicy(60000);
        bool isReady = false;
        bool isStopped = true;
        process.onLine([&](const Data::String &line, Process::Channel) {
            isReady = true;
            if (line != "late")
                return;
            isStopped = process.stop();
            QVERIFY(QFile(folder.filePath("go")).open(QIODevice::WriteOnly));
        });

        QVERIFY(process.start());
        QTRY_VERIFY_WITH_TIMEOUT(isReady, 60000);
        QVERIFY(process.stop());

        QVERIFY(!isStopped);
        QCOMPARE(process.exitCode(), 5);
    }

    void stopsWhatDoesNotEndInTime()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments(stubborn));
        marked.mark(process);
        process.setStopPolicy(100);

        const int time = isRunByQemu() ? 5000 : 300; // enough for the shell to be stubborn
        QCOMPARE(process.run(time), Process::RunTimedOut);

        QCOMPARE(marked.ids(), QList<pid_t>());
        QCOMPARE(process.exitCode(), SIGKILL);
        QCOMPARE(process.output(), Data::String(".\n"));
    }

    void asksTheProgramOrAll_data()
    {
        QTest::addColumn<Process::StopRequest>("request");
        QTest::addColumn<bool>("isChildAsked");

        QTest::newRow("the program") << Process::AskProgram << false;
        QTest::newRow("all") << Process::AskTree << true;
    }

    void asksTheProgramOrAll()
    {
        QFETCH(Process::StopRequest, request);
        QFETCH(bool, isChildAsked);
        const QTemporaryDir folder;
        const MarkedProcesses marked;
        // The program waits for its child, which notes by which signal it was asked.
        Process process("/bin/sh",
                        shellArguments("trap 'isAsked=1' TERM\n"
                                       "sh -c 'trap \": >asked; exit\" TERM; trap \"exit\" USR1\n"
                                       "    echo .; while :; do sleep 0.01; done' &\n"
                                       "while [ -z \"$isAsked\" ]; do sleep 0.01; done\n"
                                       "sleep 0.2; kill -USR1 $! 2>/dev/null; wait $!; exit 5"));
        process.setWorkingDirectory(folder.path());
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        process.setStopPolicy(60000, request);

        QVERIFY(process.stop());

        QVERIFY(process.normalExit());
        QCOMPARE(process.exitCode(), 5);
        QCOMPARE(QFile::exists(folder.filePath("asked")), isChildAsked);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    /// The program ends at once. Its child is still known, and may end in order.
    void asksWhatItsProgramLeaves()
    {
        const QTemporaryDir folder;
        const MarkedProcesses marked;
        Process process(
            "/bin/sh",
            shellArguments("sh -c 'trap \"sleep 0.2; : >asked; exit\" TERM\n"
                           "    echo .; exec 2>/dev/null; while :; do sleep 0.01; done' & wait"));
        process.setWorkingDirectory(folder.path());
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        process.setStopPolicy(60000);
        QElapsedTimer timer;
        timer.start();

        QVERIFY(process.stop());

        QVERIFY(timer.elapsed() < 50000);
        QCOMPARE(process.exitCode(), SIGTERM);
        QVERIFY(QFile::exists(folder.filePath("asked")));
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void killsWhatItsProgramLeaves()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("sh -c 'trap \"\" TERM; sleep 60 & sleep 60 &\n"
                                                  "    echo .; wait' & wait"));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(4));
        process.setStopPolicy(300);

        QVERIFY(process.stop());

        QCOMPARE(process.exitCode(), SIGTERM);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void findsWhatIsStartedAfterTheRequest()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap 'sleep 60 & sleep 0.5; exit 5' TERM\n"
                                                  "echo .; while :; do sleep 0.01; done"));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        process.setStopPolicy(60000);
        QElapsedTimer timer;
        timer.start();

        QVERIFY(process.stop());

        QVERIFY(timer.elapsed() < 50000);
        QCOMPARE(process.exitCode(), 5);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    void stopsItsProgramOnly()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap '' TERM; sleep 60 & echo .; wait"));
        marked.mark(process);
        process.setKillMode(Process::KillSingle);
        process.setStopPolicy(100, Process::AskTree);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(2));

        QVERIFY(process.stop());

        QCOMPARE(process.exitCode(), SIGKILL);
        QCOMPARE(marked.ids().size(), 1);
    }

    void endsAProgramThatIsStopped()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        QCOMPARE(::kill(static_cast<pid_t>(process.getPID()), SIGSTOP), 0);
        QVERIFY(waitForStateOf(process, 'T'));
        process.setStopPolicy(60000);

        QVERIFY(process.stop());

        QCOMPARE(process.exitCode(), SIGTERM);
    }

    void deletesItselfWhenItIsStopped()
    {
        const MarkedProcesses marked;
        auto *const process = new Process("/bin/sh", shellArguments("sleep 60 & echo .; wait"));
        marked.mark(*process);
        const QPointer<QObject> object = process->object();
        process->deleteWhenFinished();
        QVERIFY(process->start());
        QVERIFY(waitForOutput(*process, ".\n"));

        QVERIFY(process->stop());

        QVERIFY(!object);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    // With a cancelled wait

    void isCancelledByItsPolicy_data()
    {
        QTest::addColumn<int>("time"); // of the policy, in ms
        QTest::addColumn<bool>("isReset");
        QTest::addColumn<int>("exitCode");

        QTest::newRow("none") << -1 << false << SIGKILL;
        QTest::newRow("asked") << 60000 << false << 5;
        QTest::newRow("killed") << 0 << false << SIGKILL;
        QTest::newRow("none again") << 60000 << true << SIGKILL;
    }

    void isCancelledByItsPolicy()
    {
        QFETCH(int, time);
        QFETCH(bool, isReset);
        QFETCH(int, exitCode);
        Utils::progressState.popupDelay = 0; // shown at the first report
        FakeHost host;
        Utils::setApplication(&host);
        const auto reset = qScopeGuard([] { Utils::setApplication(nullptr); });
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap 'exit 5' TERM; echo .\n"
                                                  "while :; do sleep 0.01; done"));
        marked.mark(process);
        process.setStopPolicy(time);
        if (isReset)
            process.setStopPolicy(-1);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        host.reaction = [](const QString &call) {
            if (call.startsWith("setProgress("))
                Progress::any()->cancel();
        };

        QVERIFY(!process.wait(true));

        host.reaction = nullptr;
        QVERIFY(process.wait(true)); // notices the end if it was killed
        QCOMPARE(process.exitCode(), exitCode);
        QVERIFY(marked.waitFor(0));
    }

private:
    static bool waitForStateOf(const Process &process, char state)
    {
        // Without events, which would let the process notice its end.
        for (int i = 0; i < 60000; ++i) {
            QFile file(QString("/proc/%1/stat").arg(process.getPID()));
            if (file.open(QIODevice::ReadOnly) && file.readAll().contains(QByteArray(") ") + state))
                return true;
            QThread::msleep(1);
        }
        return false;
    }
};

OWN_NAMESPACE_MAIN(tst_Process_run)
#include "tst_Process_run.moc"
