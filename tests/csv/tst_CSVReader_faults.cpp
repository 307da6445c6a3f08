#include "utils/csv/CSVReader.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/ReadFault.h"
#include "tests/support/Windows.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>

using Utils::CSVReader;

using Fields = QList<QByteArray>;
using Numbers = QList<double>;

/// The last part of the key of the last reason, such as "readfault"; no texts are loaded.
static QString reason() { return QString(Utils::File::lastError()).section('.', -1); }

static QByteArray joined(const Fields &fields) { return fields.join('|'); }
static QByteArray joined(const QStringList &texts) { return texts.join('|').toUtf8(); }

static QByteArray joined(const Numbers &numbers)
{
    QByteArray text;
    for (const double number : numbers)
        text += QByteArray::number(number) + '|';
    return text;
}

class tst_CSVReader_faults : public QObject
{
    Q_OBJECT

private:
    using Access = std::function<QByteArray(const CSVReader &)>;

    /// Each way to read rows, with its result as one text.
    static QMap<QString, Access> accesses()
    {
        // clang-format off
        return {
            {"line", [](const CSVReader &reader) { return reader.data(3, -1); }},
            {"field", [](const CSVReader &reader) { return reader.data(3, 1); }},
            {"row", [](const CSVReader &reader) { return joined(reader.data(3)); }},
            {"part", [](const CSVReader &reader) { return joined(reader.rowData(3, 1)); }},
            {"column", [](const CSVReader &reader) { return joined(reader.colData(0)); }},
            {"text", [](const CSVReader &reader) { return reader.dataD(3, 1).toUtf8(); }},
            {"texts", [](const CSVReader &reader) { return joined(reader.dataD(3)); }},
            {"part of texts", [](const CSVReader &reader) { return joined(reader.rowDataD(3, 1)); }},
            {"column of texts", [](const CSVReader &reader) { return joined(reader.colDataD(0)); }},
            {"number", [](const CSVReader &reader) { return QByteArray::number(reader.dataValue(3, 1)); }},
            {"numbers", [](const CSVReader &reader) { return joined(reader.dataValue(3)); }},
            {"part of numbers", [](const CSVReader &reader) { return joined(reader.rowDataValue(3, 1)); }},
            {"column of numbers", [](const CSVReader &reader) { return joined(reader.colDataValue(1)); }},
            {"size", [](const CSVReader &reader) { return QByteArray::number(reader.numColumns(3)); }},
            {"header", [](const CSVReader &reader) { return QByteArray::number(reader.hasHeader()); }},
            {"sum", [](const CSVReader &reader) { return QByteArray::number(reader.checksum()); }},
        };
        // clang-format on
    }

    const QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

    /// A file of as many rows "1000000,0", "1000001,1"..., of ten bytes each, with the line feed.
    QString rows(int count) const
    {
        QByteArray contents;
        for (int row = 0; row < count; ++row)
            contents += QByteArray::number(1000000 + row) + ',' + char('0' + row % 10) + '\n';
        return file(contents);
    }

private Q_SLOTS:
    void readsNothingOfAFileThatBreaksOff_data()
    {
        QTest::addColumn<qint64>("offset");

        QTest::newRow("at its start") << qint64(0);
        QTest::newRow("in a line") << qint64(1234);
        QTest::newRow("after a line feed") << qint64(1230);
        QTest::newRow("after a block") << qint64(10240);
        QTest::newRow("after what is read at once") << qint64(163840);
        QTest::newRow("before its last byte") << qint64(199999);
        QTest::newRow("at its end") << qint64(200000);
    }

    void readsNothingOfAFileThatBreaksOff()
    {
        QFETCH(qint64, offset);
        const QString path = rows(20000);
        CSVReader reader;
        QVERIFY(reader.read(path));
        const int filesBefore = openFiles();
        const ReadFault bad(path, offset);

        QVERIFY(!reader.read(path));

        QVERIFY(bad.count() > 0);
        QVERIFY(!reader.isValid());
        QCOMPARE(reader.numRows(), 0);
        QCOMPARE(reader.path(), Data::String(path));
        QCOMPARE(reader.data(0), Fields());
        QCOMPARE(openFiles(), filesBefore - 1);
    }

