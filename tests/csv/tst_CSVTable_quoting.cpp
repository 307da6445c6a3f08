#include "utils/csv/CSVTable.h"

#include "tests/csv/PlainQuoted.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/CallFault.h"
#include "tests/support/Files.h"
#include "tests/support/FullSize.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <random>

#include <unistd.h>

using Utils::CSVCell;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;

enum class Storage
{
    Text,
    String,
    Bytes,
    InFile
};

static const Storage storages[] = {Storage::Text, Storage::String, Storage::Bytes, Storage::InFile};

static bool read(CSVTable &table, const QString &path, Storage storage)
{
    switch (storage) {
    case Storage::Text:
        return table.read(path);
    case Storage::String:
        return table.setData(Data::String(File::read(path)));
    case Storage::Bytes:
        return table.read(path, 1);
    case Storage::InFile:
        return table.read(path, limitOfNoBytes);
    }
    return false;
}

/// The same rows through visit().
static Rows visitedRows(const CSVTable &table)
{
    Rows rows;
    table.visit(0, -1, [&](const CSVRow &row) {
        QStringList fields;
        for (const CSVCell &cell : row) {
            fields.append(cell.text());
            if (cell.isEmpty() != cell.text().isEmpty())
                fields.append("isEmpty() is wrong");
        }
        rows.append(fields);
        return true;
    });
    return rows;
}

static Rows cellsOf(const CSVTable &table)
{
    Rows rows;
    for (int row = 0; row < table.numRows(); ++row) {
        QStringList fields;
        for (int col = 0; col < table.numColumns(row); ++col)
            fields.append(table.data(row, col));
        rows.append(fields);
    }
    return rows;
}

/// Whether an isolated line at the end is left out by columns: one empty field.
static QStringList columnOf(Rows rows, int col)
{
    if (!rows.isEmpty() && rows.last() == QStringList(QString()))
        rows.removeLast();
    QStringList column;
    for (const QStringList &row : qAsConst(rows))
        column.append(row.value(col));
    return column;
}

