#include "examples/workbench/process/ProcessPane.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/ProgressDisplay.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/output/OutputView.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QAction>
#include <QBoxLayout>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QSplitter>
#include <QStandardPaths>
#include <QToolButton>

namespace Workbench {

static const int fieldWidth = 40; // characters

ProcessPane::ProcessPane(QWidget *parent)
    : Pane(".ctx.processes", parent),
      m_progress(new ProgressDisplay(ProgressDisplay::Form::StatusBar, this)),
      m_state(new QLabel(this)), m_output(new OutputView(this)), m_parts(new QSplitter(this))
{
    addCommands();
    layOut();
    setFocusProxy(m_command);
    connect(m_progress, &ProgressDisplay::cancelled, this, &ProcessPane::cancel);
    ProcessPane::updateTexts();
}

ProcessPane::~ProcessPane() = default;

void ProcessPane::addCommands()
{
    m_start = addCommand("startProcess", Qt::Key_F12, [this] { start(); });
    m_cancel = addCommand("cancelProcess", Qt::SHIFT + Qt::Key_F12, [this] { cancel(); });
    addSeparator();
    m_openResult = addCommand("openResult", Qt::CTRL + Qt::Key_F12, [this] {
        Q_EMIT openWanted(m_run->task().absolute(m_run->task().result));
    });
    addCommand("clearLines", {}, [this] { m_output->clearAll(); });
}

void ProcessPane::addField(QGridLayout &form, QLineEdit *&field, const char *name,
                           const std::function<QString()> &browse)
{
    const QByteArray id = QByteArray(".ctx.") + name;
    const int row = form.rowCount();
    auto *const label = new QLabel(this);
    field = new QLineEdit(this);
    field->setObjectName(name);
    field->setMinimumWidth(fontMetrics().averageCharWidth() * fieldWidth);
    label->setBuddy(field);
    bindText(label, "text", id);
    bindText(field, "toolTip", QByteArray(".msg.") + name);
    form.addWidget(label, row, 0);
    form.addWidget(field, row, 1, 1, browse ? 1 : 2);
    connect(field, &QLineEdit::returnPressed, m_start, &QAction::trigger);
    if (!browse)
        return;
    auto *const button = new QToolButton(this);
    button->setText(QString(QChar(0x2026)));
    m_browsers[id] = button;
    form.addWidget(button, row, 2);
    QLineEdit *const target = field;
    connect(button, &QToolButton::clicked, target, [target, browse] {
        const QString path = browse();
        if (!path.isEmpty())
            target->setText(path);
    });
}

void ProcessPane::layOut()
{
    auto *const left = new QWidget(m_parts);
    auto *const form = new QGridLayout;
    addField(*form, m_command, "processCommand",
             [this] { return askForFile(*m_command, /*isWritten=*/false); });
    addField(*form, m_arguments, "processArguments", nullptr);
    addField(*form, m_folder, "processFolder", [this] { return askForFolder(); });
    addField(*form, m_result, "processResult",
             [this] { return askForFile(*m_result, /*isWritten=*/true); });
    addField(*form, m_log, "processLog", [this] { return askForFile(*m_log, /*isWritten=*/true); });

    auto *const buttons = new QHBoxLayout;
    for (QAction *const action : {m_start, m_openResult}) {
        auto *const button = new QToolButton(left);
        button->setDefaultAction(action);
        button->setFocusPolicy(Qt::StrongFocus);
        buttons->addWidget(button);
    }
    buttons->addStretch(1);
    m_progress->setObjectName("processProgress");
    m_state->setObjectName("processState");
    m_state->setWordWrap(true);
    m_state->setTextFormat(Qt::PlainText);
    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    bindText(m_state, "accessibleName", ".ctx.processState");
    auto *const column = new QVBoxLayout(left);
    column->addLayout(form);
    column->addLayout(buttons);
    column->addWidget(m_progress);
    column->addWidget(m_state);
    column->addStretch(1);

    m_output->setObjectName("output");
    m_output->setLineWrapMode(QPlainTextEdit::NoWrap); // there may be columns
    bindText(m_output, "accessibleName", ".ctx.output");
    m_parts->addWidget(left);
    m_parts->addWidget(m_output);
    m_parts->setStretchFactor(0, 2);
    m_parts->setStretchFactor(1, 3);
    m_parts->setChildrenCollapsible(false);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_parts);
}

QString ProcessPane::askForFile(const QLineEdit &field, bool isWritten) const
{
    const QString old = task().absolute(field.text().isEmpty() ? "." : field.text());
    auto *const window = this->window();
    return isWritten ? QFileDialog::getSaveFileName(window, text(".ctx.browse"), old, {}, nullptr,
                                                    QFileDialog::DontConfirmOverwrite)
                     : QFileDialog::getOpenFileName(window, text(".ctx.browse"), old);
}

