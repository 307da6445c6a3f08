// Tables of other programs, in other encodings than UTF-8.

#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/strings/Catalogue.h" // loadLibraryTexts, resetCatalogue
#include "tests/support/Encoded.h"
#include "tests/support/Files.h" // makeFile
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVReader.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Data::String;
using Utils::CSVCell;
using Utils::CSVDialect;
using Utils::CSVReader;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;

enum class Route
{
    Text,
    Bytes,
    File
};
Q_DECLARE_METATYPE(Route)

static const struct
{
    const char *name;
    Route route;
    int limit;
} routes[] = {
    {"text", Route::Text, 0}, {"bytes", Route::Bytes, 1}, {"file", Route::File, limitOfNoBytes}};

static const QString german = QStringLiteral("T{\u00B0C},Kr\u00E4fte,\u20AC\n20, 1.5 ,\n");
static const Rows germanRows = {
    {QStringLiteral("T{\u00B0C}"), QStringLiteral("Kr\u00E4fte"), QStringLiteral("\u20AC")},
    {"20", "1.5", ""},
    {""}};
static const QString japanese = QStringLiteral("\u6E29\u5EA6,\u8868\n20,1.5\n\uFF71,\u30BD");
static const Rows japaneseRows = {{QStringLiteral("\u6E29\u5EA6"), QStringLiteral("\u8868")},
                                  {"20", "1.5"},
                                  {QStringLiteral("\uFF71"), QStringLiteral("\u30BD")}};

/// The rows of a table, by each function that returns cells as text, which must agree.
static Rows rowsByAllFunctions(const CSVTable &table)
{
    Rows rows;
    bool isSame = true;
    for (int row = 0; row < table.numRows(); ++row) {
        rows.append(table.data(row));
        for (int col = 0; col < rows.last().size(); ++col) {
            isSame = isSame && table.data(row, col) == rows.last().at(col);
            const QStringList column = table.colData(col);
            isSame = isSame && (row >= column.size() || column.at(row) == rows.last().at(col));
        }
        isSame = isSame && table.rowData(row) == rows.last();
        table.visit(row, row, [&](const CSVRow &cells) {
            QStringList texts;
            for (const CSVCell &cell : cells)
                texts.append(cell.text());
            isSame = isSame && texts == rows.last();
            return true;
        });
    }
    return isSame ? rows : Rows();
}

