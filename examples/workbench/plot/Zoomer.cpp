#include "examples/workbench/plot/Zoomer.h"

#include "examples/workbench/plot/Scales.h"

#include <qwt_plot.h>

namespace Workbench {

Zoomer::Zoomer(QWidget *canvas) : QwtPlotZoomer(canvas)
{
    setTrackerMode(QwtPicker::AlwaysOn);
    setMousePattern(QwtEventPattern::MouseSelect2, Qt::RightButton, Qt::ControlModifier);
    setMousePattern(QwtEventPattern::MouseSelect3, Qt::RightButton);
}

void Zoomer::setZoomBase(bool doReplot)
{
    if (doReplot)
        plot()->replot();
    m_right = plot()->axisInterval(QwtPlot::yRight);
    QwtPlotZoomer::setZoomBase(false);
}

void Zoomer::rescale()
{
    const QRectF base = zoomBase();
    const QRectF shown = zoomRect();
    if (plot()->axisEnabled(QwtPlot::yRight) && base.height() > 0.0 && shown != scaleRect()) {
        const auto onRight = [&](double left) {
            return m_right.minValue() + (left - base.top()) * m_right.width() / base.height();
        };
        plot()->setAxisScale(QwtPlot::yRight, onRight(shown.top()), onRight(shown.bottom()));
    }
    QwtPlotZoomer::rescale();
}

QwtText Zoomer::trackerTextF(const QPointF &position) const
{
    const auto textOn = [this](QwtPlot::Axis axis, double value) {
        const auto *const scale = dynamic_cast<const UnitScale *>(plot()->axisScaleDraw(axis));
        const bool isShown = scale && plot()->axisEnabled(axis); // none in the empty plot
        return isShown ? scale->textOf(value) : QString();
    };
    QStringList parts{textOn(QwtPlot::xBottom, position.x()), textOn(QwtPlot::yLeft, position.y())};
    if (plot()->axisEnabled(QwtPlot::yRight)) {
        const double pixel = plot()->transform(QwtPlot::yLeft, position.y());
        parts.append(
            textOn(QwtPlot::yRight, plot()->canvasMap(QwtPlot::yRight).invTransform(pixel)));
    }
    parts.removeAll(QString());
    QwtText shown(leftToRight(parts.join("; ")));
    shown.setBackgroundBrush(plot()->palette().color(QPalette::ToolTipBase));
    shown.setColor(plot()->palette().color(QPalette::ToolTipText));
    return shown;
}

} // namespace Workbench
