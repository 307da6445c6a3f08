// What a receiver may do inside a delivery, for every kind of sender, every shape and every kind of
// callback. The outcomes are those of the table in docs/signals.md. Run under the sanitizers, these
// tests hold that nothing touches freed memory.

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "utils/signals/ConditionalSlot.h"
#include "utils/signals/DelayedSlot.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/Slot.h"

#include <QtTest>

#include <memory>

using Data::VariantCollection;
using Utils::PublicSignal;
using Utils::Signal;
using Utils::Slot;

enum class Sender
{
    Public,
    Derived,
    SingleShot,
    Plain
};

enum class Action
{
    DeleteSender,
    DeleteSlot,
    DeleteOwner,
    ReplaceCallback,
    ResetCallback,
    Disconnect,
    SendAgain,
    ClearPayload,
    BlockSignals
};

enum class Callback
{
    Function,
    FunctionWithSlot,
    FunctionWithData,
    Member,
    MemberWithSlot,
    MemberWithData
};

Q_DECLARE_METATYPE(Sender)
Q_DECLARE_METATYPE(Action)
Q_DECLARE_METATYPE(Callback)

template <typename T>
struct Named
{
    T value;
    const char *name;
};

static const Named<Sender> senders[] = {
    {Sender::Public, "a public signal"},
    {Sender::Derived, "a derived signal"},
    {Sender::SingleShot, "a single-shot call"},
    {Sender::Plain, "a plain QObject"},
};
static const Named<Action> actions[] = {
    {Action::DeleteSender, "deletes the sender"},
    {Action::DeleteSlot, "deletes the slot"},
    {Action::DeleteOwner, "deletes the slot's owner"},
    {Action::ReplaceCallback, "replaces its callback"},
    {Action::ResetCallback, "resets its callback"},
    {Action::Disconnect, "disconnects"},
    {Action::SendAgain, "sends again"},
    {Action::ClearPayload, "clears the payload"},
    {Action::BlockSignals, "blocks signals"},
};
static const Named<Callback> callbacks[] = {
    {Callback::Function, "function"},
    {Callback::FunctionWithSlot, "function with slot"},
    {Callback::FunctionWithData, "function with data"},
    {Callback::Member, "member"},
    {Callback::MemberWithSlot, "member with slot"},
    {Callback::MemberWithData, "member with data"},
};

/// The four emissions of a send with the payload {a=1}, in order, as a Recorder notes them, and the
/// methods of a slot that they reach.
static const QStringList emissions{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"};
static const char *const slotMethods[] = {
    SLOT(onSig()),
    SLOT(onSig(const Data::Variant &)),
    SLOT(onSig(const Data::String &, const Data::Variant &)),
    SLOT(onSig(const Data::VariantCollection &)),
};

/// A signal with an emission and with memory of its own.
class DerivedSignal : public PublicSignal
{
    Q_OBJECT

public:
    DerivedSignal() : PublicSignal("derived", nullptr) {}

    bool sendSignals() override
    {
        const QPointer<DerivedSignal> self(this);
        clearAborted();
        Q_EMIT announced(m_text);
        return self && !isAborted() && PublicSignal::sendSignals();
    }

Q_SIGNALS:
    void announced(const QString &text);

private:
    QString m_text = QString(100, 'x');
};

/// A sender that knows nothing of the bus, but has the shapes and the order of a Signal.
class PlainSender : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void sendSignals()
    {
        const QPointer<PlainSender> self(this);
        const auto emitIfAlive = [&](auto emission) {
            if (self)
                emission();
        };
        emitIfAlive([this] { Q_EMIT sig(); });
        emitIfAlive([this] { Q_EMIT sig(Data::Variant(1)); });
        emitIfAlive([this] { Q_EMIT sig("a", 1); });
        emitIfAlive([this] { Q_EMIT sig(VariantCollection{{"a", 1}}); });
    }

Q_SIGNALS:
    void sig();
    void sig(const Data::VariantCollection &payload);
    void sig(const Data::Variant &value);
    void sig(const Data::String &key, const Data::Variant &value);
};

/// A sender, a slot that acts at its first delivery, and two bystanders that are connected behind
/// it: a receiver of every shape, and a slot of the same shape.
class Scene
{
public:
    Scene(Sender kind, int shape, Action action, Callback callback);
    ~Scene();

    void run();
    void send();

    static Scene *current; // for the callbacks that are plain functions
    void act();
    void noteReplaced() { ++replacedCalls; }

    /// Has the slot as a member, and is the object of the member callbacks.
    struct Owner
    {
        Slot slot{"acting", nullptr};
        void plain() { current->act(); }
        void withSlot(const Slot *) { current->act(); }
        void withData(const VariantCollection &) { current->act(); }
    };

