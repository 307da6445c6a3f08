#include "utils/catalogue/Catalogue_p.h"

#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails

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
