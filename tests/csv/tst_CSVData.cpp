#include "utils/csv/backends/CSVArrayData_p.h"
#include "utils/csv/backends/CSVFileData_p.h"
#include "utils/csv/backends/CSVStringData_p.h"

#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Vtable.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>

using Utils::CSVArrayData;
using Utils::CSVData;
using Utils::CSVFileData;
using Utils::csvHoleValue;
using Utils::csvReach;
using Utils::CSVStringData;

using Numbers = QList<double>;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

class tst_CSVData : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    static std::unique_ptr<CSVStringData> textData(const QByteArray &text, bool parseNow = true)
    {
        auto data = std::make_unique<CSVStringData>();
        data->delimiters.append(",");
        if (!text.isEmpty())
            data->setData(QString::fromUtf8(text), parseNow, nullptr, "");
        return data;
    }

    static std::unique_ptr<CSVArrayData> byteData(const QByteArray &bytes, bool parseNow = true)
    {
        auto data = std::make_unique<CSVArrayData>(',');
        if (!bytes.isEmpty())
            data->setData(bytes, parseNow, nullptr, "");
        return data;
    }

    std::unique_ptr<CSVFileData> fileData(const QByteArray &bytes) const
    {
        auto data = std::make_unique<CSVFileData>(',');
        data->reader.read(makeFile(m_folder.filePath("table.csv"), bytes));
        return data;
    }

    /// The backend that the row of a test names: "text", "bytes" or "file".
    std::unique_ptr<CSVData> makeData(const QByteArray &bytes, bool parseNow = true) const
    {
        const QByteArray backend = QTest::currentDataTag();
        if (backend.startsWith("text"))
            return textData(bytes, parseNow);
        if (backend.startsWith("bytes"))
            return byteData(bytes, parseNow);
        return fileData(bytes);
    }

    static bool isParsed(const CSVData &data, int row)
    {
        if (const auto text = dynamic_cast<const CSVStringData *>(&data))
            return text->isParsed(row);
        return dynamic_cast<const CSVArrayData &>(data).isParsed(row);
    }

    static void addBackends(bool withFile)
    {
        QTest::addColumn<bool>("inMemory");
        QTest::newRow("text") << true;
        QTest::newRow("bytes") << true;
        if (withFile)
            QTest::newRow("file") << false;
    }

