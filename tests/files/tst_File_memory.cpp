#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/files/FileByteReader.h"
#include "utils/files/LogFile.h"
#include "utils/tagfile/TagFile.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/HttpServer.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <functional>
#include <memory>
#include <new>

#include <sys/wait.h>
#include <unistd.h>

using Utils::CSVDialect;
using Utils::CSVTable;
using Utils::File;
using Utils::FileByteReader;
using Utils::LogFile;
using Utils::TagFile;

using Operation = std::function<bool(const Data::String &path)>;
Q_DECLARE_METATYPE(Operation)
Q_DECLARE_METATYPE(FailingMemory::Mode)

static const int mebibyte = 1 << 20;

/// What is larger than the memory: each allocation of more than some bytes fails.
class tst_File_memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsWhyAFolderIsNotSearched()
    {
        const Data::String folder = m_folder.filePath("missing");
        const Data::String filter = "*";

        int told = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed; ++n) {
            FailingMemory memory(n, FailingMemory::Once);
            bool hasThrown = false;
            try {
                File::search(folder, filter, false);
            } catch (const std::bad_alloc &) {
                hasThrown = true;
            }
            memory.end();
            hasFailed = memory.hasFailed();

            const QString reason = File::lastError();
            QVERIFY2(hasThrown || reason == ".Kelm.Utils.err.nofile" ||
                         (hasFailed && reason == ".Kelm.Utils.err.memory"),
                     qPrintable(QString("%1: %2").arg(n).arg(reason)));
            told += reason == ".Kelm.Utils.err.memory";
        }
        QVERIFY(told > 0);
    }

    void leavesAnEmptyLogForWhoseRemovalThereIsNoMemory()
    {
        const Data::String path = m_folder.filePath("empty.log");
        int left = 0;
        for (int n = 0;; ++n) {
            auto log = std::make_unique<LogFile>(path, /*removeIfEmpty=*/true);
            QVERIFY(log->isValid());
            FailingMemory memory(n, FailingMemory::Once);
            log.reset();
            memory.end();

            left += QFile::exists(path);
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(left > 0);
        QVERIFY(!QFile::exists(path));
    }

    void skipsALineThatIsTooLong()
    {
        FileByteReader reader(file("a\n" + QByteArray(3 * mebibyte, 'x') + "\nb\n"));
        FailingMemory memory(mebibyte, FailingMemory::Larger);

        QByteArray line;
        const bool isRead[] = {reader.readLine(line, false), reader.readLine(line, false),
                               reader.readLine(line, false)};
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(isRead[0]);
        QVERIFY(!isRead[1]);
        QVERIFY(isRead[2]);
        QCOMPARE(line, QByteArray("b"));
    }

    void readsNoLineThatItCannotGoTo()
    {
        const QString path = file("a\nb\n");
        FileByteReader reader(path);
        ReadFault bad(path, 100);
        bad.refuseSeeks();

        const QByteArray line = reader.nextLine();
        bad.repair();

        QVERIFY(bad.count() > 0);
        QCOMPARE(line, QByteArray());
        QCOMPARE(reader.nextLine(), QByteArray("b"));
    }

    void readsNoBytesThatAreTooMany()
    {
        FileByteReader reader(file(QByteArray(3 * mebibyte, 'x')));
        FailingMemory memory(3 * mebibyte / 2, FailingMemory::Larger);

        const QByteArray bytes = reader.read(3 * mebibyte);
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(bytes, QByteArray());
    }

    void removesNothingThatIsToBeKept_data()
    {
        QTest::addColumn<FailingMemory::Mode>("mode");

        QTest::newRow("once") << FailingMemory::Once;
        QTest::newRow("from then on") << FailingMemory::FromThenOn;
    }

    void removesNothingThatIsToBeKept()
    {
        QFETCH(FailingMemory::Mode, mode);
        bool hasFailed = true;
        int n = 0;
        for (; hasFailed && n < 2000; ++n) {
            const QTemporaryDir folder;
            const QString kept = makeFile(folder.filePath("kept.txt"), "a");
            makeFile(folder.filePath("other.txt"), "b");
            // In a process of its own: where the memory ends, QDir leaves a folder open.
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0)
                _exit(failsToRemove(folder.filePath("*"), "K*", n, mode) ? 1 : 0);
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY(WIFEXITED(status));
            hasFailed = WEXITSTATUS(status) != 0;
            QVERIFY2(QFile::exists(kept), qPrintable(QString::number(n)));
        }
        QVERIFY2(n > 10 && !hasFailed, qPrintable(QString::number(n)));
    }

    void readsNoAnswerThatIsTooLong()
    {
        HttpServer server([](QTcpSocket *socket) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 3145728\r\n\r\n");
            for (int i = 0; i < 48; ++i) // in pieces, as this one has the same memory
                socket->write(QByteArray(65536, 'x'));
            QTimer::singleShot(50, socket, &QTcpSocket::disconnectFromHost);
        });
        QCOMPARE(File::read(server.address("/")).size(), 3 * mebibyte);

        FailingMemory memory(2 * mebibyte, FailingMemory::Larger);
        const Data::String text = File::read(server.address("/"));
        memory.end();

        QVERIFY(memory.hasFailed());
        QCOMPARE(text, Data::String());
    }

    void readsATableOfAServer()
    {
        HttpServer server("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n1,2\n3,4");
        CSVTable table(",");

        QVERIFY(table.read(server.address("/table.csv")));

        QCOMPARE(table.numRows(), 2);
        QCOMPARE(table.data(1), QStringList({"3", "4"}));
    }

    void sumsUpATableInPieces()
    {
        const QByteArray bytes = QByteArray("abc,def\n").repeated(30000);
        CSVTable asBytes(",");
        CSVTable asText(",");
        QVERIFY(asBytes.setData(bytes));
        QVERIFY(asText.setData(Data::String(QString::fromLatin1(bytes))));
        const QByteArray joined =
            QByteArray::number(asBytes.numRows()) + QByteArray("abc,def").repeated(30000);

        QCOMPARE(asBytes.checksum(30000),
                 qChecksum(joined.constData(), static_cast<uint>(joined.size())));
        QCOMPARE(asText.checksum(30000), asBytes.checksum(30000));
    }

    void opensNoDocumentThatEndsInItsDeclarations()
    {
        Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
        Data::String error;

        QVERIFY(!document.open(file("<!DOCTYPE a [<!ENTITY b 'c'>"), "", error));

        QVERIFY(!error.isEmpty());
    }

    void writesNoDocumentThatIsTooLarge()
    {
        const QString path = file("<a version=\"1.0\">" + QByteArray(3 * mebibyte, 'x') + "</a>");
        Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
        Data::String error;
        QVERIFY(document.open(path, "", error));
        const QString target = file("as it was");

        FailingMemory memory(mebibyte, FailingMemory::Larger);
        const bool isWritten = document.write(target);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isWritten);
        QCOMPARE(File::readRaw(target), QByteArray("as it was"));
    }

    void closesATagFileThatItCannotWrite()
    {
        const QString path = file("");
        for (int n = 0, failures = 0;; ++n) {
            TagFile tags;
            Data::String error;
            QVERIFY(tags.open(path, error));
            tags.writeTag("name", "", false);
            FailingMemory memory(n, FailingMemory::FromThenOn);
            tags.close();
            memory.end();
            failures += memory.hasFailed();
            if (!memory.hasFailed()) {
                QVERIFY(failures > 0);
                break;
            }
        }
        QVERIFY(File::read(path).contains("name"));
    }

    void hasAReasonWhereTheMemoryForEncodingsEnds()
    {
        const QByteArray bytes = QByteArray("a;\xb0\n1;2,5\n").repeated(30);
        const Data::String path = file(bytes);
        const Data::String name = "ISO-8859-1";
        int failures[4] = {};
        for (int n = 0, run = 0; run < 4; ++n) {
            Data::String found = "none";
            bool isSet = false;
            FailingMemory memory(n, FailingMemory::Once);
            try {
                if (run == 0)
                    found = File::encodingOf(bytes);
                else if (run == 1)
                    isSet = File::setFallbackEncoding(name);
                else if (run == 2)
                    isSet = CSVDialect::detect(path).isValid();
                else
                    isSet = CSVDialect::detectBytes(bytes).isValid();
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("%1 throws at %2").arg(run).arg(n)));
            }
            memory.end();

            const bool isDone = run == 0 ? !found.isEmpty() : isSet;
            const Data::String reason = File::lastError(); // the key, as no texts are loaded
            // Qt does not tell why it does not find an encoding.
            const bool isUnknown = run == 1 && reason.endsWith(".err.encoding");
            QVERIFY2(isDone || isUnknown || reason.endsWith(".err.memory"), qPrintable(reason));
            failures[run] += !isDone;
            if (!memory.hasFailed()) {
                QVERIFY(isDone);
                ++run;
                n = -1;
            }
        }
        File::setFallbackEncoding("windows-1252");
        for (const int count : failures)
            QVERIFY(count > 0);
    }

    void tellsThatTheMemoryEnds_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::addColumn<FailingMemory::Mode>("mode");
        QTest::addColumn<bool>("mayThrow");

        const QByteArray bytes = "\xe4";
        const auto row = [](const char *text, const Operation &operation, bool mayThrow = false) {
            QTest::addRow("%s, once", text) << operation << FailingMemory::Once << mayThrow;
            QTest::addRow("%s, from then on", text)
                << operation << FailingMemory::FromThenOn << mayThrow;
        };
        // Qt takes a wildcard for an invalid one when it has no memory for it.
        const auto search = [](const Data::String &path) {
            const Data::String pattern = File::base(path, /*withExtension=*/true) + "*";
            return File::search(File::parentFolder(path), "none*;" + pattern, false).size() == 1;
        };
        // clang-format off
        row("encoding", [](const Data::String &path) { bool isGuess = false; return !File::encoding(path, &isGuess).isEmpty() && isGuess; });
        row("encodingOf", [bytes](const Data::String &) { bool isGuess = false; return !File::encodingOf(bytes, &isGuess).isEmpty() && isGuess; });
        // clang-format on
        row("search", search, /*mayThrow=*/true);
    }

    void tellsThatTheMemoryEnds()
    {
        QFETCH(Operation, operation);
        QFETCH(FailingMemory::Mode, mode);
        QFETCH(bool, mayThrow);
        const Data::String path = file(QByteArray("a;\xb0\n1;2,5\n").repeated(6000));
        QVERIFY(operation(path)); // so that Qt has made its static objects
        int counts[Ended + 1] = {};
        int n = 0;
        const int mostProcesses = 300;
        for (int i = 0; counts[Complete] == 0 && i < mostProcesses; ++i) {
            // In a process of its own, which Qt may end. The next one continues after that.
            int ends[2];
            QCOMPARE(pipe(ends), 0);
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0)
                sendOutcomes(ends[1], operation, path, n, mode);
            close(ends[1]);
            char outcome = Done;
            for (; read(ends[0], &outcome, 1) == 1; ++n) {
                QVERIFY2(outcome != NotTold && (outcome != Thrown || mayThrow),
                         qPrintable(QString("%1 at %2").arg(int(outcome)).arg(n)));
                ++counts[int(outcome)];
            }
            close(ends[0]);
            QCOMPARE(waitpid(child, nullptr, 0), child);
            if (counts[Complete] == 0) {
                ++counts[Ended];
                ++n;
            }
        }
        QCOMPARE(counts[Complete], 1);
        QVERIFY(counts[Told] + counts[Thrown] > 0);
    }

    void readsAndWritesNoEncodedTextThatIsTooLarge()
    {
        const QByteArray bytes(3 * mebibyte, '\xb0');
        const QString path = file(bytes);
        const QString target = file("as it was");
        const Data::String text = QString::fromLatin1(bytes);
        for (const char *const name : {"windows-1252", "Shift_JIS", "auto"}) {
            const Data::String encoding = name;
            FailingMemory memory(mebibyte, FailingMemory::Larger);
            const Data::String read = File::read(path, encoding);
            memory.end();
            QVERIFY(memory.hasFailed());
            QCOMPARE(read, Data::String());
            QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.memory"));
        }

        const Data::String encoding = "windows-1252";
        FailingMemory memory(mebibyte, FailingMemory::Larger);
        const bool isWritten = File::write(target, text, encoding);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isWritten);
        QCOMPARE(File::lastError(), Data::String(".Kelm.Utils.err.memory"));
        QCOMPARE(File::readRaw(target), QByteArray("as it was"));
    }

    void keepsTheTagsBeforeOneThatIsTooLarge()
    {
        QString text = "*first\nkey: 1\n*second\nkey: " + QString(3 * mebibyte, 'x') + "\n";
        QTextStream stream(&text);
        TagFile tags;
        Data::String error;

        FailingMemory memory(mebibyte, FailingMemory::Larger);
        const bool isRead = tags.read(stream, error);
        memory.end();

        QVERIFY(memory.hasFailed());
        QVERIFY(isRead);
        QVERIFY(tags.numTags() > 0);
        QCOMPARE(tags.tag(0).name, Data::String("first"));
    }

