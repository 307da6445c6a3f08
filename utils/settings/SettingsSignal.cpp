#include "utils/settings/SettingsSignal.h"

#include <QPointer>

namespace Utils {

bool SettingsSignal::sendSignals()
{
    const Data::String keyName = QStringLiteral("key");
    const Data::String valueName = QStringLiteral("value");
    const Data::VariantCollection change = data(); // a copy, as receivers may send in turn
    clearAborted();

    if (change.contains(keyName) && change.contains(valueName)) {
        const QPointer<SettingsSignal> self(this);
        Q_EMIT sig(change[keyName].toString(), change[valueName]);
        if (!self)
            return false;
        if (isAborted()) {
            clearData();
            return false;
        }
    }
    return Signal::sendSignals();
}

bool SettingsSignal::connect(const QObject *receiver, const char *method)
{
    return Signal::connect(receiver, method);
}

SettingsSignal::SettingsSignal(const char *name) : Signal(name, nullptr) {}

bool SettingsSignal::send(const Data::String &key, const Data::Variant &value)
{
    addData(QStringLiteral("key"), key);
    addData(QStringLiteral("value"), value);
    return sendSignals();
}

} // namespace Utils
