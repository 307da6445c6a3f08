// The files of the main window: opened, saved, read again and closed.

#include "examples/workbench/Document.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/Kinds.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Pane.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/settings/Settings.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QToolButton>

#include <algorithm>

namespace Workbench {

using Utils::Settings;

QList<DocumentTab *> MainWindow::tabs() const
{
    QList<DocumentTab *> all;
    for (int i = 0; i < m_tabs->count(); ++i)
        all.append(qobject_cast<DocumentTab *>(m_tabs->widget(i)));
    return all;
}

void MainWindow::tell(const QString &message)
{
    QMessageBox::warning(this, text(".ctx.program"), message);
}

/// Tells the rest of the program what happened to a file. Last, as a receiver may do anything.
void MainWindow::send(Utils::PublicSignal &signal, const DocumentTab &tab)
{
    signal.addData("path", tab.document().path()).addData("kind", tab.kind().id);
    signal.sendSignals();
}

void MainWindow::askForFiles()
{
    QStringList filters;
    QStringList all;
    for (const DocumentKind &kind : documentKinds()) {
        filters.append(text(kind.name).remove('&') + " (" + kind.patterns.join(' ') + ')');
        all += kind.patterns;
    }
    filters.prepend(text(".ctx.known") + " (" + all.join(' ') + ')');
    filters.append(text(".ctx.allFiles") + " (*)");
    openFiles(QFileDialog::getOpenFileNames(this, text(".ctx.openTitle"),
                                            Settings().firstMRUPath(Preferences::recentFiles),
                                            filters.join(";;")));
}

void MainWindow::openFiles(const QStringList &paths)
{
    QStringList problems;
    for (const QString &path : paths) {
        const QString problem = open(path);
        if (!problem.isEmpty())
            problems.append(problem);
    }
    if (!problems.isEmpty())
        tell(problems.join('\n'));
}

/// Adds a button to the tab that is read in each palette: the icon of Qt's own is black.
void MainWindow::addCloseButton(DocumentTab *tab)
{
    auto *const button = new QToolButton(m_tabs);
    button->setObjectName("closeTab");
    button->setText(QString(QChar(0xd7))); // a multiplication sign
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus); // Ctrl+W closes by the keyboard
    bindText(button, "toolTip", ".ctx.close");
    bindText(button, "accessibleName", ".ctx.close");
    connect(button, &QToolButton::clicked, tab, [this, tab] { closeTab(tab); });
    m_tabs->tabBar()->setTabButton(m_tabs->indexOf(tab), QTabBar::RightSide, button);
}

QString MainWindow::open(const QString &path)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    for (DocumentTab *const tab : tabs()) {
        if (tab->document().isAt(absolute)) {
            m_tabs->setCurrentWidget(tab);
            return {};
        }
    }

    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    auto *const tab = new DocumentTab(kindOf(absolute), absolute, m_tabs);
    tab->hide();
    if (!tab->document().read()) {
        const QString reason = tab->document().failure();
        delete tab;
        return reason.isEmpty() ? text(".err.open").arg(path) : reason;
    }
    m_changes.addStack(&tab->document().changes());
    connect(tab, &DocumentTab::titleChanged, this, &MainWindow::updateTitles);
    connect(tab, &DocumentTab::reloadWanted, this, [this, tab] { reload(*tab); });
    connect(&tab->document(), &Document::contentsReplaced, this, &MainWindow::updateTitles);
    connect(&tab->view(), &Pane::noteWanted, this,
            [this](const QString &note) { statusBar()->showMessage(note, 10000); });
    const int index = m_tabs->addTab(tab, tab->title());
    addCloseButton(tab);
    m_tabs->setCurrentIndex(index);
    send(m_opened, *tab);
    return {};
}

bool MainWindow::write(DocumentTab &tab, const QString &path)
{
    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    if (!tab.document().write(path)) {
        const Utils::WaitCursor none(/*suspend=*/true, /*enable=*/true);
        tell(text(".err.save").arg(tab.document().failure()));
        return false;
    }
    tab.closeBar();
    statusBar()->showMessage(text(".msg.saved").arg(tab.title()), 5000);
    send(m_saved, tab);
    return true;
}

/// Accepts what is being typed in a cell, so that it is saved, or asked about, with the rest.
static void acceptTyping()
{
    QWidget *part = QApplication::focusWidget();
    while (part && !qobject_cast<QAbstractItemView *>(part))
        part = part->parentWidget();
    if (part)
        part->setFocus();
}

bool MainWindow::save(DocumentTab &tab)
{
    acceptTyping();
    const QString loss = tab.document().whatSavingLoses();
    if (loss.isEmpty())
        return write(tab, tab.document().path());

    QMessageBox box(QMessageBox::Question, text(".ctx.program"), loss, QMessageBox::NoButton, this);
    const QAbstractButton *const all = box.addButton(QMessageBox::Save);
    const QAbstractButton *const other =
        box.addButton(text(".ctx.saveAs").remove('&'), QMessageBox::ActionRole);
    box.addButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() == other)
        return saveAs(tab);
    return box.clickedButton() == all && write(tab, tab.document().path());
}

bool MainWindow::saveAs(DocumentTab &tab)
{
    acceptTyping();
    const QString path = QFileDialog::getSaveFileName(
        this, text(".ctx.saveTitle"), tab.document().path(), tab.document().saveFilter());
    return !path.isEmpty() && write(tab, path);
}

bool MainWindow::mayClose(DocumentTab &tab)
{
    acceptTyping();
    if (!tab.document().isChanged())
        return true;
    m_tabs->setCurrentWidget(&tab);
    const auto answer = QMessageBox::question(
        this, text(".ctx.program"),
        text(".msg.unsaved").arg(QFileInfo(tab.document().path()).fileName()),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    return answer == QMessageBox::Save ? save(tab) : answer == QMessageBox::Discard;
}

bool MainWindow::closeTab(DocumentTab *tab)
{
    if (!tab || !mayClose(*tab))
        return false;
    m_tabs->removeTab(m_tabs->indexOf(tab));
    tab->deleteLater(); // it may be one of its own buttons that was clicked
    send(m_closed, *tab);
    return true;
}

void MainWindow::reload(DocumentTab &tab)
{
    acceptTyping();
    if (tab.document().isChanged() &&
        QMessageBox::question(this, text(".ctx.program"), text(".msg.reloadLoses")) !=
            QMessageBox::Yes)
        return;
    const Utils::WaitCursor waiting(/*suspend=*/false, /*enable=*/true);
    if (tab.document().read()) {
        tab.closeBar();
        return;
    }
    const Utils::WaitCursor none(/*suspend=*/true, /*enable=*/true);
    tell(tab.document().failure());
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    const auto documents = tabs();
    const bool mayEnd =
        std::all_of(documents.begin(), documents.end(),
                    [this](DocumentTab *tab) { return mayClose(*tab); }) &&
        std::all_of(m_tools.begin(), m_tools.end(), [](Pane *tool) { return tool->mayClose(); });
    if (!mayEnd) {
        event->ignore();
        return;
    }
    saveLayout();
    QMainWindow::closeEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    QStringList paths;
    const QList<QUrl> urls = event->mimeData()->urls();
    for (const QUrl &url : urls) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    event->acceptProposedAction();
    openFiles(paths);
}

} // namespace Workbench
