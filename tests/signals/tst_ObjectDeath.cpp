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

#include <iterator>
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
    MemberWithData,
    Lambda,
    LambdaWithSlot,
    LambdaWithData
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
    {Callback::Lambda, "lambda"},
    {Callback::LambdaWithSlot, "lambda with slot"},
    {Callback::LambdaWithData, "lambda with data"},
};

enum class Shape
{
    Bare,
    Single,
    Pair,
    Payload
};

/// The method of a slot that takes \p shape.
static const char *slotMethod(Shape shape)
{
    switch (shape) {
    case Shape::Bare:
        return SLOT(onSig());
    case Shape::Single:
        return SLOT(onSig(const Data::Variant &));
    case Shape::Pair:
        return SLOT(onSig(const Data::String &, const Data::Variant &));
    case Shape::Payload:
        break;
    }
    return SLOT(onSig(const Data::VariantCollection &));
}

/// A payload, and the emissions of a send of it, in order, as a Recorder notes them.
struct Row
{
    const char *name;
    VariantCollection payload;
    QVector<Shape> shapes;
    QStringList emissions;
};

static const Row rows[] = {
    {"no entry", {}, {Shape::Bare}, {"sig()"}},
    {"one entry",
     {{"a", 1}},
     {Shape::Bare, Shape::Single, Shape::Pair, Shape::Payload},
     {"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"}},
    {"an item among two",
     {{"a", 1}, {"item", 2}},
     {Shape::Bare, Shape::Pair, Shape::Payload},
     {"sig()", "sig(item, 2)", "sig({a=1, item=2})"}},
    {"two without an item",
     {{"a", 1}, {"b", 2}},
     {Shape::Bare, Shape::Payload},
     {"sig()", "sig({a=1, b=2})"}},
};
static const Row &oneEntry = rows[1];

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

public:
    explicit PlainSender(const Row &row) : m_row(row) {}

public Q_SLOTS:
    void sendSignals()
    {
        const QPointer<PlainSender> self(this);
        const Row &row = m_row; // outlives the sender
        for (Shape shape : row.shapes) {
            if (self)
                emitShape(shape, row);
        }
    }

Q_SIGNALS:
    void sig();
    void sig(const Data::VariantCollection &payload);
    void sig(const Data::Variant &value);
    void sig(const Data::String &key, const Data::Variant &value);

private:
    void emitShape(Shape shape, const Row &row)
    {
        switch (shape) {
        case Shape::Bare:
            Q_EMIT sig();
            break;
        case Shape::Single:
            Q_EMIT sig(row.payload.first());
            break;
        case Shape::Pair:
            Q_EMIT sig(row.payload.lastKey(), row.payload.last()); // which is the item, if any
            break;
        case Shape::Payload:
            Q_EMIT sig(row.payload);
            break;
        }
    }

    const Row &m_row;
};

/// A sender, a slot that acts at its first delivery, and two bystanders that are connected after
/// it: a receiver of every shape, and a slot of the same shape.
class Scene
{
public:
    Scene(Sender kind, const Row &row, Shape shape, Action action, Callback callback);
    ~Scene();

    void run();
    void send();

    static Scene *current; // for the callbacks that are plain functions
    void act();
    void actAndRead(const QString &captured);
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
    const Row &row;
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
    int intactCalls = 0; // of lambdas that find afterwards what they have captured
};

Scene *Scene::current = nullptr;

Scene::Scene(Sender senderKind, const Row &sent, Shape shape, Action wanted, Callback callback)
    : kind(senderKind), row(sent), action(wanted), owner(new Owner),
      lone(wanted == Action::DeleteSlot ? new Slot("acting", nullptr) : nullptr)
{
    current = this;
    slot = lone ? lone : &owner->slot;
    install(*slot, callback);
    bystander.setCallback([] { ++current->bystanderCalls; });

    sender = makeSender(kind);
    connectTo(slot, slotMethod(shape));
    connectTo(&bystander, slotMethod(shape));
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
        return new PlainSender(row);
    case Sender::SingleShot:
        break;
    }
    // Receivers are connected as to the other senders: the one that it is made with dies at once.
    const Recorder nobody;
    Signal::singleShot(&nobody, SLOT(bare()), row.payload, 0, "call");
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
    const QString text(100, 'y');
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
    case Callback::Lambda:
        target.setCallback([this, text] { actAndRead(text); });
        break;
    case Callback::LambdaWithSlot:
        target.setCallback([this, text](const Slot *) { actAndRead(text); });
        break;
    case Callback::LambdaWithData:
        target.setCallback([this, text](const VariantCollection &) { actAndRead(text); });
        break;
    }
}