class tst_CSVTable_quoting : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    QString path(const char *name = "table.csv") const { return m_folder.filePath(name); }

    /// Compares what each kind of storage reads from the file with \p rows, and what it writes.
    void compareStorages(const Rows &rows, const QString &comment = QString(), char except = 0,
                         const QString &delimiter = QStringLiteral(","))
    {
        for (const Storage storage : storages) {
            CSVTable table(delimiter);
            table.setQuoting(CSVTable::Rfc4180);
            table.setComment(comment, except);
            QCOMPARE(read(table, path(), storage), !rows.isEmpty());
            QCOMPARE(rowsOf(table), rows);
            QCOMPARE(rowsOf(table), rows); // from the lists that are kept now
            QCOMPARE(visitedRows(table), rows);
            QCOMPARE(cellsOf(table), rows);
            for (int col = 0; col < 3; ++col)
                QCOMPARE(table.colData(col), columnOf(rows, col));

            if (rows.isEmpty())
                continue;
            QFile::remove(path("written.csv")); // much faster than to replace it
            QVERIFY(table.write(path("written.csv")));
            CSVTable again(delimiter);
            again.setQuoting(CSVTable::Rfc4180);
            again.setComment(comment, except);
            QVERIFY2(read(again, path("written.csv"), storage),
                     QByteArray("written: ") + File::readRaw(path("written.csv")));
            QCOMPARE(rowsOf(again), rows);
            CSVTable lines(delimiter);
            lines.setQuoting(CSVTable::Rfc4180);
            lines.setComment(comment, except);
            QVERIFY(lines.setData(table.stringData()));
            QCOMPARE(rowsOf(lines), rows);
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".err.csvquote", "open quote from line %1");
        putText(".Kelm.Utils", ".err.csvdelimiter", "wrong delimiter");
        putText(".Kelm.Utils", ".err.csvinput", "%1 is read");
    }
    void cleanupTestCase() { resetCatalogue(); }

    void readsQuotedFields_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Rows>("rows");

        // clang-format off
        // The rules of RFC 4180, section 2
        QTest::newRow("rule 1") << QByteArray("aaa,bbb,ccc\r\nzzz,yyy,xxx\r\n")
                                << Rows{{"aaa", "bbb", "ccc"}, {"zzz", "yyy", "xxx"}};
        QTest::newRow("rule 2") << QByteArray("aaa,bbb,ccc\r\nzzz,yyy,xxx")
                                << Rows{{"aaa", "bbb", "ccc"}, {"zzz", "yyy", "xxx"}};
        QTest::newRow("rule 3") << QByteArray("field_name,field_name,field_name\r\naaa,bbb,ccc\r\nzzz,yyy,xxx\r\n")
                                << Rows{{"field_name", "field_name", "field_name"}, {"aaa", "bbb", "ccc"}, {"zzz", "yyy", "xxx"}};
        QTest::newRow("rule 4") << QByteArray("aaa,bbb,ccc") << Rows{{"aaa", "bbb", "ccc"}};
        QTest::newRow("rule 5") << QByteArray("\"aaa\",\"bbb\",\"ccc\"\r\nzzz,yyy,xxx")
                                << Rows{{"aaa", "bbb", "ccc"}, {"zzz", "yyy", "xxx"}};
        QTest::newRow("rule 6") << QByteArray("\"aaa\",\"b\r\nbb\",\"ccc\"\r\nzzz,yyy,xxx")
                                << Rows{{"aaa", "b\r\nbb", "ccc"}, {"zzz", "yyy", "xxx"}};
        QTest::newRow("rule 7") << QByteArray("\"aaa\",\"b\"\"bb\",\"ccc\"")
                                << Rows{{"aaa", "b\"bb", "ccc"}};

        // The kinds of samples that collections for testing readers have
        QTest::newRow("simple") << QByteArray("a,b,c\n1,2,3\n") << Rows{{"a", "b", "c"}, {"1", "2", "3"}};
        QTest::newRow("simple, CR LF") << QByteArray("a,b,c\r\n1,2,3\r\n") << Rows{{"a", "b", "c"}, {"1", "2", "3"}};
        QTest::newRow("comma in quotes") << QByteArray("first,last,address,city,zip\nJohn,Doe,120 any st.,\"Anytown, WW\",08123\n")
                                         << Rows{{"first", "last", "address", "city", "zip"}, {"John", "Doe", "120 any st.", "Anytown, WW", "08123"}};
        QTest::newRow("empty fields") << QByteArray("a,b,c\n1,\"\",\"\"\n2,3,4\n")
                                      << Rows{{"a", "b", "c"}, {"1", "", ""}, {"2", "3", "4"}};
        QTest::newRow("empty fields, CR LF") << QByteArray("a,b,c\r\n1,\"\",\"\"\r\n2,3,4\r\n")
                                             << Rows{{"a", "b", "c"}, {"1", "", ""}, {"2", "3", "4"}};
        QTest::newRow("escaped quotes") << QByteArray("a,b\n1,\"ha \"\"ha\"\" ha\"\n3,4\n")
                                        << Rows{{"a", "b"}, {"1", "ha \"ha\" ha"}, {"3", "4"}};
        QTest::newRow("JSON") << QByteArray("key,val\n1,\"{\"\"type\"\": \"\"Point\"\", \"\"coordinates\"\": [102.0, 0.5]}\"\n")
                              << Rows{{"key", "val"}, {"1", "{\"type\": \"Point\", \"coordinates\": [102.0, 0.5]}"}};
        QTest::newRow("line feeds") << QByteArray("a,b,c\n1,2,3\n\"Once upon \na time\",5,6\n7,8,9\n")
                                    << Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon \na time", "5", "6"}, {"7", "8", "9"}};
        QTest::newRow("line feeds, CR LF") << QByteArray("a,b,c\r\n1,2,3\r\n\"Once upon \r\na time\",5,6\r\n7,8,9\r\n")
                                           << Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon \r\na time", "5", "6"}, {"7", "8", "9"}};
        QTest::newRow("quotes and line feeds") << QByteArray("a,b\n1,\"ha \n\"\"ha\"\" \nha\"\n3,4\n")
                                               << Rows{{"a", "b"}, {"1", "ha \n\"ha\" \nha"}, {"3", "4"}};
        QTest::newRow("coordinates") << QByteArray("id,place\n1,\"48\xc2\xb0 8' 14.2\"\" N, 11\xc2\xb0 34' 31\"\" E\"\n")
                                     << Rows{{"id", "place"}, {"1", QString::fromUtf8("48\xc2\xb0 8' 14.2\" N, 11\xc2\xb0 34' 31\" E")}};
        QTest::newRow("UTF-8") << QByteArray("a,b\n1,2\n\xca\xa4,\"\xe6\xb8\xac\"\n")
                               << Rows{{"a", "b"}, {"1", "2"}, {QString::fromUtf8("\xca\xa4"), QString::fromUtf8("\xe6\xb8\xac")}};

        // Corners
        QTest::newRow("blanks are content") << QByteArray(" a , \"b\" ,\"  \"\t\n") << Rows{{" a ", " \"b\" ", "  \t"}};
        QTest::newRow("blanks in quotes") << QByteArray("\"Congo, Dem. Rep.\",\" x \"") << Rows{{"Congo, Dem. Rep.", " x "}};
        QTest::newRow("text after the closing quote") << QByteArray("\"a\"b\"c,d\",\"\"e") << Rows{{"ab\"c", "d\"", "e"}};
        QTest::newRow("the same before CR LF") << QByteArray("\"a\"b\r\nc") << Rows{{"ab"}, {"c"}};
        QTest::newRow("quotes that open no field") << QByteArray("a\"b,5\"\nc\"\"d") << Rows{{"a\"b", "5\""}, {"c\"\"d"}};
        QTest::newRow("many quotes") << QByteArray("\"\"\"\"\"\",\"\"\"\",\"\"") << Rows{{"\"\"", "\"", ""}};
        QTest::newRow("CR") << QByteArray("a,b\rc,\"d\re\"\r") << Rows{{"a", "b"}, {"c", "d\re"}};
        QTest::newRow("mixed line ends") << QByteArray("a\nb\r\nc\rd\n\re") << Rows{{"a"}, {"b"}, {"c"}, {"d"}, {""}, {"e"}};
        QTest::newRow("two CR and LF") << QByteArray("a\r\r\nb") << Rows{{"a"}, {""}, {"b"}};
        QTest::newRow("empty lines") << QByteArray("\n\na\n\n") << Rows{{""}, {""}, {"a"}, {""}};
        QTest::newRow("one line feed") << QByteArray("\n") << Rows{{""}};
        QTest::newRow("one comma") << QByteArray(",") << Rows{{"", ""}};
        QTest::newRow("comma at the end") << QByteArray("a,\n,b") << Rows{{"a", ""}, {"", "b"}};
        QTest::newRow("zero bytes") << QByteArray("a\0b,\"\0\",\0\nc", 11)
                                    << Rows{{QString::fromLatin1("a\0b", 3), QString(1, QChar(0)), QString(1, QChar(0))}, {"c"}};
        QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf\"a\",b") << Rows{{"a", "b"}};
        QTest::newRow("two byte order marks") << QByteArray("\xef\xbb\xbf\xef\xbb\xbf" "a,b") << Rows{{QString(QChar(0xfeff)) + "a", "b"}};
        // clang-format on
    }

    void readsQuotedFields()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Rows, rows);
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        compareStorages(rows);

        // The model of the other tests
        bool isClosed = false;
        QCOMPARE(PlainQuoted().rows(QString::fromUtf8(bytes.constData(), bytes.size()), &isClosed),
                 rows);
        QVERIFY(isClosed);
    }

    void readsAndWritesTheSamplesOfCsvSpectrum_data()
    {
        QTest::addColumn<Rows>("rows");

        const Rows simple{{"a", "b", "c"}, {"1", "2", "3"}};
        const Rows empty{{"a", "b", "c"}, {"1", "", ""}, {"2", "3", "4"}};
        const QString replaced{QChar(QChar::ReplacementCharacter)}; // as it is in the file
        // clang-format off
        QTest::newRow("comma_in_quotes") << Rows{{"first", "last", "address", "city", "zip"}, {"John", "Doe", "120 any st.", "Anytown, WW", "08123"}};
        QTest::newRow("empty") << empty;
        QTest::newRow("empty_crlf") << empty;
        QTest::newRow("escaped_quotes") << Rows{{"a", "b"}, {"1", "ha \"ha\" ha"}, {"3", "4"}};
        QTest::newRow("json") << Rows{{"key", "val"}, {"1", "{\"type\": \"Point\", \"coordinates\": [102.0, 0.5]}"}};
        QTest::newRow("location_coordinates")
            << Rows{{"Contact Phone Number", "Location Coordinates", "Cities", "Counties"},
                    {"2095257564", QString("37" + replaced + "36'37.8\"N 121" + replaced + "2'17.9\"W"), "Modesto", "Stanislaus"}};
        QTest::newRow("newlines") << Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon \na time", "5", "6"}, {"7", "8", "9"}};
        QTest::newRow("newlines_crlf") << Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon \r\na time", "5", "6"}, {"7", "8", "9"}};
        QTest::newRow("quotes_and_newlines") << Rows{{"a", "b"}, {"1", "ha \n\"ha\" \nha"}, {"3", "4"}};
        QTest::newRow("simple") << simple;
        QTest::newRow("simple_crlf") << simple;
        QTest::newRow("utf8") << Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", QString::fromUtf8("\xca\xa4")}};
        // clang-format on
    }

    void readsAndWritesTheSamplesOfCsvSpectrum()
    {
        QFETCH(Rows, rows);
        const QString sample =
            QString(SAMPLES "/spectrum-%1.csv").arg(QLatin1String(QTest::currentDataTag()));
        const QByteArray bytes = File::readRaw(sample);
        QVERIFY(!bytes.isEmpty());
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        compareStorages(rows);
    }

    void readsWhatThePlainModelReads()
    {
        static const char *const pieces[] = {"",  "",   ",",   ",",   "\"",   "\"",      "\"\"",
                                             "a", "1",  " ",   "\n",  "\r\n", "\r",      "#",
                                             "!", "\0", ",\"", "\",", "\"\n", "\xc3\xa4"};
        static constexpr unsigned count = sizeof pieces / sizeof *pieces;
        std::mt19937 random(4180);
        int numClosed = 0;
        for (int i = 0; i < 1200; ++i) {
            // Rare quotes leave whole blocks without one; runs make fields longer than a block.
            const bool isQuiet = i % 3 == 0;
            QByteArray bytes;
            const unsigned length = random() % 120;
            for (unsigned k = 0; k < length; ++k) {
                const QByteArray piece = pieces[random() % count];
                if (!isQuiet || !piece.contains('"') || random() % 8 == 0)
                    bytes += piece;
                if (random() % 40 == 0)
                    bytes += QByteArray(static_cast<int>(random() % 150), 'x');
            }
            if (bytes.startsWith("\xef\xbb\xbf") || bytes.isEmpty())
                continue;
            QFile::remove(path());
            QVERIFY(!makeFile(path(), bytes).isEmpty());

            PlainQuoted plain;
            char except = 0;
            if (i % 4 == 0) {
                plain.comment = i % 8 == 0 ? "#" : "a1";
                except = i % 16 == 0 ? '!' : '\0';
                if (except)
                    plain.exception = plain.comment + QLatin1Char(except);
            }
            bool isClosed = false;
            const Rows rows = plain.rows(QString::fromUtf8(bytes), &isClosed);
            numClosed += isClosed;
            for (const Storage storage : storages) {
                CSVTable table;
                table.setQuoting(CSVTable::Rfc4180);
                table.setComment(plain.comment, except);
                const bool isRead = read(table, path(), storage);
                QVERIFY2(isRead == (isClosed && !rows.isEmpty()), bytes.toPercentEncoding());
                QVERIFY2(rowsOf(table) == rows, bytes.toPercentEncoding());
            }
            if (isClosed && !rows.isEmpty()) {
                compareStorages(rows, plain.comment, except);
                if (QTest::currentTestFailed()) {
                    qDebug() << bytes << plain.comment << except;
                    return;
                }
            }
        }
        QVERIFY(numClosed > 300);
    }

    void readsWhatPythonWritesAndWritesWhatPythonReads()
    {
        const QString python = QStandardPaths::findExecutable("python3");
        if (python.isEmpty())
            QSKIP("needs python3");
        const QTemporaryDir folder;
        const auto run = [&](const char *action) {
            QProcess process;
            process.start(python, {QUOTED_TABLES, action, folder.path()});
            process.waitForFinished(-1);
            const QByteArray message = process.readAllStandardError();
            return process.exitCode() == 0 ? message : "failed: " + message;
        };
        QCOMPARE(run("make"), QByteArray());

        for (int number = 0; number < 1000; ++number) {
            const QString base = folder.filePath(QString::number(number));
            QList<QByteArray> lines = File::readRaw(base + ".hex").split('\n');
            const QString delimiter = QChar(lines.takeFirst().toInt());
            lines.removeLast(); // after the last line feed
            Rows rows;
            for (const QByteArray &line : qAsConst(lines)) {
                QStringList row;
                for (const QByteArray &field : line.split(' ')) {
                    const QByteArray bytes = QByteArray::fromHex(field == "-" ? "" : field);
                    row.append(QString::fromUtf8("x" + bytes).mid(1)); // keeps a byte order mark
                }
                rows.append(row);
            }
            for (const Storage storage : storages) {
                CSVTable table(delimiter);
                table.setQuoting(CSVTable::Rfc4180);
                QVERIFY2(read(table, base + ".csv", storage), qPrintable(base));
                QCOMPARE(rowsOf(table), rows);
                if (int(storage) == number / 16 % 4)
                    QVERIFY(table.write(base + ".written"));
            }
        }

        QCOMPARE(run("check"), QByteArray());
    }

    void readsASampleOfPython_data()
    {
        QTest::addColumn<QByteArray>("bytes");

        // What Python 3.11 writes, with QUOTE_MINIMAL, QUOTE_ALL and QUOTE_NONNUMERIC.
        QTest::newRow("minimal") << QByteArray(
            "name,\"a \"\"b\"\"\",\"x,y\"\r\n1.5, z ,\"p\r\nq\"\r\n\"\"\r\n\"\n\",#,'\r\n");
        QTest::newRow("all") << QByteArray("\"name\",\"a \"\"b\"\"\",\"x,y\"\r\n\"1.5\",\" z \",\"p"
                                           "\r\nq\"\r\n\"\"\r\n\"\n\",\"#\",\"'\"\r\n");
        QTest::newRow("not numeric")
            << QByteArray("\"name\",\"a \"\"b\"\"\",\"x,y\"\r\n1.5,\" z \",\"p\r\nq\"\r\n\"\"\r\n"
                          "\"\n\",\"#\",\"'\"\r\n");
    }

    void readsASampleOfPython()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        compareStorages(
            {{"name", "a \"b\"", "x,y"}, {"1.5", " z ", "p\r\nq"}, {""}, {"\n", "#", "'"}});
    }

    void readsRowsOfAnyLengthAcrossBlocks()
    {
        // The file is searched in blocks of 160 KiB; a row, a field, a quote or CR LF may lie on
        // their border.
        for (const int size : {163830, 163836, 163837, 163838, 163839, 163840, 163841, 400000}) {
            const QByteArray filler(size, 'x');
            for (const char *const end :
                 {"\"a\"\"b\"\r\nc,d", "a\r\n\"b,\n\"", "a\rb", "#a\n#b\nc"}) {
                const QByteArray bytes = "q,\"" + filler.left(size / 2) + "\n" +
                                         filler.left(size - size / 2 - 6) + "\"\n" + end;
                QVERIFY(!makeFile(path(), bytes).isEmpty());
                PlainQuoted plain;
                plain.comment = "#";
                compareStorages(plain.rows(QString::fromLatin1(bytes)), "#");
                if (QTest::currentTestFailed())
                    return;
            }
        }
    }

    void tellsAQuoteThatIsNotClosed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Rows>("rows");
        QTest::addColumn<QString>("reason");

        const QString line1 = "open quote from line 1";
        const QString line4 = "open quote from line 4";
        QTest::newRow("one quote") << QByteArray("\"") << Rows{{""}} << line1;
        QTest::newRow("a line break in it")
            << QByteArray("a\r\n\"b\nc\"\r\nd,\"e,f\r\n\"\"\r\n")
            << Rows{{"a"}, {"b\nc"}, {"d", "e,f\r\n\"\r\n"}} << line4;
        QTest::newRow("two quotes") << QByteArray("a,\"\"\"") << Rows{{"a", "\""}} << line1;
        QTest::newRow("rows that end at CR")
            << QByteArray("a\r\"b\rc\"\rd,\"e\r") << Rows{{"a"}, {"b\rc"}, {"d", "e\r"}} << line4;
        QTest::newRow("rows that end at CR, LF and CR LF")
            << QByteArray("a\rb\nc\r\n\"d") << Rows{{"a"}, {"b"}, {"c"}, {"d"}} << line4;
    }

    void tellsAQuoteThatIsNotClosed()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Rows, rows);
        QFETCH(QString, reason);
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        for (const Storage storage : storages) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(!read(table, path(), storage));
            QCOMPARE(File::lastError(), Data::String(reason));
            QVERIFY(table.isValid());
            QCOMPARE(rowsOf(table), rows); // nothing is lost
        }
    }

    void tellsAQuoteThatIsNotClosedWhereItsLineCannotBeCounted()
    {
#ifdef _WIN32
        QSKIP("no call can be replaced on Windows");
#else
        QVERIFY(!makeFile(path(), "a\nb\n\"c\n").isEmpty());

        int counts = 0; // that failed
        bool hasFailed = true;
        for (int first = 0; hasFailed; ++first) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            const CallFault fault("read", EIO, first);

            QVERIFY(!read(table, path(), Storage::InFile));

            hasFailed = fault.count() > 0;
            const QString reason = File::lastError();
            counts += reason == "open quote from line 1";
            QVERIFY2(hasFailed || reason == "open quote from line 3", qPrintable(reason));
        }
        QVERIFY(counts > 0);
