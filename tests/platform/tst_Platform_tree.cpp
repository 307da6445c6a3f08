#include "utils/platform/Platform.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/CallFault.h"
#include "tests/support/OwnNamespace.h"

#include <QtTest>

#include <cerrno>
#include <csignal>
#include <cstdint>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Utils;

Q_DECLARE_METATYPE(Faults)

/// A child that does nothing until it is killed.
static pid_t pausedChild()
{
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;)
            pause();
    }
    return child;
}

/// The tree of a child that is to end, where the system is short of something.
class tst_Platform_tree : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesATreeThatCannotBeReadForRunning_data()
    {
        QTest::addColumn<Faults>("faults");

        // The threads are listed first; then the process is read, in three attempts, and a thread.
        QTest::newRow("nothing") << Faults{{"open", EMFILE}, {"opendir", EMFILE}};
        QTest::newRow("not the list of threads") << Faults{{"opendir", EMFILE}};
        QTest::newRow("neither process nor thread") << Faults{{"open", EMFILE}};
        QTest::newRow("not the process") << Faults{{"open", EMFILE, 0, 3}};
        QTest::newRow("not the thread") << Faults{{"open", EMFILE, 1}};
    }

    void takesATreeThatCannotBeReadForRunning()
    {
        QFETCH(Faults, faults);
        const pid_t child = pausedChild();
        Platform::ProcessTree tree(child);

        for (const bool isRunning : {true, false}) {
            bool hasEnded;
            bool haveAllHappened;
            {
                const CallFaults missing(faults);
                hasEnded = tree.hasEnded();
                haveAllHappened = missing.haveAllHappened();
            }
            QVERIFY(haveAllHappened);
            QVERIFY(!hasEnded);
            QCOMPARE(tree.hasEnded(), !isRunning);
            if (isRunning)
                tree.kill(); // leaves a child that has not been waited for
        }
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QVERIFY(tree.hasEnded());
    }

    void killsATreeThatCouldNotBeRead()
    {
        const pid_t child = pausedChild();
        Platform::ProcessTree tree(child);
        {
            // As hasEnded() reads it: the threads, and three attempts for the process.
            const CallFault list("opendir", EMFILE, 0, 3);
            const CallFault process("open", EMFILE, 0, 3);
            tree.kill();
            QCOMPARE(list.count(), 3);
            QCOMPARE(process.count(), 3);
        }

        int status = 0;
        const auto hasEnded = [&] { return waitpid(child, &status, WNOHANG) == child; };
        QVERIFY(QTest::qWaitFor(hasEnded, 60000));
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGKILL);
    }

    void knowsATreeWhereTheMemoryEnds()
    {
        const pid_t child = pausedChild();
        Platform::ProcessTree tree(child);
        int failures = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed && n < 1000; ++n) {
            for (const bool updates : {false, true}) {
                FailingMemory memory(n, FailingMemory::Once);
                if (updates)
                    tree.update();
                const bool hasEnded = tree.hasEnded();
                memory.end();
                hasFailed = memory.hasFailed();
                failures += hasFailed;
                QVERIFY2(!hasEnded, qPrintable(QString::number(n)));
            }
        }
        QVERIFY(!hasFailed && failures > 3);

        tree.kill();

        QVERIFY(tree.hasEnded());
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGKILL);
    }

    void knowsNoTreeOfWhatIsNoChild_data()
    {
        QTest::addColumn<qint64>("id");

        QTest::newRow("none") << qint64(0);
        QTest::newRow("a group") << qint64(-1);
        QTest::newRow("beyond all numbers") << (qint64(1) << 40);
        QTest::newRow("this process") << qint64(getpid());
    }

    void knowsNoTreeOfWhatIsNoChild()
    {
        QFETCH(qint64, id);
        Platform::ProcessTree tree(id);

        tree.update();

        QVERIFY(!tree.ask(/*all=*/true));
        QVERIFY(tree.hasEnded());
        tree.kill(); // nothing
    }
};

OWN_NAMESPACE_MAIN(tst_Platform_tree)
#include "tst_Platform_tree.moc"
