#include "examples/workbench/script/ScriptView.h"

#include "examples/workbench/Texts.h"
#include "examples/workbench/script/CodeEditor.h"
#include "examples/workbench/script/Highlighting.h"
#include "examples/workbench/script/ScriptDocument.h"

#include <QAction>
#include <QBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>

namespace Workbench {

ScriptView::ScriptView(ScriptDocument &document, QWidget *parent)
    : Pane(".ctx.script", parent), m_document(document), m_editor(new CodeEditor(this)),
      m_find(new QLineEdit(this)), m_error(new QLabel(this))
{
    addCommands();
    layOut();
    setFocusProxy(m_editor);
}

void ScriptView::addCommands()
{
    addCommand("find", QKeySequence::Find, [this] {
        const QString selected = m_editor->textCursor().selectedText();
        if (!selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator))
            m_find->setText(selected);
        m_find->setFocus(Qt::ShortcutFocusReason);
        m_find->selectAll();
    });
    addCommand("findNext", QKeySequence::FindNext, [this] { find(true); });
    addCommand("findPrevious", QKeySequence::FindPrevious, [this] { find(false); });
    addCommand("goToLine", Qt::CTRL + Qt::Key_G, [this] { goToLine(); });
}

void ScriptView::layOut()
{
    m_document.text().setDefaultFont(m_editor->font());
    m_editor->setDocument(&m_document.text());
    m_editor->setObjectName("editor");
    bindText(m_editor, "accessibleName", ".ctx.script");
    highlightPython(*m_editor);

    m_find->setObjectName("findLine");
    m_find->setClearButtonEnabled(true);
    bindText(m_find, "placeholderText", ".ctx.findHint");
    bindText(m_find, "accessibleName", ".ctx.findHint");
    connect(m_find, &QLineEdit::returnPressed, this, [this] { find(true); });

    m_error->setObjectName("scriptError");
    m_error->setTextFormat(Qt::PlainText);
    m_error->setWordWrap(true);
    m_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_error->setAutoFillBackground(true);
    m_error->setBackgroundRole(QPalette::ToolTipBase);
    m_error->setForegroundRole(QPalette::ToolTipText);
    m_error->setMargin(fontMetrics().averageCharWidth() / 2);
    m_error->hide();
    connect(m_editor, &QPlainTextEdit::textChanged, this, [this] {
        if (m_editor->errorLine() == 0)
            m_error->hide();
    });

    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_find);
    layout->addWidget(m_editor, 1);
    layout->addWidget(m_error);
}

void ScriptView::showError(int line, int column, const QString &message)
{
    m_editor->goTo(line, column);
    m_editor->markError(line);
    m_error->setText(text(".msg.errorInLine").arg(QLocale().toString(line), message));
    m_error->show();
}

void ScriptView::clearError()
{
    m_editor->markError(0);
    m_error->hide();
}

void ScriptView::find(bool isForward)
{
    const QString wanted = m_find->text();
    if (wanted.isEmpty()) {
        m_find->setFocus(Qt::ShortcutFocusReason);
        return;
    }
    const auto direction = isForward ? QTextDocument::FindFlags() : QTextDocument::FindBackward;
    if (m_editor->find(wanted, direction))
        return;
    // On from the other end.
    const QTextCursor old = m_editor->textCursor();
    m_editor->moveCursor(isForward ? QTextCursor::Start : QTextCursor::End);
    if (!m_editor->find(wanted, direction))
        m_editor->setTextCursor(old);
}

void ScriptView::goToLine()
{
    const int most = m_editor->blockCount();
    bool isGiven = false;
    const int line = QInputDialog::getInt(this, text(".ctx.goToLineTitle"),
                                          text(".msg.goToLine").arg(QLocale().toString(most)),
                                          m_editor->line(), 1, most, 1, &isGiven);
    if (isGiven)
        m_editor->goTo(line);
}

} // namespace Workbench
