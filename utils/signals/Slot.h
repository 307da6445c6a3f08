#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Export.h"
#include "utils/signals/SlotCB.h"

#include <QObject>

#include <memory>
#include <type_traits>
#include <utility>

namespace Utils {

/// The receiver of the signal bus: a QObject with one receiver method for each of the four signals
/// Signal::sig(). All of these methods run one callback. An object that owns a Slot can react to
/// signals without being a QObject itself. A slot can also be connected to any other Qt signal with
/// the arguments of one of these methods.
///
///     m_slot.setCallback(this, &Panel::refresh);
///     signal->connect(&m_slot);
///
/// The callback may delete the slot, replace itself by another callback, and disconnect or delete
/// the sender.
class KELMUTILS_EXPORT Slot : public QObject
{
    Q_OBJECT

public:
    /// A slot with no callback, enabled. \p name is UTF-8; null is the empty name.
    Slot(const char *name, QObject *parent);
    ~Slot() override;

    /// Installs a plain function as the callback and deletes the previous callback. With a null
    /// function a delivery does nothing.
    Slot &setCallback(void (*function)());
    Slot &setCallback(void (*function)(const Slot *));
    Slot &setCallback(void (*function)(const Data::VariantCollection &));

    /// Installs a function object, such as a lambda with captures or a std::function, that can be
    /// called with nothing, with a const Data::VariantCollection & or with a const Slot *; the
    /// first of these is used. Deletes the previous callback. With an empty std::function a
    /// delivery does nothing.
    ///
    ///     m_slot.setCallback([this, row] { select(row); });
    ///
    /// Its captures exist as long as the callback. A callback that replaces itself or deletes the
    /// slot is not destroyed before it returns.
    template <typename F, typename Function = FunctionObject<std::decay_t<F>>,
              std::enable_if_t<!std::is_void_v<Function>, bool> = true>
    Slot &setCallback(F &&function)
    {
        return installCallback(
            std::make_unique<FunctionObjectCB>(Function(std::forward<F>(function))));
    }

    /// Installs a member function of \p object, which must outlive the callback. With a null object
    /// a delivery does nothing.
    template <typename T>
    Slot &setCallback(Exactly<T> *object, void (T::*member)())
    {
        return installCallback(std::make_unique<MemberCB<T>>(object, member));
    }
    template <typename T>
    Slot &setCallback(Exactly<T> *object, void (T::*member)(const Slot *))
    {
        return installCallback(std::make_unique<MemberCB<T>>(object, member));
    }
    template <typename T>
    Slot &setCallback(Exactly<T> *object, void (T::*member)(const Data::VariantCollection &))
    {
        return installCallback(std::make_unique<MemberCB<T>>(object, member));
    }

    /// Deletes the callback. A delivery then does nothing.
    void resetCallback();

    /// During a delivery by a Signal, the whole payload of that signal, for each of its emissions.
    /// Otherwise the payload that this slot has received, which is empty outside a delivery.
    Data::VariantCollection data() const;

    /// The sender of the current delivery; null except during a direct delivery by a Qt signal.
    QObject *getSender() const;

    /// The name of the sending Signal; empty when the sender is no Signal.
    Data::String signalName() const;

    /// Whether deliveries reach the callback; true at first.
    bool isEnabled() const;
    void setEnabled(bool enabled);

    /// A number for the use of the caller, 0 at first. The library does not interpret it.
    int flag() const;
    void setFlag(int flag);

    /// Connects \p signal, a method text as SIGNAL() makes it, to onSig(). False, with a warning by
    /// Qt, when Qt cannot make the connection.
    virtual bool connect(QObject *sender, const char *signal);

    // An override of one onSig() hides the other three; a using declaration makes them visible
    // again. Callers rely on the order of the meta-methods, and on the reverse order in the vtable.
    // moc reads the first list, and so does a compiler that lays out overloads in reverse order, as
    // Microsoft's does; other compilers read the second.
#if defined(Q_MOC_RUN) || defined(Q_CC_MSVC)
public Q_SLOTS:
    virtual void onSig();
    virtual void onSig(const Data::VariantCollection &payload);
    virtual void onSig(const Data::Variant &value);
    virtual void onSig(const Data::String &key, const Data::Variant &value);
#else
    /// Stores the pair as the payload, calls the virtual onSig() and clears the payload, even when
    /// the slot is disabled.
    virtual void onSig(const Data::String &key, const Data::Variant &value);

    /// Stores \p value under "item" if it carries a Data::IDataItem, calls the virtual onSig() and
    /// clears the payload, even when the slot is disabled. Any other value is delivered without a
    /// payload.
    virtual void onSig(const Data::Variant &value);

    /// If enabled, stores the payload, runs the callback and clears the payload.
    ///
    /// \compat The function does not call the virtual onSig(): an override of onSig() receives no
    /// deliveries of a payload.
    virtual void onSig(const Data::VariantCollection &payload);

    /// Runs the callback if enabled.
    virtual void onSig();
#endif

protected:
    /// Installs \p callback and deletes the previous one.
    Slot &installCallback(std::unique_ptr<SlotCB> callback);

    /// The payload of the current delivery, for slots that deliver in their own way.
    Data::VariantCollection m_data;

private:
    Slot(const Slot &) = delete;
    Slot &operator=(const Slot &) { return *this; }

    std::unique_ptr<SlotCB> m_callback;
    bool m_enabled = true;
    int m_flag = 0;
};

} // namespace Utils
