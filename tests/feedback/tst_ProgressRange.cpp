#include "utils/feedback/ProgressRange.h"

#include "tests/support/FakeHost.h"
#include "tests/support/Print.h"
#include "tests/support/ProgressClock.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"

#include <QtTest>

#include <limits>
#include <memory>
#include <type_traits>

using Utils::Progress;
using Utils::ProgressRange;

static qint64 &now = ProgressClock::now;

class tst_ProgressRange : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeHost> host;

    /// The progress that the host was told since the last time, such as "40/100".
    QStringList takeProgress()
    {
        QStringList progress;
        const QRegularExpression call("^setProgress\\((\\d+), (\\d+), 0\\)$");
        for (const QString &text : host->calls) {
            const QRegularExpressionMatch match = call.match(text);
            if (match.hasMatch())
                progress.append(match.captured(1) + '/' + match.captured(2));
        }
        host->calls.clear();
        return progress;
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

    void makesATaskAPartOfAnother()
    {
        Progress whole(100);
        whole.show();
        takeProgress();
        {
            const ProgressRange part(whole, 20, 60);
            Progress inner(4);
            QCOMPARE(inner.whole(), &whole);
            for (int i = 0; i < 4; ++i)
                inner.tick();
            QCOMPARE(takeProgress(),
                     (QStringList{"20/100", "30/100", "40/100", "50/100", "60/100"}));
            QCOMPARE(inner.count(), 4);
            QCOMPARE(whole.count(), 60);
        }

        QCOMPARE(takeProgress(), (QStringList{"60/100", "60/100"})); // the task ends, the part ends
        QCOMPARE(whole.whole(), &whole);
        whole.tick(10);
        QCOMPARE(takeProgress(), QStringList("70/100"));
    }

    void leavesTasksOutsideAsTheyAre()
    {
        Progress whole(100);
        whole.show();
        {
            const ProgressRange part(whole, 0, 50);
        }
        takeProgress();

        Progress inner(4);
        inner.tick();

        QCOMPARE(inner.whole(), &inner);
        QCOMPARE(takeProgress(), (QStringList{"0/4", "1/4"}));
        QCOMPARE(whole.count(), 50);
    }

    void showsFractionsOfAStep()
    {
        Progress whole(2);
        whole.show();
        takeProgress();
        {
            const ProgressRange part(whole, 0, 1);
            {
                Progress inner(4);
                inner.tick();
                inner.tick();
                QCOMPARE(takeProgress(), (QStringList{"0/2", "125/1000", "250/1000"}));
                QCOMPARE(whole.count(), 0);
            }
            QCOMPARE(takeProgress(), QStringList("250/1000")); // does not go back
        }
        QCOMPARE(takeProgress(), QStringList("1/2"));
    }

    void endsAtItsEnd()
    {
        Progress whole(10);
        whole.show();
        takeProgress();
        {
            const ProgressRange part(whole, 0, 4);
        }
        QCOMPARE(whole.count(), 4);
        QCOMPARE(takeProgress(), QStringList("4/10"));
        {
            const ProgressRange part(whole, 0, 2); // less than what is done
        }
        QCOMPARE(whole.count(), 4);
        {
            const ProgressRange part(whole, 4, 1000);
            Progress inner(1);
            inner.tick();
            QCOMPARE(whole.count(), 10);
        }
        QCOMPARE(whole.count(), 10);
    }

    void countsTheLargestOfSeveralTasks()
    {
        Progress whole(100);
        const ProgressRange part(whole, 0, 100);
        {
            Progress first(2);
            first.tick();
        }
        QCOMPARE(whole.count(), 50);
        Progress second(10);
        second.tick(4);
        QCOMPARE(whole.count(), 50);
        second.tick(2);
        QCOMPARE(whole.count(), 60);
    }

    void holdsPartsOfParts()
    {
        Progress whole(4);
        whole.show();
        takeProgress();
        {
            const ProgressRange quarter(whole, 1, 2);
            Progress inner(2);
            const ProgressRange half(inner, 1, 2);
            Progress innermost(2);
            takeProgress();

            innermost.tick(); // half of the second half of the second quarter

            QCOMPARE(takeProgress(), QStringList("437/1000"));
            QCOMPARE(innermost.whole(), &whole);
            QCOMPARE(inner.count(), 1);
            QCOMPARE(whole.count(), 1);
        }
        QCOMPARE(whole.count(), 2);
    }

    void isNotMovedByATaskInNoPart()
    {
        Progress whole(4);
        whole.show();
        const ProgressRange part(whole, 0, 2);
        Progress inner(2);
        inner.tick();
        takeProgress();

        Progress other(2, "Other"); // nested in inner, which has no parts
        other.tick();

        QCOMPARE(takeProgress(), (QStringList{"1/4", "1/4"}));
        QCOMPARE(Progress::currentLabel(), Data::String("Other"));
        QCOMPARE(other.whole(), &whole);
    }

    void doesNotTakeTasksOfTheOtherChain()
    {
        Progress whole(4);
        const ProgressRange part(whole, 0, 2);
        Progress popup(2, "", false, false, /*popup=*/true);
        popup.tick();

        QCOMPARE(popup.whole(), &popup);
        QCOMPARE(whole.count(), 0);
    }

    void isNothingWithoutAKnownEnd()
    {
        Progress whole(0);
        whole.show();
        {
            const ProgressRange part(whole, 0, 2);
            Progress inner(2);
            inner.tick();
            QCOMPARE(whole.count(), 0);
        }
        QCOMPARE(whole.count(), 0);

        Progress inert(-1);
        {
            const ProgressRange part(inert, 0, 2);
        }
        QCOMPARE(inert.count(), 0);

        Progress known(10);
        const ProgressRange part(known, 0, 10);
        Progress unknown(0);
        unknown.tick(5);
        QCOMPARE(known.count(), 0);
    }

    void isNotFinishedByACancelledTask()
    {
        Progress whole(100, "", /*cancelable=*/true);
        {
            const ProgressRange part(whole, 0, 50);
            Progress inner(4, "", /*cancelable=*/true);
            inner.tick();
            inner.cancel();
            QVERIFY(!inner.tick());
        }
        QVERIFY(whole.cancelled());
        QCOMPARE(whole.count(), 25);
        QCOMPARE(whole.remaining(), -1);
    }

    void takesAnyLimits()
    {
        const int least = std::numeric_limits<int>::min();
        const int most = std::numeric_limits<int>::max();
        Progress whole(most);
        {
            const ProgressRange part(whole, least, most);
            Progress inner(2);
            inner.tick();
            QCOMPARE(whole.count(), most / 2);
        }
        QCOMPARE(whole.count(), most);

        Progress other(10);
        {
            const ProgressRange part(other, 8, -3); // empty
            Progress inner(2);
            inner.tick();
            QCOMPARE(other.count(), 8);
        }
        QCOMPARE(other.count(), 8);
    }

    void showsTheDisplayForTheWhole()
    {
        Progress whole(100);
        now += 3000;
        const ProgressRange part(whole, 0, 10);
        Progress inner(10);

        inner.tick(10); // all of the part, but a tenth of the whole

        QVERIFY(host->calls.contains("showProgress(1, 0, 0)"));
        QCOMPARE(takeProgress(), QStringList("10/100"));
    }

    void estimatesTheWhole()
    {
        Progress whole(2);
        const ProgressRange part(whole, 0, 1);
        Progress inner(10);
        now += 1000;
        inner.tick(5);

        QCOMPARE(inner.remaining(), 1000);
        QCOMPARE(whole.remaining(), 3000);
        QCOMPARE(whole.rate(), 0.5);
    }

    void replacesAnotherPartForAScope()
    {
        Progress whole(100);
        const ProgressRange outer(whole, 0, 50);
        {
            const ProgressRange inner(whole, 10, 20);
            Progress task(2);
            task.tick();
            QCOMPARE(whole.count(), 15);
        }
        QCOMPARE(whole.count(), 20);
        Progress task(2);
        task.tick();
        QCOMPARE(whole.count(), 25);
    }

    void outlivesItsTask()
    {
        auto whole = std::make_unique<Progress>(100);
        auto first = std::make_unique<ProgressRange>(*whole, 0, 50);
        const ProgressRange second(*whole, 0, 20);
        first.reset(); // not in the order of scopes
        Progress inner(2);
        inner.tick();
        QCOMPARE(whole->count(), 50);

        whole.reset();
        inner.tick();

        QCOMPARE(inner.whole(), &inner);
    }

    void isNotCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<ProgressRange>);
        QVERIFY(!std::is_copy_assignable_v<ProgressRange>);
    }
};

QTEST_GUILESS_MAIN(tst_ProgressRange)
#include "tst_ProgressRange.moc"
