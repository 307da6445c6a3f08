#pragma once

#include "data/IApplication.h"

namespace Utils {

/// The host, or null while none is set. Test it before every call.
Data::IApplication *application();

} // namespace Utils
