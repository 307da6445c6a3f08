#pragma once

#include <QWidget>

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QProgressBar)
QT_FORWARD_DECLARE_CLASS(QPushButton)

namespace Workbench {

/// The label, bar, remaining time and Cancel button of a task. The main window has one in its
/// status bar, and one in a window of its own for tasks of the popup display.
class ProgressDisplay : public QWidget
{
    Q_OBJECT

public:
    enum class Form
    {
        StatusBar,
        Window
    };

    ProgressDisplay(Form form, QWidget *parent);

    /// The first line of \p text; the next one says how to cancel, for which there is a button.
    void setLabel(const QString &text);

    /// \p maxSteps is 0 when it is unknown; \p remaining is in milliseconds, negative when unknown.
    void setProgress(int count, int maxSteps, int remaining);

    void setCancelable(bool on);

Q_SIGNALS:
    void cancelled(); ///< by the button, by Esc, or by closing the window

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QLabel *m_label;
    QProgressBar *m_bar;
    QLabel *m_remaining;
    QPushButton *m_cancel;
    int m_seconds = -1; // that are shown as the remaining time
};

} // namespace Workbench
