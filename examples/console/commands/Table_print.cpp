#include "examples/console/commands/Table.h"

#include "examples/console/Output.h"
#include "examples/console/Terminal.h"
#include "utils/text/Statistics.h"
#include "utils/text/StringUtil.h"

#include <QRegExp>

#include <algorithm>
#include <cmath>

namespace Kelm {

using Utils::CSVTable;
using Utils::Statistics;
using Utils::StringUtil;

static QString label(const CSVTable &table, int headerRows, int col)
{
    return headerRows > 0 ? QString(table.data(0, col)) : numberedLabel(col);
}

/// Returns the numbers of a column, with Data::noValue for cells that have none. The cells "nan"
/// and "inf" have none.
static QVector<double> numbers(const CSVTable &table, int col, int firstRow)
{
    QVector<double> values;
    for (int row = firstRow; row < table.numRows(); ++row) {
        bool isNumber = false;
        const double value = table.dataValue(row, col, &isNumber);
        values.append(isNumber && std::isfinite(value) ? value : Data::noValue);
    }
    return values;
}

static Data::Array view(const QVector<double> &values)
{
    return {values.constData(), static_cast<quint64>(values.size())};
}

/// Whether a column has a number. Ends at the first one.
static bool isColumnOfNumbers(const CSVTable &table, int col, int headerRows)
{
    for (int row = headerRows; row < table.numRows(); ++row) {
        bool isNumber = false;
        const double value = table.dataValue(row, col, &isNumber);
        if (isNumber && std::isfinite(value) && value != Data::noValue)
            return true;
    }
    return false;
}

bool hasNumbers(const CSVTable &table, int headerRows)
{
    for (int col = 0; col < table.numColumns(0); ++col) {
        if (isColumnOfNumbers(table, col, headerRows))
            return true;
    }
    return false;
}

void printStatistics(const CSVTable &table, int headerRows)
{
    CSVTable summary("  ");
    summary.appendData(QStringList{"Column", "Count", "Mean", "Deviation", "Minimum", "Quartile 1",
                                   "Median", "Quartile 3", "Maximum"});
    for (int col = 0; col < table.numColumns(0); ++col) {
        const QVector<double> values = numbers(table, col, headerRows);
        const Data::Array column = view(values);
        const int count = Statistics::length(column);
        if (count == 0)
            continue;
        double minimum, lower, median, upper, maximum;
        Statistics::quartiles(column, minimum, lower, median, upper, maximum);
        QStringList fields{label(table, headerRows, col), QString::number(count)};
        for (const double value : {Statistics::mean(column), Statistics::standardDeviation(column),
                                   minimum, lower, median, upper, maximum})
            fields.append(StringUtil::display(value));
        summary.appendData(fields);
    }
    printAligned(summary, /*leftColumn=*/0);
}

static void printHistogram(const QVector<double> &values, int bins)
{
    const int mostGuessed = 30; // Scott's rule yields too many where a few values are far away
    const Data::Array column = view(values);
    QList<int> counts;
    QList<double> edges;
    if (Statistics::histogramData(column, bins, counts, edges) > mostGuessed && bins == 0) {
        counts.clear();
        edges.clear();
        Statistics::histogramData(column, mostGuessed, counts, edges);
    }
    if (counts.isEmpty())
        return; // fewer than two values

    CSVTable ranges("  ");
    double lower = Statistics::minimum(column);
    for (const double upper : qAsConst(edges)) {
        ranges.appendData(QStringList{StringUtil::display(lower), StringUtil::display(upper)});
        lower = upper;
    }
    const QStringList scale = QString(ranges.alignedStringData()).split('\n');
    const int largest = *std::max_element(counts.cbegin(), counts.cend());
    const int figures = scale[0].size() + QString::number(largest).size() + 5;
    const int room = std::max(Terminal::width(Terminal::Stream::Output) - figures, 10);
    for (int bin = 0; bin < counts.size(); ++bin) {
        // Rounded up, so that a bin that is not empty has a bar.
        const int length = static_cast<int>((qint64(counts[bin]) * room + largest - 1) / largest);
        print(scale[bin] + "  " + QString(length, QChar(0x2588)) + (length > 0 ? " " : "") +
              QString::number(counts[bin]));
    }
}

void printHistograms(const CSVTable &table, int headerRows, int bins)
{
    for (int col = 0; col < table.numColumns(0); ++col) {
        const QVector<double> values = numbers(table, col, headerRows);
        if (Statistics::length(view(values)) == 0)
            continue;
        print(label(table, headerRows, col));
        printHistogram(values, bins);
    }
}

void printTable(const CSVTable &table, int headerRows)
{
    // The first column of text: only one column can be aligned to the left.
    const int count = table.numColumns(0);
    int textColumn = 0;
    while (textColumn < count && isColumnOfNumbers(table, textColumn, headerRows))
        ++textColumn;
    const int leftColumn = textColumn < count ? textColumn : -1;
    if (table.quoting() == CSVTable::Classic)
        return printAligned(table, leftColumn);

    // A field with line breaks would not stay in its column.
    static const QRegExp lineBreak("\r\n|\r|\n");
    CSVTable shown("  ");
    for (int row = 0; row < table.numRows(); ++row)
        shown.appendData(table.data(row).replaceInStrings(lineBreak, QChar(0x21b5)));
    printAligned(shown, leftColumn);
}

} // namespace Kelm
