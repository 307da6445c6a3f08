#pragma once

#include "utils/csv/CSVTable.h"

#include <QList>
#include <QStringList>

// What the tests of the delimited table have in common.

using Rows = QList<QStringList>;

/// More megabytes than any file has that wrap to none: any file is read as a table in the file.
inline constexpr int limitOfNoBytes = 4096;

inline Rows rowsOf(const Utils::CSVTable &table)
{
    Rows rows;
    for (int row = 0; row < table.numRows(); ++row)
        rows.append(table.data(row));
    return rows;
}
