#include "utils/csv/dialect/DialectFindings_p.h"

#include "utils/csv/dialect/DialectCell_p.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Utils {

static bool isValue(CellKind kind) { return kind == CellKind::Number || kind == CellKind::Date; }

/// The rows of the start of a sample, and the kinds of the columns of its body.
class HeaderFinder
{
public:
    explicit HeaderFinder(const DialectRows &rows);

    DialectHeader find() const;

private:
    using Row = DialectRows::Row;

    /// How the numbers of a row follow one another.
    enum class Order
    {
        None,
        Monotonic, // all rising, or all falling
        EqualSteps
    };

    /// How a row fits the columns of values.
    struct Fit
    {
        int values = 0; // cells that are values
        int texts = 0;  // cells that are texts
    };

    void findValueColumns();
    Fit fitOf(const Row &row) const;
    bool isData(const Row &row) const;
    Order orderOf(const Row &row) const;
    bool hasNumericLabels() const;
    bool isUnits(const Row &row) const;
    bool isRuler(const Row &row) const;
    bool isWide(const Row &row) const;
    int countFilled(const Row &row) const;
    DialectHeader findAboveValues() const;
    void chooseHeader(std::size_t firstData, DialectHeader &header) const;
    DialectHeader findAboveTexts() const;
    double voteOf(const Row &top, int column) const;
    std::size_t bodyStart() const;

    const DialectRows &m_rows;
    std::vector<Row> m_start; // the rows of the first part
    std::vector<Row> m_body;  // the rows that are very likely data
    std::vector<bool> m_isValue;
    int m_numColumns = 0;
    int m_numValueColumns = 0;
};

HeaderFinder::HeaderFinder(const DialectRows &rows) : m_rows(rows)
{
    for (const Row &row : rows.rows()) {
        if (row.part == 0 && !isRuler(row))
            m_start.push_back(row);
    }
    const std::size_t first = bodyStart();
    for (std::size_t i = 0; i < rows.rows().size(); ++i) {
        if (i >= first)
            m_body.push_back(rows.rows()[i]);
    }
    m_numColumns = rows.usualCount();
    findValueColumns();
}

/// Whether a row is a line that is drawn below a header, as "----+----".
bool HeaderFinder::isRuler(const Row &row) const
{
    int length = 0;
    for (int column = 0; column < row.numStored; ++column) {
        for (const QChar character : m_rows.cell(row, column)) {
            if (!QStringLiteral("-+=:").contains(character))
                return false;
            ++length;
        }
    }
    const int shortest = 3;
    return length >= shortest * row.numCells;
}

/// Header rows are few, and less than half of all rows.
std::size_t HeaderFinder::bodyStart() const
{
    const std::size_t numRows = m_start.size();
    const std::size_t most = 6;
    if (numRows < 2)
        return numRows;
    // A preamble of several lines that are shorter than the others is no body.
    std::size_t start = std::clamp<std::size_t>(numRows / 2, 1, most);
    while (start + 1 < numRows && start < 40 && m_start[start].numCells != m_rows.usualCount())
        ++start;
    return start;
}

void HeaderFinder::findValueColumns()
{
    const double most = 0.75;
    for (int column = 0; column < m_numColumns; ++column) {
        int values = 0;
        int texts = 0;
        for (const Row &row : m_body) {
            const CellKind kind = classifyCell(m_rows.cell(row, column)).kind;
            values += isValue(kind);
            texts += kind == CellKind::Text;
        }
        const bool isColumn = values > 0 && values >= most * (values + texts);
        m_isValue.push_back(isColumn);
        m_numValueColumns += isColumn;
    }
}

HeaderFinder::Fit HeaderFinder::fitOf(const Row &row) const
{
    Fit fit;
    for (int column = 0; column < m_numColumns; ++column) {
        if (!m_isValue[static_cast<std::size_t>(column)])
            continue;
        const CellKind kind = classifyCell(m_rows.cell(row, column)).kind;
        fit.values += isValue(kind);
        fit.texts += kind == CellKind::Text;
    }
    return fit;
}

