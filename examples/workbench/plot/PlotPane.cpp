#include "examples/workbench/plot/PlotPane.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/Colours.h"
#include "examples/workbench/plot/Zoomer.h"
#include "examples/workbench/table/RowSearch.h"
#include "examples/workbench/table/TableDocument.h"
#include "examples/workbench/table/TableView.h"
#include "utils/feedback/Progress.h"
#include "utils/settings/Settings.h"

#include <QActionGroup>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QKeyEvent>
#include <QLabel>
#include <QSplitter>

#include <qwt_legend.h>
#include <qwt_plot.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_magnifier.h>
#include <qwt_plot_panner.h>

#include <algorithm>

namespace Workbench {

static const int mostAtOnce = 500000; // rows that are read whenever the selection changes
static const int mostColumns = 8;     // that are plotted
static const int mostRead = 16;       // columns that are kept
static const int delay = 100;         // milliseconds after the last change of the selection

PlotPane::PlotPane(QWidget *parent)
    : Pane(".ctx.plot", parent), m_plot(new QwtPlot(this)), m_grid(new QwtPlotGrid),
      m_hint(new QLabel(m_plot->canvas())), m_note(new QLabel(this)),
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
        if (isLarge() && m_columns.isEmpty())
            draw(); // nothing of another table
        else if (isVisible() && !isLarge())
            plotNow();
    });
    // A timer without an interval comes after the paint events.
    m_statisticsTimer.setSingleShot(true);
    connect(&m_statisticsTimer, &QTimer::timeout, this,
            [this] { m_statistics->setColumns(m_columns); });
    m_digits.setCallback([this] {
        if (m_fit->isChecked())
            draw(); // with equations
    });
}

void PlotPane::addCommands()
{
    const char *const names[] = {"plotXY", "plotHistogram", "plotBox"};
    for (const Kind kind : {XY, Histogram, Box}) {
        QAction *const action =
            addCommand(names[kind], int(Qt::CTRL) + int(Qt::Key_1) + int(kind), [this, kind] {
                m_kind = kind;
                plotNow();
            });
        action->setCheckable(true);
        action->setChecked(kind == m_kind);
        m_kinds->addAction(action);
    }
    m_fit = addCommand("fitLine", Qt::CTRL + Qt::Key_L, [this] { draw(); });
    m_fit->setCheckable(true);
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
    auto *const magnifier = new QwtPlotMagnifier(canvas);
    magnifier->setMouseButton(Qt::NoButton);
    magnifier->setWheelFactor(1.0 / magnifier->wheelFactor()); // forward zooms in
    (new QwtPlotPanner(canvas))->setMouseButton(Qt::LeftButton, Qt::ShiftModifier);
    m_hint->setObjectName("plotHint");
    m_hint->setAlignment(Qt::AlignCenter);
    m_hint->setWordWrap(true);
    m_hint->setForegroundRole(QPalette::Text);
    m_hint->setAttribute(Qt::WA_TransparentForMouseEvents);
    (new QVBoxLayout(canvas))->addWidget(m_hint);
    m_plot->setAutoDelete(true);
    m_plot->plotLayout()->setAlignCanvasToScales(true);
    m_grid->attach(m_plot);
    setColours();

    m_statistics->setContextMenuPolicy(Qt::ActionsContextMenu);
    for (const char *name : {"copyText", "copyCsv"})
        m_statistics->addAction(findChild<QAction *>(name));
    m_parts->addWidget(m_plot);
    m_parts->addWidget(m_statistics);
    m_parts->setStretchFactor(0, 5); // so that all rows of the statistics are seen
    m_parts->setStretchFactor(1, 4);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_parts);
    m_note->setObjectName("plotNote");
    m_note->setWordWrap(true);
    m_note->setTextFormat(Qt::PlainText); // labels of columns may be anything
    layout->addWidget(m_note);
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

bool PlotPane::isLarge() const { return m_view && m_view->document().numRows() > mostAtOnce; }

