#pragma once

#include "utils/catalogue/Catalogue_p.h"

namespace Utils {

/// Reads the file of the table \p name for \p language into \p table. False when there is no file,
/// or it cannot be read.
bool readStringTable(CatalogueTable &table, const Data::String &name, const Data::String &language);

} // namespace Utils
