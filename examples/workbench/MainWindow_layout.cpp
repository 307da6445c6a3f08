// The layout of the main window: kept in the settings, and changed by the keyboard.

#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Pane.h"
#include "utils/settings/Settings.h"

#include <QApplication>
#include <QDockWidget>
#include <QSplitter>
#include <QTabBar>
#include <QTabWidget>

namespace Workbench {

static const int layoutVersion = 1; // of the docks and tool bars; another one is not restored

void MainWindow::restoreLayout()
{
    const Utils::Settings settings("Window");
    restoreGeometry(settings.getValue("geometry").toByteArray());
    restoreState(settings.getValue("state").toByteArray(), layoutVersion);
    for (Pane *const tool : m_tools)
        tool->restoreState();
}

void MainWindow::saveLayout() const
{
    Utils::Settings settings("Window");
    settings.setValue("geometry", QVariant(saveGeometry()));
    settings.setValue("state", QVariant(saveState(layoutVersion)));
    for (const Pane *const tool : qAsConst(m_tools))
        tool->saveState();
}

/// The widget in \p pane that gets the focus when the pane does.
static QWidget *focusTarget(QWidget *pane)
{
    if (pane->focusPolicy() != Qt::NoFocus || pane->focusProxy())
        return pane;
    const QList<QWidget *> parts = pane->findChildren<QWidget *>();
    for (QWidget *const part : parts) {
        if ((part->focusPolicy() & Qt::TabFocus) && part->isVisible() && part->isEnabled())
            return part;
    }
    return pane;
}

void MainWindow::focusOn(QWidget &pane) { focusTarget(&pane)->setFocus(Qt::ShortcutFocusReason); }

void MainWindow::moveFocus(int step)
{
    QList<QWidget *> panes;
    if (DocumentTab *const tab = currentTab())
        panes.append(&tab->view());
    for (Pane *const tool : qAsConst(m_tools)) {
        if (!tool->parentWidget()->isHidden())
            panes.append(tool);
    }
    if (panes.isEmpty())
        return;
    const QWidget *const focus = QApplication::focusWidget();
    int current = -1;
    for (int i = 0; i < panes.size(); ++i) {
        if (panes[i] == focus || panes[i]->isAncestorOf(focus))
            current = i;
    }
    const int next = current < 0 ? 0 : (current + step + panes.size()) % panes.size();
    if (auto *const dock = qobject_cast<QDockWidget *>(panes[next]->parentWidget()))
        dock->raise();             // another dock may cover it
    panes[next]->activateWindow(); // it may float
    focusTarget(panes[next])->setFocus(Qt::ShortcutFocusReason);
}

void MainWindow::moveTab(int step)
{
    const int count = m_tabs->count();
    if (count > 0)
        m_tabs->setCurrentIndex((m_tabs->currentIndex() + step + count) % count);
}

/// The dock that \p part is in, or null.
static QDockWidget *dockOf(QWidget *part)
{
    while (part && !qobject_cast<QDockWidget *>(part))
        part = part->parentWidget();
    return qobject_cast<QDockWidget *>(part);
}

/// The height of the tabs below a dock that has its place together with others.
static int heightOfTabs(const QMainWindow &window, const QDockWidget &dock)
{
    const QRect place = dock.geometry();
    const auto bars = window.findChildren<QTabBar *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QTabBar *const bar : bars) {
        const QRect below(place.bottomLeft(), QSize(place.width(), bar->height()));
        if (bar->isVisible() && below.intersects(bar->geometry()))
            return bar->height();
    }
    return 0;
}

/// Moves the next border of the widget with the focus: that of a part of its pane, or of the pane.
void MainWindow::resizePane(Qt::Orientation orientation, int step)
{
    const bool isWidth = orientation == Qt::Horizontal;
    const int change = step * fontMetrics().averageCharWidth() * 4;
    QWidget *const focus = QApplication::focusWidget();
    for (QWidget *part = focus; part && part != this; part = part->parentWidget()) {
        auto *const splitter = qobject_cast<QSplitter *>(part->parentWidget());
        if (!splitter || splitter->orientation() != orientation)
            continue;
        QList<int> sizes = splitter->sizes(); // of two parts
        const int index = splitter->indexOf(part);
        sizes[index] += change;
        sizes[1 - index] -= change;
        splitter->setSizes(sizes);
        return;
    }

    QDockWidget *const current = dockOf(focus);
    if (current && current->isFloating()) {
        current->resize(current->size() + (isWidth ? QSize(change, 0) : QSize(0, change)));
        return;
    }
    for (QDockWidget *const dock : findChildren<QDockWidget *>()) {
        const Qt::DockWidgetArea area = dockWidgetArea(dock);
        const bool isBeside = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
        const bool isTarget = current ? dock == current : isBeside == isWidth;
        if (!isTarget || dock->isFloating() || dock->visibleRegion().isEmpty())
            continue;
        const int size = isWidth ? dock->width() : dock->height() + heightOfTabs(*this, *dock);
        // The document has the room that the docks leave.
        resizeDocks({dock}, {size + (current ? change : -change)}, orientation);
        return;
    }
}

void MainWindow::floatPane()
{
    QWidget *const focus = QApplication::focusWidget();
    QDockWidget *const dock = dockOf(focus);
    if (!dock)
        return;
    dock->setFloating(!dock->isFloating());
    dock->activateWindow();
    focus->setFocus();
}

} // namespace Workbench
