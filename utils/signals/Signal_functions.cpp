#include "utils/signals/Signal.h"

#include <memory>

namespace Utils {

/// A function that is called once. It is disconnected by a handle of its own connection; until then
/// the connection owns this object, and this object owns the handle.
template <typename... Arguments>
struct CalledOnce
{
    QMetaObject::Connection connection;
    std::function<void(Arguments...)> function;
};

template <typename... Arguments>
static QMetaObject::Connection connectShape(Signal *signal, const QObject *context,
                                            std::function<void(Arguments...)> &&function, bool once)
{
    if (!function)
        return {};
    void (Signal::*const emission)(Arguments...) = &Signal::sig;
    if (!once)
        return QObject::connect(signal, emission, context, std::move(function));

    const auto called = std::make_shared<CalledOnce<Arguments...>>();
    called->function = std::move(function);
    called->connection =
        QObject::connect(signal, emission, context, [called](Arguments... arguments) {
            QObject::disconnect(called->connection);
            called->function(arguments...);
        });
    return called->connection;
}

Connection Signal::connectFunction(const QObject *context, SignalFunction function, Times times)
{
    if (!context)
        return {};
    const auto connectAny = [&](auto &&shape) {
        return connectShape(this, context, std::forward<decltype(shape)>(shape),
                            times == Times::Once);
    };
    return Connection(std::visit(connectAny, std::move(function)));
}

} // namespace Utils
