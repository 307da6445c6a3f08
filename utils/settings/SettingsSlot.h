#pragma once

#include "utils/signals/Slot.h"

#include <QStringList>

namespace Utils {

/// A slot that hears of the changes of some settings: those whose key from the root begins with one
/// of its prefixes. Case counts.
///
///     prefixes     hears of                          does not hear of
///     "View/"      "View/x", "View/a/b"              "View", "view/x"
///     "Colors"     "Colors", "Colors/x", "ColorsOld" "View/Colors"
///     "a;b"        "a", "box"                        "c"
///
/// The callback finds the change in data(), under "key" and "value"; the value is invalid when the
/// key was removed. Only deliveries of a key and a value are tested: a slot that is connected in
/// another shape by hand is a plain Slot in it.
///
///     m_slot.setCallback(this, &Panel::refresh); // Utils::SettingsSlot m_slot{"View/", nullptr};
class KELMUTILS_EXPORT SettingsSlot : public Slot
{
    Q_OBJECT

public:
    /// A slot named "SettingsSlot" with the prefixes in \p keys, which are separated by ";". Empty
    /// ones are dropped and blanks belong to a prefix; without any the slot hears nothing. It is
    /// connected to Settings::SettingChanged(), unless \p keys is "-", with which the caller
    /// connects it. The "-" is a prefix all the same.
    SettingsSlot(const Data::String &keys, QObject *parent);
    ~SettingsSlot() override;

    /// Adds the prefixes in \p keys, separated as in the constructor.
    void addKey(const Data::String &keys);

    using Slot::onSig;

protected:
    /// Delivers the change as a payload of "key" and "value" if testKey() lets it pass.
    void onSig(const Data::String &key, const Data::Variant &value) override;

    /// Whether the change of \p key is delivered.
    virtual bool testKey(const Data::String &key);

private:
    QStringList m_keys;
};

} // namespace Utils
