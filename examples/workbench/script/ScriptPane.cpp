#include "examples/workbench/script/ScriptPane.h"

#include "examples/workbench/Document.h"
#include "examples/workbench/DocumentTab.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/output/OutputView.h"
#include "examples/workbench/script/CodeEditor.h"
#include "examples/workbench/script/ConsoleLine.h"
#include "examples/workbench/script/ScriptAccess.h"
#include "examples/workbench/script/ScriptDocument.h"
#include "examples/workbench/script/ScriptModule.h"
#include "examples/workbench/script/ScriptRunner.h"
#include "examples/workbench/script/ScriptView.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QAction>
#include <QBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace Workbench {

/// The window that \p widget belongs to, also while its dock floats.
static MainWindow &mainWindowOf(QWidget *widget)
{
    while (!qobject_cast<MainWindow *>(widget))
        widget = widget->parentWidget();
    return *qobject_cast<MainWindow *>(widget);
}

ScriptPane::ScriptPane(QWidget *parent)
    : Pane(".ctx.scriptPane", parent), m_window(mainWindowOf(parent)),
      m_runner(new ScriptRunner(this)), m_output(new OutputView(this)),
      m_line(new ConsoleLine(this)), m_prompt(new QLabel(this)), m_stop(new QToolButton(this)),
      m_access(std::make_unique<ScriptAccess>(m_window, *m_runner)),
      m_module(std::make_unique<ScriptModule>())
{
    setProperty("usableDuringTasks", true);
    addCommands();
    layOut();
    connectParts();
    connectScripts();
    updateState();
    parent->hide(); // until a script is run, or the console is wanted
}

void ScriptPane::addCommands()
{
    m_run = addCommand("runScript", Qt::Key_F8, [this] { runScript(); });
    m_runSelection =
        addCommand("runSelection", Qt::CTRL + Qt::Key_Return, [this] { runSelection(); });
    m_stopAction = addCommand("stopScript", Qt::SHIFT + Qt::Key_F8, [this] { m_runner->stop(); });
    addSeparator();
    m_nextFrame = addCommand("nextFrame", Qt::Key_F4, [this] { goToFrame(1); });
    m_previousFrame =
        addCommand("previousFrame", Qt::SHIFT + Qt::Key_F4, [this] { goToFrame(-1); });
    addSeparator();
    addCommand("console", Qt::Key_F7, [this] { showConsole(); });
    addCommand("clearOutput", {}, [this] { m_output->clearAll(); });
    m_restart = addCommand("restartPython", {}, [this] { restart(); });
}

void ScriptPane::layOut()
{
    m_output->setObjectName("scriptOutput");
    m_output->setHasLinks(true);
    m_line->setObjectName("consoleLine");
    m_prompt->setObjectName("consolePrompt");
    m_stop->setObjectName("stopButton");
    m_stop->setDefaultAction(m_stopAction);
    m_prompt->setFont(m_line->font());
    m_prompt->setBuddy(m_line);
    bindText(m_output, "accessibleName", ".ctx.scriptOutput");
    bindText(m_line, "accessibleName", ".ctx.consoleLine");
    auto *const row = new QHBoxLayout;
    row->addWidget(m_prompt);
    row->addWidget(m_line, 1);
    row->addWidget(m_stop);
    const int margin = fontMetrics().averageCharWidth() / 2;
    row->setContentsMargins(margin, 0, margin, 0);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_output, 1);
    layout->addLayout(row);
    setFocusProxy(m_line);
}

void ScriptPane::connectParts()
{
    connect(m_runner, &ScriptRunner::started, this, &ScriptPane::updateState);
    connect(m_runner, &ScriptRunner::ended, this, &ScriptPane::updateState);
    connect(m_runner, &ScriptRunner::working, m_output, &OutputView::showPart);
    connect(m_output, &OutputView::placeClicked, this, [this](const QString &path, int line) {
        if (ScriptView *const view = m_runner->isRunning() ? nullptr : open(path))
            view->editor().goTo(line);
    });
    connect(m_line, &ConsoleLine::entered, this, &ScriptPane::enter);
    connect(m_line, &ConsoleLine::interrupted, this, &ScriptPane::interrupt);
    connect(m_line, &ConsoleLine::ended, this, [this] {
        if (m_isReading)
            m_isReading = false; // the end of the input
    });
}

void ScriptPane::setCurrentView(Pane *view)
{
    m_access->setCurrentView(view);
    m_view = qobject_cast<ScriptView *>(view);
    updateState();
}

void ScriptPane::updateTexts() { updateState(); }

void ScriptPane::saveState() const
{
    Utils::Settings("Console").setValue("history", m_line->history());
}

void ScriptPane::restoreState()
{
    m_line->setHistory(Utils::Settings("Console").getValue("history").toStringList());
}

void ScriptPane::updateState()
{
    const bool isRunning = m_runner->isRunning();
    m_run->setEnabled(m_view && !isRunning);
    m_runSelection->setEnabled(m_view && !isRunning);
    m_stopAction->setEnabled(isRunning);
    m_restart->setEnabled(!isRunning);
    m_nextFrame->setEnabled(!m_frames.isEmpty() && !isRunning);
    m_previousFrame->setEnabled(!m_frames.isEmpty() && !isRunning);
    m_prompt->setText(m_isReading ? "?" : m_lines.isEmpty() ? ">>>" : "...");
    m_line->setPlaceholderText(isRunning && !m_isReading ? QString() : text(".msg.consoleHint"));
}

void ScriptPane::showConsole()
{
    parentWidget()->show();
    parentWidget()->raise();
    m_line->setFocus(Qt::ShortcutFocusReason);
}

/// The view of the script \p path, which is opened; null when it cannot be.
ScriptView *ScriptPane::open(const QString &path)
{
    if (!Utils::File::isFile(path))
        return nullptr;
    m_window.openFiles({path});
    DocumentTab *const tab = m_window.currentTab();
    const bool isFound = tab && tab->document().isAt(path);
    return isFound ? qobject_cast<ScriptView *>(&tab->view()) : nullptr;
}

/// Goes to the next or previous place of the last error, from the innermost call outwards.
void ScriptPane::goToFrame(int step)
{
    const int next = m_frame + step;
    if (next < 0 || next >= m_frames.size())
        return;
    m_frame = next;
    const Utils::ScriptError::Frame &frame = m_frames.at(next);
    ScriptView *const view = frame.file == "<string>" ? m_selectionView.data() : open(frame.file);
    if (view)
        view->showError(frame.line, next == 0 ? m_errorColumn : 1, m_errorText);
}

} // namespace Workbench
