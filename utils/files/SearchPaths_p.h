#pragma once

#include "data/String.h"

namespace Utils {

/// The folders in which File::findResource() looks.
struct SearchPaths
{
    static Data::String resources;
    static Data::String plugins;
};

} // namespace Utils