void Scene::actAndRead(const QString &captured)
{
    act();
    intactCalls += captured == QString(100, 'y');
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
    auto *const signal = qobject_cast<PublicSignal *>(sender);
    for (auto entry = row.payload.begin(); signal && entry != row.payload.end(); ++entry)
        signal->addData(entry.key(), *entry);
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

    if (slot) { // which must answer no matter which object was deleted
        slot->data();
        slot->signalName();
        slot->getSender();
    }
}

/// What the bystander sees of a send in which the slot acts at the emission \p index.
static QStringList expectedEmissions(Sender kind, const Row &row, int index, Action action)
{
    const QStringList &emissions = row.emissions;
    // A single value and its pair belong together. The later ones need a payload.
    const int own = row.shapes[index] == Shape::Single ? 2 : 1;

    switch (action) {
    case Action::DeleteSender: // the bystander is connected after the slot that acts
        return emissions.mid(0, index);
    case Action::BlockSignals:
        return emissions.mid(0, index + 1);
    case Action::ClearPayload:
        return emissions.mid(0, kind == Sender::Plain ? -1 : index + own);
    case Action::SendAgain:
        if (kind == Sender::SingleShot) // no longer waits, so that the nested send is dropped
            return emissions;
        return emissions.mid(0, index) + emissions +
               emissions.mid(index, kind == Sender::Plain ? -1 : own);
    default:
        return emissions;
    }
}

struct SignalOwner
{
    PublicSignal signal{"owned", nullptr};
};
struct SlotOwner
{
    Utils::DelayedSlot slot{"owned", nullptr};
};
Q_DECLARE_METATYPE(QSharedPointer<SignalOwner>)
Q_DECLARE_METATYPE(QSharedPointer<SlotOwner>)

