#include "examples/workbench/script/ScriptDocument.h"

#include "examples/workbench/Texts.h"
#include "utils/files/File.h"

#include <QPlainTextDocumentLayout>
#include <QUndoCommand>

namespace Workbench {

using Utils::File;

/// A step of the text, which has been done when the command is made.
class ScriptDocument::Step : public QUndoCommand
{
public:
    explicit Step(QTextDocument &text) : m_text(text) {}

    void undo() override
    {
        m_text.undo();
        m_text.setModified(false); // otherwise it would join the next step with an earlier one
    }

    void redo() override
    {
        if (m_isDone) {
            m_text.redo();
            m_text.setModified(false);
        }
        m_isDone = true;
    }

private:
    QTextDocument &m_text;
    bool m_isDone = false;
};

ScriptDocument::ScriptDocument(const QString &path) : Document(path)
{
    m_text.setDocumentLayout(new QPlainTextDocumentLayout(&m_text));
    connect(&m_text, &QTextDocument::undoCommandAdded, this,
            [this] { changes().push(new Step(m_text)); });
    connect(&changes(), &QUndoStack::cleanChanged, this, [this](bool isClean) {
        if (isClean)
            m_text.setModified(false); // the next step is one of its own
    });
}

ScriptDocument::~ScriptDocument()
{
    changes().disconnect(this); // it reports that it is clean when it ends
}

bool ScriptDocument::readFile(const QString &path)
{
    const QString encoding = File::encoding(path);
    const QString contents = encoding.isEmpty() ? QString() : File::read(path, encoding);
    if (!QString(File::lastError()).isEmpty())
        return false;
    m_encoding = encoding;
    m_lineEnd = contents.contains("\r\n") ? "\r\n" : "\n";
    m_text.setPlainText(contents);
    return true;
}

bool ScriptDocument::writeFile(const QString &path)
{
    QString contents = m_text.toPlainText();
    if (m_lineEnd != "\n")
        contents.replace('\n', m_lineEnd);
    if (!File::write(path, contents, m_encoding))
        return false;
    m_text.setModified(false);
    return true;
}

QString ScriptDocument::description() const
{
    return "Python 2.7 \u00b7 " + m_encoding + (m_lineEnd == "\n" ? "" : " \u00b7 CRLF");
}

QString ScriptDocument::saveFilter() const
{
    return Workbench::text(".ctx.scripts").remove('&') + " (*.py)";
}

} // namespace Workbench
