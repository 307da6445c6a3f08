#pragma once

#include <QStringView>

namespace Utils {

/// What the text of a cell is.
enum class CellKind
{
    Empty,
    Missing, ///< a word for a value that is not there, such as "NA" or "-"
    Number,
    Date, ///< or a time, or both
    Text
};

/// A cell that is classified.
struct CellClass
{
    CellKind kind = CellKind::Empty;

    // Of a number
    char decimalPoint = 0;         ///< '.' or ',', 0 without one
    bool isPointAmbiguous = false; ///< the decimal point may separate thousands, as in "1,234"
    bool isGrouped = false;        ///< there are separators between thousands
};

/// Classifies \p text, which is trimmed.
CellClass classifyCell(QStringView text);

/// Whether \p text is a unit, such as "mm", "[kN/mm2]" or "%".
bool isUnit(QStringView text);

} // namespace Utils