    void readsOnWhereASignalHasInterrupted()
    {
        const QString path = rows(20000);
        CSVReader reader;
        {
            const ReadFault interrupted(path, 1234, EINTR, 1);
            QVERIFY(reader.read(path));
            QCOMPARE(interrupted.count(), 1);
        }
        QCOMPARE(reader.numRows(), 20001);

        const ReadFault interrupted(path, 120005, EINTR, 1);
        QCOMPARE(reader.data(12000), (Fields{"1012000", "0"}));
        QCOMPARE(interrupted.count(), 1);
    }

    void hasNoPartOfARowThatCannotBeRead()
    {
        const QString path = rows(20000);
        CSVReader reader;
        QVERIFY(reader.read(path));
        const ReadFault bad(path, 120005); // within row 12000

        QCOMPARE(reader.data(12000), Fields{""});
        QCOMPARE(reader.data(12000, 0), QByteArray());
        QCOMPARE(reader.data(12000, -1), QByteArray());
        QCOMPARE(reader.dataD(12000), QStringList(""));
        QCOMPARE(reader.numColumns(12000), 1);
        bool ok = true;
        QCOMPARE(reader.dataValue(12000, 1, &ok), 0.0);
        QVERIFY(!ok);

        QVERIFY(bad.count() > 0);
    }

    void tellsWhyRowsAreMissing_data()
    {
        QTest::addColumn<QString>("access");
        const QStringList names = accesses().keys();
        for (const QString &name : names)
            QTest::newRow(qPrintable(name)) << name;
    }

    void tellsWhyRowsAreMissing()
    {
        QFETCH(QString, access);
        const Access run = accesses()[access];
        const QString path = rows(4);
        CSVReader whole;
        QVERIFY(whole.read(path));
        const QByteArray expected = run(whole);

        int numTold = 0;
        for (int times = 1;; ++times) {
            CSVReader reader;
            QVERIFY(reader.read(path));
            ReadFault bad(path, 0, EIO, times);
            const QByteArray result = run(reader);
            const bool isTold = reason() == "readfault";
            if (result != expected)
                QVERIFY2(isTold, result.constData());
            else if (!isTold)
                QCOMPARE(reason(), QString());
            numTold += isTold ? 1 : 0;
            const bool isEnd = bad.count() < times;
            bad.repair();
            QCOMPARE(run(reader), expected);
            QCOMPARE(reason(), QString());
            if (isEnd)
                break;
            QVERIFY(times < 100);
        }
        QVERIFY(numTold > 0);
    }

    void tellsWhyRowsAreMissingForLackOfMemory_data() { tellsWhyRowsAreMissing_data(); }

    void tellsWhyRowsAreMissingForLackOfMemory()
    {
        QFETCH(QString, access);
        const Access run = accesses()[access];
        const QString path = rows(4);
        CSVReader whole;
        QVERIFY(whole.read(path));
        const QByteArray expected = run(whole);

        int numTold = 0;
        for (const auto mode : {FailingMemory::Once, FailingMemory::FromThenOn}) {
            for (int n = 0;; ++n) {
                CSVReader reader;
                QVERIFY(reader.read(path));
                QByteArray result;
                bool isOfTest = false;
                FailingMemory memory(n, mode);
                try {
                    result = run(reader);
                } catch (const std::bad_alloc &) {
                    isOfTest = true; // which joins the results
                }
                memory.end();

                if (!isOfTest && result != expected) {
                    QCOMPARE(reason(), QString("memory"));
                    ++numTold;
                }
                if (!memory.hasFailed())
                    break;
                QVERIFY(n < 1000);
            }
        }
        QVERIFY(numTold > 0);
    }

    void tellsThatTheFileHasBecomeShorter_data()
    {
        QTest::addColumn<QByteArray>("zero"); // which is why a row is read in blocks
        QTest::newRow("plain") << QByteArray();
        QTest::newRow("with zero bytes") << QByteArray(1, '\0');
    }

    void tellsThatTheFileHasBecomeShorter()
    {
        QFETCH(QByteArray, zero);
        const QByteArray contents = QByteArray("first,value\n").repeated(60000) + zero;
        const QString path = file(contents);
        CSVReader reader;
        QVERIFY(reader.read(path));
        QVERIFY(QFile::resize(path, 12 * 40000 + 8)); // within row 40000

        QCOMPARE(reader.data(39999), (Fields{"first", "value"}));
        QCOMPARE(reason(), QString());
        for (int repeat = 0; repeat < 2; ++repeat) {
            QCOMPARE(reader.data(40000), (Fields{"first", "va"}));
            QCOMPARE(reason(), QString("shorter"));
        }
        QCOMPARE(reader.dataD(40001, 0), Data::String());
        QCOMPARE(reason(), QString("shorter"));
        QCOMPARE(reader.data(5, -1), QByteArray("first,value"));
        QCOMPARE(reason(), QString());
        QCOMPARE(reader.colData(1, 39999).mid(0, 3), (Fields{"value", "va", ""}));
        QCOMPARE(reason(), QString("shorter"));
        reader.checksum();
        QCOMPARE(reason(), QString("shorter"));
    }

