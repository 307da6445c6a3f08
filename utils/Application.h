#pragma once

#include "data/IApplication.h"
#include "utils/Export.h"

namespace Utils {

/// Tells the library its host, in place of any earlier one: the first call a host makes.
///
/// The host stays the caller's and must be alive until it is replaced. Null turns every call to a
/// host off.
KELMUTILS_EXPORT void setApplication(Data::IApplication *app);

} // namespace Utils