QString ProcessPane::askForFolder() const
{
    return QFileDialog::getExistingDirectory(window(), text(".ctx.browse"), task().absolute("."));
}

ProcessTask ProcessPane::task() const
{
    return {m_command->text(), m_arguments->text(), m_folder->text(), m_result->text(),
            m_log->text()};
}

void ProcessPane::start()
{
    reveal();
    if (m_run && m_run->isRunning())
        return;
    m_output->clearAll();
    m_output->setLimit(Preferences::outputLines.value());
    m_run = std::make_unique<ProcessRun>(task(), nullptr);
    m_output->appendLine(m_run->command(), OutputView::Typed);
    connect(m_run.get(), &ProcessRun::lineRead, this, [this](const QString &line, bool isError) {
        m_output->appendLine(line, isError ? OutputView::Error : OutputView::Output);
    });
    connect(m_run.get(), &ProcessRun::progressRead, this, &ProcessPane::showProgress);
    connect(m_run.get(), &ProcessRun::ended, this, &ProcessPane::showEnd);
    if (m_run->start())
        m_progress->setProgress(0, 0, -1);
    updateState();
}

void ProcessPane::cancel()
{
    if (!m_run || !m_run->isRunning())
        return;
    m_progress->setLabel(text(".msg.processStopping"));
    m_progress->repaint(); // no events are handled until the program has ended
    m_run->cancel();
}

void ProcessPane::showProgress(int percent)
{
    m_progress->setProgress(percent, 100, m_run->remaining());
}

void ProcessPane::showEnd()
{
    updateState();
    m_output->appendLine(m_state->text(), OutputView::Note);
    // Later, as the tab may ask how the file is to be read.
    if (m_run->end() == ProcessRun::End::Exited && m_run->code() == 0 && m_run->hasResult())
        QMetaObject::invokeMethod(m_openResult, "trigger", Qt::QueuedConnection);
}

void ProcessPane::updateState()
{
    const bool isRunning = m_run && m_run->isRunning();
    m_start->setEnabled(!isRunning);
    m_cancel->setEnabled(isRunning);
    m_openResult->setEnabled(!isRunning && m_run && m_run->hasResult());
    m_progress->setVisible(isRunning);
    m_progress->setLabel(isRunning ? QFileInfo(m_run->task().command).fileName() : QString());
    QStringList lines;
    if (m_run && m_run->end() != ProcessRun::End::None) {
        const char *const ids[] = {"", ".msg.processExited", ".msg.processCrashed",
                                   ".msg.processCancelled"};
        QString line = text(ids[int(m_run->end())]).replace("%2", QString::number(m_run->code()));
        lines.append(line.replace("%1", QLocale().toString(m_run->seconds(), 'f', 1)));
    }
    if (m_run && !m_run->problem().isEmpty())
        lines.append(m_run->problem());
    m_state->setText(lines.join('\n'));
    m_state->setAccessibleDescription(m_state->text()); // the name stands in place of the text
    m_state->setVisible(!isRunning);
}

void ProcessPane::updateTexts()
{
    for (auto browser = m_browsers.begin(); browser != m_browsers.end(); ++browser)
        browser.value()->setAccessibleName(text(".ctx.browse") + ' ' + text(browser.key()));
    updateState();
}

bool ProcessPane::mayClose()
{
    if (!m_run || !m_run->isRunning())
        return true;
    reveal();
    const QString question =
        text(".msg.processRuns").arg(QFileInfo(m_run->task().command).fileName());
    if (QMessageBox::question(window(), text(".ctx.program"), question) != QMessageBox::Yes)
        return false;
    cancel();
    return !m_run->isRunning();
}

void ProcessPane::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && m_cancel->isEnabled())
        cancel();
    else
        Pane::keyPressEvent(event);
}

void ProcessPane::saveState() const
{
    const ProcessTask entered = task();
    Utils::Settings("Process")
        .setString("command", entered.command)
        .setString("arguments", entered.arguments)
        .setString("folder", entered.folder)
        .setString("result", entered.result)
        .setString("log", entered.log)
        .setValue("parts", QVariant(m_parts->saveState()));
}

/// The sample solver, which stands beside the program; "" without it.
static QString sampleCommand()
{
    return QStandardPaths::findExecutable("kelm-workbench-solver",
                                          {QCoreApplication::applicationDirPath()});
}

void ProcessPane::restoreState()
{
    const Utils::Settings settings("Process");
    m_command->setText(settings.getString("command", sampleCommand()));
    m_arguments->setText(settings.getString("arguments", "--seconds 5 --output rod.csv"));
    m_folder->setText(settings.getString("folder", Utils::File::tempPath()));
    m_result->setText(settings.getString("result", "rod.csv"));
    m_log->setText(settings.getString("log", "solver.log"));
    m_parts->restoreState(settings.getValue("parts").toByteArray());
}

} // namespace Workbench
