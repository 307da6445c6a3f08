#pragma once

#include <qwt_plot_curve.h>

#include <QVector>

namespace Workbench {

/// The points of a curve in pixels, as few as are seen: of the points in a row that lie in the same
/// column of pixels, the first, the lowest, the highest and the last. So no peak is lost, whatever
/// the number of points. A pair with a hole, or with a number that is not finite, ends a line.
QVector<QPolygonF> thinned(const QVector<double> &x, const QVector<double> &y,
                           const QwtScaleMap &xMap, const QwtScaleMap &yMap);

/// A curve of any number of points that is drawn in the time of some thousands.
class ThinnedCurve : public QwtPlotCurve
{
public:
    /// \p x may be empty: the numbers of the rows, from 1 on, then stand for it.
    ThinnedCurve(const QString &title, const QVector<double> &x, const QVector<double> &y);

    void drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                    const QRectF &canvas, int from, int to) const override;

private:
    void drawPixels(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                    const QRectF &canvas) const;

    QVector<double> m_x;
    QVector<double> m_y;
};

} // namespace Workbench
