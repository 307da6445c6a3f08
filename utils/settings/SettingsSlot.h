#pragma once

#include "utils/signals/Slot.h"

#include <QStringList>

namespace Utils {

/// A slot that receives the changes of some settings: those whose key, from the root of the
/// settings, begins with one of its prefixes. Comparison is case-sensitive.
///
///     prefixes     delivered                         not delivered
///     "View/"      "View/x", "View/a/b"              "View", "view/x"
///     "Colors"     "Colors", "Colors/x", "ColorsOld" "View/Colors"
///     "a;b"        "a", "box"                        "c"
///
/// The callback finds the change in data(), under "key" and "value"; the value is invalid when the
/// key was removed. Only deliveries of a key and a value are filtered: deliveries of another
/// payload shape, which the caller connects itself, all reach the callback as in a plain Slot.
///
///     m_slot.setCallback(this, &Panel::refresh); // Utils::SettingsSlot m_slot{"View/", nullptr};
class KELMUTILS_EXPORT SettingsSlot : public Slot
{
    Q_OBJECT

public:
    /// Constructs a slot named "SettingsSlot" with the prefixes in \p keys, which are separated by
    /// ";". Empty prefixes are dropped; spaces are part of a prefix; a slot without prefixes
    /// receives nothing. The slot is connected to Settings::SettingChanged(), unless \p keys is
    /// "-". In this case the caller connects the slot, and "-" is a prefix like any other.
    SettingsSlot(const Data::String &keys, QObject *parent);
    ~SettingsSlot() override;

    /// Adds the prefixes in \p keys, separated as in the constructor.
    void addKey(const Data::String &keys);

    using Slot::onSig;

protected:
    /// Delivers the change as a payload of "key" and "value" if testKey() returns true.
    void onSig(const Data::String &key, const Data::Variant &value) override;

    /// Whether the change of \p key is delivered.
    virtual bool testKey(const Data::String &key);

private:
    QStringList m_keys;
};

} // namespace Utils
