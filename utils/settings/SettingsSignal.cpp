#include "utils/settings/SettingsSignal.h"

#include "utils/signals/SignalTracer_p.h"

#include <QPointer>

namespace Utils {

static bool isChange(const Data::VariantCollection &payload)
{
    return payload.contains(QStringLiteral("key")) && payload.contains(QStringLiteral("value"));
}

bool SettingsSignal::sendSignals()
{
    if (Q_LIKELY(!SignalTracer::active))
        return sendUntraced();

    SignalTrace change = trace();
    if (isChange(data()))
        change.receivers += receivers(SIGNAL(sig(const Data::String &, const Data::Variant &)));
    const TracedSend traced(change);
    return sendUntraced();
}

bool SettingsSignal::sendUntraced()
{
    const Data::VariantCollection change = data(); // a copy, as receivers may send in turn
    clearAborted();

    if (isChange(change)) {
        const QPointer<SettingsSignal> self(this);
        Q_EMIT sig(change[QStringLiteral("key")].toString(), change[QStringLiteral("value")]);
        if (!self)
            return false;
        if (isAborted()) {
            clearData();
            return false;
        }
    }
    return Signal::send();
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
