#include "utils/script/ScriptError.h"

#include "tests/csv/FailingMemory.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h" // openFiles

#include <QtTest>

using Data::String;

static const SettingsHome home;

/// The engine when the memory of the process ends.
class tst_PythonScript_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void closesASourceThatThereIsNoMemoryFor()
    {
        const QString path =
            d->script("raise ValueError('a')\n" + QByteArray("#\n").repeated(200'000));
        QVERIFY(!d->engine.runFile(path));
        QCOMPARE(d->engine.error().frames().size(), 1);
        const int filesBefore = openFiles();

        FailingMemory memory(250'000, FailingMemory::Larger);
        const bool isDone = d->engine.runFile(path);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isDone);
        QVERIFY(d->engine.error().type() != "MemoryError"); // Python itself had enough
        QCOMPARE(openFiles(), filesBefore);
    }

private:
    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_memory)
#include "tst_PythonScript_memory.moc"