class tst_CSVTable_encoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_folder.isValid());
        QVERIFY(loadLibraryTexts(LIBRARY_RESOURCES));
    }

    void cleanup()
    {
        File::setFallbackEncoding("windows-1252");
        resetCatalogue();
    }

    // Tables that other programs wrote, on the three routes.
    void readsRealTables_data()
    {
        QTest::addColumn<int>("limit");
        for (const auto &route : routes)
            QTest::newRow(route.name) << route.limit;
    }

    void readsRealTables()
    {
        QFETCH(int, limit);
        CSVTable japaneseTable("\t");
        CSVTable same("\t");
        QVERIFY(japaneseTable.setEncoding("Shift_JIS") && same.setEncoding("UTF-8"));
        QVERIFY(japaneseTable.read(SAMPLES "/kana-shift_jis.tsv", limit));
        QVERIFY(same.read(SAMPLES "/kana-utf-8.tsv", limit));
        QVERIFY(japaneseTable.numRows() > 80);
        QCOMPARE(rowsByAllFunctions(japaneseTable), rowsByAllFunctions(same));
        const QStringList first{QStringLiteral("\u3042"), QStringLiteral("\u30A2")};
        QVERIFY(rowsByAllFunctions(japaneseTable).contains(first));

        CSVTable estonian("/");
        QVERIFY(estonian.setEncoding("ISO-8859-15"));
        QVERIFY(estonian.read(SAMPLES "/words-iso-8859-15.txt", limit));
        QCOMPARE(estonian.data(19), (QStringList{QStringLiteral("adaad\u017Eoga"), "Zaily"}));

        CSVDialect bars;
        bars.setDelimiter("|");
        CSVTable swedish;
        QVERIFY(swedish.setDialect(bars) && swedish.setEncoding("auto"));
        QVERIFY(swedish.read(SAMPLES "/synonyms-windows-1252.txt", limit));
        bool isGuess = false;
        QCOMPARE(swedish.detectedEncoding(&isGuess), String("windows-1252"));
        QVERIFY(isGuess);
        QCOMPARE(swedish.data(34), (QStringList{"", QStringLiteral("avg\u00E5"),
                                                QStringLiteral("avs\u00E4ga sig tronen")}));

        CSVTable russian;
        QVERIFY(russian.setDialect(bars) && russian.setEncoding("auto"));
        QVERIFY(russian.read(SAMPLES "/synonyms-utf-8-mark.txt", limit));
        QCOMPARE(russian.detectedEncoding(&isGuess), String("UTF-8"));
        QVERIFY(!isGuess);
        QCOMPARE(russian.data(0, 0), String("UTF-8"));
        QCOMPARE(russian.data(1),
                 (QStringList{QStringLiteral("\u0430\u043C\u0435\u0440\u0438\u043A\u0430"), "1"}));
    }

    void readsFilesInAnEncoding_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("isInFile");
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<String>("encoding");
        QTest::addColumn<String>("detected");
        QTest::addColumn<bool>("isGuess");
        QTest::addColumn<Rows>("rows");

        const QByteArray mark = "\xef\xbb\xbf";
        const bool stays = true; // in the file
        for (const auto &route : routes) {
            const auto row = [&](const char *name, const QByteArray &contents, const char *encoding,
                                 const char *detected, bool isGuess, bool mayStay,
                                 const Rows &rows) {
                QTest::addRow("%s, %s", name, route.name)
                    << route.limit << (route.route == Route::File && mayStay) << contents
                    << String(encoding) << String(detected) << isGuess << rows;
            };
            // clang-format off
            row("windows-1252", encoded(german, "windows-1252"), "windows-1252", "windows-1252", false, stays, germanRows);
            row("ISO-8859-15", encoded(german, "ISO-8859-15"), "latin9", "ISO-8859-15", false, stays, germanRows);
            row("a code page", "T{\xf8""C},\xe1\n20, 1.5 ,\n", "cp437", "IBM437", false, stays,
                {{QStringLiteral("T{\u00B0C}"), QStringLiteral("\u00DF")}, {"20", "1.5", ""}, {""}});
            row("UTF-8", german.toUtf8(), "UTF-8", "UTF-8", false, stays, germanRows);
            row("UTF-8 with a mark", mark + german.toUtf8(), "UTF-8", "UTF-8", false, stays, germanRows);
            row("Shift-JIS", encoded(japanese, "Shift_JIS"), "Shift_JIS", "Shift_JIS", false, stays && keepsLineEnds("Shift_JIS"), japaneseRows);
            row("UTF-16LE", encoded(german, "UTF-16LE"), "UTF-16LE", "UTF-16LE", false, !stays, germanRows);
            row("UTF-16 with a mark", "\xfe\xff" + encoded(german, "UTF-16BE"), "UTF-16", "UTF-16", false, !stays, germanRows);
            row("auto: ASCII", "T,F\n", "auto", "UTF-8", false, stays, {{"T", "F"}, {""}});
            row("auto: UTF-8 with a mark", mark + german.toUtf8(), "auto", "UTF-8", false, stays, germanRows);
            row("auto: UTF-8", german.toUtf8(), "auto", "UTF-8", true, stays, germanRows);
            row("auto: windows-1252", encoded(german, "windows-1252"), "auto", "windows-1252", true, stays, germanRows);
            row("auto: UTF-16 with a mark", "\xff\xfe" + encoded(german, "UTF-16LE"), "auto", "UTF-16LE", false, !stays, germanRows);
            row("auto: UTF-16", encoded(german, "UTF-16BE"), "auto", "UTF-16BE", true, !stays, germanRows);
            // clang-format on
        }
    }

    void readsFilesInAnEncoding()
    {
        QFETCH(int, limit);
        QFETCH(bool, isInFile);
        QFETCH(QByteArray, contents);
        QFETCH(String, encoding);
        QFETCH(String, detected);
        QFETCH(bool, isGuess);
        QFETCH(Rows, rows);
        const String path = makeFile(m_folder.filePath("table.csv"), contents);
        CSVTable table;
        QVERIFY(table.setEncoding(encoding));

        QVERIFY(table.read(path, limit));

        QCOMPARE(rowsByAllFunctions(table), rows);
        QCOMPARE(table.isDemandRead(), isInFile);
        bool isGuessOfTable = !isGuess;
        QCOMPARE(table.detectedEncoding(&isGuessOfTable), detected);
        QCOMPARE(isGuessOfTable, isGuess);
        QCOMPARE(File::lastError(), String());
    }

    void hasTheNumbersOfItsKindOfStorage_data()
    {
        QTest::addColumn<int>("limit");
        for (const auto &route : routes)
            QTest::newRow(route.name) << route.limit;
    }

    void hasTheNumbersOfItsKindOfStorage()
    {
        QFETCH(int, limit);
        const QByteArray contents = "\xb0,1.5,2{\xb0}\n,3,4\n";
        const QString path = makeFile(m_folder.filePath("table.csv"), contents);
        const QString plain =
            makeFile(m_folder.filePath("plain.csv"), QString::fromLatin1(contents).toUtf8());
        CSVTable table;
        CSVTable expected;
        QVERIFY(table.setEncoding("windows-1252"));
        QVERIFY(table.read(path, limit) && expected.read(plain, limit));

        for (int row = 0; row < 3; ++row) {
            QCOMPARE(table.dataValue(row), expected.dataValue(row));
            QList<double> numbers;
            table.visit(row, row, [&](const CSVRow &cells) {
                for (const CSVCell &cell : cells)
                    numbers.append(cell.number());
                return true;
            });
            QCOMPARE(numbers, expected.dataValue(row));
        }
        QCOMPARE(table.colDataValue(1), expected.colDataValue(1));
    }

    void visitsTheCellsInUtf8()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "a, \xb0 ,b\n");
        for (const auto &route : routes) {
            CSVTable table;
            QVERIFY(table.setEncoding("windows-1252") && table.read(path, route.limit));
            QByteArray bytes;
            table.visit(0, 0, [&](const CSVRow &cells) {
                bytes = QByteArray(cells[1].bytes(), cells[1].size());
                return true;
            });

            QCOMPARE(bytes.trimmed(), QByteArray("\xc2\xb0"));
        }
    }

    void findsAKeyInAnEncoding()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "Kr\xe4"
                                                                      "fte,1\nH\xf6he,2\n");
        for (const auto &route : routes) {
            CSVTable table;
            QVERIFY(table.setEncoding("windows-1252") && table.read(path, route.limit));

            QCOMPARE(table.data(QStringLiteral("H\u00F6he"), 0), String("2"));
        }
    }

    void doesNotReadAFileThatIsNotValid()
    {
        const String path = makeFile(m_folder.filePath("table.csv"), "a,b\n\xb0,1\n");
        CSVTable table;
        QVERIFY(table.setEncoding("UTF-8"));
        table.appendData("kept,1");

        QVERIFY(!table.read(path));

        QCOMPARE(File::lastError(), String("The file \"" + path + "\" is not valid UTF-8."));
        QCOMPARE(table.data(0), QStringList({"kept", "1"}));
        QVERIFY(!table.read(path, 1));
        QCOMPARE(File::lastError(), String("The file \"" + path + "\" is not valid UTF-8."));
        QCOMPARE(table.data(0), QStringList({"kept", "1"}));
        QCOMPARE(table.detectedEncoding(), String());
    }

    void replacesInTheFileWhatIsNotValid()
    {
        const String path = makeFile(m_folder.filePath("table.csv"), "a\xd2,b\n");
        CSVTable table;
        QVERIFY(table.setEncoding("ISO-8859-8"));

        QVERIFY(table.read(path, limitOfNoBytes));

        QCOMPARE(rowsByAllFunctions(table), (Rows{{QStringLiteral("a\uFFFD"), "b"}, {""}}));
    }

    // The second byte of some characters of Shift-JIS is the one of "|".
    void readsIntoMemoryWhereADelimiterMayBePartOfACharacter()
    {
        const QString text = QStringLiteral("a|\u30DD|b"); // whose bytes are 0x83 0x7c
        QCOMPARE(encoded(text, "Shift_JIS"), QByteArray("a|\x83||b"));
        const QString path = makeFile(m_folder.filePath("table.csv"), encoded(text, "Shift_JIS"));
        CSVTable table("|");
        QVERIFY(table.setEncoding("Shift_JIS"));

        QVERIFY(table.read(path, limitOfNoBytes));

        QVERIFY(!table.isDemandRead());
        QCOMPARE(rowsByAllFunctions(table), (Rows{{"a", QStringLiteral("\u30DD"), "b"}}));
    }

    void readsADelimiterThatIsNotAscii()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "a\xa7\xb0\xa7"
                                                                      "b");
        for (const auto &route : routes) {
            CSVTable table(QStringLiteral("\u00A7"));
            QVERIFY(table.setEncoding("windows-1252") && table.read(path, route.limit));

            QCOMPARE(rowsByAllFunctions(table), (Rows{{"a", QStringLiteral("\u00B0"), "b"}}));
        }
    }

    void decodesBytesThatAreSet()
    {
        CSVTable table;
        QVERIFY(table.setEncoding("auto"));

        QVERIFY(table.setData(QByteArray("\xb0,1\n")));

        QCOMPARE(rowsByAllFunctions(table), (Rows{{QStringLiteral("\u00B0"), "1"}, {""}}));
        QCOMPARE(table.detectedEncoding(), String("windows-1252"));
        QVERIFY(table.setEncoding("UTF-8"));
        QVERIFY(!table.setData(QByteArray("\xb0,1\n")));
        QCOMPARE(File::lastError(), String("The text is not valid UTF-8."));
        QCOMPARE(rowsByAllFunctions(table), (Rows{{QStringLiteral("\u00B0"), "1"}, {""}}));
        QVERIFY(!table.setData(QByteArray()));
        CSVTable severalDelimiters;
        severalDelimiters.addDelimiter(";");
        QVERIFY(severalDelimiters.setEncoding("windows-1252"));
        QVERIFY(severalDelimiters.setData(QByteArray("\x80;1,2")));
        QCOMPARE(rowsByAllFunctions(severalDelimiters),
                 (Rows{{QStringLiteral("\u20AC"), "1", "2"}}));
    }

    void decodesCommentsAndQuotes()
    {
        const QString path =
            makeFile(m_folder.filePath("table.csv"), "\xa7 none\n\"a,\xb0\",1\n\xa7\n");
        CSVTable table;
        table.setComment(QStringLiteral("\u00A7"));
        QVERIFY(table.setEncoding("windows-1252"));

        QVERIFY(table.read(path, 0, /*quoted=*/true));

        QCOMPARE(rowsByAllFunctions(table), (Rows{{QStringLiteral("a,\u00B0"), "1"}, {""}}));
    }

    void keepsTheEncodingThatWasSet()
    {
        CSVTable table;
        QCOMPARE(table.encoding(), String());
        QVERIFY(table.setEncoding("LATIN1"));
        QCOMPARE(table.encoding(), String("ISO-8859-1"));

        QVERIFY(!table.setEncoding("no such"));

        QCOMPARE(File::lastError(), String("There is no encoding \"no such\"."));
        QCOMPARE(table.encoding(), String("ISO-8859-1"));
        QVERIFY(table.setEncoding("auto"));
        QCOMPARE(table.encoding(), String("auto"));
        QVERIFY(table.setEncoding(""));
        QCOMPARE(table.encoding(), String());
    }

    // To the letter as before, whatever the files are.
    void readsAsEverWithoutAnEncoding()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "\xb0,1\n");
        const QString utf8 = makeFile(m_folder.filePath("utf8.csv"), "\xef\xbb\xbf\xc2\xb0,1");
        for (const bool wasSet : {false, true}) {
            CSVTable table;
            if (wasSet)
                QVERIFY(table.setEncoding("auto") && table.read(path) && table.setEncoding(""));
            table.clear();

            QVERIFY(!table.read(path));
            QVERIFY(table.read(path, 1));
            QCOMPARE(table.data(0, 0), String(QStringLiteral("\u00B0")));
            QCOMPARE(table.data(0).first(), QStringLiteral("\uFFFD"));
            QCOMPARE(table.detectedEncoding(), String());
            QVERIFY(table.read(path, limitOfNoBytes));
            QCOMPARE(table.data(0, 0), String(QStringLiteral("\uFFFD")));
            QVERIFY(table.read(utf8, 1));
            QCOMPARE(table.data(0, 0), String(QString::fromLatin1("\xef\xbb\xbf\xc2\xb0")));
            QVERIFY(table.read(utf8));
            QCOMPARE(table.data(0, 0), String(QStringLiteral("\u00B0")));
            QVERIFY(table.read(utf8, limitOfNoBytes));
            QCOMPARE(table.data(0, 0), String(QStringLiteral("\u00B0")));
        }
    }

    void tellsThatAFileIsTooLargeForTheMemory()
    {
        QFile sparse(m_folder.filePath("sparse"));
        QVERIFY(sparse.open(QIODevice::WriteOnly) && sparse.resize(qint64(1) << 31));
        const String reason =
            "The file \"" + sparse.fileName() + "\" is too large to be held in memory as a whole.";
        CSVTable table;

        QVERIFY(!table.read(sparse.fileName()));
        QCOMPARE(File::lastError(), reason);

        CSVTable twoDelimiters;
        twoDelimiters.addDelimiter(";");
        QVERIFY(!twoDelimiters.read(sparse.fileName(), 1));
        QCOMPARE(File::lastError(), reason);
        QVERIFY(table.setEncoding("UTF-16"));
        QVERIFY(!table.read(sparse.fileName(), limitOfNoBytes)); // by the bytes route
        QCOMPARE(File::lastError(), reason);
    }

    // CSVReader

    void readerDecodesTexts()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "\xb0;1, 2\n\x80\n");
        CSVReader reader;
        reader.addDelimiter(';');
        QVERIFY(reader.setEncoding("auto"));

        QVERIFY(reader.read(path));

        QCOMPARE(reader.dataD(0), QStringList({QStringLiteral("\u00B0"), "1", "2"}));
        QCOMPARE(reader.dataD(1, 0), String(QStringLiteral("\u20AC")));
        QCOMPARE(reader.colDataD(0),
                 QStringList({QStringLiteral("\u00B0"), QStringLiteral("\u20AC")}));
        QCOMPARE(reader.rowDataD(0, 0, 0), QStringList({QStringLiteral("\u00B0")}));
        QCOMPARE(reader.data(0, 0), QByteArray("\xb0"));
        bool isGuess = false;
        QCOMPARE(reader.detectedEncoding(&isGuess), String("windows-1252"));
        QVERIFY(isGuess);
        const CSVReader copy = reader;
        QCOMPARE(copy.dataD(1, 0), String(QStringLiteral("\u20AC")));
        QCOMPARE(copy.encoding(), String("auto"));
    }

    void readerLeavesTheMarkOut()
    {
        const QString path = makeFile(m_folder.filePath("table.csv"), "\xef\xbb\xbf"
                                                                      "1,2\n3,4\n");
        CSVReader reader;
        QVERIFY(reader.read(path));
        QCOMPARE(reader.dataValue(0, 0), 0.0);

        QVERIFY(reader.setEncoding("UTF-8") && reader.read(path));

        QCOMPARE(reader.data(0), QList<QByteArray>({"1", "2"}));
        QCOMPARE(reader.data(0, -1), QByteArray("1,2"));
        QCOMPARE(reader.colDataValue(0), QList<double>({1.0, 3.0}));
        QVERIFY(!reader.hasHeader());
    }

    void readerRefusesEncodingsThatHideLines()
    {
        const String path = makeFile(m_folder.filePath("table.csv"), "a,b\n");
        const auto reason = [&](const char *encoding) {
            return String("The lines of the file \"" + path +
                          "\" cannot be found in the encoding " + encoding + ".");
        };
        CSVReader reader;
        for (const char *encoding : {"UTF-16", "UTF-32BE", "ISO-2022-JP"}) {
            QVERIFY(reader.setEncoding(encoding));
            QVERIFY(!reader.read(path));
            QCOMPARE(File::lastError(), reason(encoding));
            QVERIFY(!reader.isValid());
        }
        QVERIFY(reader.setEncoding("Shift_JIS"));
        QCOMPARE(reader.read(path), keepsLineEnds("Shift_JIS"));
        if (keepsLineEnds("Shift_JIS"))
            QCOMPARE(File::lastError(), String());
        reader.addDelimiter('|');
        QVERIFY(!reader.read(path));
        QCOMPARE(File::lastError(), reason("Shift_JIS"));

        QVERIFY(!reader.setEncoding("no such"));
        QCOMPARE(reader.encoding(), String("Shift_JIS"));
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_CSVTable_encoding)
#include "tst_CSVTable_encoding.moc"
