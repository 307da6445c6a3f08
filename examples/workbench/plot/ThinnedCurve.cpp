#include "examples/workbench/plot/ThinnedCurve.h"

#include "data/Array.h"

#include <QBitArray>
#include <QPainter>

#include <qwt_clipper.h>
#include <qwt_painter.h>
#include <qwt_scale_map.h>
#include <qwt_series_data.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Workbench {

static const int mostPoints = 100000; // of lines that are drawn; more are no lines to the eye

static bool isShown(double x, double y)
{
    return std::isfinite(x) && std::isfinite(y) && !Data::isHole(x) && !Data::isHole(y);
}

namespace {

/// The points in a row that lie in the same column of pixels.
struct PixelColumn
{
    qint64 number;
    QPointF first;
    QPointF lowest;
    QPointF highest;
    QPointF last;
    bool isLowestFirst = true;

    PixelColumn(qint64 column, const QPointF &point)
        : number(column), first(point), lowest(point), highest(point), last(point)
    {}

    void add(const QPointF &point)
    {
        if (point.y() < lowest.y()) {
            lowest = point;
            isLowestFirst = false;
        }
        if (point.y() > highest.y()) {
            highest = point;
            isLowestFirst = true;
        }
        last = point;
    }

    void appendTo(QPolygonF &line) const
    {
        line.append(first);
        for (const QPointF &point :
             {isLowestFirst ? lowest : highest, isLowestFirst ? highest : lowest, last})
        {
            if (point != line.last())
                line.append(point);
        }
    }
};

} // namespace

QVector<QPolygonF> thinned(const QVector<double> &x, const QVector<double> &y,
                           const QwtScaleMap &xMap, const QwtScaleMap &yMap)
{
    // Outside of the canvas all columns count as one, so that a part of a curve takes no longer.
    const double left = std::min(xMap.p1(), xMap.p2()) - 2.0;
    const double right = std::max(xMap.p1(), xMap.p2()) + 2.0;

    QVector<QPolygonF> lines;
    QPolygonF line;
    bool isOpen = false;
    PixelColumn column(0, {});
    const auto endLine = [&] {
        if (isOpen)
            column.appendTo(line);
        if (!line.isEmpty())
            lines.append(line);
        line.clear();
        isOpen = false;
    };
    const int count = y.size();
    for (int i = 0; i < count; ++i) {
        const double xi = x.isEmpty() ? i + 1.0 : x.at(i);
        if (!isShown(xi, y.at(i))) {
            endLine();
            continue;
        }
        const QPointF point(xMap.transform(xi), yMap.transform(y.at(i)));
        const auto number = static_cast<qint64>(std::floor(std::clamp(point.x(), left, right)));
        if (isOpen && number == column.number) {
            column.add(point);
            continue;
        }
        if (isOpen)
            column.appendTo(line);
        column = PixelColumn(number, point);
        isOpen = true;
    }
    endLine();
    return lines;
}

/// Qwt asks for the number of points and the rectangle around them only: the curve draws itself.
class CurveBounds : public QwtSeriesData<QPointF>
{
public:
    CurveBounds(size_t size, const QRectF &bounds) : m_size(size) { d_boundingRect = bounds; }

    size_t size() const override { return m_size; }
    QPointF sample(size_t) const override { return d_boundingRect.center(); }
    QRectF boundingRect() const override { return d_boundingRect; }

private:
    const size_t m_size;
};

static QRectF boundsOf(const QVector<double> &x, const QVector<double> &y)
{
    const double infinity = std::numeric_limits<double>::infinity();
    double left = infinity;
    double right = -infinity;
    double bottom = infinity;
    double top = -infinity;
    for (int i = 0; i < y.size(); ++i) {
        const double xi = x.isEmpty() ? i + 1.0 : x.at(i);
        const double yi = y.at(i);
        if (!isShown(xi, yi))
            continue;
        left = std::min(left, xi);
        right = std::max(right, xi);
        bottom = std::min(bottom, yi);
        top = std::max(top, yi);
    }
    return left <= right ? QRectF(left, bottom, right - left, top - bottom)
                         : QRectF(1.0, 1.0, -2.0, -2.0); // Qwt's invalid one
}

ThinnedCurve::ThinnedCurve(const QString &title, const QVector<double> &x, const QVector<double> &y)
    : QwtPlotCurve(title), m_x(x), m_y(y)
{
    setSamples(new CurveBounds(static_cast<size_t>(y.size()), boundsOf(x, y)));
}

void ThinnedCurve::drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                              const QRectF &canvas, int, int) const
{
    const QVector<QPolygonF> lines = thinned(m_x, m_y, xMap, yMap);
    int numPoints = 0;
    for (const QPolygonF &line : lines)
        numPoints += line.size();
    painter->setPen(pen());
    if (numPoints > mostPoints) {
        drawPixels(painter, xMap, yMap, canvas);
        return;
    }
    // Lines that begin and end outside are cut: painters lose precision far away.
    const QRectF around = canvas.adjusted(-2.0, -2.0, 2.0, 2.0);
    for (const QPolygonF &line : lines) {
        if (line.size() == 1)
            painter->drawPoint(line.first());
        else
            QwtPainter::drawPolyline(painter, QwtClipper::clipPolygonF(around, line, false));
    }
}

/// Draws each pixel that has a point once.
void ThinnedCurve::drawPixels(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                              const QRectF &canvas) const
{
    const QRect area = canvas.toAlignedRect();
    QBitArray isDrawn(area.width() * area.height());
    QPolygonF points;
    for (int i = 0; i < m_y.size(); ++i) {
        const double x = m_x.isEmpty() ? i + 1.0 : m_x.at(i);
        if (!isShown(x, m_y.at(i)))
            continue;
        const QPointF point(xMap.transform(x), yMap.transform(m_y.at(i)));
        if (!canvas.contains(point))
            continue;
        const int col = static_cast<int>(point.x()) - area.left();
        const int row = static_cast<int>(point.y()) - area.top();
        const int bit = row * area.width() + col;
        if (col < 0 || row < 0 || bit >= isDrawn.size() || isDrawn.testBit(bit))
            continue;
        isDrawn.setBit(bit);
        points.append(point);
    }
    painter->drawPoints(points);
}

} // namespace Workbench
