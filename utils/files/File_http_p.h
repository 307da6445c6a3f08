#pragma once

#include <QString>

namespace Utils {

/// What File::read() gives of an "http://" address.
QString readHttp(const QString &address);

} // namespace Utils
