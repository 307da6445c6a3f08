#pragma once

#include "examples/workbench/Pane.h"
#include "examples/workbench/process/ProcessRun.h"

#include <QMap>

#include <memory>

QT_FORWARD_DECLARE_CLASS(QGridLayout)
QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)
QT_FORWARD_DECLARE_CLASS(QSplitter)
QT_FORWARD_DECLARE_CLASS(QToolButton)

namespace Workbench {

class OutputView;
class ProgressDisplay;

/// Runs a program, such as a solver, while the user works on: its progress, its output, its end.
/// What the program has written is opened in a tab.
class ProcessPane : public Pane
{
    Q_OBJECT

public:
    explicit ProcessPane(QWidget *parent);
    ~ProcessPane() override;

    OutputView &output() const { return *m_output; }

    /// The program that runs, or the last one; null when none has been started.
    const ProcessRun *run() const { return m_run.get(); }

    void updateTexts() override;
    bool mayClose() override;
    void saveState() const override;
    void restoreState() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void addCommands();
    void addField(QGridLayout &form, QLineEdit *&field, const char *name,
                  const std::function<QString()> &browse);
    void layOut();
    ProcessTask task() const;
    QString askForFile(const QLineEdit &field, bool isWritten) const;
    QString askForFolder() const;
    void start();
    void cancel();
    void showProgress(int percent);
    void showEnd();
    void updateState();

    QAction *m_start = nullptr;
    QAction *m_cancel = nullptr;
    QAction *m_openResult = nullptr;
    QLineEdit *m_command = nullptr;
    QLineEdit *m_arguments = nullptr;
    QLineEdit *m_folder = nullptr;
    QLineEdit *m_result = nullptr;
    QLineEdit *m_log = nullptr;
    QMap<QByteArray, QToolButton *> m_browsers; // by the ids of the labels of their fields
    ProgressDisplay *m_progress;
    QLabel *m_state;
    OutputView *m_output;
    QSplitter *m_parts;
    std::unique_ptr<ProcessRun> m_run;
};

} // namespace Workbench
