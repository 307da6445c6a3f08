#include "utils/signals/DelayedSlot.h"

#include "data/IDataItem.h"
#include "tests/csv/FailingMemory.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/Windows.h"
#include "utils/signals/PublicSignal.h"

#include <QtTest>

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

using Data::VariantCollection;
using Utils::DelayedSlot;

/// What the callbacks have seen, in order.
static QStringList seen;

/// A delayed slot that notes its second virtual call, and how many timers come in.
class DerivedSlot : public DelayedSlot
{
    Q_OBJECT

public:
    DerivedSlot() : DelayedSlot("derived", nullptr) {}

    using DelayedSlot::onSig;
    void onSig() override
    {
        seen.append("onSig");
        if (inner)
            inner();
        DelayedSlot::onSig();
    }

    using DelayedSlot::m_data;

    std::function<void()> inner;
    int queuedCalls = 0;

    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::MetaCall)
            ++queuedCalls;
        return DelayedSlot::event(event);
    }
};

class Item : public Data::IDataItem
{
public:
    Data::String toString() const override { return "item"; }
};

class tst_DelayedSlot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        seen.clear();
        m_reaction = nullptr;
    }

    void callsOnceForAnyNumberOfPosts()
    {
        DerivedSlot slot;
        install(slot);

        for (int i = 0; i < 10; ++i)
            slot.DelayedSlot::onSig();
        QCOMPARE(seen, QStringList());
        pass();

        QCOMPARE(seen, (QStringList{"call {}", "onSig"}));
        pass();
        QCOMPARE(seen.size(), 2);
        QCOMPARE(slot.queuedCalls, 1);
    }

    void callsAgainForAPostInALaterPass()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        slot.postPending();
        pass();
        slot.postPending();
        pass();

        QCOMPARE(seen, (QStringList{"call {}", "call {}"}));
    }

    // Payload

    void mergesWhatIsPostedByKey()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        slot.postPending("a", 1);
        slot.postPending("b", 2);
        slot.postPending("a", 3);
        pass();

        QCOMPARE(seen, QStringList("call {a=3, b=2}"));
        QVERIFY(slot.data().isEmpty());
    }

    void doesNotCopyWhatWaitsForEachPost()
    {
        SKIP_ON_WINDOWS("the allocations of a program on Windows are not counted");
        DelayedSlot slot("", nullptr);
        install(slot);
        const auto allocationsOfPosts = [&](int first) {
            const AllocatedMemory used;
            for (int i = first; i < first + 1000; ++i)
                slot.postPending(QString::number(i), i);
            return used.count();
        };

        const auto ofFirst = allocationsOfPosts(0);
        const auto ofOthers = allocationsOfPosts(1000);

        QCOMPARE(slot.data().size(), 2000);
        QVERIFY(ofFirst >= 2000); // a text and an entry each
        QVERIFY2(ofOthers < ofFirst + 100, QByteArray::number(qint64(ofOthers)));
    }

    void keepsTheLatestPayloadOfADelivery()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        slot.postPending("z", 9);
        slot.onSig(VariantCollection{{"a", 1}});
        slot.onSig(VariantCollection{{"b", 2}});
        QCOMPARE(slot.data(), (VariantCollection{{"b", 2}}));
        pass();

        QCOMPARE(seen, QStringList("call {b=2}"));
    }

    void losesWhatASingleValueOrPairCarries()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        Item item;

        slot.onSig(Data::String("a"), Data::Variant(1));
        QVERIFY(slot.data().isEmpty());
        pass();
        slot.onSig(Data::itemVariant(&item));
        pass();
        QCOMPARE(seen, (QStringList{"call {}", "call {}"}));

        slot.onSig(VariantCollection{{"b", 2}});
        slot.onSig(Data::String("a"), Data::Variant(1)); // wipes the payload that waits, too
        QVERIFY(slot.data().isEmpty());
        slot.onSig(VariantCollection{{"b", 2}});
        slot.onSig(Data::Variant(1)); // and so does this
        QVERIFY(slot.data().isEmpty());
        pass();
        QCOMPARE(seen.mid(2), QStringList("call {}"));
    }

    void losesWhatItsCallbackPosts()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        m_reaction = [&] {
            if (seen.size() == 1)
                slot.postPending("own", 2);
        };

        slot.postPending("a", 1);
        pass();
        QCOMPARE(seen, QStringList("call {a=1}"));
        pass();
        QCOMPARE(seen, (QStringList{"call {a=1}", "call {}"}));
    }

    void answersItsOwnStoreWithNoSender()
    {
        Utils::PublicSignal signal("x", nullptr);
        DelayedSlot slot("", nullptr);
        install(slot);
        signal.connect(&slot);
        m_reaction = [&] { QVERIFY(!slot.getSender()); };

        send(signal, {{"a", 1}});
        signal.addData("b", 2); // must not be seen by the call
        pass();
        QCOMPARE(seen, QStringList("call {a=1}"));

        signal.clearData();
        signal.sendSignals(); // an empty send does not reach the payload shape
        pass();
        QCOMPARE(seen.size(), 1);
    }

    // Enabled

    void asksWhetherItIsEnabledWhenTheCallIsMade()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        slot.setEnabled(false);
        slot.onSig(VariantCollection{{"a", 1}});
        slot.setEnabled(true);
        pass();
        QCOMPARE(seen, QStringList("call {a=1}"));

        slot.postPending("b", 2);
        slot.setEnabled(false);
        pass();
        QCOMPARE(seen.size(), 1);
        QVERIFY(slot.data().isEmpty());
    }

    // Flush

    void flushesAWaitingCallWithoutItsPayload()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        slot.postPending("a", 1);

        QVERIFY(slot.flushPending());

        QCOMPARE(seen, QStringList("call {}"));
        QVERIFY(!slot.flushPending());
        pass();
        QCOMPARE(seen.size(), 1);
    }

    void flushesNothingWhenNothingWaits()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        QVERIFY(!slot.flushPending());

        slot.postPending();
        slot.ignorePending();
        QVERIFY(!slot.flushPending());
        QCOMPARE(seen, QStringList());
    }

    void flushesAlsoWhilePostponedOrDisabled()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        slot.postponePending(true);
        slot.postPending();
        QVERIFY(slot.flushPending());
        QCOMPARE(seen, QStringList("call {}"));

        slot.setEnabled(false);
        slot.postPending();
        QVERIFY(slot.flushPending());
        QCOMPARE(seen.size(), 1);
    }

    void callsOnlyTheCallbackAtAFlush()
    {
        DerivedSlot slot;
        install(slot);
        slot.postPending();

        slot.flushPending();

        QCOMPARE(seen, QStringList("call {}")); // and not the virtual onSig()
    }

    void flushesNothingFromWithinItsCallback()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        bool isFlushed = true;
        m_reaction = [&] { isFlushed = slot.flushPending(); };

        slot.postPending();
        pass();

        QVERIFY(!isFlushed);
        QCOMPARE(seen.size(), 1);
    }

    void keepsWhatTheCallbackOfAFlushPosts()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        m_reaction = [&] {
            if (seen.size() == 1)
                slot.postPending("own", 2);
        };
        slot.postPending("a", 1);

        QVERIFY(slot.flushPending());
        pass();

        QCOMPARE(seen, (QStringList{"call {}", "call {own=2}"}));
    }

    void servesAPostAfterAFlushWithTheTimerThatIsQueued()
    {
        DerivedSlot slot;
        install(slot);
        slot.postPending();
        slot.flushPending();

        slot.postPending();
        pass();

        QCOMPARE(seen, (QStringList{"call {}", "call {}", "onSig"}));
        QCOMPARE(slot.queuedCalls, 1);
    }

    // Withdrawal

    void withdrawsAWaitingCallWithItsPayload()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        slot.postPending("a", 1);

        slot.ignorePending();

        QVERIFY(slot.data().isEmpty());
        pass();
        QCOMPARE(seen, QStringList());
        slot.postPending();
        pass();
        QCOMPARE(seen, QStringList("call {}"));
    }

    void withdrawsNothingWhenNothingWaits()
    {
        DerivedSlot slot;
        install(slot);

        slot.ignorePending();

        slot.postPending(); // starts its own timer
        pass();
        QCOMPARE(slot.queuedCalls, 1);
        QCOMPARE(seen, (QStringList{"call {}", "onSig"}));
    }

    void servesAPostAfterAWithdrawalWithTheTimerThatIsQueued()
    {
        DerivedSlot slot;
        install(slot);

        slot.postPending("a", 1);
        slot.ignorePending();
        slot.postPending("b", 2);
        pass();
        pass();

        QCOMPARE(seen, (QStringList{"call {b=2}", "onSig"}));
        QCOMPARE(slot.queuedCalls, 1);
    }

    void leavesWhatIsStoredAloneWhenTheTimerOfAWithdrawnCallPasses()
    {
        DerivedSlot slot;
        install(slot);
        slot.postPending();
        slot.ignorePending();
        slot.m_data["a"] = 1;

        pass();

        QCOMPARE(slot.queuedCalls, 1);
        QCOMPARE(slot.data(), (VariantCollection{{"a", 1}}));
        slot.postPending();
        pass();
        QCOMPARE(seen, (QStringList{"call {a=1}", "onSig"}));
    }

    void isWithdrawnFromWithinItsCallback()
    {
        DerivedSlot slot;
        install(slot);
        m_reaction = [&] {
            slot.postPending("own", 1);
            slot.ignorePending();
        };

        slot.postPending();
        pass();
        pass();

        QCOMPARE(seen, QStringList("call {}")); // nor is the virtual onSig() called
    }

    void forgetsAWithdrawalFromWithinItsCallback()
    {
        DerivedSlot slot;
        install(slot);
        m_reaction = [&] {
            if (seen.size() > 1)
                return;
            slot.postPending();
            slot.ignorePending();
        };
        slot.postPending();
        pass();

        slot.postPending("a", 1); // queues a timer of its own beside the one that is left over
        pass();

        QCOMPARE(seen, (QStringList{"call {}", "call {a=1}", "onSig"}));
        QCOMPARE(slot.queuedCalls, 3);
    }

    // Postponing

    void putsACallBackWhileItIsPostponed()
    {
        DerivedSlot slot;
        install(slot);
        slot.postponePending(true);
        slot.postPending("a", 1);

        pass();
        pass();
        pass();
        QCOMPARE(seen, QStringList());
        QCOMPARE(slot.queuedCalls, 3);

        slot.postponePending(false);
        pass();
        QCOMPARE(seen, (QStringList{"call {a=1}", "onSig"}));
        pass();
        QCOMPARE(slot.queuedCalls, 4);
    }

    void stopsCirclingWhenItIsWithdrawnWhilePostponed()
    {
        DerivedSlot slot;
        install(slot);
        slot.postponePending(true);
        slot.postPending();
        pass();

        slot.ignorePending();
        pass();
        pass();

        QCOMPARE(slot.queuedCalls, 2);
    }

    // Overrides

    void callsAnOverrideOnceBehindTheCallback()
    {
        DerivedSlot slot;
        install(slot);
        QStringList waiting;
        slot.inner = [&] {
            slot.postPending(); // does nothing here
            waiting.append(describe(slot.data()));
        };

        slot.postPending("a", 1);
        pass();
        pass();

        QCOMPARE(seen, (QStringList{"call {a=1}", "onSig"}));
        QCOMPARE(waiting, QStringList("{a=1}"));
    }

    void doesNotCallAnOverrideWhenTheCallbackHasPostedAgain()
    {
        DerivedSlot slot;
        install(slot);
        m_reaction = [&] {
            if (seen.size() == 1)
                slot.postPending();
        };

        slot.postPending();
        pass();
        QCOMPARE(seen, QStringList("call {}"));
        pass();
        QCOMPARE(seen, (QStringList{"call {}", "call {}", "onSig"}));
    }

    void flushesFromWithinAnOverride()
    {
        DerivedSlot slot;
        install(slot);
        bool isFlushed = false;
        slot.inner = [&] {
            slot.inner = nullptr;
            isFlushed = slot.flushPending();
        };

        slot.postPending("a", 1);
        pass();

        QVERIFY(isFlushed); // it counts as a waiting call
        QCOMPARE(seen, (QStringList{"call {a=1}", "onSig", "call {}"}));
    }

    void forgetsAPostThatAnOverrideMakesAfterItsFlush()
    {
        DerivedSlot slot;
        install(slot);
        slot.inner = [&] {
            slot.inner = nullptr;
            slot.flushPending();
            slot.postPending();
        };
        slot.postPending();
        pass();
        QCOMPARE(seen, (QStringList{"call {}", "onSig", "call {}"}));

        pass();
        QCOMPARE(seen.size(), 3);
        slot.postPending(); // and is not stuck
        pass();
        QCOMPARE(seen.mid(3), (QStringList{"call {}", "onSig"}));
    }

    // Copies

    void copiesOnlyThatACallWaits()
    {
        DelayedSlot slot("name", this);
        install(slot);
        slot.setFlag(5);
        slot.postPending("a", 1);

        DelayedSlot copy(slot);
        QCOMPARE(copy.objectName(), QString());
        QVERIFY(!copy.parent());
        QVERIFY(copy.data().isEmpty());
        QCOMPARE(copy.flag(), 0);
        install(copy, "copy ");
        pass();
        pass();
        QCOMPARE(seen, QStringList("call {a=1}")); // the copy has no timer

        copy.postPending(); // and a post finds the call that waits
        pass();
        QCOMPARE(seen.size(), 1);
        QVERIFY(copy.flushPending());
        QCOMPARE(seen.last(), QString("copy call {}"));
    }

    void copiesNoCallback()
    {
        DelayedSlot slot("", nullptr);
        install(slot);
        slot.postPending();

        DelayedSlot copy(std::move(slot));

        QVERIFY(copy.flushPending());
        QCOMPARE(seen, QStringList());
        QVERIFY(slot.flushPending()); // moving took nothing away
        QCOMPARE(seen, QStringList("call {}"));
    }

    void assignsOnlyThatACallWaits()
    {
        DelayedSlot slot("", nullptr);
        slot.postponePending(true);
        slot.postPending("a", 1);
        DelayedSlot other("other", this);
        install(other);

        other = slot;
        QCOMPARE(other.objectName(), QString("other"));
        QCOMPARE(other.parent(), this);
        QVERIFY(other.data().isEmpty());
        QVERIFY(other.flushPending());
        QCOMPARE(seen, QStringList("call {}"));

        DelayedSlot third("", nullptr);
        third = std::move(slot);
        QVERIFY(third.flushPending());
    }

    void copiesThatItIsPostponed()
    {
        DelayedSlot slot("", nullptr);
        slot.postponePending(true);

        DelayedSlot copy(slot);
        install(copy);
        copy.postPending();
        pass();
        QCOMPARE(seen, QStringList());
        copy.postponePending(false);
        pass();
        QCOMPARE(seen, QStringList("call {}"));
    }

    void isReachedByItsMethodText()
    {
        DelayedSlot slot("", nullptr);
        install(slot);

        QCOMPARE(slot.metaObject()->indexOfSlot("callDelegate()"),
                 Utils::Slot::staticMetaObject.methodCount());
        slot.postPending("a", 1);
        QVERIFY(QMetaObject::invokeMethod(&slot, "callDelegate"));
        QCOMPARE(seen, QStringList("call {a=1}"));
        pass();
        QCOMPARE(seen.size(), 1);
    }

private:
    /// Makes \p slot note its calls, then run the reaction of the test.
    static void install(DelayedSlot &slot, const QString &prefix = QString())
    {
        slot.setProperty("prefix", prefix);
        slot.setCallback([](const Utils::Slot *called) {
            seen.append(called->property("prefix").toString() + "call " + describe(called->data()));
            if (m_reaction)
                m_reaction();
        });
    }

    /// One pass of the event loop.
    static void pass() { QCoreApplication::processEvents(); }

    static inline std::function<void()> m_reaction;
};

QTEST_GUILESS_MAIN(tst_DelayedSlot)
#include "tst_DelayedSlot.moc"
