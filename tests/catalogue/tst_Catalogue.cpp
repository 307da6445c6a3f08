#include "utils/catalogue/Catalogue_p.h"

#include "tests/csv/FailingMemory.h"
#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails
#include "tests/support/Windows.h"

#include <QtTest>

using Data::String;
using Utils::message;

class tst_Catalogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".err.fileread", "%2 cannot read %1");
    }
    void cleanup() { resetCatalogue(); }

    void fillsTheTextOfAMessage()
    {
        QCOMPARE(message(".Kelm.Utils", ".err.fileread", {"a%2", "b"}),
                 String("b cannot read a%2"));
    }

    void leavesWhatHasNoValue()
    {
        QCOMPARE(message(".Kelm.Utils", ".err.fileread", {"a"}), String("%2 cannot read a"));
    }

    void showsTheIdOfAMessageWithoutText()
    {
        QCOMPARE(message(".Kelm.Utils", ".err.other", {"a"}), String(".err.other"));
    }

    void takesNoPartOfANameForATable()
    {
        putText(".Kelm", ".err.fileread", "of a shorter name");

        QCOMPARE(message(".KelmX", ".err.fileread", {}), String(".KelmX.err.fileread"));
        QCOMPARE(message(".Kelm.Utilsx", ".err.fileread", {}), String(".Utilsx.err.fileread"));
        QCOMPARE(message(".Kelm", ".err.fileread", {}), String("of a shorter name"));
    }

    void recordsNoMissingKeyWhereTheMemoryEnds()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        const String key = ".Kelm.Utils.err.unknown";
        const String language = "en";
        int numTold = 0;
        Utils::catalogue->missingHandler = [&](const String &, const String &) { ++numTold; };

        int failures = 0;
        for (int n = 0;; ++n) {
            Utils::catalogue->missing.clear();
            numTold = 0;
            FailingMemory memory(n, FailingMemory::Once);
            Utils::noteMissing(key, language);
            memory.end();

            const bool isNoted = Utils::catalogue->missing.value(language).contains(key);
            QVERIFY(isNoted || memory.hasFailed());
            QCOMPARE(numTold, isNoted ? 1 : 0);
            failures += !isNoted;
            if (!memory.hasFailed())
                break;
        }
        QVERIFY(failures > 1);
    }

    void showsTheKeyOfAMessageWithoutTable()
    {
        QCOMPARE(message(".Kelm.Data", ".err.noopen", {"a"}), String(".Kelm.Data.err.noopen"));

        Utils::catalogue->language = "";

        QCOMPARE(message(".Kelm.Utils", ".err.fileread", {"a"}),
                 String(".Kelm.Utils.err.fileread"));
    }
};

QTEST_GUILESS_MAIN(tst_Catalogue)
#include "tst_Catalogue.moc"
