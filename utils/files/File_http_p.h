#pragma once

#include <QString>

namespace Utils {

/// The result of File::read() for an "http://" address.
QString readHttp(const QString &address);

} // namespace Utils
