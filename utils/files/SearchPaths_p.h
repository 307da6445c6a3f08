#pragma once

#include "data/String.h"

namespace Utils {

/// The folders that File::findResource() searches.
struct SearchPaths
{
    static Data::String resources;
    static Data::String plugins;
};

} // namespace Utils
