#pragma once

#include <QLineEdit>

#include <functional>

QT_FORWARD_DECLARE_CLASS(QCompleter)
QT_FORWARD_DECLARE_CLASS(QStandardItemModel)

namespace Workbench {

/// A name that completes what is being typed, and what is known of it.
struct Completion
{
    QString name;
    QString hint;
};

/// The line of a console in which code is typed: Tab completes it, and Up and Down bring earlier
/// lines back.
class ConsoleLine : public QLineEdit
{
    Q_OBJECT

public:
    explicit ConsoleLine(QWidget *parent);

    /// Sets what returns the completions of a text up to the cursor.
    void setCompletions(const std::function<QVector<Completion>(const QString &text)> &find);

    /// Adds a line to those that come back, of which the last 500 are kept.
    void remember(const QString &line);
    QStringList history() const { return m_history; }
    void setHistory(const QStringList &lines);

Q_SIGNALS:
    void entered(const QString &line);
    void interrupted(); ///< by Ctrl+C, when nothing is selected
    void ended();       ///< by Ctrl+D, when nothing is typed

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void completeText();
    void insertName(const QString &name);
    void showNames(const QVector<Completion> &found);
    void recall(int step);
    void paste();

    std::function<QVector<Completion>(const QString &)> m_find;
    QCompleter *m_completer;
    QStandardItemModel *m_names;
    QStringList m_history;
    int m_recalled = 0; // a line of the history, or its end
    QString m_typed;    // before a line was recalled
};

} // namespace Workbench
