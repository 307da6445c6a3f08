#include "utils/signals/Connection.h"

#include "tests/support/Print.h"
#include "tests/support/Recorder.h"
#include "utils/files/FileWatch.h"
#include "utils/settings/SettingsSignal.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/ScopedConnection.h"
#include "utils/signals/SignalBlocker.h"
#include "utils/signals/Slot.h"

#include <QtTest>

#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

using Data::VariantCollection;
using Utils::Connection;
using Utils::PublicSignal;
using Utils::ScopedConnection;
using Utils::Signal;

enum class Action
{
    DeleteSender,
    DeleteContext,
    DisconnectItself,
    DisconnectTheNext,
    DisconnectTheSender,
    ConnectAnother,
    SendAgain,
    ClearPayload,
    BlockSignals,
    Throw
};

Q_DECLARE_METATYPE(Action)

static const QStringList oneEntry{"sig()", "sig(1)", "sig(a, 1)", "sig({a=1})"};

/// A signal with a lambda that acts at its first call, and a recorder that is connected after it.
class Scene
{
public:
    Scene(Action wanted, int shape) : action(wanted)
    {
        const QString captured(100, 'y');
        const auto actor = [this, captured](auto &&...) {
            ++actingCalls;
            if (actingCalls == 1)
                act();
            intactCalls += captured == QString(100, 'y');
        };
        switch (shape) {
        case 0:
            own = signal->connect(context, [actor] { actor(); });
            break;
        case 1:
            own = signal->connect(context, [actor](const Data::Variant &value) { actor(value); });
            break;
        case 2:
            own = signal->connect(context,
                                  [actor](const Data::String &key, const Data::Variant &value) {
                                      actor(key, value);
                                  });
            break;
        default:
            own = signal->connect(context,
                                  [actor](const VariantCollection &payload) { actor(payload); });
        }
        const auto count = [this](auto &&...) { ++nextCalls; };
        next = shape == 0   ? signal->connect([count] { count(); })
               : shape == 1 ? signal->connect([count](const Data::Variant &v) { count(v); })
               : shape == 2 ? signal->connect([count](const Data::String &k,
                                                      const Data::Variant &v) { count(k, v); })
                            : signal->connect([count](const VariantCollection &p) { count(p); });
        connectAllShapes(*signal, recorder);
    }
    ~Scene()
    {
        delete signal;
        delete context;
    }

    Scene(const Scene &) = delete;
    Scene &operator=(const Scene &) = delete;

    void act()
    {
        switch (action) {
        case Action::DeleteSender:
            delete signal;
            break;
        case Action::DeleteContext:
            delete context;
            break;
        case Action::DisconnectItself:
            own.disconnect();
            break;
        case Action::DisconnectTheNext:
            next.disconnect();
            break;
        case Action::DisconnectTheSender:
            QObject::disconnect(signal, nullptr, nullptr, nullptr);
            break;
        case Action::ConnectAnother:
            signal->connect([this] { ++anotherCalls; });
            signal->connect([this](const VariantCollection &) { ++anotherCalls; });
            break;
        case Action::SendAgain:
            signal->sendSignals();
            break;
        case Action::ClearPayload:
            signal->clearData();
            break;
        case Action::BlockSignals:
            signal->blockSignals(true);
            break;
        case Action::Throw:
            throw std::runtime_error("thrown by a lambda");
        }
    }

    const Action action;
    QPointer<PublicSignal> signal = new PublicSignal("scene", nullptr);
    QPointer<QObject> context = new QObject;
    Recorder recorder;
    Connection own;
    Connection next;
    int actingCalls = 0;
    int intactCalls = 0;
    int nextCalls = 0;
    int anotherCalls = 0;
};