class tst_ObjectDeath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesWhoeverIsStillAlive_data()
    {
        QTest::addColumn<Sender>("sender");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("index"); // of the emission at which the slot acts
        QTest::addColumn<Action>("action");
        QTest::addColumn<Callback>("callback");

        for (const auto &sender : senders)
            for (int row = 0; row < int(std::size(rows)); ++row)
                for (int index = 0; index < rows[row].shapes.size(); ++index)
                    for (const auto &action : actions)
                        for (const auto &callback : callbacks)
                            QTest::addRow("%s, %s, at %s, a %s %s", sender.name, rows[row].name,
                                          qPrintable(rows[row].emissions[index]), callback.name,
                                          action.name)
                                << sender.value << row << index << action.value << callback.value;
    }

    void servesWhoeverIsStillAlive()
    {
        QFETCH(Sender, sender);
        QFETCH(int, row);
        QFETCH(int, index);
        QFETCH(Action, action);
        QFETCH(Callback, callback);
        const Row &sent = rows[row];
        Scene scene(sender, sent, sent.shapes[index], action, callback);

        scene.run();

        const QStringList expected = expectedEmissions(sender, sent, index, action);
        QCOMPARE(scene.recorder.calls, expected);
        QCOMPARE(scene.bystanderCalls, expected.count(sent.emissions[index]));
        const bool isSlotDead = action == Action::DeleteSlot || action == Action::DeleteOwner;
        QCOMPARE(scene.slot.isNull(), isSlotDead);
        QCOMPARE(scene.sender.isNull(), action == Action::DeleteSender);
        const bool isServedTwice = action == Action::SendAgain && sender != Sender::SingleShot;
        QCOMPARE(scene.actingCalls, isServedTwice ? 2 : 1);
        QCOMPARE(scene.replacedCalls, 0); // not before the next delivery
        if (callback >= Callback::Lambda)
            QCOMPARE(scene.intactCalls, scene.actingCalls);
    }

    void hasLastingEffectsOnTheNextSend_data()
    {
        QTest::addColumn<Sender>("sender");
        QTest::addColumn<int>("index");
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("actingCalls");   // of both sends together
        QTest::addColumn<int>("replacedCalls"); // of the second send

        for (const auto &sender : senders) {
            if (sender.value == Sender::SingleShot) // sends once
                continue;
            for (int index = 0; index < oneEntry.shapes.size(); ++index) {
                const auto row = [&](const char *name, Action action, int acting, int replaced) {
                    QTest::addRow("%s, %s, %s", sender.name, qPrintable(oneEntry.emissions[index]),
                                  name)
                        << sender.value << index << action << acting << replaced;
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
        QFETCH(int, index);
        QFETCH(Action, action);
        QFETCH(int, actingCalls);
        QFETCH(int, replacedCalls);
        Scene scene(sender, oneEntry, oneEntry.shapes[index], action, Callback::Member);
        scene.send();
        scene.recorder.calls.clear();

        scene.send();

        QCOMPARE(scene.actingCalls, actingCalls);
        QCOMPARE(scene.replacedCalls, replacedCalls);
        QCOMPARE(scene.recorder.calls,
                 action == Action::BlockSignals ? QStringList() : oneEntry.emissions);
    }

    void failsASendWhoseSenderDies_data()
    {
        QTest::addColumn<int>("shape");
        for (int shape = 0; shape < oneEntry.emissions.size(); ++shape)
            QTest::addRow("%s", qPrintable(oneEntry.emissions[shape])) << shape;
    }

    void failsASendWhoseSenderDies()
    {
        QFETCH(int, shape);
        auto *const signal = new PublicSignal("x", nullptr);
        Recorder recorder;
        QVERIFY(connectAllShapes(*signal, recorder));
        recorder.reaction = [&] {
            if (recorder.calls.last() == oneEntry.emissions[shape])
                delete signal;
        };

        QVERIFY(!send(*signal, {{"a", 1}}));

        QCOMPARE(recorder.calls, oneEntry.emissions.mid(0, shape + 1));
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

    // Owners that travel in the payload of what they own

    void survivesAPayloadThatOwnsTheSignal_data()
    {
        QTest::addColumn<bool>("hasOneEntry");
        QTest::addColumn<QString>("clearedAt"); // the emission at which a receiver clears it

        for (bool hasOneEntry : {true, false}) {
            const char *const count = hasOneEntry ? "one entry" : "two entries";
            // clang-format off
            QTest::addRow("%s, by the send itself", count) << hasOneEntry << QString();
            QTest::addRow("%s, by a receiver of sig()", count) << hasOneEntry << QString("sig()");
            QTest::addRow("%s, by a receiver of sig(payload)", count) << hasOneEntry << QString("sig({");
            // clang-format on
        }
    }

    void survivesAPayloadThatOwnsTheSignal()
    {
        QFETCH(bool, hasOneEntry);
        QFETCH(QString, clearedAt);
        QSharedPointer<SignalOwner> owner(new SignalOwner);
        PublicSignal *const signal = &owner->signal;
        const QPointer<Signal> alive = signal;
        Recorder recorder;
        QVERIFY(connectAllShapes(*signal, recorder));
        recorder.reaction = [&] {
            if (!clearedAt.isEmpty() && recorder.calls.last().startsWith(clearedAt))
                signal->clearData();
        };
        signal->addData("self", QVariant::fromValue(owner));
        if (!hasOneEntry)
            signal->addData("other", 1);
        owner.reset();

        signal->sendSignals();

        QVERIFY(!alive);
    }

    void survivesASignalThatDiesWhenItsPayloadIsCleared()
    {
        class Suicidal : public PublicSignal
        {
        public:
            Suicidal() : PublicSignal("suicidal", nullptr) {}
            void clearData() override { delete this; }
        };
        auto *const signal = new Suicidal;

        QVERIFY(!signal->sendSignals());
    }

    void survivesAPayloadThatOwnsTheSlot_data()
    {
        QTest::addColumn<int>("end"); // what takes the payload away

        QTest::newRow("the call") << 0;
        QTest::newRow("a flush") << 1;
        QTest::newRow("a withdrawal") << 2;
        QTest::newRow("another payload") << 3;
        QTest::newRow("another value") << 4;
        QTest::newRow("a pair") << 5;
        QTest::newRow("a single value") << 6;
    }

    void survivesAPayloadThatOwnsTheSlot()
    {
        QFETCH(int, end);
        QSharedPointer<SlotOwner> owner(new SlotOwner);
        Utils::DelayedSlot *const slot = &owner->slot;
        m_victim = slot;
        slot->postPending("self", QVariant::fromValue(owner));
        owner.reset();

        switch (end) {
        case 0:
            break;
        case 1:
            QVERIFY(slot->flushPending());
            break;
        case 2:
            slot->ignorePending();
            break;
        case 3:
            slot->onSig(VariantCollection{{"a", 1}});
            break;
        case 4:
            slot->postPending("self", 1);
            break;
        case 5:
            slot->onSig(Data::String("self"), Data::Variant(1));
            break;
        default:
            slot->onSig(Data::Variant(1));
        }
        QCoreApplication::processEvents();

        QVERIFY(!m_victim);
    }

    // Slots that die in their own callback

    void survivesASlotThatDiesInADirectCall_data()
    {
        QTest::addColumn<int>("shape");
        for (int shape = 0; shape < oneEntry.emissions.size(); ++shape)
            QTest::addRow("%s", qPrintable(oneEntry.emissions[shape])) << shape;
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
