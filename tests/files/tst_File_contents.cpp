#include "utils/files/File.h"

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/FullDisk.h"
#include "tests/support/Limits.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Print.h"
#include "tests/support/Qemu.h"
#include "tests/support/ReadFault.h"
#include "tests/support/Windows.h"

#include "utils/feedback/WaitCursor.h"

#include <QTextCodec>
#include <QTextStream>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Utils::File;

static int goodSeeks = INT_MAX; // all further ones fail

#ifndef _WIN32 // where no call can be replaced

// In front of the call that Qt makes.
extern "C" __attribute__((visibility("default"))) off64_t lseek64(int file, off64_t offset,
                                                                  int whence) noexcept
{
    if (goodSeeks < INT_MAX && --goodSeeks < 0) {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_lseek, file, offset, whence);
}

#endif

using Write = std::function<bool(const QString &)>;
Q_DECLARE_METATYPE(Write)

/// Text from a UTF-8 literal that may hold zero bytes.
template <int size>
static Data::String text(const char (&literal)[size])
{
    return QString::fromUtf8(literal, size - 1);
}

/// Makes a file of \p size bytes that takes next to no room on the disk.
static bool makeSparseFile(const QString &path, qint64 size, const QByteArray &start = {})
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(start) == start.size() &&
           file.resize(size);
}

/// The end of a file, taken step by step as the rule for it says.
static QString tailByTheRule(const QString &path, int lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "not there";

    int count = lines;
    qint64 position = file.size() - 201;
    while (position > 0 && count <= 0) {
        file.seek(position);
        QByteArray block = file.peek(200);
        block.truncate(static_cast<int>(qstrlen(block.constData())));
        for (int i = block.size() - 1; i >= 0 && count <= 0; --i)
            count += block.at(i) == '\n' ? 1 : 0;
        position -= 200;
    }
    const QByteArray rest = file.read(file.size() - position);
    return QString::fromUtf8(rest.constData(), rest.size());
}

/// Bytes put together at random from what is of interest to a reader of text.
static QByteArray randomBytes(std::mt19937 &random, int pieces)
{
    static const QByteArray kinds[] = {
        "a",
        "plain text of some length",
        "\n",
        "\r\n",
        "\r",
        bytes("\0"),
        "\xef\xbb\xbf",
        "\xc3\xa4",
        "\xe2\x82\xac",
        "\xf0\x9f\x98\x80",
        "\xef\xbf\xbd",
        "\xe2\x80\xa8",
        QByteArray(300, 'x'),
        QByteArray(40000, 'y'),
        "\xff\xfe",
        "\xfe\xff",
        "\xe2\x82",
        "\x80",
        "\xed\xa0\x80",
        "\xc0\x80",
        "\xf4\x90\x80\x80",
    };
    const int valid = 14; // so many of the kinds are
    const bool isValid = random() % 2 == 0;
    QByteArray result;
    for (int i = 0; i < pieces; ++i)
        result += kinds[random() % (isValid ? valid : std::size(kinds))];
    return result;
}

static bool hasWideMark(const QByteArray &contents)
{
    return contents.startsWith("\xff\xfe") || contents.startsWith("\xfe\xff");
}

/// Whether text comes back from decoding as the bytes that it was, which invalid bytes do not.
static bool isValidUtf8(const QByteArray &contents)
{
    const QByteArray mark = "\xef\xbb\xbf";
    const QByteArray plain = contents.startsWith(mark) ? contents.mid(mark.size()) : contents;
    return QString::fromUtf8(contents.constData(), contents.size()).toUtf8() == plain;
}

