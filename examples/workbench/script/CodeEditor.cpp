#include "examples/workbench/script/CodeEditor.h"

#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QLocale>
#include <QMenu>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QTextBlock>
#include <QUrl>

#include <algorithm>
#include <memory>

namespace Workbench {

static const QString step(4, ' '); // of the indentation

namespace {

/// The numbers of the lines, which the editor paints.
class LineNumbers : public QWidget
{
public:
    explicit LineNumbers(CodeEditor *editor) : QWidget(editor), m_editor(*editor) {}

protected:
    void paintEvent(QPaintEvent *) override { m_editor.paintNumbers(*this); }

private:
    CodeEditor &m_editor;
};

} // namespace

CodeEditor::CodeEditor(QWidget *parent) : QPlainTextEdit(parent), m_numbers(new LineNumbers(this))
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setLineWrapMode(NoWrap);
    setTabStopDistance(fontMetrics().horizontalAdvance(' ') * 8); // as Python reads a tab
    connect(this, &QPlainTextEdit::blockCountChanged, this, &CodeEditor::layOutNumbers);
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, &CodeEditor::updateMarks);
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
        if (document()->revision() != m_markedRevision) // it is also sent for new colours
            markError(0);
    });
    connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect &area, int dy) {
        if (dy != 0)
            m_numbers->scroll(0, dy);
        else
            m_numbers->update(0, area.y(), m_numbers->width(), area.height());
    });
    layOutNumbers();
    updateMarks();
}

void CodeEditor::goTo(int line, int column)
{
    const QTextBlock block = document()->findBlockByNumber(qBound(1, line, blockCount()) - 1);
    QTextCursor cursor(block);
    cursor.setPosition(block.position() + qBound(0, column - 1, block.length() - 1));
    setTextCursor(cursor);
    centerCursor();
}

void CodeEditor::markError(int line)
{
    if (line == m_errorLine)
        return;
    m_errorLine = line;
    m_markedRevision = document()->revision();
    updateMarks();
    m_numbers->update();
}

/// A colour over the background on which the text can be read, in light and in dark palettes.
static QColor shade(const QColor &base, const QColor &tint, double part)
{
    const auto mix = [part](int a, int b) { return int(a + (b - a) * part); };
    return QColor(mix(base.red(), tint.red()), mix(base.green(), tint.green()),
                  mix(base.blue(), tint.blue()));
}

void CodeEditor::updateMarks()
{
    const QColor base = palette().color(QPalette::Base);
    const auto mark = [](const QTextCursor &cursor, const QColor &colour) {
        QTextEdit::ExtraSelection selection;
        selection.cursor = cursor;
        selection.cursor.clearSelection();
        selection.format.setBackground(colour);
        selection.format.setProperty(QTextFormat::FullWidthSelection, true);
        return selection;
    };
    QList<QTextEdit::ExtraSelection> marks;
    marks.append(mark(textCursor(), shade(base, palette().color(QPalette::Text), 0.06)));
    if (m_errorLine > 0)
        marks.append(mark(QTextCursor(document()->findBlockByNumber(m_errorLine - 1)),
                          shade(base, Qt::red, 0.25)));
    setExtraSelections(marks);
}

void CodeEditor::layOutNumbers()
{
    const int digits = qMax(3, QString::number(blockCount()).size());
    const int space = fontMetrics().horizontalAdvance('0');
    const int width = space * (digits + 2);
    const bool isMirrored = isRightToLeft();
    setViewportMargins(isMirrored ? 0 : width, 0, isMirrored ? width : 0, 0);
    const QRect area = contentsRect();
    m_numbers->setGeometry(isMirrored ? area.right() - width + 1 : area.left(), area.top(), width,
                           area.height());
}

void CodeEditor::paintNumbers(QWidget &area)
{
    QPainter painter(&area);
    painter.fillRect(area.rect(), palette().color(QPalette::Window));
    painter.setFont(font());
    const int space = fontMetrics().horizontalAdvance('0');
    QTextBlock block = firstVisibleBlock();
    double top = blockBoundingGeometry(block).translated(contentOffset()).top();
    while (block.isValid() && top <= area.height()) {
        const double height = blockBoundingRect(block).height();
        const int number = block.blockNumber() + 1;
        const QRect row(0, int(top), area.width(), fontMetrics().height());
        const bool isError = number == m_errorLine;
        if (isError)
            painter.fillRect(row, shade(palette().color(QPalette::Base), Qt::red, 0.25));
        QColor colour = palette().color(QPalette::WindowText);
        colour.setAlpha(isError || number == line() ? 255 : 150);
        painter.setPen(colour);
        if (isError)
            painter.drawText(row.adjusted(space / 2, 0, 0, 0), Qt::AlignLeft, "!");
        painter.drawText(row.adjusted(0, 0, -space / 2, 0), Qt::AlignRight,
                         QString::number(number));
        top += height;
        block = block.next();
    }
}

