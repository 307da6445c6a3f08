#pragma once

#include "examples/workbench/Pane.h"

QT_FORWARD_DECLARE_CLASS(QLabel)
QT_FORWARD_DECLARE_CLASS(QLineEdit)

namespace Workbench {

class CodeEditor;
class ScriptDocument;

/// The view of a script: an editor, a line to find texts, and the error of the last run.
class ScriptView : public Pane
{
    Q_OBJECT

public:
    ScriptView(ScriptDocument &document, QWidget *parent);

    ScriptDocument &document() const { return m_document; }
    CodeEditor &editor() const { return *m_editor; }

    /// Goes to a line and a column, both from 1, and marks the line as that of an error.
    void showError(int line, int column, const QString &message);

    /// Removes the mark.
    void clearError();

private:
    void addCommands();
    void layOut();
    void find(bool isForward);
    void goToLine();

    ScriptDocument &m_document;
    CodeEditor *m_editor;
    QLineEdit *m_find;
    QLabel *m_error;
};

} // namespace Workbench