bool HeaderFinder::isWide(const Row &row) const
{
    return m_numColumns < 2 || row.numCells * 2 > m_numColumns;
}

int HeaderFinder::countFilled(const Row &row) const
{
    int count = 0;
    for (int column = 0; column < std::min(row.numCells, m_numColumns); ++column)
        count += !m_rows.cell(row, column).isEmpty();
    return count;
}

bool HeaderFinder::isData(const Row &row) const
{
    const Fit fit = fitOf(row);
    if (m_numColumns > 1 && row.numCells < 2)
        return false;
    return fit.values > 0 && fit.values >= fit.texts && isWide(row);
}

/// How the numbers of a row follow one another.
HeaderFinder::Order HeaderFinder::orderOf(const Row &row) const
{
    std::vector<double> numbers;
    bool areWhole = true;
    for (int column = 0; column < m_numColumns; ++column) {
        const QStringView cell = m_rows.cell(row, column);
        if (classifyCell(cell).kind != CellKind::Number)
            continue;
        bool isNumber = false;
        numbers.push_back(
            cell.toString().replace(QLatin1Char(','), QLatin1Char('.')).toDouble(&isNumber));
        areWhole = areWhole && isNumber && numbers.back() == std::floor(numbers.back());
        if (!isNumber)
            return Order::None;
    }
    const std::size_t fewest = 3;
    if (numbers.size() < fewest)
        return Order::None;
    const double step = numbers[1] - numbers[0];
    bool isMonotonic = true;
    bool hasEqualSteps = areWhole;
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        const double next = numbers[i] - numbers[i - 1];
        isMonotonic = isMonotonic && next * step > 0.0;
        hasEqualSteps = hasEqualSteps && next == step;
    }
    if (!isMonotonic)
        return Order::None;
    return hasEqualSteps ? Order::EqualSteps : Order::Monotonic;
}

/// Whether the first row, which has numbers, may be labels, such as years or wavelengths.
bool HeaderFinder::hasNumericLabels() const
{
    const std::size_t fewest = 4;
    const Row &top = m_start.front();
    const Order order = orderOf(top);
    if (order == Order::None || m_start.size() < fewest)
        return false;
    for (std::size_t i = 1; i < fewest; ++i) {
        if (orderOf(m_start[i]) == order)
            return false;
    }
    if (order == Order::EqualSteps)
        return true;
    double votes = 0.0;
    int numTexts = 0;
    for (int column = 0; column < m_numColumns; ++column) {
        if (!m_isValue[static_cast<std::size_t>(column)]) {
            votes += voteOf(top, column);
            ++numTexts;
        }
    }
    return numTexts > 0 && votes > 0.0;
}

bool HeaderFinder::isUnits(const Row &row) const
{
    int units = 0;
    int others = 0;
    for (int column = 0; column < m_numColumns; ++column) {
        const QStringView cell = m_rows.cell(row, column);
        const CellKind kind = classifyCell(cell).kind;
        if (isUnit(cell))
            ++units;
        else if (kind != CellKind::Empty && kind != CellKind::Missing)
            ++others;
    }
    return units > others;
}

/// Finds the rows of labels and units among the rows before \p firstData: those as wide as the
/// data, without what is above an empty line or a shorter row.
void HeaderFinder::chooseHeader(std::size_t firstData, DialectHeader &header) const
{
    std::size_t top = firstData;
    bool areUnits = true; // all so far
    while (top > 0) {
        const Row &row = m_start[top - 1];
        const bool isNext = row.number + 1 == m_start[top == firstData ? top - 1 : top].number;
        const bool isFull = row.numCells == m_numColumns && countFilled(row) * 2 >= m_numColumns;
        if (!isFull || (top < firstData && !isNext && !areUnits))
            break;
        areUnits = areUnits && isUnits(row);
        --top;
    }
    if (top == firstData) { // labels with blanks in them, or some that are missing
        const Row &row = m_start[firstData - 1];
        if (isWide(row))
            header.headerRow = row.number;
        return;
    }
    header.headerRow = m_start[top].number;
    for (std::size_t i = top + 1; i < firstData && header.unitRow < 0; ++i) {
        if (isUnits(m_start[i]))
            header.unitRow = m_start[i].number;
    }
}

