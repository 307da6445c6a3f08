// Tables in the file with as many rows as there may be, and with more.

#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "utils/csv/CSVReader.h"
#include "utils/csv/CSVReader_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using Data::String;
using Utils::CSVReader;
using Utils::CSVReaderPrivate;
using Utils::CSVTable;
using Utils::CSVTablePrivate;
using Utils::File;

/// The last reason, with texts in the language.
static String reasonIn(const char *language)
{
    resetCatalogue();
    Utils::StringTable::initialize(language, "", "");
    Utils::StringTable::load("Kelm.Utils");
    return File::lastError();
}

class tst_CSVTable_rowLimit : public QObject
{
    Q_OBJECT

private:
    static constexpr int mostRows = 3;

    const QTemporaryDir m_folder;
    QString m_path;

    void verifyReason() const
    {
        QCOMPARE(reasonIn("en"), String("The file \"" + m_path + "\" has more than 3 rows."));
        QCOMPARE(reasonIn("de"), String(QString::fromUtf8("Die Datei \u201e%1\u201c hat mehr als 3 "
                                                          "Zeilen.")
                                            .arg(m_path)));
    }

    static void addFiles()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("numRows"); // -1 when there are too many
    }

    /// More rows than the file is searched for at once.
    /// \p numRows is negative when the file has too many rows.
    void verifyTable(const CSVTable &table, int numRows)
    {
        QVERIFY(table.isDemandRead());
        QCOMPARE(table.numRows(), qMax(numRows, 0));
        if (numRows < 0)
            verifyReason();
        else
            QCOMPARE(File::lastError(), String());
    }

    static QByteArray manyRows() { return QByteArray("a,1\n").repeated(100000); }

private Q_SLOTS:
    void initTestCase() { File::setSearchPath(LIBRARY_RESOURCES, ""); }
    void init() { m_path = m_folder.filePath("table.csv"); }
    void cleanupTestCase() { resetCatalogue(); }

    void isThatOfAnInt()
    {
        const CSVReader reader;

        QCOMPARE(CSVReaderPrivate::of(reader).mostRows, std::numeric_limits<int>::max());
        QCOMPARE(Utils::CSVTablePrivate().mostRows, std::numeric_limits<int>::max());
    }

    void endsAReader_data()
    {
        addFiles();
        QTest::newRow("fewer") << QByteArray("a,1\nb,2") << 2;
        QTest::newRow("as many") << QByteArray("a,1\nb,2\nc,3") << 3;
        QTest::newRow("as many, with the empty one") << QByteArray("a,1\nb,2\n") << 3;
        QTest::newRow("one more, which is empty") << QByteArray("a,1\nb,2\nc,3\n") << -1;
        QTest::newRow("one more") << QByteArray("a,1\nb,2\nc,3\nd,4") << -1;
        QTest::newRow("many more") << manyRows() << -1;
    }

    void endsAReader()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, numRows);
        makeFile(m_path, contents);
        CSVReader reader;
        CSVReaderPrivate::of(reader).mostRows = mostRows;

        QCOMPARE(reader.read(m_path), numRows >= 0);

        QCOMPARE(reader.numRows(), qMax(numRows, 0));
        if (numRows < 0)
            verifyReason();
        else
            QCOMPARE(File::lastError(), String());
    }

    void endsATableOfLines_data() { endsAReader_data(); }

    void endsATableOfLines()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, numRows);
        makeFile(m_path, contents);
        CSVTable table;
        CSVTablePrivate::setMostRows(table, mostRows);

        QCOMPARE(table.read(m_path, limitOfNoBytes), numRows >= 0);

        verifyTable(table, numRows);
    }

    void endsATableInQuotes_data()
    {
        addFiles();
        QTest::newRow("fewer") << QByteArray("a,1\n\"b\n\",2") << 2;
        QTest::newRow("as many") << QByteArray("a,1\n\"b\n\",2\nc,3") << 3;
        QTest::newRow("as many, and a line break") << QByteArray("a,1\n\"b\n\",2\r\nc,3\r\n") << 3;
        QTest::newRow("as many, and comments") << QByteArray("#\na,1\nb,2\n#\nc,3\n#\n#") << 3;
        QTest::newRow("one more") << QByteArray("a,1\nb,2\nc,3\n\"d\n\",4") << -1;
        QTest::newRow("one more, which is empty") << QByteArray("a,1\nb,2\nc,3\n\n") << -1;
        QTest::newRow("one more after a comment") << QByteArray("a,1\nb,2\nc,3\n#\nd,4") << -1;
        QTest::newRow("many more") << manyRows() << -1;
    }

    void endsATableInQuotes()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, numRows);
        makeFile(m_path, contents);
        CSVTable table;
        table.setQuoting(CSVTable::Rfc4180);
        table.setComment("#");
        CSVTablePrivate::setMostRows(table, mostRows);

        QCOMPARE(table.read(m_path, limitOfNoBytes), numRows >= 0);

        verifyTable(table, numRows);
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_rowLimit)
#include "tst_CSVTable_rowLimit.moc"
