#include "examples/workbench/plot/Colours.h"

#include "examples/workbench/Contrast.h"
#include "examples/workbench/plot/FitLine.h"
#include "examples/workbench/plot/ThinnedCurve.h"

#include <QPalette>

#include <qwt_interval_symbol.h>
#include <qwt_plot.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_intervalcurve.h>
#include <qwt_plot_tradingcurve.h>

namespace Workbench {

QColor curveColour(int index, const QPalette &palette)
{
    static const QColor colours[] = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                     "#56b4e9", "#e69f00", "#8f7cc3", "#808080"};
    const int count = sizeof colours / sizeof *colours;
    return readable(colours[index % count], palette.color(QPalette::Base));
}

QColor fitColour(int index, const QPalette &palette)
{
    const QColor curve = curveColour(index, palette);
    const QColor text = palette.color(QPalette::Text);
    return {(curve.red() + text.red()) / 2, (curve.green() + text.green()) / 2,
            (curve.blue() + text.blue()) / 2};
}

/// Half of the colour's opacity: what is below can be seen.
static QColor translucent(QColor colour)
{
    colour.setAlphaF(0.5);
    return colour;
}

static void setColour(QwtPlotTradingCurve &boxes, const QColor &colour)
{
    for (const auto direction : {QwtPlotTradingCurve::Increasing, QwtPlotTradingCurve::Decreasing})
        boxes.setSymbolBrush(direction, translucent(colour));
    boxes.setSymbolPen(colour);
}

static void setColour(QwtPlotIntervalCurve &whiskers, const QColor &colour)
{
    auto *const bar = new QwtIntervalSymbol(*whiskers.symbol());
    bar->setPen(colour);
    whiskers.setSymbol(bar);
}

void setItemColours(QwtPlot &plot)
{
    const QPalette palette = plot.palette();
    int numCurves = 0;
    int numHistograms = 0;
    const QwtPlotItemList items = plot.itemList();
    for (QwtPlotItem *const item : items) {
        if (auto *const curve = dynamic_cast<ThinnedCurve *>(item)) {
            curve->setPen(curveColour(numCurves++, palette), 0.0);
        } else if (auto *const histogram = dynamic_cast<QwtPlotHistogram *>(item)) {
            const QColor colour = curveColour(numHistograms++, palette);
            histogram->setBrush(translucent(colour));
            histogram->setPen(colour);
        } else if (auto *const boxes = dynamic_cast<QwtPlotTradingCurve *>(item)) {
            setColour(*boxes, curveColour(0, palette));
        } else if (auto *const whiskers = dynamic_cast<QwtPlotIntervalCurve *>(item)) {
            setColour(*whiskers, curveColour(0, palette));
        } else if (auto *const fit = dynamic_cast<FitLine *>(item)) {
            fit->setPen(fitColour(fit->index(), palette), 2.0);
        } else if (auto *const line = dynamic_cast<QwtPlotCurve *>(item)) {
            QPen pen = line->pen(); // of a normal curve or a median
            pen.setColor(readable("#777777", palette.color(QPalette::Base)));
            line->setPen(pen);
        } else if (auto *const grid = dynamic_cast<QwtPlotGrid *>(item)) {
            QColor lines = palette.color(QPalette::Text);
            lines.setAlphaF(0.15);
            grid->setPen(lines, 0.0);
        }
    }
}

} // namespace Workbench
