#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Export.h"
#include "utils/signals/Connection.h"
#include "utils/signals/SignalTrace.h"

#include <QObject>

#include <functional>
#include <type_traits>
#include <utility>
#include <variant>

namespace Utils {

class Slot;

/// A function that Signal::connect() connects, with the parameters of one of the emissions.
using SignalFunction =
    std::variant<std::function<void()>, std::function<void(const Data::VariantCollection &)>,
                 std::function<void(const Data::String &, const Data::Variant &)>,
                 std::function<void(const Data::Variant &)>>;

/// The index in SignalFunction of the first shape in which \p F can be called; -1 when it can be
/// called in none of them.
template <typename F>
constexpr int signalShape =
    std::is_invocable_v<F>                                                ? 0
    : std::is_invocable_v<F, const Data::VariantCollection &>             ? 1
    : std::is_invocable_v<F, const Data::String &, const Data::Variant &> ? 2
    : std::is_invocable_v<F, const Data::Variant &>                       ? 3
                                                                          : -1;

/// The sender of the signal bus: a named QObject with a payload, which is a map of keys to values,
/// and four Qt signals, one for each shape of the payload. The signature of the connected method
/// determines the shape that a receiver gets.
///
/// A send emits these signals, in this order, and then clears the payload:
///
///     payload                  emissions
///     empty                    sig()
///     one entry k, v           sig(), sig(v), sig(k, v), sig(payload)
///     more, "item" among them  sig(), sig("item", item), sig(payload)
///     more, without "item"     sig(), sig(payload)
///
/// The first signal constructed with a name registers it. A name that a second signal uses, or that
/// was looked up before any signal had it, becomes ambiguous: find() returns null for it from then
/// on. The signals themselves keep working. The destructor frees the current name of the signal,
/// even when another signal registered it. Therefore a signal that other code finds by its name
/// must keep the name: after a rename the old name still refers to the signal, even after its
/// destruction.
///
/// Receivers may do anything during a delivery, even delete the signal: the send then stops and
/// returns false. A signal must be used only on the main thread of the host.
class KELMUTILS_EXPORT Signal : public QObject
{
    Q_OBJECT

public:
    /// The signal registered as \p name, or null when there is none or the name is ambiguous.
    ///
    /// \compat The lookup of an unknown name makes it ambiguous: a signal must exist before the
    /// first find() of its name.
    static Signal *find(const Data::String &name);

    /// Sets the value of \p key in the payload of the next send, replacing an earlier value.
    Signal &addData(const Data::String &key, const Data::Variant &value);
    Data::VariantCollection data() const;

    /// A number for the use of the caller, 0 at first. The library does not interpret it.
    int flag() const;
    void setFlag(int flag);

    /// Connects sig(payload) to \p slot. False when \p slot is null.
    bool connect(const Slot *slot);

    /// Connects \p function, which may be a lambda with captures. The arguments with which it can
    /// be called select the emission, as the text of a method does below; the first of these is
    /// used:
    ///
    ///     nothing                                      sig()
    ///     const Data::VariantCollection &              sig(payload)
    ///     const Data::String &, const Data::Variant &  sig(key, value)
    ///     const Data::Variant &                        sig(value)
    ///
    /// The connection ends with the signal or, in the second form, with \p context if that is
    /// destroyed first. The function may do anything that a receiver may do, such as disconnect
    /// itself: it is not destroyed while it runs. An empty std::function or a null \p context is
    /// not connected: isConnected() of the result is false. An exception that the function throws
    /// propagates to the caller of the send, as with any receiver.
    template <typename F, std::enable_if_t<(signalShape<std::decay_t<F> &> >= 0), bool> = true>
    Connection connect(F &&function)
    {
        return connectFunction(this, asFunction(std::forward<F>(function)), Times::Each);
    }
    template <typename F, std::enable_if_t<(signalShape<std::decay_t<F> &> >= 0), bool> = true>
    Connection connect(const QObject *context, F &&function)
    {
        return connectFunction(context, asFunction(std::forward<F>(function)), Times::Each);
    }

    /// Connects \p function as connect() does, for one delivery: it is disconnected before it is
    /// called, so a nested send does not call it again.
    template <typename F, std::enable_if_t<(signalShape<std::decay_t<F> &> >= 0), bool> = true>
    Connection connectOnce(F &&function)
    {
        return connectFunction(this, asFunction(std::forward<F>(function)), Times::Once);
    }
    template <typename F, std::enable_if_t<(signalShape<std::decay_t<F> &> >= 0), bool> = true>
    Connection connectOnce(const QObject *context, F &&function)
    {
        return connectFunction(context, asFunction(std::forward<F>(function)), Times::Once);
    }

    /// Calls \p tracer at the end of each send of each signal of the process, from now on. An empty
    /// function ends that. A nested send is reported before the outer one.
    ///
    /// The tracer may do anything; sends that it makes itself are not traced, and an exception that
    /// it throws is dropped. What an override of sendSignals() emits in addition is not part of the
    /// send, except for sig(key, value) of a SettingsSignal. Without a tracer a send has one
    /// additional test of a pointer.
    static void setTracer(std::function<void(const SignalTrace &)> tracer);

