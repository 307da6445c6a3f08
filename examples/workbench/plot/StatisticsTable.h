#pragma once

#include "utils/settings/SettingsSlot.h"

#include <QStringList>
#include <QTableWidget>
#include <QVector>

namespace Workbench {

/// A column of numbers for plots and statistics.
struct PlotColumn
{
    QString label;
    QString unit;
    QVector<double> values; ///< Data::noValue for a hole, and for a text that is no number
    int numNonNumbers = 0;

    /// The label with the unit in brackets.
    QString title() const { return unit.isEmpty() ? label : label + " [" + unit + ']'; }
};

/// The statistics of some columns: a row for each measure.
class StatisticsTable : public QTableWidget
{
    Q_OBJECT

public:
    explicit StatisticsTable(QWidget *parent);

    void setColumns(const QVector<PlotColumn> &columns);

    /// Sets the names of the measures in the current language.
    void updateTexts();

    /// The table with blanks between its columns, for a report.
    QString toText() const;

    /// The table with commas between its columns, and numbers with all digits.
    QString toCsv() const;

private:
    QVector<PlotColumn> m_columns;
    Utils::SettingsSlot m_digits{"Workbench/digits", nullptr};
};

} // namespace Workbench