    QObject *makeSender(Sender kind);
    bool connectTo(const QObject *receiver, const char *method);
    void install(Slot &slot, Callback callback);

    const Sender kind;
    const Action action;
    QPointer<QObject> sender;
    Owner *owner;
    Slot *lone; // deleted by itself; null when the slot is the owner's
    QPointer<Slot> slot;
    Recorder recorder;
    Slot bystander{"bystander", nullptr};
    int actingCalls = 0;
    int replacedCalls = 0;
    int bystanderCalls = 0;
};

Scene *Scene::current = nullptr;

Scene::Scene(Sender senderKind, int shape, Action wanted, Callback callback)
    : kind(senderKind), action(wanted), owner(new Owner),
      lone(wanted == Action::DeleteSlot ? new Slot("acting", nullptr) : nullptr)
{
    current = this;
    slot = lone ? lone : &owner->slot;
    install(*slot, callback);
    bystander.setCallback([] { ++current->bystanderCalls; });

    sender = makeSender(kind);
    connectTo(slot, slotMethods[shape]);
    connectTo(&bystander, slotMethods[shape]);
    connectTo(&recorder, SLOT(bare()));
    connectTo(&recorder, SLOT(single(const Data::Variant &)));
    connectTo(&recorder, SLOT(pair(const Data::String &, const Data::Variant &)));
    connectTo(&recorder, SLOT(payload(const Data::VariantCollection &)));
}

Scene::~Scene()
{
    delete sender;
    delete owner;
    if (slot && lone)
        delete lone;
    current = nullptr;
}

QObject *Scene::makeSender(Sender senderKind)
{
    switch (senderKind) {
    case Sender::Public:
        return new PublicSignal("public", nullptr);
    case Sender::Derived:
        return new DerivedSignal;
    case Sender::Plain:
        return new PlainSender;
    case Sender::SingleShot:
        break;
    }
    // Receivers are connected as to the other senders: the one that it is made with dies at once.
    const Recorder nobody;
    Signal::singleShot(&nobody, SLOT(bare()), {{"a", 1}}, 0, "call");
    return Signal::find("call");
}

bool Scene::connectTo(const QObject *receiver, const char *method)
{
    if (auto *signal = qobject_cast<Signal *>(sender))
        return signal->connect(receiver, method);
    const QByteArray signature(method + 1);
    return QObject::connect(sender, "2sig" + signature.mid(signature.indexOf('(')), receiver,
                            method);
}

void Scene::install(Slot &target, Callback callback)
{
    switch (callback) {
    case Callback::Function:
        target.setCallback([] { current->act(); });
        break;
    case Callback::FunctionWithSlot:
        target.setCallback([](const Slot *) { current->act(); });
        break;
    case Callback::FunctionWithData:
        target.setCallback([](const VariantCollection &) { current->act(); });
        break;
    case Callback::Member:
        target.setCallback(owner, &Owner::plain);
        break;
    case Callback::MemberWithSlot:
        target.setCallback(owner, &Owner::withSlot);
        break;
    case Callback::MemberWithData:
        target.setCallback(owner, &Owner::withData);
        break;
    }
}

void Scene::run()
{
    if (kind == Sender::SingleShot)
        QCoreApplication::processEvents(); // its time has come
    else
        send();
}

void Scene::send()
{
    if (auto *signal = qobject_cast<PublicSignal *>(sender))
        signal->addData("a", 1);
    QMetaObject::invokeMethod(sender, "sendSignals");
}

void Scene::act()
{
    if (++actingCalls > 1)
        return;
    auto *const signal = qobject_cast<Signal *>(sender);

    switch (action) {
    case Action::DeleteSender:
        delete sender;
        break;
    case Action::DeleteSlot:
        delete slot;
        break;
    case Action::DeleteOwner:
        delete owner;
        owner = nullptr;
        break;
    case Action::ReplaceCallback:
        slot->setCallback(this, &Scene::noteReplaced);
        break;
    case Action::ResetCallback:
        slot->resetCallback();
        break;
    case Action::Disconnect:
        QObject::disconnect(sender, nullptr, slot, nullptr);
        break;
    case Action::SendAgain:
        QMetaObject::invokeMethod(sender, "sendSignals");
        break;
    case Action::ClearPayload:
        if (signal)
            signal->clearData();
        break;
    case Action::BlockSignals:
        sender->blockSignals(true);
        break;
    }

    if (slot) { // which must be able to answer whatever has died
        slot->data();
        slot->signalName();
        slot->getSender();
    }
}

