#include "utils/csv/cells/CellIndex_p.h"

#include "utils/text/List.h"

#include "tests/support/Windows.h"

#include <QRegExp>
#include <QtTest>

#include <random>

#include <malloc.h>

using Utils::CellIndex;

static const char delimiter = ',';

/// The lines of \p text, each with its cells, as they are between the delimiters.
static QList<QStringList> plainLines(const QString &text, bool quoted)
{
    QList<QStringList> lines;
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QStringList pieces = line.split(QLatin1Char(delimiter));
        if (!quoted) {
            lines.append(pieces);
            continue;
        }
        QStringList cells;
        bool isOpen = false;
        for (const QString &piece : pieces) {
            const bool startsWith = piece.startsWith('"');
            const bool endsWith = piece.endsWith('"');
            if (isOpen) {
                cells.last() += delimiter + piece;
                isOpen = !(endsWith && (piece.size() == 1 || !startsWith));
            } else {
                cells.append(piece);
                isOpen = startsWith && !(endsWith && piece.size() > 1);
            }
        }
        lines.append(cells);
    }
    return lines;
}

static QList<QStringList> linesOf(const CellIndex &index, const QString &text)
{
    QList<QStringList> lines;
    for (int line = 0; line < index.numLines(); ++line) {
        QStringList cells;
        for (int i = 0; i < index.numCells(line); ++i) {
            const int cell = index.firstCell(line) + i;
            const auto [begin, end] = index.span(cell);
            if (begin != index.begin(cell) || end != index.end(cell))
                return {};
            cells.append(text.mid(begin, end - begin));
        }
        lines.append(cells);
    }
    return lines;
}

/// A text of pieces, of which one in \p rarity is longer than 16 bits can tell.
static QString randomText(std::mt19937 &random, int rarity)
{
    static const char *const pieces[] = {"",  "",    ",",  ",",    ",", "\n",
                                         "a", "1.5", "\"", "\"\"", " "};
    static constexpr unsigned count = sizeof pieces / sizeof *pieces;
    QString text;
    const unsigned length = random() % 600;
    for (unsigned i = 0; i < length; ++i) {
        text += QLatin1String(pieces[random() % count]);
        if (random() % static_cast<unsigned>(rarity) == 0)
            text += QString(static_cast<int>(random() % 200000), QLatin1Char('x'));
    }
    return text;
}

