#include "utils/signals/SingleShot_p.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "utils/signals/ConditionalSlot.h"
#include "utils/signals/DelayedSlot.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/SignalRegistry_p.h"

#include <QtTest>

#include <memory>

using Data::VariantCollection;
using Utils::pendingCalls;
using Utils::Signal;
using Utils::SingleShot;
using Utils::Slot;

static QStringList seen;

class tst_SingleShot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        seen.clear();
        Utils::signalRegistry->byName.clear();
        QVERIFY(pendingCalls.ids.isEmpty());
    }

    void cleanup()
    {
        passAll();
        QVERIFY(pendingCalls.ids.isEmpty());
    }

    void comesOnTheNextPassOfTheEventLoop()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(bare()), 0, "id");
        QCOMPARE(recorder.calls, QStringList());
        pass();

        QCOMPARE(recorder.calls, QStringList("sig()"));
        passAll();
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void comesAfterItsDelay()
    {
        Recorder recorder;
        QElapsedTimer timer;
        qint64 cameAfter = -1;
        recorder.reaction = [&] { cameAfter = timer.elapsed(); };
        timer.start();

        Signal::singleShot(&recorder, SLOT(bare()), 40, "id");

        QTRY_COMPARE(recorder.calls, QStringList("sig()"));
        QVERIFY2(cameAfter >= 38, QByteArray::number(cameAfter)); // coarse timers are 5 % early
    }

    void reachesTheShapeOfItsMethod_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QStringList>("calls");

        // clang-format off
        QTest::newRow("bare") << QByteArray(SLOT(bare())) << QStringList{"sig()"};
        QTest::newRow("single") << QByteArray(SLOT(single(const Data::Variant &))) << QStringList{"sig(1)"};
        QTest::newRow("pair") << QByteArray(SLOT(pair(const Data::String &, const Data::Variant &)))
                              << QStringList{"sig(a, 1)"};
        QTest::newRow("payload") << QByteArray(SLOT(payload(const Data::VariantCollection &)))
                                 << QStringList{"sig({a=1})"};
        // clang-format on
    }

    void reachesTheShapeOfItsMethod()
    {
        QFETCH(QByteArray, method);
        QFETCH(QStringList, calls);
        Recorder recorder;

        Signal::singleShot(&recorder, method.constData(), {{"a", 1}}, 0, "id");
        passAll();

        QCOMPARE(recorder.calls, calls);
    }

    void doesNotReachThePayloadShapeWithAnEmptyPayload()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(payload(const Data::VariantCollection &)), 0, "id");
        passAll();

        QCOMPARE(recorder.calls, QStringList());
    }

    void callsASlotThatReadsThePayloadFromIt()
    {
        Slot slot("", nullptr);
        slot.setCallback([](const Slot *called) {
            seen.append(called->signalName() + " " + describe(called->data()));
        });

        Signal::singleShot(&slot, {{"a", 1}, {"b", 2}}, 0, "first");
        Signal::singleShot(&slot, 0, "second");
        passAll();

        QCOMPARE(seen, (QStringList{"first {a=1, b=2}", "second {}"}));
    }

    void isFoundByItsIdWhileItWaits()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(bare()), 0, "id");
        const QPointer<Signal> waiting = Signal::find("id");
        QVERIFY(waiting);
        QVERIFY(waiting->inherits("Utils::SingleShot"));
        QVERIFY(!waiting->parent());
        QCOMPARE(waiting->objectName(), QString("id"));
        QVERIFY(pendingCalls.ids.contains("id"));

        pass();
        QVERIFY(!pendingCalls.ids.contains("id"));
        QVERIFY(waiting); // until the next turn of the event loop
        pass();
        QVERIFY(!waiting);
        QVERIFY(!Utils::signalRegistry->byName.contains("id"));
    }

    void takesTheNameOfASignalAwayThatHasItsId()
    {
        Utils::PublicSignal signal("id", nullptr);
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(bare()), 0, "id");

        QVERIFY(!Signal::find("id"));
        passAll();
        QCOMPARE(recorder.calls, QStringList("sig()"));
        QVERIFY(!Signal::find("id"));
    }

    // Ids

    void collapsesRequestsOfOneIdIntoTheFirst()
    {
        Recorder first;
        Recorder second;

        Signal::singleShot(&first, SLOT(payload(const Data::VariantCollection &)), {{"a", 1}}, 30,
                           "a");
        Signal::singleShot(&second, SLOT(payload(const Data::VariantCollection &)), {{"a", 2}}, 0,
                           "a");

        QTRY_COMPARE(first.calls, QStringList("sig({a=1})"));
        passAll();
        QCOMPARE(second.calls, QStringList());
    }

    void doesNotRestartTheDelayAtARepeat()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "a");

        Signal::singleShot(&recorder, SLOT(bare()), 60000, "a");

        pass();
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void keepsDifferentIdsApart()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 1}}, 0, "a");
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 2}}, 0, "A");
        passAll();

        QCOMPARE(recorder.calls, (QStringList{"sig(1)", "sig(2)"}));
    }

    void mayBeRequestedAgainOnceItHasCome()
    {
        Recorder recorder;
        recorder.reaction = [&] {
            if (recorder.calls.size() < 3) // from within the call itself
                Signal::singleShot(&recorder, SLOT(bare()), 0, "a");
        };

        Signal::singleShot(&recorder, SLOT(bare()), 0, "a");
        passAll();

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig()", "sig()"}));
    }

    void doesNotComeOnceItIsCancelled()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "a");
        const QPointer<Signal> waiting = Signal::find("a");

        Signal::cancelSingleShot("a");

        QVERIFY(!pendingCalls.ids.contains("a"));
        QVERIFY(waiting); // the object waits for its time
        passAll();
        QVERIFY(!waiting);
        QCOMPARE(recorder.calls, QStringList());
    }

    void cancelsOnlyItsOwnId()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "a");

        Signal::cancelSingleShot("A");
        Signal::cancelSingleShot("");
        Signal::cancelSingleShot("unknown");

        passAll();
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void comesAsFirstRequestedWhenItIsCancelledAndRequestedAgain()
    {
        Recorder first;
        Recorder second;
        Signal::singleShot(&first, SLOT(single(const Data::Variant &)), {{"k", 1}}, 0, "a");
        Signal::cancelSingleShot("a");

        Signal::singleShot(&second, SLOT(single(const Data::Variant &)), {{"k", 2}}, 0, "a");
        passAll();

        QCOMPARE(first.calls, QStringList("sig(1)"));
        QCOMPARE(second.calls, QStringList());
    }

    void comesAsRequestedAgainWhenThatIsSooner()
    {
        Recorder first;
        Recorder second;
        Signal::singleShot(&first, SLOT(bare()), 100, "a");
        const QPointer<Signal> old = Signal::find("a");
        Signal::cancelSingleShot("a");

        Signal::singleShot(&second, SLOT(bare()), 0, "a");

        passAll();
        QCOMPARE(second.calls, QStringList("sig()"));
        QTRY_VERIFY(!old);
        QCOMPARE(first.calls, QStringList());
    }

    void cannotBeCancelledUnderTheIdSingleShot()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 1}}, 0,
                           "singleShot");
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 2}}, 0,
                           "singleShot"); // collapses as any other
        Signal::cancelSingleShot("singleShot");
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 3}}, 0,
                           "singleShot");

        passAll();

        QCOMPARE(recorder.calls, (QStringList{"sig(1)", "sig(3)"}));
    }

    void isCancelledUnderTheIdSingleshot()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "singleshot");
        Signal::cancelSingleShot("singleshot");

        passAll();

        QCOMPARE(recorder.calls, QStringList());
    }

    void isDroppedAtItsTimeWithoutAName()
    {
        Recorder recorder;
        auto *const call = new SingleShot(nullptr);
        const QPointer<Signal> alive = call;
        QCOMPARE(call->objectName(), QString("singleshot"));
        QVERIFY(pendingCalls.ids.isEmpty());
        QCOMPARE(Signal::find("singleshot"), static_cast<Signal *>(call));
        QVERIFY(static_cast<Signal *>(call)->connect(&recorder, SLOT(bare())));

        bool result = false;
        QVERIFY(QMetaObject::invokeMethod(call, "sendSignals", Q_RETURN_ARG(bool, result)));

        QVERIFY(result);
        QCOMPARE(recorder.calls, QStringList());
        passAll();
        QVERIFY(!alive);
    }

    void comesOnceForTwoEmptyIdsThatWaitTogether()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 1}}, 0);
        Signal::singleShot(&recorder, SLOT(single(const Data::Variant &)), {{"k", 2}}, 0, "");

        passAll();

        QCOMPARE(recorder.calls, QStringList("sig(1)"));
    }

    void comesForTheEmptyIdWhoseTimeIsFirst()
    {
        Recorder slow;
        Recorder quick;
        Signal::singleShot(&slow, SLOT(bare()), 100); // long enough for a busy machine
        const QPointer<Signal> slowCall = Signal::find("");
        Signal::singleShot(&quick, SLOT(bare()), 0); // not collapsed into the one that waits

        QTRY_VERIFY(!slowCall);

        QCOMPARE(quick.calls, QStringList("sig()"));
        QCOMPARE(slow.calls, QStringList());
    }

    void comesForEachEmptyIdThatWaitsAlone()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0);
        passAll();
        Signal::singleShot(&recorder, SLOT(bare()), 0);
        passAll();

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig()"}));
    }

    void failsWhenAReceiverAborts()
    {
        Recorder recorder;
        auto *const call = new SingleShot("a");
        static_cast<Signal *>(call)->connect(&recorder, SLOT(bare()));
        recorder.reaction = [&] { call->abort(); };

        bool result = true;
        QMetaObject::invokeMethod(call, "sendSignals", Q_RETURN_ARG(bool, result));

        QVERIFY(!result);
    }

    void failsWhenItDiesInItsOwnSend()
    {
        Recorder recorder;
        auto *const call = new SingleShot("a");
        static_cast<Signal *>(call)->connect(&recorder, SLOT(bare()));
        recorder.reaction = [&] { delete static_cast<QObject *>(call); };

        bool result = true;
        QMetaObject::invokeMethod(call, "sendSignals", Q_RETURN_ARG(bool, result));

        QVERIFY(!result);
    }

    // Receivers

    void firesIntoNothingWhenItsReceiverHasDied()
    {
        auto recorder = std::make_unique<Recorder>();
        Signal::singleShot(recorder.get(), SLOT(bare()), 0, "a");
        const QPointer<Signal> waiting = Signal::find("a");

        recorder.reset();

        QVERIFY(waiting);
        passAll();
        QVERIFY(!waiting);
    }

    void waitsAlsoForAReceiverThatCannotBeConnected()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(unknown()), 0, "a");
        Signal::singleShot(static_cast<QObject *>(nullptr), SLOT(bare()), 0, "b");
        Signal::singleShot(static_cast<Slot *>(nullptr), 0, "c");

        QCOMPARE(pendingCalls.ids, (QSet<Data::String>{"a", "b", "c"}));
        passAll();
        QCOMPARE(recorder.calls, QStringList());
    }

    void neverPassesAConditionalSlotThatHasConditions()
    {
        Utils::ConditionalSlot slot("a", 1, "", nullptr);
        slot.setCallback([] { seen.append("called"); });

        Signal::singleShot(&slot, {{"a", 1}}, 0, "id");
        passAll();

        QCOMPARE(seen, QStringList());
    }

    void losesItsPayloadOnTheWayThroughADelayedSlot()
    {
        Utils::DelayedSlot slot("", nullptr);
        slot.setCallback([](const VariantCollection &data) { seen.append(describe(data)); });

        Signal::singleShot(&slot, {{"a", 1}}, 0, "id");
        passAll();

        QCOMPARE(seen, QStringList("{}"));
    }

    void staysForEverWithANegativeDelay()
    {
        Recorder recorder;

        Signal::singleShot(&recorder, SLOT(bare()), -1, "a");
        const QPointer<Signal> waiting = Signal::find("a");
        passAll();

        QVERIFY(waiting);
        QVERIFY(pendingCalls.ids.contains("a"));
        QCOMPARE(recorder.calls, QStringList());
        QVERIFY(QMetaObject::invokeMethod(waiting, "sendSignals"));
        QCOMPARE(recorder.calls, QStringList("sig()"));
    }

    void isIgnoredOnceTheRegistryHasGone()
    {
        Recorder recorder;
        Signal::singleShot(&recorder, SLOT(bare()), 0, "early");
        Utils::signalRegistry.isAlive = false;

        Signal::singleShot(&recorder, SLOT(bare()), 0, "late");
        Signal::cancelSingleShot("early");

        QCOMPARE(pendingCalls.ids, QSet<Data::String>{"early"}); // left alone, as it may be gone
        passAll();
        QCOMPARE(recorder.calls, QStringList());
        Utils::signalRegistry.isAlive = true;
        pendingCalls.ids.clear();
    }

private:
    /// One pass of the event loop: what it posts itself waits for the next.
    static void pass() { QCoreApplication::processEvents(); }

    /// As many passes as any chain of calls in these tests takes, deferred deletions included.
    static void passAll()
    {
        for (int i = 0; i < 8; ++i) {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
    }
};

QTEST_GUILESS_MAIN(tst_SingleShot)
#include "tst_SingleShot.moc"
