#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <limits>

#include <malloc.h>

using Utils::CSVCell;
using Utils::CSVRow;
using Utils::CSVTable;

using Ints = QList<int>;
using Numbers = QList<double>;
using Properties = QMap<Data::String, Data::Variant>;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

// As QCOMPARE, in a visitor, which returns whether to continue.
#define COMPARE(actual, expected)                                                       \
    do {                                                                                \
        if (!QTest::qCompare(actual, expected, #actual, #expected, __FILE__, __LINE__)) \
            return false;                                                               \
    } while (false)

class tst_CSVTable_access : public QObject
{
    Q_OBJECT

private:
    enum Storage
    {
        Text,
        TextOfFile,
        QuotedText,
        TextOnDemand,
        Bytes,
        BytesOnDemand,
        InFile
    };

    static void addStorages()
    {
        QTest::addColumn<int>("storage");

        QTest::newRow("text") << int(Text);
        QTest::newRow("text of a file") << int(TextOfFile);
        QTest::newRow("quoted text") << int(QuotedText);
        QTest::newRow("text on demand") << int(TextOnDemand);
        QTest::newRow("bytes") << int(Bytes);
        QTest::newRow("bytes on demand") << int(BytesOnDemand);
        QTest::newRow("file") << int(InFile);
    }

    static void makeTable(CSVTable &table, int storage, const QTemporaryDir &folder,
                          const QByteArray &bytes)
    {
        const QString path = makeFile(folder.filePath("table.csv"), bytes);
        table.setDemandParse(storage == TextOnDemand || storage == BytesOnDemand);
        if (storage == Text || storage == TextOnDemand)
            table.setData(Data::String(QString::fromUtf8(bytes)));
        else if (storage == Bytes || storage == BytesOnDemand)
            table.setData(bytes);
        else
            table.read(path, storage == InFile ? limitOfNoBytes : 0, storage == QuotedText);
    }

private Q_SLOTS:
    void cleanup() { CSVTable().setHoleValue(0.0); }

    // Text

    void givesARowAndACell()
    {
        CSVTable table;
        table.setData("a, b ,c\nd");

        QCOMPARE(table.data(0), QStringList({"a", "b", "c"}));
        QCOMPARE(table.data(1), QStringList({"d"}));
        QCOMPARE(table.data(0, 1), Data::String("b"));
        QCOMPARE(table.data(1, 0), Data::String("d"));
        for (const int row : {intMin, -1, 2, intMax}) {
            QCOMPARE(table.data(row), QStringList());
            QCOMPARE(table.data(row, 0), Data::String());
        }
        for (const int col : {intMin, -1, 1, intMax})
            QCOMPARE(table.data(1, col), Data::String());
    }

    void splitsACell_data()
    {
        QTest::addColumn<QString>("cell");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QStringList>("parts");

        // clang-format off
        QTest::newRow("at a character") << "1/2/3" << "/" << QStringList{"1", "2", "3"};
        QTest::newRow("with empty parts") << "/1//2" << "/" << QStringList{"", "1", "", "2"};
        QTest::newRow("at blanks without") << "1  2 3" << " " << QStringList{"1", "2", "3"};
        QTest::newRow("at two blanks with") << "1    2" << "  " << QStringList{"1", "", "2"};
        QTest::newRow("at a text") << "1 to 2" << " to " << QStringList{"1", "2"};
        QTest::newRow("no pattern") << "1.2" << "." << QStringList{"1", "2"};
        QTest::newRow("nowhere") << "1/2" << ";" << QStringList{"1/2"};
        QTest::newRow("empty at a character") << "" << "/" << QStringList{""};
        QTest::newRow("empty at blanks") << "" << " " << QStringList();
        QTest::newRow("at nothing") << "ab" << "" << QStringList{"", "a", "b", ""};
        // clang-format on
    }

    void splitsACell()
    {
        QFETCH(QString, cell);
        QFETCH(QString, separator);
        QFETCH(QStringList, parts);
        CSVTable table;
        table.setData(0, 1, cell);

        QCOMPARE(table.data(0, 1, separator), parts);
    }

    void givesTheCellUnderALabel()
    {
        CSVTable table;
        table.setData("t,F,f,F\n1,2,3,4\n5");

        QCOMPARE(table.data(1, "t"), Data::String("1"));
        QCOMPARE(table.data(1, "F"), Data::String("2")); // the first of two
        QCOMPARE(table.data(1, "f"), Data::String("3"));
        QCOMPARE(table.data(0, "F"), Data::String("F"));
        QCOMPARE(table.data(2, "F"), Data::String());
        QCOMPARE(table.data(1, "T"), Data::String());
        QCOMPARE(table.data(1, ""), Data::String());
        QCOMPARE(table.data(9, "t"), Data::String());
        QCOMPARE(table.data(-1, "t"), Data::String());
        QCOMPARE(CSVTable().data(0, "t"), Data::String());
    }

    void findsTheCellBesideAKey_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("col");
        QTest::addColumn<int>("firstRow");
        QTest::addColumn<bool>("exact");
        QTest::addColumn<QString>("cell");
        QTest::addColumn<int>("row");

        // clang-format off
        QTest::newRow("the whole key") << "speed" << 0 << 0 << true << "10" << 0;
        QTest::newRow("its beginning") << "sp" << 0 << 0 << false << "10" << 0;
        QTest::newRow("its beginning is not the whole") << "sp" << 0 << 0 << true << "" << -1;
        QTest::newRow("a part that is no beginning") << "eed" << 0 << 0 << false << "" << -1;
        QTest::newRow("another row") << "force" << 0 << 0 << true << "3" << 1;
        QTest::newRow("case matters") << "Force" << 0 << 0 << true << "" << -1;
        QTest::newRow("case matters at the beginning") << "F" << 0 << 0 << false << "" << -1;
        QTest::newRow("the first of two") << "force" << 0 << 0 << false << "3" << 1;
        QTest::newRow("from a row on") << "force" << 0 << 2 << false << "4" << 2;
        QTest::newRow("from after the end on") << "force" << 0 << 9 << false << "" << -1;
        QTest::newRow("from before the start on") << "speed" << 0 << -5 << true << "10" << 0;
        QTest::newRow("from far before the start on") << "speed" << 0 << intMin << true << "10" << 0;
        QTest::newRow("from far after the end on") << "speed" << 0 << intMax << true << "" << -1;
        QTest::newRow("an empty key before the start") << "" << 0 << -5 << true << "" << -5;
        QTest::newRow("an empty beginning before the start") << "" << 0 << intMin << false << "" << intMin;
        QTest::newRow("another column") << "10" << 1 << 0 << true << "km/h" << 0;
        QTest::newRow("beside the last column") << "km/h" << 2 << 0 << true << "" << 0;
        QTest::newRow("an empty beginning") << "" << 0 << 1 << false << "3" << 1;
        QTest::newRow("an empty beginning of no cell") << "" << 7 << 0 << false << "" << 0;
        QTest::newRow("an empty key") << "" << 2 << 0 << true << "" << 1;
        QTest::newRow("an empty key in a filled column") << "" << 0 << 0 << true << "" << -1;
        QTest::newRow("the last column there can be") << "" << intMax << 0 << false << "" << 0;
        QTest::newRow("before the first column") << "" << -1 << 0 << false << "speed" << 0;
        // clang-format on
    }

    void findsTheCellBesideAKey()
    {
        QFETCH(QString, key);
        QFETCH(int, col);
        QFETCH(int, firstRow);
        QFETCH(bool, exact);
        QFETCH(QString, cell);
        QFETCH(int, row);
        CSVTable table;
        table.setData("speed,10,km/h\nforce,3\nforces,4");
        int found = 99;

        QCOMPARE(table.data(key, col, firstRow, &found, exact), Data::String(cell));
        QCOMPARE(found, row);
        QCOMPARE(table.data(key, col, firstRow, nullptr, exact), Data::String(cell));
    }

    void takesANullKeyForAnEmptyOne()
    {
        CSVTable table;
        table.setData(0, 1, "x");
        int found = 99;

        QCOMPARE(table.data(Data::String(), 0, 0, &found), Data::String("x"));
        QCOMPARE(found, 0);
        QCOMPARE(table.data(Data::String(), 0, 0, &found, /*exact=*/true), Data::String("x"));
        QCOMPARE(found, 0);
        QCOMPARE(table.data("", 4, 0, &found), Data::String());
        QCOMPARE(found, 0);
    }

    void looksForTheBeginningOfAKeyUnlessItIsTold()
    {
        CSVTable table;
        table.setData("a\nspeed,10");

        QCOMPARE(table.data("sp", 0), Data::String("10"));
        QCOMPARE(table.dataValue("sp", 0), 10.0);
    }

    void findsNoKeyInAnEmptyTable()
    {
        int found = 99;

        QCOMPARE(CSVTable().data("", 0, 0, &found), Data::String());
        QCOMPARE(found, -1);
    }

    void takesACellApart_data()
    {
        QTest::addColumn<QString>("cell");
        QTest::addColumn<QString>("annotation");
        QTest::addColumn<QString>("value");
        QTest::addColumn<double>("number");

        // clang-format off
        QTest::newRow("with an annotation") << "1.5{mm}" << "mm" << "1.5" << 1.5;
        QTest::newRow("without one") << "1.5" << "before" << "1.5" << 1.5;
        QTest::newRow("empty") << "" << "before" << "" << -1.0;
        QTest::newRow("an annotation only") << "{mm}" << "mm" << "" << -1.0;
        QTest::newRow("an empty one") << "1.5{}" << "" << "1.5" << 1.5;
        QTest::newRow("one that does not end") << "1.5{mm" << "mm" << "1.5" << 1.5;
        QTest::newRow("all ends go") << "2{a}b}" << "ab" << "2" << 2.0;
        QTest::newRow("further starts stay") << "2{a{b}" << "a{b" << "2" << 2.0;
        QTest::newRow("an end only") << "2}" << "before" << "2}" << 0.0;
        QTest::newRow("a blank at the start") << "2 {a}" << "a" << "2 " << 2.0;
        // clang-format on
    }

    void takesACellApart()
    {
        QFETCH(QString, cell);
        QFETCH(QString, annotation);
        QFETCH(QString, value);
        QFETCH(double, number);
        CSVTable table;
        table.setHoleValue(-1.0);
        table.setData(0, 0, cell);
        Data::String foundAnnotation = "before";
        Data::String foundValue = "before";

        table.data(0, 0, foundAnnotation, foundValue);

        QCOMPARE(foundAnnotation, Data::String(annotation));
        QCOMPARE(foundValue, Data::String(value));

        Data::String otherAnnotation = "before";
        double foundNumber = 99.0;
        table.dataValue(0, 0, otherAnnotation, foundNumber);
        QCOMPARE(otherAnnotation, Data::String(annotation));
        QCOMPARE(foundNumber, number);
    }

    void takesNoCellApart()
    {
        const CSVTable table;
        Data::String annotation = "before";
        Data::String value = "before";
        double number = 99.0;

        table.data(3, 3, annotation, value);
        table.dataValue(3, 3, annotation, number);

        QCOMPARE(annotation, Data::String("before"));
        QCOMPARE(value, Data::String());
        QCOMPARE(number, 0.0);
    }

    void givesPartOfARow_data()
    {
        QTest::addColumn<int>("firstCol");
        QTest::addColumn<int>("lastCol");
        QTest::addColumn<Numbers>("expected");

        QTest::newRow("all") << 0 << -1 << Numbers{1, 2, 3};
        QTest::newRow("from the second") << 1 << -1 << Numbers{2, 3};
        QTest::newRow("from the second to the second") << 1 << 1 << Numbers{2};
        QTest::newRow("to the second") << 0 << 1 << Numbers{1, 2};
        QTest::newRow("a last one that is smaller") << 1 << 0 << Numbers{2, 3};
        QTest::newRow("beyond the end") << 1 << 99 << Numbers{2, 3};
        QTest::newRow("far beyond the end") << 1 << intMax << Numbers{2, 3};
        QTest::newRow("after the end") << 3 << -1 << Numbers();
        QTest::newRow("far after the end") << intMax << intMax << Numbers();
        QTest::newRow("a negative first") << -1 << 1 << Numbers{1, 2};
        QTest::newRow("a negative first and last") << -5 << -2 << Numbers();
        QTest::newRow("a negative first to the end") << -1 << -2 << Numbers{1, 2, 3};
        QTest::newRow("everything there can be") << intMin << intMax << Numbers{1, 2, 3};
        QTest::newRow("from far before the start") << intMin << -1 << Numbers();
        QTest::newRow("the least") << intMin << intMin << Numbers();
    }

    void givesPartOfARow()
    {
        QFETCH(int, firstCol);
        QFETCH(int, lastCol);
        QFETCH(Numbers, expected);
        CSVTable table;
        table.setData("x\n1,2,3");
        QStringList texts;
        for (const double number : expected)
            texts.append(QString::number(number));

        QCOMPARE(table.rowData(1, firstCol, lastCol), texts);
        QCOMPARE(table.rowDataValue(1, firstCol, lastCol), expected);
        QCOMPARE(table.rowData(9, firstCol, lastCol), QStringList());
        QCOMPARE(table.rowDataValue(-1, firstCol, lastCol), Numbers());
    }

    void givesAllOfARowUnlessItIsTold()
    {
        CSVTable table;
        table.setData("1,2,3");

        QCOMPARE(table.rowData(0), QStringList({"1", "2", "3"}));
        QCOMPARE(table.rowData(0, 1), QStringList({"2", "3"}));
        QCOMPARE(table.rowDataValue(0), Numbers({1, 2, 3}));
        QCOMPARE(table.rowDataValue(0, 2), Numbers({3}));
    }

    void givesAColumn()
    {
        CSVTable table;
        table.setData("a,1\nb\nc,3\n");

        QCOMPARE(table.colData(1), QStringList({"1", "", "3"}));
        QCOMPARE(table.colData(0, 1), QStringList({"b", "c"}));
        QCOMPARE(table.colDataValue(1), Numbers({1, 0, 3}));
        QCOMPARE(table.colDataValue(1, 2), Numbers({3}));
        QCOMPARE(table.colData(-1), QStringList());
        QCOMPARE(table.colData(0, 4), QStringList());
    }

    void tellsWhatIsEmpty()
    {
        CSVTable table;
        table.setData("a,\n");

        QVERIFY(!table.isEmpty(0));
        QVERIFY(!table.isEmpty(0, 0));
        QVERIFY(table.isEmpty(0, 1));
        QVERIFY(table.isEmpty(0, 9));
        QVERIFY(table.isEmpty(1));
        QVERIFY(table.isEmpty(2));
        QVERIFY(table.isEmpty(-1));
    }

    // Numbers

    void makesNumbersOfText_data()
    {
        QTest::addColumn<QString>("cell");
        QTest::addColumn<double>("expected");
        QTest::addColumn<bool>("isNumber");

        const double infinity = std::numeric_limits<double>::infinity();
        QTest::newRow("a number") << "1.5" << 1.5 << true;
        QTest::newRow("with an exponent") << "-2E3" << -2000.0 << true;
        QTest::newRow("with an annotation") << "1.5{mm}" << 1.5 << true;
        QTest::newRow("with a blank and an annotation") << "1 {mm}" << 1.0 << true;
        QTest::newRow("with two annotations") << "1{a}{b}" << 1.0 << true;
        QTest::newRow("empty") << "" << -1.0 << false;
        QTest::newRow("an annotation only") << "{mm}" << 0.0 << false;
        QTest::newRow("blanks that were set") << "  " << 0.0 << false;
        QTest::newRow("text") << "abc" << 0.0 << false;
        QTest::newRow("text after a number") << "1 m" << 0.0 << false;
        QTest::newRow("of another locale") << "1,5" << 0.0 << false;
        QTest::newRow("grouped") << "1,000" << 0.0 << false;
        QTest::newRow("blanks around that were set") << " 7 " << 7.0 << true;
        QTest::newRow("infinite") << "-inf" << -infinity << true;
        QTest::newRow("too large") << "1e400" << infinity << false;
    }

    void makesNumbersOfText()
    {
        QFETCH(QString, cell);
        QFETCH(double, expected);
        QFETCH(bool, isNumber);
        CSVTable table;
        table.setHoleValue(-1.0);
        table.setData(0, 0, "key");
        table.setData(0, 1, "label");
        table.setData(1, 0, "key");
        table.setData(1, 1, cell);

        bool ok = !isNumber;
        QCOMPARE(table.dataValue(1, 1, &ok), expected);
        QCOMPARE(ok, isNumber);
        ok = !isNumber;
        QCOMPARE(table.dataValue(1, "label", &ok), expected);
        QCOMPARE(ok, isNumber);
        ok = !isNumber;
        int row = 0;
        QCOMPARE(table.dataValue("key", 0, 1, &row, true, &ok), expected);
        QCOMPARE(ok, isNumber);
        QCOMPARE(row, 1);
        QCOMPARE(table.dataValue(1, 1), expected);
        QCOMPARE(table.dataValue(1, "label"), expected);
        QCOMPARE(table.dataValue("key", 0, 1), expected);
        QCOMPARE(table.dataValue(1), Numbers({0, expected}));
        QCOMPARE(table.rowDataValue(1, 1), Numbers({expected}));
        QCOMPARE(table.dataValue(1, 1, ";"), Numbers({expected}));
        if (!cell.isEmpty()) // an empty row at the end has no entry
            QCOMPARE(table.colDataValue(1, 1), Numbers({expected}));
    }

    void makesNumbersOfTheEnglishInEveryLocale()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        CSVTable table;
        table.setData("1.5;2,5");
        const auto numbers = table.dataValue(0, 0, ";");
        QLocale::setDefault(QLocale::c());

        QCOMPARE(numbers, Numbers({1.5, 2}));
    }

    void makesNumbersOfTheParts()
    {
        CSVTable table(";");
        table.setHoleValue(-1.0);
        table.setData("1/2{mm}//x;1  2;");

        QCOMPARE(table.dataValue(0, 0, "/"), Numbers({1, 2, -1, 0}));
        QCOMPARE(table.dataValue(0, 1, " "), Numbers({1, 2}));
        QCOMPARE(table.dataValue(0, 2, " "), Numbers());
        QCOMPARE(table.dataValue(0, 2, "/"), Numbers({-1}));
        QCOMPARE(table.dataValue(9, 9, " "), Numbers());
    }

    void givesTheHoleNumberForWhatIsNotThere()
    {
        CSVTable table;
        table.setHoleValue(-1.0);
        table.setData("k");
        int row = 0;
        bool ok = true;

        QCOMPARE(table.dataValue(9, 9, &ok), -1.0);
        QVERIFY(!ok);
        ok = true;
        QCOMPARE(table.dataValue(0, "none", &ok), -1.0);
        QVERIFY(!ok);
        ok = true;
        QCOMPARE(table.dataValue("none", 0, 0, &row, false, &ok), -1.0);
        QVERIFY(!ok);
        QCOMPARE(row, -1);
        QCOMPARE(table.dataValue(1), Numbers());
        QCOMPARE(table.dataValue(-1), Numbers());
        QCOMPARE(table.dataValue(intMax), Numbers());
        QCOMPARE(table.rowDataValue(1), Numbers());
    }

    void sharesTheHoleNumberWithAllTables()
    {
        CSVTable table;
        table.setData("1,");
        CSVTable other;
        other.setHoleValue(7.0);
        QCOMPARE(table.dataValue(0, 1), 7.0);

        table.setHoleValue(-1.0);

        QCOMPARE(other.dataValue(0, 0), -1.0);
        QCOMPARE(table.dataValue(0, 1), -1.0);
        {
            CSVTable third;
            third.setHoleValue(1e300);
        }
        QCOMPARE(table.dataValue(0, 1), 1e300); // also after the object that set it is destroyed
    }

    // Properties

    void readsARowOfProperties_data()
    {
        QTest::addColumn<QStringList>("cells");
        QTest::addColumn<bool>("normalize");
        QTest::addColumn<Properties>("expected");

        // clang-format off
        QTest::newRow("both kinds") << QStringList{"2.5{Max Load}", "modes->a", "b", "c"} << true
            << Properties{{"max_load", "2.5"}, {"modes", QStringList{"a", "b", "c"}}};
        QTest::newRow("keys as they are") << QStringList{"2.5{Max Load}", "The Modes->a"} << false
            << Properties{{"Max Load", "2.5"}, {"The Modes", QStringList{"a"}}};
        QTest::newRow("keys of lists, too, are made plain") << QStringList{"The  Modes->A B"} << true
            << Properties{{"the__modes", QStringList{"A B"}}};
        QTest::newRow("neither kind") << QStringList{"a", "", "b}", "c{", "-", ">"} << false << Properties{};
        QTest::newRow("nothing") << QStringList{} << false << Properties{};
        QTest::newRow("the value is not trimmed") << QStringList{" 2 {k}"} << false << Properties{{"k", " 2 "}};
        QTest::newRow("nor is its key") << QStringList{"2{ k }"} << false << Properties{{" k ", "2"}};
        QTest::newRow("an empty key and value") << QStringList{"{}"} << false << Properties{{"", ""}};
        QTest::newRow("the key ends at the first end") << QStringList{"1{a}b}"} << false << Properties{{"a", "1"}};
        QTest::newRow("the key begins at the first start") << QStringList{"1{a{b}"} << false
            << Properties{{"a{b", "1"}};
        QTest::newRow("an end at the start only") << QStringList{"1}2{ab"} << false << Properties{{"ab", "1}2"}};
        QTest::newRow("an end before and after") << QStringList{"1}2{a}b"} << false << Properties{{"a", "1}2"}};
        QTest::newRow("braces come before the arrow") << QStringList{"x->{u}", "y"} << false
            << Properties{{"u", "x->"}};
        QTest::newRow("an arrow with half a pair of braces") << QStringList{"x{->y", "z"} << false
            << Properties{{"x{", QStringList{"y", "z"}}};
        QTest::newRow("nothing after the arrow") << QStringList{"k->", "a", "b"} << false
            << Properties{{"k", QStringList{"a", "b"}}};
        QTest::newRow("a blank after the arrow") << QStringList{" k -> ", "a"} << false
            << Properties{{"k", QStringList{" ", "a"}}};
        QTest::newRow("nothing at all after it") << QStringList{"k->"} << false << Properties{{"k", QStringList{}}};
        QTest::newRow("a second arrow in the cell") << QStringList{"k->a->b"} << false
            << Properties{{"k", QStringList{"a->b"}}};
        QTest::newRow("empty cells are items") << QStringList{"k->a", "", " b "} << false
            << Properties{{"k", QStringList{"a", "", " b "}}};
        QTest::newRow("a list ends at an arrow") << QStringList{"k->a", "l->b", "c"} << false
            << Properties{{"k", QStringList{"a"}}, {"l", QStringList{"b", "c"}}};
        QTest::newRow("a list ends at braces") << QStringList{"k->a", "1{b}", "c"} << false
            << Properties{{"k", QStringList{"a"}}, {"b", "1"}};
        QTest::newRow("a list ends at a start of braces") << QStringList{"k->a", "b{", "c"} << false
            << Properties{{"k", QStringList{"a"}}};
        QTest::newRow("an end of braces is an item") << QStringList{"k->a", "b}", "c"} << false
            << Properties{{"k", QStringList{"a", "b}", "c"}}};
        QTest::newRow("the later of two with one key") << QStringList{"1{a}", "2{a}"} << false
            << Properties{{"a", "2"}};
        QTest::newRow("also when they are made plain") << QStringList{"1{A}", "a->x"} << true
            << Properties{{"a", QStringList{"x"}}};
        // clang-format on
    }

    void readsARowOfProperties()
    {
        QFETCH(QStringList, cells);
        QFETCH(bool, normalize);
        QFETCH(Properties, expected);
        CSVTable table;
        table.appendData(QStringList{"0{other}"}).appendData(cells);

        const Properties found = table.propertyValues(1, normalize);

        QCOMPARE(found.keys(), expected.keys());
        for (const Data::String &key : expected.keys()) {
            QCOMPARE(found[key], expected[key]);
            QCOMPARE(found[key].userType(), expected[key].userType());
        }
    }

    void readsNoPropertiesOutOfRange()
    {
        CSVTable table;
        table.setData("1{a}");

        for (const int row : {intMin, -1, 1, intMax})
            QCOMPARE(table.propertyValues(row), Properties());
        QCOMPARE(table.propertyValues(0).keys(), QList<Data::String>({"a"}));
    }

    void readsPropertiesOfBytes()
    {
        CSVTable table;
        table.setData(QByteArray("2.5{Max Load},modes->a,b"));

        QCOMPARE(table.propertyValues(0, true),
                 Properties({{"max_load", "2.5"}, {"modes", QStringList{"a", "b"}}}));
    }

    // Names

    void namesColumns_data()
    {
        QTest::addColumn<int>("col");
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("label");

        QTest::newRow("the first") << 0 << -1 << "A";
        QTest::newRow("the last of one letter") << 25 << -1 << "Z";
        QTest::newRow("the first of two") << 26 << 0 << "AA1";
        QTest::newRow("the next") << 27 << -1 << "AB";
        QTest::newRow("after AZ") << 52 << -1 << "BA";
        QTest::newRow("the last of two") << 701 << -1 << "ZZ";
        QTest::newRow("the first of three") << 702 << -1 << "AAA";
        QTest::newRow("with a row") << 2 << 4 << "C5";
        QTest::newRow("the last row") << 0 << intMax << "A2147483648";
        QTest::newRow("the last column") << intMax << -1 << "FXSHRXX";
    }

    void namesColumns()
    {
        QFETCH(int, col);
        QFETCH(int, row);
        QFETCH(QString, label);
        int foundRow = 99;

        QCOMPARE(CSVTable::columnLabel(col, row), Data::String(label));
        QCOMPARE(CSVTable::columnIndex(label, &foundRow), col);
        if (row != intMax) // whose number is too large to be read
            QCOMPARE(foundRow, row < 0 ? 99 : row);
        QCOMPARE(CSVTable::columnIndex(label), col);
    }

    void namesNegativeColumnsByWhatIsInFrontOfTheLetters()
    {
        QCOMPARE(CSVTable::columnLabel(-1), Data::String("@"));
        QCOMPARE(CSVTable::columnLabel(-2, 0), Data::String("?1"));
        QCOMPARE(CSVTable::columnLabel(0, intMin), Data::String("A"));
        QCOMPARE(CSVTable::columnLabel(intMin).size(), 1);
    }

    void readsNames_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<int>("col");
        QTest::addColumn<int>("row");

        QTest::newRow("empty") << "" << -1 << 99;
        QTest::newRow("without a row") << "C" << 2 << 99;
        QTest::newRow("with one") << "AA1" << 26 << 0;
        QTest::newRow("no column") << "7" << -1 << 6;
        QTest::newRow("row nought") << "A0" << 0 << -1;
        QTest::newRow("leading noughts") << "A007" << 0 << 6;
        QTest::newRow("small letters") << "a" << 32 << 99;
        QTest::newRow("small letters, two") << "aa" << 33 * 26 + 32 << 99;
        QTest::newRow("letters after the row") << "A1B" << 0 << -1;
        QTest::newRow("a row that is too large") << "A99999999999" << 0 << -1;
        QTest::newRow("the largest row") << "A2147483647" << 0 << 2147483646;
        QTest::newRow("digits of another script") << QString("B") + QChar(0x0663) << 1 << -1;
        QTest::newRow("a character of Latin-1") << QString(QChar(0xff)) << 190 << 99;
        QTest::newRow("a character of none") << QString(QChar(0x20ac)) << -65 << 99;
        QTest::newRow("a sign") << "A-1" << (65 - 64) * 26 + (45 - 64) - 1 << 0;
    }

    void readsNames()
    {
        QFETCH(QString, label);
        QFETCH(int, col);
        QFETCH(int, row);
        int foundRow = 99;

        QCOMPARE(CSVTable::columnIndex(label, &foundRow), col);
        QCOMPARE(foundRow, row);
    }

    void readsAnEndlessName()
    {
        int row = 99;

        CSVTable::columnIndex(QString(100000, 'Z'), &row);
        QCOMPARE(row, 99);
        CSVTable::columnIndex("A" + QString(100000, '9'), &row);
        QCOMPARE(row, -1);
    }

    void givesManyColumnsAsEachOfThem_data() { addStorages(); }

    void givesManyColumnsAsEachOfThem()
    {
        QFETCH(int, storage);
        const QTemporaryDir folder;
        CSVTable table;
        QByteArray bytes = "1.5,a,3\n\n,2{mm}\n";
        for (int i = 0; i < 200; ++i) // more than are read at once
            bytes += QByteArray::number(i) + ",0.5," + QByteArray::number(-i) + '\n';
        makeTable(table, storage, folder, bytes);
        const QList<int> cols = {2, 0, -1, 1, 9, intMax, intMin, 0};

        for (const int firstRow : {0, 1, 2, 3, 100, 202, 203, 204, -1, -3, intMin, intMax}) {
            const QList<Numbers> columns = table.colDataValues(cols, firstRow);

            QCOMPARE(columns.size(), cols.size());
            for (int i = 0; i < cols.size(); ++i)
                QCOMPARE(columns.at(i), table.colDataValue(cols.at(i), firstRow));
        }
        QCOMPARE(table.colDataValues({}), QList<Numbers>());
        QCOMPARE(table.colDataValue(2, 200), Numbers({-197, -198, -199}));
    }

    // Cells without copies

    void visitsTheRowsOfEachStorage_data() { addStorages(); }

    void visitsTheRowsOfEachStorage()
    {
        QFETCH(int, storage);
        const QTemporaryDir folder;
        CSVTable table;
        makeTable(table, storage, folder, "a, b ,c\n1.5,\xc3\xa9,\n\n-2,x\n");

        QList<QStringList> rows;
        const bool isWhole = table.visit(0, -1, [&](const CSVRow &row) {
            QStringList fields;
            for (const CSVCell &cell : row)
                fields.append(cell.text());
            rows.append(fields);
            return true;
        });

        QVERIFY(isWhole);
        QCOMPARE(rows,
                 QList<QStringList>({{"a", "b", "c"}, {"1.5", "é", ""}, {""}, {"-2", "x"}, {""}}));
    }

    void visitsCellsAsNumbers_data() { addStorages(); }

    void visitsCellsAsNumbers()
    {
        QFETCH(int, storage);
        const QTemporaryDir folder;
        CSVTable table;
        table.setHoleValue(-7.0);
        makeTable(table, storage, folder, "1.5{mm},,x, 25 ,1e3,inf\n");
        int visits = 0;

        const bool isVisited = table.visit(0, 0, [&](const CSVRow &row) {
            ++visits;
            for (int col = 0; col < row.size(); ++col) {
                bool ok = true;
                bool expectedOk = true;
                COMPARE(row[col].number(&ok), table.dataValue(0, col, &expectedOk));
                COMPARE(ok, expectedOk);
            }
            COMPARE(row[1].number(), -7.0);
            COMPARE(row[1].isEmpty(), true);
            COMPARE(row[3].number(), 25.0);
            return true;
        });

        QVERIFY(isVisited);
        QCOMPARE(visits, 1);
    }

    void visitsTheRowsOfARange_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<Ints>("numbers");

        QTest::newRow("all") << 0 << -1 << Ints{0, 1, 2, 3};
        QTest::newRow("some") << 1 << 2 << Ints{1, 2};
        QTest::newRow("one") << 2 << 2 << Ints{2};
        QTest::newRow("to the end") << 2 << 99 << Ints{2, 3};
        QTest::newRow("to the largest number") << 3 << intMax << Ints{3};
        QTest::newRow("from above the first") << intMin << 0 << Ints{0};
        QTest::newRow("backwards") << 2 << 1 << Ints{};
        QTest::newRow("after the last") << 4 << -1 << Ints{};
        QTest::newRow("after the last one of all") << intMax << intMax << Ints{};
    }

    void visitsTheRowsOfARange()
    {
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(Ints, numbers);
        for (const bool asBytes : {false, true}) {
            CSVTable table;
            const QByteArray bytes = "a\nb\nc\nd";
            asBytes ? table.setData(bytes) : table.setData(Data::String("a\nb\nc\nd"));
            Ints visited;

            const bool isWhole = table.visit(first, last, [&](const CSVRow &row) {
                visited.append(row.number());
                return true;
            });

            QVERIFY(isWhole);
            QCOMPARE(visited, numbers);
        }
    }

    void visitsNoMoreRowsWhenTheVisitorStops_data() { addStorages(); }

    void visitsNoMoreRowsWhenTheVisitorStops()
    {
        QFETCH(int, storage);
        const QTemporaryDir folder;
        CSVTable table;
        makeTable(table, storage, folder, "a\nb\nc");
        int visits = 0;

        QVERIFY(!table.visit(0, -1, [&](const CSVRow &row) { return ++visits, row.number() < 1; }));
        QCOMPARE(visits, 2);
    }

    void showsBytesWhereTheyAre()
    {
        const QByteArray bytes = "ab, cd \nef";
        CSVTable table;
        table.setData(bytes);
        int visits = 0;

        const bool isVisited = table.visit(0, 0, [&](const CSVRow &row) {
            ++visits;
            COMPARE(row[0].bytes() == bytes.constData(), true);
            COMPARE(row[0].size(), 2);
            COMPARE(row[1].bytes() == bytes.constData() + 4, true);
            COMPARE(row[1].size(), 2);
            COMPARE(row[1].isUtf16(), false);
            COMPARE(row[1].characters() == nullptr, true);
            return true;
        });

        QVERIFY(isVisited);
        QCOMPARE(visits, 1);
    }

    void showsTextWhereItIs()
    {
        const Data::String text = "ab, cd \nef";
        CSVTable table;
        table.setData(text);
        int visits = 0;

        const bool isVisited = table.visit(0, 0, [&](const CSVRow &row) {
            ++visits;
            COMPARE(row[1].characters() == text.constData() + 4, true);
            COMPARE(row[1].size(), 2);
            COMPARE(row[1].isUtf16(), true);
            COMPARE(row[1].bytes() == nullptr, true);
            return true;
        });

        QVERIFY(isVisited);
        QCOMPARE(visits, 1);
    }

    void keepsAVisitedRowThatIsChangedMeanwhile_data() { addStorages(); }

    void keepsAVisitedRowThatIsChangedMeanwhile()
    {
        QFETCH(int, storage);
        const QTemporaryDir folder;
        using Change = std::function<void(CSVTable &)>;
        const QList<Change> changes = {
            [](CSVTable &table) { table.clear(); },
            [](CSVTable &table) { table.setData(0, 0, "changed"); },
            [](CSVTable &table) { table.removeColumn(0); },
            [](CSVTable &table) { table.removeEmptyRows(); },
            [](CSVTable &table) { table.sort(0, 0, false); },
            [](CSVTable &table) { table.setData(QByteArray("x,y\nz")); },
            [](CSVTable &table) { table.clear(), table.setData(Data::String("x,y\nz")); },
            [&](CSVTable &table) { table.read(folder.filePath("table.csv"), limitOfNoBytes); },
        };
        for (const Change &change : changes) {
            CSVTable table;
            makeTable(table, storage, folder, "first,second\n\nthird,\"fourth\n");
            int visits = 0;

            table.visit(0, -1, [&](const CSVRow &row) {
                if (++visits == 1) {
                    change(table);
                    COMPARE(row.size(), 2);
                    COMPARE(row[0].text(), Data::String("first"));
                    COMPARE(row[1].text(), Data::String("second"));
                }
                for (const CSVCell &cell : row)
                    cell.text();
                return true;
            });

            QVERIFY(visits >= 1 && visits <= 4);
        }
    }

    void keepsNoListOfARowThatIsAccessedOnce_data()
    {
        QTest::addColumn<bool>("asBytes");

        QTest::newRow("text") << false;
        QTest::newRow("bytes") << true;
    }

    void keepsNoListOfARowThatIsAccessedOnce()
    {
        SKIP_ON_WINDOWS("the memory of a program is not counted on Windows");
#ifdef __SANITIZE_ADDRESS__
        QSKIP("memory is counted differently in a program that checks its addresses");
#endif
        QFETCH(bool, asBytes);
        const int rows = 2000;
        const QByteArray bytes = QByteArray("some text,more text,1.5\n").repeated(rows);
        CSVTable table;
        asBytes ? table.setData(bytes) : table.setData(Data::String(QString::fromLatin1(bytes)));
        const auto growthOfAWalk = [&] {
            const auto before = mallinfo2().uordblks;
            for (int row = 0; row < rows; ++row)
                table.data(row);
            return mallinfo2().uordblks - before;
        };

        const auto first = growthOfAWalk();
        const auto second = growthOfAWalk();
        const auto third = growthOfAWalk();

        QVERIFY(first < 10000); // a bit per row
        QVERIFY(second > rows * 100);
        QVERIFY(third < 10000);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_access)
#include "tst_CSVTable_access.moc"
