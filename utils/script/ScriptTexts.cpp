#include "utils/script/ScriptTexts_p.h"

#include "utils/base/Placeholders_p.h"
#include "utils/strings/StringTable.h"

namespace Utils {

Data::String scriptText(const char *id, const QStringList &values)
{
    const Data::String key = fillPlaceholders(QStringLiteral(".Kelm.Utils%1"), {Data::String(id)});
    return fillPlaceholders(StringTable::lookup(key), values);
}

} // namespace Utils