/// Reads the columns that are selected, as far as they are not kept. False when the user cancels.
bool PlotPane::readColumns()
{
    const TableDocument &document = m_view->document();
    const QVector<int> selected = m_view->selectedColumns();
    const QVector<int> cols = selected.mid(0, mostColumns);
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
    m_numSelected = selected.size();
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
    // Texts of axes are a little larger than Qwt expects.
    const int unit = m_columns.isEmpty() ? 0 : fontMetrics().averageCharWidth();
    m_plot->setContentsMargins(0, 0, unit * 3, unit / 2);
    m_plot->enableAxis(QwtPlot::yRight, false);
    m_grid->setVisible(!m_columns.isEmpty());
    m_hint->setVisible(m_columns.isEmpty());
    m_fit->setEnabled(m_kind == XY);
    m_notFitted.clear();
    if (m_columns.isEmpty()) {
        m_statisticsTimer.stop();
        m_statistics->setColumns({});
        bindText(m_hint, "text", isLarge() ? ".msg.plotHintLarge" : ".msg.plotHint");
        m_plot->enableAxis(QwtPlot::xBottom, false);
        m_plot->enableAxis(QwtPlot::yLeft, false);
    } else if (m_kind == XY) {
        drawXY();
    } else if (m_kind == Histogram) {
        drawHistograms();
    } else {
        drawBoxes();
    }
    tellWhatIsLeftOut();
    setItemColours(*m_plot);
    const bool hasEquation = m_kind == XY && m_fit->isChecked() && !m_columns.isEmpty();
    const bool hasLegend =
        hasEquation || (m_kind != Box && m_columns.size() > (m_kind == XY ? 2 : 1));
    if (hasLegend && !m_plot->legend())
        m_plot->insertLegend(new QwtLegend, QwtPlot::BottomLegend);
    else if (!hasLegend)
        m_plot->insertLegend(nullptr);
    zoomToAll();
}

void PlotPane::tellWhatIsLeftOut()
{
    QStringList notes;
    if (!m_columns.isEmpty() && m_numSelected > m_columns.size())
        notes.append(textFor(".msg.firstColumns", m_numSelected).arg(m_columns.size()));
    if (!m_notFitted.isEmpty())
        notes.append(text(".msg.notFitted").arg(m_notFitted.join(", ")));
    m_note->setText(notes.join(' '));
    m_note->setVisible(!notes.isEmpty());
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
    if (event->type() == QEvent::KeyPress && object == m_plot->canvas() &&
        moveBy(*static_cast<QKeyEvent *>(event)))
        return true;
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
    m_plot->replot(); // the canvas keeps what it has drawn
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
    // What the axes show: the wheel and the panner change it without the zoomer.
    QRectF shown = m_zoomer->scaleRect();
    const QPointF center = shown.center();
    shown.setSize(shown.size() * factor);
    shown.moveCenter(center);
    m_zoomer->zoom(shown);
}

/// Moves what is shown by a tenth, for Shift with an arrow. False for other keys.
bool PlotPane::moveBy(const QKeyEvent &event)
{
    const int key = event.key();
    const bool isAlong = key == Qt::Key_Left || key == Qt::Key_Right;
    const bool isArrow = isAlong || key == Qt::Key_Up || key == Qt::Key_Down;
    const Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    if (!isArrow || modifiers != Qt::ShiftModifier || m_columns.isEmpty())
        return false;
    const double part = key == Qt::Key_Right || key == Qt::Key_Up ? 0.1 : -0.1;
    const auto move = [&](int axis) {
        const QwtInterval shown = m_plot->axisInterval(axis);
        const double step = shown.width() * part;
        m_plot->setAxisScale(axis, shown.minValue() + step, shown.maxValue() + step);
    };
    if (isAlong) {
        move(QwtPlot::xBottom);
    } else {
        move(QwtPlot::yLeft);
        move(QwtPlot::yRight);
    }
    m_plot->replot();
    return true;
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

void PlotPane::showEvent(QShowEvent *event)
{
    plotLater(); // what was selected while the pane was hidden
    Pane::showEvent(event);
}

void PlotPane::saveState() const
{
    Utils::Settings("Plot")
        .setInt("kind", m_kind)
        .setBool("fit", m_fit->isChecked())
        .setValue("parts", QVariant(m_parts->saveState()));
}

void PlotPane::restoreState()
{
    const Utils::Settings settings("Plot");
    m_kind = static_cast<Kind>(std::clamp(settings.getInt("kind", XY), int(XY), int(Box)));
    m_kinds->actions().at(m_kind)->setChecked(true);
    m_fit->setChecked(settings.getBool("fit", false));
    m_parts->restoreState(settings.getValue("parts").toByteArray());
    draw();
}

} // namespace Workbench
