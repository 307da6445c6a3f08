// How the scripts pane runs scripts and statements.

#include "examples/workbench/Host.h"
#include "examples/workbench/MainWindow.h"
#include "examples/workbench/Preferences.h"
#include "examples/workbench/Texts.h"
#include "examples/workbench/output/OutputView.h"
#include "examples/workbench/script/CodeEditor.h"
#include "examples/workbench/script/ConsoleLine.h"
#include "examples/workbench/script/ScriptAccess.h"
#include "examples/workbench/script/ScriptDocument.h"
#include "examples/workbench/script/ScriptModule.h"
#include "examples/workbench/script/ScriptPane.h"
#include "examples/workbench/script/ScriptRunner.h"
#include "examples/workbench/script/ScriptView.h"
#include "utils/files/File.h"
#include "utils/script/ScriptManager.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QTextBlock>
#include <QThread>

#include <algorithm>

namespace Workbench {

using Utils::ScriptError;
using Utils::ScriptManager;
using Utils::ScriptReply;

static const int pollInterval = 15; // milliseconds

ScriptPane::~ScriptPane()
{
    // Python ends before the widgets that show what it prints.
    m_module.reset();
    ScriptManager::instance().setOutputSink({});
    ScriptManager::instance().setInputSource({});
}

void ScriptPane::connectScripts()
{
    ScriptManager &scripts = ScriptManager::instance();
    scripts.setOutputSink([this](const Data::String &text, Utils::ScriptChannel channel) {
        const bool isError = channel == Utils::ScriptChannel::Error;
        m_output->append(text, isError ? OutputView::Error : OutputView::Output);
    });
    scripts.setInputSource([this](Data::String &answer) { return readAnswer(answer); });
    m_line->setCompletions([this](const QString &text) {
        QVector<Completion> completions;
        if (m_runner->isRunning())
            return completions;
        const QString code = (m_lines + QStringList(text)).join('\n');
        for (const Utils::ScriptCompletion &found : ScriptManager::instance().complete(code, "py"))
        {
            const QStringList hint{found.signature, found.documentation};
            completions.append({found.name, hint.join("\n").trimmed()});
        }
        return completions;
    });
}

/// Sets the arguments as Python does, and lets the script import the modules beside it.
static void prepare(const QString &path)
{
    const QString code = "exec '''import os, sys\n"
                         "sys.argv = ['%1'.decode('hex')]\n"
                         "folder = os.path.dirname(sys.argv[0])\n"
                         "if folder not in sys.path:\n"
                         "    sys.path.insert(0, folder)\n"
                         "''' in {}\n";
    Data::Variant result;
    Data::String error;
    ScriptManager::instance().execute(code.arg(QString::fromLatin1(path.toUtf8().toHex())), "py",
                                      result, error);
}

bool ScriptPane::run(const QString &name, const std::function<void()> &call)
{
    QString error;
    m_output->setLimit(Preferences::outputLines.value());
    const bool wasRun = m_runner->run(name, call, error);
    m_access->endChanges();
    if (wasRun)
        return true;
    if (!error.isEmpty())
        m_output->appendLine(error, OutputView::Error);
    return false;
}

void ScriptPane::runScript()
{
    if (!m_view || m_runner->isRunning())
        return;
    ScriptDocument &document = m_view->document();
    if (document.isChanged() && !document.write(document.path())) {
        QMessageBox::warning(&m_window, text(".ctx.program"),
                             text(".err.save").arg(QString(Utils::File::lastError())));
        return;
    }
    parentWidget()->show();
    const QString path = document.path();
    const QString name = QFileInfo(path).fileName();
    m_output->appendLine(text(".msg.scriptStarts").arg(name), OutputView::Note);
    m_view->clearError();
    QElapsedTimer timer;
    ScriptError error;
    const bool wasRun = run(name, [&] {
        prepare(path);
        timer.start();
        ScriptManager::instance().execute(path);
        error = ScriptManager::instance().error();
    });
    if (wasRun)
        tellEnd(name, error, timer.elapsed());
}

/// Removes the blanks that all lines of \p code start with.
static QString dedented(const QString &code)
{
    QStringList lines = code.split('\n');
    int width = code.size();
    for (const QString &line : qAsConst(lines)) {
        const int start = line.size() - QString(line + 'x').trimmed().size() + 1;
        if (!line.trimmed().isEmpty())
            width = std::min(width, start);
    }
    for (QString &line : lines)
        line.remove(0, width);
    return lines.join('\n');
}

void ScriptPane::runSelection()
{
    if (!m_view || m_runner->isRunning())
        return;
    parentWidget()->show();
    m_view->clearError();
    m_selectionView = m_view;
    const QString code = dedented(m_view->editor().chosenLines());
    for (const QString &line : code.split('\n'))
        m_output->appendLine(">>> " + line, OutputView::Typed);
    const QTextCursor cursor = m_view->editor().textCursor();
    const int above = m_view->editor().document()->findBlock(cursor.selectionStart()).blockNumber();
    const QString name = QFileInfo(m_view->document().path()).fileName();
    QElapsedTimer timer;
    Data::Variant result;
    ScriptError error;
    const bool wasRun = run(name, [&] {
        timer.start();
        Data::String message;
        // With empty lines above, the lines of an error are those of the file.
        ScriptManager::instance().execute(QString(above, '\n') + code + '\n', "py", result,
                                          message);
        error = ScriptManager::instance().error();
    });
    if (!wasRun)
        return;
    if (!error.isEmpty() && !error.isExit())
        m_output->appendLine(error.traceback().trimmed(), OutputView::Error);
    tellEnd(name, error, timer.elapsed());
}

void ScriptPane::tellEnd(const QString &name, const ScriptError &error, qint64 time)
{
    const QString seconds = QLocale().toString(double(time) / 1000.0, 'f', 2);
    QString outcome = text(".msg.scriptEnded").arg(name, seconds);
    if (error.isInterrupted())
        outcome = QString(error.text());
    else if (error.isExit())
        outcome = text(".msg.scriptExited").arg(name).arg(error.exitStatus());
    else if (!error.isEmpty())
        outcome = text(".msg.scriptFailed").arg(name, seconds);
    if (!error.isEmpty() && error.type().isEmpty())
        m_output->appendLine(error.text(), OutputView::Error); // no exception was printed
    const QVariant result = m_access->takeResult();
    if (result.isValid())
        m_output->appendLine(text(".msg.scriptResult").arg(result.toString()), OutputView::Note);
    m_output->appendLine(outcome, OutputView::Note);
    m_output->flush();
    showErrors(error);
}

void ScriptPane::showErrors(const ScriptError &error)
{
    m_frames.clear();
    m_frame = -1;
    const bool isGood = error.isExit() && error.exitStatus() == 0;
    if (!isGood && !error.type().isEmpty()) {
        m_errorText = error.type() + ": " + error.text();
        Host::instance()->showMessage(m_errorText.section('\n', 0, 0), true);
        m_errorColumn = error.column();
        const QList<ScriptError::Frame> frames = error.frames();
        m_frames = QList<ScriptError::Frame>(frames.rbegin(), frames.rend());
        const bool isSyntax = error.column() > 0;
        if (isSyntax || (m_frames.isEmpty() && error.line() > 0))
            m_frames.prepend({error.file(), error.line(), {}, {}});
    }
    updateState();
    goToFrame(1);
}

void ScriptPane::restart()
{
    m_lines.clear();
    ScriptManager::instance().reset("py");
    m_output->appendLine(text(".msg.restarted"), OutputView::Note);
    updateState();
}

void ScriptPane::enter(const QString &line)
{
    if (m_isReading) {
        m_output->append(line + '\n', OutputView::Typed);
        m_answer = line + '\n';
        m_hasAnswer = true;
        return;
    }
    if (m_runner->isRunning()) {
        m_line->setText(line); // for later
        return;
    }
    m_output->append(m_prompt->text() + ' ' + line + '\n', OutputView::Typed);
    m_line->remember(line);
    saveState();
    m_lines.append(line);
    interpret();
}

/// The blanks that the line after \p line starts with.
static QString indentationAfter(const QString &line)
{
    int width = 0;
    while (width < line.size() && line.at(width).isSpace())
        ++width;
    return line.left(width) + (line.trimmed().endsWith(':') ? "    " : "");
}

void ScriptPane::interpret()
{
    ScriptReply reply;
    const bool wasRun = run(text(".ctx.consoleLine"), [&] {
        reply = ScriptManager::instance().interpret(m_lines.join('\n'), "py");
    });
    const bool isIncomplete = wasRun && reply.state == ScriptReply::Incomplete;
    if (isIncomplete)
        m_line->setText(indentationAfter(m_lines.constLast()));
    else
        m_lines.clear();
    if (reply.state == ScriptReply::Exit)
        m_output->appendLine(text(".msg.exitInConsole"), OutputView::Note);
    if (!reply.error.isEmpty())
        m_output->appendLine(reply.error, OutputView::Error);
    m_output->flush();
    updateState();
}

void ScriptPane::interrupt()
{
    if (m_runner->isRunning()) {
        m_runner->stop();
        return;
    }
    m_output->append(m_prompt->text() + ' ' + m_line->text() + "\nKeyboardInterrupt\n",
                     OutputView::Typed);
    m_lines.clear();
    m_line->clear();
    updateState();
}

/// Waits for a line that the user types for the script. False at the end of the input.
bool ScriptPane::readAnswer(Data::String &answer)
{
    if (!m_runner->isRunning() || m_isReading)
        return false;
    showConsole();
    m_isReading = true;
    m_hasAnswer = false;
    updateState();
    while (m_isReading && !m_hasAnswer && ScriptManager::interruptDelay() == 0) {
        m_runner->handleEvents();
        QThread::msleep(pollInterval);
    }
    const bool isInterrupted = m_isReading && !m_hasAnswer;
    m_isReading = false;
    updateState();
    // The script is ended by its interrupt rather than by the end of the input.
    answer = isInterrupted ? QString('\n') : m_answer;
    return isInterrupted || m_hasAnswer;
}

} // namespace Workbench
