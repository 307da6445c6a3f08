// The signal bus beside bare Qt signals, boost::signals2 and sigc++. benchmarks/report tells how
// names and counters make pairs and targets.

#include "benchmarks/Pairs.h"
#include "data/IDataItem.h"
#include "utils/signals/DelayedSlot.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/Slot.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>
#include <boost/signals2.hpp>
#include <sigc++/sigc++.h>

#include <string>
#include <vector>

using benchmark::State;

/// Bare Qt signals of the shapes of Utils::Signal.
class PlainSender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void sig();
    void sig(const Data::VariantCollection &payload);
    void sig(const Data::Variant &value);
    void sig(const Data::String &key, const Data::Variant &value);
};

/// Counts deliveries, the least work that a compiler cannot take away.
class Receiver : public QObject
{
    Q_OBJECT

public:
    benchmark::IterationCount calls() const { return m_calls; }

public Q_SLOTS:
    void onSig() { benchmark::DoNotOptimize(++m_calls); }
    void onSig(const Data::VariantCollection &) { onSig(); }
    void onSig(const Data::Variant &) { onSig(); }
    void onSig(const Data::String &, const Data::Variant &) { onSig(); }

private:
    benchmark::IterationCount m_calls = 0;
};

using Receivers = std::vector<Receiver>;

/// The two method texts of a connection.
struct Shape
{
    const char *signal;
    const char *method;
};

static const Shape bare{"2sig()", "1onSig()"};
static const Shape whole{"2sig(const Data::VariantCollection&)",
                         "1onSig(const Data::VariantCollection&)"};
static const Shape single{"2sig(const Data::Variant&)", "1onSig(const Data::Variant&)"};
static const Shape pair{"2sig(const Data::String&,const Data::Variant&)",
                        "1onSig(const Data::String&,const Data::Variant&)"};

struct Entry
{
    Data::String key;
    Data::Variant value;
};

/// A payload, and the shapes in which a send of it is delivered. Receivers take the shapes in turn,
/// so that each is called once a send.
struct Row
{
    const char *name;
    std::vector<Entry> entries;
    std::vector<Shape> shapes;
};

static void connectInTurn(const QObject &sender, const Row &row, Receivers &receivers)
{
    for (std::size_t i = 0; i < receivers.size(); ++i) {
        const Shape &shape = row.shapes[i % row.shapes.size()];
        QObject::connect(&sender, shape.signal, &receivers[i], shape.method);
    }
}

/// Sides that do not make the same deliveries must not be compared.
static void checkDeliveries(State &state, const Receivers &receivers)
{
    for (const Receiver &receiver : receivers) {
        if (receiver.calls() != state.iterations())
            state.SkipWithError("a receiver was not called once a send");
    }
}

static void send(State &state, Utils::PublicSignal &signal, const Row &row)
{
    for (auto _ : state) {
        for (const Entry &entry : row.entries)
            signal.addData(entry.key, entry.value);
        benchmark::DoNotOptimize(signal.sendSignals());
    }
}

static void sendOurs(State &state, const Row &row, std::size_t count)
{
    Utils::PublicSignal signal("bench", nullptr);
    Receivers receivers(count);
    connectInTurn(signal, row, receivers);

    send(state, signal, row);
    checkDeliveries(state, receivers);
}

// What a sender writes by hand who knows its payload: the entries are at hand, so that nothing is
// looked up or copied for the emissions, and nothing guards against receivers.
static void sendByHand(State &state, const Row &row, std::size_t count)
{
    PlainSender sender;
    Receivers receivers(count);
    connectInTurn(sender, row, receivers);
    Data::VariantCollection payload;
    const Entry *item = nullptr;
    for (const Entry &entry : row.entries) {
        if (entry.key == QLatin1String("item"))
            item = &entry;
    }

    for (auto _ : state) {
        for (const Entry &entry : row.entries)
            payload.insert(entry.key, entry.value);

        Q_EMIT sender.sig();
        if (row.entries.size() == 1) {
            const Entry &only = row.entries.front();
            Q_EMIT sender.sig(only.value);
            Q_EMIT sender.sig(only.key, only.value);
        } else if (item) {
            Q_EMIT sender.sig(item->key, item->value);
        }
        if (!row.entries.empty())
            Q_EMIT sender.sig(payload);

        payload.clear();
    }
    checkDeliveries(state, receivers);
}

static void emitBoost(State &state, std::size_t count)
{
    Receivers receivers(count);
    boost::signals2::signal<void()> signal;
    for (Receiver &receiver : receivers)
        signal.connect([&receiver] { receiver.onSig(); });

    for (auto _ : state)
        signal();
    checkDeliveries(state, receivers);
}

static void emitSigc(State &state, std::size_t count)
{
    Receivers receivers(count);
    sigc::signal<void> signal;
    for (Receiver &receiver : receivers)
        signal.connect([&receiver] { receiver.onSig(); });

    for (auto _ : state)
        signal.emit();
    checkDeliveries(state, receivers);
}

