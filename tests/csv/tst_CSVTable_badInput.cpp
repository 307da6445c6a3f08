#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/FullSize.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <random>
#include <thread>

using Utils::CSVTable;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

/// Calls every operation that reads, with good and bad indices. Returns how many rows there are by
/// each of several ways to count them, which must agree.
static QList<int> useAll(const CSVTable &table)
{
    for (const int row : {intMin, -1, 0, 1, table.numRows() - 1, table.numRows(), intMax}) {
        for (const int col : {intMin, -1, 0, 1, intMax}) {
            Data::String annotation;
            Data::String text;
            double value = 0.0;
            bool ok = false;
            int found = 0;
            table.data(row, col);
            table.data(row, col, ";");
            table.data(row, col, annotation, text);
            table.data("key", col, row, &found);
            table.dataValue(row, col, &ok);
            table.dataValue(row, col, " ");
            table.dataValue(row, col, annotation, value);
            table.dataValue("key", col, row, &found, true, &ok);
            table.rowData(row, col, row);
            table.rowDataValue(row, row, col);
            if (row >= -1) {
                table.colData(col, row);
                table.colDataValue(col, row);
            }
            table.isEmpty(row, col);
            CSVTable::columnLabel(col, row);
        }
        table.data(row);
        table.data(row, "label");
        table.dataValue(row);
        table.dataValue(row, "label");
        table.propertyValues(row, true);
        table.stringData(row);
        table.escapedData(row, '\\');
        table.checksum(row);
        table.numColumns(row);
        table.alignedStringData(row, row, row);
        if (row >= -1 && row <= table.numRows())
            table.lineData(row, row + 1);
    }
    table.hasHeader();
    return {rowsOf(table).size(), table.lineData().size(),
            table.stringData().count('\n') + (table.numRows() > 0 ? 1 : 0)};
}

class tst_CSVTable_badInput : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

    static void addRoutes()
    {
        QTest::addColumn<int>("limit");
        QTest::newRow("text") << 0;
        QTest::newRow("bytes") << 1000;
        QTest::newRow("file") << limitOfNoBytes;
    }

