#include "utils/signals/ScopedConnection.h"

#include <utility>

namespace Utils {

ScopedConnection::ScopedConnection(const Connection &connection) : m_connection(connection) {}

ScopedConnection::ScopedConnection(ScopedConnection &&other) noexcept
    : m_connection(other.release())
{}

ScopedConnection &ScopedConnection::operator=(ScopedConnection &&other) noexcept
{
    // The old connection is ended last: what its function has captured may own this object.
    Connection replaced = std::exchange(m_connection, other.release());
    replaced.disconnect();
    return *this;
}

ScopedConnection::~ScopedConnection() { m_connection.disconnect(); }

bool ScopedConnection::isConnected() const { return m_connection.isConnected(); }

bool ScopedConnection::disconnect() { return m_connection.disconnect(); }

Connection ScopedConnection::release() { return std::exchange(m_connection, Connection()); }

} // namespace Utils