    /// Disconnects \p receiver from this signal, then connects \p method and returns the result of
    /// connect(). When the method cannot be connected, the receiver stays disconnected. When
    /// \p receiver is null, nothing is disconnected and the result is false.
    bool reconnect(const QObject *receiver, const char *method);

    /// Calls \p slot once, after \p msec milliseconds, with \p data as the payload that
    /// Slot::data() returns. See the overload with a receiver and a method.
    static void singleShot(Slot *slot, const Data::VariantCollection &data, int msec,
                           const Data::String &id = Data::String());
    static void singleShot(Slot *slot, int msec, const Data::String &id = Data::String());

    /// Sends \p data to \p method of \p receiver once, after \p msec milliseconds; with 0, on the
    /// next pass of the event loop. \p method is a method text as in connect(). Nothing is reported
    /// when the receiver is destroyed earlier or the method cannot be connected. With a negative
    /// \p msec the call is never made, and \p id stays in use.
    ///
    /// While a call with this \p id is pending, another request with the same id is dropped, with
    /// its receiver, payload and delay, and find() returns a signal for the id.
    ///
    /// \compat Three corners:
    /// - Requests with the empty id are not merged, but when two such calls are pending at the same
    ///   time, only the call whose time comes first is made.
    /// - When a cancelled call is requested again before its time, two timers run, and only the
    ///   timer that ends first makes its call.
    /// - The id "singleShot" cannot be cancelled.
    static void singleShot(const QObject *receiver, const char *method,
                           const Data::VariantCollection &data, int msec,
                           const Data::String &id = Data::String());
    static void singleShot(const QObject *receiver, const char *method, int msec,
                           const Data::String &id = Data::String());

    /// Cancels the pending call with this \p id.
    static void cancelSingleShot(const Data::String &id);

Q_SIGNALS:
    // Callers rely on the meta-method indices, which are the order of these four and the slot after
    // them. Default arguments would add indices.
    void sig();
    void sig(const Data::VariantCollection &payload);
    void sig(const Data::Variant &value);
    void sig(const Data::String &key, const Data::Variant &value);

    // The order of the virtual functions is that of the vtable, on which callers rely.
protected Q_SLOTS:
    /// Sends the payload as described above. False when a receiver has called abort(), or when the
    /// signal was deleted during the send. abort() stops no delivery.
    ///
    /// A nested send, started by a receiver, runs to its end first. The outer send then continues
    /// with an empty payload and with the abort state of the nested send.
    ///
    /// An override that emits signals itself must expect to be deleted by a receiver.
    virtual bool sendSignals();

public:
    /// Makes the current send return false. The remaining deliveries are still made.
    virtual void abort();

    virtual void clearData();

    /// Connects \p method, a method text as SLOT() and SIGNAL() make it, to one of the emissions,
    /// chosen by the first of these texts that the method text contains:
    ///
    ///     "Data::VariantCollection"              sig(payload)
    ///     "Data::String" and "Data::Variant"     sig(key, value)
    ///     "Data::Variant"                        sig(value)
    ///     none of them                           sig()
    ///
    /// The receiver's declaration must spell the types like this. Each call adds an auto
    /// connection. False, with a warning by Qt, when Qt cannot make the connection.
    ///
    /// An override hides the overload that takes a Slot; a using declaration makes that overload
    /// visible again.
    virtual bool connect(const QObject *receiver, const char *method);

protected:
    /// Registers the signal under \p name, which is UTF-8; null is the empty name.
    Signal(const char *name, QObject *parent);
    ~Signal() override;

    /// For overrides of sendSignals(): whether abort() was called since the send began.
    bool isAborted() const;

    /// For overrides of sendSignals() that emit signals before they call the base class.
    void clearAborted();

private:
    /// A send in progress, on the stack of sendSignals(). The destructor notifies all of them
    /// through this chain, the innermost first.
    class Sending;

    enum class Times
    {
        Each,
        Once
    };

    template <typename F>
    static SignalFunction asFunction(F &&function)
    {
        constexpr auto shape = static_cast<std::size_t>(signalShape<std::decay_t<F> &>);
        return SignalFunction(std::in_place_index<shape>, std::forward<F>(function));
    }
    Connection connectFunction(const QObject *context, SignalFunction function, Times times);

    friend class SettingsSignal; // whose own emission is part of its sends
    Q_DECL_HIDDEN bool send();
    Q_DECL_HIDDEN bool sendTraced();
    Q_DECL_HIDDEN SignalTrace trace() const;

    Signal(const Signal &) = delete;
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): it assigns nothing
    Signal &operator=(const Signal &) { return *this; }

    Data::VariantCollection m_data;
    Sending *m_sending = nullptr;
    bool m_aborted = false;
    int m_flag = 0;
};

} // namespace Utils
