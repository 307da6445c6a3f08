#include "utils/base/LastError_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"

#include <QFile>
#include <QtTest>

#include <cerrno>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using Data::String;
using Utils::LastError;

/// An operation that fails.
static bool fails(const QString &path)
{
    LastError operation;
    return LastError::set(".err.fileread", {path});
}

/// An operation that succeeds, after one that it calls has failed.
static bool recovers()
{
    LastError operation;
    fails("inner");
    return operation.succeeded();
}

/// An operation that fails because one that it calls has failed.
static bool failsBy(const QString &path)
{
    LastError operation;
    fails(path);
    recovers();
    return LastError::set(".err.filewrite", {"outer"});
}

class tst_LastError : public QObject
{
    Q_OBJECT

private:
    /// The id of the reason of a thread whose first operation fails with memory for \p count
    /// allocations. \p hasFailed is set to whether one has failed.
    static QByteArray idWithoutMemory(int count, FailingMemory::Mode mode, bool &hasFailed)
    {
        QByteArray id;
        const QStringList values{"a"};
        std::thread([&] {
            FailingMemory memory(count, mode);
            {
                const LastError operation;
                LastError::set(".err.fileread", values);
            }
            memory.end();
            hasFailed = memory.hasFailed();
            id = LastError::id();
        }).join();
        return id;
    }

private Q_SLOTS:
    void init()
    {
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".err.fileread", "cannot read %1");
        putText(".Kelm.Utils", ".err.filewrite", "cannot write %1");
    }
    void cleanup()
    {
        LastError().succeeded();
        resetCatalogue();
    }

    void isTheTextOfTheFailure()
    {
        fails("a");
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }

    void isEmptyAfterASuccess()
    {
        fails("a");
        QVERIFY(recovers());
        QCOMPARE(Utils::lastErrorText(), String());
    }

    void isThatOfTheNextFailure()
    {
        fails("a");
        fails("b");
        QCOMPARE(Utils::lastErrorText(), String("cannot read b"));
    }

    void isTheFirstOneWithinAnOperation()
    {
        failsBy("a");
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }

    void isInTheLanguageOfTheMoment()
    {
        fails("a");
        putText(".Kelm.Utils", ".err.fileread", "%1 ist nicht lesbar");
        QCOMPARE(Utils::lastErrorText(), String("a ist nicht lesbar"));
    }

    void belongsToItsThread()
    {
        fails("a");
        std::thread([] { fails("b"); }).join();
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }

    void isKeptByAThreadThatHasNoMemoryForItsFirstOne()
    {
        SKIP_ON_WINDOWS("Windows does not copy processes");
        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            // In a process of its own, which the C library may end.
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                bool hasFailed = true;
                int count = 0;
                for (; hasFailed && count < 100; ++count) {
                    if (idWithoutMemory(count, mode, hasFailed) != ".err.fileread")
                        _exit(1);
                }
                _exit(count > 1 && !hasFailed ? 0 : 2);
            }
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY2(WIFEXITED(status), "the process has been ended");
            QCOMPARE(WEXITSTATUS(status), 0);
        }
    }

    void isThatOfTheMemoryWhereItEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const QString path = "/nowhere/file";
        QFile file(path);
        QVERIFY(!file.open(QIODevice::ReadOnly));
        int failures = 0;
        bool hasFailed = true;
        for (int count = 0; hasFailed; ++count) {
            for (const bool isByNumber : {false, true}) {
                QByteArray id;
                FailingMemory memory(count, FailingMemory::Once);
                {
                    const LastError operation;
                    const bool isTold =
                        isByNumber ? LastError::cannotRead(path, EIO) : LastError::cannotRead(file);
                    memory.end();
                    QVERIFY(!isTold);
                    id = LastError::id();
                }
                hasFailed = memory.hasFailed();
                failures += hasFailed;
                const QByteArray plain = isByNumber ? ".err.readfault" : ".err.nofile";
                QVERIFY2(id == plain || (hasFailed && id == ".err.memory"), id);
            }
        }
        QVERIFY(failures > 3);
    }

    void isReleasedByEachThread()
    {
        // A sanitizer or valgrind reports what is left.
        for (int i = 0; i < 100; ++i)
            std::thread([] { fails(QString(1000, 'x')); }).join();
        std::thread([] {
            fails("a");
            {
                const LastError::Apart apart;
                fails("b");
            }
            QCOMPARE(LastError::values(), QStringList("a"));
        }).join();
    }
};

QTEST_MAIN(tst_LastError)
#include "tst_LastError.moc"
