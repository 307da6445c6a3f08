#include "utils/files/File.h"
#include "utils/tagfile/TagFile.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/Print.h"
#include "tests/support/ReadFault.h"
#include "tests/tagfile/Tags.h"

#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtTest>

#include <functional>
#include <new>
#include <thread>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

Q_DECLARE_METATYPE(std::function<void(Utils::TagFile::Tag &)>)

using Utils::TagFile;

static const char readKey[] = ".Kelm.Utils.err.fileread";
static const char writeKey[] = ".Kelm.Utils.err.filewrite";

/// Tags enough for some blocks, with a bit of all that there is.
static void fill(TagFile &file, int tags = 3)
{
    file.addFileType("curve", "2", "made by hand");
    for (int i = 0; i < tags; ++i) {
        TagFile::Tag &tag = file.addTag("a tag with a name", "");
        tag.add("key", QString::number(1000000 + i)).add("a:b", "true").addComment("note");
        tag.add("\u00e4", "a value\nof two lines");
    }
}

class tst_TagFile_faults : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

    Data::String path(const char *name) const { return m_folder.filePath(name); }

    static void addModes()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("once") << int(FailingMemory::Once);
        QTest::newRow("for good") << int(FailingMemory::FromThenOn);
    }

private Q_SLOTS:
    void readsNothingOfAFileThatBreaksOff_data()
    {
        QTest::addColumn<qint64>("offset");
        for (const qint64 offset : {0, 3, 1000, 16384, 16385, 40000})
            QTest::newRow(qPrintable(QString::number(offset))) << offset;
    }

    void readsNothingOfAFileThatBreaksOff()
    {
        QFETCH(qint64, offset);
        TagFile written;
        fill(written, 1000);
        Data::String error = "before";
        const Data::String file = path("large");
        QVERIFY(written.save(file, error));
        TagFile tags;
        tags.addTag("there", "");
        QStringList errors{"before"};
        const int filesBefore = openFiles();
        const ReadFault bad(file, offset);

        QVERIFY(!tags.read(file, error));
        QVERIFY(!tags.read(file, errors));

        QVERIFY(bad.count() > 0);
        QCOMPARE(error, Data::String(readKey));
        QCOMPARE(errors, QStringList({"before", readKey}));
        QCOMPARE(describe(tags), QStringList("-1 there: "));
        QCOMPARE(TagFile(file).numTags(), 0);
        QCOMPARE(openFiles(), filesBefore);
    }

    void readsNothingOfAFileThatBreaksOffForAWhile()
    {
        TagFile written;
        fill(written, 1000);
        Data::String error;
        const Data::String file = path("large");
        QVERIFY(written.save(file, error));
        TagFile tags;
        // At the start of what Qt reads at once: after other bytes, Qt would try the read again.
        const ReadFault bad(file, 32768, EIO, 1);

        const bool isRead = tags.read(file, error);

        QCOMPARE(bad.count(), 1);
        QCOMPARE(tags.numTags(), isRead ? 1001 : 0);
    }

    void readsAFileThatBreaksOffBehindItsEnd()
    {
        TagFile written;
        fill(written, 10);
        Data::String error;
        const Data::String file = path("whole");
        QVERIFY(written.save(file, error));
        const ReadFault bad(file, QFileInfo(file).size());
        TagFile tags;

        QVERIFY(tags.read(file, error));

        QCOMPARE(tags.numTags(), 11);
    }

    void readsAFileWhoseSizeIsNotTold()
    {
        // The name of the thread is a file of 0 bytes, which has some all the same.
        const QByteArray file = "/proc/self/task/" + QByteArray::number(int(gettid())) + "/comm";
        char nameBefore[16] = {};
        QCOMPARE(prctl(PR_GET_NAME, nameBefore), 0);
        QCOMPARE(prctl(PR_SET_NAME, "*tag"), 0);
        QCOMPARE(QFileInfo(file).size(), qint64(0));
        TagFile tags;
        Data::String error;

        const bool isRead = tags.read(Data::String(file.constData()), error);

        prctl(PR_SET_NAME, nameBefore);
        QVERIFY(isRead);
        QCOMPARE(describe(tags), QStringList("1 tag: "));
    }

    void readsAPipeToItsEnd()
    {
        const QByteArray name = path("pipe").toUtf8();
        QCOMPARE(mkfifo(name.constData(), 0600), 0);
        std::thread writer([&] {
            QFile pipe(name);
            if (!pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
                return;
            pipe.write("*a\nk: v\n");
            QThread::msleep(20); // so that there is nothing to be read for a moment
            pipe.write("*b\nl: w\n");
        });
        TagFile tags;
        Data::String error;

        const bool isRead = tags.read(Data::String(name.constData()), error);

        writer.join();
        QVERIFY(isRead);
        QCOMPARE(describe(tags), QStringList({"1 a: k=v", "3 b: l=w"}));
    }

    void tagStaysAsItWasWhereTheMemoryEnds_data()
    {
        using Tag = TagFile::Tag;
        using Change = std::function<void(Tag &)>;
        QTest::addColumn<Change>("change");
        // clang-format off
        QTest::newRow("add") << Change([](Tag &tag) { tag.add("new", "value"); });
        QTest::newRow("remove") << Change([](Tag &tag) { tag.remove("a"); });
        QTest::newRow("replace") << Change([](Tag &tag) { tag.replace("a", "other"); });
        QTest::newRow("replace what is not there") << Change([](Tag &tag) { tag.replace("new", "other"); });
        QTest::newRow("fromList") << Change([](Tag &tag) {
            tag.fromList({"x: 1", "y:2", "one", "two", "z: 3", "u: 4", "v: 5"}, 0);
        });
        // clang-format on
    }

    void tagStaysAsItWasWhereTheMemoryEnds()
    {
        QFETCH(std::function<void(TagFile::Tag &)>, change);
        TagFile::Tag before("tag");
        before.add("a", "1").add("b", "2");
        TagFile::Tag after = before;
        change(after);

        int failures = 0;
        for (int n = 0;; ++n) {
            TagFile::Tag tag = before; // shares its lists
            bool isThrown = false;
            FailingMemory memory(n, FailingMemory::Once);
            try {
                change(tag);
            } catch (const std::bad_alloc &) {
                isThrown = true;
            }
            memory.end();

            QCOMPARE(tag.keys, isThrown ? before.keys : after.keys);
            QCOMPARE(tag.values, isThrown ? before.values : after.values);
            failures += isThrown;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 1);
    }

    void fileStaysAsItWasWhereTheMemoryEndsForAHeader()
    {
        int failures = 0;
        for (int n = 0;; ++n) {
            TagFile file;
            file.addTag("tag", "");
            bool isThrown = false;
            FailingMemory memory(n, FailingMemory::Once);
            try {
                file.addFileType("type", "2", "");
            } catch (const std::bad_alloc &) {
                isThrown = true;
            }
            memory.end();

            QCOMPARE(file.numTags(), isThrown ? 1 : 2);
            QCOMPARE(file.fileVersion(), Data::String(isThrown ? "" : "2"));
            failures += isThrown;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 3);
    }

    void keepsItsMessagesWhereTheMemoryEnds()
    {
        const Data::String first = "the first message";
        const Data::String second = "the second message";
        int failures = 0;
        for (int n = 0;; ++n) {
            TagFile file;
            file.addErrorMessage(first);
            bool isThrown = false;
            FailingMemory memory(n, FailingMemory::Once);
            try {
                file.addErrorMessage(second);
            } catch (const std::bad_alloc &) {
                isThrown = true;
            }
            memory.end();

            QCOMPARE(file.errorMessage(false),
                     isThrown ? first : Data::String(first + "\n" + second));
            failures += isThrown;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 0);
    }

    void hasWhatAStreamHasReadInFrontOfABreak()
    {
        const Data::String name = makeFile(path("stream"), "*a\nk: v\n*b\nl: w\n");
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QTextStream in(&file);
        const ReadFault bad(name, 10);
        TagFile tags;
        Data::String error = "untouched";

        QVERIFY(tags.read(in, error));

        QVERIFY(bad.count() > 0);
        QCOMPARE(error, Data::String("untouched"));
        QVERIFY(describe(tags).contains("1 a: k=v"));
        QVERIFY(file.error() != QFileDevice::NoError); // which is how a caller knows
    }

    void readsAllOrNothingWhereTheMemoryEnds_data() { addModes(); }

    void readsAllOrNothingWhereTheMemoryEnds()
    {
        QFETCH(int, mode);
        TagFile written;
        fill(written);
        const Data::String file = path("read");
        Data::String unused;
        QVERIFY(written.save(file, unused));
        TagFile whole;
        whole.addTag("there", "");
        const QStringList before = describe(whole);
        QVERIFY(whole.read(file, unused));
        const QStringList after = describe(whole);
        const int filesBefore = openFiles();

        int failures = 0;
        for (int n = 0;; ++n) {
            TagFile tags;
            tags.addTag("there", "");
            Data::String error = "before";
            QStringList errors;
            bool isRead = false;
            FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
            try {
                isRead = n % 2 ? tags.read(file, error) : tags.read(file, errors);
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            QCOMPARE(describe(tags), isRead ? after : before);
            QVERIFY(isRead || error == "before" || error == readKey);
            QCOMPARE(openFiles(), filesBefore);
            failures += !isRead;
            if (!memory.hasFailed()) {
                QVERIFY(isRead);
                break;
            }
        }
        QVERIFY(failures > 10);
    }

    void savesAllOrTellsWhereTheMemoryEnds_data() { addModes(); }

    void savesAllOrTellsWhereTheMemoryEnds()
    {
        QFETCH(int, mode);
        const Data::String file = path("saved");
        Data::String error;
        TagFile tags;
        fill(tags);
        tags.mtag(0).add("long", QString(70000, 'x')).add("last", "v\nw");
        QVERIFY(tags.save(file, error));
        const QByteArray whole = contentsOf(file);
        const QStringList held = describe(tags);
        const int filesBefore = openFiles();

        int failures = 0;
        for (int n = 0;; ++n) {
            makeFile(file, "old");
            error = "before";
            bool isSaved = false;
            FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
            try {
                isSaved = tags.save(file, error);
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            const QByteArray content = contentsOf(file);
            if (isSaved)
                QVERIFY(content == whole);
            else
                QVERIFY(content == "old" || whole.startsWith(content));
            QVERIFY(error == "before" || (!isSaved && error == writeKey));
            QCOMPARE(openFiles(), filesBefore);
            QCOMPARE(describe(tags), held);
            failures += !isSaved;
            if (!memory.hasFailed()) {
                QVERIFY(isSaved);
                break;
            }
        }
        QVERIFY(failures > 3);
    }

    void opensNoFileWithoutMemoryForIt()
    {
        const Data::String file = makeFile(path("unopened"), "old");
        Data::String error;
        TagFile tags;

        FailingMemory memory(0, FailingMemory::Once);
        const bool isOpen = tags.open(file, error);
        memory.end();
        tags.writeTag("name", "key", true);
        tags.close();

        QVERIFY(memory.hasFailed());
        QVERIFY(!isOpen);
        QCOMPARE(error, Data::String(writeKey));
        QCOMPARE(contentsOf(file), QByteArray("old"));
        QVERIFY(tags.open(file, error));
        tags.close();
        QCOMPARE(contentsOf(file), QByteArray());
    }

    // Memory runs out only after open(): Qt does not survive it while a stream is connected.

    void streamsUpToWhereTheMemoryEnds_data() { addModes(); }

    void streamsUpToWhereTheMemoryEnds()
    {
        QFETCH(int, mode);
        const Data::String file = path("streamed");
        const Data::String key = "key";
        const Data::String name = "name";
        const Data::String value = QString(9000, QChar(0xe4));
        Data::String error;
        TagFile tags;
        const auto stream = [&] {
            tags.writeFileType(name, key, value);
            for (int i = 0; i < 5; ++i)
                tags.writeTag(name, key, true).writeProperty(key, value);
            tags.close();
        };
        QVERIFY(tags.open(file, error));
        stream();
        const QByteArray whole = contentsOf(file);
        const int filesBefore = openFiles();

        int failures = 0;
        for (int n = 0;; ++n) {
            QVERIFY(tags.open(file, error));
            FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
            try {
                stream();
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            const QByteArray content = contentsOf(file);
            QVERIFY(whole.startsWith(content));
            QCOMPARE(openFiles(), filesBefore);
            failures += content != whole;
            if (!memory.hasFailed()) {
                QVERIFY(content == whole);
                break;
            }
        }
        QVERIFY(failures > 3);
    }

    void replacesAFileSafelyOrTellsWhereTheMemoryEnds_data() { addModes(); }

    void replacesAFileSafelyOrTellsWhereTheMemoryEnds()
    {
        using Utils::File;
        QFETCH(int, mode);
        File::setSafeWriting(true);
        const auto unsafe = qScopeGuard([] { File::setSafeWriting(false); });
        const QTemporaryDir folder;
        const Data::String file = folder.filePath("safe");
        const Data::String name = "name";
        const Data::String empty = "";
        Data::String error;
        TagFile tags;
        const int filesBefore = openFiles();

        int failures = 0;
        for (int n = 0;; ++n) {
            makeFile(file, "old");
            QVERIFY(tags.open(file, error));
            tags.writeTag(name, empty, false);
            FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
            try {
                tags.close();
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            const bool isReplaced = File::lastError().isEmpty();
            QCOMPARE(contentsOf(file), QByteArray(isReplaced ? "*name\n" : "old"));
            QVERIFY(isReplaced || File::lastError() == ".Kelm.Utils.err.memory");
            QCOMPARE(openFiles(), filesBefore);
            QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
            failures += !isReplaced;
            if (!memory.hasFailed()) {
                QVERIFY(isReplaced);
                break;
            }
        }
        QVERIFY(failures > 0);
    }

    void givesAllTextOrNoneWhereTheMemoryEnds()
    {
        TagFile tags;
        fill(tags);
        const Data::String whole = tags.toString();
        for (int n = 0;; ++n) {
            Data::String text;
            FailingMemory memory(n, FailingMemory::FromThenOn);
            try {
                text = tags.toString();
            } catch (...) {
                memory.end();
                QFAIL(qPrintable(QString("throws at %1").arg(n)));
            }
            memory.end();

            QCOMPARE(text, memory.hasFailed() ? Data::String() : whole);
            if (!memory.hasFailed())
                break;
        }
    }

    void leavesNoGapInAStreamWhereADiskWasFullForAWhile()
    {
        static FullDisk *fullDisk = nullptr;
        TagFile tags;
        Data::String error;
        {
            FullDisk disk(1000, [](int) { fullDisk->makeRoom(); });
            fullDisk = &disk;
            QVERIFY(tags.open(path("gap"), error));
            for (int i = 0; i < 10000; ++i)
                tags.writeProperty("k", QString::number(1000000 + i));
            tags.close();
        }

        QByteArray whole;
        for (int i = 0; i < 100; ++i)
            whole += "k: " + QByteArray::number(1000000 + i) + '\n';
        QCOMPARE(contentsOf(path("gap")), whole.left(1000));
    }

    void keepsThePermissionsOfTheFile()
    {
        const QString file = makeFile(path("kept"), "before");
        const QFile::Permissions permissions =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QVERIFY(QFile::setPermissions(file, permissions));
        TagFile tags;
        fill(tags);
        Data::String error;

        QVERIFY(tags.save(file, error));

        QCOMPARE(QFile::permissions(file), permissions);
    }
};

QTEST_GUILESS_MAIN(tst_TagFile_faults)
#include "tst_TagFile_faults.moc"