class tst_CellIndex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsWhatAPlainSplitFinds_data()
    {
        QTest::addColumn<int>("rarity");
        QTest::addColumn<int>("rounds");

        QTest::newRow("short cells") << 1000000 << 2000;
        QTest::newRow("cells of all lengths") << 200 << 200;
    }

    void findsWhatAPlainSplitFinds()
    {
        QFETCH(int, rarity);
        QFETCH(int, rounds);

        for (int seed = 0; seed < rounds; ++seed) {
            std::mt19937 random(static_cast<unsigned>(seed));
            const QString text = randomText(random, rarity);
            const QByteArray bytes = text.toLatin1();
            for (const auto quotes : {CellIndex::Ignored, CellIndex::Counted}) {
                const CellIndex ofBytes(bytes.constData(), bytes.size(), delimiter, quotes);
                const CellIndex ofText(text.utf16(), text.size(), delimiter, quotes);
                const QList<QStringList> expected = plainLines(text, quotes == CellIndex::Counted);

                const QByteArray message = "seed " + QByteArray::number(seed);
                QVERIFY2(linesOf(ofBytes, text) == expected, message);
                QVERIFY2(linesOf(ofText, text) == expected, message);
            }
        }
    }

    void findsCellsBetweenBlanks_data()
    {
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<bool>("isAscii");

        const QStringList ascii = {" ", " ", "\t", "\r", "\v", "\f", "\n", "a", "1.5", ",", "\x1c"};
        QTest::newRow("of ASCII") << ascii << true;
        QTest::newRow("of all kinds")
            << ascii + QStringList{QChar(0xa0),   QChar(0x85),   QChar(0x3000),
                                   QChar(0x2028), QChar(0x200b), "\u00e9"}
            << false;
    }

    void findsCellsBetweenBlanks()
    {
        QFETCH(QStringList, pieces);
        QFETCH(bool, isAscii);
        const QRegExp blanks("\\s+");

        for (unsigned seed = 0; seed < 2000; ++seed) {
            std::mt19937 random(seed);
            QString text;
            for (unsigned i = random() % 300; i > 0; --i)
                text +=
                    pieces.at(static_cast<int>(random() % static_cast<unsigned>(pieces.size())));
            QList<QStringList> expected;
            for (const QString &line : text.split(QLatin1Char('\n')))
                expected.append(line.split(blanks));
            const auto trimmed = [&](const CellIndex &index) {
                QList<QStringList> lines = linesOf(index, text);
                for (QStringList &line : lines) {
                    for (QString &cell : line)
                        cell = cell.trimmed();
                }
                return lines;
            };
            const QByteArray message = "seed " + QByteArray::number(seed);

            QVERIFY2(trimmed(CellIndex::betweenBlanks(text.utf16(), text.size())) == expected,
                     message);
            if (isAscii) {
                const QByteArray bytes = text.toLatin1();
                const auto index = CellIndex::betweenBlanks(bytes.constData(), bytes.size());
                QVERIFY2(trimmed(index) == expected, message);
            }
        }
    }

    void knowsTheCellsWithQuotes()
    {
        std::mt19937 random(7);
        for (int round = 0; round < 500; ++round) {
            const QByteArray bytes = randomText(random, 3000).toLatin1();
            const CellIndex plain(bytes.constData(), bytes.size(), delimiter, CellIndex::Ignored);
            const CellIndex quoted(bytes.constData(), bytes.size(), delimiter, CellIndex::Counted);

            for (int cell = 0; cell < quoted.firstCell(quoted.numLines()); ++cell) {
                const auto [begin, end] = quoted.span(cell);
                QCOMPARE(quoted.hasQuote(cell), bytes.mid(begin, end - begin).contains('"'));
            }
            for (int cell = 0; cell < plain.firstCell(plain.numLines()); ++cell)
                QVERIFY(!plain.hasQuote(cell));
        }
    }

    // Blocks are of 64 cells, and up to 65,535 characters.
    void findsCellsAroundTheLongestBlock_data()
    {
        QTest::addColumn<int>("length");

        for (const int length : {65534, 65535, 65536, 65537, 131072})
            QTest::addRow("%d", length) << length;
    }

    void findsCellsAroundTheLongestBlock()
    {
        QFETCH(int, length);
        const QByteArray line = "a,b\n";
        for (const int before : {0, 1, 31, 32, 33}) {
            for (const int after : {0, 1, 31, 32, 33}) {
                const QByteArray bytes =
                    line.repeated(before) + QByteArray(length, 'x') + '\n' + line.repeated(after);
                const QString text = QString::fromLatin1(bytes);

                const CellIndex index(bytes.constData(), bytes.size(), delimiter,
                                      CellIndex::Ignored);

                QVERIFY(linesOf(index, text) == plainLines(text, false));
            }
        }
    }

    void countsTheCellsOfTheLongestLine()
    {
        const QByteArray bytes = "a,b\nc,d\ne\nf,g,h\ni,j\n";
        const CellIndex index(bytes.constData(), bytes.size(), delimiter, CellIndex::Ignored);

        QCOMPARE(index.mostCells(0, 2), 2);
        QCOMPARE(index.mostCells(0, 6), 3);
        QCOMPARE(index.mostCells(1, 2), 2);
        QCOMPARE(index.mostCells(2, 1), 1);
        QCOMPARE(index.mostCells(4, 2), 2);
        QCOMPARE(index.mostCells(5, 1), 1);
    }

    void takesLittleMoreThanTwoBytesForACell_data()
    {
        QTest::addColumn<QByteArray>("line");

        QTest::newRow("ten cells a line") << QByteArray("1.25,2.25,3.25,,,6,7.25,8,9,10\n");
        QTest::newRow("a cell a line") << QByteArray("1\n");
    }

    void takesLittleMoreThanTwoBytesForACell()
    {
        SKIP_ON_WINDOWS("the memory of a program is not counted on Windows");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("memory is counted differently in a program that checks its addresses");
#endif
        QFETCH(QByteArray, line);
        const QByteArray bytes = line.repeated(4 * 1024 * 1024 / line.size());
        const auto inUse = [] {
            const struct mallinfo2 info = mallinfo2();
            return static_cast<double>(info.uordblks + info.hblkhd);
        };
        const double before = inUse();

        const CellIndex index(bytes.constData(), bytes.size(), delimiter, CellIndex::Ignored);

        const double each = (inUse() - before) / index.firstCell(index.numLines());
        QVERIFY2(each >= 2.0 && each < 2.2, QByteArray::number(each));
    }
};

QTEST_APPLESS_MAIN(tst_CellIndex)
#include "tst_CellIndex.moc"