    void hasNoReasonWhereNothingIsMissing()
    {
        const QString path = rows(20);
        CSVReader reader;
        QVERIFY(reader.read(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append) && file.write("more,1") == 6);
        file.close();

        reader.data(20);
        QCOMPARE(reason(), QString());
        reader.checksum();
        QCOMPARE(reason(), QString());
        {
            const CSVReader copy(reader); // closes the file in its end
        }
        QCOMPARE(reader.data(7), Fields{""});
        QCOMPARE(reason(), QString());

        CSVReader withZero;
        QVERIFY(withZero.read(this->file(QByteArray("a,1\nb,2\0c", 9))));
        QCOMPARE(withZero.data(1), (Fields{"b", "2"}));
        QCOMPARE(reason(), QString());
    }

    void hasAllRowsInFrontOfWhatCannotBeRead()
    {
        const QString path = rows(20000);
        CSVReader reader;
        QVERIFY(reader.read(path));
        const ReadFault bad(path, 120005);

        for (int row = 11000; row < 12000; ++row)
            QCOMPARE(reader.data(row, 0), QByteArray::number(1000000 + row));
        for (int row = 11999; row > 11000; --row)
            QCOMPARE(reader.data(row, 0), QByteArray::number(1000000 + row));
        const Numbers column = reader.colDataValue(0, 11000);

        QCOMPARE(column.size(), 12000 - 11000 + 8000);
        QCOMPARE(column.at(999), 1011999.0);
        QCOMPARE(column.at(1000), 0.0);
        QVERIFY(bad.count() > 0);
    }

    void readsARowAgainWhenThatIsPossible_data()
    {
        QTest::addColumn<int>("row");

        QTest::newRow("the first") << 0;
        QTest::newRow("one in the middle") << 12000;
        QTest::newRow("the last") << 19999;
    }

    void readsARowAgainWhenThatIsPossible()
    {
        QFETCH(int, row);
        const QString path = rows(20000);
        const Fields fields = {QByteArray::number(1000000 + row), QByteArray::number(row % 10)};
        CSVReader reader;
        QVERIFY(reader.read(path));
        ReadFault bad(path, 0);
        QCOMPARE(reader.data(row), Fields{""});
        QCOMPARE(reader.colData(1, row).value(0), QByteArray());
        bad.refuseSeeks();
        QCOMPARE(reader.data(row), Fields{""});
        QVERIFY(bad.count() > 2);

        bad.repair();

        QCOMPARE(reader.data(row), fields);
        QCOMPARE(reader.colData(1, row).value(0), fields.at(1));
    }

    void keepsWhatItHasWhereASeekFails()
    {
        const QString path = rows(20000);
        CSVReader reader;
        QVERIFY(reader.read(path));
        QCOMPARE(reader.data(18000, 0), QByteArray("1018000"));
        ReadFault bad(path, 1 << 20);
        bad.refuseSeeks();

        QCOMPARE(reader.data(10), Fields{""}); // not what is at another place
        QCOMPARE(reader.data(18000, 0), QByteArray("1018000"));

        QVERIFY(bad.count() > 0);
    }

    void hasNoPartOfALongRowThatCannotBeRead()
    {
        const QByteArray longLine(1000000, 'x');
        const QString path = file("a\n" + longLine + "\nb\n");
        CSVReader reader;
        QVERIFY(reader.read(path));
        ReadFault bad(path, 200000);

        QCOMPARE(reader.data(0, 0), QByteArray("a"));
        QCOMPARE(reader.data(1), Fields{""});
        QCOMPARE(reader.data(2), Fields{""});
        QCOMPARE(bad.count() > 0, true);

        bad.repair();
        QCOMPARE(reader.data(1), Fields{longLine});
    }

