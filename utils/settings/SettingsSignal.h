#pragma once

#include "utils/signals/Signal.h"

namespace Utils {

/// The signal that tells of every change of a setting. The one of the process is
/// Settings::SettingChanged(); once that has been used, Signal::find("SettingChanged") gives it
/// too, unless somebody looked for that name before: it then belongs to nobody.
///
/// The payload holds "key", the key from the root of the settings, and "value", the new value,
/// which is invalid when the key was removed. A send emits sig(key, value) first and, unless a
/// receiver of that called abort(), sig() and sig(payload) behind it.
///
/// A receiver may write a setting in turn. That send is a run of its own, which empties the payload
/// and leaves its abort state behind: afterwards the outer one emits sig(), finds no payload to
/// emit, and whoever still hears its sig(key, value) through a Slot finds Slot::data() empty. So a
/// receiver that must miss nothing takes the arguments of sig(key, value).
class KELMUTILS_EXPORT SettingsSignal : public Signal
{
    Q_OBJECT

public:
    using Signal::connect;

    // The overrides in the order of the operations that they override.
protected:
    bool sendSignals() override;

public:
    bool connect(const QObject *receiver, const char *method) override;

protected:
    explicit SettingsSignal(const char *name);

    /// Tells of the change of \p key to \p value. False when a receiver has called abort().
    bool send(const Data::String &key, const Data::Variant &value);
    friend class Settings;
};

} // namespace Utils
