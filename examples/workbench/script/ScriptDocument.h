#pragma once

#include "examples/workbench/Document.h"

#include <QTextDocument>

namespace Workbench {

/// A script: its text, which an editor shows, with the encoding, the byte order mark and the line
/// ends of its file.
///
/// Each step that the text can undo is a command in changes(): call undo() and redo() of this stack
/// only, never those of the text.
class ScriptDocument : public Document
{
    Q_OBJECT

public:
    explicit ScriptDocument(const QString &path);
    ~ScriptDocument() override;

    QTextDocument &text() { return m_text; }

    QString description() const override;
    QString saveFilter() const override;

protected:
    bool readFile(const QString &path) override;
    bool writeFile(const QString &path) override;

private:
    class Step;

    QTextDocument m_text;
    QString m_encoding = "UTF-8";
    bool m_hasMark = false; // a byte order mark
    QString m_lineEnd = "\n";
};

} // namespace Workbench
