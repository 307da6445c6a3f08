#pragma once

#include "utils/signals/Signal.h"

namespace Utils {

/// The signal that is sent for every change of a setting. The process has one, which
/// Settings::SettingChanged() returns. After the first call of Settings::SettingChanged(),
/// Signal::find("SettingChanged") returns the signal, too, unless the name was looked up earlier:
/// an early lookup makes the name ambiguous.
///
/// The payload holds "key", the key from the root of the settings, and "value", the new value,
/// which is invalid when the key was removed. A send first emits sig(key, value). Then it emits
/// sig() and sig(payload), unless a receiver of sig(key, value) called abort().
///
/// A receiver may change settings itself. Such a nested send runs to its end first. It clears the
/// payload, and the outer send continues with the abort state of the nested send. If the nested
/// send was aborted, the outer send ends after sig(key, value). Otherwise the outer send emits
/// sig() but no sig(payload). A Slot that receives the sig(key, value) of the outer send after the
/// nested one finds Slot::data() empty. Therefore a receiver that must not miss a change must use
/// the arguments of sig(key, value).
class KELMUTILS_EXPORT SettingsSignal : public Signal
{
    Q_OBJECT

public:
    using Signal::connect;

    // The overrides, in the order of the functions that they override.
protected:
    bool sendSignals() override;

public:
    bool connect(const QObject *receiver, const char *method) override;

protected:
    explicit SettingsSignal(const char *name);

    /// Sends the change of \p key to \p value. False when a receiver has called abort().
    bool send(const Data::String &key, const Data::Variant &value);
    friend class Settings;

private:
    Q_DECL_HIDDEN bool sendUntraced();
};

} // namespace Utils
