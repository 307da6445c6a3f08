#include "utils/signals/SingleShot_p.h"

#include "utils/signals/SignalRegistry_p.h"

#include <QPointer>

namespace Utils {

SingleShot::SingleShot(const char *id) : Signal(id ? id : "singleshot", nullptr)
{
    if (id && signalRegistry.ifAlive())
        pendingCalls.ids.insert(objectName());
}

bool SingleShot::sendSignals()
{
    const QPointer<SingleShot> self(this);
    const Data::String id = objectName();
    const bool isUncancellable = id == QLatin1String("singleShot");
    if (signalRegistry.ifAlive() && (isUncancellable || pendingCalls.ids.contains(id))) {
        pendingCalls.ids.remove(id); // before the send, which may use the id again
        Signal::sendSignals();
        if (!self)
            return false;
    }
    deleteLater();
    return !isAborted();
}

} // namespace Utils
