#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/Application.h"
#include "utils/csv/CSVReader.h"
#include "utils/feedback/Progress.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Utils::CSVReader;
using Utils::CSVTable;
using Utils::Progress;

using Numbers = QList<double>;

/// Ways to read one file. Those that make a table of the same kind are different ways to it.
enum class Route
{
    Text,
    TextQuoted,
    TextOfOtherDelimiter,
    Raw,
    File,
    FileQuoted
};
Q_DECLARE_METATYPE(Route)

static bool read(CSVTable &table, const QString &path, Route route)
{
    switch (route) {
    case Route::Text:
        return table.read(path);
    case Route::TextQuoted:
        return table.read(path, 0, /*quoted=*/true);
    case Route::TextOfOtherDelimiter:
        table.addDelimiter("::");
        return table.read(path, 1);
    case Route::Raw:
        return table.read(path, 1);
    case Route::File:
        return table.read(path, limitOfNoBytes);
    case Route::FileQuoted:
        return table.read(path, limitOfNoBytes, /*quoted=*/true);
    }
    return false;
}

class tst_CSVTable_routes : public QObject
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
        QTest::addColumn<Route>("route");
        QTest::newRow("text") << Route::Text;
        QTest::newRow("quoted text") << Route::TextQuoted;
        QTest::newRow("text of several delimiters") << Route::TextOfOtherDelimiter;
        QTest::newRow("bytes") << Route::Raw;
        QTest::newRow("file") << Route::File;
        QTest::newRow("file, quotes asked for") << Route::FileQuoted;
    }

    static bool isText(Route route) { return route <= Route::TextOfOtherDelimiter; }
    static bool isFile(Route route) { return route >= Route::File; }

