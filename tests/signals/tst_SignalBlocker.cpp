#include "utils/signals/SignalBlocker.h"

#include <QtTest>

#include <memory>

using Utils::SignalBlocker;

class tst_SignalBlocker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putsTheObjectIntoTheWantedStateForItsScope_data()
    {
        QTest::addColumn<bool>("wasBlocked");
        QTest::addColumn<bool>("unblock");
        QTest::addColumn<bool>("isBlocked"); // within the scope

        QTest::newRow("blocks") << false << false << true;
        QTest::newRow("unblocks") << true << true << false;
        QTest::newRow("is blocked already") << true << false << true;
        QTest::newRow("is unblocked already") << false << true << false;
    }

    void putsTheObjectIntoTheWantedStateForItsScope()
    {
        QFETCH(bool, wasBlocked);
        QFETCH(bool, unblock);
        QFETCH(bool, isBlocked);
        QObject object;
        object.blockSignals(wasBlocked);

        {
            const SignalBlocker blocker(&object, unblock);
            QCOMPARE(object.signalsBlocked(), isBlocked);
        }

        QCOMPARE(object.signalsBlocked(), wasBlocked);
    }

    void leavesAnObjectAloneThatItFoundInTheWantedState()
    {
        QObject object;
        {
            const SignalBlocker blocker(&object, /*unblock=*/true);
            object.blockSignals(true);
        }
        QVERIFY(object.signalsBlocked());
    }

    void blocksWhereNothingElseIsSaid()
    {
        QObject object;
        const SignalBlocker blocker(&object);

        QVERIFY(object.signalsBlocked());
    }

    void takesNull()
    {
        SignalBlocker blocker(nullptr, false);

        blocker.reset();
    }

    void nests()
    {
        QObject object;
        {
            const SignalBlocker outer(&object, false);
            {
                const SignalBlocker inner(&object, false);
                {
                    const SignalBlocker window(&object, true);
                    QVERIFY(!object.signalsBlocked());
                }
                QVERIFY(object.signalsBlocked());
            }
            QVERIFY(object.signalsBlocked());
        }
        QVERIFY(!object.signalsBlocked());
    }

    void putsTheObjectBackOnceAtAReset()
    {
        QObject object;
        SignalBlocker blocker(&object, false);

        blocker.reset();
        QVERIFY(!object.signalsBlocked());
        object.blockSignals(true);
        blocker.reset();
        QVERIFY(object.signalsBlocked());
    }

    void flipsTheStateThatItFindsAtItsEnd()
    {
        QObject object;
        {
            const SignalBlocker blocker(&object, false);
            object.blockSignals(false);
        }
        QVERIFY(object.signalsBlocked());
    }

    void flipsAgainWithEachCopy()
    {
        QObject object;
        {
            const SignalBlocker blocker(&object, false);
            const SignalBlocker copy(blocker);
            QVERIFY(object.signalsBlocked()); // a copy changes nothing by itself
        }
        QVERIFY(object.signalsBlocked()); // flipped twice

        QObject other;
        {
            const SignalBlocker blocker(&other, false);
            SignalBlocker assigned(nullptr, false);
            assigned = blocker;
        }
        QVERIFY(other.signalsBlocked());
    }

    void leavesTheObjectThatItHeldAsItIsWhenItIsAssignedTo()
    {
        QObject first;
        QObject second;
        {
            const SignalBlocker blocker(&second, false);
            SignalBlocker assigned(&first, false);
            assigned = blocker;
        }
        QVERIFY(first.signalsBlocked());
        QVERIFY(second.signalsBlocked()); // flipped twice
    }

    void forgetsAnObjectThatDies()
    {
        auto object = std::make_unique<QObject>();
        SignalBlocker blocker(object.get(), false);

        object.reset();

        blocker.reset();
    }
};

QTEST_GUILESS_MAIN(tst_SignalBlocker)
#include "tst_SignalBlocker.moc"
