// Quoted tables that are unusual in one point each, in text, in bytes and in the file.

#include "utils/csv/CSVTable.h"

#include "tests/csv/Rows.h"
#include "tests/support/Files.h"
#ifndef _WIN32
#include "tests/support/OrdinaryUser.h"
#endif
#include "tests/support/Print.h" // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"
#include "utils/csv/CSVDialect.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>

using Utils::CSVDialect;
using Utils::CSVRow;
using Utils::CSVTable;
using Utils::File;

using Numbers = QList<double>;

/// The reason of the last failure as its key, as no texts are loaded.
static QString reason() { return QString(File::lastError()).section('.', -1); }

/// The limits of read() that make a table of each kind.
static const int limits[] = {0, 1, limitOfNoBytes};

class tst_CSVTable_rfc4180 : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;

    QString file(const QByteArray &contents) const
    {
        return makeFile(m_folder.filePath("table.csv"), contents);
    }

    /// A table that will be quoted.
    static std::unique_ptr<CSVTable> quotedTable(const QString &delimiter = ",")
    {
        auto table = std::make_unique<CSVTable>(delimiter);
        table->setQuoting(CSVTable::Rfc4180);
        return table;
    }

private Q_SLOTS:
    void readsColumnsFromRowsThatDoNotExist()
    {
        const QString path = file("1,2\n3,4\n");
        const int least = std::numeric_limits<int>::min();
        for (const int limit : limits) {
            const auto table = quotedTable();
            QVERIFY(table->read(path, limit));

            QCOMPARE(table->colData(1, -2), (QStringList{"", "", "2", "4"}));
            QCOMPARE(table->colDataValue(0, -1), (Numbers{0.0, 1.0, 3.0}));
            QCOMPARE(table->colData(-1), QStringList());
            QCOMPARE(table->colData(0, 2), QStringList());
            QCOMPARE(table->colData(0, least), QStringList());
            QCOMPARE(table->colDataValue(0, least), Numbers());
        }
    }

    void endsAVisitWhereTheVisitorSays()
    {
        const QString path = file("1\n2\n3\n");
        for (const int limit : limits) {
            const auto table = quotedTable();
            QVERIFY(table->read(path, limit));
            int count = 0;

            QVERIFY(!table->visit(0, 9, [&](const CSVRow &) { return ++count < 2; }));

            QCOMPARE(count, 2);
            QVERIFY(table->visit(1, 9, [&](const CSVRow &) { return ++count > 0; }));
            QCOMPARE(count, 4);
        }
    }

    void readsTheFormatOfItsDialect()
    {
        CSVDialect dialect;
        dialect.setDelimiter(";");
        dialect.setQuotes(CSVDialect::Rfc4180Quotes);
        dialect.setComment("#");
        dialect.setCarriageReturns(true);
        const QString path = file("#c;d\r\"a;b\";2\r#e\r\"c\rd\";4\r");
        for (const int limit : limits) {
            CSVTable table;
            QVERIFY(table.setDialect(dialect));

            QVERIFY(table.read(path, limit));

            QCOMPARE(rowsOf(table), (Rows{{"a;b", "2"}, {"c\rd", "4"}}));
            QCOMPARE(table.isDemandRead(), limit == limitOfNoBytes); // as quotes need no text
        }
    }

    void endsNoLineAtAReturnAmongLineFeeds()
    {
        CSVDialect dialect;
        dialect.setDelimiter(";");
        dialect.setCarriageReturns(true);
        for (const char *delimiter : {";", "::"}) {
            dialect.setDelimiter(delimiter);
            const QByteArray cells = QByteArray("a\rb") + delimiter + "c";
            CSVTable table;
            QVERIFY(table.setDialect(dialect));
            QVERIFY(table.setData(cells + "\nd"));
            QCOMPARE(rowsOf(table), (Rows{{"a\rb", "c"}, {"d"}}));

            CSVTable other;
            QVERIFY(other.setDialect(dialect));
            QVERIFY(other.setData(cells + "\rd"));
            QCOMPARE(rowsOf(other), (Rows{{"a"}, {"b", "c"}, {"d"}}));
        }
    }

    void skipsNoLinesByACommentWithALineBreak()
    {
        const QString path = file("#a,b\nc,d\n");
        for (const char *comment : {"#\n", "#\r", "\n", "#a,b\nc"}) {
            for (const int limit : limits) {
                const auto table = quotedTable();
                table->setComment(comment);
                QVERIFY(table->read(path, limit));
                QCOMPARE(rowsOf(*table), (Rows{{"#a", "b"}, {"c", "d"}}));
            }
        }
    }

    void keepsLinesThatAreAnExceptionFromComments()
    {
        const QString path = file("#a,b\n#!c,d\n#\n#!\ne\n");
        for (const int limit : limits) {
            const auto table = quotedTable();
            table->setComment("#", '!');
            QVERIFY(table->read(path, limit));
            QCOMPARE(rowsOf(*table), (Rows{{"#!c", "d"}, {"#!"}, {"e"}}));
        }
        CSVTable classic("::");
        classic.setComment("#", '!');
        QVERIFY(classic.setData("#a::b\n#!c::d\n#\ne"));
        QCOMPARE(rowsOf(classic), (Rows{{"#!c", "d"}, {"e"}}));
    }

    void readsADelimiterThatIsNotAscii()
    {
        const QString delimiter = QString::fromUtf8("\u00a7");
        const QByteArray bytes = "\"a\xc2\xa7\"\xc2\xa7"
                                 "b\n\xc3\xa4\xc2\xa7\"\"\n";
        const Rows rows{{"a" + delimiter, "b"}, {QString::fromUtf8("\u00e4"), ""}};

        const auto read = quotedTable(delimiter);
        QVERIFY(read->read(file(bytes)));
        QCOMPARE(rowsOf(*read), rows);
        const auto set = quotedTable(delimiter);
        QVERIFY(set->setData(bytes));
        QCOMPARE(rowsOf(*set), rows);

        const auto inFile = quotedTable(delimiter);
        QVERIFY(!inFile->read(file(bytes), limitOfNoBytes));
        QCOMPARE(reason(), QString("csvdelimiter"));
    }

    void readsBytesOfUtf16()
    {
        const QByteArray bytes("\xff\xfe\"\0a\0,\0\"\0,\0b\0", 14);
        const auto table = quotedTable();

        QVERIFY(table->setData(bytes));

        QCOMPARE(rowsOf(*table), (Rows{{"a,", "b"}}));
    }

    void readsDecimalCommasBetweenQuotes()
    {
        const QString path = file("\"1,5\";\"1\"\"5\";1,5\"\n\"2\",5;\"\";x\n");
        for (const int limit : limits) {
            const auto table = quotedTable(";");
            table->setDecimalPoint(',');
            QVERIFY(table->read(path, limit));

            QCOMPARE(table->data(0), (QStringList{"1,5", "1\"5", "1,5\""}));
            QCOMPARE(table->dataValue(0), (Numbers{1.5, 0.0, 0.0}));
            QCOMPARE(table->data(1), (QStringList{"2,5", "", "x"}));
            QCOMPARE(table->dataValue(1), (Numbers{2.5, 0.0, 0.0}));
            bool ok = true;
            QCOMPARE(table->dataValue(1, 1, &ok), 0.0);
            QVERIFY(!ok);
            QCOMPARE(table->dataValue(1, 0, &ok), 2.5);
            QVERIFY(ok);
        }
    }

    void escapesOnlyFormulas()
    {
        const QString path = file("=a,,-1.5,x,+2,-y\n\"\"\n");
        const QByteArray escaped = "'=a,,-1.5,x,+2,'-y\n\"\"\n";
        const QString target = m_folder.filePath("written.csv");
        for (const int limit : limits) {
            const auto table = quotedTable();
            table->setEscapeFormulas(true);
            QVERIFY(table->read(path, limit));

            QVERIFY(table->write(target));

            QCOMPARE(contentsOf(target), escaped);
            QCOMPARE(table->data(0, 0), Data::String("=a")); // as it was
        }
    }

    void quotesAFirstFieldThatWouldBeAComment()
    {
        const auto table = quotedTable();
        table->setComment("#");
        table->appendData(QStringList{"#a", "b"}).appendData(QStringList{"#,a", "b"});
        QCOMPARE(table->stringData(), Data::String("\"#a\",b\n\"#,a\",b"));

        table->setComment("\"#"); // which no row starts with for a reader
        QCOMPARE(table->stringData(), Data::String("#a,b\n\"#,a\",b"));
    }

    void tellsWhyThereIsNoFile()
    {
        const QString folder = m_folder.filePath("folder");
        QVERIFY(QDir().mkpath(folder));
        const auto table = quotedTable();
        table->setData("old");

        QVERIFY(!table->read(folder, limitOfNoBytes));

        QCOMPARE(reason(), QString("isfolder"));
        SKIP_ON_WINDOWS("a folder has no size on Windows, so the table is not read in its file");
        QCOMPARE(table->numRows(), 0);
    }

    void tellsThatTheFileMayNotBeRead()
    {
        SKIP_ON_WINDOWS("the rights of files are others on Windows");
#ifndef _WIN32
        const OrdinaryUser user(m_folder.path());
        const QString path = makeFile(m_folder.filePath("unreadable"), "a,b\n");
        QVERIFY(QFile::setPermissions(path, QFile::Permissions()));
        const auto table = quotedTable();

        const bool isRead = table->read(path, limitOfNoBytes);
        const QString why = reason();
        QVERIFY(QFile::remove(path));

        QVERIFY(!isRead);
        QCOMPARE(why, QString("noread"));
        QCOMPARE(table->numRows(), 0);
#endif
    }
};

QTEST_GUILESS_MAIN(tst_CSVTable_rfc4180)
#include "tst_CSVTable_rfc4180.moc"
