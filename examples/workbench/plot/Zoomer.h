#pragma once

#include <qwt_interval.h>
#include <qwt_plot_zoomer.h>

namespace Workbench {

/// Zooms to a rectangle of the axes at the bottom and at the left, and shows the position of the
/// mouse in the units of all axes. An axis at the right is zoomed together with the left one.
class Zoomer : public QwtPlotZoomer
{
public:
    explicit Zoomer(QWidget *canvas);

    using QwtPlotZoomer::scaleRect; ///< what the axes show
    using QwtPlotZoomer::setZoomBase;
    void setZoomBase(bool doReplot) override;

protected:
    void rescale() override;
    QwtText trackerTextF(const QPointF &position) const override;

private:
    QwtInterval m_right; // what the axis at the right shows without zoom
};

} // namespace Workbench