private Q_SLOTS:
    void initTestCase() { qunsetenv("KLT_NORAWREAD"); }

    void bearsAnything_data() { addRoutes(); }

    void bearsAnything()
    {
        QFETCH(int, limit);
        std::mt19937 random(20240607);
        static const char bytesToUse[] =
            "\0\n\n\r,,;\"\"{}->#! .\t019eE+-nai\xc3\xa9\xff\xef\xbb\xbf\xed\xa0\x80";
        const QByteArray alphabet(bytesToUse, sizeof bytesToUse - 1);

        for (int round = 0; round < 100; ++round) {
            QByteArray bytes;
            const int size = static_cast<int>(random() % 200);
            for (int i = 0; i < size; ++i)
                bytes.append(alphabet.at(static_cast<int>(random() % alphabet.size())));
            if (limit == 0) // what is no valid UTF-8 is no text
                bytes = QString::fromUtf8(bytes.constData(), bytes.size()).toUtf8();
            CSVTable table;
            table.setComment("#", '!');
            table.setDemandParse(random() % 2);

            const bool isRead = table.read(file(bytes), limit);

            QCOMPARE(isRead, table.isValid());
            const QList<int> counts = useAll(table);
            QCOMPARE(counts, QList<int>({table.numRows(), table.numRows(), table.numRows()}));
        }
    }

    void changesAnything_data() { addRoutes(); }

    void changesAnything()
    {
        QFETCH(int, limit);

        for (const bool onDemand : {false, true}) {
            CSVTable table;
            table.setDemandParse(onDemand);
            table.read(file("a,b\nc\n,\n"), limit);

            for (const int row : {intMin, -1, 4, intMax}) {
                for (const int col : {intMin, -1, intMax}) {
                    table.setData(row, col, "x").setData(row, col, 1.5).setData_g(row, col, 2);
                    table.removeColumn(col);
                    table.alignColumns(row, col, std::min(col, 100));
                }
            }

            QCOMPARE(table.isDemandRead(), limit == limitOfNoBytes);
            QCOMPARE(table.numRows(), 4);
            for (const int row : {intMin, 4, intMax}) {
                table.sort(intMax, row);
                table.sort(intMin, row);
                QCOMPARE(table.removeEmptyRows(std::max(row, 4), row), 0);
            }
            QCOMPARE(table.numRows(), 4);
        }
    }

    void stopsAtNoZero_data() { addRoutes(); }

    // A zero byte is an ordinary character of text, ends the text of a field of bytes, and hides
    // the rest of its block in a file.
    void stopsAtNoZero()
    {
        QFETCH(int, limit);
        CSVTable table;
        table.read(file(QByteArray("a\0b,c\nd,e\n", 10)), limit);

        if (limit == 0)
            QCOMPARE(rowsOf(table), Rows({{QString("a") + QChar(0) + "b", "c"}, {"d", "e"}, {""}}));
        else if (limit == 1000)
            QCOMPARE(rowsOf(table), Rows({{"a", "c"}, {"d", "e"}, {""}}));
        else
            QCOMPARE(rowsOf(table), Rows({{"a"}}));
    }

    void readsALineOfTenMegabytes_data() { addRoutes(); }

    void readsALineOfTenMegabytes()
    {
        QFETCH(int, limit);
        const QByteArray longLine(10 << 20, 'x');
        CSVTable table;
        table.read(file("a," + longLine + "\nb"), limit);

        QCOMPARE(table.numRows(), 2);
        QCOMPARE(table.data(0, 1).size(), longLine.size());
        QCOMPARE(table.colData(1).first(), QString(longLine));
        QCOMPARE(table.dataValue(0, 1), 0.0);
        QCOMPARE(table.data(1, 0), Data::String("b"));
    }

    void readsAMillionColumns_data() { addRoutes(); }

    void readsAMillionColumns()
    {
        QFETCH(int, limit);
        CSVTable table;
        table.read(file(QByteArray("7,").repeated(999999) + "8"), limit);

        QCOMPARE(table.numColumns(0), 1000000);
        QCOMPARE(table.data(0, 999999), Data::String("8"));
        QCOMPARE(table.dataValue(0).size(), 1000000);
        QCOMPARE(table.rowDataValue(0, 999998), QList<double>({7, 8}));
        QCOMPARE(table.data(0, "8"), Data::String("8"));
    }

    void hasManyColumns_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("isQuoted");
        for (const bool isQuoted : {false, true}) {
            const char *const quotes = isQuoted ? "with quotes" : "classic";
            QTest::addRow("text, %s", quotes) << 0 << isQuoted;
            QTest::addRow("bytes, %s", quotes) << 1000 << isQuoted;
            QTest::addRow("file, %s", quotes) << limitOfNoBytes << isQuoted;
        }
    }

    void hasManyColumns()
    {
        QFETCH(int, limit);
        QFETCH(bool, isQuoted);
        const int count = fullSize(300'000, 10'000'000);
        QByteArray bytes = "first{mm}" + QByteArray(",x").repeated(count - 1) + "\n0";
        for (int i = 1; i < count; ++i)
            bytes += ',' + QByteArray::number(i);
        CSVTable table;
        table.setQuoting(isQuoted ? CSVTable::Rfc4180 : CSVTable::Classic);
        table.setHeaderRows(1);
        QVERIFY(table.read(makeFile(m_folder.filePath("wide.csv"), bytes), limit));

        const QList<Utils::CSVColumn> columns = table.columns();

        QCOMPARE(columns.size(), count);
        QCOMPARE(columns.first().unit, Data::String("mm"));
        QCOMPARE(columns.last().label, Data::String("x"));
        QVERIFY(columns.last().type == Utils::CSVColumn::Numbers);
        QCOMPARE(columns.last().numCells, 1);
        QCOMPARE(table.dataValue(1, count - 1), double(count - 1));
        QCOMPARE(table.colDataValue(count - 1, 1), QList<double>{double(count - 1)});
    }

    void endsClassicRowsAtLineFeedsOnly_data() { addRoutes(); }

    void endsClassicRowsAtLineFeedsOnly()
    {
        QFETCH(int, limit);
        const QByteArray bytes = "a,b\r\nc,d\ne\r,f\r\n\r\ng\n\rh\r";
        CSVTable table;
        QVERIFY(table.read(makeFile(m_folder.filePath("mixed.csv"), bytes), limit));

        QCOMPARE(rowsOf(table), (Rows{{"a", "b"}, {"c", "d"}, {"e", "f"}, {""}, {"g"}, {"h"}}));
    }

    void readsAMillionEmptyRows_data() { addRoutes(); }

    void readsAMillionEmptyRows()
    {
        QFETCH(int, limit);
        CSVTable table;
        table.read(file(QByteArray(1000000, '\n')), limit);

        QCOMPARE(table.numRows(), 1000001);
        QCOMPARE(table.colDataValue(0).size(), 1000000);
    }

    void removesManyEmptyRows_data() { addRoutes(); }

    void removesManyEmptyRows()
    {
        QFETCH(int, limit);
        CSVTable table;
        table.read(file(QByteArray("a\n\n").repeated(300000)), limit);
        const int rows = limit == limitOfNoBytes ? 600001 : 300000;

        QCOMPARE(table.removeEmptyRows(), 600001 - rows); // one by one they take a minute

        QCOMPARE(table.numRows(), rows);
        QCOMPARE(table.data(1, 0), Data::String(limit == limitOfNoBytes ? "" : "a"));
    }

    void readsAMillionQuotes()
    {
        CSVTable table;

        QVERIFY(table.setData(QString(1000000, '"'), /*quoted=*/true));

        QCOMPARE(table.data(0, 0), Data::String(QString(500000, '"')));
    }

    void splitsNothingAtInvalidPatterns()
    {
        for (const char *pattern : {"(", "[", "*", "\\", "a{2,1}", "(?<=a)"}) {
            CSVTable table(pattern);
            table.addDelimiter(",");

            QVERIFY(table.setData("a,b\nc"));

            QCOMPARE(rowsOf(table), Rows({{"a,b"}, {"c"}}));
            table.appendData(Data::String("d,e"));
            QCOMPARE(table.data(2), QStringList({"d,e"}));
            table.setDemandParse(true);
            table.setData("f,g");
            QCOMPARE(table.data(3), QStringList({"f,g"}));
            useAll(table);
        }
    }

    void readsSequencesThatAreCutOff_data() { addRoutes(); }

    void readsSequencesThatAreCutOff()
    {
        QFETCH(int, limit);
        CSVTable table;

        const bool isRead = table.read(file("a,\xe2\x82\nb,\xe2\x82"), limit);

        QCOMPARE(isRead, limit != 0);
        if (isRead) {
            QCOMPARE(table.data(0).size(), 2);
            QVERIFY(table.data(0).at(1).startsWith(QChar(0xfffd)));
            QCOMPARE(table.data(1).first(), QString("b"));
        }
    }

    void readsTextThatIsNoUnicode()
    {
        CSVTable table;
        table.setData(QString(QChar(0xd800)) + "," + QChar(0xdc00) + "\n" + QChar(0xffff));

        QCOMPARE(rowsOf(table), Rows({{QString(QChar(0xd800)), QString(QChar(0xdc00))},
                                      {QString(QChar(0xffff))}}));
        useAll(table);
    }

    void bearsAFileThatShrinks_data() { addRoutes(); }

    void bearsAFileThatShrinks()
    {
        QFETCH(int, limit);
        const QByteArray text = "a,b\n" + QByteArray(30000, 'c') + "\nd,e\n";
        const QString path = file(text);
        CSVTable table;
        table.read(path, limit);

        QVERIFY(QFile::resize(path, 0));

        QCOMPARE(table.numRows(), 4);
        if (limit == limitOfNoBytes) {
            QCOMPARE(table.data(2, 0), Data::String());
            QCOMPARE(table.data(2), QStringList({""}));
            QCOMPARE(table.dataValue(2, 1), 0.0);
        } else {
            QCOMPARE(table.data(2), QStringList({"d", "e"}));
        }
        useAll(table);
    }

    void bearsAFileThatVanishes_data() { addRoutes(); }

    void bearsAFileThatVanishes()
    {
        QFETCH(int, limit);
        const QString path = file("a,b\nc,d");
        CSVTable table;
        table.read(path, limit);

        QVERIFY(QFile::remove(path));

        QCOMPARE(table.numRows(), 2);
        QCOMPARE(table.path(), Data::String(path));
        QCOMPARE(table.data(1), QStringList({"c", "d"})); // an open file stays until it is closed
        QVERIFY(!table.read(path, limit));
    }

    void readsNothingOfAFileThatIsTooLargeForText()
    {
        const QString path = file("a");
        QVERIFY(QFile::resize(path, qint64(3) << 30)); // takes no room on the disk
        CSVTable table;
        table.addDelimiter(";");

        QVERIFY(!table.read(path));
        QVERIFY(!table.read(path, 1));

        QVERIFY(!table.isValid());
        QFile::remove(path);
    }

    void opensAPipeOnce_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<Rows>("rows");

        const Rows none;
        const QByteArray wide("\xff\xfe\xe4\0,\0b\0\n\0c\0", 12);
        QTest::newRow("empty, text") << 0 << QByteArray() << none;
        QTest::newRow("empty, bytes") << 1000 << QByteArray() << none;
        QTest::newRow("UTF-8, text") << 0 << QByteArray("\xc3\xa4,b\nc") << Rows{{"ä", "b"}, {"c"}};
        QTest::newRow("UTF-8, bytes") << 1000 << QByteArray("\xc3\xa4,b") << Rows{{"ä", "b"}};
        QTest::newRow("UTF-16") << 0 << wide << Rows{{"ä", "b"}, {"c"}};
        QTest::newRow("nothing but a mark") << 0 << QByteArray("\xef\xbb\xbf") << none;
        QTest::newRow("no Unicode") << 0 << QByteArray("\xe4,b") << none;
        QTest::newRow("no Unicode after a mark") << 0 << QByteArray("\xef\xbb\xbf\xe4") << none;
    }

    void opensAPipeOnce()
    {
        SKIP_ON_WINDOWS("Windows has no pipes in folders");
        QFETCH(int, limit);
        QFETCH(QByteArray, contents);
        QFETCH(Rows, rows);
        const QTemporaryDir folder;
        const QString path = folder.filePath("pipe");
        const QByteArray name = QFile::encodeName(path);
        QCOMPARE(mkfifo(name.constData(), 0600), 0);
        std::atomic<bool> isRead{false};
        int writers = 0;
        std::thread writer([&] {
            while (!isRead) {
                // Works while there is a reader. One that comes back would wait for good.
                const int pipe = open(name.constData(), O_WRONLY | O_NONBLOCK);
                if (pipe < 0)
                    continue;
                const auto written =
                    write(pipe, contents.constData(), static_cast<std::size_t>(contents.size()));
                writers += written == contents.size() ? 1 : 100;
                close(pipe);
                for (int i = 0; i < 2000 && !isRead; ++i)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        CSVTable table;
        table.setData("a");

        const bool isGood = table.read(path, limit);
        isRead = true;
        writer.join();

        QCOMPARE(isGood, !rows.isEmpty());
        QCOMPARE(writers, 1);
        if (limit == 0 || rows.isEmpty()) // text is added
            rows.prepend({"a"});
        QCOMPARE(rowsOf(table), rows);
    }

    void alignsAWideRowAboveManyShortOnes()
    {
        const int count = 150000; // which squared would take minutes
        CSVTable table;
        table.setData(QString("x,").repeated(count) + QString("\nab").repeated(count));

        QCOMPARE(table.alignedStringData().size(),
                 3 + 2 * (count - 1) + 1 + count + (1 + 3) * count);

        table.alignColumns();

        QCOMPARE(table.data(0, 0), Data::String("  x"));
        QCOMPARE(table.data(0, 1), Data::String(" x"));
        QCOMPARE(table.data(0, count), Data::String(" "));
        QCOMPARE(table.data(count), QStringList(" ab"));
    }

    void bearsPathsThatNameNothing()
    {
        SKIP_ON_WINDOWS("Windows does not have what this reads");
        for (const Data::String &path :
             {Data::String(), Data::String("*"), Data::String(m_folder.path() + "/*"),
              Data::String(QChar(0)), Data::String(m_folder.filePath("a") + QChar(0) + "b"),
              Data::String(QString(100000, 'x')), Data::String("/dev/null/x")})
        {
            for (const int limit : {0, 1, limitOfNoBytes}) {
                CSVTable table;
                QVERIFY(!table.read(path, limit));
                QCOMPARE(table.path(), path);
                QCOMPARE(table.numRows(), 0);
                useAll(table);
            }
        }
    }

    void usesAnEmptyTable()
    {
        CSVTable table;
        QCOMPARE(useAll(table), QList<int>({0, 0, 0}));

        CSVTable none("");
        none.setData(1, 1, "x");
        QCOMPARE(useAll(none), QList<int>({2, 2, 2}));
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_badInput)
#include "tst_CSVTable_badInput.moc"
