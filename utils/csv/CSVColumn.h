#pragma once

#include "data/String.h"

namespace Utils {

/// What a column of a CSVTable contains, see CSVTable::columns().
struct CSVColumn
{
    enum Type
    {
        Empty,   ///< all cells are empty
        Numbers, ///< more than half of the other cells are numbers
        Texts
    };

    Data::String label;  ///< from the first header row, without its unit
    Data::String unit;   ///< from the second header row, or else from the label
    Data::String object; ///< from the third header row
    Type type = Empty;

    int numCells = 0;      ///< one for each row after the header rows
    int numHoles = 0;      ///< cells that are empty or do not exist
    int numNonNumbers = 0; ///< cells that are neither empty nor a number
};

} // namespace Utils
