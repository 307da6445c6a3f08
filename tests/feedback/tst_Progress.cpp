#include "utils/feedback/Progress.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/ProgressClock.h"
#include "utils/Application.h"
#include "utils/feedback/ProgressRange.h"
#include "utils/feedback/WaitCursor.h"

#include <QtTest>

#include <limits>
#include <memory>
#include <stdexcept>

using Utils::Progress;

static const int intMin = std::numeric_limits<int>::min();
static const int intMax = std::numeric_limits<int>::max();

static qint64 &now = ProgressClock::now;
static int &clockReads = ProgressClock::reads;

class tst_Progress : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeHost> host;

    /// The calls since the last time.
    QStringList takeCalls()
    {
        const QStringList calls = host->calls;
        host->calls.clear();
        return calls;
    }

private Q_SLOTS:
    void init()
    {
        ProgressClock::start();
        host.reset(new FakeHost);
        Utils::setApplication(host.get());
    }

    void cleanup()
    {
        Utils::setApplication(nullptr);
        QVERIFY(!Progress::any());
    }

    void waitsTwoSecondsByAClockThatDoesNotJump()
    {
        const Utils::ProgressState fresh;

        QCOMPARE(fresh.popupDelay, 2000);
        QVERIFY(fresh.now == Utils::steadyTime);
        QElapsedTimer around;
        around.start();
        const qint64 start = Utils::steadyTime();
        QElapsedTimer within;
        within.start();
        while (!within.hasExpired(3))
            QThread::yieldCurrentThread();
        const qint64 spent = Utils::steadyTime() - start;
        QVERIFY(spent >= 2);
        QVERIFY(spent <= around.elapsed() + 1);
    }

    // Text

    void hintsAtEscWhenItIsOrdinaryAndCancelable_data()
    {
        QTest::addColumn<Data::String>("label");
        QTest::addColumn<bool>("cancelable");
        QTest::addColumn<bool>("popup");
        QTest::addColumn<Data::String>("text");

        // clang-format off
        QTest::newRow("label") << Data::String("Load") << false << false << Data::String("Load");
        QTest::newRow("label, cancelable") << Data::String("Load") << true << false
            << Data::String("Load \nPress Esc to cancel.");
        QTest::newRow("label, popup") << Data::String("Load") << false << true << Data::String("Load");
        QTest::newRow("label, cancelable popup") << Data::String("Load") << true << true << Data::String("Load");
        QTest::newRow("no label") << Data::String() << false << false << Data::String();
        QTest::newRow("no label, cancelable") << Data::String() << true << false
            << Data::String("Press Esc to cancel.");
        QTest::newRow("no label, popup") << Data::String() << false << true << Data::String();
        QTest::newRow("no label, cancelable popup") << Data::String() << true << true << Data::String();
        // clang-format on
    }

    void hintsAtEscWhenItIsOrdinaryAndCancelable()
    {
        QFETCH(Data::String, label);
        QFETCH(bool, cancelable);
        QFETCH(bool, popup);
        QFETCH(Data::String, text);

        const Progress progress(100, label, cancelable, false, popup);

        QCOMPARE(progress.label(), text);
        QCOMPARE(progress.isPopup(), popup);
        QCOMPARE(host->calls,
                 text.isEmpty()
                     ? QStringList()
                     : QStringList(QString("setProgressLabel(%1, %2)").arg(text).arg(popup)));
    }

    void needsNoMoreThanItsSteps()
    {
        const Progress progress(7);

        QCOMPARE(progress.count(), 0);
        QCOMPARE(progress.maxSteps(), 7);
        QCOMPARE(progress.label(), Data::String());
        QVERIFY(!progress.isPopup());
        QVERIFY(!progress.cancelled());
        QVERIFY(!Progress::isCancelable());
        QVERIFY(!Utils::WaitCursor::activated());
        QCOMPARE(host->calls, QStringList());
    }

    void setsItsLabelWithoutAHint()
    {
        Progress progress(100, "Load", true, false, false);
        Progress popup(100, "Load", true, false, true);
        takeCalls();

        progress.setLabel("a");
        popup.setLabel("b");
        progress.setLabel("");

        QCOMPARE(takeCalls(), QStringList({"setProgressLabel(a, 0)", "setProgressLabel(b, 1)",
                                           "setProgressLabel(, 0)"}));
        QCOMPARE(progress.label(), Data::String());
        QCOMPARE(popup.label(), Data::String("b"));
    }

    void takesATextThatTheHostChangesMeanwhile()
    {
        Data::String text("Ready");
        Progress background;
        host->reaction = [&](const QString &) { text = "changed"; };

        background.setLabel(text);

        host->reaction = nullptr;
        QCOMPARE(background.label(), Data::String("Ready"));
        QCOMPARE(Progress::currentLabel(), Data::String("Ready"));
    }

    void keepsATagOfItsOwner()
    {
        Progress progress(100, "Load");
        takeCalls();

        QCOMPARE(progress.id(), Data::String());
        progress.setId("mine");

        QCOMPARE(progress.id(), Data::String("mine"));
        QCOMPARE(progress.label(), Data::String("Load"));
        QCOMPARE(host->calls, QStringList());
    }

    // When the host hears of the count

    void reportsAtItsInterval_data()
    {
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("interval");

        QTest::newRow("no known end") << 0 << 1;
        QTest::newRow("1") << 1 << 1;
        QTest::newRow("10") << 10 << 1;
        QTest::newRow("39") << 39 << 1;
        QTest::newRow("40") << 40 << 2;
        QTest::newRow("100") << 100 << 5;
        QTest::newRow("10019: 500") << 10019 << 500;
        QTest::newRow("10020: above 500") << 10020 << 100;
        QTest::newRow("20000") << 20000 << 200;
        QTest::newRow("the largest") << intMax << intMax / 100;
    }

    void reportsAtItsInterval()
    {
        QFETCH(int, maxSteps);
        QFETCH(int, interval);
        const QStringList report{
            QString("setProgress(%1, %2, 0)").arg(interval).arg(maxSteps),
        };
        const QStringList secondReport{
            QString("setProgress(%1, %2, 0)").arg(2 * interval).arg(maxSteps),
        };

        Progress ticked(maxSteps);
        ticked.show();
        takeCalls();
        QVERIFY(ticked.tick(interval - 1));
        QCOMPARE(takeCalls(), QStringList());
        QVERIFY(ticked.tick());
        QCOMPARE(takeCalls(), report);
        QVERIFY(ticked.tick(interval - 1));
        if (maxSteps <= 1)
            QCOMPARE(takeCalls(), report); // at the end, where each call reports
        QCOMPARE(takeCalls(), QStringList());
        ticked.tick();
        QCOMPARE(takeCalls(), secondReport);

        Progress counted(maxSteps);
        counted.show();
        takeCalls();
        if (maxSteps > 5) {
            if (interval < maxSteps - 5) {
                QVERIFY(counted.setCount(interval - 1));
                QCOMPARE(takeCalls(), QStringList());
            }
            QVERIFY(counted.setCount(interval));
            QCOMPARE(takeCalls(), report);
        }
    }

    void reportsAtTheIntervalOfNewSteps_data()
    {
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("interval");

        QTest::newRow("10") << 10 << 1;
        QTest::newRow("100") << 100 << 5;
        QTest::newRow("10019") << 10019 << 500;
        QTest::newRow("20000") << 20000 << 200;
        QTest::newRow("negative") << -10019 << 100;
        QTest::newRow("negative, 200") << -200 << 2;
        QTest::newRow("negative, 100") << -100 << 1;
        QTest::newRow("negative and small: each call") << -99 << 0;
        QTest::newRow("negative and too large for an int") << intMin << intMax / 100;
    }

    void reportsAtTheIntervalOfNewSteps()
    {
        QFETCH(int, maxSteps);
        QFETCH(int, interval);
        const int steps = maxSteps == intMin ? intMax : qAbs(maxSteps);
        Progress progress(1000);
        progress.show();
        progress.tick(500);
        takeCalls();

        progress.setMaxSteps(maxSteps);

        QCOMPARE(takeCalls(), QStringList(QString("setProgress(0, %1, 0)").arg(steps)));
        QCOMPARE(progress.count(), 0);
        QCOMPARE(progress.maxSteps(), steps);
        if (interval > 0)
            progress.tick(interval - 1);
        QCOMPARE(takeCalls(), QStringList());
        progress.tick(interval > 0 ? 1 : 0);
        QCOMPARE(takeCalls(),
                 QStringList(QString("setProgress(%1, %2, 0)").arg(interval).arg(steps)));
    }

    void asksNeitherHostNorClockBetweenReports()
    {
        Progress progress(1000);
        now += 10000;
        takeCalls();
        clockReads = 0;

        for (int i = 0; i < 49; ++i)
            QVERIFY(progress.tick());

        QCOMPARE(clockReads, 0);
        QCOMPARE(takeCalls(), QStringList());
    }

    void reportsEachTickWithinTheLastTwentieth()
    {
        Progress progress(1000);
        progress.show();
        progress.tick(949);
        takeCalls();

        progress.tick();
        QCOMPARE(takeCalls(), QStringList());
        progress.tick();
        QCOMPARE(takeCalls(), QStringList("setProgress(951, 1000, 0)"));
        progress.tick();
        QCOMPARE(takeCalls(), QStringList("setProgress(952, 1000, 0)"));
        progress.tick(0);
        QCOMPARE(takeCalls(), QStringList("setProgress(952, 1000, 0)"));
    }

    void comparesTheLastTwentiethAsAFraction()
    {
        Progress progress(119); // 95 % are 113.05, the interval is 5
        progress.show();
        progress.tick(112);
        takeCalls();

        progress.tick();
        QCOMPARE(takeCalls(), QStringList());
        progress.tick();
        QCOMPARE(takeCalls(), QStringList("setProgress(114, 119, 0)"));
    }

    void reportsEachCountWithinTheLastFiveSteps()
    {
        Progress progress(1000);
        progress.show();
        progress.setCount(990);
        takeCalls();

        progress.setCount(995);
        QCOMPARE(takeCalls(), QStringList());
        progress.setCount(996);
        QCOMPARE(takeCalls(), QStringList("setProgress(996, 1000, 0)"));
        progress.setCount(996);
        QCOMPARE(takeCalls(), QStringList("setProgress(996, 1000, 0)"));
    }

    void reportsEachCallWithoutAKnownEnd()
    {
        Progress progress(0);
        progress.show();
        takeCalls();

        progress.setCount(5);
        QCOMPARE(takeCalls(), QStringList("setProgress(0, 0, 0)"));
        progress.tick(0);
        QCOMPARE(takeCalls(), QStringList());
        progress.tick();
        progress.tick();
        QCOMPARE(takeCalls(), QStringList({"setProgress(1, 0, 0)", "setProgress(2, 0, 0)"}));
    }

    // Counting

    void addsTheStepsOfEitherSign()
    {
        Progress progress(100);

        progress.tick(4);
        QCOMPARE(progress.count(), 4);
        progress.tick(-3);
        QCOMPARE(progress.count(), 7);
        progress.tick();
        QCOMPARE(progress.count(), 8);
        progress.tick(0);
        QCOMPARE(progress.count(), 8);
        progress.tick(1000);
        QCOMPARE(progress.count(), 1008);
    }

    void staysAtTheLargestCount()
    {
        Progress progress(100);

        QVERIFY(progress.tick(intMin));
        QCOMPARE(progress.count(), intMax);
        QVERIFY(progress.tick());
        QCOMPARE(progress.count(), intMax);
        QVERIFY(progress.tick(intMax));
        QCOMPARE(progress.count(), intMax);
        QVERIFY(progress.setCount(intMax));
        QCOMPARE(progress.count(), intMax);
    }

    void raisesTheCountUpToTheEnd()
    {
        Progress progress(100);

        QVERIFY(progress.setCount(60));
        QCOMPARE(progress.count(), 60);
        QVERIFY(progress.setCount(50));
        QCOMPARE(progress.count(), 60);
        QVERIFY(progress.setCount(-1));
        QVERIFY(progress.setCount(intMin));
        QCOMPARE(progress.count(), 60);
        QVERIFY(progress.setCount(1000));
        QCOMPARE(progress.count(), 100);
        QVERIFY(progress.tick(7));
        QVERIFY(progress.setCount(101));
        QCOMPARE(progress.count(), 107);
    }

    void doesNotReportACountThatIsNegative()
    {
        Progress progress(3); // each call is within the last five steps
        progress.show();
        takeCalls();

        progress.setCount(-1);
        QCOMPARE(takeCalls(), QStringList());
        progress.setCount(0);
        QCOMPARE(takeCalls(), QStringList("setProgress(0, 3, 0)"));
    }

    // The display and its delay

    void isSilentForTwoSeconds()
    {
        {
            Progress progress(100, "Load");
            now += 1999;
            for (int i = 0; i < 100; ++i)
                QVERIFY(progress.tick());
            progress.setCount(100);
            progress.setMaxSteps(50);
        }

        QCOMPARE(host->calls, QStringList({"setProgressLabel(Load, 0)", "setProgressLabel(, 0)"}));
    }

    void isShownAtTheFirstReportAfterTwoSeconds_data()
    {
        QTest::addColumn<bool>("popup");
        QTest::addColumn<QStringList>("calls");

        QTest::newRow("ordinary") << false
                                  << QStringList{"showProgress(1, 1, 0)", "setProgress(5, 100, 0)"};
        QTest::newRow("popup") << true
                               << QStringList{"showProgress(1, 1, 1)", "setProgressLabel(Load, 1)",
                                              "setProgress(5, 100, 1)"};
    }

    void isShownAtTheFirstReportAfterTwoSeconds()
    {
        QFETCH(bool, popup);
        QFETCH(QStringList, calls);
        Progress progress(100, "Load", true, false, popup);
        takeCalls();
        now += 2000;

        progress.tick(4);
        QCOMPARE(takeCalls(), QStringList());
        progress.tick();
        QCOMPARE(takeCalls(), calls);
        progress.tick(5);
        QCOMPARE(takeCalls(), QStringList(QString("setProgress(10, 100, %1)").arg(popup)));
    }

    void isNotShownWhenItIsNearlyDone_data()
    {
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("shown");

        QTest::newRow("89 of 100") << 100 << 89 << true;
        QTest::newRow("90 of 100") << 100 << 90 << false;
        QTest::newRow("95 of 100") << 100 << 95 << false;
        QTest::newRow("100 of 100") << 100 << 100 << false;
        QTest::newRow("899 of 1000") << 1000 << 899 << true;
        QTest::newRow("no known end") << 0 << 1000 << true;
    }

    void isNotShownWhenItIsNearlyDone()
    {
        QFETCH(int, maxSteps);
        QFETCH(int, count);
        QFETCH(bool, shown);
        Progress progress(maxSteps);
        now += 2000;

        progress.tick(count);

        QStringList calls;
        if (shown)
            calls.append("showProgress(1, 0, 0)");
        calls.append(QString("setProgress(%1, %2, 0)").arg(count).arg(maxSteps));
        QCOMPARE(takeCalls(), calls);
    }

    void isShownAndHiddenByCall()
    {
        Progress progress(100, "Load", true, false, false);
        takeCalls();

        progress.show();
        QCOMPARE(takeCalls(), QStringList("showProgress(1, 1, 0)"));
        progress.tick(5); // visible, so the delay is not asked for
        QCOMPARE(takeCalls(), QStringList("setProgress(5, 100, 0)"));
        progress.hide();
        QCOMPARE(takeCalls(), QStringList("showProgress(0, 1, 0)"));
        progress.tick(5);
        QCOMPARE(takeCalls(), QStringList());
    }

    void sendsTheLabelOfAPopupWhenItIsShown()
    {
        Progress progress(100, "Load", false, false, true);
        takeCalls();

        progress.show();
        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 0, 1)", "setProgressLabel(Load, 1)"}));
        progress.hide();
        QCOMPARE(takeCalls(), QStringList("showProgress(0, 0, 1)"));
    }

    void startsTheTimeAgainWithoutAKnownEnd()
    {
        Progress progress(100);
        now += 1500;
        QCOMPARE(progress.elapsed(), 1500);

        progress.setMaxSteps(10);
        QCOMPARE(progress.elapsed(), 1500);
        progress.setMaxSteps(0);
        QCOMPARE(progress.elapsed(), 0);

        now += 1999;
        progress.tick();
        QCOMPARE(takeCalls(), QStringList());
        ++now;
        progress.tick();
        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 0, 0)", "setProgress(2, 0, 0)"}));
    }

    void isShownByNewSteps()
    {
        Progress progress(100);
        now += 2000;

        progress.setMaxSteps(10);

        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 0, 0)", "setProgress(0, 10, 0)"}));
    }

    void tellsTheLargestTimeWhenItRunsTooLong()
    {
        const Progress progress(100);

        now += 3'000'000'000;

        QCOMPARE(progress.elapsed(), intMax);
    }

    // Cancelling

    void isCancelledOnlyWhenItIsCancelable_data()
    {
        QTest::addColumn<bool>("cancelable");
        QTest::addColumn<bool>("popup");

        QTest::newRow("ordinary") << false << false;
        QTest::newRow("ordinary, cancelable") << true << false;
        QTest::newRow("popup") << false << true;
        QTest::newRow("popup, cancelable") << true << true;
    }

    void isCancelledOnlyWhenItIsCancelable()
    {
        QFETCH(bool, cancelable);
        QFETCH(bool, popup);
        Progress progress(100, "Load", cancelable, false, popup);
        QVERIFY(progress.tick());
        QVERIFY(!progress.cancelled());

        progress.cancel();

        QCOMPARE(progress.cancelled(), cancelable);
        QCOMPARE(progress.tick(), !cancelable);
        QCOMPARE(progress.setCount(50), !cancelable);
        QCOMPARE(progress.setCount(-1), !cancelable);
        QCOMPARE(progress.count(), 50);
    }

    void tellsACancelThatComesInDuringAReport()
    {
        Progress progress(100, "Load", true, false, false);
        now += 2000;
        host->reaction = [](const QString &call) {
            if (call.startsWith("setProgress(5,"))
                Progress::current(false)->cancel();
        };

        QVERIFY(progress.tick(4));
        QVERIFY(!progress.tick());
        QVERIFY(!progress.tick());
        host->reaction = nullptr;
    }

    void tellsACancelThatComesInDuringSetCount()
    {
        Progress progress(100, "Load", true, false, true);
        progress.show();
        host->reaction = [](const QString &) { Progress::any()->cancel(); };

        QVERIFY(progress.setCount(4));
        QVERIFY(!progress.setCount(5));
        host->reaction = nullptr;
    }

    void keepsACancelThatComesInWhileItIsMade()
    {
        host->reaction = [](const QString &) { Progress::current(false)->cancel(); };
        Progress progress(100, "Load", true, false, false);
        host->reaction = nullptr;

        QVERIFY(progress.cancelled());
        QVERIFY(!progress.tick());
    }

    void takesTheMeansToCancelFromAPopupOnly()
    {
        Progress ordinary(100, "Load", true, false, false);
        Progress popup(100, "Load", true, false, true);
        takeCalls();

        ordinary.disableCancel();
        QCOMPARE(takeCalls(), QStringList());
        popup.disableCancel();
        QCOMPARE(takeCalls(), QStringList("showProgress(1, 0, 1)"));

        popup.tick(5); // it does not count as shown
        QCOMPARE(takeCalls(), QStringList());
        popup.show();
        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 1, 1)", "setProgressLabel(Load, 1)"}));
        popup.cancel();
        QVERIFY(popup.cancelled());
    }

    // Nesting

    void givesItsTextBackToTheOuterOne()
    {
        Progress outer(100, "outer", true, false, false);
        takeCalls();
        {
            const Progress inner(100, "inner");
            QCOMPARE(takeCalls(), QStringList("setProgressLabel(inner, 0)"));
        }

        QCOMPARE(takeCalls(), QStringList("setProgressLabel(outer \nPress Esc to cancel., 0)"));
        QCOMPARE(outer.label(), Data::String("outer \nPress Esc to cancel."));
    }

    void isShownAtOnceWithinAVisibleOne()
    {
        Progress outer(100, "outer", true, false, false);
        now += 2000;
        outer.tick(50);
        takeCalls();
        {
            Progress inner(10, "inner");
            QCOMPARE(takeCalls(), QStringList({"setProgressLabel(inner, 0)",
                                               "showProgress(1, 0, 0)", "setProgress(0, 10, 0)"}));
            inner.tick(3);
            QCOMPARE(takeCalls(), QStringList("setProgress(3, 10, 0)"));
        }

        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 1, 0)", "setProgress(50, 100, 0)",
                                           "setProgressLabel(outer \nPress Esc to cancel., 0)"}));
    }

    void sendsThePopupTextTwiceWhenTheInnerOneEnds()
    {
        Progress outer(100, "outer", false, false, true);
        outer.show();
        takeCalls();
        {
            const Progress inner(10, "inner", false, false, true);
            QCOMPARE(takeCalls(),
                     QStringList({"setProgressLabel(inner, 1)", "showProgress(1, 0, 1)",
                                  "setProgressLabel(inner, 1)", "setProgress(0, 10, 1)"}));
        }

        QCOMPARE(takeCalls(),
                 QStringList({"showProgress(1, 0, 1)", "setProgressLabel(outer, 1)",
                              "setProgress(0, 100, 1)", "setProgressLabel(outer, 1)"}));
    }

    void showsTheOuterOneWhenTheInnerOneWasShown()
    {
        Progress outer(100, "outer");
        {
            Progress inner(100, "inner");
            now += 2000;
            inner.tick(5);
            takeCalls();
        }

        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 0, 0)", "setProgress(0, 100, 0)",
                                           "setProgressLabel(outer, 0)"}));
        outer.tick(5);
        QCOMPARE(takeCalls(), QStringList("setProgress(5, 100, 0)"));
    }

    void inheritsTheTimeSpent()
    {
        Progress outer(100);
        now += 1500;
        {
            Progress inner(100);
            QCOMPARE(inner.elapsed(), 1500);
            now += 500;
            QCOMPARE(inner.elapsed(), 2000);
            inner.tick(5);
            QCOMPARE(takeCalls(), QStringList({"showProgress(1, 0, 0)", "setProgress(5, 100, 0)"}));

            inner.setMaxSteps(0); // starts its own time only
            QCOMPARE(inner.elapsed(), 0);
        }
        QCOMPARE(outer.elapsed(), 2000);
    }

    void passesACancelOutwardsOneLevelAnEnd_data()
    {
        QTest::addColumn<bool>("cancelable");

        QTest::newRow("cancelable") << true;
        QTest::newRow("also to what is not cancelable") << false;
    }

    void passesACancelOutwardsOneLevelAnEnd()
    {
        QFETCH(bool, cancelable);
        Progress outermost(100, "", cancelable);
        {
            Progress outer(100, "", cancelable);
            {
                Progress inner(100, "", true);
                inner.cancel();
                QVERIFY(outer.tick());
            }
            QVERIFY(!outer.tick());
            QVERIFY(outermost.tick());
        }
        QVERIFY(!outermost.tick());
    }

    void takesACancelOfTheOuterOneBackWhenItEndsUncancelled()
    {
        Progress outer(100, "outer", true);
        {
            const Progress inner(100, "inner");
            outer.cancel();
            QVERIFY(!outer.tick());
        }
        QVERIFY(outer.tick());
    }

    void endsItsChainWithTheLastLabelAndHidesTheDisplay_data()
    {
        QTest::addColumn<bool>("popup");

        QTest::newRow("ordinary") << false;
        QTest::newRow("popup") << true;
    }

    void endsItsChainWithTheLastLabelAndHidesTheDisplay()
    {
        QFETCH(bool, popup);
        Progress background;
        background.setLabel("Ready");
        {
            Progress progress(100, "Load", true, false, popup);
            progress.show();
            takeCalls();
        }

        QCOMPARE(takeCalls(), QStringList({QString("setProgressLabel(Ready, %1)").arg(popup),
                                           QString("showProgress(0, 1, %1)").arg(popup)}));
    }

    void keepsTheTwoChainsApart()
    {
        QVERIFY(!Progress::any());
        {
            Progress ordinary(100, "ordinary", true, false, false);
            QCOMPARE(Progress::any(), &ordinary);
            QCOMPARE(Progress::current(false), &ordinary);
            QVERIFY(!Progress::current(true));
            ordinary.show();
            now += 1000;
            takeCalls();
            {
                Progress popup(50, "popup", true, false, true);
                QCOMPARE(takeCalls(), QStringList("setProgressLabel(popup, 1)"));
                QCOMPARE(popup.elapsed(), 0);
                QCOMPARE(Progress::any(), &popup);
                QCOMPARE(Progress::current(false), &ordinary);
                QCOMPARE(Progress::current(true), &popup);
                {
                    const Progress inner(10, "inner");
                    QCOMPARE(Progress::any(), &popup);
                    QCOMPARE(Progress::current(false), &inner);
                    QCOMPARE(Progress::current(true), &popup);
                }
                takeCalls();
                popup.cancel();
            }
            QCOMPARE(takeCalls(), QStringList("setProgressLabel(, 1)"));
            QVERIFY(ordinary.tick());
            QCOMPARE(Progress::any(), &ordinary);
            QVERIFY(!Progress::current(true));
        }
        QVERIFY(!Progress::any());
        QVERIFY(!Progress::current(false));
    }

    void tellsLabelAndCancelableOfTheOrdinaryChain()
    {
        QCOMPARE(Progress::currentLabel(), Data::String());
        QVERIFY(!Progress::isCancelable());
        Progress background;
        background.setLabel("Ready");

        const Progress popup(100, "popup", true, false, true);
        QCOMPARE(Progress::currentLabel(), Data::String("Ready"));
        QVERIFY(!Progress::isCancelable());
        {
            const Progress ordinary(100, "ordinary", true, false, false);
            QCOMPARE(Progress::currentLabel(), Data::String("ordinary \nPress Esc to cancel."));
            QVERIFY(Progress::isCancelable());
            const Progress inner(100, "inner");
            QCOMPARE(Progress::currentLabel(), Data::String("inner"));
            QVERIFY(!Progress::isCancelable());
        }
        QCOMPARE(Progress::currentLabel(), Data::String("Ready"));
    }

    void showsTheWaitCursorUntilItsEnd()
    {
        {
            const Progress plain(100, "", false, false, false);
            QVERIFY(!Utils::WaitCursor::activated());
            {
                const Progress progress(100, "", false, true, false);
                QVERIFY(Utils::WaitCursor::activated());
                QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
                const Progress inner(100, "", false, true, true);
            }
            QVERIFY(!Utils::WaitCursor::activated());
        }
    }

    // Inert reporters

    void isInertWithNegativeSteps_data()
    {
        QTest::addColumn<int>("maxSteps");

        QTest::newRow("-1") << -1;
        QTest::newRow("smallest") << intMin;
    }

    void isInertWithNegativeSteps()
    {
        QFETCH(int, maxSteps);
        Progress outer(100, "outer", true, false, false);
        outer.show();
        takeCalls();
        {
            Progress inert(maxSteps, "inert", true, true, false);
            QCOMPARE(Progress::current(false), &outer);
            QCOMPARE(inert.label(), Data::String());
            QCOMPARE(inert.maxSteps(), maxSteps);
            QVERIFY(!Utils::WaitCursor::activated());

            now += 2000;
            QVERIFY(inert.tick(100));
            QVERIFY(inert.setCount(100));
            QCOMPARE(inert.count(), 0);
            QCOMPARE(inert.elapsed(), 2000);
            inert.cancel();
            QVERIFY(!inert.tick());
            QVERIFY(!inert.setCount(1));
        }
        QVERIFY(outer.tick());
        QCOMPARE(takeCalls(), QStringList());
    }

    void obeysEveryOtherCallWhenItIsInert()
    {
        Progress inert(-1, "inert", true, false, true);

        inert.setLabel("a");
        QCOMPARE(takeCalls(), QStringList("setProgressLabel(a, 1)"));
        inert.show();
        QCOMPARE(takeCalls(), QStringList({"showProgress(1, 1, 1)", "setProgressLabel(a, 1)"}));
        inert.setMaxSteps(10);
        QCOMPARE(takeCalls(), QStringList("setProgress(0, 10, 1)"));
        inert.tick();
        QCOMPARE(takeCalls(), QStringList("setProgress(1, 10, 1)"));
        inert.hide();
        QCOMPARE(takeCalls(), QStringList("showProgress(0, 1, 1)"));
        QVERIFY(!Progress::any());
    }

    // The background reporter

    void isInNoChainInTheBackground()
    {
        {
            Progress background;
            QVERIFY(!Progress::any());
            QCOMPARE(background.maxSteps(), 0);
            QVERIFY(!background.isPopup());
            background.cancel();
            QVERIFY(background.tick());
            QCOMPARE(background.count(), 1);
        }
        QCOMPARE(host->calls, QStringList());
    }

    void bringsItsLabelBackWhenTheTasksHaveEnded()
    {
        Progress background;
        background.setLabel("Ready");
        QCOMPARE(takeCalls(), QStringList("setProgressLabel(Ready, 0)"));
        {
            const Progress outer(100, "outer");
            const Progress inner(100, "inner");
            takeCalls();
        }
        QCOMPARE(takeCalls(),
                 QStringList({"setProgressLabel(outer, 0)", "setProgressLabel(Ready, 0)"}));

        background.hide();
        QCOMPARE(takeCalls(), QStringList("showProgress(0, 0, 0)"));
        QCOMPARE(Progress::currentLabel(), Data::String());
        QCOMPARE(background.label(), Data::String("Ready"));
    }

    void keepsItsLabelBehindItsEnd()
    {
        {
            Progress background;
            background.setLabel("Ready");
        }
        QCOMPARE(Progress::currentLabel(), Data::String("Ready"));
    }

    void leavesTheLastLabelToTheBackground()
    {
        Progress background;
        background.setLabel("Ready");
        {
            Progress progress(100, "Load");
            progress.setLabel("Loading");
            progress.hide();
        }
        QCOMPARE(Progress::currentLabel(), Data::String("Ready"));
    }

    void reportsInTheBackgroundOnceWhenATaskHasEnded_data()
    {
        QTest::addColumn<bool>("popup");
        QTest::addColumn<bool>("byTick");

        QTest::newRow("tick, ordinary") << false << true;
        QTest::newRow("tick, popup") << true << true;
        QTest::newRow("setCount, ordinary") << false << false;
        QTest::newRow("setCount, popup") << true << false;
    }

    void reportsInTheBackgroundOnceWhenATaskHasEnded()
    {
        QFETCH(bool, popup);
        QFETCH(bool, byTick);
        Progress background;
        background.show();
        background.setMaxSteps(1000);
        const auto advance = [&] {
            takeCalls();
            byTick ? background.tick() : background.setCount(background.count() + 1);
            return takeCalls();
        };

        QCOMPARE(advance(), QStringList());
        {
            const Progress outer(100, "", false, false, popup);
            {
                const Progress inner(100, "", false, false, popup);
            }
            QCOMPARE(advance(), QStringList()); // the chain goes on
        }
        QCOMPARE(advance(), QStringList("setProgress(3, 1000, 0)"));
        QCOMPARE(advance(), QStringList());
    }

    void doesNotReportInTheBackgroundWhenAnotherTaskHasTheDisplay()
    {
        Progress background;
        background.show();
        background.setMaxSteps(1000);
        {
            const Progress first(100);
        }
        const Progress second(100);
        takeCalls();

        background.tick();

        QCOMPARE(takeCalls(), QStringList());
    }

    void leavesTheDisplayToTheBackgroundWhenItIsMade()
    {
        Progress background;
        background.show();
        background.setMaxSteps(1000);
        {
            const Progress task(100);
        }
        const Progress other;
        const Progress inert(-1);
        takeCalls();

        background.tick();

        QCOMPARE(takeCalls(), QStringList("setProgress(1, 1000, 0)"));
    }

    void doesNotReportInTheBackgroundWhenAnotherTaskHasReported()
    {
        Progress background;
        background.show();
        background.setMaxSteps(1000);
        Progress ordinary(100);
        ordinary.show();
        {
            const Progress popup(100, "", false, false, true);
        }
        ordinary.tick(5);
        takeCalls();

        background.tick();

        QCOMPARE(takeCalls(), QStringList());
    }

    void reportsInItsChainOnlyAtItsInterval()
    {
        Progress ordinary(1000);
        ordinary.show();
        {
            const Progress popup(100, "", false, false, true);
        }
        takeCalls();

        ordinary.tick();
        ordinary.setCount(2);

        QCOMPARE(takeCalls(), QStringList());
    }

    // save() and restore()

    void restoresWhatItSaved()
    {
        Progress progress(100, "Load", true, false, false);
        progress.show();
        progress.tick(50);
        progress.tick(3);
        progress.save();
        QCOMPARE(progress.count(), 53);
        QCOMPARE(progress.maxSteps(), 100);

        for (int i = 0; i < 2; ++i) { // it may be called again
            progress.setMaxSteps(-7);
            progress.tick(2);
            progress.setLabel("meanwhile");
            takeCalls();

            progress.restore();

            QCOMPARE(takeCalls(), QStringList("setProgressLabel(Load \nPress Esc to cancel., 0)"));
            QCOMPARE(progress.count(), 53);
            QCOMPARE(progress.maxSteps(), 100);
            QCOMPARE(progress.label(), Data::String("Load \nPress Esc to cancel."));
            progress.tick();
            QCOMPARE(takeCalls(), QStringList()); // interval 5, last report at 50
            progress.tick();
            QCOMPARE(takeCalls(), QStringList("setProgress(55, 100, 0)"));
        }
    }

    void restoresNothingThatWasNotSaved()
    {
        Progress progress(100, "Load");
        progress.tick(3);
        takeCalls();

        progress.restore();

        QCOMPARE(takeCalls(), QStringList());
        QCOMPARE(progress.count(), 3);
        QCOMPARE(progress.label(), Data::String("Load"));
    }

    void restoresACountOfZero()
    {
        Progress progress(100);
        progress.save();
        progress.tick(7);

        progress.restore();

        QCOMPARE(progress.count(), 0);
    }

    // Faults

    void leavesTheChainQuietlyWhenItDiesOutOfTurn_data()
    {
        QTest::addColumn<bool>("popup");

        QTest::newRow("ordinary") << false;
        QTest::newRow("popup") << true;
    }

    void leavesTheChainQuietlyWhenItDiesOutOfTurn()
    {
        QFETCH(bool, popup);
        const auto make = [popup](const char *label) {
            return std::make_unique<Progress>(100, label, true, false, popup);
        };
        auto outermost = make("outermost");
        auto outer = make("outer");
        auto inner = make("inner");
        auto innermost = make("innermost");
        inner->show();
        inner->cancel();
        takeCalls();

        inner.reset();
        outermost.reset();

        QCOMPARE(takeCalls(), QStringList());
        QCOMPARE(Progress::current(popup), innermost.get());
        QVERIFY(outer->tick());
        const Data::String label = outer->label();
        innermost.reset();
        QCOMPARE(takeCalls(),
                 QStringList(QString("setProgressLabel(%1, %2)").arg(label).arg(popup)));
        QCOMPARE(Progress::current(popup), outer.get());
        outer.reset();
        QCOMPARE(takeCalls(), QStringList(QString("setProgressLabel(, %1)").arg(popup)));
        QVERIFY(!Progress::current(popup));
    }

    void worksWithoutAHost()
    {
        Utils::setApplication(nullptr);
        Progress background;
        background.setLabel("Ready");
        {
            Progress outer(100, "outer", true, true, true);
            now += 2000;
            QVERIFY(outer.tick(50));
            QCOMPARE(outer.count(), 50);
            outer.disableCancel();
            outer.show();
            outer.hide();
            outer.save();
            outer.setMaxSteps(10);
            outer.restore();
            QCOMPARE(outer.count(), 50);
            {
                Progress inner(10, "inner", true, false, true);
                QVERIFY(inner.setCount(5));
                inner.cancel();
            }
            QVERIFY(!outer.tick());
            QCOMPARE(outer.label(), Data::String("outer"));
        }
        background.hide();
        QCOMPARE(Progress::currentLabel(), Data::String());
        QCOMPARE(host->calls, QStringList());
    }

    void carriesOnWhenItsHostGoesInACall()
    {
        Progress progress(100, "Load", false, false, true);
        host->reaction = [](const QString &) { Utils::setApplication(nullptr); };
        now += 2000;
        takeCalls();

        QVERIFY(progress.tick(5));

        QCOMPARE(takeCalls(), QStringList("showProgress(1, 0, 1)"));
    }

    void isShownOnceByAHostThatTicksInTheCall()
    {
        Progress progress(0);
        host->reaction = [&](const QString &call) {
            if (call.startsWith("showProgress(1") && host->calls.size() < 100)
                progress.tick(); // as from an event that the host handles during the call
        };
        now += 2000;
        takeCalls();

        progress.tick();

        QCOMPARE(takeCalls(), (QStringList{"showProgress(1, 0, 0)", "setProgress(2, 0, 0)",
                                           "setProgress(2, 0, 0)"}));
    }

    void isHiddenThoughItsHostThrows_data()
    {
        QTest::addColumn<bool>("popup");

        QTest::newRow("ordinary") << false;
        QTest::newRow("popup") << true;
    }

    void isHiddenThoughItsHostThrows()
    {
        QFETCH(bool, popup);
        {
            Progress progress(10, "label", true, false, popup);
            progress.show();
            takeCalls();
            host->reaction = [](const QString &) { throw std::runtime_error("of the host"); };
        }
        host->reaction = nullptr;

        const QString end = QString(", %1)").arg(popup);
        QCOMPARE(takeCalls(), (QStringList{"setProgressLabel(" + end, "showProgress(0, 1" + end}));
    }

    void leavesNothingWhenItsHostThrowsAtItsStart()
    {
        Progress outer(10, "outer");
        outer.show();
        int count = -1; // of the calls at its start
        for (int n = 0; count < 0; ++n) {
            int calls = 0;
            host->reaction = [&](const QString &) {
                if (calls++ == n)
                    throw std::runtime_error("of the host");
            };
            try {
                const Progress inner(10, "inner");
                count = calls;
            } catch (const std::runtime_error &) {
            }
            QCOMPARE(Progress::current(/*popup=*/false), &outer);
        }
        host->reaction = nullptr;

        QCOMPARE(count, 3); // label, display and steps
    }

    void showsTheOuterOneThoughItsHostThrows()
    {
        Progress outer(10, "outer");
        {
            Progress inner(10, "inner");
            inner.show();
            takeCalls();
            host->reaction = [](const QString &) { throw std::runtime_error("of the host"); };
        }
        host->reaction = nullptr;

        QCOMPARE(takeCalls(), (QStringList{"showProgress(1, 0, 0)", "setProgress(0, 10, 0)",
                                           "setProgressLabel(outer, 0)"}));
    }

    void endsThoughItsHostThrows()
    {
        {
            Progress outer(100, "outer");
            {
                const Progress inner(10, "inner");
                host->reaction = [](const QString &) { throw std::runtime_error("of the host"); };
            }
            QCOMPARE(Progress::current(/*popup=*/false), &outer);
            {
                const Utils::ProgressRange part(outer, 0, 50);
            }
            QCOMPARE(outer.count(), 50);
        }
        host->reaction = nullptr;

        QVERIFY(!Progress::any());
        takeCalls();
        const Progress next(10, "next");
        QVERIFY(takeCalls().contains("setProgressLabel(next, 0)"));
    }
};

QTEST_MAIN(tst_Progress)
#include "tst_Progress.moc"