class tst_Connection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Shapes

    void isMadeToTheEmissionThatTheFunctionTakes()
    {
        PublicSignal signal("x", nullptr);
        QStringList seen;
        signal.connect([&](const VariantCollection &payload) {
            seen.append("sig(" + describe(payload) + ')');
        });
        signal.connect([&](const Data::String &key, const Data::Variant &value) {
            seen.append("sig(" + key + ", " + value.toString() + ')');
        });
        signal.connect([&](const Data::Variant &v) { seen.append("sig(" + v.toString() + ')'); });
        signal.connect([&] { seen.append("sig()"); });

        QVERIFY(signal.sendSignals());
        QCOMPARE(seen, QStringList("sig()"));
        seen.clear();

        QVERIFY(send(signal, {{"a", 1}}));
        QCOMPARE(seen, oneEntry);
    }

    void isMadeToTheFirstEmissionOfSeveral()
    {
        PublicSignal signal("x", nullptr);
        int count = 0;
        signal.connect([&](auto &&...) { ++count; });

        send(signal, {{"a", 1}});

        QCOMPARE(count, 1); // by sig() only
    }

    void isMadeToAnyFunctionThatCanBeCalled()
    {
        static int plainCalls;
        plainCalls = 0;
        struct Functions
        {
            static void plain() { ++plainCalls; }
            int operator()(VariantCollection payload) { return payload.size(); }
        };
        PublicSignal signal("x", nullptr);
        int calls = 0;
        const std::function<void()> function = [&] { ++calls; };

        QVERIFY(signal.connect(&Functions::plain).isConnected());
        QVERIFY(signal.connect(Functions::plain).isConnected());
        QVERIFY(signal.connect(Functions()).isConnected());
        QVERIFY(signal.connect(function).isConnected());
        QVERIFY(signal.connect([calls]() mutable { ++calls; }).isConnected());
        send(signal, {{"a", 1}});

        QCOMPARE(plainCalls, 2);
        QCOMPARE(calls, 1);
    }

    void isNotMadeToNothing()
    {
        PublicSignal signal("x", nullptr);

        QVERIFY(!signal.connect(std::function<void()>()).isConnected());
        QVERIFY(
            !signal.connectOnce(std::function<void(const VariantCollection &)>()).isConnected());
        QVERIFY(!signal.connect(static_cast<void (*)()>(nullptr)).isConnected());
        QVERIFY(!signal.connect(static_cast<QObject *>(nullptr), [] {}).isConnected());
        QVERIFY(!signal.connectOnce(static_cast<QObject *>(nullptr), [] {}).isConnected());
        QVERIFY(!Connection().isConnected());
        QVERIFY(!Connection().disconnect());
        QVERIFY(signal.sendSignals());
    }

    void leavesTheOtherFormsOfConnectAsTheyAre()
    {
        PublicSignal signal("x", nullptr);
        Utils::Slot slot("slot", nullptr);
        Recorder recorder;
        static_assert(std::is_same_v<decltype(signal.connect(&slot)), bool>);
        static_assert(std::is_same_v<decltype(signal.connect(&recorder, SLOT(bare()))), bool>);

        QVERIFY(signal.connect(&slot));
        QVERIFY(!signal.connect(nullptr));
        QVERIFY(!signal.connect(nullptr, nullptr));
        QVERIFY(signal.connect(&recorder, SLOT(bare())));
    }

    void isMadeByDerivedSignals()
    {
        class Changed : public Utils::SettingsSignal
        {
        public:
            Changed() : SettingsSignal("changed") {}
        };
        Changed changed;
        Utils::FileWatch watch("", 0);
        int calls = 0;

        QVERIFY(changed.connect([&] { ++calls; }).isConnected());
        QVERIFY(watch.connect([&] { ++calls; }).isConnected());
        QMetaObject::invokeMethod(&changed, "sendSignals");
        QMetaObject::invokeMethod(&watch, "sendSignals");

        QCOMPARE(calls, 2);
    }

    // Life

    void endsWhenItIsDisconnected()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        Connection connection = signal.connect([&] { ++calls; });
        const Connection copy = connection;
        signal.sendSignals();
        QVERIFY(copy.isConnected());

        QVERIFY(connection.disconnect());
        QVERIFY(!connection.disconnect());

        QVERIFY(!connection.isConnected());
        QVERIFY(!copy.isConnected());
        signal.sendSignals();
        QCOMPARE(calls, 1);
    }

    void outlivesItsHandles()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        {
            const Connection connection = signal.connect([&] { ++calls; });
        }

        signal.sendSignals();

        QCOMPARE(calls, 1);
    }

    void endsWithTheSignal()
    {
        auto signal = std::make_unique<PublicSignal>("x", nullptr);
        const auto captured = std::make_shared<int>(0);
        Connection connection = signal->connect([captured] { ++*captured; });
        Connection once = signal->connectOnce([captured] { ++*captured; });

        signal.reset();

        QVERIFY(!connection.isConnected());
        QVERIFY(!once.isConnected());
        QVERIFY(!connection.disconnect());
        QCOMPARE(captured.use_count(), 1L);
    }

    void endsWithItsContext()
    {
        PublicSignal signal("x", nullptr);
        auto context = std::make_unique<QObject>();
        const auto captured = std::make_shared<int>(0);
        const Connection connection = signal.connect(context.get(), [captured] { ++*captured; });
        const Connection once = signal.connectOnce(context.get(), [captured] { ++*captured; });
        signal.sendSignals();
        QCOMPARE(*captured, 2);
        QVERIFY(connection.isConnected());
        QVERIFY(!once.isConnected());

        context.reset();

        QVERIFY(!connection.isConnected());
        signal.sendSignals();
        QCOMPARE(*captured, 2);
        QCOMPARE(captured.use_count(), 1L);
    }

    void isACheapHandle()
    {
        QCOMPARE(sizeof(Connection), sizeof(void *));
        QVERIFY(std::is_nothrow_destructible_v<Connection>);
    }

    void costsNothingWhenItIsDead()
    {
        PublicSignal signal("x", nullptr);
        const auto captured = std::make_shared<int>(0);
        std::vector<Connection> connections;
        for (int i = 0; i < 1000; ++i)
            connections.push_back(signal.connect([captured] { ++*captured; }));
        signal.sendSignals();
        QCOMPARE(*captured, 1000);
        QCOMPARE(captured.use_count(), 1001L);

        for (Connection &connection : connections)
            QVERIFY(connection.disconnect());

        QCOMPARE(captured.use_count(), 1L); // although the handles exist
        int receivers = -1;
        Signal::setTracer([&](const Utils::SignalTrace &trace) { receivers = trace.receivers; });
        signal.sendSignals();
        Signal::setTracer(nullptr);
        QCOMPARE(receivers, 0);
        QCOMPARE(*captured, 1000);
    }

    void isMadeOnce()
    {
        PublicSignal signal("x", nullptr);
        QStringList seen;
        const Connection bare = signal.connectOnce([&] {
            seen.append("sig()");
            signal.sendSignals(); // does not reach it again
        });
        signal.connectOnce([&](const VariantCollection &p) { seen.append(describe(p)); });
        signal.connectOnce([&](const Data::Variant &v) { seen.append(v.toString()); });
        signal.connectOnce([&](const Data::String &k, const Data::Variant &v) {
            seen.append(k + '=' + v.toString());
        });
        QVERIFY(bare.isConnected());

        send(signal, {{"a", 1}});
        send(signal, {{"b", 2}});

        QVERIFY(!bare.isConnected());
        QCOMPARE(seen, (QStringList{"sig()", "1", "a=1", "{a=1}"}));
    }

    void mayBeEndedBeforeItIsMadeOnce()
    {
        PublicSignal signal("x", nullptr);
        const auto captured = std::make_shared<int>(0);
        Connection connection = signal.connectOnce([captured] { ++*captured; });

        QVERIFY(connection.disconnect());

        signal.sendSignals();
        QCOMPARE(*captured, 0);
        QCOMPARE(captured.use_count(), 1L);
    }

    // A scope

    void endsWithItsScope()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        {
            const ScopedConnection scoped = signal.connect([&] { ++calls; });
            QVERIFY(scoped.isConnected());
            signal.sendSignals();
        }

        signal.sendSignals();

        QCOMPARE(calls, 1);
    }

    void endsWhenItsScopeGetsAnother()
    {
        PublicSignal signal("x", nullptr);
        QStringList seen;
        ScopedConnection scoped;
        QVERIFY(!scoped.isConnected());
        QVERIFY(!scoped.disconnect());

        scoped = signal.connect([&] { seen.append("first"); });
        scoped = signal.connect([&] { seen.append("second"); });
        signal.sendSignals();
        QCOMPARE(seen, QStringList("second"));

        QVERIFY(scoped.disconnect());
        QVERIFY(!scoped.isConnected());
        signal.sendSignals();
        QCOMPARE(seen, QStringList("second"));
    }

    void movesFromScopeToScope()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        QVERIFY(!std::is_copy_constructible_v<ScopedConnection>);
        QVERIFY(!std::is_copy_assignable_v<ScopedConnection>);
        std::vector<ScopedConnection> all;
        for (int i = 0; i < 20; ++i) // moved as the vector grows
            all.push_back(signal.connect([&] { ++calls; }));

        signal.sendSignals();
        QCOMPARE(calls, 20);
        all.clear();
        signal.sendSignals();
        QCOMPARE(calls, 20);
    }

    void isReleasedFromItsScope()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        Connection released;
        {
            ScopedConnection scoped = signal.connect([&] { ++calls; });
            released = scoped.release();
            QVERIFY(!scoped.isConnected());
        }

        signal.sendSignals();

        QCOMPARE(calls, 1);
        QVERIFY(released.disconnect());
    }

    void endsWithTheOwnerThatItsFunctionDeletes()
    {
        struct Panel
        {
            ScopedConnection connection;
            QString text = QString(100, 'p');
        };
        PublicSignal signal("x", nullptr);
        auto *panel = new Panel;
        QString seen;
        panel->connection = signal.connect([&panel, &seen, copy = panel->text] {
            delete panel;
            panel = nullptr;
            seen = copy; // what is captured is still there
        });

        QVERIFY(signal.sendSignals());
        QVERIFY(signal.sendSignals());

        QVERIFY(!panel);
        QCOMPARE(seen, QString(100, 'p'));
    }

    // What a function may do

    void survivesWhatItsFunctionDoes_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("shape"); // the emission at which it acts

        const struct
        {
            Action action;
            const char *name;
        } actions[] = {
            {Action::DeleteSender, "deletes the sender"},
            {Action::DeleteContext, "deletes the context"},
            {Action::DisconnectItself, "disconnects itself"},
            {Action::DisconnectTheNext, "disconnects the next"},
            {Action::DisconnectTheSender, "disconnects the sender"},
            {Action::ConnectAnother, "connects another"},
            {Action::SendAgain, "sends again"},
            {Action::ClearPayload, "clears the payload"},
            {Action::BlockSignals, "blocks signals"},
        };
        for (const auto &row : actions)
            for (int shape = 0; shape < oneEntry.size(); ++shape)
                QTest::addRow("%s at %s", row.name, qPrintable(oneEntry[shape]))
                    << row.action << shape;
    }

    void survivesWhatItsFunctionDoes()
    {
        QFETCH(Action, action);
        QFETCH(int, shape);
        Scene scene(action, shape);

        const bool result = send(*scene.signal, {{"a", 1}});

        QStringList expected = oneEntry;
        const int own = shape == 1 ? 2 : 1; // a single value and its pair belong together
        if (action == Action::DeleteSender || action == Action::DisconnectTheSender)
            expected = oneEntry.mid(0, shape);
        else if (action == Action::BlockSignals)
            expected = oneEntry.mid(0, shape + 1);
        else if (action == Action::ClearPayload)
            expected = oneEntry.mid(0, shape + own);
        else if (action == Action::SendAgain)
            expected = oneEntry.mid(0, shape) + oneEntry + oneEntry.mid(shape, own);
        QCOMPARE(scene.recorder.calls, expected);
        QCOMPARE(result, action != Action::DeleteSender);

        const bool isServedTwice = action == Action::SendAgain;
        QCOMPARE(scene.actingCalls, isServedTwice ? 2 : 1);
        QCOMPARE(scene.intactCalls, scene.actingCalls);
        const bool ends = action == Action::DeleteSender || action == Action::DeleteContext ||
                          action == Action::DisconnectItself ||
                          action == Action::DisconnectTheSender;
        QCOMPARE(scene.own.isConnected(), !ends);
        const bool isNextCut = action == Action::DeleteSender ||
                               action == Action::DisconnectTheNext ||
                               action == Action::DisconnectTheSender;
        QCOMPARE(scene.nextCalls, isNextCut ? 0 : isServedTwice ? 2 : 1);
        // Not by the emission in progress, but by later emissions of the same send.
        QCOMPARE(scene.anotherCalls, action == Action::ConnectAnother && shape < 3 ? 1 : 0);
    }

    void passesOnWhatItsFunctionThrows_data()
    {
        QTest::addColumn<int>("shape");
        for (int shape = 0; shape < oneEntry.size(); ++shape)
            QTest::addRow("%s", qPrintable(oneEntry[shape])) << shape;
    }

    void passesOnWhatItsFunctionThrows()
    {
        QFETCH(int, shape);
        Scene scene(Action::Throw, shape);

        QVERIFY_EXCEPTION_THROWN(send(*scene.signal, {{"a", 1}}), std::runtime_error);

        QCOMPARE(scene.recorder.calls, oneEntry.mid(0, shape));
        QVERIFY(scene.own.isConnected());
        QVERIFY(!scene.signal->data().isEmpty()); // it is sent next time
        scene.recorder.calls.clear();
        QVERIFY(scene.signal->sendSignals());
        QCOMPARE(scene.recorder.calls, oneEntry);
        QVERIFY(scene.signal->data().isEmpty());
    }

    void isBlockedWithItsSignal()
    {
        PublicSignal signal("x", nullptr);
        int calls = 0;
        signal.connect([&] { ++calls; });
        {
            const Utils::SignalBlocker blocker(&signal);
            QVERIFY(signal.sendSignals());
        }

        QCOMPARE(calls, 0);
        signal.sendSignals();
        QCOMPARE(calls, 1);
    }
};

QTEST_GUILESS_MAIN(tst_Connection)
#include "tst_Connection.moc"
