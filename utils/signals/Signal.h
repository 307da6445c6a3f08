#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Export.h"

#include <QObject>

namespace Utils {

class Slot;

/// The sending half of the bus: a named QObject with a payload and four Qt signals, through which
/// one send reaches receivers of every shape. A receiver says what it wants by the signature of
/// the method that it connects.
///
/// One send emits, in this order, and then empties the payload:
///
///     payload                  emissions
///     empty                    sig()
///     one entry k, v           sig(), sig(v), sig(k, v), sig(payload)
///     more, "item" among them  sig(), sig("item", item), sig(payload)
///     more, without "item"     sig(), sig(payload)
///
/// A name is taken by the first signal that has it. A name that is taken twice, or was looked up
/// before any signal had it, belongs to nobody: find() gives null for it from then on. The signals
/// themselves go on working. The death of a signal frees the name that it has at that moment, also
/// when another signal holds it. So a signal that may be looked for must keep its name: the old
/// name of a renamed one points to it even when it is dead.
///
/// Receivers may do anything during a delivery, down to deleting the signal: the send then ends
/// with false, and nothing more is emitted. A signal lives on the host's main thread.
class KELMUTILS_EXPORT Signal : public QObject
{
    Q_OBJECT

public:
    /// The signal registered as \p name, or null when there is none, or more than one.
    ///
    /// Asking for an unknown name takes it, which is meant: a signal that is to be found must exist
    /// before the first find() of its name.
    static Signal *find(const Data::String &name);

    /// Sets the value of \p key in the payload of the next send, replacing an earlier one.
    Signal &addData(const Data::String &key, const Data::Variant &value);
    Data::VariantCollection data() const;

    /// A free number for the owner, 0 at first. The library gives it no meaning.
    int flag() const;
    void setFlag(int flag);

    /// Connects the payload shape of \p slot. False when it is null.
    bool connect(const Slot *slot);

    /// Disconnects everything between this signal and \p receiver, then connects \p method as
    /// connect() does and gives its result. A method that cannot be connected leaves the receiver
    /// with no connection. Null disconnects nothing and gives false.
    bool reconnect(const QObject *receiver, const char *method);

    /// Calls \p slot once, in \p msec milliseconds, with \p data as the payload that Slot::data()
    /// answers. See the form with a receiver and a method.
    static void singleShot(Slot *slot, const Data::VariantCollection &data, int msec,
                           const Data::String &id = Data::String());
    static void singleShot(Slot *slot, int msec, const Data::String &id = Data::String());

    /// Sends \p data to \p method of \p receiver once, in \p msec milliseconds; 0 is the next pass
    /// of the event loop. The method is written and chosen as in connect(). Nobody is told when the
    /// receiver dies before its time or the method cannot be connected. With a negative delay the
    /// call never comes, and its id stays taken.
    ///
    /// A call that waits under \p id stands: another request of that id is dropped, with its
    /// receiver, payload and delay. Meanwhile find() knows the id. Three oddities are meant:
    ///
    /// - The empty id does not collapse requests, but when two of them wait at one time, only the
    ///   first that comes is made.
    /// - A cancelled call that is requested again before its time comes as it was first requested,
    ///   and the new request is dropped, or the other way round where the new one's time is first.
    /// - The id "singleShot" cannot be cancelled.
    static void singleShot(const QObject *receiver, const char *method,
                           const Data::VariantCollection &data, int msec,
                           const Data::String &id = Data::String());
    static void singleShot(const QObject *receiver, const char *method, int msec,
                           const Data::String &id = Data::String());

    /// Withdraws the call that waits under \p id.
    static void cancelSingleShot(const Data::String &id);

Q_SIGNALS:
    // The order of the four, with the slot behind them, is that of their meta-method indices, and
    // callers rely on it. No default arguments: they would add indices.
    void sig();
    void sig(const Data::VariantCollection &payload);
    void sig(const Data::Variant &value);
    void sig(const Data::String &key, const Data::Variant &value);

    // The virtual operations stand in the order in which callers expect them in the vtable.
protected Q_SLOTS:
    /// Sends the payload as told above. False when a receiver has called abort(), though the
    /// deliveries are all made, or when the signal has died meanwhile.
    ///
    /// A send from within a delivery is a run of its own, after which the outer one goes on with an
    /// empty payload and with the inner one's abort state.
    ///
    /// An override that emits something itself must be ready for its own death in the delivery.
    virtual bool sendSignals();

public:
    /// Tells the sender that a receiver objects: the send will give false. It stops nothing.
    virtual void abort();

    virtual void clearData();

    /// Connects the emission that fits \p method, a method text as SLOT() and SIGNAL() make them,
    /// found by the first of these texts that is in it:
    ///
    ///     "Data::VariantCollection"              sig(payload)
    ///     "Data::String" and "Data::Variant"     sig(key, value)
    ///     "Data::Variant"                        sig(value)
    ///     none of them                           sig()
    ///
    /// Types must be spelled so in the receiver's declaration. Each call adds a connection of Qt's
    /// automatic type. False, with a warning by Qt, when Qt cannot make it.
    ///
    /// An override hides the form that takes a slot: bring it back by using Signal::connect.
    virtual bool connect(const QObject *receiver, const char *method);

protected:
    /// Registers the signal under \p name, which is UTF-8; null gives the empty name.
    Signal(const char *name, QObject *parent);
    ~Signal() override;

    /// For overrides of sendSignals(): whether abort() was called since the send began.
    bool isAborted() const;

    /// For overrides of sendSignals() that emit something before they call the base.
    void clearAborted();

private:
    /// A send under way, on the stack of sendSignals(). The death of the signal reaches it through
    /// this chain, the innermost send first.
    class Sending;

    Signal(const Signal &) = delete;
    Signal &operator=(const Signal &) { return *this; }

    Data::VariantCollection m_data;
    Sending *m_sending = nullptr;
    bool m_aborted = false;
    int m_flag = 0;
};

} // namespace Utils
