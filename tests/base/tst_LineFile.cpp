#include "utils/base/LineFile_p.h"

#include "tests/support/Windows.h"

#include "tests/support/Files.h" // makeFile

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Utils::ByteWindow;
using Utils::LineFile;
using Utils::OwnedFile;

static const int intMax = std::numeric_limits<int>::max();

class tst_LineFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheStartsAndEndsOfLines()
    {
        LineFile lines = open("a\n\nbcd\ne");

        QVERIFY(lines.findLines({}));

        QCOMPARE(int(lines.numLines()), 4);
        QCOMPARE(bounds(lines), (QList<qint64>{0, 1, 2, 2, 3, 6, 7, 8}));
        QVERIFY(!lines.hasZeroBytes());
    }

    void hasOneLineOfAnEmptyFile()
    {
        LineFile lines = open("");

        QVERIFY(lines.findLines({}));

        QCOMPARE(bounds(lines), (QList<qint64>{0, 0}));
    }

    void seesNoLineFeedAfterAZeroByteOfItsBlock()
    {
        QByteArray bytes(2 * LineFile::blockSize, 'x');
        bytes[3] = '\n';
        bytes[5] = '\0';
        bytes[7] = '\n';
        bytes[LineFile::blockSize] = '\n';
        LineFile lines = open(bytes);

        QVERIFY(lines.findLines({}));

        QCOMPARE(bounds(lines), (QList<qint64>{0, 3, 4, LineFile::blockSize,
                                               LineFile::blockSize + 1, 2 * LineFile::blockSize}));
        QVERIFY(lines.hasZeroBytes());
    }

    void ticksOnceABlock_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("ticks");
        QTest::newRow("none") << 0 << 0;
        QTest::newRow("a part of one") << 1 << 1;
        QTest::newRow("one") << 10240 << 1;
        QTest::newRow("one and a byte") << 10241 << 2;
        QTest::newRow("more than are read at once") << 40 * 10240 << 40;
    }

    void ticksOnceABlock()
    {
        QFETCH(int, size);
        QFETCH(int, ticks);
        int count = 0;
        LineFile lines = open(QByteArray(size, 'x'));

        QVERIFY(lines.findLines([&] { ++count; }));

        QCOMPARE(count, ticks);
    }

    void findsLinesFromItsPositionOn()
    {
        LineFile lines = open("a\nb\nc");
        char bytes[2];
        QCOMPARE(lines.read(bytes, 2).count, 2);

        QVERIFY(lines.findLines({}));

        QCOMPARE(bounds(lines), (QList<qint64>{0, 3, 4, 5}));
        QCOMPARE(lines.position(), qint64(5));
    }

    void endsAtTheMostBytesThatItMayRead()
    {
        LineFile lines = open("a\nb\nc\n", /*maxBytes=*/3);

        QVERIFY(lines.findLines({}));

        QCOMPARE(bounds(lines), (QList<qint64>{0, 1, 2, 3}));
        char bytes[8];
        QCOMPARE(lines.readAt(1, bytes, 8).count, 2);
    }

    void doesNotIndexMoreLinesThanItMay()
    {
        LineFile three = open("a\nb\nc", intMax, {16, 16}, /*maxLines=*/3);
        QVERIFY(three.findLines({}));
        QVERIFY(!three.hasTooManyLines());

        LineFile four = open("a\nb\nc\n", intMax, {16, 16}, /*maxLines=*/3);
        QVERIFY(!four.findLines({}));
        QVERIFY(four.hasTooManyLines());
        QCOMPARE(int(four.numLines()), 0);
    }

    void findsAndReadsLinesBeyond4GiB_data()
    {
        QTest::addColumn<qint64>("position");
        QTest::newRow("2 GiB") << (qint64(1) << 31);
        QTest::newRow("4 GiB") << (qint64(1) << 32);
        QTest::newRow("8 GiB") << (qint64(1) << 33);
    }

    void findsAndReadsLinesBeyond4GiB()
    {
        QFETCH(qint64, position);
        const QByteArray bytes = "a\nbcd\nefg\n\nh";
        for (int before = 0; before <= bytes.size(); ++before) { // how much is before the position
            const qint64 start = position - before;
            QFile sparse(m_folder.filePath("sparse"));
            QVERIFY(sparse.open(QIODevice::WriteOnly | QIODevice::Truncate));
            QVERIFY(sparse.seek(start) && sparse.write(bytes) == bytes.size() && sparse.flush());
            LineFile lines(openFile(sparse.fileName()), std::numeric_limits<qint64>::max(),
                           {16, 16});
            lines.seek(start); // the zeros before it would take long

            QVERIFY(lines.findLines({}));

            QCOMPARE(bounds(lines),
                     (QList<qint64>{0, start + 1, start + 2, start + 5, start + 6, start + 9,
                                    start + 10, start + 10, start + 11, start + 12}));
            const ByteWindow::View view = lines.view(lines.lineStart(2), 3);
            QCOMPARE(QByteArray(view.begin, view.size.count), QByteArray("efg"));
            const ByteWindow::View last = lines.view(lines.lineStart(4), 1);
            QCOMPARE(QByteArray(last.begin, last.size.count), QByteArray("h"));
        }
    }

    void indexesLinesOfSeveralGiB()
    {
        const qint64 gigabyte = qint64(1) << 30;
        const QList<qint64> starts = {
            0, 1, 3 * gigabyte, 13 * gigabyte, 13 * gigabyte + 5, 16 * gigabyte, 17 * gigabyte};
        Utils::LineStarts lines;
        for (const qint64 start : starts)
            lines.append(start);
        lines.squeeze();

        QCOMPARE(int(lines.size()), starts.size());
        for (int i = 0; i < starts.size(); ++i)
            QCOMPARE(lines.at(std::size_t(i)), starts.at(i));
    }

    void viewsTheBytesAtAnyOffset_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("largest");
        QTest::newRow("one that grows") << 16 << 1024;
        QTest::newRow("one that does not") << 1024 << 1024;
    }

    void viewsTheBytesAtAnyOffset()
    {
        QFETCH(int, first);
        QFETCH(int, largest);
        QByteArray bytes;
        for (int i = 0; i < 3000; ++i)
            bytes += QByteArray::number(i);
        LineFile file = open(bytes, intMax, {first, largest});
        const auto isRight = [&](int offset, int size) {
            const ByteWindow::View view = file.view(offset, size);
            return QByteArray(view.begin, view.size.count) == bytes.mid(offset, size) &&
                   !view.size.hasFailed;
        };

        for (int offset = 0; offset < bytes.size() + 10; offset += 7)
            QVERIFY(isRight(offset, 6));
        for (int offset = bytes.size(); offset >= 0; offset -= 9)
            QVERIFY(isRight(offset, 8));
        for (int i = 0; i < 3000; ++i)
            QVERIFY(isRight(i * 7919 % bytes.size(), 1 + i % 1024));
    }

    void hasNothingToReadOnceItIsClosed()
    {
        LineFile lines = open("a\nb");
        QVERIFY(lines.findLines({}));
        QCOMPARE(lines.view(0, 1).size.count, 1);

        lines.close();

        QVERIFY(!lines.isOpen());
        QCOMPARE(int(lines.numLines()), 2);
        char byte;
        QCOMPARE(lines.readAt(0, &byte, 1).count, 0);
        QCOMPARE(lines.view(0, 1).size.count, 0);
    }

    void hasNoLinesOfAFileThatCannotBeRead()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        LineFile lines(OwnedFile(std::fopen("/proc/self/mem", "rb")), intMax, {16, 16});
        QVERIFY(lines.isOpen());

        QVERIFY(!lines.findLines({})); // nothing is at address 0

        QCOMPARE(int(lines.numLines()), 0);
        QVERIFY(lines.view(0, 1).size.hasFailed);
    }

private:
    LineFile open(const QByteArray &bytes, qint64 maxBytes = intMax,
                  ByteWindow::Sizes window = {1024, 1024}, std::size_t maxLines = intMax)
    {
        return {openFile(makeFile(m_folder.filePath("file"), bytes)), maxBytes, window, maxLines};
    }

    static OwnedFile openFile(const QString &path)
    {
        return OwnedFile(std::fopen(QFile::encodeName(path).constData(), "rb"));
    }

    static QList<qint64> bounds(const LineFile &lines)
    {
        QList<qint64> bounds;
        for (std::size_t line = 0; line < lines.numLines(); ++line)
            bounds << lines.lineStart(line) << lines.lineEnd(line);
        return bounds;
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_LineFile)
#include "tst_LineFile.moc"
