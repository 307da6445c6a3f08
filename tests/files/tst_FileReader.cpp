#include "utils/files/FileReader.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/Limits.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Vtable.h"
#include "tests/support/Windows.h"

#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <memory>
#include <random>
#include <type_traits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Data::String;
using Utils::FileReader;

/// Keeps the lines that are pushed to it, and asks for no more after some.
class Collector : public FileReader
{
public:
    using FileReader::FileReader;

    QStringList lines;
    int most = INT_MAX;

    static int lineReadIndex() { return vtableIndex(&Collector::lineRead); }

protected:
    bool lineRead(const String &line) override
    {
        lines.append(line);
        return lines.size() < most;
    }
};

class tst_FileReader : public QObject
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
        QTest::addColumn<QStringList>("lines");

        const auto row = [](const char *name, const QByteArray &contents,
                            const QStringList &lines) { QTest::newRow(name) << contents << lines; };
        // clang-format off
        row("nothing", "", {});
        row("no line end", "a", {"a"});
        row("a last line without its end", "a\nb", {"a", "b"});
        row("a last line with its end", "a\nb\n", {"a", "b"});
        row("CR LF", "a\r\nb\r\n", {"a", "b"});
        row("both line ends", "a\r\nb\nc\r\n", {"a", "b", "c"});
        row("empty lines", "\n\na\n\n", {"", "", "a", ""});
        row("empty lines with CR LF", "\r\n\r\na", {"", "", "a"});
        row("a lone CR", "a\rb\n", {"a\rb"});
        row("two CR", "a\r\r\nb", {"a\r", "b"});
        row("blanks", "  a \n\t\n", {"  a ", "\t"});
        row("UTF-8", "\xc3\xa4\n\xe6\x97\xa5\n\xf0\x9f\x98\x80", {"\u00e4", "\u65e5", "\U0001f600"});
        row("a line separator", "a\xe2\x80\xa8" "b\n", {"a\u2028b"});
        row("a byte order mark", "\xef\xbb\xbf" "a\n", {"a"});
        row("only a byte order mark", "\xef\xbb\xbf", {""});
        row("only a part of a character", "\xc3", {""});
        row("invalid UTF-8", "a\xff" "b\nc\n", {"a\ufffdb", "c"});
        row("a zero byte", QByteArray("a\0b\nc", 5), {QString("a") + QChar(0) + "b", "c"});
        // clang-format on
    }

    void readsTheLinesOfAFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QStringList, lines);
        const String path = makeFile(m_folder->filePath("file"), contents);

        FileReader pulling(path);
        QStringList pulled;
        String line = "before";
        while (pulling.readLine(line, false))
            pulled.append(line);
        Collector pushing(path);
        pushing.readFile();
        FileReader byValue(path);
        QStringList values;
        while (values.size() < lines.size())
            values.append(byValue.nextLine());

        QVERIFY(pulling.isOpen());
        QCOMPARE(pulled, lines);
        QCOMPARE(pulling.lineCount(), lines.size());
        QCOMPARE(line, lines.isEmpty() ? String("before") : String(lines.last()));
        QCOMPARE(pushing.lines, lines);
        QCOMPARE(values, lines);
        QCOMPARE(byValue.lineCount(), lines.size());
        QCOMPARE(byValue.nextLine(), String());
        QCOMPARE(byValue.lineCount(), lines.size());
    }

    void readsNothingFromWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("name");

        QTest::newRow("missing") << "missing";
        QTest::newRow("a folder") << ".";
        QTest::newRow("a name with a zero") << QString("there") + QChar(0);
        QTest::newRow("a path too long") << QString("x/").repeated(2000);
    }

    void readsNothingFromWhatIsNoFile()
    {
        QFETCH(QString, name);
        makeFile(m_folder->filePath("there"), "text");

        Collector reader(m_folder->filePath(name));

        QVERIFY(!reader.isOpen());
        String line = "before";
        QVERIFY(!reader.readLine(line, true));
        QCOMPARE(line, String("before"));
        QCOMPARE(reader.nextLine(), String());
        reader.rereadLine();
        QVERIFY(!reader.readLine(line, false));
        QCOMPARE(reader.lineCount(), 0);
        reader.readFile();
        QCOMPARE(reader.lines, QStringList());
    }

    void endsWhereItsFileCannotBeRead_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("lines");

        const QString device("/sys/class/net/lo/");
        QTest::newRow("at its start") << device + "speed" << QStringList();
        QTest::newRow("at an address that is none") << "/proc/self/mem" << QStringList();
        QTest::newRow("shorter than it tells") << device + "addr_len" << QStringList("6");
    }

    void endsWhereItsFileCannotBeRead()
    {
        QFETCH(QString, path);
        QFETCH(QStringList, lines);
        if (!QFile::exists(path))
            QSKIP("there is no such file here");
        const int most = 1000;

        FileReader pulling(path);
        QStringList pulled;
        String line;
        while (pulled.size() < most && pulling.readLine(line, false))
            pulled.append(line);
        Collector pushing(path);
        pushing.most = most;
        pushing.readFile();

        QVERIFY(pulling.isOpen());
        QCOMPARE(pulled, lines);
        QCOMPARE(pulling.lineCount(), lines.size());
        QCOMPARE(pulling.nextLine(), String());
        QCOMPARE(pushing.lines, lines);
    }

    void endsBeforeALineThatCannotBeReadWhole_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("offset"); // of the first byte that cannot be read
        QTest::addColumn<int>("whole");  // lines before it

        const QByteArray eights = QByteArray("1234567\n").repeated(8000);
        // clang-format off
        QTest::newRow("at the start") << eights << 0 << 0;
        QTest::newRow("within the first line") << eights << 3 << 0;
        QTest::newRow("at a line end") << eights << 7 << 0;
        QTest::newRow("after a line end") << eights << 8 << 1;
        QTest::newRow("between CR and LF") << QByteArray("a\r\nb\r\nc\r\n") << 5 << 1;
        QTest::newRow("in a line, far on") << eights << 40003 << 5000;
        QTest::newRow("after a line, far on") << eights << 40000 << 5000;
        QTest::newRow("before a block of a stream") << eights << 16381 << 2047;
        QTest::newRow("between blocks of a stream") << eights << 16384 << 2048;
        QTest::newRow("between blocks and in a line") << QByteArray("x" + eights) << 16384 << 2047;
        QTest::newRow("within a character") << QByteArray("a\nb\xe2\x82\xac\n") << 5 << 1;
        QTest::newRow("in the last line, which has no end") << QByteArray("a\nbc") << 3 << 1;
        QTest::newRow("in UTF-16") << QByteArray("\xff\xfe" "a\0\n\0b\0\n\0", 10) << 8 << 1;
        // clang-format on
    }

    void endsBeforeALineThatCannotBeReadWhole()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(QByteArray, contents);
        QFETCH(int, offset);
        QFETCH(int, whole);
        const QString path = makeFile(m_folder->filePath("file"), contents);
        QStringList lines;
        FileReader plain(path);
        while (lines.size() < whole)
            lines.append(plain.nextLine());
        ReadFault fault(path, offset);

        FileReader pulling(path);
        QStringList pulled;
        String line;
        while (pulled.size() <= whole && pulling.readLine(line, false))
            pulled.append(line);
        Collector pushing(path);
        pushing.most = whole + 1;
        pushing.readFile();

        QCOMPARE(pulled, lines);
        QCOMPARE(pulling.lineCount(), whole);
        QCOMPARE(pushing.lines, lines);
        QVERIFY(fault.count() > 0);

        // The rest of a line is none, so the end is one for good.
        fault.repair();
        QVERIFY(!pulling.readLine(line, false));
        pulling.rereadLine();
        QVERIFY(!pulling.readLine(line, false));
        pushing.readFile();
        QCOMPARE(pulling.lineCount(), whole);
        QCOMPARE(pushing.lines, lines);
    }

    void readsNothingThatIsLargerThanTheMemory()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const QString file = makeFile(m_folder->filePath("line"), "x");
        QVERIFY(QFile::resize(file, 300 << 20)); // one line of zeros
        FileReader reader(file);
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

        FileReader reader(file);

        QVERIFY(!reader.isOpen());
        QVERIFY(reader.nextLine().isEmpty());
    }

    void findsAFileByAUnicodePath()
    {
        FileReader reader(makeFile(m_folder->filePath("\u00e4 \u65e5"), "text"));

        QCOMPARE(reader.nextLine(), String("text"));
    }

    void readsUtf8WhateverTheLocaleIs()
    {
        QTextCodec *const before = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
        const auto restore = qScopeGuard([&] { QTextCodec::setCodecForLocale(before); });
        FileReader reader(makeFile(m_folder->filePath("file"), "\xc3\xa4\n"));

        QCOMPARE(reader.nextLine(), String("\xc3\xa4"));
    }

    void trimsLinesWhenAskedTo()
    {
        FileReader reader(makeFile(m_folder->filePath("file"), " a \t\r\n   \n\xc2\xa0"
                                                               "b\n c "));
        String line;

        QVERIFY(reader.readLine(line, true));
        QCOMPARE(line, String("a"));
        QVERIFY(reader.readLine(line, true));
        QCOMPARE(line, String());
        QVERIFY(reader.readLine(line, true)); // blanks of Unicode too
        QCOMPARE(line, String("b"));
        QVERIFY(reader.readLine(line, false));
        QCOMPARE(line, String(" c "));
    }

    void leavesTheLineToItsCallerWhenItIsReadAgain()
    {
        FileReader reader(makeFile(m_folder->filePath("file"), "a\nb\nc"));
        String line;
        QVERIFY(reader.readLine(line, false));

        reader.rereadLine();
        line = " mine ";
        QVERIFY(reader.readLine(line, true));

        QCOMPARE(line, String(" mine "));
        QCOMPARE(reader.lineCount(), 1);
        QVERIFY(reader.readLine(line, false));
        QCOMPARE(line, String("b"));
        QCOMPARE(reader.lineCount(), 2);
    }

    void readsALineAgainOnlyOnce()
    {
        FileReader reader(makeFile(m_folder->filePath("file"), "a\nb\n"));

        reader.rereadLine();
        reader.rereadLine();

        QCOMPARE(reader.nextLine(), String()); // a fresh value
        QCOMPARE(reader.lineCount(), 0);
        QCOMPARE(reader.nextLine(), String("a"));
        QCOMPARE(reader.lineCount(), 1);
    }

    void doesNotReadTheLastLineAgain()
    {
        FileReader reader(makeFile(m_folder->filePath("file"), "a\nb"));
        String line;
        QVERIFY(reader.readLine(line, false) && reader.readLine(line, false));

        reader.rereadLine();

        QVERIFY(!reader.readLine(line, false));
        QCOMPARE(reader.lineCount(), 2);
    }

    void pushesLinesUntilOneIsRefused()
    {
        Collector reader(makeFile(m_folder->filePath("file"), "a\nb\nc\nd\n"));

        reader.most = 1;
        reader.readFile();
        QCOMPARE(reader.lines, QStringList("a"));
        QCOMPARE(reader.nextLine(), String("b"));
        reader.most = INT_MAX;
        reader.readFile();

        QCOMPARE(reader.lines, (QStringList{"a", "c", "d"}));
    }

    void neitherCountsNorRereadsWhatItPushes()
    {
        Collector reader(makeFile(m_folder->filePath("file"), "a\nb\nc\nd\n"));
        QCOMPARE(reader.nextLine(), String("a"));
        reader.rereadLine();

        reader.most = 2;
        reader.readFile();

        QCOMPARE(reader.lines, (QStringList{"b", "c"}));
        QCOMPARE(reader.lineCount(), 1);
        String line = "mine";
        QVERIFY(reader.readLine(line, false)); // the reread has waited
        QCOMPARE(line, String("mine"));
        QCOMPARE(reader.nextLine(), String("d"));
        QCOMPARE(reader.lineCount(), 2);
    }

    void pushesEverythingToABaseThatTakesIt()
    {
        FileReader reader(makeFile(m_folder->filePath("file"), "a\nb\n"));

        reader.readFile();

        String line;
        QVERIFY(!reader.readLine(line, false));
    }

    void readsLinesAcrossTheBlocksOfAStream()
    {
        QByteArray contents;
        QStringList lines;
        for (int i = 0; i < 3000; ++i) {
            lines.append(QString(i % 97, QChar(0xe4)) + QString::number(i));
            contents += lines.last().toUtf8() + (i % 2 == 0 ? "\n" : "\r\n");
        }
        Collector reader(makeFile(m_folder->filePath("file"), contents));

        reader.readFile();

        QCOMPARE(reader.lines, lines);
    }

    void readsAsATextStreamDoes_data()
    {
        QTest::addColumn<int>("size");  // from which on the contents end soon
        QTest::addColumn<int>("valid"); // bytes between those that are not UTF-8

        for (const int size : {0, 5, 16384, 32768, 65536, 131072}) {
            for (const int valid : {3, 500, 20000})
                QTest::addRow("%d bytes, %d valid", size, valid) << size << valid;
        }
    }

    void readsAsATextStreamDoes()
    {
        QFETCH(int, size);
        QFETCH(int, valid);
        const QByteArrayList plain = {"a",
                                      "word ",
                                      "\n",
                                      "\r\n",
                                      "\r",
                                      "\n\n",
                                      "\xc3\xa4",
                                      "\xe2\x82\xac",
                                      "\xf0\x9f\x98\x80",
                                      QByteArray("\0", 1),
                                      "\xef\xbb\xbf",
                                      QByteArray(40, 'l')};
        const QByteArrayList invalid = {"\xff",         "\xc3",   "\xe2\x82",
                                        "\xf0\x9f\x98", "\x80",   "\xed\xa0\x80",
                                        "\xc0\x80",     "\xe2\n", "\xf0\x9f\n"};
        std::mt19937 random(static_cast<unsigned>(size + valid));
        const auto oneOf = [&](const QByteArrayList &pieces) {
            return pieces[static_cast<int>(random() % static_cast<unsigned>(pieces.size()))];
        };
        for (int run = 0; run < 12; ++run) {
            QByteArray contents = random() % 3 == 0 ? "\xef\xbb\xbf" : "";
            int next = valid;
            const int end = std::max(0, size + static_cast<int>(random() % 9) - 4);
            while (contents.size() < end) {
                contents += oneOf(plain);
                if (contents.size() > next) {
                    contents += oneOf(invalid);
                    next = contents.size() + valid;
                }
            }
            contents.truncate(end); // between the pieces of the stream, or near
            if (random() % 2 == 0)
                contents += oneOf(invalid);
            const QString path = makeFile(m_folder->filePath("file"), contents);
            QStringList expected;
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QTextStream stream(&file);
            stream.setCodec("UTF-8");
            while (!stream.atEnd())
                expected.append(stream.readLine());

            FileReader reader(path);
            QStringList lines;
            String line;
            while (lines.size() <= expected.size() && reader.readLine(line, false))
                lines.append(line);

            QCOMPARE(lines, expected);
        }
    }

    void readsIntoTheMemoryOfTheCaller()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const QByteArray words = QByteArray("one line of words, as they come\n").repeated(1000);
        FileReader reader(makeFile(m_folder->filePath("file"), words));
        String line;
        QVERIFY(reader.readLine(line, false));
        bool isSame = true;

        FailingMemory memory(0, FailingMemory::FromThenOn);
        for (int i = 1; i < 1000; ++i)
            isSame = isSame && reader.readLine(line, false) && line.size() == 31;
        memory.end();

        QVERIFY(isSame);
        QVERIFY(!memory.hasFailed());
        QCOMPARE(line, String("one line of words, as they come"));
    }

    void continuesInAFileThatGrows()
    {
        const QString path = makeFile(m_folder->filePath("file"), "a\nb\xe2\x82");
        FileReader reader(path);
        String line;
        QVERIFY(reader.readLine(line, false) && reader.readLine(line, false));
        QCOMPARE(line, String("b"));
        QVERIFY(!reader.readLine(line, false));
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append));
        file.write("\nc\n");
        file.close();

        QVERIFY(reader.readLine(line, false));
        while (reader.readLine(line, false))
            continue;

        QCOMPARE(line, String("c"));
    }

    void readsALineThatIsLargerThanItsBlocks()
    {
        const QByteArray mark = "\xef\xbb\xbf";
        for (const int size : {70000, 1 << 20, 20 << 20}) {
            FileReader reader(makeFile(m_folder->filePath("file"),
                                       "a\n" + mark + QByteArray(size, 'x') + "\r\nb"));

            QCOMPARE(reader.nextLine(), String("a"));
            QVERIFY(reader.nextLine() == QChar(QChar::ByteOrderMark) + QString(size, 'x'));
            QCOMPARE(reader.nextLine(), String("b"));
            QCOMPARE(reader.nextLine(), String());
            QCOMPARE(reader.lineCount(), 3);
        }
    }

    void cutsALineThatIsTooLongForAText()
    {
        const int limit = 1 << 28;
        QFile file(m_folder->filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(limit + 5));
        file.close();
        FileReader reader(file.fileName());

        QCOMPARE(reader.nextLine().size(), limit);
        QCOMPARE(reader.nextLine(), String(QString(5, QChar(0))));
        QCOMPARE(reader.lineCount(), 2);
    }

    void cannotBeCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<FileReader>);
        QVERIFY(!std::is_copy_assignable_v<FileReader>);
        QCOMPARE(sizeof(FileReader), 2 * sizeof(void *)); // vtable and private record
    }

    void readsNoLineOfANamedPipe()
    {
        SKIP_ON_WINDOWS("Windows has no named pipes in folders");
        const QByteArray pipe = QFile::encodeName(m_folder->filePath("pipe"));
        QCOMPARE(mkfifo(pipe, 0600), 0);
        const int ends = open(pipe, O_RDWR);
        QVERIFY(ends >= 0);
        const bool isWritten = write(ends, "a\nb\n", 4) == 4;

        FileReader reader(QFile::decodeName(pipe));
        String line = "before";
        const bool isRead = reader.readLine(line, false);
        close(ends);

        QVERIFY(isWritten);
        QVERIFY(reader.isOpen());
        QVERIFY(!isRead);
        QCOMPARE(line, String("before"));
    }

    void keepsTheOrderOfItsVirtualOperations()
    {
        QVERIFY(std::has_virtual_destructor_v<FileReader>);
        QCOMPARE(Collector::lineReadIndex(), 2); // after the two entries of the destructor
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_FileReader)
#include "tst_FileReader.moc"