class tst_File_contents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    // read

    void readsTheWholeTextAsItIs_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<Data::String>("expected");

        // clang-format off
        QTest::newRow("empty") << bytes("") << text("");
        QTest::newRow("line ends") << bytes("a\r\nb\rc\n\n") << text("a\r\nb\rc\n\n");
        QTest::newRow("no line end") << bytes("a") << text("a");
        QTest::newRow("beyond ASCII") << bytes("\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80") << text("ä € 😀");
        QTest::newRow("zero bytes") << bytes("\0a\0\0b\0") << text("\0a\0\0b\0");
        QTest::newRow("a replacement character") << bytes("\xef\xbf\xbd") << text("\xef\xbf\xbd");
        QTest::newRow("a mark is dropped") << bytes("\xef\xbb\xbf" "a") << text("a");
        QTest::newRow("a mark and nothing else") << bytes("\xef\xbb\xbf") << text("");
        QTest::newRow("one mark is dropped") << bytes("\xef\xbb\xbf\xef\xbb\xbf")
            << Data::String(QString(QChar(0xfeff)));
        QTest::newRow("a mark further on") << bytes("a\xef\xbb\xbf") << Data::String("a" + QString(QChar(0xfeff)));
        QTest::newRow("UTF-16, low byte first") << bytes("\xff\xfe" "a\0\xac\x20") << text("a€");
        QTest::newRow("UTF-16, high byte first") << bytes("\xfe\xff" "\0a\x20\xac") << text("a€");
        QTest::newRow("UTF-16, cut off") << bytes("\xff\xfe" "a\0b") << text("a");
        QTest::newRow("UTF-32, low byte first") << bytes("\xff\xfe\0\0" "a\0\0\0") << text("a");
        QTest::newRow("UTF-32, high byte first") << bytes("\0\0\xfe\xff" "\0\0\0a") << text("a");
        // clang-format on
    }

    void readsTheWholeTextAsItIs()
    {
        QFETCH(QByteArray, contents);
        QFETCH(Data::String, expected);

        QCOMPARE(File::read(makeFile(path("a"), contents)), expected);
    }

    void readsNoTextThatIsNoUtf8_data()
    {
        QTest::addColumn<QByteArray>("contents");

        QTest::newRow("a byte out of nowhere") << bytes("text \x80 text");
        QTest::newRow("a byte that is never used") << bytes("text \xff");
        QTest::newRow("cut off by text") << bytes("\xe2\x82 text");
        QTest::newRow("cut off by the end") << bytes("text \xe2\x82");
        QTest::newRow("a cut mark") << bytes("\xef\xbb");
        QTest::newRow("too long a form") << bytes("\xc0\x80");
        QTest::newRow("half a surrogate pair") << bytes("\xed\xa0\x80");
        QTest::newRow("beyond the last code point") << bytes("\xf4\x90\x80\x80");
        QTest::newRow("after a mark") << bytes("\xef\xbb\xbf\x80");
        QTest::newRow("far after") << QByteArray(200000, 'x') + "\x80" + QByteArray(200000, 'x');
        QTest::newRow("far on, at the end") << QByteArray(32 * 1024 - 1, 'x') + "\xc3";
    }

    void readsNoTextThatIsNoUtf8()
    {
        QFETCH(QByteArray, contents);
        const QString file = makeFile(path("a"), contents);

        QCOMPARE(File::read(file), Data::String());
        QCOMPARE(File::readRaw(file), contents);
    }

    void readsASequenceWhereverItStands()
    {
        for (int offset = 0; offset < 4; ++offset) {
            const QByteArray contents =
                QByteArray(offset, 'x') + QByteArray("\xf0\x9f\x98\x80").repeated(50000);

            const Data::String result = File::read(makeFile(path("a"), contents));

            QCOMPARE(result.size(), offset + 100000);
            QVERIFY(result.toUtf8() == contents);
        }
    }

    void readsWhatAPlainStreamDoes()
    {
        std::mt19937 random(1);
        int validFiles = 0;
        for (int i = 0; i < 200; ++i) {
            const QByteArray contents = randomBytes(random, 1 + random() % 12);
            QFile file(makeFile(path("a"), contents));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QTextStream stream(&file);
            stream.setCodec("UTF-8");
            const bool isValid = hasWideMark(contents) || isValidUtf8(contents);
            validFiles += isValid;

            const Data::String result = File::read(file.fileName());

            QVERIFY2(result == (isValid ? stream.readAll() : QString()), contents.toHex());
        }
        QVERIFY(validFiles > 50 && validFiles < 150);
    }

    void readsTheFirstLines_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("lines");
        QTest::addColumn<Data::String>("expected");

        // clang-format off
        QTest::newRow("fewer than there are") << bytes("a\nb\nc\n") << 2 << text("a\nb\n");
        QTest::newRow("as many as there are") << bytes("a\nb\nc\n") << 3 << text("a\nb\nc\n");
        QTest::newRow("more than there are") << bytes("a\nb\n") << 3 << text("a\nb\n");
        QTest::newRow("as many as can be asked for") << bytes("a\nb\n") << INT_MAX << text("a\nb\n");
        QTest::newRow("with blanks") << bytes(" a \t\n") << 1 << text(" a \t\n");
        QTest::newRow("no end") << bytes("a\nb") << 3 << text("a\nb\n");
        QTest::newRow("CR LF becomes LF") << bytes("a\r\nb\r\n") << 3 << text("a\nb\n");
        QTest::newRow("a lone CR is text") << bytes("a\rb\nc") << 1 << text("a\rb\n");
        QTest::newRow("a CR at the end is none") << bytes("a\r") << 1 << text("a\n");
        QTest::newRow("empty lines") << bytes("\n\n\n") << 2 << text("\n\n");
        QTest::newRow("zero bytes") << bytes("a\0b\n") << 1 << text("a\0b\n");
        QTest::newRow("a line separator is text") << bytes("a\xe2\x80\xa8" "b\n") << 1 << text("a\u2028b\n");
        QTest::newRow("empty") << bytes("") << 3 << text("");
        QTest::newRow("a mark is dropped") << bytes("\xef\xbb\xbf" "a") << 1 << text("a\n");
        QTest::newRow("a mark and no line") << bytes("\xef\xbb\xbf") << 1 << text("");
        QTest::newRow("UTF-16") << bytes("\xff\xfe" "a\0\n\0b\0") << 1 << text("a\n");
        QTest::newRow("invalid bytes") << bytes("a\x80\nb\n") << 1 << text("a\xef\xbf\xbd\n");
        // clang-format on
    }

    void readsTheFirstLines()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, lines);
        QFETCH(Data::String, expected);

        QCOMPARE(File::read(makeFile(path("a"), contents), lines), expected);
    }

    void readsTheEndInBlocks_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("start"); // of the result

        const auto withLineFeeds = [](int size, const QVector<int> &positions) {
            QByteArray contents(size, 'x');
            for (const int position : positions)
                contents[position] = '\n';
            return contents;
        };
        // clang-format off
        QTest::newRow("100 bytes are returned whole") << withLineFeeds(100, {10, 20, 30}) << -1 << 0;
        QTest::newRow("201 bytes are returned whole") << withLineFeeds(201, {10, 20, 30}) << -1 << 0;
        QTest::newRow("202 bytes lose the first") << withLineFeeds(202, {}) << -1 << 1;
        QTest::newRow("within a line") << withLineFeeds(500, {310, 320, 330}) << -1 << 299;
        QTest::newRow("one line feed is too few") << withLineFeeds(500, {310, 290}) << -1 << 99;
        QTest::newRow("two line feeds are enough") << withLineFeeds(500, {310, 320}) << -1 << 299;
        QTest::newRow("three for two lines") << withLineFeeds(700, {300, 310, 500, 600}) << -2 << 299;
        QTest::newRow("the last byte does not count") << withLineFeeds(500, {499, 310, 150}) << -1 << 99;
        QTest::newRow("the last byte but one does") << withLineFeeds(500, {498, 310}) << -1 << 299;
        QTest::newRow("the first byte of a block") << withLineFeeds(500, {310, 299}) << -1 << 299;
        QTest::newRow("never back to the start") << withLineFeeds(500, {1, 2, 3}) << -1 << 99;
        QTest::newRow("the first block may start at 1") << withLineFeeds(402, {}) << -1 << 1;
        QTest::newRow("a block at 0 is not looked at") << withLineFeeds(401, {}) << -1 << 200;
        QTest::newRow("as many as can be asked for") << QByteArray(500, '\n') << INT_MIN << 99;
        // clang-format on

        QByteArray withZero = withLineFeeds(500, {310, 320, 330, 110, 120});
        withZero[309] = '\0';
        QTest::newRow("nothing counts after a zero byte") << withZero << -1 << 99;
        withZero[309] = 'x';
        withZero[321] = '\0';
        QTest::newRow("what is before it counts") << withZero << -1 << 299;
    }

    void readsTheEndInBlocks()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, lines);
        QFETCH(int, start);

        const Data::String result = File::read(makeFile(path("a"), contents), lines);

        QCOMPARE(contents.size() - result.size(), start);
        QCOMPARE(result.toUtf8(), contents.mid(start));
    }

    void readsTheEndWithReplacementsForWhatItCutsAndForWhatIsInvalid()
    {
        const QByteArray contents = QByteArray("\xe2\x82\xac").repeated(100) + "\xff";

        const Data::String result = File::read(makeFile(path("a"), contents), -1);

        // It starts at byte 100, with the last two bytes of a sequence.
        QCOMPARE(result,
                 Data::String(QString("\ufffd\ufffd") + QString("€").repeated(66) + "\ufffd"));
    }

    void readsTheEndAsTheRuleSays()
    {
        std::mt19937 random(2);
        for (int i = 0; i < 120; ++i) {
            QByteArray contents = randomBytes(random, 1 + random() % 200);
            if (i % 3 == 0) // few line feeds, which lie further back than is read at once
                contents.replace('\n', "n").append("\n\n").append(random() % 500000, 'z');
            const int lines = -1 - static_cast<int>(random() % 30);
            const QString file = makeFile(path("a"), contents);

            QVERIFY(File::read(file, lines) == tailByTheRule(file, lines));
        }
    }

    void readsAndWritesUtf8WhateverTheEncodingOfTheSystem()
    {
        QTextCodec *const before = QTextCodec::codecForLocale();
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
        const QString file = path("a");

        const bool isWritten = File::write(file, Data::String("ä"));
        const QByteArray written = contentsOf(file);
        const Data::String all = File::read(file);
        const Data::String head = File::read(file, 1);
        const Data::String tail = File::read(file, -1);
        const bool areLinesWritten = File::write(file, QStringList{"ä"});
        const QByteArray writtenLines = contentsOf(file);
        QTextCodec::setCodecForLocale(before);

        QVERIFY(isWritten && areLinesWritten);
        QCOMPARE(written, bytes("\xc3\xa4"));
        QCOMPARE(writtenLines, bytes("\xc3\xa4\n"));
        QCOMPARE(all, Data::String("ä"));
        QCOMPARE(head, Data::String("ä\n"));
        QCOMPARE(tail, Data::String("ä"));
    }

    void readsNothingWhereThereIsNone_data()
    {
        QTest::addColumn<int>("lines");
        QTest::newRow("all") << 0;
        QTest::newRow("head") << 3;
        QTest::newRow("tail") << -3;
    }

    void readsNothingWhereThereIsNone()
    {
        QFETCH(int, lines);
        makeFile(path("file"));

        QCOMPARE(File::read("", lines), Data::String());
        QCOMPARE(File::read(path("missing"), lines), Data::String());
        QCOMPARE(File::read(path("missing/file"), lines), Data::String());
        QCOMPARE(File::read(path("file/below"), lines), Data::String());
        QCOMPARE(File::read(m_folder->path(), lines), Data::String());
        QCOMPARE(File::read(path("file") + QChar(0), lines), Data::String());
        QCOMPARE(File::read(path("file") + QChar(0) + "x", lines), Data::String());
        QCOMPARE(File::read(path("") + QString(4000, 'x'), lines), Data::String());
        QCOMPARE(File::read(path("") + QString("x/").repeated(2000), lines), Data::String());
        QCOMPARE(File::read(makeFile(path("empty"), ""), lines), Data::String());
    }

    void readsNothingThatItMayNotRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QString file = makeFile(path("a"), "secret");
        QFile::setPermissions(file, {});
        const OrdinaryUser user(m_folder->path());

        QCOMPARE(File::read(file), Data::String());
        QCOMPARE(File::read(file, 1), Data::String());
        QCOMPARE(File::read(file, -1), Data::String());
        QCOMPARE(File::readRaw(file), QByteArray());
    }

    void readsNothingOfAFileThatCannotBeReadWhole_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("offset"); // of the first byte that cannot be read

        const QByteArray lines = QByteArray("a word\n").repeated(100 * 1000);
        const QByteArray wide = "\xff\xfe" + bytes("a\0 \0w\0o\0r\0d\0\n\0").repeated(50 * 1000);
        QTest::newRow("at the start") << lines << 0;
        QTest::newRow("within a mark") << "\xef\xbb\xbf" + lines << 2;
        QTest::newRow("after the first line") << lines << 7;
        QTest::newRow("after the buffer of a file") << lines << 16384;
        QTest::newRow("after a block that is decoded") << lines << 65536;
        QTest::newRow("within a block") << lines << 100000;
        QTest::newRow("in the last byte") << lines << 699999;
        QTest::newRow("UTF-16, at the start") << wide << 0;
        QTest::newRow("UTF-16, after the mark") << wide << 2;
        QTest::newRow("UTF-16, after the buffer of a file") << wide << 16384;
        QTest::newRow("UTF-16, within a character") << wide << 100001;
        QTest::newRow("UTF-16, in the last byte") << wide << 700001;
    }

    void readsNothingOfAFileThatCannotBeReadWhole()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(QByteArray, contents);
        QFETCH(int, offset);
        const QString file = makeFile(path("a"), contents);
        QVERIFY(!File::read(file).isEmpty());
        QVERIFY(File::containsWord(file, "word", true));
        ReadFault fault(file, offset);

        QCOMPARE(File::read(file), Data::String());
        QCOMPARE(File::read(file, 200000), Data::String()); // more lines than there are
        QCOMPARE(File::read(file, -200000), Data::String());
        QCOMPARE(File::readRaw(file), QByteArray());
        QVERIFY(!File::containsWord(file, "word", true));
        QVERIFY(fault.count() >= 5);
    }

    void readsTheLinesInFrontOfWhatCannotBeRead()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QByteArray contents = QByteArray("1234567\n").repeated(100 * 1000);
        const QString file = makeFile(path("a"), contents);
        ReadFault fault(file, 40003); // in the line after 5,000 others

        QCOMPARE(File::read(file, 1), Data::String("1234567\n"));
        QCOMPARE(File::read(file, 5000).toUtf8(), contents.left(40000));
        QCOMPARE(File::read(file, 5001), Data::String());
        QVERIFY(fault.count() > 0);
    }

    void readsTheEndBehindWhatCannotBeRead_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("bad"); // so many bytes before the end
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("isRead");

        QTest::newRow("all is good") << 300 * 1000 << -1 << -30 << true;
        QTest::newRow("in the blocks") << 300 * 1000 << 300 << -30 << false;
        QTest::newRow("in the last byte") << 300 * 1000 << 1 << -1 << false;
        QTest::newRow("in a further window") << 900 * 1000 << 450 * 1000 << -100 * 1000 << false;
    }

    void readsTheEndBehindWhatCannotBeRead()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        QFETCH(int, size);
        QFETCH(int, bad);
        QFETCH(int, lines);
        QFETCH(bool, isRead);
        const QString file = makeFile(path("a"), QByteArray("1234567\n").repeated(size / 8));
        const QString whole = File::read(file, lines);
        ReadFault fault(file, size - bad);

        QCOMPARE(File::read(file, lines), isRead ? Data::String(whole) : Data::String());
        QCOMPARE(fault.count() > 0, !isRead);
    }

    void readsNoEndOfAFileThatItCannotSeekIn()
    {
        SKIP_ON_WINDOWS("no function of the C library can be replaced on Windows");
        const QString file = makeFile(path("a"), QByteArray("1234567\n").repeated(100 * 1000));
        QVERIFY(!File::read(file, -3).isEmpty());
        for (int good = 0; good < 2; ++good) { // for the blocks, and for the text
            goodSeeks = good;
            const Data::String text = File::read(file, -50000);
            const int left = goodSeeks;
            goodSeeks = INT_MAX;
            QCOMPARE(text, Data::String());
            QVERIFY(left < 0);
        }
    }

    void takesOtherSchemesForFolders_data()
    {
        QTest::addColumn<QString>("address");
        QTest::newRow("in capitals") << "HTTP://a";
        QTest::newRow("encrypted") << "https://a";
        QTest::newRow("not at the start") << " http://a";
    }

    void takesOtherSchemesForFolders()
    {
        QFETCH(QString, address);
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));

        const Data::String missing = File::read(address);
        makeFile(address, "text");
        const Data::String there = File::read(address);
        QDir::setCurrent(before);

        QCOMPARE(missing, Data::String());
        QCOMPARE(there, Data::String("text"));
    }

    void readsAllOfAFileThatTellsNoSize()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        const QByteArray contents = QByteArray("ä line\n").repeated(50000);
        const QString pipe = path("pipe");
        QVERIFY(::mkfifo(QFile::encodeName(pipe), 0600) == 0);
        const auto readFromPipe = [&](const std::function<QByteArray()> &read) {
            std::thread writer([&] {
                QFile file(pipe);
                if (file.open(QIODevice::WriteOnly))
                    file.write("\xef\xbb\xbf" + contents);
            });
            const QByteArray result = read();
            writer.join();
            return result;
        };

        for (const int lines : {0, 1, -1})
            QVERIFY(readFromPipe([&] { return File::read(pipe, lines).toUtf8(); }) == contents);
        QVERIFY(readFromPipe([&] { return File::readRaw(pipe); }) == "\xef\xbb\xbf" + contents);
    }

    void readsNoFileThatIsLargerThanATextCanBe_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::newRow("1 GiB") << (qint64(1) << 30);
        QTest::newRow("2 GiB") << (qint64(2) << 30);
        QTest::newRow("5 GiB") << (qint64(5) << 30);
    }

    void readsNoFileThatIsLargerThanATextCanBe()
    {
        QFETCH(qint64, size);
        const QString file = path("sparse");
        QVERIFY(makeSparseFile(file, size, "first\nsecond\n"));

        QCOMPARE(File::read(file), Data::String());
        QCOMPARE(File::read(file, 1), Data::String("first\n"));
        if (size >= qint64(2) << 30)
            QCOMPARE(File::readRaw(file), QByteArray());
        if (size == qint64(2) << 30) // half of it is looked through
            QCOMPARE(File::read(file, -1), Data::String());
        QVERIFY(!File::containsWord(file, "first", true));
    }

    void readsTheEndOfALargeFile()
    {
        const QString file = path("sparse");
        const QByteArray end = QByteArray("line\n").repeated(100);
        QVERIFY(makeSparseFile(file, qint64(5) << 30));
        QFile writer(file);
        QVERIFY(writer.open(QIODevice::Append));
        writer.write(end);
        writer.close();

        QCOMPARE(File::read(file, -1).toUtf8(), end.right(201));
    }

    void readsNothingThatIsLargerThanTheMemory()
    {
        SKIP_ON_WINDOWS("Windows does not limit a process in this way");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the memory of a program that checks its addresses cannot be limited");
#endif
        SKIP_UNDER_QEMU("qemu takes no notice of a limit of the memory");
        const QString file = path("sparse");
        QVERIFY(makeSparseFile(file, 900 << 20));
        const Limit memory(RLIMIT_AS, memoryInUse() + (200 << 20));

        QCOMPARE(File::read(file), Data::String());
        QCOMPARE(File::read(file, 1), Data::String());
        QCOMPARE(File::read(file, -1), Data::String());
        QCOMPARE(File::readRaw(file), QByteArray());
    }

    // readRaw

    void readsAllBytes()
    {
        QByteArray all;
        for (int i = 0; i < 256; ++i)
            all.append(static_cast<char>(i));
        const QByteArray contents = all.repeated(1000);

        QCOMPARE(File::readRaw(makeFile(path("ä ö"), contents)), contents);
        QVERIFY(File::readRaw(makeFile(path("large"), contents.repeated(50))) ==
                contents.repeated(50));
    }

    void readsTheBytesOfAFileThatIsShorterThanItsSize()
    {
        const QString name = "/sys/devices/system/cpu/online"; // has the size of a page
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly))
            QSKIP("the system has no such file");
        const QByteArray contents = file.readLine();
        QVERIFY(file.size() > contents.size());

        QCOMPARE(File::readRaw(name), contents);
    }

    void readsNoBytesOfWhatIsNoFile()
    {
        QCOMPARE(File::readRaw(""), QByteArray());
        QCOMPARE(File::readRaw(path("missing")), QByteArray());
        QCOMPARE(File::readRaw(m_folder->path()), QByteArray());
        QCOMPARE(File::readRaw(makeFile(path("a")) + QChar(0)), QByteArray());
        QCOMPARE(File::readRaw(path("") + QString(4000, 'x')), QByteArray());
        QCOMPARE(File::readRaw(makeFile(path("empty"), "")), QByteArray());
    }

    // write

    void writesTextInUtf8_data()
    {
        QTest::addColumn<Data::String>("written");
        QTest::addColumn<QByteArray>("expected");

        // clang-format off
        QTest::newRow("nothing") << text("") << bytes("");
        QTest::newRow("line ends stay") << text("a\nb\r\nc\r") << bytes("a\nb\r\nc\r");
        QTest::newRow("beyond ASCII, with no mark") << text("ä€😀")
            << bytes("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
        QTest::newRow("a mark that is text") << Data::String(QString(QChar(0xfeff))) << bytes("\xef\xbb\xbf");
        QTest::newRow("zero bytes") << text("a\0b") << bytes("a\0b");
        // clang-format on
        QTest::newRow("much") << Data::String(QString("ä😀").repeated(100000))
                              << QByteArray("\xc3\xa4\xf0\x9f\x98\x80").repeated(100000);
    }

    void writesTextInUtf8()
    {
        QFETCH(Data::String, written);
        QFETCH(QByteArray, expected);
        const QString file = makeFile(path("a"), "what was there before, which is longer");

        QVERIFY(File::write(file, written));

        QCOMPARE(contentsOf(file), expected);
    }

    void writesEachLineWithALineFeed_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("none") << QStringList() << bytes("");
        QTest::newRow("one") << QStringList{"a"} << bytes("a\n");
        QTest::newRow("empty ones") << QStringList{"", "a", ""} << bytes("\na\n\n");
        QTest::newRow("with ends of their own") << QStringList{"a\n", "b\r"} << bytes("a\n\nb\r\n");
        QTest::newRow("beyond ASCII") << QStringList{"ä"} << bytes("\xc3\xa4\n");
    }

    void writesEachLineWithALineFeed()
    {
        QFETCH(QStringList, lines);
        QFETCH(QByteArray, expected);
        const QString file = makeFile(path("a"), "what was there before, which is longer");

        QVERIFY(File::write(file, lines));

        QCOMPARE(contentsOf(file), expected);
    }

    void writesBytesAsTheyAre()
    {
        const QString file = makeFile(path("a"), "what was there before, which is longer");

        QVERIFY(File::writeRaw(file, bytes("\xff\r\n\0\x80")));
        QCOMPARE(contentsOf(file), bytes("\xff\r\n\0\x80"));

        QVERIFY(File::writeRaw(file, QByteArray()));
        QCOMPARE(contentsOf(file), QByteArray());
    }

    void writesANewFile()
    {
        QVERIFY(File::write(path("ä b"), Data::String("text")));
        QVERIFY(File::write(path("lines"), QStringList{"line"}));
        QVERIFY(File::writeRaw(path("raw"), "bytes"));

        QCOMPARE(contentsOf(path("ä b")), QByteArray("text"));
        QCOMPARE(contentsOf(path("lines")), QByteArray("line\n"));
        QCOMPARE(contentsOf(path("raw")), QByteArray("bytes"));
    }

    void writesInPlaceAndNothingBeside()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QString file = makeFile(path("a"), "before");
        QVERIFY(::link(QFile::encodeName(file), QFile::encodeName(path("b"))) == 0);

        File::write(file, Data::String("text"));
        QCOMPARE(contentsOf(path("b")), QByteArray("text"));
        File::write(file, QStringList{"line"});
        QCOMPARE(contentsOf(path("b")), QByteArray("line\n"));
        File::writeRaw(file, "bytes");
        QCOMPARE(contentsOf(path("b")), QByteArray("bytes"));

        QCOMPARE(QDir(m_folder->path())
                     .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList({"a", "b"}));
    }

    void writesNothingWhereItCannotOpen()
    {
        makeFile(path("file"), "before");
        const QStringList paths = {"",
                                   path("missing/file"),
                                   path("file/below"),
                                   m_folder->path(),
                                   path("") + QString(4000, 'x'),
                                   path("file") + QChar(0),
                                   path("new") + QChar(0) + "x"};
        for (const QString &target : paths) {
            QVERIFY(!File::write(target, Data::String("text")));
            QVERIFY(!File::write(target, QStringList{"text"}));
            QVERIFY(!File::writeRaw(target, "text"));
        }
        QCOMPARE(contentsOf(path("file")), QByteArray("before"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList({"file"}));
    }

    void leavesAFileAsItWasThatItMayNotWrite()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QString file = makeFile(path("a"), "before");
        QFile::setPermissions(file, QFile::Permissions(0x4444));
        const OrdinaryUser user(m_folder->path());

        QVERIFY(!File::write(file, Data::String("text")));
        QVERIFY(!File::write(file, QStringList{"text"}));
        QVERIFY(!File::writeRaw(file, "text"));

        QCOMPARE(contentsOf(file), QByteArray("before"));
    }

    void tellsNothingOfAFullDisk()
    {
        SKIP_ON_WINDOWS("Windows does not limit the size of files");
        const QString textFile = path("text");
        const QString linesFile = path("lines");
        const QString rawFile = path("raw");
        bool isWritten = false;
        {
            const FullDisk disk(1000);
            isWritten = File::write(textFile, Data::String(QString(100000, 'x'))) &&
                        File::write(linesFile, QStringList{QString(100000, 'x')}) &&
                        File::writeRaw(rawFile, QByteArray(100000, 'x'));
        }

        QVERIFY(isWritten);
        QCOMPARE(contentsOf(textFile), QByteArray(1000, 'x'));
        QCOMPARE(contentsOf(linesFile), QByteArray(1000, 'x'));
        QCOMPARE(contentsOf(rawFile), QByteArray(1000, 'x'));
    }

    void showsTheWaitCursorWhileItWritesText_data()
    {
        QTest::addColumn<Write>("write");
        QTest::addColumn<bool>("showsWaitCursor");

        const QString much(1 << 20, 'x'); // more than a pipe takes at once
        QTest::newRow("text") << Write([=](auto &file) {
            return File::write(file, Data::String(much));
        }) << true;
        QTest::newRow("lines") << Write([=](auto &file) {
            return File::write(file, QStringList{much});
        }) << true;
        QTest::newRow("bytes") << Write([=](auto &file) {
            return File::writeRaw(file, much.toUtf8());
        }) << false;
    }

    void showsTheWaitCursorWhileItWritesText()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(Write, write);
        QFETCH(bool, showsWaitCursor);
        const QString pipe = path("pipe");
        QVERIFY(::mkfifo(QFile::encodeName(pipe), 0600) == 0);
        bool isActive = !showsWaitCursor;
        std::thread reader([&] {
            const int handle = ::open(QFile::encodeName(pipe), O_RDONLY);
            char block[4096];
            // Once something has come the writer is at it, and cannot end before all is read.
            bool isFirst = true;
            while (::read(handle, block, sizeof(block)) > 0) {
                if (isFirst)
                    isActive = Utils::WaitCursor::activated();
                isFirst = false;
            }
            ::close(handle);
        });

        const bool isWritten = write(pipe);
        reader.join();

        QVERIFY(isWritten);
        QCOMPARE(isActive, showsWaitCursor);
        QVERIFY(!Utils::WaitCursor::activated());
    }

    // openRead and openWrite

    void opensStreams()
    {
        const Data::String file = path("ä b");
        const QByteArray contents = bytes("a\r\n\0\x1a\xff");

        std::FILE *stream = File::openWrite(file, /*append=*/false);
        QVERIFY(stream);
        QCOMPARE(std::fwrite(contents.constData(), 1, 6, stream), size_t(6));
        std::fclose(stream);
        QCOMPARE(contentsOf(file), contents);

        stream = File::openRead(file);
        QVERIFY(stream);
        char block[10];
        QCOMPARE(std::fread(block, 1, sizeof(block), stream), size_t(6));
        QCOMPARE(QByteArray(block, 6), contents);
        std::fclose(stream);
    }

    void opensAStreamAtTheEndOrInPlaceOfAFile()
    {
        const QString file = makeFile(path("a"), "before");

        std::FILE *stream = File::openWrite(file, /*append=*/true);
        QVERIFY(stream);
        std::rewind(stream); // goes to the end all the same
        std::fputs(" after", stream);
        std::fclose(stream);
        QCOMPARE(contentsOf(file), QByteArray("before after"));

        std::fclose(File::openWrite(file, /*append=*/false));
        QCOMPARE(contentsOf(file), QByteArray(""));

        std::fclose(File::openWrite(path("new"), /*append=*/true));
        QCOMPARE(contentsOf(path("new")), QByteArray(""));
    }

    void opensStreamsThatGoOneWay()
    {
        const QString file = makeFile(path("a"), "before");

        std::FILE *stream = File::openRead(file);
        QVERIFY(std::fputs("text", stream) < 0 || std::fflush(stream) != 0);
        std::fclose(stream);
        stream = File::openWrite(file, /*append=*/true);
        QVERIFY(std::fgetc(stream) == EOF);
        std::fclose(stream);

        QCOMPARE(contentsOf(file), QByteArray("before"));
    }

    void leavesTheErrorOfThisOpen()
    {
        const QString file = makeFile(path("a"));

        errno = EPIPE;
        std::FILE *stream = File::openRead(file);
        int error = errno;
        QVERIFY(stream);
        QCOMPARE(error, 0);
        std::fclose(stream);

        for (const bool append : {false, true}) {
            errno = EPIPE;
            stream = File::openWrite(file, append);
            error = errno;
            QVERIFY(stream);
            QCOMPARE(error, 0);
            std::fclose(stream);
        }
    }

    void opensNoStream_data()
    {
        QTest::addColumn<Data::String>("name"); // below the folder
        QTest::addColumn<int>("error");

        QTest::newRow("in a missing folder") << text("/missing/a") << ENOENT;
#ifdef _WIN32 // which tells nothing else of a path that it does not find
        const int noFolder = ENOENT;
        const int tooLong = ENOENT;
#else
        const int noFolder = ENOTDIR;
        const int tooLong = ENAMETOOLONG;
#endif
        QTest::newRow("below a file") << text("/file/a") << noFolder;
        QTest::newRow("a folder") << text("") << EISDIR;
        QTest::newRow("too long a name") << Data::String("/" + QString(4000, 'x')) << tooLong;
        QTest::newRow("a name with a zero") << text("/a\0b") << ENOENT;
    }

    void opensNoStream()
    {
        QFETCH(Data::String, name);
        QFETCH(int, error);
        makeFile(path("file"));

        expectNoStream(m_folder->path() + name, error);
        expectNoStream("", ENOENT);
    }

    void opensNoStreamThatIsNotAllowed()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
        const QString file = makeFile(path("a"), "before");
        QFile::setPermissions(file, {});
        const OrdinaryUser user(m_folder->path());

        std::FILE *stream = File::openRead(file);
        QCOMPARE(errno, EACCES);
        QVERIFY(!stream);
        stream = File::openWrite(file, /*append=*/false);
        QCOMPARE(errno, EACCES);
        QVERIFY(!stream);
    }

    // What can be asked of a file

    void tellsWhatIsThere()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        makeFile(path("folder/A.TXT"));
        makeFile(path("folder/sub.d/b"));
        makeFile(path("folder/.hidden.png"));
        QFile::link(path("missing"), path("folder/dangling"));
        const auto exists = [&](const char *name) { return File::exists(path(name)); };

        QVERIFY(!File::exists(""));
        QVERIFY(exists("folder"));
        QVERIFY(exists("folder/"));
        QVERIFY(exists("folder/A.TXT"));
        QVERIFY(exists("folder/.hidden.png"));
        QVERIFY(!exists("folder/missing"));
        QVERIFY(!exists("folder/dangling"));
        QVERIFY(!File::exists(path(QString(4000, 'x'))));
    }

    void tellsWhetherAFileFitsAPattern_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<bool>("exists");

        QTest::newRow("a file fits") << "folder/*.txt" << true;
        QTest::newRow("any name") << "folder/*" << true;
        QTest::newRow("no file fits") << "folder/*.doc" << false;
        QTest::newRow("only a folder fits") << "folder/sub*" << false;
        QTest::newRow("only a file further down fits") << "folder/b*" << false;
        QTest::newRow("only a hidden file fits") << "folder/*.png" << false;
        QTest::newRow("a missing folder") << "missing/*" << false;
        QTest::newRow("a folder of which one fits") << "fold*/A.TXT" << false;
        QTest::newRow("a name with a dot, as a whole") << "folder/A*.TXT" << true;
        QTest::newRow("a name whose front alone fits") << "folder/A*" << true;
        QTest::newRow("two patterns") << "folder/*.doc;*.txt" << true;
    }

    void tellsWhetherAFileFitsAPattern()
    {
        QFETCH(QString, pattern);
        QFETCH(bool, exists);
        makeFile(path("folder/A.TXT"));
        makeFile(path("folder/sub.d/b"));
        makeFile(path("folder/.hidden.png"));

        QCOMPARE(File::exists(path(pattern)), exists);
    }

    void looksForAPatternInTheCurrentFolder()
    {
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const bool isThereBefore = File::exists("*.txt");
        makeFile(path("a.txt"));
        const bool isThere = File::exists("*.txt");
        QDir::setCurrent(before);

        QVERIFY(!isThereBefore);
        QVERIFY(isThere);
    }

    void tellsTheSizeOfTheMoment()
    {
        const QString file = path("a");
        QCOMPARE(File::size(file), qint64(0));
        makeFile(file, "12345");
        QCOMPARE(File::size(file), qint64(5));
        makeFile(file, "123456789");
        QCOMPARE(File::size(file), qint64(9));
        QVERIFY(makeSparseFile(file, qint64(5) << 30));
        QCOMPARE(File::size(file), qint64(5) << 30);
        QFile::remove(file);
        QCOMPARE(File::size(file), qint64(0));
        QCOMPARE(File::size(""), qint64(0));
    }

    void tellsTheTimeOfTheMoment()
    {
        const QString file = path("a");
        QCOMPARE(File::timestamp(file), 0u);
        makeFile(file);
        setModified(file, 1000000000);
        QCOMPARE(File::timestamp(file), 1000000000u);
        setModified(file, 4000000000); // beyond what is signed
        QCOMPARE(File::timestamp(file), 4000000000u);
        setModified(file, 0); // which Qt takes for no time
        QCOMPARE(File::timestamp(file), 0u);
        QCOMPARE(File::timestampString(file, "yyyy"),
                 Data::String(QLocale::c().toString(QDateTime::fromSecsSinceEpoch(0), "yyyy")));
        setModified(file, -1); // another time for Qt, in zones with clocks that differed then
        QCOMPARE(File::timestamp(file), 0u);
        QVERIFY(!File::timestampString(file).isEmpty());
        QFile::remove(file);
        QCOMPARE(File::timestamp(file), 0u);
        QCOMPARE(File::timestamp(""), 0u);
    }

    void tellsNoTimeBeforeTheEpochInAnyZone_data()
    {
        QTest::addColumn<QByteArray>("zone"); // in some of which Qt knows another time

        QTest::newRow("ahead by another time than now") << QByteArray("Asia/Kathmandu");
        QTest::newRow("on the other side of the date line") << QByteArray("Pacific/Apia");
        QTest::newRow("west of Greenwich") << QByteArray("America/St_Johns");
    }

    void tellsNoTimeBeforeTheEpochInAnyZone()
    {
        QFETCH(QByteArray, zone);
        const QString file = makeFile(path("a"));
        const QByteArray before = qgetenv("TZ");
        const bool isSet = qEnvironmentVariableIsSet("TZ");
        qputenv("TZ", zone);
        tzset();
        const auto restore = qScopeGuard([&] {
            isSet ? qputenv("TZ", before) : qunsetenv("TZ");
            tzset();
        });

        for (const qint64 seconds : {-1, -10000, -100000}) {
            setModified(file, seconds);
            QCOMPARE(File::timestamp(file), 0u);
            QCOMPARE(File::timestampString(file, "yyyy-MM-dd hh:mm:ss"),
                     Data::String(QLocale::c().toString(QDateTime::fromSecsSinceEpoch(seconds),
                                                        "yyyy-MM-dd hh:mm:ss")));
        }
        setModified(file, 1);
        QCOMPARE(File::timestamp(file), 1u);
    }

    void tellsTheTimeAsText_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<Data::String>("expected");

        QTest::newRow("default") << "" << Data::String("2001-02-03T04:05:06");
        QTest::newRow("pattern") << "yy.M.d h:m" << Data::String("01.2.3 4:5");
        QTest::newRow("not a pattern") << "--" << Data::String("--");
    }

    void tellsTheTimeAsText()
    {
        QFETCH(QString, format);
        QFETCH(Data::String, expected);
        const QString file = makeFile(path("a"));
        setModified(file, QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6)).toSecsSinceEpoch());

        QCOMPARE(File::timestampString(file, format), expected);
        QCOMPARE(File::timestampString(path("missing"), format), Data::String());
    }

    void tellsTheTimeInTheDefaultFormatWhereNoneIsGiven()
    {
        const QString file = makeFile(path("a"));
        setModified(file, QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6)).toSecsSinceEpoch());

        QCOMPARE(File::timestampString(file), Data::String("2001-02-03T04:05:06"));
    }

    void tellsNoVersionOfWhatHasNone()
    {
        QCOMPARE(File::version(""), Data::String());
        QCOMPARE(File::version(path("missing")), Data::String());
        QCOMPARE(File::version(m_folder->path()), Data::String());
        QCOMPARE(File::version(makeFile(path("a.exe"), "MZ")), Data::String());
    }

    void findsWholeWords_data()
    {
        QTest::addColumn<Data::String>("contents");
        QTest::addColumn<QString>("word");
        QTest::addColumn<bool>("isFound");

        // clang-format off
        QTest::newRow("alone") << text("word") << "word" << true;
        QTest::newRow("between blanks") << text("a word here") << "word" << true;
        QTest::newRow("on a line") << text("a\nword\r\nb") << "word" << true;
        QTest::newRow("in another case") << text("a Word") << "word" << false;
        QTest::newRow("missing") << text("text") << "word" << false;
        QTest::newRow("the front of another") << text("wordy") << "word" << false;
        QTest::newRow("the end of another") << text("sword") << "word" << false;
        QTest::newRow("with a digit after it") << text("word2") << "word" << false;
        QTest::newRow("with a digit at the start") << text("2word") << "word" << false;
        QTest::newRow("with a letter beyond ASCII") << text("wordä") << "word" << false;
        QTest::newRow("with another kind of number") << text("word²") << "word" << false;
        QTest::newRow("with underscores") << text("_word_") << "word" << true;
        QTest::newRow("with punctuation") << text("(word)") << "word" << true;
        QTest::newRow("later") << text("sword wordy word") << "word" << true;
        QTest::newRow("within a rejected one") << text("xa-a-a") << "a-a" << true;
        QTest::newRow("at the end only, rejected before") << text("aaa a") << "a" << true;
        QTest::newRow("of other than letters") << text("a+b") << "+" << false;
        QTest::newRow("of other than letters, free") << text("a + b") << "+" << true;
        QTest::newRow("empty, in text") << text("word") << "" << false;
        QTest::newRow("empty, between boundaries") << text("a  b") << "" << true;
        QTest::newRow("empty, in nothing") << text("") << "" << true;
        QTest::newRow("in nothing") << text("") << "word" << false;
        QTest::newRow("after a zero byte") << text("a\0word") << "word" << true;
        // clang-format on
    }

    void findsWholeWords()
    {
        QFETCH(Data::String, contents);
        QFETCH(QString, word);
        QFETCH(bool, isFound);
        const QString file = makeFile(path("a"), contents.toUtf8());

        QCOMPARE(File::containsWord(file, word, true), isFound);
    }

    void findsWholeWordsInAnyCaseWhereAsked()
    {
        const QString file = makeFile(path("a"), "a WORD, Ärger");

        QVERIFY(File::containsWord(file, "word", false));
        QVERIFY(File::containsWord(file, "ärger", false));
        QVERIFY(!File::containsWord(file, "wor", false));
        QVERIFY(!File::containsWord(file, "word", true));
    }

    void findsNoWordInWhatCannotBeRead()
    {
        QVERIFY(!File::containsWord(path("missing"), "word", true));
        QVERIFY(!File::containsWord(makeFile(path("a"), "word \x80"), "word", true));
    }

    void knowsTheImagesThatCanBeRead_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isImage");

        QTest::newRow("an image, missing") << "missing/a.png" << true;
        QTest::newRow("in capitals") << "A.PNG" << true;
        QTest::newRow("another format") << "a.bmp" << true;
        QTest::newRow("the last extension counts") << "a.txt.png" << true;
        QTest::newRow("another extension last") << "a.png.txt" << false;
        QTest::newRow("a part of one") << "a.pn" << false;
        QTest::newRow("more than one") << "a.pngx" << false;
        QTest::newRow("text") << "a.txt" << false;
        QTest::newRow("no extension") << "png" << false;
        QTest::newRow("an empty extension") << "a." << false;
        QTest::newRow("nothing") << "" << false;
    }

    void knowsTheImagesThatCanBeRead()
    {
        QFETCH(QString, name);
        QFETCH(bool, isImage);

        QCOMPARE(File::isSupportedImage(name), isImage);
    }

    // All of it

    void printsNothingWhereItFails()
    {
        static int messages = 0;
        messages = 0;
        const QtMessageHandler before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++messages; });
        for (const QString &name : {QString(), path("missing/a"), m_folder->path()}) {
            for (const int lines : {-1, 0, 1})
                File::read(name, lines);
            File::readRaw(name);
            File::write(name, Data::String("text"));
            File::write(name, QStringList{"text"});
            File::writeRaw(name, "text");
            File::openRead(name);
            File::openWrite(name, true);
            File::size(name);
            File::timestamp(name);
            File::timestampString(name);
            File::exists(name + "*");
            File::version(name);
            File::containsWord(name, "word", true);
            File::isSupportedImage(name);
        }
        qInstallMessageHandler(before);

        QCOMPARE(messages, 0);
    }

private:
    QString path(const QString &name) const { return m_folder->path() + "/" + name; }

    static void setModified(const QString &path, qint64 seconds)
    {
        // Not by Qt, which in some zones sets another time before the epoch.
        const timespec times[] = {{seconds, 0}, {seconds, 0}};
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }

    static void expectNoStream(const QString &path, int expectedError)
    {
        errno = EPIPE;
        std::FILE *stream = File::openRead(path);
        int error = errno;
        QVERIFY(!stream);
        QCOMPARE(error, expectedError);

        for (const bool append : {false, true}) {
            errno = EPIPE;
            stream = File::openWrite(path, append);
            error = errno;
            QVERIFY(!stream);
            QCOMPARE(error, expectedError);
        }
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_MAIN(tst_File_contents)
#include "tst_File_contents.moc"
