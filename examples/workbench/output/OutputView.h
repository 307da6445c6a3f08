#pragma once

#include <QPlainTextEdit>
#include <QTimer>

#include <deque>

namespace Workbench {

/// The last lines of what a program or a script prints, each text in the colours of its channel.
///
/// Text is shown a little later, a part of it at a time, so that the window stays smooth however
/// fast it comes. Lines that would leave the view before anybody can read them are left out; the
/// view tells how many. It follows the end until the user goes elsewhere.
class OutputView : public QPlainTextEdit
{
    Q_OBJECT

public:
    enum Kind
    {
        Output,
        Error,
        Typed, ///< by the user
        Note   ///< of the workbench itself
    };

    explicit OutputView(QWidget *parent);

    /// How many lines are kept; 10,000 at first.
    void setLimit(int numLines);

    /// Makes places in lines, such as `File "a.py", line 3`, links.
    void setHasLinks(bool hasLinks) { m_hasLinks = hasLinks; }

    /// Adds a text of any number of lines. A line of more than 4,000 characters is broken.
    void append(const QString &text, Kind kind);

    /// Adds a text on lines of its own.
    void appendLine(const QString &text, Kind kind);

    /// Shows the next part of what waits, for a program that does not handle events.
    void showPart();

    /// Shows all that waits.
    void flush();

    /// How many lines were left out since the last clearAll().
    qint64 numLeftOut() const { return m_numLeftOut; }

    void clearAll();

Q_SIGNALS:
    /// A link to a line of a file, from 1, was clicked.
    void placeClicked(const QString &path, int line);

protected:
    void changeEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    /// A line, or a part of one without a line feed.
    struct Piece
    {
        QString text;
        Kind kind;
    };

    void addPiece(const QString &text, Kind kind);
    void dropLine();
    void addLinks(int position);
    void followIfAtEnd();
    QTextCharFormat formatOf(Kind kind) const;

    std::deque<Piece> m_waiting;
    int m_numLines = 0;      // that wait
    int m_numCharacters = 0; // of what waits
    int m_numColumns = 0;    // of the line that is not ended, as far as it is known
    int m_limit = 0;
    qint64 m_numLeftOut = 0;
    qint64 m_numToTell = 0; // of those left out, that the view does not tell yet
    QTimer m_timer;
    bool m_hasLinks = false;
    bool m_follows = true; // shows the end, until the user goes elsewhere
};

} // namespace Workbench
