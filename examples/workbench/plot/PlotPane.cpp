#include "examples/workbench/plot/PlotPane.h"

#include "data/Array.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/Colours.h"
#include "examples/workbench/plot/Scales.h"
#include "examples/workbench/plot/ThinnedCurve.h"
#include "examples/workbench/plot/Zoomer.h"
#include "examples/workbench/table/RowSearch.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "utils/feedback/Progress.h"
#include "utils/settings/Settings.h"
#include "utils/text/Statistics.h"

#include <QActionGroup>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QEvent>
#include <QSplitter>

#include <qwt_legend.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_histogram.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_magnifier.h>
#include <qwt_plot_panner.h>
#include <qwt_plot_tradingcurve.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>

namespace Workbench {

using Utils::Statistics;

static const int mostAtOnce = 500000; // rows that are read whenever the selection changes
static const int mostColumns = 8;     // that are plotted
static const int mostRead = 16;       // columns that are kept
static const int delay = 100;         // milliseconds after the last change of the selection

PlotPane::PlotPane(QWidget *parent)
    : Pane(".ctx.plot", parent), m_plot(new QwtPlot(this)), m_grid(new QwtPlotGrid),
      m_zoomer(new Zoomer(m_plot->canvas())), m_statistics(new StatisticsTable(this)),
      m_parts(new QSplitter(Qt::Vertical, this)), m_kinds(new QActionGroup(this))
{
    addCommands();
    layOut();
    setFocusProxy(m_plot->canvas());
    m_timer.setSingleShot(true);
    m_timer.setInterval(delay);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (Utils::Progress::any()) {
            plotLater(); // after the task that shows its progress
            return;
        }
        const bool isLarge = m_view && m_view->document().numRows() > mostAtOnce;
        if (isVisible() && !isLarge)
            plotNow();
    });
    // A timer without an interval comes after the paint events.
    m_statisticsTimer.setSingleShot(true);
    connect(&m_statisticsTimer, &QTimer::timeout, this,
            [this] { m_statistics->setColumns(m_columns); });
}

void PlotPane::addCommands()
{
    const char *const names[] = {"plotXY", "plotHistogram", "plotBox"};
    for (const Kind kind : {XY, Histogram, Box}) {
        QAction *const action = addCommand(names[kind], Qt::CTRL + Qt::Key_1 + kind, [this, kind] {
            m_kind = kind;
            plotNow();
        });
        action->setCheckable(true);
        action->setChecked(kind == m_kind);
        m_kinds->addAction(action);
    }
    addCommand("plotSelection", Qt::Key_F9, [this] { plotNow(); });
    addSeparator();
    addCommand("zoomIn", QKeySequence::ZoomIn, [this] { zoom(0.5); });
    addCommand("zoomOut", QKeySequence::ZoomOut, [this] { zoom(2.0); });
    addCommand("zoomAll", Qt::CTRL + Qt::Key_0, [this] { zoomToAll(); });
    addSeparator();
    addCommand("exportPlot", Qt::CTRL + Qt::Key_E, [this] { askForExport(); });
    addCommand("copyText", {},
               [this] { QApplication::clipboard()->setText(m_statistics->toText()); });
    addCommand("copyCsv", {},
               [this] { QApplication::clipboard()->setText(m_statistics->toCsv()); });
}

void PlotPane::layOut()
{
    auto *const canvas = qobject_cast<QwtPlotCanvas *>(m_plot->canvas());
    canvas->setFocusPolicy(Qt::StrongFocus);
    canvas->setFocusIndicator(QwtPlotCanvas::CanvasFocusIndicator);
    canvas->setFrameShape(QFrame::NoFrame);
    canvas->installEventFilter(this);
    m_plot->installEventFilter(this);
    bindText(canvas, "accessibleName", ".ctx.plot");
    bindText(canvas, "toolTip", ".msg.plotHelp");
    (new QwtPlotMagnifier(canvas))->setMouseButton(Qt::NoButton);
    (new QwtPlotPanner(canvas))->setMouseButton(Qt::LeftButton, Qt::ShiftModifier);
    m_plot->setAutoDelete(true);
    m_plot->setContentsMargins(0, 0, fontMetrics().averageCharWidth() * 3, 0);
    m_plot->plotLayout()->setAlignCanvasToScales(true);
    m_grid->attach(m_plot);
    setColours();

    m_statistics->setContextMenuPolicy(Qt::ActionsContextMenu);
    for (const char *name : {"copyText", "copyCsv"})
        m_statistics->addAction(findChild<QAction *>(name));
    m_parts->addWidget(m_plot);
    m_parts->addWidget(m_statistics);
    m_parts->setStretchFactor(0, 3);
    m_parts->setStretchFactor(1, 2);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_parts);
    draw();
}

