#pragma once

#include "examples/workbench/Pane.h"
#include "utils/script/ScriptError.h"

#include <QPointer>

#include <memory>

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QToolButton)

namespace Utils {
class IScriptableModule;
}

namespace Workbench {

class ConsoleLine;
class MainWindow;
class OutputView;
class ScriptAccess;
class ScriptRunner;
class ScriptView;

/// Runs scripts: the commands for that, what scripts print, and a console.
///
/// The object offers the module "Workbench" to scripts. Python ends with it.
class ScriptPane : public Pane
{
    Q_OBJECT

public:
    explicit ScriptPane(QWidget *parent);
    ~ScriptPane() override;

    void setCurrentView(Pane *view) override;
    void updateTexts() override;
    void saveState() const override;
    void restoreState() override;

private:
    void addCommands();
    void layOut();
    void connectParts();
    void connectScripts();

    void runScript();
    void runSelection();
    void restart();
    bool run(const QString &name, const std::function<void()> &call);
    void tellEnd(const QString &name, const Utils::ScriptError &error, qint64 time);
    void showErrors(const Utils::ScriptError &error);
    void goToFrame(int step);
    ScriptView *open(const QString &path);

    void enter(const QString &line);
    void interpret();
    void interrupt();
    bool readAnswer(Data::String &answer);
    void showConsole();
    void updateState();

    MainWindow &m_window;
    ScriptRunner *m_runner;
    OutputView *m_output;
    ConsoleLine *m_line;
    QLabel *m_prompt;
    QToolButton *m_stop;
    QAction *m_run = nullptr;
    QAction *m_runSelection = nullptr;
    QAction *m_stopAction = nullptr;
    QAction *m_restart = nullptr;
    QAction *m_nextFrame = nullptr;
    QAction *m_previousFrame = nullptr;
    QPointer<ScriptView> m_view;
    QPointer<ScriptView> m_selectionView; // whose selection was run last

    QList<Utils::ScriptError::Frame> m_frames; // of the last error, the innermost first
    int m_frame = 0;
    QString m_errorText;
    int m_errorColumn = 0;

    QStringList m_lines; // of the statement that is typed
    bool m_isReading = false;
    bool m_hasAnswer = false;
    QString m_answer;

    std::unique_ptr<ScriptAccess> m_access;
    std::unique_ptr<Utils::IScriptableModule> m_module;
};

} // namespace Workbench
