#pragma once

#include <QPlainTextEdit>
#include <QTimer>

#include <deque>

namespace Workbench {

/// The last lines of the output of a program. It takes lines as fast as they come: it shows a
/// part of them at a time, and what would leave the view before anybody can read it is left out.
class LineView : public QPlainTextEdit
{
    Q_OBJECT

public:
    enum class Kind
    {
        Command,
        Output,
        Error,
        Note ///< by the workbench
    };

    explicit LineView(QWidget *parent);

    /// How many lines are kept.
    void setLimit(int numLines);

    void append(const QString &line, Kind kind);

    /// Shows the lines that are still to be shown.
    void flush();

    /// How many lines were left out since the last clearAll().
    qint64 numLeftOut() const { return m_numLeftOut; }

    void clearAll();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct Line
    {
        QString text;
        Kind kind;
    };

    void showSome();
    QTextCharFormat formatOf(Kind kind) const;

    std::deque<Line> m_lines; // that are to be shown
    size_t m_limit = 10000;
    qint64 m_numLeftOut = 0;
    qint64 m_numToTell = 0; // of those left out, that the view does not tell yet
    QTimer m_timer;
    bool m_follows = true; // shows the end, until the user goes elsewhere
};

} // namespace Workbench