static void deliverToSlot(State &state, const Row &row)
{
    Utils::PublicSignal signal("bench", nullptr);
    Receivers receivers(1);
    Utils::Slot slot("bench", nullptr);
    slot.setCallback(&receivers.front(),
                     qOverload<const Data::VariantCollection &>(&Receiver::onSig));
    signal.connect(&slot);

    send(state, signal, row);
    checkDeliveries(state, receivers);
}

static void deliverToLambda(State &state, const Row &row)
{
    Utils::PublicSignal signal("bench", nullptr);
    Receivers receivers(1);
    Receiver *const receiver = &receivers.front();
    Utils::Slot slot("bench", nullptr);
    slot.setCallback(
        [receiver](const Data::VariantCollection &payload) { receiver->onSig(payload); });
    signal.connect(&slot);

    send(state, signal, row);
    checkDeliveries(state, receivers);
}

static void deliverToFunction(State &state, const Row &row)
{
    Utils::PublicSignal signal("bench", nullptr);
    Receivers receivers(1);
    Receiver *const receiver = &receivers.front();
    signal.connect(
        [receiver](const Data::VariantCollection &payload) { receiver->onSig(payload); });

    send(state, signal, row);
    checkDeliveries(state, receivers);
}

static void sendAfterDeadConnections(State &state, const Row &row, int count)
{
    Utils::PublicSignal signal("bench", nullptr);
    std::vector<Utils::Connection> connections;
    for (int i = 0; i < count; ++i)
        connections.push_back(signal.connect([] {}));
    for (Utils::Connection &connection : connections)
        connection.disconnect();
    Receivers receivers(1);
    connectInTurn(signal, row, receivers);

    send(state, signal, row);
    checkDeliveries(state, receivers);
}

template <typename Post>
static void postAgain(State &state, Post post)
{
    Utils::DelayedSlot slot("bench", nullptr);
    slot.postPending();
    for (auto _ : state)
        post(slot);
}

static void addBenchmarks()
{
    const Data::Variant item = Data::itemVariant(nullptr);
    const Entry path{"path", "data/run.csv"};
    const Entry rows{"rows", 1200};
    const Row empty{"no entry", {}, {bare}};
    const Row one{"one entry", {rows}, {bare, single, pair, whole}};
    const Row withItem{"three with item", {path, rows, {"item", item}}, {bare, pair, whole}};
    const Row withoutItem{"three without item", {path, rows, {"mode", true}}, {bare, whole}};

    const auto addSend = [](const Row &row, std::size_t count, double target) {
        addPair(
            std::string("send beside emissions by hand, ") + row.name,
            "receivers: " + std::to_string(count), target,
            [=](State &state) { sendOurs(state, row, count); },
            [=](State &state) { sendByHand(state, row, count); });
    };
    addSend(one, 4, 1.15);
    for (const Row &row : {empty, one, withItem, withoutItem}) {
        for (const std::size_t count : {1, 10, 100})
            addSend(row, count, 0.0);
    }
    for (const std::size_t count : {1, 10, 100}) {
        const std::string detail = "receivers: " + std::to_string(count);
        const auto boost = [=](State &state) { emitBoost(state, count); };
        addPair(
            "bare send beside boost::signals2", detail, count == 10 ? 0.5 : 0.0,
            [=](State &state) { sendOurs(state, empty, count); }, boost);
        // The floor of the line before: no send can take less than the emission it is made of.
        addPair(
            "bare Qt emission beside boost::signals2", detail, 0.0,
            [=](State &state) { sendByHand(state, empty, count); }, boost);
        // Which knows neither senders nor threads.
        addPair(
            "bare send beside sigc++", detail, 0.0,
            [=](State &state) { sendOurs(state, empty, count); },
            [=](State &state) { emitSigc(state, count); });
    }

    const Row payload{"payload", {rows}, {whole}};
    addPair(
        "payload to a callback beside a bare receiver", "receivers: 1", 0.0,
        [=](State &state) { deliverToSlot(state, payload); },
        [=](State &state) { sendOurs(state, payload, 1); });

    const auto toMember = [=](State &state) { deliverToSlot(state, payload); };
    addPair(
        "send to a lambda beside a member", "callback of a slot", 1.05,
        [=](State &state) { deliverToLambda(state, payload); }, toMember);
    addPair(
        "send to a lambda beside a member", "connected itself", 1.05,
        [=](State &state) { deliverToFunction(state, payload); }, toMember);
    addPair(
        "send after dead connections beside none", "dead: 1000", 1.05,
        [=](State &state) { sendAfterDeadConnections(state, empty, 1000); },
        [=](State &state) { sendAfterDeadConnections(state, empty, 0); });

    addLimited("post to a waiting DelayedSlot", "postPending", 10.0, [](State &state) {
        postAgain(state, [](Utils::DelayedSlot &slot) { slot.postPending(); });
    });
    addLimited("post to a waiting DelayedSlot", "onSig", 10.0,
               [](State &state) { postAgain(state, [](Utils::Slot &slot) { slot.onSig(); }); });
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv); // who posts needs an event queue
    addBenchmarks();
    return runBenchmarks(argc, argv);
}

#include "bench_Signals.moc"