private Q_SLOTS:
    void initTestCase()
    {
        // Looked at once in the process: it must not be set when the first table is read.
        qunsetenv("KLT_NORAWREAD");
    }

    void cleanup() { CSVTable().setHoleValue(0.0); }

    // What does not differ

    void readsPlainFieldsAlike_data() { addRoutes(); }

    void readsPlainFieldsAlike()
    {
        QFETCH(Route, route);
        CSVTable table;

        QVERIFY(read(table, file("t, F \n1,-2.5\r\n,x,3\n"), route));

        QCOMPARE(table.isDemandRead(), isFile(route));
        QVERIFY(table.isValid());
        QVERIFY(table.hasHeader());
        QCOMPARE(rowsOf(table), Rows({{"t", "F"}, {"1", "-2.5"}, {"", "x", "3"}, {""}}));
        QCOMPARE(table.data(1, 1), Data::String("-2.5"));
        QCOMPARE(table.data(1, 9), Data::String());
        QCOMPARE(table.data(9), QStringList());
        QCOMPARE(table.data(-1), QStringList());
        QCOMPARE(table.data(1, "F"), Data::String("-2.5"));
        QCOMPARE(table.data("1", 0), Data::String("-2.5"));
        QCOMPARE(table.data("", std::numeric_limits<int>::max()), Data::String());
        QCOMPARE(table.rowData(2, 1, 2), QStringList({"x", "3"}));
        QCOMPARE(table.colData(0), QStringList({"t", "1", ""}));
        QCOMPARE(table.colData(2, 1), QStringList({"", "3"}));
        QCOMPARE(table.dataValue(1), Numbers({1, -2.5}));
        QCOMPARE(table.dataValue(2), Numbers({0, 0, 3}));
        QCOMPARE(table.dataValue(1, 1), -2.5);
        QCOMPARE(table.dataValue(1, "F"), -2.5);
        QCOMPARE(table.rowDataValue(2, 2), Numbers({3}));
        QCOMPARE(table.colDataValue(0, 1), Numbers({1, 0}));
        QCOMPARE(table.numColumns(2), 3);
        QVERIFY(table.isEmpty(2, 0));
        QVERIFY(table.isEmpty(3));
        QVERIFY(!table.isEmpty(2));
    }

    // What does

    void takesPatternsForTextOnly_data() { addRoutes(); }

    void takesPatternsForTextOnly()
    {
        QFETCH(Route, route);
        CSVTable table(".");
        read(table, file("a.b"), route);

        // Quoted text takes the delimiter as it is, as bytes do.
        const bool isPattern = route == Route::Text || route == Route::TextOfOtherDelimiter;
        QCOMPARE(table.data(0),
                 isPattern ? QStringList({"", "", "", ""}) : QStringList({"a", "b"}));
    }

    void knowsQuotesInTextOnly_data() { addRoutes(); }

    void knowsQuotesInTextOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("x,\"a,b\",y"), route);

        QCOMPARE(table.data(0), route == Route::TextQuoted ? QStringList({"x", "a,b", "y"})
                                                           : QStringList({"x", "\"a", "b\"", "y"}));
    }

    void dropsCommentsOfTextOnly_data() { addRoutes(); }

    void dropsCommentsOfTextOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.setComment("#");
        read(table, file("#c\n1,2\n#d"), route);

        QCOMPARE(rowsOf(table),
                 isText(route) ? Rows({{"1", "2"}}) : Rows({{"#c"}, {"1", "2"}, {"#d"}}));
    }

    void takesAlternatesForTextOnly_data() { addRoutes(); }

    void takesAlternatesForTextOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.addDelimiter(";", /*alternate=*/true);
        read(table, file("a;b"), route);

        QCOMPARE(table.data(0), isText(route) ? QStringList({"a", "b"}) : QStringList({"a;b"}));
    }

    void trimsWhenItSplitsOrWhenItIsAsked_data() { addRoutes(); }

    void trimsWhenItSplitsOrWhenItIsAsked()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("a\n \n ,"), route);

        QCOMPARE(table.data(1), QStringList({""}));
        QCOMPARE(table.data(2), QStringList({"", ""}));
        // Whether a row of blanks at the end is an empty one is asked before that in the file.
        read(table, file("a\n "), route);
        CSVTable other;
        read(other, file("a\n "), route);
        QCOMPARE(other.colData(0), isFile(route) ? QStringList({"a", ""}) : QStringList({"a"}));
    }

    void hasARowForTheEmptyLineAtTheEnd_data() { addRoutes(); }

    void hasARowForTheEmptyLineAtTheEnd()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("a\n"), route);

        QCOMPARE(rowsOf(table), Rows({{"a"}, {""}}));
    }

    void takesNumbersOfTextAndOfBytes_data() { addRoutes(); }

    void takesNumbersOfTextAndOfBytes()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table,
             file("1.5{mm},INF, \xc2\xa0"
                  "7"),
             route);
        const double infinity = std::numeric_limits<double>::infinity();
        bool ok = false;

        QCOMPARE(table.dataValue(0),
                 isText(route) ? Numbers({1.5, infinity, 7}) : Numbers({0, 0, 0}));
        QCOMPARE(table.dataValue(0, 0, &ok), isText(route) ? 1.5 : 0.0);
        QCOMPARE(ok, isText(route));
        QCOMPARE(table.colDataValue(0), Numbers({isText(route) ? 1.5 : 0.0}));
    }

    void givesTheNumberOfACellThatIsNotThere_data() { addRoutes(); }

    void givesTheNumberOfACellThatIsNotThere()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.setHoleValue(5.0);
        read(table, file("1,"), route);
        table.setHoleValue(-1.0);
        const double hole = isFile(route) ? 5.0 : -1.0; // the file keeps what was set before
        bool ok = true;

        QCOMPARE(table.dataValue(99, 0, &ok), route == Route::Raw ? 0.0 : hole);
        QVERIFY(!ok);
        QCOMPARE(table.dataValue(0, 1), hole);
        QCOMPARE(table.dataValue(0), Numbers({1, hole}));
        QCOMPARE(table.colDataValue(1), Numbers({hole}));
        QCOMPARE(table.colDataValue(7), Numbers({hole}));
    }

    void readsAFileWithItsOwnHoleNumberWhateverIsThatOfAll()
    {
        CSVTable table;
        table.setHoleValue(5.0);
        CSVTable().setHoleValue(-1.0);

        table.read(file("1,"), limitOfNoBytes);

        QCOMPARE(table.dataValue(0, 1), 5.0);
        table.setHoleValue(7.0); // too late
        QCOMPARE(table.dataValue(0, 1), 5.0);
        table.read(file("1,"), limitOfNoBytes);
        QCOMPARE(table.dataValue(0, 1), 7.0);
    }

    void givesTheNumbersOfTextByOneHoleNumber_data() { addRoutes(); }

    void givesTheNumbersOfTextByOneHoleNumber()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.setHoleValue(5.0);
        read(table, file("k,,1.5{mm}"), route);
        CSVTable().setHoleValue(-1.0);
        Data::String annotation;
        double value = 0.0;

        QCOMPARE(table.dataValue("k", 0), -1.0);
        QCOMPARE(table.dataValue(0, ""), -1.0);
        QCOMPARE(table.dataValue(0, "1.5{mm}"), 1.5);
        QCOMPARE(table.dataValue(0, 2, "x"), Numbers({1.5}));
        table.dataValue(0, 1, annotation, value);
        QCOMPARE(value, -1.0);
        table.dataValue(0, 2, annotation, value);
        QCOMPARE(value, 1.5);
        QCOMPARE(annotation, Data::String("mm"));
    }

    void givesTheLargestRowInMemoryOnly_data() { addRoutes(); }

    void givesTheLargestRowInMemoryOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("a\nb,c"), route);

        QCOMPARE(table.numColumns(), isFile(route) ? 0 : 2);
    }

    void givesTheWholeLineForAMissingLabelInTheFileOnly_data() { addRoutes(); }

    void givesTheWholeLineForAMissingLabelInTheFileOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("7,8"), route);
        bool ok = true;

        QCOMPARE(table.data(0, "none"), Data::String(isFile(route) ? "7,8" : ""));
        QCOMPARE(table.data(0, -1), Data::String(isFile(route) ? "7,8" : ""));
        QCOMPARE(table.dataValue(0, "none", &ok), 0.0);
        QVERIFY(!ok);
    }

    void keepsACarriageReturnInTheMiddleInMemoryOnly_data() { addRoutes(); }

    void keepsACarriageReturnInTheMiddleInMemoryOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("a\rb,c\r\n"), route);

        QCOMPARE(table.data(0), QStringList({isFile(route) ? "ab" : "a\rb", "c"}));
    }

    void readsTextThatIsNotAscii_data() { addRoutes(); }

    void readsTextThatIsNotAscii()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table, file("\xc3\xa9,x"), route);
        const QString accent(QChar(0xe9));

        QCOMPARE(table.data(0).at(0), accent);
        QCOMPARE(table.colData(0), QStringList({accent}));
        QCOMPARE(table.data(0, 0), Data::String(route == Route::Raw ? "\u00c3\u00a9" : "\u00e9"));
    }

    void dropsAByteOrderMarkOfText_data() { addRoutes(); }

    void dropsAByteOrderMarkOfText()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table,
             file("\xef\xbb\xbf"
                  "1,2"),
             route);

        QCOMPARE(table.data(0), QStringList({"1", "2"}));
        QCOMPARE(table.data(0, 0), Data::String(route == Route::Raw ? "\u00ef\u00bb\u00bf"
                                                                      "1"
                                                                    : "1"));
        QCOMPARE(table.dataValue(0, 0), isText(route) ? 1.0 : 0.0);
    }

    void refusesInvalidText_data() { addRoutes(); }

    void refusesInvalidText()
    {
        QFETCH(Route, route);
        CSVTable table;

        QCOMPARE(read(table, file("1,\xff\n2,\xc3"), route), !isText(route));

        if (isText(route))
            QVERIFY(!table.isValid());
        else
            QCOMPARE(rowsOf(table), Rows({{"1", "\ufffd"}, {"2", "\ufffd"}}));
    }

    void readsUtf16AsTextOnly_data() { addRoutes(); }

    void readsUtf16AsTextOnly()
    {
        QFETCH(Route, route);
        CSVTable table;
        read(table,
             file(QByteArray("\xff\xfe"
                             "a\0,\0b\0",
                             8)),
             route);

        if (isText(route))
            QCOMPARE(table.data(0), QStringList({"a", "b"}));
        else
            QCOMPARE(table.numColumns(0), isFile(route) ? 1 : 2); // a zero byte hides the rest
        QCOMPARE(table.data(0).at(0) == "a", isText(route));
    }

    void refusesAnEmptyFileInMemory_data() { addRoutes(); }

    void refusesAnEmptyFileInMemory()
    {
        QFETCH(Route, route);
        CSVTable table;
        // Nothing has no more bytes than nothing has, so the limit is one below that here.
        const QString path = file("");
        const bool isRead = isFile(route) ? table.read(path, 2048, route == Route::FileQuoted)
                                          : read(table, path, route);

        QCOMPARE(isRead, isFile(route));
        QCOMPARE(rowsOf(table), isFile(route) ? Rows({{""}}) : Rows());
        QCOMPARE(table.path(), Data::String(path));
    }

    void refusesAFileThatIsNotThere_data() { addRoutes(); }

    void refusesAFileThatIsNotThere()
    {
        QFETCH(Route, route);
        const Data::String missing = m_folder.filePath("missing.csv");
        CSVTable table;
        table.setData("x");

        QVERIFY(!read(table, missing, route));
        QCOMPARE(table.path(), missing);
        QVERIFY(!read(table, "", route));
        QCOMPARE(table.path(), Data::String());
        QVERIFY(!read(table, m_folder.path(), route) || isFile(route));
        QCOMPARE(table.path(), Data::String(m_folder.path()));
        table.clearPath();
        QCOMPARE(table.path(), Data::String());
    }

    void keepsTheTextRowsThroughAllRoutes_data() { addRoutes(); }

    void keepsTheTextRowsThroughAllRoutes()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.setData("a");
        read(table, file("b"), route);
        QCOMPARE(rowsOf(table), isText(route) ? Rows({{"a"}, {"b"}}) : Rows({{"b"}}));

        table.setData("c");

        QCOMPARE(rowsOf(table), isText(route) ? Rows({{"a"}, {"b"}, {"c"}}) : Rows({{"a"}, {"c"}}));
    }

    // Against the reader

    void differsFromTheReader()
    {
        const QString path = file("# a\rb,\"c,d\" , 1.5{mm}\n\n1, 2;;3\n");
        CSVTable table;
        table.setComment("#");
        table.read(path, 0, /*quoted=*/true);
        CSVReader reader;
        reader.read(path);

        QCOMPARE(table.numRows(), 3); // comments
        QCOMPARE(reader.numRows(), 4);
        QCOMPARE(reader.data(0),
                 QList<QByteArray>({"# ab", "\"c", "d\" ", " 1.5{mm}"})); // trimming, ends, quotes
        CSVTable whole;
        whole.read(path, 0, /*quoted=*/true);
        // The blank after the closing quote hides it, so the rest of the line is in the field.
        QCOMPARE(whole.data(0), QStringList({"# a\rb", "c,d\" , 1.5{mm}"}));
        QCOMPARE(whole.numColumns(1), 1);

        CSVTable several;
        several.addDelimiter(";");
        several.read(path);
        CSVReader merging;
        merging.addDelimiter(';');
        merging.read(path);
        QCOMPARE(several.data(2), QStringList({"1", "2", "", "3"})); // empty fields stay
        QCOMPARE(merging.dataD(2), QStringList({"1", "2", "3"}));
        QCOMPARE(several.numColumns(1), 1);
        QCOMPARE(merging.numColumns(1), 0);

        QCOMPARE(several.dataValue(0, 3), 1.5); // numbers
        QCOMPARE(reader.dataValue(0, 3), 0.0);
    }

    // The choice

    void choosesTheRoute_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("quoted");
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("expected");

        const int mega = 1 << 20;
        const int max = std::numeric_limits<int>::max();
        const int min = std::numeric_limits<int>::min();
        // clang-format off
        QTest::newRow("no limit") << 2 * mega << 0 << false << "," << "text";
        QTest::newRow("a negative limit") << 2 * mega << -1 << false << "," << "text";
        QTest::newRow("the most negative limit") << 100 << min << false << "," << "text";
        QTest::newRow("below the limit") << 100 << 1 << false << "," << "bytes";
        QTest::newRow("at the limit") << mega << 1 << false << "," << "bytes";
        QTest::newRow("above the limit") << mega + 1 << 1 << false << "," << "file";
        QTest::newRow("at two megabytes") << 2 * mega << 2 << false << "," << "bytes";
        QTest::newRow("above two megabytes") << 2 * mega + 1 << 2 << false << "," << "file";
        QTest::newRow("quoted, below the limit") << 100 << 1 << true << "," << "text";
        QTest::newRow("quoted, above the limit") << mega + 1 << 1 << true << "," << "file";
        QTest::newRow("another character") << mega + 1 << 1 << false << "|" << "file";
        QTest::newRow("two characters, below") << 100 << 1 << false << "::" << "text";
        QTest::newRow("two characters, above") << mega + 1 << 1 << false << "::" << "text";
        QTest::newRow("no delimiter, below") << 100 << 1 << false << "" << "text";
        QTest::newRow("no delimiter, above") << mega + 1 << 1 << true << "" << "text";
        QTest::newRow("the largest limit that does not wrap") << 100 << 2047 << false << "," << "bytes";
        QTest::newRow("the first that wraps below zero") << 100 << 2048 << false << "," << "file";
        QTest::newRow("the last that does") << 100 << 4095 << false << "," << "file";
        QTest::newRow("one that wraps to zero") << 100 << 4096 << false << "," << "file";
        QTest::newRow("one that wraps to one") << 100 << 4097 << false << "," << "bytes";
        QTest::newRow("the largest of all") << 100 << max << false << "," << "file";
        // clang-format on
    }

    void choosesTheRoute()
    {
        QFETCH(int, size);
        QFETCH(int, limit);
        QFETCH(bool, quoted);
        QFETCH(QString, delimiter);
        QFETCH(QString, expected);
        CSVTable table(delimiter);
        table.setComment("#");

        // A comment tells text, and what is no Latin-1 tells bytes.
        QVERIFY(
            table.read(file(("#c\n\xc3\xa9" + QByteArray(size, 'a')).left(size)), limit, quoted));

        const QString route = table.isDemandRead()   ? "file"
                              : table.numRows() == 1 ? "text"
                                                     : "bytes";
        QCOMPARE(route, expected);
        if (route != "text")
            QCOMPARE(table.data(1, 0).startsWith(QChar(0xe9)), route == "file");
    }

    void takesNoFileThatIsMissingForLarge()
    {
        CSVTable table;
        table.setData("a");

        QVERIFY(!table.read(m_folder.filePath("missing.csv"), 2048)); // nothing is larger than that

        QVERIFY(!table.isDemandRead());
        QCOMPARE(rowsOf(table), Rows({{"a"}}));
    }

    void takesASecondDelimiterForText()
    {
        CSVTable table;
        table.addDelimiter(";");
        table.setComment("#");

        table.read(file("#c\na,b;c"), limitOfNoBytes);

        QVERIFY(!table.isDemandRead());
        QCOMPARE(rowsOf(table), Rows({{"a", "b", "c"}}));
    }

    void splitsAFileNowhereForADelimiterThatIsNotInLatin1()
    {
        CSVTable table(QString(QChar(0x20ac)));

        table.read(file("a\xe2\x82\xac"
                        "b"),
                   limitOfNoBytes);

        QVERIFY(table.isDemandRead());
        QCOMPARE(table.numColumns(0), 0);
        QCOMPARE(table.data(0), QStringList());
    }

    void isEmptyWhenAFileCannotBeReadOnDemand()
    {
        SKIP_ON_WINDOWS("a folder has no size on Windows");
        // A folder is there and has a size.
        CSVTable table;
        table.setData("a");

        QVERIFY(!table.read(m_folder.path(), limitOfNoBytes));

        QVERIFY(table.isDemandRead());
        QVERIFY(!table.isValid());
        QCOMPARE(table.numRows(), 0);
        QCOMPARE(table.data(0), QStringList());
    }

    void readsRowsOnDemandOnTheRoutesThroughMemory_data() { addRoutes(); }

    void readsRowsOnDemandOnTheRoutesThroughMemory()
    {
        QFETCH(Route, route);
        CSVTable table;
        table.setDemandParse(true);
        read(table, file(" \na , b\n"), route);

        QCOMPARE(table.numRows(), 3);
        QCOMPARE(table.isEmpty(0), isFile(route));     // of a row that is not split, a blank counts
        QCOMPARE(table.isDemandRead(), isFile(route)); // which is about the file only
        QCOMPARE(table.data(1), QStringList({"a", "b"}));
    }

    void looksAtTheEnvironmentOnce_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("routes");

        // clang-format off
        QTest::newRow("not set") << "unset raw text quoted file" << "bytes text text file";
        QTest::newRow("set") << "set=1 raw text quoted file" << "text text text file";
