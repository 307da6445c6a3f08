#include "examples/workbench/bus/BusPane.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/bus/SendModel.h"
#include "utils/signals/Signal.h"

#include <QAction>
#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QTableView>
#include <QToolButton>

#include <algorithm>

namespace Workbench {

static const int interval = 100; // milliseconds between two updates of the view

BusPane::BusPane(QWidget *parent)
    : Pane(".ctx.bus", parent), m_sends(new SendModel(this)), m_table(new QTableView(this)),
      m_filter(new QLineEdit(this)), m_count(new QLabel(this))
{
    addCommands();
    layOut();
    setFocusProxy(m_table);
    m_timer.setInterval(interval);
    connect(&m_timer, &QTimer::timeout, this, &BusPane::update);
    connect(m_filter, &QLineEdit::textChanged, m_sends, &SendModel::setFilter);
    tellCount();
}

BusPane::~BusPane()
{
    if (m_trace->isChecked())
        Utils::Signal::setTracer(nullptr);
}

void BusPane::addCommands()
{
    m_trace = addCommand("traceBus", Qt::CTRL + Qt::Key_F7, [this] { reveal(); });
    m_pause = addCommand("pauseBus", Qt::CTRL + Qt::SHIFT + Qt::Key_F7, [] {});
    m_clear = addCommand("clearBus", {}, [this] {
        m_sends->clear();
        tellCount();
    });
    m_trace->setCheckable(true);
    m_pause->setCheckable(true);
    m_pause->setEnabled(false);
    connect(m_trace, &QAction::toggled, this, &BusPane::setTracing);
    connect(m_pause, &QAction::toggled, this, &BusPane::setPaused);
}

void BusPane::layOut()
{
    auto *const row = new QHBoxLayout;
    for (QAction *const action : {m_trace, m_pause, m_clear}) {
        auto *const button = new QToolButton(this);
        button->setDefaultAction(action);
        button->setFocusPolicy(Qt::StrongFocus);
        row->addWidget(button);
    }
    row->addWidget(m_filter, 1);
    row->addWidget(m_count);
    const int margin = fontMetrics().averageCharWidth() / 2;
    row->setContentsMargins(margin, 0, margin, 0);
    m_filter->setObjectName("busFilter");
    m_filter->setClearButtonEnabled(true);
    m_count->setObjectName("busCount");
    bindText(m_filter, "placeholderText", ".ctx.busFilter");
    bindText(m_filter, "accessibleName", ".ctx.busFilter");

    m_table->setModel(m_sends);
    m_table->setObjectName("busTable");
    m_table->setSelectionBehavior(QTableView::SelectRows);
    m_table->setTabKeyNavigation(false);
    m_table->setWordWrap(false);
    m_table->setShowGrid(false);
    m_table->setAlternatingRowColors(true);
    bindText(m_table, "accessibleName", ".ctx.bus");
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() * 5 / 4);
    m_table->horizontalHeader()->setSectionResizeMode(SendModel::Name, QHeaderView::Stretch);

    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(row);
    layout->addWidget(m_table, 1);
    widenColumns();
}

/// Widens columns for their titles, which are longer in some languages.
void BusPane::widenColumns()
{
    const QHeaderView *const titles = m_table->horizontalHeader();
    const int usual = fontMetrics().averageCharWidth() * 16;
    for (const int column :
         {SendModel::Time, SendModel::Payload, SendModel::Receivers, SendModel::Duration})
        m_table->setColumnWidth(column, std::max(usual, titles->sectionSizeHint(column)));
}

void BusPane::setTracing(bool on)
{
    m_pause->setEnabled(on);
    if (!on) {
        Utils::Signal::setTracer(nullptr);
        m_pause->setChecked(false);
        m_timer.stop();
        update();
        return;
    }
    m_sends->setLimit(Preferences::busLength.value());
    m_timer.start();
    // The model is changed later: a view that is updated for each send would slow the program down.
    Utils::Signal::setTracer([this](const Utils::SignalTrace &send) { m_sends->add(send); });
}

void BusPane::setPaused(bool on)
{
    if (on)
        m_timer.stop();
    else if (m_trace->isChecked())
        m_timer.start();
}

void BusPane::update()
{
    const QScrollBar *const bar = m_table->verticalScrollBar();
    const bool isAtEnd = bar->value() == bar->maximum();
    m_sends->update();
    if (isAtEnd)
        m_table->scrollToBottom();
    tellCount();
}

void BusPane::tellCount()
{
    const qint64 count = m_sends->numSends();
    m_count->setText(textFor(".msg.sends", int(qMin<qint64>(count, INT_MAX))));
}

void BusPane::updateTexts()
{
    tellCount();
    Q_EMIT m_sends->headerDataChanged(Qt::Horizontal, 0, SendModel::NumColumns - 1);
    widenColumns();
    m_table->viewport()->update();
}

} // namespace Workbench
