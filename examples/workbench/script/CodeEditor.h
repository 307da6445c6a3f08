#pragma once

#include <QPlainTextEdit>

namespace Workbench {

/// An editor of code: line numbers, indentation, and a line that is marked as that of an error.
///
/// Undo and redo are left to the window, whose commands know all documents.
class CodeEditor : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit CodeEditor(QWidget *parent);

    /// The current line, from 1.
    int line() const { return textCursor().blockNumber() + 1; }

    /// Moves the cursor to a line, from 1, and to a column in it, from 1 as well.
    void goTo(int line, int column = 1);

    /// Marks a line, from 1, until the text is changed; 0 marks none.
    void markError(int line);
    int errorLine() const { return m_errorLine; }

    /// What is selected, as whole lines; the current line when nothing is selected.
    QString chosenLines() const;

    /// Paints the numbers of the lines in \p area, which is on the left of the text.
    void paintNumbers(QWidget &area);

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void layOutNumbers();
    void updateMarks();
    void startLine();
    void indent();
    void unindent();
    QTextCursor chosenBlocks() const;

    QWidget *m_numbers;
    int m_errorLine = 0;
    int m_markedRevision = 0; // of the text
};

} // namespace Workbench
