#include "utils/process/Process.h"

#include "tests/csv/FailingMemory.h"
#include "tests/process/MarkedProcesses.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "utils/files/File.h"

#include <QtTest>

#include <csignal>
#include <memory>
#include <new>

#include <sys/wait.h>
#include <unistd.h>

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