private Q_SLOTS:
    void init() { csvHoleValue() = 0.0; }
    void cleanup() { csvHoleValue() = 0.0; }

    // All of them

    void keepsTheOrderOfItsVirtualOperations()
    {
        using Row = QStringList (CSVData::*)(int);
        using Cell = Data::String (CSVData::*)(int, int);
        using RowValues = QList<double> (CSVData::*)(int);
        using CellValue = double (CSVData::*)(int, int, bool *);

        // The destructor takes the first two places.
        QCOMPARE(vtableIndex(&CSVData::isValid), 2);
        QCOMPARE(vtableIndex(&CSVData::removeRow), 3);
        QCOMPARE(vtableIndex(&CSVData::numRows), 4);
        QCOMPARE(vtableIndex(&CSVData::numColumns), 5);
        QCOMPARE(vtableIndex(&CSVData::isEmpty), 6);
        QCOMPARE(vtableIndex(static_cast<Row>(&CSVData::data)), 7);
        QCOMPARE(vtableIndex(static_cast<Cell>(&CSVData::data)), 8);
        QCOMPARE(vtableIndex(static_cast<RowValues>(&CSVData::dataValue)), 9);
        QCOMPARE(vtableIndex(static_cast<CellValue>(&CSVData::dataValue)), 10);
        QCOMPARE(vtableIndex(&CSVData::colData), 11);
        QCOMPARE(vtableIndex(&CSVData::colDataValue), 12);
        QCOMPARE(vtableIndex(&CSVData::isReadOnly), 13);
        QCOMPARE(vtableIndex(&CSVData::setData), 14);
        QCOMPARE(vtableIndex(&CSVData::removeColumn), 15);
        QCOMPARE(vtableIndex(&CSVData::removeRows), 16); // ours, after them
    }

    void isValidWithARow_data() { addBackends(/*withFile=*/false); }

    void isValidWithARow()
    {
        const auto empty = makeData("");
        const auto filled = makeData("a");

        QVERIFY(!empty->isValid());
        QCOMPARE(empty->numRows(), 0);
        QVERIFY(filled->isValid());
        QCOMPARE(filled->numRows(), 1);
    }

    void isReadOnlyInAFileOnly_data() { addBackends(/*withFile=*/true); }

    void isReadOnlyInAFileOnly()
    {
        QFETCH(bool, inMemory);

        QCOMPARE(makeData("a")->isReadOnly(), !inMemory);
    }

    void givesTheFieldsOfARow_data() { addBackends(/*withFile=*/true); }

    void givesTheFieldsOfARow()
    {
        const auto data = makeData("a, b ,,c\n,\n");

        QCOMPARE(data->numRows(), 3);
        QCOMPARE(data->data(0), QStringList({"a", "b", "", "c"}));
        QCOMPARE(data->data(1), QStringList({"", ""}));
        QCOMPARE(data->data(2), QStringList({""}));
        QCOMPARE(data->data(0, 1), Data::String("b"));
        QCOMPARE(data->data(0, 3), Data::String("c"));
        QCOMPARE(data->data(2, 0), Data::String(""));
    }

    void givesNumbers_data() { addBackends(/*withFile=*/true); }

    void givesNumbers()
    {
        const auto data = makeData("1.5, -2 ,,x,1e3");
        bool ok = false;

        QCOMPARE(data->dataValue(0), Numbers({1.5, -2.0, 0.0, 0.0, 1000.0}));
        QCOMPARE(data->dataValue(0, 1, &ok), -2.0);
        QVERIFY(ok);
        QCOMPARE(data->dataValue(0, 2, &ok), 0.0);
        QVERIFY(!ok);
        ok = true;
        QCOMPARE(data->dataValue(0, 3, &ok), 0.0);
        QVERIFY(!ok);
        QCOMPARE(data->dataValue(0, 4, nullptr), 1000.0);
    }

    void givesColumnsWithAnEntryARow_data() { addBackends(/*withFile=*/true); }

    void givesColumnsWithAnEntryARow()
    {
        const auto data = makeData("a,1\nb\n\nd, 4\n");

        QCOMPARE(data->colData(1, 0), QStringList({"1", "", "", "4"}));
        QCOMPARE(data->colData(0, 1), QStringList({"b", "", "d"}));
        QCOMPARE(data->colData(0, 4), QStringList());
        QCOMPARE(data->colData(9, 3), QStringList({""}));
        QCOMPARE(data->colData(1, -1), QStringList({"", "1", "", "", "4"}));
        QCOMPARE(data->colData(-1, 0), QStringList());
        QCOMPARE(data->colData(1, 5), QStringList());
        QCOMPARE(data->colDataValue(1, 0), Numbers({1, 0, 0, 4}));
        QCOMPARE(data->colDataValue(1, 3), Numbers({4}));
        QCOMPARE(data->colDataValue(1, -1), Numbers({0, 1, 0, 0, 4}));
        QCOMPARE(data->colDataValue(-1, 0), Numbers());
        QCOMPARE(data->colDataValue(1, 5), Numbers());
    }

    void leavesTheLastRowOutOfColumnsWhenItIsEmpty_data() { addBackends(/*withFile=*/true); }

    void leavesTheLastRowOutOfColumnsWhenItIsEmpty()
    {
        QCOMPARE(makeData("a\n\n\n")->colData(0, 0), QStringList({"a", "", ""}));
        QCOMPARE(makeData("a\n,")->colData(0, 0), QStringList({"a", ""}));
        QCOMPARE(makeData("a\nb")->colData(0, 0), QStringList({"a", "b"}));
        QCOMPARE(makeData("a\n\n")->colDataValue(0, 0), Numbers({0, 0}));
    }

    void leavesARowOfBlanksAtTheEndOutOfColumnsInMemoryOnly_data()
    {
        addBackends(/*withFile=*/true);
    }

    void leavesARowOfBlanksAtTheEndOutOfColumnsInMemoryOnly()
    {
        QFETCH(bool, inMemory);

        // In a file, a field is trimmed only after the test for an empty line.
        QCOMPARE(makeData("a\n ")->colData(0, 0),
                 inMemory ? QStringList({"a"}) : QStringList({"a", ""}));
    }

    void countsFields_data() { addBackends(/*withFile=*/true); }

    void countsFields()
    {
        QFETCH(bool, inMemory);
        const auto data = makeData("a,b\n1,2,3,4,5\n");

        QCOMPARE(data->numColumns(0), 2);
        QCOMPARE(data->numColumns(1), 5);
        QCOMPARE(data->numColumns(2), 1);
        QCOMPARE(data->numColumns(3), 0);
        QCOMPARE(data->numColumns(intMax), 0);
        QCOMPARE(data->numColumns(-1), inMemory ? 5 : 0);
        QCOMPARE(data->numColumns(intMin), inMemory ? 5 : 0);
    }

    void tellsWhatIsEmpty_data() { addBackends(/*withFile=*/true); }

    void tellsWhatIsEmpty()
    {
        const auto data = makeData("a, \n");

        QVERIFY(!data->isEmpty(0, 0));
        QVERIFY(data->isEmpty(0, 1));
        QVERIFY(data->isEmpty(0, 9));
        QVERIFY(data->isEmpty(1, 0));
        QVERIFY(!data->isEmpty(0, -1));
        QVERIFY(data->isEmpty(1, -1));
        QVERIFY(data->isEmpty(2, -1));
        QVERIFY(data->isEmpty(2, 0));
        QVERIFY(data->isEmpty(-1, 0));
        QVERIFY(data->isEmpty(-1, -1));
    }

    void givesNothingOutOfRange_data() { addBackends(/*withFile=*/true); }

    void givesNothingOutOfRange()
    {
        for (const bool parseNow : {true, false}) {
            const auto data = makeData("7,8", parseNow);
            csvHoleValue() = 0.0;

            for (const int row : {intMin, -1, 1, intMax}) {
                for (const int col : {intMin, -1, 0, 1, 2, intMax}) {
                    bool ok = true;
                    QCOMPARE(data->data(row, col), Data::String());
                    QCOMPARE(data->dataValue(row, col, &ok), 0.0);
                    QVERIFY(!ok);
                    QCOMPARE(data->dataValue(row, col, nullptr), 0.0);
                    QVERIFY(data->isEmpty(row, col));
                }
                QCOMPARE(data->data(row), QStringList());
                QCOMPARE(data->dataValue(row), Numbers());
                data->removeRow(row);
            }
            for (const int col : {2, intMax}) {
                bool ok = true;
                QCOMPARE(data->data(0, col), Data::String());
                QCOMPARE(data->dataValue(0, col, &ok), 0.0);
                QVERIFY(!ok);
                QVERIFY(data->isEmpty(0, col));
                QCOMPARE(data->colData(col, 0), QStringList({""}));
            }
            for (const int col : {intMin, -1, 2, intMax})
                data->removeColumn(col);
            QCOMPARE(data->colData(0, intMin), QStringList());
            QCOMPARE(data->colDataValue(0, intMin), Numbers());
            QCOMPARE(data->colData(0, -csvReach - 1), QStringList());
            QCOMPARE(data->colDataValue(0, -csvReach - 1), Numbers());
            QCOMPARE(data->colData(0, intMax), QStringList());
            QCOMPARE(data->colData(intMin, 0), QStringList());
            QCOMPARE(data->colData(intMax, 0), QStringList({""}));
            QCOMPARE(data->numRows(), 1);
            QCOMPARE(data->data(0), QStringList({"7", "8"}));
        }
    }

    // In memory

    void splitsARowWhenItIsFirstUsed_data()
    {
        QTest::addColumn<int>("use");

        for (const char *backend : {"text", "bytes"}) {
            for (int use = 0; use <= 8; ++use)
                QTest::addRow("%s, use %d", backend, use) << use;
        }
    }

    void splitsARowWhenItIsFirstUsed()
    {
        QFETCH(int, use);
        const auto data = makeData("a,b\n1,2\n3,4", /*parseNow=*/false);
        QCOMPARE(data->numRows(), 3);
        QVERIFY(!isParsed(*data, 1));

        switch (use) {
        case 0:
            QCOMPARE(data->numColumns(1), 2);
            break;
        case 1:
            QVERIFY(!data->isEmpty(1, 1));
            break;
        case 2:
            QCOMPARE(data->data(1), QStringList({"1", "2"}));
            break;
        case 3:
            QCOMPARE(data->data(1, 1), Data::String("2"));
            break;
        case 4:
            QCOMPARE(data->dataValue(1), Numbers({1, 2}));
            break;
        case 5:
            QCOMPARE(data->dataValue(1, 1, nullptr), 2.0);
            break;
        case 6:
            QCOMPARE(data->colData(1, 1), QStringList({"2", "4"}));
            break;
        case 7:
            QCOMPARE(data->colDataValue(1, 1), Numbers({2, 4}));
            break;
        case 8:
            QCOMPARE(data->numColumns(-1), 2);
            break;
        }

        QVERIFY(isParsed(*data, 1));
        QCOMPARE(isParsed(*data, 0), use == 8); // no row is split but the ones that are used
        QCOMPARE(isParsed(*data, 2), use >= 6);
    }

    void splitsNoRowForANegativeColumn_data() { addBackends(/*withFile=*/false); }

    void splitsNoRowForANegativeColumn()
    {
        const auto data = makeData("a,b", /*parseNow=*/false);

        data->data(0, -1);
        data->dataValue(0, -1, nullptr);
        data->colData(-1, 0);
        data->colDataValue(-1, 0);

        QVERIFY(!isParsed(*data, 0));
    }

    void splitsAtOnceWhenAskedTo_data() { addBackends(/*withFile=*/false); }

    void splitsAtOnceWhenAskedTo()
    {
        const auto data = makeData("a,b\n1,2");

        QVERIFY(isParsed(*data, 0));
        QVERIFY(isParsed(*data, 1));
        QVERIFY(!isParsed(*data, 2));
    }

    void splitsARowForGood_data() { addBackends(/*withFile=*/false); }

    void splitsARowForGood()
    {
        const auto data = makeData("a,b", /*parseNow=*/false);
        data->data(0);

        data->setData(0, 0, "x,y");

        QCOMPARE(data->data(0), QStringList({"x,y", "b"}));
    }

    void splitsARowWhenItsFirstCellIsTested_data() { addBackends(/*withFile=*/false); }

    void splitsARowWhenItsFirstCellIsTested()
    {
        const auto data = makeData(",b", /*parseNow=*/false);

        QVERIFY(data->isEmpty(0, 0));
        QVERIFY(isParsed(*data, 0));
    }

    void takesARowAsItIsHeldForEmpty_data() { addBackends(/*withFile=*/false); }

    void takesARowAsItIsHeldForEmpty()
    {
        const auto data = makeData(" \na,b\n", /*parseNow=*/false);

        QVERIFY(!data->isEmpty(0, -1));
        QVERIFY(!isParsed(*data, 0));
        QVERIFY(!data->isEmpty(1, -1));
        QVERIFY(data->isEmpty(2, -1));
        QVERIFY(data->isEmpty(1, 9));
        QVERIFY(isParsed(*data, 1));
        QCOMPARE(data->data(0), QStringList({""}));
        QVERIFY(data->isEmpty(0, -1));
    }

    void takesARowOfEmptyFieldsForFilled_data() { addBackends(/*withFile=*/false); }

    void takesARowOfEmptyFieldsForFilled()
    {
        const auto data = makeData(",\nx");
        data->setData(4, 0, "y");

        QVERIFY(!data->isEmpty(0, -1));
        QVERIFY(data->isEmpty(0, 0));
        QVERIFY(data->isEmpty(2, -1)); // made to fill up, without fields
    }

    void readsOneHoleNumberInTheWholeProcess_data() { addBackends(/*withFile=*/true); }

    void readsOneHoleNumberInTheWholeProcess()
    {
        QFETCH(bool, inMemory);
        const auto data = makeData("1,,\n");
        const double hole = inMemory ? -1.0 : 0.0;
        bool ok = true;

        csvHoleValue() = -1.0;

        QCOMPARE(data->dataValue(0), Numbers({1, hole, hole}));
        QCOMPARE(data->dataValue(0, 1, &ok), hole);
        QVERIFY(!ok);
        QCOMPARE(data->colDataValue(1, 0), Numbers({hole}));
        QCOMPARE(data->colDataValue(1, -1), Numbers({hole, hole}));
        csvHoleValue() = 7.0;
        QCOMPARE(data->dataValue(0, 1, nullptr), inMemory ? 7.0 : 0.0);
    }

    void keepsTheHoleNumberOfItsReaderInAFile()
    {
        const auto data = fileData("1,,\n");
        csvHoleValue() = 3.0;

        data->reader.setHoleValue(5.0);

        QCOMPARE(data->dataValue(0), Numbers({1, 5, 5}));
        QCOMPARE(data->dataValue(0, 9, nullptr), 5.0);
    }

    void givesADifferentNumberForACellThatIsNotThere_data() { addBackends(/*withFile=*/false); }

    void givesADifferentNumberForACellThatIsNotThere()
    {
        const auto data = makeData("1");
        const double expected = QByteArray(QTest::currentDataTag()) == "bytes" ? 0.0 : -1.0;
        csvHoleValue() = -1.0;

        for (const QPoint &cell : {QPoint(0, 99), QPoint(0, -1), QPoint(1, 0), QPoint(-1, 0)}) {
            bool ok = true;
            QCOMPARE(data->dataValue(cell.y(), cell.x(), &ok), expected);
            QVERIFY(!ok);
        }
    }

    void makesTheRowsAndFieldsThatAreMissing_data() { addBackends(/*withFile=*/false); }

    void makesTheRowsAndFieldsThatAreMissing()
    {
        const auto data = makeData("");

        data->setData(3, 2, "x");

        QCOMPARE(data->numRows(), 4);
        QCOMPARE(data->data(3), QStringList({"", "", "x"}));
        QVERIFY(isParsed(*data, 3));
        for (int row = 0; row < 3; ++row) {
            QVERIFY(!isParsed(*data, row));
            QCOMPARE(data->data(row), QStringList());
            QCOMPARE(data->numColumns(row), 0);
            QVERIFY(isParsed(*data, row));
        }
        QCOMPARE(data->colData(2, 0), QStringList({"", "", "", "x"}));
        data->setData(3, 0, "y");
        data->setData(0, 1, "z");
        QCOMPARE(data->data(3), QStringList({"y", "", "x"}));
        QCOMPARE(data->data(0), QStringList({"", "z"}));
    }

    void leavesARowWithoutFieldsAtTheEndOutOfColumns_data() { addBackends(/*withFile=*/false); }

    void leavesARowWithoutFieldsAtTheEndOutOfColumns()
    {
        const auto data = makeData("a,b");
        data->setData(2, 0, "c");
        data->removeRow(2);

        QCOMPARE(data->numRows(), 2);
        QCOMPARE(data->colData(0, 0), QStringList({"a"}));
        QCOMPARE(data->colDataValue(0, 0), Numbers({0}));
    }

    void ignoresACellThatIsOutOfReach_data() { addBackends(/*withFile=*/true); }

    void ignoresACellThatIsOutOfReach()
    {
        const auto data = makeData("a");

        data->setData(-1, 0, "x");
        data->setData(0, -1, "x");
        data->setData(intMin, intMin, "x");
        data->setData(intMax, 0, "x");
        data->setData(0, intMax, "x");
        data->setData(csvReach + 2, 0, "x");
        data->setData(0, csvReach + 2, "x");
        data->setData(5, csvReach + 1, "x");

        QCOMPARE(data->numRows(), 1);
        QCOMPARE(data->data(0), QStringList({"a"}));
    }

    void editsARowThatIsNotSplitAsItsLine_data() { addBackends(/*withFile=*/false); }

    void editsARowThatIsNotSplitAsItsLine()
    {
        const auto data = makeData("a,b\nc,d", /*parseNow=*/false);

        data->setData(0, 1, "x");
        data->setData(1, 0, "y");

        QCOMPARE(data->data(0), QStringList({"a,b", "x"}));
        QCOMPARE(data->data(1), QStringList({"y"}));
    }

    void removesAColumn_data() { addBackends(/*withFile=*/false); }

    void removesAColumn()
    {
        const auto data = makeData("a,b,c\nd,e\nf");

        data->removeColumn(1);

        QCOMPARE(data->data(0), QStringList({"a", "c"}));
        QCOMPARE(data->data(1), QStringList({"d"}));
        QCOMPARE(data->data(2), QStringList({"f"}));
    }

    void removesTheLineOfARowThatIsNotSplitWithItsFirstColumnOnly_data()
    {
        addBackends(/*withFile=*/false);
    }

    void removesTheLineOfARowThatIsNotSplitWithItsFirstColumnOnly()
    {
        const auto data = makeData("a,b", /*parseNow=*/false);

        data->removeColumn(1);
        QCOMPARE(data->data(0), QStringList({"a", "b"}));

        const auto other = makeData("a,b", /*parseNow=*/false);
        other->removeColumn(0);
        QVERIFY(!isParsed(*other, 0));
        QCOMPARE(other->data(0), QStringList());
        QCOMPARE(other->numRows(), 1);
    }

    void removesARow_data() { addBackends(/*withFile=*/false); }

    void removesARow()
    {
        const auto data = makeData("a\nb\nc");

        data->removeRow(1);

        QCOMPARE(data->numRows(), 2);
        QCOMPARE(data->colData(0, 0), QStringList({"a", "c"}));
    }

    void removesManyRows_data() { addBackends(/*withFile=*/false); }

    void removesManyRows()
    {
        const auto data = makeData("a,1\nb,2\nc,3\nd,4\ne,5", /*parseNow=*/false);
        data->data(1);

        data->removeRows({0, 2, 4});
        data->removeRows({});

        // As when one is removed: the rows move up, and what is split does not.
        QCOMPARE(data->numRows(), 2);
        QCOMPARE(data->data(0), QStringList({"b"})); // split again: its first field, as a line
        QCOMPARE(data->data(1), QStringList({"d,4"}));
    }

    void doesNotShiftWhatIsSplitWhenARowIsRemoved_data() { addBackends(/*withFile=*/false); }

    void doesNotShiftWhatIsSplitWhenARowIsRemoved()
    {
        const auto data = makeData("a,1\nb,2\nc,3", /*parseNow=*/false);
        data->data(0);

        data->removeRow(0);

        // The line that is first now passes for split, as it has the number of one that was.
        QCOMPARE(data->data(0), QStringList({"b,2"}));
        QCOMPARE(data->data(1), QStringList({"c", "3"}));
    }

    void keepsTheMarksOfRowsThatAreGone_data() { addBackends(/*withFile=*/false); }

    void keepsTheMarksOfRowsThatAreGone()
    {
        const auto data = makeData("a,1\nb,2", /*parseNow=*/true);
        data->removeRow(1);
        QVERIFY(isParsed(*data, 1));

        if (const auto text = dynamic_cast<CSVStringData *>(data.get()))
            text->setData("c,3\nd,4", /*parseNow=*/false, nullptr, "");
        else
            dynamic_cast<CSVArrayData &>(*data).setData("c,3\nd,4", false, nullptr, "");

        QCOMPARE(data->data(1), QStringList({"c,3"}));
        QCOMPARE(data->data(2), QStringList({"d", "4"}));
    }

    // Text

    void cutsANumberOfTextAtItsAnnotation()
    {
        const auto data = textData("1.5{mm},{mm},2 {u}, 3");
        bool ok = false;

        QCOMPARE(data->dataValue(0), Numbers({1.5, 0, 2, 3}));
        QCOMPARE(data->dataValue(0, 0, &ok), 1.5);
        QVERIFY(ok);
        csvHoleValue() = -1.0;
        QCOMPARE(data->dataValue(0, 1, &ok), 0.0); // it is not empty, so no hole
        QVERIFY(!ok);
    }

    void takesTextOfNumbersAsTextDoes()
    {
        const auto data = textData("INF,NaN,\xe2\x88\x92"
                                   "5, \xc2\xa0 7");

        QCOMPARE(data->dataValue(0, 0, nullptr), std::numeric_limits<double>::infinity());
        QVERIFY(qIsNaN(data->dataValue(0, 1, nullptr)));
        QCOMPARE(data->dataValue(0, 2, nullptr), -5.0);
        QCOMPARE(data->dataValue(0, 3, nullptr), 7.0);
    }

    void givesTheRowsOfTextAsTheyAreHeld()
    {
        const auto data = textData("a,b\nc,d", /*parseNow=*/false);
        data->data(1);

        QCOMPARE(data->heldRow(0), QStringList({"a,b"}));
        QCOMPARE(data->heldRow(1), QStringList({"c", "d"}));
        QCOMPARE(data->heldRow(-1), QStringList());
        QCOMPARE(data->heldRow(2), QStringList());
    }

    void reordersAndSplitsTheRowsOfText()
    {
        const auto data = textData("h,0\na,1\nb,2\nc,3", /*parseNow=*/false);

        data->reorder(1, {2, 0, 1});

        QVERIFY(!data->isParsed(0));
        QCOMPARE(data->colData(0, 0), QStringList({"h", "c", "a", "b"}));
        QCOMPARE(data->data(1), QStringList({"c", "3"}));
    }

    void appendsARowThatIsSplit()
    {
        const auto data = textData("a,b");

        data->appendRow({"c,d"});

        QCOMPARE(data->data(1), QStringList({"c,d"}));
    }

    void forgetsRowsAndMarksOfText()
    {
        const auto data = textData("a,b");

        data->clear();

        QCOMPARE(data->numRows(), 0);
        QVERIFY(!data->isParsed(0));
        QCOMPARE(data->delimiters, QStringList({","}));
    }

    // Bytes

    void readsACellOfBytesAsLatin1AndAllElseAsUtf8()
    {
        const auto data = byteData("\xc3\xa9,x\n1");

        QCOMPARE(data->data(0), QStringList({QString::fromUtf8("\xc3\xa9"), "x"}));
        QCOMPARE(data->colData(0, 0), QStringList({QString::fromUtf8("\xc3\xa9"), "1"}));
        QCOMPARE(data->data(0, 0), Data::String(QString::fromLatin1("\xc3\xa9")));
        data->setData(0, 1, QString(QChar(0xe4)));
        QCOMPARE(data->data(0).at(1), QString(QChar(0xe4)));
        QCOMPARE(data->data(0, 1), Data::String(QString::fromLatin1("\xc3\xa4")));
    }

    void endsAFieldOfBytesAtAZeroByte()
    {
        const auto data = byteData(QByteArray("a\0b,c", 5));

        QCOMPARE(data->numColumns(0), 2);
        QCOMPARE(data->data(0), QStringList({"a", "c"}));
        QCOMPARE(data->data(0, 0), Data::String("a"));
        QCOMPARE(data->colData(0, 0), QStringList({"a"}));

        const auto hidden = byteData(QByteArray("\0b", 2));
        QCOMPARE(hidden->data(0, 0), Data::String());
        QVERIFY(!hidden->isEmpty(0, 0)); // there are bytes, even if their text is empty
        QCOMPARE(hidden->colData(0, 0), QStringList({""}));
    }

    void knowsNoAnnotationsInBytes()
    {
        const auto data = byteData("1.5{mm},INF,inf");
        bool ok = true;

        QCOMPARE(data->dataValue(0, 0, &ok), 0.0);
        QVERIFY(!ok);
        QCOMPARE(data->dataValue(0), Numbers({0, 0, std::numeric_limits<double>::infinity()}));
        QCOMPARE(data->colDataValue(0, 0), Numbers({0}));
    }

    void trimsBytesThatWereSetWhenANumberIsAskedFor()
    {
        const auto data = byteData("1");
        csvHoleValue() = -1.0;

        data->setData(0, 0, "  ");
        data->setData(0, 1, " 5 ");

        bool ok = true;
        QCOMPARE(data->dataValue(0, 0, &ok), -1.0);
        QVERIFY(!ok);
        QCOMPARE(data->dataValue(0), Numbers({-1, 5}));
    }

    void splitsBytesAtAnyByte()
    {
        CSVArrayData data('\0');
        data.setData(QByteArray("a\0b;c", 5), true, nullptr, "");

        QCOMPARE(data.data(0), QStringList({"a", "b;c"}));
    }

    // File

    void cannotBeChangedInAFile()
    {
        const auto data = fileData("a,b\nc,d");

        data->removeRow(0);
        data->removeRows({0, 1});
        data->removeColumn(0);
        data->setData(0, 0, "x");

        QCOMPARE(data->numRows(), 2);
        QCOMPARE(data->data(0), QStringList({"a", "b"}));
    }

    void isValidInAFileThatIsEmpty()
    {
        QVERIFY(fileData("")->isValid());
        QVERIFY(!CSVFileData(',').isValid());
    }

    void givesTheWholeLineOfAFileForANegativeColumn()
    {
        const auto data = fileData(" 7,8 \n");

        QCOMPARE(data->data(0, -1), Data::String("7,8"));
        QVERIFY(!data->isEmpty(0, -1));
    }

    void trimsTheFieldsOfAFileWhenTheyAreAskedFor()
    {
        const auto data = fileData(" a , \n");

        QCOMPARE(data->data(0), QStringList({"a", ""}));
        QVERIFY(data->isEmpty(0, 1));
        QCOMPARE(data->reader.data(0), QList<QByteArray>({" a ", " "}));
    }
};

QTEST_GUILESS_MAIN(tst_CSVData)
#include "tst_CSVData.moc"
