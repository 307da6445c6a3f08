#include "utils/strings/StringTable.h"

#include "tests/csv/FailingMemory.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Files.h"     // makeFile
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "tests/support/ReadFault.h"
#include "utils/files/File.h"

#include <QTemporaryDir>
#include <QtTest>

using Utils::StringTable;

/// A file of so many strings, of some blocks, whose texts end with \p language.
static QByteArray tableOf(int strings, const QByteArray &language)
{
    QByteArray contents = "<!DOCTYPE StringTable>\n<strings>\n";
    for (int i = 0; i < strings; ++i) {
        const QByteArray number = QByteArray::number(i);
        contents += "<string id='." + number + "'>text " + number + ' ' + language + "</string>\n";
    }
    return contents + "<ui name='Form'><string id='.t'>title</string></ui>\n</strings>\n";
}

class tst_StringTable_faults : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_root;

private Q_SLOTS:
    void initTestCase() { Utils::File::setSearchPath(m_root.path(), ""); }

    void cleanup() { resetCatalogue(); }

    void keepsATableWhoseFileBreaksOff_data()
    {
        QTest::addColumn<qint64>("offset");
        for (const qint64 offset : {0, 100, 20000, 40000})
            QTest::newRow(qPrintable(QString::number(offset))) << offset;
    }

    void keepsATableWhoseFileBreaksOff()
    {
        QFETCH(qint64, offset);
        const QString path = makeFile(m_root.filePath("locale/Kept_en.xml"), tableOf(1, "before"));
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load("Kept"));
        makeFile(path, tableOf(2000, "after"));
        const int filesBefore = openFiles();
        ReadFault bad(path, offset);

        QVERIFY(!StringTable::load("Kept"));

        QVERIFY(bad.count() > 0);
        QCOMPARE(openFiles(), filesBefore);
        QCOMPARE(StringTable::lookup(".Kept.0"), Data::String("text 0 before"));
        QCOMPARE(StringTable::lookup(".Kept.1"), Data::String(".1"));
        QCOMPARE(Utils::catalogue->tables.size(), 1);

        bad.repair();
        QVERIFY(StringTable::load("Kept"));
        QCOMPARE(StringTable::lookup(".Kept.1999"), Data::String("text 1999 after"));
    }

    void standsInForALanguageWhoseFileBreaksOff()
    {
        makeFile(m_root.filePath("locale/Other_en.xml"), tableOf(2000, "en"));
        const QString path = makeFile(m_root.filePath("locale/Other_de.xml"), tableOf(2000, "de"));
        StringTable::initialize("en", "", "");
        QVERIFY(StringTable::load("Other"));
        ReadFault bad(path, 30000);

        QCOMPARE(StringTable::lookupl(".Other.7", "de"), Data::String("text 7 en"));
        QVERIFY(bad.count() > 0);

        bad.repair();
        QCOMPARE(StringTable::lookupl(".Other.7", "de"), Data::String("text 7 de"));
    }

    void keepsATableWhenTheMemoryEnds()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("where the memory ends, Qt does not release its parser of XML");
#endif
        StringTable::initialize("en", "", "");
        const Data::String name = "Scarce";
        const QString path = m_root.filePath("locale/Scarce_en.xml");

        int kept = 0;
        bool hasFailed = true;
        for (int n = 0; hasFailed; ++n) {
            makeFile(path, tableOf(1, "before"));
            QVERIFY(StringTable::load(name));
            makeFile(path, tableOf(2, "after"));
            FailingMemory memory(n, FailingMemory::Once);
            const bool isLoaded = StringTable::load(name);
            memory.end();
            hasFailed = memory.hasFailed();

            QVERIFY(isLoaded || hasFailed);
            const Data::String text = isLoaded ? "text 0 after" : "text 0 before";
            QCOMPARE(StringTable::lookup(".Scarce.0"), text);
            QCOMPARE(StringTable::lookup(".Scarce.1"),
                     Data::String(isLoaded ? "text 1 after" : ".1"));
            kept += isLoaded ? 0 : 1;
        }
        QVERIFY(kept > 10);
    }
};

QTEST_GUILESS_MAIN(tst_StringTable_faults)
#include "tst_StringTable_faults.moc"
