#pragma once

#include "data/String.h"

namespace Utils {

/// The folders that File::findResource() searches.
struct SearchPaths
{
    static Data::String resources;
    static Data::String plugins;
};

/// What File::read() returns for an "http://" address.
QString readHttp(const QString &address);

} // namespace Utils
