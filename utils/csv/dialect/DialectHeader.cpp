#include "utils/csv/dialect/DialectHeader_p.h"

#include "utils/csv/dialect/DialectCell_p.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <vector>

namespace Utils {

static bool isValue(CellKind kind) { return kind == CellKind::Number || kind == CellKind::Date; }

/// The rows of the start of a sample, and what the columns of its body are.
class HeaderFinder
{
public:
    explicit HeaderFinder(const DialectRows &rows);

    DialectHeader find() const;

private:
    using Row = DialectRows::Row;

    /// How a row fits the columns of values.
    struct Fit
    {
        int values = 0; // cells that are values
        int texts = 0;  // cells that are texts
    };

    void findValueColumns();
    Fit fitOf(const Row &row) const;
    bool isData(const Row &row) const;
    bool isSteps(const Row &row) const;
    bool isUnits(const Row &row) const;
    bool isWide(const Row &row) const;
    DialectHeader findAboveValues() const;
    void chooseHeader(std::size_t firstData, DialectHeader &header) const;
    DialectHeader findAboveTexts() const;
    double voteOf(const Row &top, int column) const;
    std::size_t bodyStart() const;

    const DialectRows &m_rows;
    std::vector<Row> m_start; // the rows of the first part
    std::vector<Row> m_body;  // the rows that are data in all likelihood
    std::vector<bool> m_isValue;
    int m_numColumns = 0;
    int m_numValueColumns = 0;
};

HeaderFinder::HeaderFinder(const DialectRows &rows) : m_rows(rows)
{
    for (const Row &row : rows.rows()) {
        if (row.part == 0)
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

/// There are some header rows at most, and less than half of all rows.
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

bool HeaderFinder::isData(const Row &row) const
{
    const Fit fit = fitOf(row);
    if (m_numColumns > 1 && row.numCells < 2)
        return false;
    return fit.values > 0 && fit.values >= fit.texts && isWide(row);
}

/// Whether the numbers of a row are labels, such as years: whole numbers of equal steps.
bool HeaderFinder::isSteps(const Row &row) const
{
    qint64 before = 0;
    qint64 step = 0;
    int count = 0;
    for (int column = 0; column < m_numColumns; ++column) {
        const QStringView cell = m_rows.cell(row, column);
        qint64 number = 0;
        if (classifyCell(cell).kind != CellKind::Number)
            continue;
        if (!isWholeNumber(cell, number))
            return false;
        if (count == 1)
            step = number - before;
        if (step < 0 || (count > 0 && (number - before != step || step == 0)))
            return false;
        before = number;
        ++count;
    }
    return count > 2;
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

/// Finds the rows of labels and units among the rows before \p firstData.
void HeaderFinder::chooseHeader(std::size_t firstData, DialectHeader &header) const
{
    int labels = -1;
    int units = -1;
    for (std::size_t i = 0; i < firstData; ++i) {
        const Row &row = m_start[i];
        const bool isLast = i + 1 == firstData;
        if (!isWide(row) || (m_numColumns == 1 && labels < 0 && !isLast && firstData > 3))
            continue;
        if (labels >= 0 && units < 0 && isUnits(row))
            units = row.number;
        else if (labels < 0)
            labels = row.number;
    }
    header.headerRow = labels;
    header.unitRow = units;
}

DialectHeader HeaderFinder::findAboveValues() const
{
    DialectHeader header;
    std::size_t first = 0;
    while (first < m_start.size() && !isData(m_start[first]))
        ++first;
    if (first == m_start.size())
        first = std::min<std::size_t>(1, first); // the values are further down only

    if (first == 0) {
        const Row &top = m_start.front();
        const bool mayBeSteps = isSteps(top) && m_start.size() > 2;
        const Fit fit = fitOf(top);
        if (mayBeSteps && !isSteps(m_start[1]) && !isSteps(m_start[2])) {
            header.headerRow = top.number;
            header.firstDataRow = m_start[1].number;
            header.confidence = 0.55;
            return header;
        }
        header.confidence = fit.texts > 0 ? 0.6 : fit.values > 1 ? 0.95 : 0.9;
        if (mayBeSteps)
            header.confidence = 0.7;
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

/// What kinds of characters a text has.
struct Characters
{
    bool hasDigits = false;
    bool hasSigns = false; // other than blanks and "_"
    bool hasBlanks = false;
    bool hasUpper = false;
    bool hasLower = false;

    explicit Characters(QStringView text)
    {
        for (const QChar character : text) {
            hasDigits = hasDigits || character.isDigit();
            hasBlanks = hasBlanks || character.isSpace();
            hasUpper = hasUpper || character.isUpper();
            hasLower = hasLower || character.isLower();
            hasSigns = hasSigns || (!character.isLetterOrNumber() && !character.isSpace() &&
                                    character != QLatin1Char('_'));
        }
    }
};

static bool isUsualLabel(QStringView text)
{
    static const char *const labels[] = {
        "name",      "id",        "key",        "code",        "type",     "date",     "time",
        "value",     "unit",      "city",       "state",       "label",    "country",  "group",
        "comment",   "status",    "title",      "text",        "email",    "first",    "last",
        "number",    "nr",        "no",         "user",        "class",    "category", "datum",
        "zeit",      "wert",      "einheit",    "stadt",       "land",     "typ",      "ort",
        "kommentar", "part",      "author",     "color",       "colour",   "symbol",   "source",
        "target",    "address",   "note",       "description", "material", "kanal",    "channel",
        "sensor",    "bemerkung", "bezeichnung"};
    const QString lower = text.toString().toLower();
    return std::any_of(std::begin(labels), std::end(labels), [&](const char *label) {
        const QLatin1String word(label);
        return lower == word || (word.size() > 3 && lower.contains(word)) ||
               lower.endsWith(QLatin1Char('_') + word) || lower.startsWith(word + QLatin1Char('_'));
    });
}

/// How much a column speaks for a header: above 0, or against it.
double HeaderFinder::voteOf(const Row &top, int column) const
{
    const QStringView label = m_rows.cell(top, column);
    if (label.isEmpty())
        return 0.0;
    if (classifyCell(label).kind != CellKind::Text)
        return -1.0;
    QSet<QString> values;
    int count = 0;
    int digits = 0;
    int signs = 0;
    int sameLength = 0;
    int blanks = 0;
    for (const Row &row : m_body) {
        const QStringView cell = m_rows.cell(row, column);
        if (cell.isEmpty())
            continue;
        ++count;
        const Characters characters(cell);
        digits += characters.hasDigits;
        signs += characters.hasSigns;
        blanks += characters.hasBlanks;
        sameLength += cell.size() == label.size();
        values.insert(cell.toString());
    }
    if (count == 0)
        return 0.0;
    if (values.contains(label.toString()))
        return -2.0;

    const Characters own(label);
    const double nearlyAll = 0.8;
    double vote = isUsualLabel(label) ? 1.0 : 0.0;
    if (label.contains(QLatin1Char('_')) && !own.hasUpper)
        vote += 0.7;
    if (digits > nearlyAll * count)
        vote += own.hasDigits ? -0.4 : 1.0;
    if (signs > nearlyAll * count)
        vote += own.hasSigns ? -0.4 : 0.6;
    if (blanks > nearlyAll * count)
        vote += own.hasBlanks ? -0.2 : 0.3;
    if (count > 2 && sameLength == count)
        vote -= 0.5;
    if (count > 3 && values.size() * 10 < count * 7)
        vote += 0.5; // words that come again, and this one does not
    return vote;
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

// Numbers

DialectNumbers DialectNumbers::find(const DialectRows &rows, int firstRow, bool isCommaFree)
{
    int points = 0; // numbers with a decimal point that cannot separate thousands
    int commas = 0;
    int doubtfulPoints = 0;
    int doubtfulCommas = 0;
    int grouped = 0;
    int wholes = 0;
    for (const DialectRows::Row &row : rows.rows()) {
        if (row.part == 0 && row.number < firstRow)
            continue;
        for (int column = 0; column < row.numStored; ++column) {
            const CellClass cell = classifyCell(rows.cell(row, column));
            if (cell.kind != CellKind::Number)
                continue;
            grouped += cell.isGrouped;
            wholes += cell.decimalPoint == 0 && !cell.isGrouped;
            if (cell.decimalPoint == '.')
                ++(cell.isPointAmbiguous ? doubtfulPoints : points);
            else if (cell.decimalPoint == ',')
                ++(cell.isPointAmbiguous ? doubtfulCommas : commas);
        }
    }

    DialectNumbers numbers;
    const int clear = points + commas;
    const int doubtful = doubtfulPoints + doubtfulCommas;
    const double most = 0.98;
    if (clear > 0) {
        numbers.decimalPoint = commas > points ? ',' : '.';
        const int winners = std::max(points, commas);
        const double share = winners / double(clear);
        numbers.confidence = most * share * (1.0 - 0.5 / (winners + 1.0));
        const int others = commas > points ? doubtfulPoints : doubtfulCommas;
        numbers.isGrouped = grouped > 0 || others > 0;
    } else if (grouped > 0) {
        numbers.isGrouped = true;
        numbers.confidence = 0.4;
    } else if (doubtful > 0) {
        // Three figures after each: a decimal comma rather, as wholes would have groups as well.
        numbers.decimalPoint = doubtfulCommas > doubtfulPoints ? ',' : '.';
        numbers.confidence = doubtfulPoints > 0 && doubtfulCommas == 0 ? 0.7 : 0.45;
    } else {
        numbers.confidence = isCommaFree ? 0.6 : 0.4;
    }
    return numbers;
}

} // namespace Utils
