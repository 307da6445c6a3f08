#include "utils/text/NumberText_p.h"

namespace Utils {

Data::String numberText(double value, char format, int precision)
{
    return QString::number(value, format, precision);
}

} // namespace Utils
