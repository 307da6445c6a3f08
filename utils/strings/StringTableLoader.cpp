#include "utils/strings/StringTableLoader.h"

#include "utils/strings/StringTable.h"

namespace Utils {

StringTableLoader::StringTableLoader(const Data::String &name) { StringTable::load(name); }

} // namespace Utils
