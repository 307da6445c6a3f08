// What is detected of samples that are unusual in one point each.

#include "utils/csv/CSVDialect.h"

#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/ReadFault.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

using Utils::CSVDialect;
using Utils::File;

/// What toText() tells of \p dialect, without the encoding and without marks of doubt.
static QString told(const CSVDialect &dialect)
{
    QString text = QString(dialect.toText()).remove(" (?)");
    return text.remove(0, text.indexOf(", ") + 2);
}

/// So many rows of \p numColumns numbers.
static QByteArray numbers(int numRows, int numColumns)
{
    QByteArray rows;
    for (int row = 0; row < numRows; ++row) {
        for (int col = 0; col < numColumns; ++col)
            rows += (col > 0 ? "," : "") + QByteArray::number(row * 7 % 10 + col * 3 % 8);
        rows += '\n';
    }
    return rows;
}

class tst_CSVDialect_samples : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

private Q_SLOTS:
    void areDetected_data()
    {
        QTest::addColumn<QByteArray>("sample");
        QTest::addColumn<QString>("expected");

        const auto row = [](const char *name, const QByteArray &sample, const char *expected) {
            QTest::newRow(name) << sample << QString(expected);
        };
        const QByteArray table = "a,b\n" + numbers(10, 2);
        QByteArray words;
        for (int i = 0; i < 300; ++i)
            words += "w" + QByteArray::number(i * 7919 % 1000) + ' ';
        // clang-format off
        row("a long preamble", QByteArray("a note\n").repeated(60) + "a,b,c\n" + numbers(150, 3),
            "delimiter ',', no quotes, no comments, labels in row 61, data from row 62, decimal point");
        row("a short row of numbers above", "1,2\na,b,c,d,e\n" + numbers(10, 5),
            "delimiter ',', no quotes, no comments, labels in row 2, data from row 3, decimal point");
        row("numbers in order, few rows", "1,2,3\n7,5,9\n",
            "delimiter ',', no quotes, no comments, no labels, decimal point");
        row("numbers in order above others", "name;1.5;2.7;9\na;9;3;5\nb;2;8;1\nc;7;3;6\nd;4;9;2\n",
            "delimiter ';', no quotes, no comments, labels in row 1, data from row 2, decimal point");
        row("numbers in order beside a word that is repeated",
            "a;1.5;2.7;9\nb;9;3;5\na;2;8;1\nb;7;3;6\na;4;9;2\n",
            "delimiter ';', no quotes, no comments, no labels, decimal point");
        row("numbers in order without words", "1.5;2.7;9\n9;3;5\n2;8;1\n7;3;6\n4;9;2\n",
            "delimiter ';', no quotes, no comments, no labels, decimal point");
        row("a first line that is longer than a part",
            QByteArray("a label,").repeated(12'000) + "\n" + (words + ",word\n").repeated(60),
            "delimiter ',', no quotes, no comments, labels in row 1, data from row 2, decimal point");
        row("only lines", "-----\n=====\n-----\n",
            "one column, no quotes, no comments, no labels, decimal point");
        row("decimal commas below a label", "Wert\n1,5\n2,7\n3,9\n4,1\n",
            "one column, no quotes, no comments, labels in row 1, data from row 2, decimal comma");
        row("whole numbers beside numbers with a point below a label",
            "Wert\n1,5.5\n2,7.5\n3,9.5\n4,1.5\n",
            "delimiter ',', no quotes, no comments, no labels, data from row 2, decimal point");
        row("many columns", numbers(250, 300),
            "delimiter ',', no quotes, no comments, no labels, decimal point");
        row("a comment at the end", "# c\n" + table + "# the end",
            "delimiter ',', no quotes, comments after '#', labels in row 1, data from row 2, decimal point");
        row("comments only", "# a\n# b\n# c\n",
            "one column, no quotes, no comments, no labels, decimal point");
        row("more comments than rows", QByteArray("# comment\n").repeated(9) + "1,2\n3,4\n",
            "delimiter ',', no quotes, comments after '#', no labels, decimal point");
        row("colours", "#ff0000\n#00ff00\n#0000ff\n#ffffff\n#000000\nred\n#777777\n",
            "one column, no quotes, no comments, labels in row 1, data from row 2, decimal point");
        row("comments in each part", "# c\n" + (numbers(2000, 8) + "# c\n").repeated(6),
            "delimiter ',', no quotes, comments after '#', no labels, decimal point");
        row("a label that begins with a marker", "#,Name,Value\n1,a,2\n2,b,3\n3,c,4\n4,d,5\n",
            "delimiter ',', no quotes, no comments, labels in row 1, data from row 2, decimal point");
        row("quotes in aligned columns", "name   note   x    y    z\na      5\"     7    1.5  3\nb      7\"     8    2.5  1\nc      9\"     9    3.5  7\n",
            "columns aligned by blanks, no quotes, no comments, labels in row 1, data from row 2, decimal point");
        row("points, and commas between thousands", "1.5;1,234\n2.5;5,678\n3.5;9,012\n",
            "delimiter ';', no quotes, no comments, no labels, decimal point, separators between thousands");
        row("commas, and points between thousands", "1,5;1.234\n2,5;5.678\n3,5;9.012\n",
            "delimiter ';', no quotes, no comments, no labels, decimal comma, separators between thousands");
        row("quotes within rows", "a,b\n\"1,x\n2,y\",5\n3,z\n4,w\n5,v\n",
            "delimiter ',', double quotes, no comments, labels in row 1, data from row 3, decimal point");
        // clang-format on
    }

    void areDetected()
    {
        QFETCH(QByteArray, sample);
        QFETCH(QString, expected);

        const CSVDialect dialect = CSVDialect::detectBytes(sample);

        QCOMPARE(told(dialect), expected);
        QCOMPARE(told(CSVDialect::detect(makeFile(m_folder.filePath("sample"), sample))), expected);
    }

    void areDetectedWithAQuoteForADelimiter()
    {
        CSVDialect known;
        known.setDelimiter("\"");
        known.setQuotes(CSVDialect::Rfc4180Quotes);

        // Each cell seems to open a quote that is not closed.
        const CSVDialect dialect =
            CSVDialect::detectBytes("\"" + QByteArray("x\"\"").repeated(20'000), known);

        QVERIFY(dialect.isValid());
        QCOMPARE(dialect.delimiter(), Data::String("\""));
        QCOMPARE(dialect.quotes(), CSVDialect::Rfc4180Quotes);
    }

    void tellWhyTheyCannotBeRead_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<qint64>("offset");

        QTest::newRow("small, at its start") << 1000 << qint64(0);
        QTest::newRow("large, at its start") << 500'000 << qint64(0);
        QTest::newRow("large, in its middle") << 500'000 << qint64(250'000);
        QTest::newRow("large, at its end") << 500'000 << qint64(490'000);
    }

    void tellWhyTheyCannotBeRead()
    {
        SKIP_ON_WINDOWS("reading a file on Windows does not fail");
        QFETCH(int, size);
        QFETCH(qint64, offset);
        const QString path =
            makeFile(m_folder.filePath("unreadable"), QByteArray("1,2\n").repeated(size / 4));
        const int filesBefore = openFiles();
        ReadFault bad(path, offset);

        const CSVDialect dialect = CSVDialect::detect(path);

        QVERIFY(bad.count() > 0);
        QVERIFY(!dialect.isValid());
        QCOMPARE(QString(File::lastError()).section('.', -1), QString("readfault"));
        QCOMPARE(openFiles(), filesBefore);
        bad.repair();
        QVERIFY(CSVDialect::detect(path).isValid());
        QCOMPARE(File::lastError(), Data::String());
    }
};

QTEST_GUILESS_MAIN(tst_CSVDialect_samples)
#include "tst_CSVDialect_samples.moc"
