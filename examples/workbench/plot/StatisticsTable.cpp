#include "examples/workbench/plot/StatisticsTable.h"

#include "data/Array.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/table/NumberDelegate.h"
#include "utils/csv/CSVTable.h"
#include "utils/text/Statistics.h"
#include "utils/text/StringUtil.h"

#include <QHeaderView>
#include <QLocale>

namespace Workbench {

using Utils::Statistics;

static const char *const measures[] = {
    ".ctx.count",           ".ctx.holes",        ".ctx.nonNumbers",  ".ctx.mean",  ".ctx.deviation",
    ".ctx.robustDeviation", ".ctx.minimum",      ".ctx.percentile5", ".ctx.lower", ".ctx.median",
    ".ctx.upper",           ".ctx.percentile95", ".ctx.maximum"};
static const int numCounts = 3; // measures that are counts rather than values
static const int numMeasures = sizeof measures / sizeof *measures;

/// The values of all measures.
static QVector<double> measured(const PlotColumn &column)
{
    const Data::Array array{column.values.constData(), quint64(column.values.size())};
    double minimum = 0.0;
    double lower = 0.0;
    double median = 0.0;
    double upper = 0.0;
    double maximum = 0.0;
    Statistics::quartiles(array, minimum, lower, median, upper, maximum);
    const int count = Statistics::length(array);
    return {double(count),
            double(column.values.size() - count - column.numNonNumbers),
            double(column.numNonNumbers),
            Statistics::mean(array),
            Statistics::standardDeviation(array),
            Statistics::robustDeviation(array),
            minimum,
            Statistics::percentile(array, 5.0),
            lower,
            median,
            upper,
            Statistics::percentile(array, 95.0),
            maximum};
}

StatisticsTable::StatisticsTable(QWidget *parent) : QTableWidget(numMeasures, 0, parent)
{
    setEditTriggers(NoEditTriggers);
    setItemDelegate(new NumberDelegate(this));
    setWordWrap(false);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() * 5 / 4);
    updateTexts();
    m_digits.setCallback([this] { setColumns(m_columns); });
}

void StatisticsTable::updateTexts()
{
    QStringList names;
    for (const char *const id : measures)
        names.append(text(id));
    setVerticalHeaderLabels(names);
    setAccessibleName(text(".ctx.statistics"));
}

void StatisticsTable::setColumns(const QVector<PlotColumn> &columns)
{
    m_columns = columns;
    const int digits = Preferences::digits.value();
    setColumnCount(columns.size());
    for (int col = 0; col < columns.size(); ++col) {
        const PlotColumn &column = columns.at(col);
        setHorizontalHeaderItem(col, new QTableWidgetItem(column.title()));
        const QVector<double> values = measured(column);
        const bool isEmpty = values.at(0) == 0.0;
        for (int row = 0; row < numMeasures; ++row) {
            const bool isCount = row < numCounts;
            QString shown;
            if (isCount)
                shown = QLocale().toString(static_cast<int>(values.at(row)));
            else if (!isEmpty)
                shown = Utils::StringUtil::displayUnit(values.at(row), column.unit, digits);
            auto *const item = new QTableWidgetItem(shown);
            item->setData(Qt::UserRole,
                          isCount || !isEmpty ? QVariant(values.at(row)) : QVariant());
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            setItem(row, col, item);
        }
    }
    resizeColumnsToContents();
}

/// The rows of \p shown, with what \p textOf returns for each cell.
template <typename TextOf>
static void fill(Utils::CSVTable &table, const StatisticsTable &shown, const TextOf &textOf)
{
    QStringList titles{QString()};
    for (int col = 0; col < shown.columnCount(); ++col)
        titles.append(shown.horizontalHeaderItem(col)->text());
    table.appendData(titles);
    for (int row = 0; row < shown.rowCount(); ++row) {
        QStringList cells{shown.verticalHeaderItem(row)->text()};
        for (int col = 0; col < shown.columnCount(); ++col)
            cells.append(textOf(*shown.item(row, col)));
        table.appendData(cells);
    }
}

QString StatisticsTable::toText() const
{
    Utils::CSVTable table("  "); // which puts nothing in quotes
    fill(table, *this, [](const QTableWidgetItem &item) { return item.text(); });
    return table.alignedStringData(/*maxWidth=*/0, /*leftColumn=*/0) + '\n';
}

QString StatisticsTable::toCsv() const
{
    Utils::CSVTable table;
    table.setQuoting(Utils::CSVTable::Rfc4180);
    fill(table, *this, [](const QTableWidgetItem &item) {
        const QVariant value = item.data(Qt::UserRole);
        return value.isValid() ? QString(Utils::StringUtil::shortest(value.toDouble())) : QString();
    });
    return table.stringData() + '\n';
}

} // namespace Workbench
