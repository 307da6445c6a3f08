#include "utils/process/Process.h"

#include "tests/csv/FailingMemory.h"
#include "tests/process/MarkedProcesses.h"
#include "tests/support/OwnNamespace.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"

#include <QtTest>

#include <memory>
#include <new>

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
};

OWN_NAMESPACE_MAIN(tst_Process_memory)
#include "tst_Process_memory.moc"
