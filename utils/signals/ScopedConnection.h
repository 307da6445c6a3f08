#pragma once

#include "utils/Export.h"
#include "utils/signals/Connection.h"

namespace Utils {

/// A connection that ends with a scope, or with the object of which it is a member.
///
///     class Panel
///     {
///         Utils::ScopedConnection m_opened;
///     };
///     m_opened = signal.connect([this] { refresh(); });
///
/// It can be moved but not copied.
class KELMUTILS_EXPORT ScopedConnection
{
public:
    /// Holds no connection.
    ScopedConnection() = default;
    ScopedConnection(const Connection &connection);
    ScopedConnection(ScopedConnection &&other) noexcept;

    /// Disconnects the connection that was held before.
    ScopedConnection &operator=(ScopedConnection &&other) noexcept;
    ~ScopedConnection();

    bool isConnected() const;

    /// Disconnects at once. False when there was no connection.
    bool disconnect();

    /// Returns the connection and does not hold it any more: it outlives the scope.
    Connection release();

private:
    Connection m_connection;
};

} // namespace Utils
