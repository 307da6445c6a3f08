#include "examples/workbench/script/ScriptDocument.h"

#include "examples/workbench/Texts.h"
#include "utils/files/File.h"

#include <QFile>
#include <QPlainTextDocumentLayout>
#include <QTextCodec>
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

/// Whether a file starts with a byte order mark.
static bool hasMark(const QString &path)
{
    const qint64 longestMark = 4; // bytes
    QFile file(path);
    return file.open(QIODevice::ReadOnly) &&
           QTextCodec::codecForUtfText(file.read(longestMark), nullptr);
}

/// Writes a text with a byte order mark, which File::write() does only in the byte order of the
/// computer. Python reads UTF-8 without it as ASCII.
static bool writeWithMark(const QString &path, const QString &contents, const QString &encoding)
{
    const QString text = QChar(QChar::ByteOrderMark) + contents;
    const QTextCodec *const codec = QTextCodec::codecForName(encoding.toLatin1());
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader); // it would write a second one
    return File::writeRaw(path, codec->fromUnicode(text.constData(), text.size(), &state));
}

bool ScriptDocument::readFile(const QString &path)
{
    const QString encoding = File::encoding(path);
    const QString contents = encoding.isEmpty() ? QString() : File::read(path, encoding);
    if (!QString(File::lastError()).isEmpty())
        return false;
    m_encoding = encoding;
    m_hasMark = hasMark(path);
    m_lineEnd = contents.contains("\r\n") ? "\r\n" : "\n";
    m_text.setPlainText(contents);
    return true;
}

bool ScriptDocument::writeFile(const QString &path)
{
    QString contents = m_text.toPlainText();
    if (m_lineEnd != "\n")
        contents.replace('\n', m_lineEnd);
    const bool isWritten = m_hasMark ? writeWithMark(path, contents, m_encoding)
                                     : File::write(path, contents, m_encoding);
    if (!isWritten)
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