private:
    /// How an operation ends in a process whose memory does.
    enum Outcome
    {
        Complete, ///< the memory has sufficed
        Done,     ///< it has not, and the operation has succeeded all the same
        Told,     ///< the operation has failed, with a reason
        NotTold,
        Thrown,
        Ended ///< the process, by Qt
    };

    /// The outcome with memory for \p count allocations.
    static Outcome outcomeOf(const Operation &operation, const Data::String &path, int count,
                             FailingMemory::Mode mode)
    {
        FailingMemory memory(count, mode);
        bool isDone = false;
        try {
            isDone = operation(path);
        } catch (const std::bad_alloc &) {
            return Thrown;
        }
        memory.end();
        if (!memory.hasFailed())
            return isDone ? Complete : NotTold;
        if (isDone)
            return Done;
        return File::lastError().isEmpty() ? NotTold : Told;
    }

    /// Sends a byte for the outcome with each number of allocations from \p count on, up to the
    /// first one that is enough, or at which a reason is missing.
    [[noreturn]] static void sendOutcomes(int pipe, const Operation &operation,
                                          const Data::String &path, int count,
                                          FailingMemory::Mode mode)
    {
        for (const int signal : {SIGSEGV, SIGBUS, SIGABRT})
            ::signal(signal, SIG_DFL);
        close(STDERR_FILENO);
        for (bool isLast = false; !isLast; ++count) {
            alarm(20); // for a lock of Qt that is never released
            const char outcome = static_cast<char>(outcomeOf(operation, path, count, mode));
            isLast = write(pipe, &outcome, 1) != 1 || outcome == Complete || outcome == NotTold;
        }
        _exit(0);
    }

    /// Removes with memory for \p count allocations. Whether one has failed.
    static bool failsToRemove(const Data::String &path, const Data::String &exceptions, int count,
                              FailingMemory::Mode mode)
    {
        FailingMemory memory(count, mode);
        try {
            File::remove(path, exceptions);
        } catch (const std::bad_alloc &) {
        }
        memory.end();
        return memory.hasFailed();
    }

    QString file(const QByteArray &contents)
    {
        return makeFile(m_folder.filePath(QString::number(++m_files)), contents);
    }

    const QTemporaryDir m_folder;
    int m_files = 0;
};

QTEST_MAIN(tst_File_memory)
#include "tst_File_memory.moc"
