#include "utils/files/FileByteReader.h"

#include "tests/support/Files.h"
#include "tests/support/Limits.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Qemu.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Vtable.h"
#include "tests/support/Windows.h"

#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <memory>
#include <type_traits>

using Utils::FileByteReader;

static const int block = 10240; // of the rule about zero bytes

/// Keeps the lines that are pushed to it, and asks for no more after some.
class ByteCollector : public FileByteReader
{
public:
    using FileByteReader::FileByteReader;

    QList<QByteArray> lines;
    int most = INT_MAX;

    static int lineReadIndex() { return vtableIndex(&ByteCollector::lineRead); }

protected:
    bool lineRead(const QByteArray &line) override
    {
        lines.append(line);
        return lines.size() < most;
    }
};

/// The line, or "(false)", of one call of readLine().
static QByteArray pull(FileByteReader &reader, bool trim = false)
{
    QByteArray line = "before";
    if (reader.readLine(line, trim))
        return line;
    return line.isEmpty() ? "(false)" : "false, but not emptied";
}

class tst_FileByteReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void readsTheLinesOfAFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QList<QByteArray>>("lines"); // with "(false)" for those of no length

        const auto row = [](const char *name, const QByteArray &contents,
                            const QList<QByteArray> &lines) {
            QTest::newRow(name) << contents << lines;
        };
        // clang-format off
        row("nothing", "", {});
        row("no line end", "a", {});
        row("a last line without its end", "a\nb", {"a"});
        row("a last line with its end", "a\nb\n", {"a", "b"});
        row("an empty line", "a\n\nb\n", {"a", "(false)", "b"});
        row("only empty lines", "\n\n", {"(false)", "(false)"});
        row("CR LF", "a\r\nb\r\n", {"a", "b"});
        row("empty lines with CR LF", "a\r\n\r\nb\r\n", {"a", "", "b"});
        row("two CR", "a\r\r\n", {"a\r"});
        row("a lone CR", "a\rb\n", {"a\rb"});
        row("a CR that ends the file", "a\nb\r", {"a"});
        row("blanks", "  a \n\t\n", {"  a ", "\t"});
        row("any bytes", "\xff\xfe\n\xef\xbb\xbf" "a\n", {"\xff\xfe", "\xef\xbb\xbf" "a"});
        row("a zero byte", QByteArray("a\0b\nc\n", 6), {});
        row("a zero byte after a line", QByteArray("a\nb\0c\nd\n", 8), {"a"});
        // clang-format on
    }

    void readsTheLinesOfAFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QList<QByteArray>, lines);
        const QString path = makeFile(m_folder->filePath("file"), contents);

        FileByteReader reader(path);
        QList<QByteArray> pulled;
        for (int i = 0; i < lines.size(); ++i)
            pulled.append(pull(reader));

        QVERIFY(reader.isOpen());
        QCOMPARE(pulled, lines);
        QCOMPARE(reader.lineCount(), lines.size());
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), lines.size()); // the end moves nothing
        QCOMPARE(reader.nextLine(), QByteArray());
    }

    void pushesTheLinesOfAFile_data() { readsTheLinesOfAFile_data(); }

    void pushesTheLinesOfAFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QList<QByteArray>, lines);
        ByteCollector reader(makeFile(m_folder->filePath("file"), contents));
        const int firstEmpty = lines.indexOf("(false)");

        reader.readFile();

        QCOMPARE(reader.lines, lines.mid(0, firstEmpty));
        QCOMPARE(reader.lineCount(), firstEmpty < 0 ? lines.size() : firstEmpty + 1);
    }

    void readsNothingFromWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("missing") << "missing";
        QTest::newRow("a folder") << ".";
        QTest::newRow("a path too long") << QString("x/").repeated(2000);
    }

    void readsNothingFromWhatIsNoFile()
    {
        QFETCH(QString, name);

        ByteCollector reader(m_folder->filePath(name));

        QVERIFY(!reader.isOpen());
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.nextLine(), QByteArray());
        QCOMPARE(reader.lineCount(), 0);
        reader.readFile();
        QCOMPARE(reader.lines, QList<QByteArray>());
        QCOMPARE(reader.read(10), QByteArray());
    }

    void readsNothingThatIsLargerThanTheMemory()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const QString file = makeFile(m_folder->filePath("lines"), QByteArray(60 << 20, '\n'));
        FileByteReader reader(file);
        const Limit memory(RLIMIT_AS, memoryInUse() + (150 << 20));

        QVERIFY(reader.nextLine().isEmpty());
        QVERIFY(reader.nextLine().isEmpty());
        reader.readFile();
    }

    void opensNoFileThatMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const OrdinaryUser user(m_folder->path());
        const QString file = makeFile(m_folder->filePath("unreadable"), "text\n");
        QVERIFY(QFile::setPermissions(file, QFile::Permissions()));

        FileByteReader reader(file);

        QVERIFY(!reader.isOpen());
        QVERIFY(reader.nextLine().isEmpty());
    }

    void findsAFileByAUnicodePath()
    {
        FileByteReader reader(makeFile(m_folder->filePath("\u00e4 \u65e5"), "text\n"));

        QCOMPARE(reader.nextLine(), QByteArray("text"));
    }

    void trimsLinesWhenAskedTo()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), " a \t\r\n   \n\xc2\xa0"
                                                                   "b \n c \n"));

        QCOMPARE(pull(reader, true), QByteArray("a"));
        QCOMPARE(pull(reader, true), QByteArray());
        QCOMPARE(pull(reader, true), QByteArray("\xc2\xa0"
                                                "b")); // blanks of ASCII only
        QCOMPARE(pull(reader, false), QByteArray(" c "));
    }

    void givesAnEmptyValueForALineOfNoLength()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "a\n\nb\n"));

        QCOMPARE(reader.nextLine(), QByteArray("a"));
        QCOMPARE(reader.nextLine(), QByteArray());
        QCOMPARE(reader.nextLine(), QByteArray("b"));
        QCOMPARE(reader.lineCount(), 3);
    }

    void goesBackALine()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "a\nbb\nccc\n"));
        QCOMPARE(reader.nextLine(), QByteArray("a"));
        QCOMPARE(reader.nextLine(), QByteArray("bb"));

        reader.rereadLine();
        QCOMPARE(reader.lineCount(), 1);
        QCOMPARE(reader.nextLine(), QByteArray("bb"));
        reader.rereadLine();
        reader.rereadLine();
        QCOMPARE(reader.lineCount(), 0);

        QCOMPARE(pull(reader), QByteArray("a"));
        QCOMPARE(pull(reader), QByteArray("bb"));
        QCOMPARE(pull(reader), QByteArray("ccc"));
        QCOMPARE(pull(reader), QByteArray("(false)"));
        reader.rereadLine(); // the end is no line
        QCOMPARE(pull(reader), QByteArray("ccc"));
    }

    void staysAtTheFirstLineWhenItGoesBack()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "a\nb\n"));

        reader.rereadLine();
        QCOMPARE(reader.lineCount(), 0);
        QCOMPARE(reader.nextLine(), QByteArray("a"));
    }

    void goesBackOverWhatItHasPushed()
    {
        ByteCollector reader(makeFile(m_folder->filePath("file"), "a\nb\nc\n"));
        reader.most = 2;
        reader.readFile();

        reader.rereadLine();

        QCOMPARE(reader.nextLine(), QByteArray("b"));
    }

    void pushesLinesUntilOneIsRefused()
    {
        ByteCollector reader(makeFile(m_folder->filePath("file"), "a\nb\nc\nd\n"));

        reader.most = 1;
        reader.readFile();
        QCOMPARE(reader.lines, QList<QByteArray>{"a"});
        QCOMPARE(reader.lineCount(), 1);
        QCOMPARE(reader.nextLine(), QByteArray("b"));
        reader.most = INT_MAX;
        reader.readFile();

        QCOMPARE(reader.lines, (QList<QByteArray>{"a", "c", "d"}));
        QCOMPARE(reader.lineCount(), 4);
    }

    void stopsPushingAtALineOfNoLengthButMayGoOn()
    {
        ByteCollector reader(makeFile(m_folder->filePath("file"), "a\n\n b \n\r\nc\n"));

        reader.readFile();
        QCOMPARE(reader.lines, QList<QByteArray>{"a"});
        QCOMPARE(reader.lineCount(), 2);
        reader.readFile();

        QCOMPARE(reader.lines, (QList<QByteArray>{"a", " b ", "", "c"})); // never trimmed
        QCOMPARE(reader.lineCount(), 5);
    }

    void pushesEverythingToABaseThatTakesIt()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "a\nb\n"));

        reader.readFile();

        QCOMPARE(reader.lineCount(), 2);
    }

    void missesLineFeedsBehindAZeroByteOfTheSameBlock()
    {
        const int size = 3 * block;
        QByteArray contents(size, 'x');
        contents[4] = '\n';
        contents[10] = '\0';
        contents[20] = '\n';            // not seen
        contents[block - 1] = '\n';     // not seen, the last byte of the block
        contents[block] = '\n';         // the first of the next one
        contents[2 * block - 1] = '\0'; // hides nothing
        contents[2 * block + 5] = '\n';
        FileByteReader reader(makeFile(m_folder->filePath("file"), contents));

        QCOMPARE(pull(reader), contents.mid(0, 4));
        QCOMPARE(pull(reader), contents.mid(5, block - 5));
        QCOMPARE(pull(reader), contents.mid(block + 1, block + 4));
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), 3);
    }

    void readsEveryLineOfAFileOfManyBlocks_data()
    {
        QTest::addColumn<int>("longest");

        QTest::newRow("short lines") << 7;
        QTest::newRow("lines of a block and more") << 2 * block;
        QTest::newRow("lines longer than what is read in one go") << 500 * 1000;
    }

    void readsEveryLineOfAFileOfManyBlocks()
    {
        QFETCH(int, longest);
        QByteArray contents;
        QList<QByteArray> lines;
        for (int i = 0; contents.size() < 2 * 1000 * 1000; ++i) {
            lines.append(QByteArray(i * 7919 % longest, 'x') + QByteArray::number(i));
            contents += lines.last() + (i % 3 == 0 ? "\r\n" : "\n");
        }
        const QString path = makeFile(m_folder->filePath("file"), contents);

        ByteCollector pushing(path);
        pushing.readFile();
        FileByteReader backwards(path);
        QCOMPARE(backwards.nextLine(), lines.first());
        backwards.readFile();
        QList<QByteArray> reversed;
        for (int i = 0; i < qMin(500, lines.size()); ++i) {
            backwards.rereadLine();
            reversed.prepend(backwards.nextLine());
            backwards.rereadLine();
        }

        QCOMPARE(pushing.lines.size(), lines.size());
        QVERIFY(pushing.lines == lines);
        QVERIFY(reversed == lines.mid(lines.size() - reversed.size()));
    }

    void readsBytesFromWhereItStands()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "abcdef"));

        QCOMPARE(reader.read(2), QByteArray("ab"));
        QCOMPARE(reader.read(0), QByteArray());
        QCOMPARE(reader.read(-1), QByteArray());
        QCOMPARE(reader.read(LONG_MIN), QByteArray());
        QCOMPARE(reader.read(1), QByteArray("c"));
        QCOMPARE(reader.read(100), QByteArray("def"));
        QCOMPARE(reader.read(100), QByteArray());
        QCOMPARE(reader.lineCount(), 0);
    }

    void readsMoreBytesThanItWasAskedForNever_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<qint64>("asked");

        QTest::newRow("all of a large file") << 5 * 1000 * 1000 << qint64(LONG_MAX);
        QTest::newRow("exactly all") << 5 * 1000 * 1000 << qint64(5 * 1000 * 1000);
        QTest::newRow("a part of it") << 5 * 1000 * 1000 << qint64(3 * 1000 * 1000 + 1);
        QTest::newRow("all of a small file") << 10 << qint64(LONG_MAX);
        if (sizeof(long) > 4)
            QTest::newRow("more than an int") << 10 << (qint64(1) << 32) + 3;
    }

    void readsMoreBytesThanItWasAskedForNever()
    {
        QFETCH(int, size);
        QFETCH(qint64, asked);
        QByteArray contents(size, 'x');
        for (int i = 0; i < size; i += 101)
            contents[i] = char('a' + i % 26);
        FileByteReader reader(makeFile(m_folder->filePath("file"), contents));

        const QByteArray bytes = reader.read(long(asked));

        QVERIFY(bytes == contents.left(int(qMin<qint64>(asked, size))));
    }

    void standsBehindALineAndInFrontOfItsEnd()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "ab\ncd\r\n\nef\n"));

        QCOMPARE(reader.nextLine(), QByteArray("ab"));
        QCOMPARE(reader.read(1), QByteArray("\n"));
        QCOMPARE(reader.read(1), QByteArray("c"));
        QCOMPARE(reader.nextLine(), QByteArray("cd")); // independent of the index
        QCOMPARE(reader.read(2), QByteArray("\n\n"));  // after the CR, which was read
        QCOMPARE(reader.nextLine(), QByteArray());     // a line of no length
        QCOMPARE(reader.read(1), QByteArray("\n"));
        QCOMPARE(reader.nextLine(), QByteArray("ef"));
        QCOMPARE(reader.nextLine(), QByteArray());
        QCOMPARE(reader.read(10), QByteArray("\n"));
        QCOMPARE(reader.lineCount(), 4);
    }

    void standsAtTheEndWhenTheIndexWasJustBuilt()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "no line end"));

        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.read(10), QByteArray());
    }

    void seesNoLineFeedsInWhatWasReadBeforeTheIndex()
    {
        FileByteReader reader(makeFile(m_folder->filePath("file"), "a\nb\nc\nd\n"));
        QCOMPARE(reader.read(3), QByteArray("a\nb"));

        QCOMPARE(pull(reader), QByteArray("a\nb"));
        QCOMPARE(pull(reader), QByteArray("c"));
        QCOMPARE(pull(reader), QByteArray("d"));
        QCOMPARE(pull(reader), QByteArray("(false)"));
    }

    void countsTheBlocksFromWhereTheIndexStarts()
    {
        QByteArray contents(2 * block, 'x');
        contents[10] = '\0';
        contents[block] = '\n';     // in the block of the zero byte, which starts at 5
        contents[block + 5] = '\n'; // the first byte of the next one
        FileByteReader reader(makeFile(m_folder->filePath("file"), contents));
        QCOMPARE(reader.read(5).size(), 5);

        QCOMPARE(pull(reader), contents.left(block + 5));
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), 1);
    }

    void readsNoMoreThanIsLeftOfAFileThatWasCut()
    {
        QFile file(makeFile(m_folder->filePath("file"), QByteArray(300 * 1000, 'x') + "\nb\n"));
        FileByteReader reader(file.fileName());
        QCOMPARE(reader.nextLine().size(), 300 * 1000);
        reader.rereadLine();

        QVERIFY(file.resize(250 * 1000));

        QVERIFY(reader.nextLine() == QByteArray(250 * 1000, 'x'));
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), 2);
    }

    void hasNoLinesOfAFileThatCannotBeRead()
    {
        const QString path("/sys/class/net/lo/speed");
        if (!QFile::exists(path))
            QSKIP("there is no such file here");

        ByteCollector reader(path);
        reader.readFile();

        QVERIFY(reader.isOpen());
        QCOMPARE(reader.lines, QList<QByteArray>());
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.read(10), QByteArray());
        QCOMPARE(reader.lineCount(), 0);
    }

    void hasNoLinesOfAFileThatCannotBeReadWhole_data()
    {
        QTest::addColumn<int>("offset"); // of the first byte that cannot be read
        QTest::newRow("at the start") << 0;
        QTest::newRow("within a line") << 13;
        QTest::newRow("after a line") << 16;
        QTest::newRow("after the blocks of an index") << 40 * block;
        QTest::newRow("in the last byte") << 499999;
    }

    void hasNoLinesOfAFileThatCannotBeReadWhole()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(int, offset);
        const QByteArray contents = QByteArray("1234567\n").repeated(62500);
        const QString path = makeFile(m_folder->filePath("file"), contents);
        ReadFault fault(path, offset);

        ByteCollector reader(path);
        reader.readFile();

        QCOMPARE(reader.lines, QList<QByteArray>());
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), 0);
        QVERIFY(fault.count() > 0);
        fault.repair();
        QCOMPARE(pull(reader), QByteArray("(false)")); // a part of a file stays none
    }

    void readsOnWhereASignalHasInterrupted()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QByteArray line(50 * 1000, 'x');
        const QString path = makeFile(m_folder->filePath("file"), (line + '\n').repeated(10));
        ByteCollector reader(path);
        {
            const ReadFault interrupted(path, 1234, EINTR, 1);
            QCOMPARE(pull(reader), line);
            QCOMPARE(interrupted.count(), 1);
        }

        const ReadFault interrupted(path, 300 * 1000, EINTR, 1);
        reader.readFile();

        QCOMPARE(reader.lines.size(), 9);
        QCOMPARE(interrupted.count(), 1);
    }

    void readsNoLineInPart_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("offset"); // in the line, of the first byte that cannot be read

        QTest::newRow("a short line") << QByteArray("short") << 2;
        QTest::newRow("its first byte") << QByteArray("short") << 0;
        QTest::newRow("its last byte") << QByteArray("short") << 4;
        QTest::newRow("a long line") << QByteArray(300 * 1000, 'x') << 200 * 1000;
    }

    void readsNoLineInPart()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(QByteArray, line);
        QFETCH(int, offset);
        const QByteArray before = QByteArray(100 * 1000, 'a') + '\n' + QByteArray(50 * 1000, 'b');
        const QString path = makeFile(m_folder->filePath("file"), before + '\n' + line + "\nc\n");
        ByteCollector reader(path);
        QCOMPARE(pull(reader), QByteArray(100 * 1000, 'a'));
        ReadFault fault(path, before.size() + 1 + offset);

        QCOMPARE(pull(reader).size(), 50 * 1000); // which is read with a part of the next one
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), 3);
        reader.rereadLine();
        reader.readFile();
        QCOMPARE(reader.lines, QList<QByteArray>());

        fault.repair();
        reader.rereadLine();
        reader.readFile();
        QCOMPARE(reader.lines, (QList<QByteArray>{line, "c"}));
    }

    void readsBytesUpToAFault_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("offset");
        QTest::newRow("a small file") << 100 << 60;
        QTest::newRow("a large file") << 5 * 1000 * 1000 << 3 * 1000 * 1000;
        QTest::newRow("between the parts of a large file") << 5 * 1000 * 1000 << (1 << 20);
    }

    void readsBytesUpToAFault()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(int, size);
        QFETCH(int, offset);
        QByteArray contents(size, 'x');
        contents[0] = 'a';
        contents[50] = 'b';
        const QString path = makeFile(m_folder->filePath("file"), contents);
        FileByteReader reader(path);
        QCOMPARE(reader.read(50), contents.left(50));
        ReadFault fault(path, offset);

        QVERIFY(reader.read(LONG_MAX) == contents.mid(50, offset - 50));
        QCOMPARE(reader.read(1), QByteArray());

        fault.repair();
        QVERIFY(reader.read(LONG_MAX) == contents.mid(offset));
    }

    void keepsToTheFirstTwoGibibytes()
    {
        // Where holes are read without filling the system's cache, if there is such a place.
        const QString memory = "/dev/shm";
        const QTemporaryDir folder((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                                   "/tst_FileByteReader");
        // Sparse, with a line feed before the zero bytes of every 6,000th block.
        const qint64 limit = qint64(INT_MAX);
        const qint64 step = 6000 * qint64(block);
        QFile file(folder.filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(3 * limit));
        int feeds = 0;
        for (qint64 i = 0; i < 3 * limit; i += step) {
            QVERIFY(file.seek(i) && file.putChar('\n'));
            feeds += i < limit;
        }
        // The block that holds the limit is without zero bytes: a line that ends right below it,
        // and two that do not.
        const qint64 start = limit / block * block;
        QByteArray end(block, 'x');
        end[0] = '\n';
        end[int(limit - start - 4)] = '\n';
        end[int(limit - start - 1)] = '\n';
        end[int(limit - start)] = '\n';
        end[int(limit - start + 2)] = '\n';
        QVERIFY(file.seek(start) && file.write(end) == block);
        file.close();
        FileByteReader reader(file.fileName());

        QCOMPARE(pull(reader), QByteArray("(false)")); // the line feed at 0
        for (int i = 1; i < feeds; ++i)
            QCOMPARE(reader.nextLine().size(), int(step) - 1);
        QCOMPARE(reader.nextLine().size(), int(start - (feeds - 1) * step) - 1);
        QCOMPARE(reader.nextLine().size(), int(limit - start) - 5);
        QCOMPARE(pull(reader), QByteArray("xx"));
        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.lineCount(), feeds + 3);
    }

    void endsOnAFileWithoutEnd()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        FileByteReader reader("/dev/zero");

        QCOMPARE(pull(reader), QByteArray("(false)"));
        QCOMPARE(reader.read(3), QByteArray(3, '\0'));
    }

    void cannotBeCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<FileByteReader>);
        QVERIFY(!std::is_copy_assignable_v<FileByteReader>);
        QCOMPARE(sizeof(FileByteReader), 2 * sizeof(void *)); // vtable and private record
    }

    void keepsTheOrderOfItsVirtualOperations()
    {
        QVERIFY(std::has_virtual_destructor_v<FileByteReader>);
        QCOMPARE(ByteCollector::lineReadIndex(), 2); // after the two entries of the destructor
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_FileByteReader)
#include "tst_FileByteReader.moc"
