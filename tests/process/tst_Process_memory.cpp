#include "utils/process/Process.h"

#include "utils/files/File.h"

#include "tests/csv/FailingMemory.h"
#include "tests/process/MarkedProcesses.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "utils/files/LogFile.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <memory>
#include <new>

#include <sys/wait.h>
#include <unistd.h>

using Utils::File;
using Utils::Process;

Q_DECLARE_METATYPE(FailingMemory::Mode)

/// The start of a program when the memory is exhausted.
class tst_Process_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        ENTER_OWN_NAMESPACE_OR_SKIP();
        Process process("/bin/true"); // Qt prepares for children at the first start
        QVERIFY(process.start());
        QVERIFY(process.wait(false));
    }

    void doesNotStartWhereMemoryEnds_data()
    {
        QTest::addColumn<FailingMemory::Mode>("mode");

        QTest::newRow("once") << FailingMemory::Once;
        QTest::newRow("from then on") << FailingMemory::FromThenOn;
    }

    void doesNotStartWhereMemoryEnds()
    {
        QFETCH(FailingMemory::Mode, mode);
        const int filesBefore = openFiles();
        int failed = 0;
        // With a larger n, Qt itself ends the process, because it connects objects that it could
        // not allocate.
        for (int n = 0; n < 2; ++n) {
            const MarkedProcesses marked;
            auto process = std::make_unique<Process>("/bin/sleep", QStringList("60"));
            marked.mark(*process);
            process->setKillMode(Process::KillSingle);
            bool isStarted = false;
            bool hasThrown = false;
            {
                FailingMemory memory(n, mode);
                try {
                    isStarted = process->start();
                } catch (const std::bad_alloc &) {
                    hasThrown = true;
                }
            }
            QVERIFY2(!hasThrown, qPrintable(QString::number(n)));
            QCOMPARE(process->isRunning(), isStarted);
            if (!isStarted) {
                ++failed;
                QCOMPARE(process->getPID(), qint64(0));
                QVERIFY(!process->errorMessage().isEmpty());
                QTRY_COMPARE(marked.ids(), QList<pid_t>());
            }
            process.reset();
            QCOMPARE(openFiles(), filesBefore);
        }
        QVERIFY(failed > 0);
    }

    void keepsItsEncodingWhereMemoryEnds()
    {
        const Data::String name("Shift_JIS");
        Process process("/bin/true");
        QVERIFY(process.setEncoding(name)); // Qt makes it at the first time
        int failed = 0;
        bool isSet = false;
        for (int n = 0; n < 1000 && !isSet; ++n) {
            QVERIFY(process.setEncoding("windows-1252"));
            {
                FailingMemory memory(n, FailingMemory::Once);
                isSet = process.setEncoding(name);
            }
            if (!isSet) {
                ++failed;
                QCOMPARE(process.encoding(), Data::String("windows-1252"));
                QCOMPARE(Utils::File::lastError(), Data::String(".Kelm.Utils.err.memory"));
            }
        }
        QVERIFY(isSet);
        QVERIFY(failed > 0);
        QCOMPARE(process.encoding(), name);
    }

    void leavesTheProgramThatRuns()
    {
        const MarkedProcesses marked;
        Process process("/bin/sleep", QStringList("60"));
        marked.mark(process);
        QVERIFY(process.start());
        const qint64 pid = process.getPID();

        bool isOut = true;
        for (int n = 0; isOut; ++n) {
            FailingMemory memory(n, FailingMemory::Once);
            const bool isRunning = process.start(); // Qt only warns
            isOut = memory.hasFailed();
            memory.end();

            QVERIFY(isRunning);
            QCOMPARE(process.getPID(), pid);
        }
        QCOMPARE(marked.ids().size(), 1);
    }

    void stopsAProgramWhoseTreeThereIsNoMemoryFor()
    {
        const MarkedProcesses marked;
        int stopped = 0;
        for (int n = 0; n < 3; ++n) {
            Process process("/bin/sleep", QStringList("60"));
            marked.mark(process);
            process.setStopPolicy(/*waitTime=*/0);
            QVERIFY(process.start());

            FailingMemory memory(n, FailingMemory::Once);
            try {
                stopped += process.stop() && memory.hasFailed() ? 1 : 0;
            } catch (const std::bad_alloc &) { // of Qt, before anything has been done
                QVERIFY(process.isRunning());
                process.kill();
            }
            memory.end();

            QTRY_COMPARE(marked.ids(), QList<pid_t>());
        }
        QVERIFY(stopped > 0);
    }

    void losesOutputForWhichThereIsNoMemory_data()
    {
        QTest::addColumn<bool>("isError");
        QTest::addColumn<int>("way"); // to its end

        for (const bool isError : {false, true}) {
            const QByteArray channel = isError ? "standard error" : "standard output";
            QTest::newRow(channel + " in an event loop") << isError << 0;
            QTest::newRow(channel + " in wait()") << isError << 1;
            QTest::newRow(channel + " in run()") << isError << 2;
        }
    }

    void losesOutputForWhichThereIsNoMemory()
    {
        QFETCH(bool, isError);
        QFETCH(int, way);
        const int size = 4'000'000;
        const QString script = "head -c 4000000 /dev/zero | tr '\\0' x >&";
        Process process("/bin/sh", {"-c", script + (isError ? '2' : '1')});
        process.setSeparateErrorOutput(true);
        const auto end = [&] {
            if (way == 2)
                return process.run() == Process::RunFinished;
            return process.start() &&
                   (way == 1 ? process.wait(false)
                             : QTest::qWaitFor([&] { return !process.isRunning(); }, 60000));
        };
        const auto output = [&] { return isError ? process.errorOutput() : process.output(); };

        FailingMemory memory(1 << 20, FailingMemory::Larger);
        const bool hasEnded = end();
        memory.end();
        const Data::String reason = File::lastError();

        QVERIFY(memory.hasFailed());
        QVERIFY(hasEnded);
        QVERIFY(process.normalExit());
        QVERIFY(output().size() > 100'000);
        QVERIFY(output().size() < size);
        QVERIFY(process.isOutputLost());
        QCOMPARE(process.errorMessage(), Data::String(qt_error_string(ENOMEM)));
        if (way == 2)
            QCOMPARE(reason, Data::String(".Kelm.Utils.err.memory"));

        QVERIFY(end());
        QCOMPARE(output().size(), size);
        QVERIFY(!process.isOutputLost());
        QVERIFY(process.errorMessage() != Data::String(qt_error_string(ENOMEM)));
    }

    void losesAllOutputAfterALoss_data()
    {
        QTest::addColumn<bool>("isError");
        QTest::addColumn<bool>("keepsOutput");
        QTest::addColumn<QString>("script");

        // The second one has a line that is too long.
        const QString numbers = "seq 10000000 10700000";
        const QString longLine = "seq 10000000 10020000; head -c 4000000 /dev/zero | tr '\\0' 1; "
                                 "echo; seq 10020001 10040000";
        QTest::newRow("standard output") << false << true << numbers;
        QTest::newRow("standard error") << true << true << numbers;
        QTest::newRow("standard output, of which the last line is kept")
            << false << false << longLine;
        QTest::newRow("standard error, of which the last line is kept")
            << true << false << longLine;
    }

    void losesAllOutputAfterALoss()
    {
        QFETCH(bool, isError);
        QFETCH(bool, keepsOutput);
        QFETCH(QString, script);
        Process plain("/bin/sh", {"-c", script});
        QCOMPARE(plain.run(), Process::RunFinished);
        const QByteArray whole = plain.output().toUtf8();
        const QString late = isError ? "; echo late" : "; echo late >&2";
        Process process("/bin/sh", {"-c", isError ? '(' + script + ") >&2" + late : script + late});
        process.setSeparateErrorOutput(true);
        const QTemporaryDir folder;
        Utils::LogFile log(folder.filePath("log"), /*removeIfEmpty=*/false);
        process.setLogFile(&log, keepsOutput);
        int lines = 0;
        bool isInOrder = true;
        process.onLine([&](const Data::String &line, Process::Channel) {
            isInOrder = isInOrder && line.toInt() == 10000000 + lines;
            ++lines;
        });
        const auto logged = [&] { return File::readRaw(log.path()); };

        // Until the first failure only: the end of the output fits into the memory again.
        FailingMemory memory(1 << 20, FailingMemory::Larger);
        const auto end = [&] {
            if (memory.hasFailed())
                memory.end();
        };
        auto *const object = qobject_cast<QProcess *>(process.object());
        QObject::connect(object, &QProcess::readyReadStandardOutput, object, end);
        QObject::connect(object, &QProcess::readyReadStandardError, object, end);
        const Process::RunResult result = process.run();
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(result, Process::RunFinished);
        QVERIFY(process.normalExit());
        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.memory"));
        const QByteArray lost = (isError ? process.errorOutput() : process.output()).toUtf8();
        QVERIFY(keepsOutput ? lost.size() > 100'000 && whole.startsWith(lost) : lost.isEmpty());
        QVERIFY(logged().size() > 100'000 && logged().size() < whole.size());
        QVERIFY(whole.startsWith(logged()));
        QCOMPARE(isError ? process.output() : process.errorOutput(), Data::String());
        QVERIFY2(isInOrder, qPrintable(QString::number(lines)));
        QVERIFY(lines > 10'000);
        QVERIFY(process.recentOutput().size() < whole.size());
        object->setReadChannel(isError ? QProcess::StandardError : QProcess::StandardOutput);
        QCOMPARE(object->bytesAvailable(), qint64(0)); // it is not kept elsewhere
        object->setReadChannel(QProcess::StandardOutput);

        process.onLine(nullptr);
        process.setLogFile(nullptr, /*keepOutput=*/true);
        QCOMPARE(process.run(), Process::RunFinished);
        QCOMPARE((isError ? process.errorOutput() : process.output()).toUtf8(), whole);
        QCOMPARE(isError ? process.output() : process.errorOutput(), Data::String("late\n"));
    }

    void stopsAProgramAfterAStopThatLackedMemory()
    {
        int stopped = 0;
        for (int n = 0; n < 30; ++n) {
            // Each in a process of its own, as Qt itself ends some.
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                for (const int signal : {SIGSEGV, SIGBUS, SIGABRT})
                    ::signal(signal, SIG_DFL);
                _exit(exitCodeOfStops(n));
            }
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY2(!WIFEXITED(status) || WEXITSTATUS(status) != 2,
                     qPrintable(QString::number(n)));
            stopped += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 1 : 0;
        }
        QVERIFY(stopped > 0);
    }

    void hasNoMessageWithoutMemory()
    {
        const Process process("/bin/true");
        QVERIFY(!process.errorMessage().isEmpty()); // that of Qt for no error

        FailingMemory memory(0, FailingMemory::Once);
        const Data::String message = process.errorMessage();
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(message, Data::String());
    }

    void doesNotEndTheHostByASignalOfItsPipe()
    {
        int failed = 0;
        for (int n = 0; n < 50; ++n) {
            // Each in a process of its own, as Qt itself ends some.
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                for (const int signal : {SIGPIPE, SIGSEGV, SIGBUS, SIGABRT})
                    ::signal(signal, SIG_DFL);
                _exit(isStartedWithMemoryFor(n) ? 1 : 0);
            }
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY2(!WIFSIGNALED(status) || WTERMSIG(status) != SIGPIPE,
                     qPrintable(QString::number(n)));
            failed += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 1 : 0;
        }
        QVERIFY2(failed > 10, qPrintable(QString::number(failed)));
    }

private:
    /// Stops a program when allocation number \p number fails, and again with memory if that has
    /// thrown. Returns 0 when the program has ended by then, 2 when it has not, and 1 when the
    /// first stop has not thrown.
    static int exitCodeOfStops(int number)
    {
        Process process("/bin/sh", {"-c", "trap '' TERM; echo a; sleep 60"});
        process.setStopPolicy(/*waitTime=*/50);
        if (!process.start())
            return 1;
        const auto pid = static_cast<pid_t>(process.getPID());
        FailingMemory memory(number, FailingMemory::Once);
        try {
            process.stop();
            memory.end();
        } catch (const std::bad_alloc &) {
            memory.end();
            process.stop(); // false when Qt has lost the end of the program, for lack of memory
            return kill(pid, 0) == 0 ? 2 : 0;
        }
        return 1;
    }

    /// Whether a process starts when all allocations after \p count of them fail. Returns when the
    /// process has ended after its Process.
    static bool isStartedWithMemoryFor(int count)
    {
        bool isStarted = false;
        {
            Process process("/bin/sleep", QStringList("60"));
            process.setKillMode(Process::KillSingle);
            const FailingMemory memory(count, FailingMemory::FromThenOn);
            isStarted = process.start();
        }
        usleep(30000);
        return isStarted;
    }
};

OWN_NAMESPACE_MAIN(tst_Process_memory)
#include "tst_Process_memory.moc"