#endif
    }

    void takesNoLongerForAQuoteThatIsNotClosed()
    {
        // A reader that looks for each closing quote again would need minutes.
        const int count = fullSize(2'000'000, 25'000'000); // of four bytes
        QByteArray bytes = QByteArray("a,b\n").repeated(100000) + "\"";
        bytes += QByteArray("\"\",\n").repeated(count);
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        for (const Storage storage : {Storage::Text, Storage::Bytes, Storage::InFile}) {
            QElapsedTimer timer;
            timer.start();
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(!read(table, path(), storage));
            QCOMPARE(File::lastError(), Data::String("open quote from line 100001"));
            QCOMPARE(table.numRows(), 100001);
            QCOMPARE(table.data(100000, 0).size(), 3 * count);
            const qint64 longest = 10000 * qint64(count) / 2'000'000;
            QVERIFY2(timer.elapsed() < longest, QByteArray::number(timer.elapsed()));
        }
    }

    void refusesDelimitersThatQuotesDoNotAllow_data()
    {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<bool>("isInMemory");

        QTest::newRow("two characters") << "::" << false;
        QTest::newRow("a pattern") << "\\s+" << false;
        QTest::newRow("none") << "" << false;
        QTest::newRow("a quote") << "\"" << false;
        QTest::newRow("a line feed") << "\n" << false;
        QTest::newRow("a carriage return") << "\r" << false;
        QTest::newRow("outside ASCII") << QString(QChar(0xa7)) << true;
    }

    void refusesDelimitersThatQuotesDoNotAllow()
    {
        QFETCH(QString, delimiter);
        QFETCH(bool, isInMemory);
        QVERIFY(!makeFile(path(), "a\xc2\xa7\"b\xc2\xa7\"").isEmpty());

        for (const Storage storage : storages) {
            CSVTable table(delimiter);
            table.setQuoting(CSVTable::Rfc4180);
            const bool isRead = isInMemory && storage != Storage::InFile;
            QCOMPARE(read(table, path(), storage), isRead);
            if (isRead) {
                QCOMPARE(table.data(0), (QStringList{"a", QString("b") + QChar(0xa7)}));
                continue;
            }
            QCOMPARE(File::lastError(), Data::String("wrong delimiter"));
            QVERIFY(!table.isValid());
        }
    }

    void refusesWhenAlternatesAreNotAllowed()
    {
        CSVTable table(",");
        table.setQuoting(CSVTable::Rfc4180);
        table.addDelimiter("::", /*alternate=*/true);

        QVERIFY(!table.setData("a::\"b\""));
        QVERIFY(table.setData("a,\"b::c\"")); // the delimiter is still the comma
        QCOMPARE(rowsOf(table), (Rows{{"a", "b::c"}}));
        table.clear();
        table.addDelimiter(";", /*alternate=*/true);
        QVERIFY(!table.setData("a;\"b\"")); // which are two alternates
    }

    void usesASingleAlternate()
    {
        CSVTable table(",");
        table.setQuoting(CSVTable::Rfc4180);
        table.addDelimiter(";", /*alternate=*/true);

        QVERIFY(table.setData("a;\"b;c\"\n"));

        QCOMPARE(rowsOf(table), (Rows{{"a", "b;c"}}));
        QCOMPARE(table.stringData(), Data::String("a;\"b;c\""));
    }

    void skipsCommentsInEachStorage()
    {
        QVERIFY(
            !makeFile(path(), "# it's \"so,\"\r\na,b\n#\n\"#c\",#d\n#!e\n\"x\n#y\"\n#z").isEmpty());

        compareStorages({{"a", "b"}, {"#c", "#d"}, {"#!e"}, {"x\n#y"}}, "#", '!');
    }

    void hasNoRowsWhenThereAreOnlyComments()
    {
        QVERIFY(!makeFile(path(), "#a\n#\"b\n").isEmpty());

        compareStorages({}, "#");
    }

    void failsForAnEmptyFile()
    {
        QVERIFY(!makeFile(path(), "").isEmpty());

        compareStorages({});
    }

    void failsForAFileThatCannotBeRead()
    {
        for (const int limit : {0, 1, limitOfNoBytes}) {
            for (const QString &missing : {m_folder.path(), path("missing.csv"), QString()}) {
                CSVTable table;
                table.setQuoting(CSVTable::Rfc4180);
                QVERIFY(!table.read(missing, limit));
                QVERIFY(!table.isValid());
                QCOMPARE(table.path(), Data::String(missing));
            }
        }
    }

    void convertsNumbersAlikeInEachStorage()
    {
        QVERIFY(
            !makeFile(
                 path(),
                 "1.5,\"2.5\", 3.5 ,\"4.5{mm}\",,\"\",\"  \",x,\"1\"2,1e400\r\n-7.25\r\n\"-8\"\r\n")
                 .isEmpty());
        const double hole = -99.0;

        for (const Storage storage : storages) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            table.setHoleValue(hole);
            QVERIFY(read(table, path(), storage));

            const QList<double> expected{1.5, 2.5, 3.5, 4.5, hole, hole, 0.0, 0.0, 12.0, qInf()};
            const QList<bool> areNumbers{true,  true,  true,  true, false,
                                         false, false, false, true, false};
            QCOMPARE(table.dataValue(0), expected);
            for (int col = 0; col < expected.size(); ++col) {
                bool isNumber = !areNumbers.at(col);
                QCOMPARE(table.dataValue(0, col, &isNumber), expected.at(col));
                QCOMPARE(isNumber, areNumbers.at(col));
                QCOMPARE(table.colDataValue(col).first(), expected.at(col));
            }
            QCOMPARE(table.colDataValue(0), (QList<double>{1.5, -7.25, -8.0}));
            QCOMPARE(table.colDataValue(1), (QList<double>{2.5, hole, hole}));
            table.visit(0, 0, [&](const CSVRow &row) {
                for (int col = 0; col < row.size(); ++col) {
                    bool isNumber = !areNumbers.at(col);
                    if (row[col].number(&isNumber) != expected.at(col) ||
                        isNumber != areNumbers.at(col))
                        QTest::qFail("the number of a cell", __FILE__, __LINE__);
                }
                return true;
            });
        }
        CSVTable().setHoleValue(0.0); // that of all tables
    }

    void findsKeysAndChecksumsAlikeInEachStorage()
    {
        QVERIFY(!makeFile(path(), "key,value\n\"a,\nb\",1\nc,\"2 \"\n").isEmpty());

        unsigned short sum = 0;
        for (const Storage storage : storages) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(read(table, path(), storage));
            int row = -1;
            QCOMPARE(table.data("a,\nb", 0, 0, &row, /*exact=*/true), Data::String("1"));
            QCOMPARE(row, 1);
            QCOMPARE(table.data(2, "value"), Data::String("2 "));
            QVERIFY(table.hasHeader());
            QVERIFY(!table.isEmpty(0));
            QVERIFY(table.isEmpty(3));
            QVERIFY(table.isEmpty(0, 2));
            QCOMPARE(table.data(7), QStringList());
            QCOMPARE(table.data(-1, 0), Data::String());
            QCOMPARE(table.colData(0, -1), (QStringList{"", "key", "a,\nb", "c"}));
            QCOMPARE(table.colData(-1), QStringList());
            if (storage == Storage::Text)
                sum = table.checksum();
            QCOMPARE(table.checksum(), sum);
            QVERIFY(table.checksum(1) != sum);
        }
    }

    void changesRowsOfTextAndBytes()
    {
        for (const Storage storage : {Storage::Text, Storage::String, Storage::Bytes}) {
            QVERIFY(!makeFile(path(), "a,\"b\nc\"\n\n\"d\",e,f\n").isEmpty());
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(read(table, path(), storage));

            table.setData(0, 0, "x \"y\"").setData(2, 3, 1.5);
            table.removeColumn(1);
            QCOMPARE(table.removeEmptyRows(), 1);

            const Rows rows{{"x \"y\""}, {"d", "f", "1.5"}};
            QCOMPARE(rowsOf(table), rows);
            QVERIFY(table.write(path("changed.csv")));
            QCOMPARE(File::readRaw(path("changed.csv")), QByteArray("\"x \"\"y\"\"\"\nd,f,1.5\n"));
        }
    }

    void sortsTextRows()
    {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(table.setData("n\n\"10\",\"\n\"\n 9\n"));

        table.sort(0, 1);

        QCOMPARE(rowsOf(table), (Rows{{"n"}, {" 9"}, {"10", "\n"}}));
    }

    void writesQuotesOnlyWhereTheyAreNeeded()
    {
        CSVTable table(";");
        table.setQuoting(CSVTable::Rfc4180);
        table.setComment("#");
        const Rows rows{
            {"a,b", "c;d", "e\"f", " g "}, {"h\ni", "j\rk", "\r\n"}, {""}, {"", ""}, {"#l", "#m"},
            {QString(QChar(0xfeff)) + "n"}};
        for (const QStringList &row : rows)
            table.appendData(row);

        QCOMPARE(table.stringData(0), Data::String("a,b;\"c;d\";\"e\"\"f\"; g "));
        QCOMPARE(table.stringData(1), Data::String("\"h\ni\";\"j\rk\";\"\r\n\""));
        QCOMPARE(table.stringData(2), Data::String("\"\""));
        QCOMPARE(table.stringData(3), Data::String(";"));
        QCOMPARE(table.stringData(4), Data::String("\"#l\";#m"));
        QCOMPARE(table.stringData(5), Data::String(QString("\"") + QChar(0xfeff) + "n\""));
        QCOMPARE(table.stringData(6), Data::String());
        QCOMPARE(table.stringData(-1), Data::String());
        QCOMPARE(table.lineData(2, 3), (QStringList{"\"\"", ";"}));
        QVERIFY(table.write(path("written.csv")));
        QCOMPARE(File::read(path("written.csv")), table.stringData() + "\n");
    }

    void writesNoRowAsAComment()
    {
        for (const char *const comment : {",", "a", "ab", "a,", "a,b,"}) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            table.setComment(comment);
            const Rows rows{{"", "b"}, {"a", "b", "c"}, {"ab", "c"}, {"a,b"}, {"b"}};
            for (const QStringList &row : rows)
                table.appendData(row);
            QVERIFY(table.write(path()));

            compareStorages(rows, comment);
        }
    }

    void writesRowsWithoutFieldsAsRows()
    {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.appendData(QStringList());
        table.appendData(QStringList("a"));
        table.appendData(QStringList());

        QCOMPARE(table.stringData(), Data::String("\"\"\na\n\"\""));
    }

    void splitsLinesThatAreAppended()
    {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.setComment("#");

        table.appendData("a,\"b,\"\"c\ne\", f")
            .appendData("g\r\n")
            .appendData("")
            .appendData("h\ni")
            .appendData("#j,");

        QCOMPARE(rowsOf(table),
                 (Rows{{"a", "b,\"c\ne", " f"}, {"g"}, {""}, {"h", "i"}, {"#j", ""}}));
        QCOMPARE(table.escapedData(0, '\\'), table.data(0));
        table.setData(1, 0, "x\\").setData(1, 1, "y z");
        QCOMPARE(table.escapedData(1, '\\'), QStringList("x,y z"));
    }

    void keepsBytesThatAreNoUtf8()
    {
        const QByteArray bytes = "T{\xb0"
                                 "C},\"\xb0,\"\n";
        QVERIFY(!makeFile(path(), bytes).isEmpty());

        for (const Storage storage : {Storage::Bytes, Storage::InFile}) {
            CSVTable table;
            table.setQuoting(CSVTable::Rfc4180);
            QVERIFY(read(table, path(), storage));
            QCOMPARE(table.data(0, 0), Data::String(QString("T{") + QChar(0xfffd) + "C}"));
            QVERIFY(table.write(path("written.csv")));
            QCOMPARE(File::readRaw(path("written.csv")), bytes);
        }
    }

    void doesNotReplaceTheFileThatItReads()
    {
        SKIP_ON_WINDOWS("links are others on Windows");
        const QByteArray bytes = "a,\"b\"\n";
        QVERIFY(!makeFile(path(), bytes).isEmpty());
        const QString link = path("link.csv");
        QFile::remove(link);
        QVERIFY(QFile::link(path(), link));
        const QString otherName = path("other name.csv");
        QCOMPARE(::link(QFile::encodeName(path()), QFile::encodeName(otherName)), 0);
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(read(table, path(), Storage::InFile));
        QVERIFY(!table.read(path("missing.csv"), 1)); // which sets the path only
        table.clearPath();

        for (const QString &target : {path(), link, otherName}) {
            QVERIFY(!table.write(target));
            QCOMPARE(File::lastError(), Data::String(target + " is read"));
        }

        QCOMPARE(File::readRaw(path()), bytes);
        QVERIFY(table.write(path("written.csv")));
        QCOMPARE(File::lastError(), Data::String());
    }

    void writesToTheNameOfTheFileThatItReadsWhenThatIsGone()
    {
        QVERIFY(!makeFile(path(), "a,\"b\"\n").isEmpty());
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(read(table, path(), Storage::InFile));
        QVERIFY(QFile::remove(path()));
        SKIP_ON_WINDOWS("the name is in use as long as the removed file, before Windows 10");

        QVERIFY(table.write(path()));

        QCOMPARE(File::readRaw(path()), QByteArray("a,b\n"));
    }

    void doesNotWriteRowsThatItCannotRead()
    {
        QVERIFY(!makeFile(path(), "a,b\n" + QByteArray("\"c\nd\",e\n").repeated(100000)).isEmpty());
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(read(table, path(), Storage::InFile));
        QVERIFY(QFile::resize(path(), 400000)); // by another program

        QVERIFY(!table.write(path("written.csv")));
        QVERIFY(!File::lastError().isEmpty());

        QVERIFY(!makeFile(path("kept.csv"), "before").isEmpty());
        File::setSafeWriting(true);
        const bool isWritten = table.write(path("kept.csv"));
        File::setSafeWriting(false);
        QVERIFY(!isWritten);
        QCOMPARE(File::readRaw(path("kept.csv")), QByteArray("before"));
    }

    void splitsRowsWithoutRegardToDemandParse()
    {
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.setDemandParse(true);
        QVERIFY(table.setData("\"a\nb\",c\n"));

        table.setData(0, 2, "d"); // which would keep the line from being split

        QCOMPARE(rowsOf(table), (Rows{{"a\nb", "c", "d"}}));
    }

    void readsARowInTheFileAgainAfterAFailure()
    {
        QVERIFY(!makeFile(path(), "a,b\n" + QByteArray("\"c\nd\",e\n").repeated(100000)).isEmpty());
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(read(table, path(), Storage::InFile));
        QVERIFY(QFile::resize(path(), 7));

        QCOMPARE(table.data(0), (QStringList{"a", "b"})); // cut off after the quote and c
        QCOMPARE(table.data(1), QStringList("c\n"));
        QCOMPARE(table.data(2), QStringList(""));
        QVERIFY(!makeFile(path(), "a,b\n" + QByteArray("\"c\nd\",e\n").repeated(100000)).isEmpty());
        QCOMPARE(table.data(90000), (QStringList{"c\nd", "e"}));
    }

    void readsColumnsOfAnyRowInTheFile()
    {
        QByteArray bytes;
        Rows rows;
        for (int row = 0; row < 200000; ++row) {
            const QByteArray number = QByteArray::number(row);
            bytes += number + ",\"" + number + "\n\"\"\"\r\n";
            rows.append({number, number + "\n\""});
        }
        QVERIFY(!makeFile(path(), bytes).isEmpty());
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        QVERIFY(read(table, path(), Storage::InFile));

        QCOMPARE(table.numRows(), rows.size());
        QCOMPARE(table.colData(1), columnOf(rows, 1));
        for (const int row : {199999, 0, 65535, 65536, 65537, 131072, 100000, 99999, 100001})
            QCOMPARE(table.data(row), rows.at(row));
        QCOMPARE(table.colDataValue(0, 199998), (QList<double>{199998.0, 199999.0}));
    }

    void isClassicUnlessItIsSet()
    {
        CSVTable table;
        QCOMPARE(table.quoting(), CSVTable::Classic);
        QVERIFY(table.setData("\"a\nb\", c"));
        QCOMPARE(rowsOf(table), (Rows{{"\"a"}, {"b\"", "c"}}));

        table.setQuoting(CSVTable::Rfc4180);
        QCOMPARE(table.quoting(), CSVTable::Rfc4180);
        table.clear();
        QCOMPARE(table.quoting(), CSVTable::Rfc4180);
        table.setQuoting(CSVTable::Classic);
        QVERIFY(table.setData("\"a,b\"", /*quoted=*/true));
        QCOMPARE(rowsOf(table), (Rows{{"a,b"}}));
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_quoting)
#include "tst_CSVTable_quoting.moc"