void PlotPane::setCurrentView(Pane *view)
{
    if (m_view)
        m_view->disconnect(this);
    if (m_view)
        m_view->document().disconnect(this);
    m_view = qobject_cast<TableView *>(view);
    m_read.clear();
    m_columns.clear();
    if (!m_view) {
        draw();
        return;
    }
    connect(m_view, &TableView::choiceChanged, this, &PlotPane::plotLater);
    const auto forget = [this] {
        m_read.clear();
        plotLater();
    };
    connect(&m_view->document(), &TableDocument::cellChanged, this, forget);
    connect(&m_view->document(), &Document::contentsReplaced, this, forget);
    plotLater();
}

void PlotPane::plotLater() { m_timer.start(); }

/// Reads the columns that are selected, as far as they are not kept. False when the user cancels.
bool PlotPane::readColumns()
{
    const TableDocument &document = m_view->document();
    const QVector<int> cols = m_view->selectedColumns().mid(0, mostColumns);
    QVector<int> missing;
    for (const int col : cols) {
        if (!m_read.contains(col))
            missing.append(col);
    }
    if (m_read.size() + missing.size() > mostRead) {
        m_read.clear();
        missing = cols;
    }
    if (!missing.isEmpty()) {
        const std::optional<Numbers> numbers = numbersOf(document, missing);
        if (!numbers)
            return false;
        for (int i = 0; i < missing.size(); ++i) {
            const int col = missing.at(i);
            m_read[col] = {document.label(col), document.columns().at(col).unit,
                           numbers->columns.at(i), numbers->numNonNumbers.at(i)};
        }
    }

    const QVector<int> rows = m_view->chosenRows();
    m_columns.clear();
    for (const int col : cols) {
        PlotColumn column = m_read.value(col);
        if (!rows.isEmpty()) {
            const QVector<double> all = column.values;
            column.values.resize(rows.size());
            column.numNonNumbers = 0;
            for (int i = 0; i < rows.size(); ++i) {
                column.values[i] = all.at(rows.at(i));
                column.numNonNumbers += document.kindOf(rows.at(i), col) == TableDocument::NoNumber;
            }
        }
        m_columns.append(column);
    }
    return true;
}

void PlotPane::plotNow()
{
    m_timer.stop();
    if (!m_view || !readColumns())
        return;
    draw();
    m_statisticsTimer.start(); // first the plot is shown
}

void PlotPane::draw()
{
    const QwtPlotItemList items = m_plot->itemList();
    for (QwtPlotItem *const item : items) {
        if (item != m_grid)
            delete item;
    }
    m_plot->enableAxis(QwtPlot::yRight, false);
    if (m_columns.isEmpty()) {
        m_statisticsTimer.stop();
        m_statistics->setColumns({});
        setAxes({}, {}, {}, {});
    } else if (m_kind == XY) {
        drawXY();
    } else if (m_kind == Histogram) {
        drawHistograms();
    } else {
        drawBoxes();
    }
    setItemColours(*m_plot);
    const bool hasLegend = m_kind != Box && m_columns.size() > (m_kind == XY ? 2 : 1);
    if (hasLegend && !m_plot->legend())
        m_plot->insertLegend(new QwtLegend, QwtPlot::BottomLegend);
    else if (!hasLegend)
        m_plot->insertLegend(nullptr);
    zoomToAll();
}