DialectHeader HeaderFinder::findAboveValues() const
{
    DialectHeader header;
    std::size_t first = 0;
    const auto isDataAt = [&](std::size_t i) { return i >= m_start.size() || isData(m_start[i]); };
    while (first < m_start.size() && !(isDataAt(first) && isDataAt(first + 1)))
        ++first;
    if (first == m_start.size())
        first = std::min<std::size_t>(1, first); // the values are further down only

    if (first == 0) {
        const Row &top = m_start.front();
        const Fit fit = fitOf(top);
        if (hasNumericLabels()) {
            header.headerRow = top.number;
            header.firstDataRow = m_start[1].number;
            header.confidence = 0.55;
            return header;
        }
        header.confidence = fit.texts > 0 ? 0.6 : fit.values > 1 ? 0.95 : 0.9;
        if (orderOf(top) != Order::None)
            header.confidence = std::min(header.confidence, 0.85);
        return header;
    }

    chooseHeader(first, header);
    header.firstDataRow = m_start[first].number;
    const Fit fit = fitOf(m_start[first - 1]);
    const double strength = fit.texts / double(m_numValueColumns);
    header.confidence = header.headerRow < 0 ? 0.5 : 0.7 + 0.27 * strength;
    const bool isPlain = first == 1 || (first == 2 && header.unitRow >= 0);
    if (!isPlain)
        header.confidence = std::min(header.confidence, 0.75);
    if (m_body.size() < 2)
        header.confidence = std::min(header.confidence, 0.85);
    return header;
}

// Texts only

/// Rates a column: above 0 when a header is likely, below 0 when it is not.
double HeaderFinder::voteOf(const Row &top, int column) const
{
    const QStringView label = m_rows.cell(top, column);
    if (label.isEmpty())
        return 0.0;
    if (classifyCell(label).kind != CellKind::Text)
        return -1.0;
    std::vector<QStringView> cells;
    for (const Row &row : m_body) {
        const QStringView cell = m_rows.cell(row, column);
        if (!cell.isEmpty())
            cells.push_back(cell);
    }
    return voteForLabel(label, cells);
}

DialectHeader HeaderFinder::findAboveTexts() const
{
    DialectHeader header;
    const Row &top = m_start.front();
    double votes = 0.0;
    int numTexts = 0;
    for (int column = 0; column < m_numColumns; ++column) {
        votes += voteOf(top, column);
        numTexts += classifyCell(m_rows.cell(top, column)).kind == CellKind::Text;
    }
    if (m_body.empty()) { // one row
        header.headerRow = numTexts == m_numColumns ? top.number : -1;
        header.firstDataRow = header.headerRow < 0 ? 0 : top.number + 1;
        header.confidence = numTexts > 0 ? 0.3 : 0.6;
        return header;
    }
    const double average = votes / std::max(1, m_numColumns);
    const bool isHeader = numTexts > 0 && average > -0.1;
    header.confidence = std::clamp(0.5 + 0.3 * std::abs(average), 0.3, 0.85);
    if (isHeader) {
        header.headerRow = top.number;
        header.firstDataRow = m_start.size() > 1 ? m_start[1].number : top.number + 1;
    }
    return header;
}

DialectHeader HeaderFinder::find() const
{
    if (m_start.empty())
        return {};
    return m_numValueColumns > 0 ? findAboveValues() : findAboveTexts();
}

DialectHeader DialectHeader::find(const DialectRows &rows) { return HeaderFinder(rows).find(); }

} // namespace Utils
