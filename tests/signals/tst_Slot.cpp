#include "utils/signals/Slot.h"

#include "data/IDataItem.h"
#include "tests/csv/FailingMemory.h"
#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "tests/support/Vtable.h"
#include "tests/support/Windows.h"
#include "utils/signals/PublicSignal.h"

#include <QtTest>

#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>

using Data::VariantCollection;
using Utils::PublicSignal;
using Utils::Slot;

/// What the callbacks have seen, in order.
static QStringList seen;

static void plain() { seen.append("plain"); }
static void withSlot(const Slot *slot) { seen.append("slot " + describe(slot->data())); }
static void withData(const VariantCollection &data) { seen.append("data " + describe(data)); }

class Owner
{
public:
    void plain() { seen.append("member plain"); }
    void withSlot(const Slot *slot) { seen.append("member slot " + slot->objectName()); }
    void withData(const VariantCollection &data) { seen.append("member data " + describe(data)); }
};
class DerivedOwner : public Owner
{};

/// An owner whose members are virtual.
class VirtualOwner
{
public:
    virtual ~VirtualOwner() = default;
    virtual void plain() { seen.append("base plain"); }
    virtual void withSlot(const Slot *) { seen.append("base slot"); }
    virtual void withData(const VariantCollection &) { seen.append("base data"); }
};
class OverridingOwner : public VirtualOwner
{
public:
    void plain() override { seen.append("plain"); }
    void withSlot(const Slot *slot) override { seen.append("slot " + slot->objectName()); }
    void withData(const VariantCollection &data) override { seen.append("data " + describe(data)); }
};

/// A sender with the four shapes that is no Utils::Signal.
class PlainSender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void bare();
    void single(const Data::Variant &value);
    void pair(const Data::String &key, const Data::Variant &value);
    void payload(const Data::VariantCollection &data);
    void number(int value);
};

/// A slot that notes which of its virtual operations is reached, and what is stored then.
class DerivedSlot : public Slot
{
    Q_OBJECT

public:
    explicit DerivedSlot(bool callsBase) : Slot("derived", nullptr), m_callsBase(callsBase) {}

    using Slot::onSig;
    void onSig() override
    {
        seen.append("onSig " + describe(m_data));
        if (m_callsBase)
            Slot::onSig();
    }
    const VariantCollection &stored() const { return m_data; }
    using Slot::installCallback;
    using Slot::m_data;

private:
    bool m_callsBase;
};

/// A callback that reports its destruction.
class MortalCB : public Utils::SlotCB
{
public:
    ~MortalCB() override { seen.append("callback died"); }
    void call(Slot *) override { seen.append("mortal"); }
};

class Item : public Data::IDataItem
{
public:
    Data::String toString() const override { return "item"; }
};