QTextCursor CodeEditor::chosenBlocks() const
{
    QTextCursor cursor = textCursor();
    const int start = cursor.selectionStart();
    int end = cursor.selectionEnd();
    // A selection up to the start of a line does not have that line.
    if (end > start && document()->findBlock(end).position() == end)
        --end;
    cursor.setPosition(document()->findBlock(start).position());
    const QTextBlock last = document()->findBlock(end);
    cursor.setPosition(last.position() + last.length() - 1, QTextCursor::KeepAnchor);
    return cursor;
}

QString CodeEditor::chosenLines() const
{
    return chosenBlocks().selectedText().replace(QChar::ParagraphSeparator, '\n');
}

bool CodeEditor::event(QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride) {
        const auto &key = *static_cast<QKeyEvent *>(event);
        if (key.matches(QKeySequence::Undo) || key.matches(QKeySequence::Redo)) {
            event->ignore();
            return true;
        }
    }
    return QPlainTextEdit::event(event);
}

void CodeEditor::changeEvent(QEvent *event)
{
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        updateMarks();
    if (event->type() == QEvent::FontChange || event->type() == QEvent::LayoutDirectionChange)
        layOutNumbers();
}

/// Files that are dropped are left to the window, which opens them.
bool CodeEditor::canInsertFromMimeData(const QMimeData *source) const
{
    const QList<QUrl> urls = source->urls();
    const bool hasFile =
        std::any_of(urls.begin(), urls.end(), [](const QUrl &url) { return url.isLocalFile(); });
    return !hasFile && QPlainTextEdit::canInsertFromMimeData(source);
}

void CodeEditor::contextMenuEvent(QContextMenuEvent *event)
{
    const std::unique_ptr<QMenu> menu(createStandardContextMenu());
    for (QAction *const action : menu->actions()) {
        if (action->objectName() == "edit-undo" || action->objectName() == "edit-redo")
            menu->removeAction(action);
    }
    menu->exec(event->globalPos());
}

/// Starts a line with the indentation of the one before, and one step more after a colon.
void CodeEditor::startLine()
{
    QTextCursor cursor = textCursor();
    const QString before = cursor.block().text().left(cursor.positionInBlock());
    int width = 0;
    while (width < before.size() && before.at(width).isSpace())
        ++width;
    cursor.insertText('\n' + before.left(width) + (before.trimmed().endsWith(':') ? step : ""));
    setTextCursor(cursor);
    ensureCursorVisible();
}

void CodeEditor::indent()
{
    QTextCursor cursor = textCursor();
    if (!cursor.hasSelection()) {
        cursor.insertText(step.left(step.size() - cursor.positionInBlock() % step.size()));
        return;
    }
    cursor = chosenBlocks();
    const int last = document()->findBlock(cursor.selectionEnd()).blockNumber();
    QTextBlock block = document()->findBlock(cursor.selectionStart());
    cursor.beginEditBlock();
    for (; block.isValid() && block.blockNumber() <= last; block = block.next())
        QTextCursor(block).insertText(step);
    cursor.endEditBlock();
}

void CodeEditor::unindent()
{
    QTextCursor cursor = chosenBlocks();
    const int last = document()->findBlock(cursor.selectionEnd()).blockNumber();
    QTextBlock block = document()->findBlock(cursor.selectionStart());
    cursor.beginEditBlock();
    for (; block.isValid() && block.blockNumber() <= last; block = block.next()) {
        QTextCursor start(block);
        for (int i = 0; i < step.size() && block.text().startsWith(' '); ++i)
            start.deleteChar();
    }
    cursor.endEditBlock();
}

void CodeEditor::keyPressEvent(QKeyEvent *event)
{
    const bool isPlain = !(event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier));
    if (isPlain && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter))
        startLine();
    else if (isPlain && event->key() == Qt::Key_Tab)
        indent();
    else if (isPlain && event->key() == Qt::Key_Backtab)
        unindent();
    else
        QPlainTextEdit::keyPressEvent(event);
}

void CodeEditor::resizeEvent(QResizeEvent *event)
{
    QPlainTextEdit::resizeEvent(event);
    layOutNumbers();
}

} // namespace Workbench
