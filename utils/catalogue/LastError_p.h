#pragma once

#include "utils/base/LastError_p.h"

namespace Utils {

/// The text of the reason in the current language, "" without one.
Data::String lastErrorText();

} // namespace Utils
