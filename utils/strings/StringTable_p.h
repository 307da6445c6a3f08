#pragma once

#include "utils/catalogue/Catalogue_p.h"

namespace Utils {

/// Reads the file of the table \p name for \p language into \p table. False when there is no file,
/// or it cannot be read.
bool readStringTable(CatalogueTable &table, const Data::String &name, const Data::String &language);

/// Whether \p language is the current one: also "", and any one after the end of the catalogue.
bool isCurrentLanguage(const Data::String &language);

/// The texts of the table of \p key in \p language, which are read lazily. Null when there is no
/// table or they cannot be read.
const TextsById *textsIn(const Data::String &language, const CatalogueKey &key);

} // namespace Utils
