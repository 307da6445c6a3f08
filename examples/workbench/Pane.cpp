#include "examples/workbench/Pane.h"

#include "examples/workbench/Command.h"
#include "examples/workbench/Texts.h"

#include <QAction>
#include <QDockWidget>
#include <QEvent>

namespace Workbench {

Pane::Pane(const char *title, QWidget *parent) : QWidget(parent), m_title(title)
{
    bindText(this, "windowTitle", title);
    bindText(this, "accessibleName", title);
}

void Pane::setCurrentView(Pane *) {}
void Pane::updateTexts() {}
bool Pane::mayClose() { return true; }
void Pane::saveState() const {}
void Pane::restoreState() {}

void Pane::reveal()
{
    if (auto *const dock = qobject_cast<QDockWidget *>(parentWidget())) {
        dock->show();
        dock->raise();
    }
}

QAction *Pane::addCommand(const char *name, const QKeySequence &shortcut,
                          const std::function<void()> &run)
{
    QAction *const action = makeCommand(this, name, shortcut, run);
    addAction(action);
    return action;
}

void Pane::addSeparator()
{
    auto *const separator = new QAction(this);
    separator->setSeparator(true);
    addAction(separator);
}

void Pane::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        updateTexts();
    QWidget::changeEvent(event);
}

} // namespace Workbench
