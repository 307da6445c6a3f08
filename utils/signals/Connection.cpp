#include "utils/signals/Connection.h"

#include <QObject>

namespace Utils {

Connection::Connection(const QMetaObject::Connection &connection) : m_connection(connection) {}

bool Connection::isConnected() const { return static_cast<bool>(m_connection); }

bool Connection::disconnect() { return isConnected() && QObject::disconnect(m_connection); }

} // namespace Utils
