#pragma once

#include "examples/workbench/Pane.h"
#include "examples/workbench/plot/StatisticsTable.h"
#include "utils/settings/SettingsSlot.h"

#include <QMap>
#include <QPointer>
#include <QTimer>

QT_FORWARD_DECLARE_CLASS(QActionGroup)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QSplitter)
QT_FORWARD_DECLARE_CLASS(QwtPlot)
QT_FORWARD_DECLARE_CLASS(QwtPlotGrid)

namespace Workbench {

class TableView;
class Zoomer;

/// Plots the selected columns of the current table, with their statistics beside the plot.
///
/// In an x-y plot the first column is x and the others are y; a single column is plotted over the
/// numbers of its rows. Columns of a second unit have an axis of their own at the right; columns of
/// three and more units share one axis of plain numbers. Rows that are filtered out, holes and
/// texts are left out. A line of best fit for each curve is optional.
class PlotPane : public Pane
{
    Q_OBJECT

public:
    explicit PlotPane(QWidget *parent);

    enum Kind
    {
        XY,
        Histogram,
        Box
    };

    QwtPlot &plot() const { return *m_plot; }
    StatisticsTable &statistics() const { return *m_statistics; }

    /// Writes the plot to a file whose suffix decides the format: png, svg or, with a Qt that
    /// writes it, pdf. False, with the reason in File::lastError(), when it cannot be written.
    bool exportTo(const QString &path) const;

    void setCurrentView(Pane *view) override;
    void updateTexts() override;
    void saveState() const override;
    void restoreState() override;

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void addCommands();
    void layOut();
    void plotLater();
    void plotNow();
    bool readColumns();
    bool isLarge() const;
    void draw();
    void drawXY();
    void tellWhatIsLeftOut();
    void drawHistograms();
    void drawBoxes();
    void setAxes(const QString &xTitle, const QString &xUnit, const QString &yTitle,
                 const QString &yUnit);
    void setAxis(int axis, const QString &title, const QString &unit);
    void fitTicks();
    void setColours();
    void zoom(double factor);
    bool moveBy(const QKeyEvent &event);
    void zoomToAll();
    void askForExport();

    QwtPlot *m_plot;
    QwtPlotGrid *m_grid;
    QLabel *m_hint; // in the empty plot
    QLabel *m_note; // of columns that are left out
    Zoomer *m_zoomer;
    StatisticsTable *m_statistics;
    QSplitter *m_parts;
    QActionGroup *m_kinds;
    Kind m_kind = XY;
    QAction *m_fit; // whether lines of best fit are shown

    QPointer<TableView> m_view;
    QMap<int, PlotColumn> m_read;  // columns of the view with all rows, as long as they are right
    QVector<PlotColumn> m_columns; // that are plotted
    int m_numSelected = 0;         // columns, with those that are left out
    QStringList m_notFitted;       // labels of columns that have no line of best fit
    QTimer m_timer;
    QTimer m_statisticsTimer;
    Utils::SettingsSlot m_digits{"Workbench/digits", nullptr}; // of equations
};

} // namespace Workbench
