#include "utils/csv/dialect/DialectFindings_p.h"

#include "utils/csv/dialect/DialectCell_p.h"

#include <algorithm>

namespace Utils {

/// Numbers counted by their separators.
struct NumberTally
{
    int points = 0; // with a decimal point that cannot separate thousands
    int commas = 0;
    int doubtfulPoints = 0;
    int doubtfulCommas = 0;
    int grouped = 0;

    void add(const CellClass &cell)
    {
        grouped += cell.isGrouped;
        if (cell.decimalPoint == '.')
            ++(cell.isPointAmbiguous ? doubtfulPoints : points);
        else if (cell.decimalPoint == ',')
            ++(cell.isPointAmbiguous ? doubtfulCommas : commas);
    }
};

static NumberTally tallyOf(const DialectRows &rows, int firstRow)
{
    NumberTally tally;
    for (const DialectRows::Row &row : rows.rows()) {
        if (row.part == 0 && row.number < firstRow)
            continue;
        for (int column = 0; column < row.numStored; ++column) {
            const CellClass cell = classifyCell(rows.cell(row, column));
            if (cell.kind == CellKind::Number)
                tally.add(cell);
        }
    }
    return tally;
}

DialectNumbers DialectNumbers::find(const DialectRows &rows, int firstRow, bool isCommaFree)
{
    const NumberTally tally = tallyOf(rows, firstRow);
    const int clear = tally.points + tally.commas;
    DialectNumbers numbers;
    if (clear > 0) {
        const bool isComma = tally.commas > tally.points;
        const int winners = std::max(tally.points, tally.commas);
        const int others = isComma ? tally.doubtfulPoints : tally.doubtfulCommas;
        const double most = 0.98;
        numbers.decimalPoint = isComma ? ',' : '.';
        numbers.confidence = most * winners / clear * (1.0 - 0.5 / (winners + 1.0));
        numbers.isGrouped = tally.grouped > 0 || others > 0;
    } else if (tally.grouped > 0) {
        numbers.isGrouped = true;
        numbers.confidence = 0.4;
    } else if (tally.doubtfulPoints + tally.doubtfulCommas > 0) {
        // Each has three digits after it: a comma separates thousands about as often.
        const bool isComma = tally.doubtfulCommas > tally.doubtfulPoints;
        numbers.decimalPoint = isComma ? ',' : '.';
        numbers.confidence = tally.doubtfulCommas == 0 ? 0.7 : 0.45;
    } else {
        numbers.confidence = isCommaFree ? 0.6 : 0.4;
    }
    return numbers;
}

} // namespace Utils
