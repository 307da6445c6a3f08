#include "utils/catalogue/LastError_p.h"

#include "tests/strings/Catalogue.h" // resetCatalogue
#include "tests/support/Print.h"     // shows a Data::String when QCOMPARE fails

#include <QtTest>

#include <thread>

using Data::String;
using Utils::LastError;

/// An operation that fails.
static bool fails(const QString &path)
{
    LastError operation;
    return LastError::set(".err.fileread", {path});
}

/// An operation that succeeds, after one that it calls has failed.
static bool recovers()
{
    LastError operation;
    fails("inner");
    return operation.succeeded();
}

/// An operation that fails because one that it calls has failed.
static bool failsBy(const QString &path)
{
    LastError operation;
    fails(path);
    recovers();
    return LastError::set(".err.filewrite", {"outer"});
}

class tst_LastError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        Utils::catalogue->language = "en";
        putText(".Kelm.Utils", ".err.fileread", "cannot read %1");
        putText(".Kelm.Utils", ".err.filewrite", "cannot write %1");
    }
    void cleanup()
    {
        LastError().succeeded();
        resetCatalogue();
    }

    void isTheTextOfTheFailure()
    {
        fails("a");
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }

    void isEmptyAfterASuccess()
    {
        fails("a");
        QVERIFY(recovers());
        QCOMPARE(Utils::lastErrorText(), String());
    }

    void isThatOfTheNextFailure()
    {
        fails("a");
        fails("b");
        QCOMPARE(Utils::lastErrorText(), String("cannot read b"));
    }

    void isTheFirstOneWithinAnOperation()
    {
        failsBy("a");
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }

    void isInTheLanguageOfTheMoment()
    {
        fails("a");
        putText(".Kelm.Utils", ".err.fileread", "%1 ist nicht lesbar");
        QCOMPARE(Utils::lastErrorText(), String("a ist nicht lesbar"));
    }

    void belongsToItsThread()
    {
        fails("a");
        std::thread([] { fails("b"); }).join();
        QCOMPARE(Utils::lastErrorText(), String("cannot read a"));
    }
};

QTEST_MAIN(tst_LastError)
#include "tst_LastError.moc"