/// What the bystander sees of a send in which the slot of one shape acts.
static QStringList expectedEmissions(Sender kind, int shape, Action action)
{
    switch (action) {
    case Action::DeleteSender: // it is connected behind the slot that acts
        return emissions.mid(0, shape);
    case Action::BlockSignals: // from the next emission on
        return emissions.mid(0, shape + 1);
    case Action::ClearPayload:
        if (kind == Sender::Plain || shape == 3)
            return emissions;
        return shape == 0 ? emissions.mid(0, 1) : emissions.mid(0, 3);
    case Action::SendAgain: {
        if (kind == Sender::SingleShot) // no longer waits, so that the nested send is dropped
            return emissions;
        const QStringList outer = emissions.mid(shape);
        if (kind == Sender::Plain)
            return emissions.mid(0, shape) + emissions + outer;
        // The nested send has emptied the payload. The pair was saved together with the value.
        return emissions.mid(0, shape) + emissions + outer.mid(0, shape == 1 ? 2 : 1);
    }
    default:
        return emissions;
    }
}

class tst_ObjectDeath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesWhoeverIsStillAlive_data()
    {
        QTest::addColumn<Sender>("sender");
        QTest::addColumn<int>("shape"); // index of the emission at which the slot acts
        QTest::addColumn<Action>("action");
        QTest::addColumn<Callback>("callback");

        for (const auto &sender : senders)
            for (int shape = 0; shape < emissions.size(); ++shape)
                for (const auto &action : actions)
                    for (const auto &callback : callbacks)
                        QTest::addRow("%s, %s, a %s %s", sender.name, qPrintable(emissions[shape]),
                                      callback.name, action.name)
                            << sender.value << shape << action.value << callback.value;
    }

    void servesWhoeverIsStillAlive()
    {
        QFETCH(Sender, sender);
        QFETCH(int, shape);
        QFETCH(Action, action);
        QFETCH(Callback, callback);
        Scene scene(sender, shape, action, callback);

        scene.run();

        const QStringList expected = expectedEmissions(sender, shape, action);
        QCOMPARE(scene.recorder.calls, expected);
        QCOMPARE(scene.bystanderCalls, expected.count(emissions[shape]));
        const bool isSlotDead = action == Action::DeleteSlot || action == Action::DeleteOwner;
        QCOMPARE(scene.slot.isNull(), isSlotDead);
        QCOMPARE(scene.sender.isNull(), action == Action::DeleteSender);
        const bool isServedTwice = action == Action::SendAgain && sender != Sender::SingleShot;
        QCOMPARE(scene.actingCalls, isServedTwice ? 2 : 1);
        QCOMPARE(scene.replacedCalls, 0); // not before the next delivery
    }

    void hasLastingEffectsOnTheNextSend_data()
    {
        QTest::addColumn<Sender>("sender");
        QTest::addColumn<int>("shape");
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("actingCalls");   // of both sends together
        QTest::addColumn<int>("replacedCalls"); // of the second send

        for (const auto &sender : senders) {
            if (sender.value == Sender::SingleShot) // sends once
                continue;
            for (int shape = 0; shape < emissions.size(); ++shape) {
                const auto row = [&](const char *name, Action action, int acting, int replaced) {
                    QTest::addRow("%s, %s, %s", sender.name, qPrintable(emissions[shape]), name)
                        << sender.value << shape << action << acting << replaced;
                };
                row("slot deleted", Action::DeleteSlot, 1, 0);
                row("owner deleted", Action::DeleteOwner, 1, 0);
                row("callback replaced", Action::ReplaceCallback, 1, 1);
                row("callback reset", Action::ResetCallback, 1, 0);
                row("disconnected", Action::Disconnect, 1, 0);
                row("payload cleared", Action::ClearPayload, 2, 0);
                row("signals blocked", Action::BlockSignals, 1, 0);
            }
        }
    }

    void hasLastingEffectsOnTheNextSend()
    {
        QFETCH(Sender, sender);
        QFETCH(int, shape);
        QFETCH(Action, action);
        QFETCH(int, actingCalls);
        QFETCH(int, replacedCalls);
        Scene scene(sender, shape, action, Callback::Member);
        scene.send();
        scene.recorder.calls.clear();

        scene.send();

        QCOMPARE(scene.actingCalls, actingCalls);
        QCOMPARE(scene.replacedCalls, replacedCalls);
        QCOMPARE(scene.recorder.calls, action == Action::BlockSignals ? QStringList() : emissions);
    }

    void failsASendWhoseSenderDies_data()
    {
        QTest::addColumn<int>("shape");
        for (int shape = 0; shape < emissions.size(); ++shape)
            QTest::addRow("%s", qPrintable(emissions[shape])) << shape;
    }

    void failsASendWhoseSenderDies()
    {
        QFETCH(int, shape);
        auto *const signal = new PublicSignal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(*signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == emissions[shape])
                delete signal;
        };

        QVERIFY(!send(*signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, emissions.mid(0, shape + 1));
        QVERIFY(!Signal::find("x"));
    }

    void failsAnItemSendWhoseSenderDies()
    {
        auto *const signal = new PublicSignal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(*signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.size() == 2)
                delete signal;
        };

        QVERIFY(!send(*signal, {{"a", 1}, {"item", "p"}}));

        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig(item, p)"}));
    }

    void failsTheOuterSendWhenTheSenderDiesInANestedOne()
    {
        auto *const signal = new PublicSignal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(*signal, recorder));
        bool innerResult = true;
        recorder.reaction = [&] {
            if (recorder.calls.size() == 1)
                innerResult = signal->sendSignals();
            else if (recorder.calls.size() == 3)
                delete signal;
        };

        QVERIFY(!send(*signal, {{"a", 1}}));

        QVERIFY(!innerResult);
        QCOMPARE(recorder.calls, (QStringList{"sig()", "sig()", "sig(1)"}));
    }

    void survivesAReceiverThatDeletesTheOneBehindIt()
    {
        PublicSignal signal("x", nullptr);
        Recorder first;
        auto second = std::make_unique<Recorder>();
        Recorder third;
        for (Recorder *recorder : {&first, second.get(), &third})
            QVERIFY(signal.connect(recorder, SLOT(bare())));
        first.reaction = [&] { second.reset(); };

        QVERIFY(signal.sendSignals());

        QCOMPARE(third.calls, QStringList("sig()"));
    }

    // Slots that die in their own callback

    void survivesASlotThatDiesInADirectCall_data()
    {
        QTest::addColumn<int>("shape");
        for (int shape = 0; shape < emissions.size(); ++shape)
            QTest::addRow("%s", qPrintable(emissions[shape])) << shape;
    }

    void survivesASlotThatDiesInADirectCall()
    {
        QFETCH(int, shape);
        m_victim = new Slot("", nullptr);
        m_victim->setCallback(deleteVictim);

        switch (shape) {
        case 0:
            m_victim->onSig();
            break;
        case 1:
            m_victim->onSig(Data::Variant(1));
            break;
        case 2:
            m_victim->onSig(Data::String("a"), Data::Variant(1));
            break;
        default:
            m_victim->onSig(VariantCollection{{"a", 1}});
        }

        QVERIFY(!m_victim);
    }

    void survivesADelayedSlotThatDiesInItsCall()
    {
        auto *const slot = new Utils::DelayedSlot("", nullptr);
        m_victim = slot;
        slot->setCallback(deleteVictim);

        slot->postPending("a", 1);
        QCoreApplication::processEvents();

        QVERIFY(!m_victim);
    }

    void survivesADelayedSlotThatDiesInAFlush()
    {
        auto *const slot = new Utils::DelayedSlot("", nullptr);
        m_victim = slot;
        slot->setCallback(deleteVictim);
        slot->postPending("a", 1);

        QVERIFY(slot->flushPending());

        QVERIFY(!m_victim);
        QCoreApplication::processEvents();
    }

    void survivesADelayedSlotThatDiesInItsOverride()
    {
        class DerivedSlot : public Utils::DelayedSlot
        {
        public:
            DerivedSlot() : DelayedSlot("", nullptr) {}
            using DelayedSlot::onSig;
            void onSig() override { delete this; }
        };
        auto *const slot = new DerivedSlot;
        m_victim = slot;

        slot->postPending();
        QCoreApplication::processEvents();

        QVERIFY(!m_victim);
    }

    void survivesADelayedSlotThatDiesWhileACallWaits()
    {
        auto slot = std::make_unique<Utils::DelayedSlot>("", nullptr);
        slot->setCallback(deleteVictim);
        slot->postPending();

        slot.reset();

        QCoreApplication::processEvents();
    }

    void survivesAConditionalSlotThatDiesInItsCall()
    {
        auto *const slot = new Utils::ConditionalSlot("a", "*", "", nullptr);
        slot->addData("b", 1);
        m_victim = slot;
        slot->setCallback(deleteVictim);
        PublicSignal signal("x", nullptr);
        Recorder recorder;
        QVERIFY(slot->connect(&signal));
        QVERIFY(connectAllShapes(signal, recorder));

        QVERIFY(send(signal, {{"a", "text"}}));

        QVERIFY(!m_victim);
        QCOMPARE(recorder.calls.last(), QString("sig({a=text})"));
    }

private:
    static void deleteVictim() { delete m_victim; }

    static inline QPointer<Slot> m_victim;
};

QTEST_GUILESS_MAIN(tst_ObjectDeath)
#include "tst_ObjectDeath.moc"
