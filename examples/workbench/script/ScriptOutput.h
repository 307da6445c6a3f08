#pragma once

#include <QPlainTextEdit>
#include <QTimer>

namespace Workbench {

/// What scripts have printed, what was typed, and errors, each in its colours.
///
/// Lines of tracebacks are links to the place in the file. The last 10,000 lines are kept.
class ScriptOutput : public QPlainTextEdit
{
    Q_OBJECT

public:
    enum Kind
    {
        Output,
        Error,
        Typed,
        Note ///< of the program itself
    };

    explicit ScriptOutput(QWidget *parent);

    /// Adds a text. It is shown a little later, together with others, or by flush().
    void append(const QString &text, Kind kind);
    void flush();

    /// Adds a text on a line of its own.
    void appendLine(const QString &text, Kind kind);

Q_SIGNALS:
    /// A link to a line of a file, from 1, was clicked.
    void placeClicked(const QString &path, int line);

protected:
    void changeEvent(QEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    struct Piece
    {
        QString text;
        Kind kind;
    };

    QTextCharFormat formatOf(Kind kind) const;
    void insert(const Piece &piece);
    void addLinks();

    QVector<Piece> m_waiting;
    int m_numWaiting = 0;      // characters
    int m_numColumns = 0;      // of the last line
    bool m_isLineEnded = true; // also of what waits
    int m_firstWithoutLinks = 0;
    QTimer m_timer;
};

} // namespace Workbench
