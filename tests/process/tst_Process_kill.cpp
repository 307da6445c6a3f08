#include "utils/process/Process.h"

#include "tests/process/MarkedProcesses.h"
#include "tests/process/Shell.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"

#include <QtTest>

#include <limits>

#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

using Utils::Process;

Q_DECLARE_METATYPE(Utils::Process::KillModes)

class tst_Process_kill : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesAllThatTheChildHasStarted_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<int>("count");

        // Each process prints a dot when it is ready. Those that ignore signals do so by then.
        QTest::newRow("a child alone") << QByteArray("echo .; while :; do sleep 60; done") << 1;
        QTest::newRow("children that ignore the signal to end")
            << QByteArray("trap '' TERM HUP INT; sleep 60 & sleep 60 & echo ..; wait") << 3;
        QTest::newRow("three levels that ignore it")
            << QByteArray("trap '' TERM HUP INT\n"
                          "(trap '' TERM HUP INT; (trap '' TERM HUP INT; sleep 60 & echo .; wait) "
                          "& echo .; wait) &\n"
                          "wait")
            << 4;
        QTest::newRow("sessions of their own")
            << QByteArray("(setsid sh -c 'echo .; sleep 60; :') & echo .; wait") << 3;
        QTest::newRow("some that are stopped")
            << QByteArray("sh -c 'echo .; kill -STOP $$; sleep 60' & echo .; wait") << 2;
        QTest::newRow("one that has ended, but is not waited for")
            << QByteArray("true & sleep 60 & echo .; while :; do sleep 60; done") << 3;
    }

    void takesAllThatTheChildHasStarted()
    {
        QFETCH(QByteArray, script);
        QFETCH(int, count);
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments(script));
        marked.mark(process);
        QVERIFY(process.start());
        QTRY_COMPARE_WITH_TIMEOUT(process.output().count('.'), script.count('.'), 60000);
        QVERIFY(marked.waitForAtLeast(count));

        process.kill();

        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
        QVERIFY(!process.normalExit());
    }

    /// The forking processes end by themselves after a while, so that none runs for ever if it is
    /// not found.
    void takesWhatIsStartedBetweenTheLookAndTheKill()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("trap '' TERM\n"
                                                  "fork() {\n"
                                                  "    i=0\n"
                                                  "    while [ $i -lt 1500 ]; do\n"
                                                  "        (trap '' TERM; sleep 60; :) &\n"
                                                  "        i=$((i + 1))\n"
                                                  "        [ $i -ne 5 ] || echo .\n"
                                                  "    done\n"
                                                  "}\n"
                                                  "(fork) & (fork) & fork; wait"));
        marked.mark(process);
        QVERIFY(process.start());
        while (process.output().count('.') < 3)
            QVERIFY(qProcess(process)->waitForReadyRead(60000));

        process.kill();

        QTRY_COMPARE_WITH_TIMEOUT(marked.ids(), QList<pid_t>(), 20000);
        QVERIFY(process.wait(false));
    }

    void readsNamesWithBracketsAndBlanks_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("a bracket") << "a) b";
        QTest::newRow("what looks like a state") << "x) S 1 1 1 1";
        QTest::newRow("brackets") << "((a) Z (b))";
        QTest::newRow("a line") << "a)\nb";
        QTest::newRow("blanks") << "  a  ";
    }

    void readsNamesWithBracketsAndBlanks()
    {
        QFETCH(QString, name);
        const MarkedProcesses marked;
        const QTemporaryDir folder;
        const QString shell = folder.filePath(name);
        QVERIFY(QFile::copy("/bin/sh", shell));
        QVERIFY(QFile::setPermissions(shell, QFile::ReadOwner | QFile::ExeOwner));
        Process process(shell,
                        shellArguments("\"$1\" -c 'sleep 60 & echo .; wait' & wait", {shell}));
        marked.mark(process);
        QVERIFY2(process.start(), process.errorMessage().c_str());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(3));

        Process::kill(process.getPID());

        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(process.wait(false));
    }

    void leavesTheProgramsChildrenWhenItTakesASingleOne_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("a program") << "program";
        QTest::newRow("a batch file") << "program.bat"; // which changes only the default
    }

    void leavesTheProgramsChildrenWhenItTakesASingleOne()
    {
        QFETCH(QString, name);
        const MarkedProcesses marked;
        const QTemporaryDir folder;
        Process process(makeShell(folder, name), shellArguments("sleep 60 & echo .; wait"));
        marked.mark(process);
        process.setKillMode(Process::KillSingle);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(2));

        process.kill();

        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
        QCOMPARE(marked.ids().size(), 1);
    }

    void takesTheTreeByDefaultAndForBatchFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<Process::KillModes>("mode");

        QTest::newRow("default") << "program" << Process::KillDefault;
        QTest::newRow("tree") << "program" << Process::KillTree;
        QTest::newRow("bat") << "program.bat" << Process::KillDefault;
        QTest::newRow("cmd") << "program.cmd" << Process::KillDefault;
        QTest::newRow("bat, tree") << "program.bat" << Process::KillTree;
        QTest::newRow("capitals") << "program.BAT" << Process::KillDefault;
    }

    void takesTheTreeByDefaultAndForBatchFiles()
    {
        QFETCH(QString, name);
        QFETCH(Process::KillModes, mode);
        const MarkedProcesses marked;
        const QTemporaryDir folder;
        Process process(makeShell(folder, name), shellArguments("sleep 60 & echo .; wait"));
        marked.mark(process);
        process.setKillMode(mode);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(2));

        process.kill();

        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(process.wait(false));
    }

    void leavesOthersAlone()
    {
        const MarkedProcesses marked;
        const QStringList arguments = shellArguments("sleep 60 & echo .; wait");
        Process first("/bin/sh", arguments);
        Process second("/bin/sh", arguments);
        marked.mark(first);
        marked.mark(second);
        QVERIFY(first.start());
        QVERIFY(second.start());
        QVERIFY(waitForOutput(first, ".\n"));
        QVERIFY(waitForOutput(second, ".\n"));
        QVERIFY(marked.waitFor(4));

        first.kill();

        QCOMPARE(marked.ids().size(), 2);
        QVERIFY(marked.ids().contains(static_cast<pid_t>(second.getPID())));
        QVERIFY(!isStopped(second.getPID()));
        second.kill();
        QCOMPARE(marked.ids(), QList<pid_t>());
        QVERIFY(first.wait(false));
        QVERIFY(second.wait(false));
    }

    void takesOnlyWhatIsBelow()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh", shellArguments("sh -c 'sleep 60 & echo $$; wait' & wait"));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "\n"));
        QVERIFY(marked.waitFor(3));

        Process::kill(process.output().trimmed().toLongLong());

        QVERIFY(process.wait(false)); // returns at once
        QVERIFY(process.normalExit());
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    // The first process of the system is not tested: a fault there would end this machine.
    void doesNothingForANumberThatIsNoProcess()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        const qint64 beyond = qint64(1) << 32;
        const qint64 pid = process.getPID();
        QVERIFY(pid > 0);

        Process::kill(0);
        Process::kill(-1);
        Process::kill(-pid);
        Process::kill(std::numeric_limits<qint64>::min());
        Process::kill(std::numeric_limits<qint64>::max());
        Process::kill(pid + beyond);
        Process::kill(pid - beyond);

        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(pid)});
        QVERIFY(process.isRunning());
        QVERIFY(!isStopped(pid));
        process.kill();
        QVERIFY(process.wait(false));
    }

    void doesNothingForTheNumberOfAThread()
    {
        const MarkedProcesses marked;
        Process process(PROCESS_CHILD, QStringList("waitInThreads"));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, "started\n"));
        const qint64 pid = process.getPID();
        const QStringList threads =
            QDir(QString("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(threads.size(), isRunByQemu() ? 4 : 3); // qemu has one of its own

        for (const QString &thread : threads) {
            if (thread.toLongLong() != pid)
                Process::kill(thread.toLongLong());
        }

        QCOMPARE(marked.ids(), QList<pid_t>{static_cast<pid_t>(pid)});
        QVERIFY(!isStopped(pid));
        Process::kill(pid);
        QVERIFY(process.wait(false));
    }

    /// When no file can be opened, the parents of processes are not known.
    void takesTheProgramAtLeast()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        rlimit before = {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
        rlimit none = before;
        none.rlim_cur = 0;

        QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
        process.kill();
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);

        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
    }

    void mayKillTwiceAndWhatHasEnded()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        process.kill();
        QVERIFY(process.start());
        const qint64 pid = process.getPID();

        process.kill();
        process.kill();
        QVERIFY(process.wait(false));
        process.kill();
        Process::kill(pid);

        QCOMPARE(process.exitCode(), SIGKILL);
        QCOMPARE(marked.ids(), QList<pid_t>());
        QCOMPARE(process.getPID(), qint64(0));
    }

    /// A program that kills its own tree by this call.
    void takesTheCallerLast()
    {
        const MarkedProcesses marked;
        Process process(PROCESS_CHILD, QStringList("killOwnTree"));
        marked.mark(process);
        QVERIFY(process.start());

        QVERIFY(process.wait(false));

        QCOMPARE(process.output(), Data::String("two children\n"));
        QCOMPARE(process.exitCode(), SIGKILL);
        QCOMPARE(marked.ids(), QList<pid_t>());
    }

    /// The caller is a descendant of the process that it kills.
    void takesTheParentOfTheCaller()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh",
                        shellArguments("sleep 60 & \"$1\" killParent; :", {PROCESS_CHILD}));
        marked.mark(process);
        QVERIFY(process.start());

        QVERIFY(process.wait(false));

        QCOMPARE(process.exitCode(), SIGKILL);
        QTRY_COMPARE_WITH_TIMEOUT(marked.ids(), QList<pid_t>(), 60000);
    }

    /// The system continues the stopped processes of a group when their last ancestor is gone, so
    /// a parent must not be killed before its children.
    void takesWhatIsStartedWithoutAnEnd_data()
    {
        QTest::addColumn<QString>("how");

        QTest::newRow("from threads") << "startFromThreads";
        QTest::newRow("from a group of its own") << "startFromGroup";
    }

    void takesWhatIsStartedWithoutAnEnd()
    {
        QFETCH(QString, how);
        const MarkedProcesses marked;
        Process process(PROCESS_CHILD, QStringList(how));
        marked.mark(process);
        QVERIFY(process.start());
        while (!process.output().contains("started"))
            QVERIFY(qProcess(process)->waitForReadyRead(60000));

        process.kill();

        QTRY_COMPARE_WITH_TIMEOUT(marked.ids(), QList<pid_t>(), 20000);
        QVERIFY(process.wait(false));
        QCOMPARE(process.exitCode(), SIGKILL);
        QVERIFY(!process.output().contains("ended"));
    }

    void leavesWhatHasLostItsParentBefore()
    {
        const MarkedProcesses marked;
        Process process("/bin/sh",
                        shellArguments("(sleep 60 >/dev/null 2>&1 & ); echo .; sleep 60; :"));
        marked.mark(process);
        QVERIFY(process.start());
        QVERIFY(waitForOutput(process, ".\n"));
        QVERIFY(marked.waitFor(3));

        process.kill();

        QCOMPARE(marked.ids().size(), 1);
        QVERIFY(process.wait(false));
    }

    void killsOnlyTheProgramWhenTheObjectGoes()
    {
        const MarkedProcesses marked;
        {
            Process process("/bin/sh", shellArguments("sleep 60 & echo .; wait"));
            marked.mark(process);
            process.setKillMode(Process::KillTree);
            QVERIFY(process.start());
            QVERIFY(waitForOutput(process, ".\n"));
            QVERIFY(marked.waitFor(2));
            QTest::ignoreMessage(QtWarningMsg, "QProcess: Destroyed while process (\"/bin/sh\") is "
                                               "still running.");
        }
        QCOMPARE(marked.ids().size(), 1);
    }

private:
    static QString makeShell(const QTemporaryDir &folder, const QString &name)
    {
        const QString path = folder.filePath(name);
        QFile::link("/bin/sh", path);
        return path;
    }

    static bool isStopped(qint64 pid)
    {
        QFile file(QString("/proc/%1/stat").arg(pid));
        file.open(QIODevice::ReadOnly);
        return file.readAll().contains(") T ");
    }
};

QTEST_GUILESS_MAIN(tst_Process_kill)
#include "tst_Process_kill.moc"