#ifndef _WIN32 // where a variable cannot be set to nothing
        QTest::newRow("set to nothing") << "set= raw" << "text";
#endif
        QTest::newRow("set to no") << "set=0 raw" << "text";
        QTest::newRow("set later") << "unset raw set=1 raw" << "bytes bytes";
        QTest::newRow("not set any more") << "set=1 raw unset raw" << "text text";
        QTest::newRow("set after a table without a limit") << "unset text set=1 raw" << "text bytes";
        QTest::newRow("set after a quoted table") << "unset quoted set=1 raw" << "text bytes";
        QTest::newRow("set after a table in the file") << "unset file set=1 raw" << "file text";
        // clang-format on
    }

    void looksAtTheEnvironmentOnce()
    {
        QFETCH(QString, steps);
        QFETCH(QString, routes);
        QProcess child;

        child.start(CSV_CHILD, steps.split(' '));

        QVERIFY(child.waitForFinished(60000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(QString(child.readAllStandardOutput()).trimmed(), routes);
    }

    // Progress

    void reportsABlockOfTheFile()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setProgress(&progress, "Reading");
            host.calls.clear();

            table.read(file(QByteArray(20480, 'a')), limitOfNoBytes);

            QCOMPARE(host.calls,
                     QStringList({"setProgress(0, 0, 0)", "setProgressLabel(Reading, 0)",
                                  "setProgress(0, 2, 0)", "setProgress(1, 2, 0)",
                                  "setProgress(2, 2, 0)", "setProgressLabel(outer, 0)"}));
            QCOMPARE(progress.maxSteps(), 10);
        }
        Utils::setApplication(nullptr);
    }

    void restoresProgressWhenTheFileCannotBeRead()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            CSVTable table;
            table.setProgress(&progress, "Reading");

            QVERIFY(!table.read(m_folder.path(), limitOfNoBytes));

            QCOMPARE(progress.label(), Data::String("outer"));
            QCOMPARE(progress.maxSteps(), 10);
        }
        Utils::setApplication(nullptr);
    }

    void bearsAHostThatReadsAnotherFileMeanwhile()
    {
        FakeHost host;
        Utils::setApplication(&host);
        {
            Progress progress(10, "outer");
            progress.show();
            CSVTable table;
            table.setProgress(&progress, "Reading");
            bool isDone = false;
            host.reaction = [&](const QString &call) {
                if (isDone || call != "setProgress(1, 2, 0)")
                    return;
                isDone = true;
                table.setProgress(nullptr);
                table.read(makeFile(m_folder.filePath("other.csv"), "b"), limitOfNoBytes);
                table.clear();
            };

            QVERIFY(table.read(file("a\n" + QByteArray(20480, 'a')), limitOfNoBytes));

            QVERIFY(isDone);
            QCOMPARE(table.numRows(), 2);
            QCOMPARE(table.data(0, 0), Data::String("a"));
        }
        Utils::setApplication(nullptr);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_routes)
#include "tst_CSVTable_routes.moc"