/// The title of an axis for several columns, and their unit if they have one in common.
static QString commonTitle(const QVector<PlotColumn> &columns, QString &unit)
{
    unit = columns.isEmpty() ? QString() : columns.first().unit;
    for (const PlotColumn &column : columns) {
        if (column.unit != unit)
            unit.clear();
    }
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
    QString rightUnit;
    commonTitle(onRight, rightUnit);
    const bool hasRight = !onRight.isEmpty() && onRight.first().unit == rightUnit;
    for (const PlotColumn &y : ys) {
        auto *const curve = new ThinnedCurve(y.title(), x, y.values);
        curve->setLegendAttribute(QwtPlotCurve::LegendShowLine);
        if (hasRight && y.unit == rightUnit)
            curve->setYAxis(QwtPlot::yRight);
        curve->attach(m_plot);
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
    const double width = 0.5; // of a box; their distance is 1
    QStringList names;
    QVector<QwtOHLCSample> boxes;
    for (int i = 0; i < m_columns.size(); ++i) {
        names.append(m_columns.at(i).label);
        const QVector<double> values = finiteOf(m_columns.at(i));
        if (values.isEmpty())
            continue;
        const Data::Array array{values.constData(), quint64(values.size())};
        QwtOHLCSample box(i);
        double median = 0.0;
        Statistics::quartiles(array, box.low, box.open, median, box.close, box.high);
        boxes.append(box);

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
}

/// Allows as many labels on the x axis as there is room for.
void PlotPane::fitTicks()
{
    const int labelWidth = fontMetrics().averageCharWidth() * 12;
    m_plot->setAxisMaxMajor(QwtPlot::xBottom,
                            std::clamp(m_plot->canvas()->width() / labelWidth, 2, 10));
}

bool PlotPane::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Resize && object == m_plot->canvas())
        fitTicks();
    if (event->type() == QEvent::PaletteChange && object == m_plot)
        setColours(); // not for that of the pane, which comes first
    return Pane::eventFilter(object, event);
}

void PlotPane::setColours()
{
    const QPalette &palette = m_plot->palette();
    m_plot->setCanvasBackground(palette.base());
    setItemColours(*m_plot);
    for (const QwtPlot::Axis axis : {QwtPlot::xBottom, QwtPlot::yLeft, QwtPlot::yRight})
        m_plot->setAxisFont(axis, font());
    m_zoomer->setRubberBandPen(QPen(palette.color(QPalette::Highlight)));
}

void PlotPane::zoomToAll()
{
    if (m_kind == Box && !m_columns.isEmpty())
        m_plot->setAxisScale(QwtPlot::xBottom, -0.5, m_columns.size() - 0.5, 1.0);
    else
        m_plot->setAxisAutoScale(QwtPlot::xBottom);
    m_plot->setAxisAutoScale(QwtPlot::yLeft);
    m_plot->setAxisAutoScale(QwtPlot::yRight);
    m_plot->replot();
    m_zoomer->setZoomBase(/*doReplot=*/false);
}

void PlotPane::zoom(double factor)
{
    QRectF shown = m_zoomer->zoomRect();
    const QPointF center = shown.center();
    shown.setSize(shown.size() * factor);
    shown.moveCenter(center);
    m_zoomer->zoom(shown);
}

void PlotPane::updateTexts()
{
    m_statistics->updateTexts();
    if (m_columns.isEmpty())
        return;
    draw();
    m_statisticsTimer.start();
}

void PlotPane::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange)
        setColours();
    Pane::changeEvent(event);
}

void PlotPane::saveState() const
{
    Utils::Settings("Plot")
        .setInt("kind", m_kind)
        .setValue("parts", QVariant(m_parts->saveState()));
}

void PlotPane::restoreState()
{
    const Utils::Settings settings("Plot");
    m_kind = static_cast<Kind>(std::clamp(settings.getInt("kind", XY), int(XY), int(Box)));
    m_kinds->actions().at(m_kind)->setChecked(true);
    m_parts->restoreState(settings.getValue("parts").toByteArray());
}

} // namespace Workbench
