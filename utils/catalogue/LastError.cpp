#include "utils/catalogue/LastError_p.h"

#include "utils/catalogue/Catalogue_p.h"

namespace Utils {

Data::String lastErrorText()
{
    const char *const id = LastError::id();
    return id ? message(".Kelm.Utils", id, LastError::values()) : Data::String();
}

} // namespace Utils
