#pragma once

#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Export.h"
#include "utils/signals/SlotCB.h"

#include <QObject>

#include <memory>

namespace Utils {

/// The receiving half of the bus: a QObject with one receiver method for each shape of Signal::sig,
/// which all end in one callback. Whoever wants to react to a signal owns a Slot and needs no
/// QObject class of their own. A slot works with any other Qt signal of these shapes too.
///
///     m_slot.setCallback(this, &Panel::refresh);
///     signal->connect(&m_slot);
///
/// The callback may delete the slot, replace itself, disconnect the sender or delete it.
class KELMUTILS_EXPORT Slot : public QObject
{
    Q_OBJECT

public:
    /// A slot with no callback, enabled. \p name is UTF-8; null gives the empty name.
    Slot(const char *name, QObject *parent);
    ~Slot() override;

    /// Installs a plain function as the callback and deletes the one before it. With a null
    /// function a delivery does nothing.
    Slot &setCallback(void (*function)());
    Slot &setCallback(void (*function)(const Slot *));
    Slot &setCallback(void (*function)(const Data::VariantCollection &));

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

    void resetCallback();

    /// In a delivery by a Signal, the whole payload of that signal, whichever of its emissions this
    /// one is. Otherwise what this slot itself was given, which is empty outside a delivery.
    Data::VariantCollection data() const;

    /// Who is delivering: null except within a direct delivery by a Qt signal.
    QObject *getSender() const;

    /// The name of the Signal that is delivering; empty when the sender is anything else.
    Data::String signalName() const;

    /// Whether deliveries reach the callback; true at first.
    bool isEnabled() const;
    void setEnabled(bool enabled);

    /// A free number for the owner, 0 at first. The library gives it no meaning.
    int flag() const;
    void setFlag(int flag);

    /// Connects \p signal, a method text as SIGNAL() makes it, to onSig(). False, with a warning by
    /// Qt, when Qt cannot make the connection.
    virtual bool connect(QObject *sender, const char *signal);

    // An override of one onSig() hides the other three: bring them back by using Slot::onSig.
    // Callers expect the meta-methods in one order and the virtual operations in the reverse one.
    // moc reads the first list. So does a compiler that lays overloads out backwards, as
    // Microsoft's does; the others read the second.
#if defined(Q_MOC_RUN) || defined(Q_CC_MSVC)
public Q_SLOTS:
    virtual void onSig();
    virtual void onSig(const Data::VariantCollection &payload);
    virtual void onSig(const Data::Variant &value);
    virtual void onSig(const Data::String &key, const Data::Variant &value);
#else
    /// Stores the pair, calls the virtual onSig() and empties the store, enabled or not.
    virtual void onSig(const Data::String &key, const Data::Variant &value);

    /// Stores \p value as "item" if it carries a Data::IDataItem, calls the virtual onSig() and
    /// empties the store, enabled or not. Any other value is a bare notification.
    virtual void onSig(const Data::Variant &value);

    /// If enabled, stores the payload, runs the callback and empties the store. It does not go
    /// through onSig(), which is meant: an override of that is not called for a payload.
    virtual void onSig(const Data::VariantCollection &payload);

    /// Runs the callback if enabled.
    virtual void onSig();
#endif

protected:
    /// Makes \p callback the callback and deletes the one before it.
    Slot &installCallback(std::unique_ptr<SlotCB> callback);

    /// The payload of the delivery under way, for slots that deliver in their own way.
    Data::VariantCollection m_data;

private:
    Slot(const Slot &) = delete;
    Slot &operator=(const Slot &) { return *this; }

    std::unique_ptr<SlotCB> m_callback;
    bool m_enabled = true;
    int m_flag = 0;
};

} // namespace Utils
