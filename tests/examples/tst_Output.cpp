#include "examples/console/Output.h"

#include "examples/console/commands/Table.h"
#include "tests/examples/Captured.h"
#include "utils/csv/CSVTable.h"

#include <QRegExp>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <random>

using Utils::CSVTable;

static int looks = 0; // at what a stream is

// Before the call of the console.
extern "C" __attribute__((visibility("default"))) int isatty(int) noexcept
{
    ++looks;
    errno = ENOTTY;
    return 0;
}

/// What printAligned() writes, by way of the text of the whole table.
static QString expectedText(const CSVTable &table, int leftColumn)
{
    QString lines;
    for (QString line : QString(table.alignedStringData(0, leftColumn)).split('\n'))
        lines += line.remove(QRegExp("\\s+$")) + '\n';
    return lines;
}

class tst_Output : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksAtTheStreamOnce()
    {
        CSVTable table("  ");
        for (int row = 0; row < 1000; ++row)
            table.appendData(QStringList{"a", QString::number(row)});
        looks = 0;

        Captured output;
        for (int line = 0; line < 1000; ++line)
            Kelm::print("text");
        Kelm::printAligned(table, 0);

        QCOMPARE(output.finish().count('\n'), 2000);
        QVERIFY2(looks <= 1, qPrintable(QString::number(looks)));
    }

    void alignsAsTheTableDoes_data()
    {
        QTest::addColumn<int>("leftColumn");

        for (const int column : {-1, 0, 1, 2, 9})
            QTest::addRow("column %d", column) << column;
    }

    void alignsAsTheTableDoes()
    {
        QFETCH(int, leftColumn);
        const QStringList cells = {"",
                                   " ",
                                   "a",
                                   "two words",
                                   "  both ends  ",
                                   "1234567.25",
                                   QString::fromUtf8("größe"),
                                   QString::fromUtf8("日本"),
                                   QString::fromUtf8("😀"),
                                   QString("x") + QChar(0xA0),
                                   QString(QChar(0x2003)),
                                   "two\nlines ",
                                   "\n",
                                   "tab\t",
                                   "return\r",
                                   "a  b",
                                   "\x1b[1m",
                                   QString(200, 'w')};
        std::mt19937 random(1);
        for (int run = 0; run < 40; ++run) {
            CSVTable table("  ");
            const unsigned rows = 1 + random() % 8;
            for (unsigned row = 0; row < rows; ++row) {
                QStringList fields;
                for (unsigned count = random() % 5; count > 0; --count)
                    fields.append(cells[static_cast<int>(random() % cells.size())]);
                table.appendData(fields);
            }
            const QString expected = expectedText(table, leftColumn);

            Captured output;
            Kelm::printAligned(table, leftColumn);

            QCOMPARE(output.finish(), expected);
        }
    }

    void printsMoreThanItHoldsAtOnce()
    {
        CSVTable table("  ");
        for (int row = 0; row < 3000; ++row)
            table.appendData(QStringList{QString::number(row), QString(row % 100, 'x')});
        const QString expected = expectedText(table, -1);

        Captured output;
        Kelm::printAligned(table, -1);

        QVERIFY(expected.size() > 128 * 1024);
        QVERIFY(output.finish() == expected);
    }

    void printsNothingOfAnEmptyTable()
    {
        Captured output;
        Kelm::printAligned(CSVTable("  "), 0);
        QCOMPARE(output.finish(), QString());
    }

    // What is chosen whole is not copied.
    void knowsAChoiceOfTheWholeTable()
    {
        CSVTable table(",");
        table.appendData(QStringList{"a", "b"});
        table.appendData(QStringList{"1", ""});
        QVERIFY(Kelm::isAllOf(table, {}));

        table.appendData(QStringList{""});
        QVERIFY(!Kelm::isAllOf(table, {}));
        table.appendData(QStringList());
        Kelm::removeEmptyEnd(table);
        QCOMPARE(table.numRows(), 2);
        QVERIFY(Kelm::isAllOf(table, {}));

        Kelm::TableChoice columns;
        columns.columns = {0};
        Kelm::TableChoice sorted;
        sorted.sortColumn = 0;
        Kelm::TableChoice rows;
        rows.numRows = 5;
        for (const Kelm::TableChoice &choice : {columns, sorted, rows})
            QVERIFY(!Kelm::isAllOf(table, choice));
    }
};

QTEST_GUILESS_MAIN(tst_Output)
#include "tst_Output.moc"
