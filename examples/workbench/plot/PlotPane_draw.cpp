// What a plot has: curves, histograms or boxes, and their axes.

#include "data/Array.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/FitLine.h"
#include "examples/workbench/plot/PlotPane.h"
#include "examples/workbench/plot/Scales.h"
#include "examples/workbench/plot/ThinnedCurve.h"
#include "utils/text/Statistics.h"

#include <QAction>

#include <qwt_interval_symbol.h>
#include <qwt_plot.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_tradingcurve.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>

namespace Workbench {

using Utils::Statistics;

/// Whether all columns have the same unit, or none.
static bool haveOneUnit(const QVector<PlotColumn> &columns)
{
    return std::all_of(columns.begin(), columns.end(), [&](const PlotColumn &column) {
        return column.unit == columns.first().unit;
    });
}

/// The title of an axis for several columns, and their unit if they have one in common.
static QString commonTitle(const QVector<PlotColumn> &columns, QString &unit)
{
    unit = !columns.isEmpty() && haveOneUnit(columns) ? columns.first().unit : QString();
    return columns.size() == 1 ? columns.first().label : QString();
}

/// The title of one of two axes, by which it is seen which curves belong to it.
static QString labelsOf(const QVector<PlotColumn> &columns)
{
    QStringList labels;
    for (const PlotColumn &column : columns)
        labels.append(column.label);
    return labels.join(", ");
}

void PlotPane::drawXY()
{
    const bool hasX = m_columns.size() > 1;
    const QVector<PlotColumn> ys = m_columns.mid(hasX ? 1 : 0);
    const QVector<double> x = hasX ? m_columns.first().values : QVector<double>();
    QVector<PlotColumn> onLeft;
    QVector<PlotColumn> onRight; // of the second unit, when there are two
    for (const PlotColumn &y : ys)
        (y.unit == ys.first().unit ? onLeft : onRight).append(y);
    const bool hasRight = !onRight.isEmpty() && haveOneUnit(onRight);
    const QString rightUnit = hasRight ? onRight.first().unit : QString();
    for (int i = 0; i < ys.size(); ++i) {
        const PlotColumn &y = ys.at(i);
        auto *const curve = new ThinnedCurve(y.title(), x, y.values);
        curve->setLegendAttribute(QwtPlotCurve::LegendShowLine);
        if (hasRight && y.unit == rightUnit)
            curve->setYAxis(QwtPlot::yRight);
        curve->attach(m_plot);
        if (!m_fit->isChecked())
            continue;
        const Utils::PolynomialFit fit = lineThrough(x, y.values);
        if (fit.isValid())
            (new FitLine(fit, *curve, i, ys.size() > 1 ? y.label : QString()))->attach(m_plot);
        else
            m_notFitted.append(y.label);
    }
    QString unit;
    const QString title = commonTitle(hasRight ? onLeft : ys, unit);
    setAxes(hasX ? m_columns.first().label : text(".ctx.row"),
            hasX ? m_columns.first().unit : QString(), hasRight ? labelsOf(onLeft) : title, unit);
    if (hasRight)
        setAxis(QwtPlot::yRight, labelsOf(onRight), rightUnit);
}

/// The values without holes and numbers that are not finite, which have no place on an axis.
static QVector<double> finiteOf(const PlotColumn &column)
{
    const Data::Array array{column.values.constData(), quint64(column.values.size())};
    QVector<double> values = Statistics::reduce(array);
    const auto isEndless = [](double value) { return !std::isfinite(value); };
    values.erase(std::remove_if(values.begin(), values.end(), isEndless), values.end());
    return values;
}

void PlotPane::drawHistograms()
{
    for (int i = 0; i < m_columns.size(); ++i) {
        const QVector<double> values = finiteOf(m_columns.at(i));
        const Data::Array array{values.constData(), quint64(values.size())};
        QList<int> counts;
        QList<double> edges;
        // By Scott's rule; a single value has no bins.
        if (Statistics::histogramData(array, 0, counts, edges) == 0)
            continue;
        QVector<QwtIntervalSample> bars;
        double lower = Statistics::minimum(array);
        for (int bin = 0; bin < counts.size(); ++bin) {
            bars.append(QwtIntervalSample(counts.at(bin), lower, edges.at(bin)));
            lower = edges.at(bin);
        }
        auto *const histogram = new QwtPlotHistogram(m_columns.at(i).title());
        histogram->setSamples(bars);
        histogram->attach(m_plot);

        QVector<double> x;
        QVector<double> y;
        Statistics::distributionData(array, counts.size(), x, y, Statistics::CountScale);
        auto *const normal = new QwtPlotCurve;
        normal->setPen(QPen(Qt::DashLine));
        normal->setItemAttribute(QwtPlotItem::Legend, false);
        normal->setRenderHint(QwtPlotItem::RenderAntialiased);
        normal->setSamples(x, y);
        normal->attach(m_plot);
    }
    QString unit;
    const QString title = commonTitle(m_columns, unit);
    setAxes(title, unit, text(".ctx.count"), {});
}

void PlotPane::drawBoxes()
{
    const double width = 0.5;                      // of a box; their distance is 1
    const bool isOneUnit = haveOneUnit(m_columns); // it is that of the axis
    QStringList names;
    QVector<QwtOHLCSample> boxes;
    QVector<QwtIntervalSample> whiskers; // Qwt draws those of the boxes without bars at their ends
    for (int i = 0; i < m_columns.size(); ++i) {
        names.append(isOneUnit ? m_columns.at(i).label : m_columns.at(i).title());
        const QVector<double> values = finiteOf(m_columns.at(i));
        if (values.isEmpty())
            continue;
        const Data::Array array{values.constData(), quint64(values.size())};
        QwtOHLCSample box(i);
        double median = 0.0;
        Statistics::quartiles(array, box.low, box.open, median, box.close, box.high);
        boxes.append(box);
        whiskers.append(QwtIntervalSample(i, box.low, box.open));
        whiskers.append(QwtIntervalSample(i, box.close, box.high));

        auto *const line = new QwtPlotCurve;
        line->setPen(QPen(Qt::black, 2.0));
        line->setZ(30.0); // above the boxes
        line->setSamples(QVector<double>{i - width / 2, i + width / 2},
                         QVector<double>{median, median});
        line->attach(m_plot);
    }
    auto *const curve = new QwtPlotTradingCurve;
    curve->setSymbolExtent(width);
    curve->setMaxSymbolWidth(1000.0);
    curve->setSamples(boxes);
    curve->attach(m_plot);
    auto *const bars = new QwtPlotIntervalCurve;
    auto *const bar = new QwtIntervalSymbol(QwtIntervalSymbol::Bar);
    bar->setWidth(fontMetrics().averageCharWidth() * 3);
    bars->setStyle(QwtPlotIntervalCurve::NoCurve);
    bars->setSymbol(bar);
    bars->setSamples(whiskers);
    bars->attach(m_plot);

    QString unit;
    commonTitle(m_columns, unit);
    setAxes({}, {}, {}, unit);
    m_plot->setAxisScaleDraw(QwtPlot::xBottom, new NameScale(names));
}

void PlotPane::setAxes(const QString &xTitle, const QString &xUnit, const QString &yTitle,
                       const QString &yUnit)
{
    setAxis(QwtPlot::xBottom, xTitle, xUnit);
    setAxis(QwtPlot::yLeft, yTitle, yUnit);
}

void PlotPane::setAxis(int axis, const QString &title, const QString &unit)
{
    QwtText shown(title, QwtText::PlainText);
    shown.setFont(font());
    m_plot->enableAxis(axis);
    m_plot->setAxisTitle(axis, shown);
    m_plot->setAxisScaleDraw(axis, new UnitScale(unit));
    if (axis != QwtPlot::xBottom) {
        // Qwt takes the labels for as high as capitals: the lower part of a "g" would be cut.
        const int room = fontMetrics().height() * 2 / 3;
        m_plot->axisWidget(axis)->setMinBorderDist(room, room);
    }
}

} // namespace Workbench
