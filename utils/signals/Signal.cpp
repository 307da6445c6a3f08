#include "utils/signals/Signal.h"

#include "utils/signals/SignalRegistry_p.h"
#include "utils/signals/SignalTracer_p.h"
#include "utils/signals/SingleShot_p.h"
#include "utils/signals/Slot.h"

#include <QTimer>

#include <cstring>

namespace Utils {

// A QPointer would do the same, but its reference counts, two atomic operations per send, cost more
// than everything else that a send does besides its emissions.
class Signal::Sending
{
public:
    explicit Sending(Signal *signal) : m_signal(signal), m_outer(signal->m_sending)
    {
        signal->m_sending = this;
    }

    ~Sending()
    {
        if (m_signal)
            m_signal->m_sending = m_outer;
    }

    bool isSignalAlive() const { return m_signal != nullptr; }

    /// Notifies this send and all outer ones that the signal is being destroyed.
    void endAll()
    {
        for (Sending *sending = this; sending; sending = sending->m_outer)
            sending->m_signal = nullptr;
    }

private:
    Signal *m_signal;
    Sending *m_outer;
};

Signal *Signal::find(const Data::String &name)
{
    SignalRegistry *const registry = signalRegistry.ifAlive();
    return registry ? registry->byName[name] : nullptr; // an unknown name is taken from now on
}

Signal &Signal::addData(const Data::String &key, const Data::Variant &value)
{
    m_data.insert(key, value);
    return *this;
}

Data::VariantCollection Signal::data() const { return m_data; }

int Signal::flag() const { return m_flag; }

void Signal::setFlag(int flag) { m_flag = flag; }

bool Signal::connect(const Slot *slot)
{
    // Overrides of connect() receive exactly this text.
    // clang-format off
    return connect(slot, SLOT(onSig(const Data::VariantCollection&)));
    // clang-format on
}

bool Signal::reconnect(const QObject *receiver, const char *method)
{
    if (receiver) // null would disconnect every receiver
        QObject::disconnect(this, nullptr, receiver, nullptr);
    return connect(receiver, method);
}

void Signal::singleShot(Slot *slot, const Data::VariantCollection &data, int msec,
                        const Data::String &id)
{
    singleShot(slot, SLOT(onSig()), data, msec, id);
}

void Signal::singleShot(Slot *slot, int msec, const Data::String &id)
{
    singleShot(slot, Data::VariantCollection(), msec, id);
}

void Signal::singleShot(const QObject *receiver, const char *method,
                        const Data::VariantCollection &data, int msec, const Data::String &id)
{
    if (!signalRegistry.ifAlive() || (!id.isEmpty() && pendingCalls.ids.contains(id)))
        return;

    Signal *call = new SingleShot(id.c_str()); // deletes itself after its timeout
    call->connect(receiver, method);
    call->m_data = data;
    QTimer::singleShot(msec, call, SLOT(sendSignals()));
}

void Signal::singleShot(const QObject *receiver, const char *method, int msec,
                        const Data::String &id)
{
    singleShot(receiver, method, Data::VariantCollection(), msec, id);
}

void Signal::cancelSingleShot(const Data::String &id)
{
    if (signalRegistry.ifAlive())
        pendingCalls.ids.remove(id);
}

bool Signal::sendSignals()
{
    if (Q_UNLIKELY(SignalTracer::active))
        return sendTraced();
    return send();
}

bool Signal::send()
{
    const Sending send(this);
    // Held until the end of the send, because a payload may own the signal.
    Data::VariantCollection payload;
    Data::VariantCollection changed;
    m_aborted = false;

    Q_EMIT sig();
    if (!send.isSignalAlive())
        return false;

    if (!m_data.isEmpty()) {
        // The emissions use one implicitly shared copy: a receiver that sends again clears m_data,
        // and a receiver that deletes the signal destroys it. Changes by receivers of sig() are
        // included; changes by receivers of sig(value) do not affect sig(key, value).
        payload = m_data;
        const bool hasOneEntry = payload.size() == 1;
        const auto entry =
            hasOneEntry ? payload.constBegin() : payload.constFind(QStringLiteral("item"));
        if (hasOneEntry) {
            Q_EMIT sig(*entry);
            if (!send.isSignalAlive())
                return false;
        }
        if (entry != payload.constEnd()) {
            Q_EMIT sig(entry.key(), *entry);
            if (!send.isSignalAlive())
                return false;
        }

        if (m_data.isSharedWith(payload)) {
            Q_EMIT sig(payload);
        } else if (!m_data.isEmpty()) { // changed by a receiver
            changed = m_data;
            Q_EMIT sig(changed);
        }
        if (!send.isSignalAlive())
            return false;
    }

    clearData();
    return send.isSignalAlive() && !m_aborted;
}

void Signal::abort() { m_aborted = true; }

void Signal::clearData() { m_data.clear(); }

bool Signal::connect(const QObject *receiver, const char *method)
{
    const auto mentions = [method](const char *type) {
        return method && std::strstr(method, type) != nullptr;
    };
    const char *emission = SIGNAL(sig());
    if (mentions("Data::VariantCollection")) // before "Data::Variant", which it contains
        emission = SIGNAL(sig(const Data::VariantCollection &));
    else if (mentions("Data::String") && mentions("Data::Variant"))
        emission = SIGNAL(sig(const Data::String &, const Data::Variant &));
    else if (mentions("Data::Variant"))
        emission = SIGNAL(sig(const Data::Variant &));
    return QObject::connect(this, emission, receiver, method);
}

Signal::Signal(const char *name, QObject *parent) : QObject(parent)
{
    const Data::String text(name);
    setObjectName(text);
    SignalRegistry *const registry = signalRegistry.ifAlive();
    if (!registry)
        return;

    // A name that the registry already contains becomes ambiguous, no matter why it is there.
    const bool isTaken = registry->byName.contains(text);
    registry->byName.insert(text, isTaken ? nullptr : this);
}

Signal::~Signal()
{
    if (m_sending)
        m_sending->endAll();
    if (SignalRegistry *const registry = signalRegistry.ifAlive())
        registry->byName.remove(objectName());
}

bool Signal::isAborted() const { return m_aborted; }

void Signal::clearAborted() { m_aborted = false; }

} // namespace Utils
