#include "utils/script/PythonThreads_p.h"
#include "utils/script/ScriptError.h"
#include "utils/script/ScriptManager.h"

#include "tests/csv/FailingMemory.h"
#include "tests/script/PythonFixture.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h" // openFiles

#include <QtTest>

#include <chrono>
#include <new>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

using Data::String;
using Utils::ScriptManager;

Q_DECLARE_METATYPE(FailingMemory::Mode)

static const SettingsHome home;

/// The engine when the memory of the process ends.
class tst_PythonScript_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { d.emplace(); }
    void cleanup() { d.reset(); }

    void redirectsStreamsOnceThereIsMemoryAgain_data()
    {
        QTest::addColumn<FailingMemory::Mode>("mode");

        QTest::newRow("once") << FailingMemory::Once;
        QTest::newRow("from then on") << FailingMemory::FromThenOn;
    }

    /// Each in a process of its own: the types of the streams are made once.
    void redirectsStreamsOnceThereIsMemoryAgain()
    {
        QFETCH(FailingMemory::Mode, mode);
        QVERIFY(d->engine.runCode("import sys\n"));

        int failures = 0;
        int status = failed;
        for (int n = 0; status == failed; ++n) {
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                alarm(60); // ends a lookup without end
                _exit(redirect(n, mode));
            }
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY2(WIFEXITED(status), qPrintable(QString("signal at %1").arg(n)));
            status = WEXITSTATUS(status);
            failures += status == failed;
        }

        QCOMPARE(status, int(whole));
        QVERIFY(failures > 5);
    }

    void closesASourceThatThereIsNoMemoryFor()
    {
        const QString path =
            d->script("raise ValueError('a')\n" + QByteArray("#\n").repeated(100'000));
        QVERIFY(!d->engine.runFile(path));
        QCOMPARE(d->engine.error().frames().size(), 1);
        const int filesBefore = openFiles();

        FailingMemory memory(160'000, FailingMemory::Larger);
        const bool isDone = d->engine.runFile(path);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isDone);
        QVERIFY(d->engine.error().type() != "MemoryError"); // Python itself had enough
        QCOMPARE(openFiles(), filesBefore);
    }

    /// An exception reaches the host, and leaves nothing open and no name in the scope of scripts.
    void closesCompiledCodeThatThereIsNoMemoryFor()
    {
        // Longer than a text that std::string stores in itself.
        QVERIFY(d->engine.runCode("import py_compile\n"));
        const QString source = d->script("done = True\n", QString(100, 'n') + ".py");
        QVERIFY(d->engine.runCode("py_compile.compile('" + source + "', '" + source + "c')\n"));
        QVERIFY(d->engine.runFile(source + 'c'));
        const int filesBefore = openFiles();

        int failures = 0;
        bool isOut = true;
        for (int n = 0; isOut; ++n) {
            QVERIFY(d->engine.runCode("done = False\n"));
            bool isDone = false;
            FailingMemory memory(n, FailingMemory::Once);
            try {
                isDone = d->engine.runFile(source + 'c');
            } catch (const std::bad_alloc &) {
            }
            memory.end();
            isOut = memory.hasFailed();
            failures += isOut && !isDone;

            QCOMPARE(openFiles(), filesBefore);
            QCOMPARE(d->value("'__file__' in globals()").toBool(), false);
            QVERIFY(isOut || isDone);
        }
        QVERIFY(failures > 5);
    }

    /// Python is ended while a thread of a script runs.
    void hasThePythonLockAfterAnEndWithoutMemory()
    {
        const QString code = "import threading, time\n"
                             "thread = threading.Thread(target=time.sleep, args=(0.05,))\n"
                             "thread.daemon = True\n"
                             "thread.start()\n";
        bool isOut = true;
        for (int n = 0; isOut; ++n) {
            QVERIFY(d->engine.runCode(code));

            FailingMemory memory(n, FailingMemory::Once);
            try {
                Utils::endPythonThreads(std::chrono::milliseconds(500));
            } catch (const std::bad_alloc &) { // in the names of the threads
            }
            memory.end();
            isOut = memory.hasFailed();

            QVERIFY(Utils::ownsPythonLock());
            QCOMPARE(d->value("thread.join() or 6 * 7").toInt(), 42);
        }
    }

private:
    /// How the streams are redirected while an allocation fails.
    enum Outcome
    {
        whole,  ///< the memory has sufficed
        failed, ///< it has not
        lost,   ///< the streams are not redirected later either
    };

    /// Redirects the streams with memory for \p count allocations, and then uses them.
    Outcome redirect(int count, FailingMemory::Mode mode)
    {
        ScriptManager &manager = ScriptManager::instance();
        String written;
        bool isRead = false;
        const Utils::ScriptOutputSink sink = [&](const String &text, Utils::ScriptChannel) {
            written += text;
        };
        const Utils::ScriptInputSource source = [&](String &text) {
            text = "typed\n";
            return !std::exchange(isRead, true);
        };

        FailingMemory memory(count, mode);
        try {
            manager.setOutputSink(sink);
            manager.setInputSource(source);
        } catch (const std::bad_alloc &) { // in a copy of them, before anything is redirected
        }
        memory.end();

        manager.setOutputSink(sink);
        manager.setInputSource(source);
        if (!d->engine.runCode("print raw_input()\n") || written != "typed\n")
            return lost;
        return memory.hasFailed() ? failed : whole;
    }

    std::optional<PythonFixture> d;
};

QTEST_GUILESS_MAIN(tst_PythonScript_memory)
#include "tst_PythonScript_memory.moc"