class tst_Slot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { seen.clear(); }

    void startsEnabledAndEmpty()
    {
        const Slot slot("\xc3\xa4", this);

        QCOMPARE(slot.objectName(), QString("\u00e4"));
        QCOMPARE(slot.parent(), this);
        QVERIFY(slot.isEnabled());
        QCOMPARE(slot.flag(), 0);
        QVERIFY(slot.data().isEmpty());
        QVERIFY(!slot.getSender());
        QCOMPARE(slot.signalName(), Data::String());
        QCOMPARE(Slot(nullptr, nullptr).objectName(), QString());
    }

    void callsTheOverrideOfAVirtualMember()
    {
        Slot slot("name", nullptr);
        OverridingOwner overriding;
        VirtualOwner *const owner = &overriding;

        slot.setCallback(owner, &VirtualOwner::plain);
        slot.onSig(VariantCollection{{"a", 1}});
        slot.setCallback(owner, &VirtualOwner::withSlot);
        slot.onSig(VariantCollection{{"a", 2}});
        slot.setCallback(owner, &VirtualOwner::withData);
        slot.onSig(VariantCollection{{"a", 3}});

        QCOMPARE(seen, QStringList({"plain", "slot name", "data {a=3}"}));
    }

    void carriesAFlagForItsOwner()
    {
        Slot slot("", nullptr);

        slot.setFlag(5);

        QCOMPARE(slot.flag(), 5);
    }

    // Callbacks

    void callsAFunctionOfEachShape()
    {
        Slot slot("", nullptr);
        const VariantCollection payload{{"a", 1}};

        slot.setCallback(plain).onSig(payload);
        slot.setCallback(withSlot).onSig(payload);
        slot.setCallback(withData).onSig(payload);

        QCOMPARE(seen, (QStringList{"plain", "slot {a=1}", "data {a=1}"}));
    }

    void callsAMemberOfEachShape()
    {
        Slot slot("name", nullptr);
        Owner owner;
        const VariantCollection payload{{"a", 1}};

        slot.setCallback(&owner, &Owner::plain).onSig(payload);
        slot.setCallback(&owner, &Owner::withSlot).onSig(payload);
        slot.setCallback(&owner, &Owner::withData).onSig(payload);

        QCOMPARE(seen, (QStringList{"member plain", "member slot name", "member data {a=1}"}));
    }

    void callsAMemberThatTheObjectInherits()
    {
        Slot slot("", nullptr);
        DerivedOwner owner;

        slot.setCallback(&owner, &Owner::plain).onSig();

        QCOMPARE(seen, QStringList("member plain"));
    }

    void callsALambdaWithoutCaptures()
    {
        Slot slot("", nullptr);

        slot.setCallback([](const VariantCollection &data) { withData(data); });
        slot.onSig(VariantCollection{{"a", 1}});

        QCOMPARE(seen, QStringList("data {a=1}"));
    }

    void callsALambdaWithCapturesOfEachShape()
    {
        Slot slot("s", nullptr);
        const VariantCollection payload{{"a", 1}};
        const QString captured("captured ");

        slot.setCallback([captured] { seen.append(captured + "plain"); }).onSig(payload);
        slot.setCallback([captured](const Slot *from) {
                seen.append(captured + "slot " + describe(from->data()));
            })
            .onSig(payload);
        slot.setCallback([captured](const VariantCollection &data) {
                seen.append(captured + "data " + describe(data));
            })
            .onSig(payload);

        QCOMPARE(seen,
                 (QStringList{"captured plain", "captured slot {a=1}", "captured data {a=1}"}));
    }

    void callsAnyFunctionObject()
    {
        struct Counter
        {
            std::shared_ptr<int> calls;
            int operator()() { return ++*calls; }
        };
        Slot slot("s", nullptr);
        const VariantCollection payload{{"a", 1}};
        const auto calls = std::make_shared<int>(0);
        const std::function<void(const Slot *)> function = withSlot;
        Owner owner;

        slot.setCallback(Counter{calls}).onSig();
        slot.setCallback([calls, own = 0]() mutable { *calls += ++own * 10; });
        slot.onSig();
        slot.onSig();
        QCOMPARE(*calls, 31);

        slot.setCallback(function).onSig(payload);
        slot.setCallback(std::bind(&Owner::withData, &owner, std::placeholders::_1)).onSig(payload);
        slot.setCallback(std::function<void()>()).onSig(payload); // does nothing
        slot.setCallback(std::function<void(const Slot *)>()).onSig(payload);
        slot.setCallback(std::function<void(const VariantCollection &)>()).onSig(payload);
        slot.setCallback([] { return 1; }).onSig(payload); // converts to no plain function

        QCOMPARE(seen, (QStringList{"slot {a=1}", "member data {a=1}"}));
        QCOMPARE(calls.use_count(), 1L);
    }

    void callsAFunctionObjectInTheFirstShapeOfSeveral()
    {
        struct Overloaded
        {
            QString captured;
            void operator()(const Slot *) const { seen.append("slot"); }
            void operator()(const VariantCollection &) const { seen.append("data"); }
        };
        Slot slot("s", nullptr);

        slot.setCallback(Overloaded()).onSig();
        slot.setCallback(
                [n = 0](auto &&...all) { seen.append(QString::number(n + sizeof...(all))); })
            .onSig();

        QCOMPARE(seen, (QStringList{"data", "0"}));
    }

    void passesOnWhatACallbackThrows_data()
    {
        QTest::addColumn<bool>("isLambda");
        QTest::newRow("member") << false;
        QTest::newRow("lambda") << true;
    }

    void passesOnWhatACallbackThrows()
    {
        QFETCH(bool, isLambda);
        struct Thrower
        {
            bool isOn = true;
            void act()
            {
                if (isOn)
                    throw std::runtime_error("thrown by a callback");
                seen.append("calm");
            }
        };
        Thrower thrower;
        PublicSignal signal("x", nullptr);
        Slot slot("s", nullptr);
        Recorder recorder;
        if (isLambda)
            slot.setCallback([&thrower] { thrower.act(); });
        else
            slot.setCallback(&thrower, &Thrower::act);
        QVERIFY(signal.connect(&slot));
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY_EXCEPTION_THROWN(send(signal, {{"a", 1}}), std::runtime_error);

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)"}));
        QCOMPARE(describe(slot.data()), QString("{}"));
        QCOMPARE(describe(signal.data()), QString("{a=1}")); // it is sent next time
        thrower.isOn = false;
        recorder.calls.clear();
        QVERIFY(signal.sendSignals());
        QCOMPARE(seen, QStringList("calm"));
        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"}));
    }

    void doesNothingForANullFunctionOrObject()
    {
        Slot slot("", nullptr);
        Owner owner;
        const VariantCollection payload{{"a", 1}};

        slot.setCallback(plain);
        slot.setCallback(static_cast<void (*)()>(nullptr)).onSig(payload);
        slot.setCallback(static_cast<void (*)(const Slot *)>(nullptr)).onSig(payload);
        slot.setCallback(static_cast<void (*)(const VariantCollection &)>(nullptr)).onSig(payload);
        slot.setCallback<Owner>(nullptr, &Owner::plain).onSig(payload);
        slot.setCallback<Owner>(nullptr, &Owner::withSlot).onSig(payload);
        slot.setCallback<Owner>(nullptr, &Owner::withData).onSig(payload);
        slot.setCallback(&owner, static_cast<void (Owner::*)()>(nullptr)).onSig(payload);

        QCOMPARE(seen, QStringList());
    }

    void deletesACallbackWhenItIsReplaced()
    {
        DerivedSlot slot(true);
        slot.installCallback(std::make_unique<MortalCB>());

        slot.setCallback(plain);

        QCOMPARE(seen, QStringList("callback died"));
    }

    void destroysALambdaWhenItIsReplacedButNotWhileItRuns()
    {
        Slot slot("s", nullptr);
        const auto captured = std::make_shared<int>(0);
        long ownersInside = 0;
        slot.setCallback([&slot, &ownersInside, captured] {
            slot.setCallback([captured] {});
            slot.resetCallback();
            ownersInside = captured.use_count();
        });
        QCOMPARE(captured.use_count(), 2L);

        slot.onSig();

        QCOMPARE(ownersInside, 2L);
        QCOMPARE(captured.use_count(), 1L);
    }

    void deletesACallbackWhenItIsReset()
    {
        DerivedSlot slot(true);
        slot.installCallback(std::make_unique<MortalCB>());

        slot.resetCallback();
        QCOMPARE(seen, QStringList("callback died"));

        slot.Slot::onSig();
        slot.onSig(VariantCollection{{"a", 1}});
        QCOMPARE(seen, QStringList("callback died"));
    }

    void deletesItsCallbackWithItself()
    {
        auto slot = std::make_unique<DerivedSlot>(true);
        slot->installCallback(std::make_unique<MortalCB>());

        slot.reset();

        QCOMPARE(seen, QStringList("callback died"));
    }

    // Direct calls

    void handsAPayloadOnAndEmptiesItsStore()
    {
        DerivedSlot slot(true);
        slot.setCallback(withData);

        slot.onSig(VariantCollection{{"a", 1}, {"b", 2}});

        QCOMPARE(seen, QStringList("data {a=1, b=2}")); // and the virtual onSig() was not called
        QVERIFY(slot.stored().isEmpty());
        QVERIFY(slot.data().isEmpty());
    }

    void handsAPairOnThroughTheVirtualOnSig()
    {
        DerivedSlot slot(true);
        slot.setCallback(withData);

        slot.onSig(Data::String("a"), Data::Variant(1));

        QCOMPARE(seen, (QStringList{"onSig {a=1}", "data {a=1}"}));
        QVERIFY(slot.stored().isEmpty());
    }

    void takesAPlainValueForABareNotification()
    {
        DerivedSlot slot(true);
        slot.setCallback(withData);

        slot.onSig(Data::Variant(5));
        slot.onSig(Data::Variant());

        QCOMPARE(seen, (QStringList{"onSig {}", "data {}", "onSig {}", "data {}"}));
    }

    void storesAnItemUnderItsKey()
    {
        DerivedSlot slot(true);
        static VariantCollection stored;
        stored.clear();
        slot.setCallback([](const VariantCollection &data) { stored = data; });
        Item item;

        slot.onSig(Data::itemVariant(&item));

        QCOMPARE(stored.keys(), QList<Data::String>{"item"});
        QCOMPARE(Data::itemOf(stored.value("item")), static_cast<Data::IDataItem *>(&item));
        QVERIFY(slot.stored().isEmpty());
    }

    void storesAnItemThatIsNull()
    {
        DerivedSlot slot(true);

        slot.onSig(Data::itemVariant(nullptr));

        QCOMPARE(seen.size(), 1);
        QVERIFY(seen.first().startsWith("onSig {item="));
    }

    void addsAPairToWhatIsStored()
    {
        // A pair delivered from within a payload delivery finds the payload and empties it all.
        DerivedSlot slot(true);
        static DerivedSlot *inner;
        inner = &slot;
        slot.setCallback([](const VariantCollection &data) {
            seen.append("data " + describe(data));
            if (seen.size() == 1)
                inner->onSig(Data::String("b"), Data::Variant(2));
        });

        slot.onSig(VariantCollection{{"a", 1}});

        QCOMPARE(seen, (QStringList{"data {a=1}", "onSig {a=1, b=2}", "data {a=1, b=2}"}));
        QVERIFY(slot.stored().isEmpty());
    }

    void copiesAPayloadOnceForAllPairsWithinIt()
    {
        SKIP_ON_WINDOWS("the allocations of a program on Windows are not counted");
        static const int numPairs = 1000;
        VariantCollection payload;
        for (int i = 0; i < numPairs; ++i)
            payload.insert(QString::number(i), i);
        static Slot *called;
        Slot slot("", nullptr);
        called = &slot;
        static std::int64_t count;
        slot.setCallback([](const VariantCollection &data) {
            if (data.size() < numPairs) // that of a pair
                return;
            called->setEnabled(false);
            const Data::String key = "key";
            const AllocatedMemory used;
            for (int i = 0; i < numPairs; ++i)
                called->onSig(key, Data::Variant(i));
            count = used.count();
        });

        slot.onSig(payload);

        QVERIFY(count > numPairs);
        QVERIFY2(count < 10 * numPairs, QByteArray::number(qint64(count)));
    }

    void letsAnOverrideStandInForAllButAPayload()
    {
        DerivedSlot slot(/*callsBase=*/false);
        slot.setCallback(plain);

        slot.onSig(Data::String("a"), Data::Variant(1));
        slot.onSig(Data::Variant(1));
        static_cast<Slot &>(slot).onSig();
        QCOMPARE(seen, (QStringList{"onSig {a=1}", "onSig {}", "onSig {}"}));

        slot.onSig(VariantCollection{{"a", 1}});
        QCOMPARE(seen.mid(3), QStringList("plain"));
    }

    void callsNothingWhileItIsDisabled()
    {
        DerivedSlot slot(true);
        slot.setCallback(plain);
        slot.setEnabled(false);
        QVERIFY(!slot.isEnabled());

        slot.onSig(VariantCollection{{"a", 1}});
        QCOMPARE(seen, QStringList());
        QVERIFY(slot.stored().isEmpty());

        // The other shapes are stored and go through the virtual onSig(), where they end.
        slot.onSig(Data::String("a"), Data::Variant(1));
        slot.onSig(Data::Variant(1));
        static_cast<Slot &>(slot).onSig();
        QCOMPARE(seen, (QStringList{"onSig {a=1}", "onSig {}", "onSig {}"}));
        QVERIFY(slot.stored().isEmpty());

        slot.setEnabled(true);
        slot.onSig(VariantCollection{{"a", 1}});
        QCOMPARE(seen.mid(3), QStringList("plain"));
    }

    void doesNotLetDisablingReachAnOverrideThatKeepsToItself()
    {
        DerivedSlot slot(/*callsBase=*/false);
        slot.setEnabled(false);

        slot.onSig(Data::String("a"), Data::Variant(1));

        QCOMPARE(seen, QStringList("onSig {a=1}"));
    }

    // Deliveries by signals

    void answersTheSendersPayloadInEveryShape_data()
    {
        QTest::addColumn<QByteArray>("method");

        // clang-format off
        QTest::newRow("bare") << QByteArray(SLOT(onSig()));
        QTest::newRow("payload") << QByteArray(SLOT(onSig(const Data::VariantCollection &)));
        QTest::newRow("single") << QByteArray(SLOT(onSig(const Data::Variant &)));
        QTest::newRow("pair") << QByteArray(SLOT(onSig(const Data::String &, const Data::Variant &)));
        // clang-format on
    }

    void answersTheSendersPayloadInEveryShape()
    {
        QFETCH(QByteArray, method);
        PublicSignal signal("Opened", nullptr);
        Slot slot("", nullptr);
        QVERIFY(static_cast<Utils::Signal &>(signal).connect(&slot, method.constData()));
        static const Slot *expected;
        static QObject *sender;
        expected = &slot;
        slot.setCallback([](const Slot *delivered) {
            QCOMPARE(delivered, expected);
            sender = delivered->getSender();
            seen.append(delivered->signalName() + " " + describe(delivered->data()));
        });

        send(signal, {{"a", 1}});

        QCOMPARE(seen, QStringList("Opened {a=1}"));
        QCOMPARE(sender, static_cast<QObject *>(&signal));
        QVERIFY(slot.data().isEmpty());
        QVERIFY(!slot.getSender());
        QCOMPARE(slot.signalName(), Data::String());
    }

    void answersTheWholePayloadAlsoToTheItemShape()
    {
        PublicSignal signal("x", nullptr);
        Slot slot("", nullptr);
        slot.setCallback(withData);
        signal.connect(&slot, SLOT(onSig(const Data::String &, const Data::Variant &)));

        send(signal, {{"a", 1}, {"item", "p"}});

        QCOMPARE(seen, QStringList("data {a=1, item=p}"));
    }

    void answersTheSendersPayloadAlsoWhenAnItemIsDelivered()
    {
        PublicSignal signal("x", nullptr);
        Slot slot("", nullptr);
        signal.connect(&slot, SLOT(onSig(const Data::Variant &)));
        static VariantCollection payload;
        slot.setCallback([](const VariantCollection &data) { payload = data; });
        Item item;

        send(signal, {{"key", Data::itemVariant(&item)}});

        QCOMPARE(payload.keys(), QList<Data::String>{"key"}); // and not "item"
    }

    void answersAnEmptyPayloadOfTheSenderRatherThanItsOwnStore()
    {
        PublicSignal signal("x", nullptr);
        DerivedSlot slot(true);
        slot.m_data["own"] = 1;
        slot.setCallback(withData);
        signal.connect(&slot, SLOT(onSig()));

        signal.sendSignals();

        QCOMPARE(seen, (QStringList{"onSig {own=1}", "data {}"}));
    }

    void asksTheSenderEvenInADirectCallFromWithinItsDelivery()
    {
        PublicSignal signal("x", nullptr);
        Slot slot("", nullptr);
        signal.connect(&slot, SLOT(onSig()));
        static Slot *inner;
        inner = &slot;
        slot.setCallback([](const VariantCollection &data) {
            seen.append("data " + describe(data));
            if (seen.size() == 1)
                inner->onSig(VariantCollection{{"own", 2}});
        });

        send(signal, {{"a", 1}});

        QCOMPARE(seen, (QStringList{"data {a=1}", "data {a=1}"}));
    }

    void answersTheInnerSenderDuringItsDeliveryAndTheOuterOneBehindIt()
    {
        PublicSignal outer("outer", nullptr);
        PublicSignal inner("inner", nullptr);
        Slot slot("", nullptr);
        outer.connect(&slot, SLOT(onSig()));
        inner.connect(&slot, SLOT(onSig()));
        static PublicSignal *nested;
        nested = &inner;
        slot.setCallback([](const Slot *delivered) {
            seen.append(delivered->signalName());
            if (seen.size() > 1)
                return;
            nested->sendSignals();
            seen.append(delivered->signalName() + " " + describe(delivered->data()));
        });

        send(outer, {{"a", 1}});

        QCOMPARE(seen, (QStringList{"outer", "inner", "outer {a=1}"}));
    }

    void answersItsOwnStoreOnceTheSenderIsDisconnected()
    {
        PublicSignal signal("x", nullptr);
        Slot slot("", nullptr);
        signal.connect(&slot);
        static PublicSignal *sender;
        sender = &signal;
        slot.setCallback([](const Slot *delivered) {
            QObject::disconnect(sender, nullptr, delivered, nullptr);
            seen.append(delivered->signalName() + describe(delivered->data()));
        });

        send(signal, {{"a", 1}});

        QCOMPARE(seen, QStringList("{a=1}")); // no name any more, and the stored payload
    }

    // Deliveries by plain Qt signals

    void connectsItsBareShapeToAnyQtSignal()
    {
        PlainSender sender;
        sender.setObjectName("plain");
        Slot slot("", nullptr);
        slot.setCallback([](const Slot *delivered) {
            seen.append(delivered->getSender()->objectName() + "/" + delivered->signalName() + "/" +
                        describe(delivered->data()));
        });

        QVERIFY(slot.connect(&sender, SIGNAL(bare())));
        QVERIFY(slot.connect(&sender, SIGNAL(number(int))));
        Q_EMIT sender.bare();
        Q_EMIT sender.number(5);

        QCOMPARE(seen, (QStringList{"plain//{}", "plain//{}"}));
    }

    void takesEveryShapeFromAPlainSender()
    {
        PlainSender sender;
        Slot slot("", nullptr);
        slot.setCallback(withData);
        QObject::connect(&sender, SIGNAL(bare()), &slot, SLOT(onSig()));
        QObject::connect(&sender, SIGNAL(single(Data::Variant)), &slot, SLOT(onSig(Data::Variant)));
        QObject::connect(&sender, SIGNAL(pair(Data::String, Data::Variant)), &slot,
                         SLOT(onSig(Data::String, Data::Variant)));
        QObject::connect(&sender, SIGNAL(payload(Data::VariantCollection)), &slot,
                         SLOT(onSig(Data::VariantCollection)));

        Q_EMIT sender.bare();
        Q_EMIT sender.single(1);
        Q_EMIT sender.pair("a", 1);
        Q_EMIT sender.payload({{"a", 1}, {"b", 2}});

        QCOMPARE(seen, (QStringList{"data {}", "data {}", "data {a=1}", "data {a=1, b=2}"}));
        QVERIFY(slot.data().isEmpty());
    }

    void reachesTheMostDerivedOverrideThroughTheMetaObject()
    {
        DerivedSlot slot(false);

        QVERIFY(QMetaObject::invokeMethod(&slot, "onSig"));

        QCOMPARE(seen, QStringList("onSig {}"));
    }

    void isConnectedAutomatically()
    {
        QThread thread;
        PlainSender sender;
        Slot slot("", nullptr);
        slot.setCallback(plain);
        QVERIFY(slot.connect(&sender, SIGNAL(bare())));
        slot.moveToThread(&thread); // which never runs

        Q_EMIT sender.bare();

        QCOMPARE(seen, QStringList());
    }

    void refusesWhatQtCannotConnect()
    {
        PlainSender sender;
        Slot slot("", nullptr);

        QVERIFY(!slot.connect(nullptr, SIGNAL(bare())));
        QVERIFY(!slot.connect(&sender, nullptr));
        QVERIFY(!slot.connect(&sender, SIGNAL(unknown())));
        QVERIFY(!slot.connect(&sender, "bare()"));
    }

    // Shape of the class

    void hasItsMetaMethodsInAFixedOrder()
    {
        const QMetaObject &meta = Slot::staticMetaObject;
        const int first = meta.methodOffset();
        QCOMPARE(QByteArray(meta.className()), QByteArray("Utils::Slot"));
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);

        QCOMPARE(meta.methodCount() - first, 4);
        QCOMPARE(meta.indexOfSlot("onSig()"), first);
        QCOMPARE(meta.indexOfSlot("onSig(Data::VariantCollection)"), first + 1);
        QCOMPARE(meta.indexOfSlot("onSig(Data::Variant)"), first + 2);
        QCOMPARE(meta.indexOfSlot("onSig(Data::String,Data::Variant)"), first + 3);
    }

    void hasItsVirtualOperationsInTheReverseOrder()
    {
        bool (Slot::*const connectSignal)(QObject *, const char *) = &Slot::connect;
        void (Slot::*const pair)(const Data::String &, const Data::Variant &) = &Slot::onSig;
        void (Slot::*const single)(const Data::Variant &) = &Slot::onSig;
        void (Slot::*const payload)(const VariantCollection &) = &Slot::onSig;
        void (Slot::*const bare)() = &Slot::onSig;
        const int first = vtableIndex(connectSignal);

        QVERIFY(first > vtableIndex(&QObject::eventFilter));
        QCOMPARE(vtableIndex(pair), first + 1);
        QCOMPARE(vtableIndex(single), first + 2);
        QCOMPARE(vtableIndex(payload), first + 3);
        QCOMPARE(vtableIndex(bare), first + 4);
    }

    void callsItsCallbackThroughTheSecondVirtualOperation()
    {
        // Behind the destructor, which takes two places.
        QCOMPARE(vtableIndex(&Utils::SlotCB::call), 2);
        QVERIFY(std::is_abstract_v<Utils::SlotCB>);
    }

    void isNotCopied()
    {
        QVERIFY(!std::is_copy_constructible_v<Slot>);
        QVERIFY(!std::is_copy_assignable_v<Slot>);
    }

    void translatesInItsOwnContext()
    {
        QCOMPARE(Slot::tr("text"), QString("text"));
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        QCOMPARE(Slot::trUtf8("text"), QString("text"));
        QT_WARNING_POP
    }
};

QTEST_GUILESS_MAIN(tst_Slot)
#include "tst_Slot.moc"
