#include "examples/workbench/ProgressDisplay.h"

#include "examples/workbench/Texts.h"

#include <QBoxLayout>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

namespace Workbench {

static const int longestLabel = 60; // characters
static const int barSteps = 1000;

ProgressDisplay::ProgressDisplay(Form form, QWidget *parent)
    : QWidget(parent, form == Form::Window ? Qt::Dialog : Qt::Widget), m_label(new QLabel(this)),
      m_bar(new QProgressBar(this)), m_remaining(new QLabel(this)), m_cancel(new QPushButton(this))
{
    setObjectName(form == Form::Window ? "progressWindow" : "progress");
    bindText(this, "windowTitle", ".ctx.progress");
    bindText(m_bar, "accessibleName", ".ctx.progress");
    bindText(m_cancel, "text", ".ctx.cancel");
    m_label->setTextFormat(Qt::PlainText);
    connect(m_cancel, &QPushButton::clicked, this, &ProgressDisplay::cancelled);

    if (form == Form::StatusBar) {
        auto *const layout = new QHBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        for (QWidget *const part : {static_cast<QWidget *>(m_label), static_cast<QWidget *>(m_bar),
                                    static_cast<QWidget *>(m_remaining)})
            layout->addWidget(part);
        layout->addWidget(m_cancel);
        m_cancel->setFlat(true);
        return;
    }
    auto *const layout = new QGridLayout(this);
    layout->addWidget(m_label, 0, 0, 1, 2);
    layout->addWidget(m_bar, 1, 0, 1, 2);
    layout->addWidget(m_remaining, 2, 0);
    layout->addWidget(m_cancel, 2, 1);
    layout->setColumnStretch(0, 1);
    m_label->setMinimumWidth(fontMetrics().averageCharWidth() * longestLabel);
}

void ProgressDisplay::setLabel(const QString &text)
{
    const QString line = text.section('\n', 0, 0).simplified();
    m_label->setText(line.size() > longestLabel ? line.left(longestLabel - 1) + QChar(0x2026)
                                                : line);
}

void ProgressDisplay::setProgress(int count, int maxSteps, int remaining)
{
    // A task may report millions of times: only what changes the picture is passed on.
    const int range = maxSteps > 0 ? barSteps : 0;
    const int value = static_cast<int>(qint64(qMin(count, maxSteps)) * range / qMax(maxSteps, 1));
    if (m_bar->maximum() != range)
        m_bar->setRange(0, range);
    if (m_bar->value() != value)
        m_bar->setValue(value);
    const int seconds = remaining < 0 ? -1 : (remaining + 999) / 1000;
    if (seconds == m_seconds)
        return;
    m_seconds = seconds;
    m_remaining->setText(seconds < 0 ? QString() : textFor(".msg.secondsLeft", seconds));
}

void ProgressDisplay::setCancelable(bool on) { m_cancel->setVisible(on); }

void ProgressDisplay::closeEvent(QCloseEvent *event)
{
    event->ignore(); // the window closes with its task
    Q_EMIT cancelled();
}

void ProgressDisplay::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT cancelled();
    else
        QWidget::keyPressEvent(event);
}

} // namespace Workbench
