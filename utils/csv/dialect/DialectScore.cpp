#include "utils/csv/dialect/DialectScore_p.h"

#include "utils/csv/dialect/DialectCell_p.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Utils {

/// How clean a text is, from 0 to 1: what else could separate fields makes it doubtful.
static double cleannessOfText(QStringView text, const DialectFormat &format)
{
    double cleanness = 0.9;
    int figures = 0;
    int others = 0; // than blanks
    for (auto next = text.begin(); next < text.end(); ++next) {
        const char character = next->toLatin1();
        const bool isBeforeBlank = next + 1 < text.end() && next[1] == QLatin1Char(' ');
        if (character >= '0' && character <= '9')
            ++figures;
        else if (character != ' ')
            ++others;
        if (character == '\t' || character == '|' || character == '\0')
            cleanness = std::min(cleanness, 0.1);
        else if (character == ';')
            cleanness = std::min(cleanness, isBeforeBlank ? 0.4 : 0.1);
        else if (character == ',')
            cleanness = std::min(cleanness, isBeforeBlank ? 0.7 : 0.4);
    }
    const QChar first = text.front();
    const QChar last = text.back();
    if (last == QLatin1Char(',') || last == QLatin1Char(';'))
        cleanness = std::min(cleanness, 0.1);
    if (!format.isQuoted && (first == QLatin1Char('"') || last == QLatin1Char('"')))
        cleanness = std::min(cleanness, 0.2);
    // Numbers with something between them are more than one cell.
    if (figures > others && text.contains(QLatin1Char(' ')))
        cleanness = std::min(cleanness, 0.3);
    return cleanness;
}

/// How clean a cell is. \p commaInHeader tells that its label has a comma: where each cell has one,
/// too, commas are delimiters rather.
static double cleannessOfCell(QStringView text, const CellClass &cell, const DialectFormat &format,
                              bool commaInHeader)
{
    const bool isNumber = cell.kind == CellKind::Number;
    const double clean = cell.kind == CellKind::Text ? cleannessOfText(text, format) : 1.0;
    if (!commaInHeader || (!isNumber && cell.kind != CellKind::Text))
        return clean;
    const int comma = static_cast<int>(text.indexOf(QLatin1Char(',')));
    const bool isBeforeBlank = comma + 1 < text.size() && text[comma + 1] == QLatin1Char(' ');
    return comma < 0 || isBeforeBlank ? clean : std::min(clean, 0.1);
}

/// The share of rows that have the usual number of fields. Other rows count a little, those before
/// the first usual one, a preamble, even less.
static double consistencyOf(const DialectRows &rows)
{
    double weight = 0.0;
    double sum = 0.0;
    bool isAfterFirst = false;
    const int usual = rows.usualCount();
    for (const DialectRows::Row &row : rows.rows()) {
        const bool isUsual = row.numCells == usual;
        isAfterFirst = isAfterFirst || isUsual;
        const double rowWeight = isAfterFirst ? 1.0 : 0.3;
        weight += rowWeight;
        if (isUsual)
            sum += rowWeight;
        else if (usual > 2 && row.numCells > 1)
            sum += rowWeight * 0.4 *
                   std::max(0.0, 1.0 - std::abs(row.numCells - usual) / double(usual));
    }
    return weight > 0.0 ? sum / weight : 0.0;
}

/// Whether each row but the first ones is two whole numbers, and the first is one word: these are
/// numbers with a decimal comma below their label.
static bool isDecimalCommas(const DialectRows &rows)
{
    if (rows.usualCount() != 2)
        return false;
    bool isBelowLabel = false;
    for (const DialectRows::Row &row : rows.rows()) {
        if (row.numCells != 2) {
            isBelowLabel = isBelowLabel || &row == &rows.rows().front();
            continue;
        }
        for (int column = 0; column < 2; ++column) {
            const CellClass cell = classifyCell(rows.cell(row, column));
            if (cell.kind != CellKind::Number || cell.decimalPoint != 0)
                return false;
        }
    }
    return isBelowLabel;
}

DialectScore DialectScore::of(const DialectRows &rows, const DialectFormat &format)
{
    DialectScore score;
    const int usual = rows.usualCount();
    score.numRows = static_cast<int>(rows.rows().size());
    if (score.numRows == 0 || (usual < 2 && !format.delimiter.isEmpty()))
        return score;
    score.consistency = consistencyOf(rows);

    // Whether cells of the first row have commas, by column
    std::vector<bool> commas;
    const DialectRows::Row &top = rows.rows().front();
    for (int column = 0; column < top.numStored; ++column) {
        const QStringView label = rows.cell(top, column);
        commas.push_back(classifyCell(label).kind == CellKind::Text &&
                         label.contains(QLatin1Char(',')));
    }
    double clean = 0.0;
    int numCells = 0;
    int values = 0;
    const int mostCells = 20000;
    for (const DialectRows::Row &row : rows.rows()) {
        if (row.numCells == usual)
            score.numDelimiters += usual - 1;
        if (numCells > mostCells)
            continue;
        for (int column = 0; column < row.numStored; ++column) {
            const auto index = static_cast<std::size_t>(column);
            const QStringView cell = rows.cell(row, column);
            const CellClass found = classifyCell(cell);
            values += found.kind == CellKind::Number || found.kind == CellKind::Date;
            const bool commaInHeader = index < commas.size() && commas[index];
            clean += rows.isQuoted(row, column)
                         ? 1.0 // anything may be in quotes
                         : cleannessOfCell(cell, found, format, commaInHeader);
        }
        numCells += row.numStored;
    }
    score.clean = numCells > 0 ? clean / numCells : 0.0;

    score.isMissingAtTop = top.numCells == 1;
    score.isSingleBlanks = format.isAligned() && !rows.hasWideBlanks();
    score.values = numCells > 0 ? values / double(numCells) : 0.0;

    // More fields are less likely to come about by chance; one field hardly has a chance to differ.
    double preference = 1.0 - 0.3 / usual;
    if (format.isAligned())
        preference *= 0.9;
    if (score.isSingleBlanks && score.values < 0.2)
        preference *= 0.5; // words of a text
    if (format.delimiter == QLatin1String(",") && isDecimalCommas(rows))
        preference *= 0.6;
    if (rows.numMisquoted() > 0)
        preference *= 1.0 - rows.numMisquoted() / double(rows.numMisquoted() + rows.numQuoted());
    score.value = score.consistency * score.consistency * score.clean * score.clean * preference;
    return score;
}

} // namespace Utils
