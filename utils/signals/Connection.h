#pragma once

#include "utils/Export.h"

#include <QMetaObject>

namespace Utils {

/// The connection of a function to a Signal, as Signal::connect() returns it.
///
///     Utils::Connection connection = signal.connect([this] { refresh(); });
///     ...
///     connection.disconnect();
///
/// A connection lasts until it is disconnected, or until the signal or the context is destroyed.
/// The destruction of this object does not end it; see ScopedConnection. Copies refer to the same
/// connection, cost as much as a shared pointer, and may be used after the connection has ended.
class KELMUTILS_EXPORT Connection
{
public:
    /// Refers to no connection.
    Connection() = default;

    bool isConnected() const;

    /// Ends the connection. The function is not called any more, not even in a delivery in
    /// progress, and is destroyed, after its return if it is running. False when there was no
    /// connection.
    bool disconnect();

private:
    friend class Signal;
    explicit Connection(const QMetaObject::Connection &connection);

    QMetaObject::Connection m_connection;
};

} // namespace Utils