    void hasNoPartOfARowWithAZeroByteThatCannotBeRead()
    {
        const QByteArray zero(1, '\0');
        const QByteArray line = "a" + zero + QByteArray(20000, 'x');
        const QString path = file("b\n" + line + "\nc\n");
        CSVReader reader;
        QVERIFY(reader.read(path));
        QVERIFY(reader.data(1, -1).size() > 1);
        QCOMPARE(reader.data(0, -1), QByteArray("b"));
        const ReadFault bad(path, 15000);

        QCOMPARE(reader.data(1, -1), QByteArray());
        QCOMPARE(reader.data(0, -1), QByteArray("b"));
    }

    void sumsARowThatCannotBeReadAsAnEmptyLine()
    {
        const QString path = file("1,2\n3,4\n5,6");
        CSVReader reader;
        QVERIFY(reader.read(path));
        ReadFault bad(path, 5);

        QCOMPARE(int(reader.checksum()), int(qChecksum("31,2", 4)));
        QCOMPARE(int(reader.checksum(1)), int(qChecksum("31,2", 4)));

        bad.repair();
        QCOMPARE(int(reader.checksum()), int(qChecksum("31,23,45,6", 10)));
    }

    void losesNothingWhereTheMemoryEnds_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("once") << int(FailingMemory::Once);
        QTest::newRow("for good") << int(FailingMemory::FromThenOn);
    }

    void losesNothingWhereTheMemoryEnds()
    {
        QFETCH(int, mode);
        const QString path = file("1,2\r\n3," + QByteArray(300, 'x') + "\n5,6\n7,8");
        const Data::String name = path;
        const QString longPath =
            file("\n" + QByteArray(300000, 'y') + "\n" + QByteArray("\0z", 2) + "\n");
        makeFile(m_folder.filePath("other.csv"), "1,2\r\n3," + QByteArray(300, 'x') + "\n5,6\n7,8");
        const Data::String other = m_folder.filePath("other.csv");
        const Data::String large = longPath;
        const int filesBefore = openFiles();

        // Each operation on a new reader; afterwards the reader returns all rows, or has none
        // when the operation has read and failed.
        struct Operation
        {
            const char *name;
            std::function<bool(CSVReader &)> run; // whether there are rows afterwards
        };
        const QList<Operation> operations = {
            {"read", [&](CSVReader &reader) { return reader.read(other); }},
            {"data", [](CSVReader &reader) { return reader.data(0), true; }},
            {"data, long", [](CSVReader &reader) { return reader.data(1), true; }},
            {"line", [](CSVReader &reader) { return reader.data(1, -1), true; }},
            {"dataD", [](CSVReader &reader) { return reader.dataD(1), true; }},
            {"dataD, field", [](CSVReader &reader) { return reader.dataD(1, 1), true; }},
            {"dataValue", [](CSVReader &reader) { return reader.dataValue(1), true; }},
            {"dataValue, field", [](CSVReader &reader) { return reader.dataValue(1, 1), true; }},
            {"rowData", [](CSVReader &reader) { return reader.rowData(1, 1), true; }},
            {"rowDataD", [](CSVReader &reader) { return reader.rowDataD(1, 1), true; }},
            {"colData", [](CSVReader &reader) { return reader.colData(1, -1), true; }},
            {"colDataD", [](CSVReader &reader) { return reader.colDataD(0, 0), true; }},
            {"colDataValue", [](CSVReader &reader) { return reader.colDataValue(0), true; }},
            {"hasHeader", [](CSVReader &reader) { return reader.hasHeader(), true; }},
            {"checksum", [](CSVReader &reader) { return reader.checksum(), true; }},
        };
        for (const Operation &operation : operations) {
            int n = 0;
            for (bool goesOn = true; goesOn; ++n) {
                CSVReader reader;
                QVERIFY(reader.read(other));
                bool hasRows = false;
                FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
                try {
                    hasRows = operation.run(reader);
                } catch (...) {
                    memory.end();
                    QFAIL(qPrintable(QString("%1 throws at %2").arg(operation.name).arg(n)));
                }
                memory.end();
                goesOn = memory.hasFailed();

                QCOMPARE(reader.numRows(), hasRows ? 4 : 0);
                QCOMPARE(openFiles(), filesBefore + hasRows);
                if (!hasRows)
                    continue;
                QCOMPARE(reader.data(0), (Fields{"1", "2"}));
                QCOMPARE(reader.data(1), (Fields{"3", QByteArray(300, 'x')}));
                QCOMPARE(reader.colDataValue(0), (Numbers{1, 3, 5, 7}));
                QCOMPARE(int(reader.checksum(1)), int(qChecksum("41,2", 4)));
            }
            QVERIFY2(n < 1000, operation.name);
        }

        // Rows that are read by blocks.
        CSVReader reader;
        QVERIFY(reader.read(large));
        for (int n = 0;; ++n) {
            FailingMemory memory(n, static_cast<FailingMemory::Mode>(mode));
            const int size = reader.data(1, -1).size();
            const QByteArray zero = reader.data(2, -1);
            memory.end();
            QVERIFY(size == 0 || size == 300000);
            QCOMPARE(zero, QByteArray());
            if (!memory.hasFailed())
                break;
        }
        QCOMPARE(reader.data(1, -1).size(), 300000);
    }

    void addsADelimiterOrNoneWhereTheMemoryEnds()
    {
        // Not each addition needs memory.
        const QByteArray delimiters = "abcdefghijklmnopqrstuvwxyz";
        const QString path = file("1a2b3c4d5e6f7g8h9i0j1k2l3m4n5o6p7q8r9s0t1u2v3w4x5y6z7");
        int failures = 0;
        for (int count = 0; count < delimiters.size(); ++count) {
            CSVReader reader(';');
            QVERIFY(reader.read(path));
            for (const char delimiter : delimiters.left(count))
                reader.addDelimiter(delimiter);
            FailingMemory memory(0, FailingMemory::Once);
            reader.addDelimiter(delimiters.at(count));
            memory.end();
            failures += memory.hasFailed();

            QCOMPARE(reader.data(0).size(), 1 + count + !memory.hasFailed());
        }
        QVERIFY(failures > 0);
    }

    void keepsItsEncodingWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        Utils::File::lastError(); // glibc ends the process when it has no memory for the first call
        const Data::String name("iso-8859-15");
        bool isTold = false;
        int failures = 0;
        for (bool goesOn = true; goesOn; failures += goesOn) {
            CSVReader reader;
            QVERIFY(reader.setEncoding("windows-1252"));
            FailingMemory memory(failures, FailingMemory::Once);
            const bool isSet = reader.setEncoding(name);
            memory.end();
            goesOn = memory.hasFailed();

            QCOMPARE(reader.encoding(), Data::String(isSet ? "ISO-8859-15" : "windows-1252"));
            // A codec that has no memory is one that does not exist, for Qt.
            QCOMPARE(Utils::File::lastError().isEmpty(), isSet);
            isTold = isTold || Utils::File::lastError() == ".Kelm.Utils.err.memory";
            QVERIFY(isSet || goesOn);
        }
        QVERIFY(isTold);
    }

    void tellsWhereANumberFailsForLackOfMemory()
    {
        const QString path = file(" 12345678 ," + QByteArray(300, ' ') + "1.5\n");
        CSVReader reader;
        QVERIFY(reader.read(path));
        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            CSVReader fresh;
            QVERIFY(fresh.read(path));
            bool ok = true;
            FailingMemory memory(n, FailingMemory::Once);
            const double number = fresh.dataValue(0, 0, &ok);
            const bool hasHeader = reader.hasHeader();
            memory.end();
            isOut = memory.hasFailed();
            failures += isOut;

            QCOMPARE(number, ok ? 12345678.0 : 0.0);
            QVERIFY(ok || isOut);
            QVERIFY(!hasHeader || isOut);
        }
        QVERIFY(failures > 0);
    }

    void tellsThatALongFieldIsNoNumberWhereTheMemoryEnds()
    {
        const QString path = file(QByteArray(300, 'x') + "\n");
        bool isOut = true;
        int failures = 0;
        for (int n = 0; isOut; ++n) {
            CSVReader reader;
            QVERIFY(reader.read(path));
            QCOMPARE(reader.data(0).size(), 1);
            bool ok = true;
            FailingMemory memory(n, FailingMemory::Once);
            const double number = reader.dataValue(0, 0, &ok);
            memory.end();
            isOut = memory.hasFailed();
            failures += isOut;

            QVERIFY(!ok);
            QCOMPARE(number, 0.0);
        }
        QVERIFY(failures > 0);
    }
};

QTEST_GUILESS_MAIN(tst_CSVReader_faults)
#include "tst_CSVReader_faults.moc"
