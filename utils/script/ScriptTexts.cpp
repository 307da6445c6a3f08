#include "utils/script/ScriptTexts_p.h"

#include "utils/catalogue/Catalogue_p.h"

namespace Utils {

Data::String scriptText(const char *id, const QStringList &values)
{
    return message(".Kelm.Utils", id, values);
}

} // namespace Utils
