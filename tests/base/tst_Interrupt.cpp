#include "utils/base/Interrupt_p.h"

#include <QtTest>

using Utils::Interrupt;

static int wakes = 0;

class tst_Interrupt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        Interrupt::run = 0;
        Interrupt::requested = 0;
        Interrupt::wake = nullptr;
        wakes = 0;
    }

    void isOnlyRequestedWhileAScriptRuns()
    {
        Interrupt::wake = [] { ++wakes; };

        QVERIFY(!Interrupt::isPossible());
        QVERIFY(!Interrupt::request());

        QVERIFY(!Interrupt::isRequested());
        QVERIFY(!Interrupt::take());
        QCOMPARE(Interrupt::age(), 0);
        QCOMPARE(wakes, 0);
    }

    void isTakenOnce()
    {
        Interrupt::wake = [] { ++wakes; };
        Interrupt::run = 7;
        QVERIFY(!Interrupt::take());

        QVERIFY(Interrupt::request());

        QVERIFY(Interrupt::isRequested());
        QVERIFY(Interrupt::age() >= 1);
        QCOMPARE(wakes, 1);
        QVERIFY(Interrupt::take());
        QVERIFY(!Interrupt::isRequested());
        QVERIFY(!Interrupt::take());
    }

    void keepsTheTimeOfItsFirstRequest()
    {
        Interrupt::run = 7;
        QVERIFY(Interrupt::request());
        const qint64 first = 5;
        Interrupt::requestTime = first;

        QVERIFY(Interrupt::request());

        QCOMPARE(Interrupt::requestTime.load(), first);
    }

    void isNotThatOfTheNextRun()
    {
        Interrupt::run = 7;
        QVERIFY(Interrupt::request());

        Interrupt::run = 8;

        QVERIFY(!Interrupt::isRequested());
        QVERIFY(!Interrupt::take());
        QCOMPARE(Interrupt::age(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_Interrupt)
#include "tst_Interrupt.moc"
