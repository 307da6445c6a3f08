#pragma once

#include "data/IApplication.h"
#include "utils/Export.h"

namespace Utils {

/// Sets the host application, replacing an earlier one. A host calls this function before all
/// others of the library.
///
/// The library does not own \p app, which must stay alive until it is replaced. With null the
/// library makes no calls to a host.
KELMUTILS_EXPORT void setApplication(Data::IApplication *app);

} // namespace Utils
