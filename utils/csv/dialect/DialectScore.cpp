#include "utils/csv/dialect/DialectFindings_p.h"

#include "utils/csv/dialect/DialectCell_p.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Utils {

/// How clean a text is, from 0 to 1: other characters that could separate fields make it less so.
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

/// How clean a cell is. \p commaAtTop tells that its label has a comma: if each cell has one, too,
/// commas are more likely delimiters.
static double cleannessOfCell(QStringView text, const CellClass &cell, const DialectFormat &format,
                              bool commaAtTop)
{
    const bool isNumber = cell.kind == CellKind::Number;
    const double clean = cell.kind == CellKind::Text ? cleannessOfText(text, format) : 1.0;
    if (!commaAtTop || (!isNumber && cell.kind != CellKind::Text))
        return clean;
    const int comma = static_cast<int>(text.indexOf(QLatin1Char(',')));
    const bool isBeforeBlank = comma + 1 < text.size() && text[comma + 1] == QLatin1Char(' ');
    return comma < 0 || isBeforeBlank ? clean : std::min(clean, 0.1);
}

/// The share of rows, of which there must be one, that have the usual number of fields. Other rows
/// count a little, those before the first usual one, a preamble, even less.
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
    return sum / weight;
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

/// Whether the labels in the first row have commas, by column.
static std::vector<bool> commasAtTop(const DialectRows &rows)
{
    std::vector<bool> commas;
    const DialectRows::Row &top = rows.rows().front();
    for (int column = 0; column < rows.usualCount(); ++column) {
        const QStringView label = rows.cell(top, column);
        commas.push_back(label.contains(QLatin1Char(',')) &&
                         classifyCell(label).kind == CellKind::Text);
    }
    return commas;
}

/// Sets the shares of cells that are clean, and of those that are values.
static void rateCells(const DialectRows &rows, const DialectFormat &format, DialectScore &score)
{
    const std::vector<bool> commas = commasAtTop(rows);
    const int mostCells = 20000;
    double clean = 0.0;
    int numCells = 0;
    int values = 0;
    for (const DialectRows::Row &row : rows.rows()) {
        if (numCells > mostCells)
            break;
        for (int column = 0; column < row.numStored; ++column) {
            const auto index = static_cast<std::size_t>(column);
            const QStringView cell = rows.cell(row, column);
            const CellClass found = classifyCell(cell);
            const bool commaAtTop = index < commas.size() && commas[index];
            values += found.kind == CellKind::Number || found.kind == CellKind::Date;
            clean += rows.isQuoted(row, column) // in quotes, any text is clean
                         ? 1.0
                         : cleannessOfCell(cell, found, format, commaAtTop);
        }
        numCells += row.numStored;
    }
    score.clean = clean / numCells; // no row is without a cell
    score.values = values / double(numCells);
}

/// More fields are less likely to come about by chance; one field hardly has a chance to differ.
static double preferenceFor(const DialectRows &rows, const DialectFormat &format,
                            const DialectScore &score)
{
    const double fewValues = 0.2;
    double preference = 1.0 - 0.3 / rows.usualCount();
    if (format.isAligned())
        preference *= 0.9;
    if (format.isAligned() && !rows.hasWideBlanks() && score.values < fewValues)
        preference *= 0.5; // words of a text
    if (format.delimiter == QLatin1String(",") && isDecimalCommas(rows))
        preference *= 0.6;
    if (rows.numMisquoted() > 0)
        preference *= (rows.numQuoted() + 1) / double(rows.numMisquoted() + rows.numQuoted() + 2);
    return preference;
}

DialectScore DialectScore::of(const DialectRows &rows, const DialectFormat &format)
{
    DialectScore score;
    const int usual = rows.usualCount();
    score.numRows = static_cast<int>(rows.rows().size());
    if (score.numRows == 0 || (usual < 2 && !format.delimiter.isEmpty()))
        return score;
    score.consistency = consistencyOf(rows);
    score.isMissingAtTop = rows.rows().front().numCells == 1;
    for (const DialectRows::Row &row : rows.rows())
        score.numDelimiters += row.numCells == usual ? usual - 1 : 0;
    rateCells(rows, format, score);
    score.value = score.consistency * score.consistency * score.clean * score.clean *
                  preferenceFor(rows, format, score);
    return score;
}

} // namespace Utils
