#include "utils/csv/CSVCell.h"

#include "utils/base/DecimalParse_p.h"
#include "utils/csv/CSVTable_p.h"
#include "utils/csv/cells/CSVText_p.h"
#include "utils/csv/cells/Cells_p.h"

namespace Utils {

static bool isAscii(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

bool CSVCell::isEmpty() const
{
    if (m_size == 0)
        return true;
    const bool mayBeBlank = form() == InFile || (form() == Utf8 && !isAscii(*bytes()));
    return mayBeBlank && text().isEmpty();
}

Data::String CSVCell::text() const
{
    return emptyWithoutMemory([this] { return Data::String(toText()); });
}

QString CSVCell::toText() const
{
    switch (form()) {
    case Utf16:
        return QString(characters(), m_size);
    case Utf8:
        return csvUtf8Text(bytes(), bytes() + m_size);
    case Exact:
        return csvDecoded(bytes(), bytes() + m_size);
    case Bytes:
        return QString::fromUtf8(bytes(), csvSizeToZero(bytes(), m_size));
    default:
        return QString::fromUtf8(bytes(), m_size).trimmed();
    }
}

double CSVCell::number(bool *ok) const
{
    double value = 0.0;
    if (!toPureNumber(value)) {
        if (ok)
            *ok = false;
        return emptyWithoutMemory([&] { return toNumber(ok); });
    }
    if (ok)
        *ok = true;
    return value;
}

/// Parses a cell that contains only a number, as most do that are read as numbers.
bool CSVCell::toPureNumber(double &value) const
{
    if (isUtf16())
        return hasComma() ? parseCommaNumber(characters(), characters() + m_size, value)
                          : parsePureNumber(characters(), m_size, value);
    if (m_hasRoom && parseDecimal(bytes(), bytes() + m_size, value))
        return true;
    if (hasComma())
        return parseCommaNumber(bytes(), bytes() + m_size, value);
    return (m_form == Utf8 || m_form == Exact) && parsePureNumber(bytes(), m_size, value);
}

/// Parses any cell.
double CSVCell::toNumber(bool *ok) const
{
    const char point = hasComma() ? ',' : '.';
    if (isUtf16() || form() == Utf8 || (form() == Exact && m_size > 0))
        return csvNumber(toText(), ok, point);
    const auto hole = [this] { return *m_hole; };
    return hasComma() ? csvCommaNumber(bytes(), bytes() + m_size, hole, ok)
                      : csvNumber(bytes(), bytes() + m_size, hole, ok);
}

} // namespace Utils
