#include "examples/workbench/script/ScriptOutput.h"

#include "examples/workbench/Texts.h"

#include <QFontDatabase>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>

namespace Workbench {

static const int mostLines = 10000;
static const int mostWaiting = 1000000; // characters; as many as the lines usually have
static const int longestLine = 4000;    // a longer one is broken, as it would take long to draw
static const int delay = 50;            // milliseconds

ScriptOutput::ScriptOutput(QWidget *parent) : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false);
    setMaximumBlockCount(mostLines);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewport()->setMouseTracking(true);
    m_timer.setSingleShot(true);
    m_timer.setInterval(delay);
    connect(&m_timer, &QTimer::timeout, this, &ScriptOutput::flush);
}

void ScriptOutput::append(const QString &text, Kind kind)
{
    if (text.isEmpty())
        return;
    if (!m_waiting.isEmpty() && m_waiting.constLast().kind == kind)
        m_waiting.last().text += text;
    else
        m_waiting.append({text, kind});
    m_numWaiting += text.size();
    m_isLineEnded = text.endsWith('\n');
    if (m_numWaiting > 2 * mostWaiting)
        flush();
    else if (!m_timer.isActive())
        m_timer.start();
}

void ScriptOutput::appendLine(const QString &text, Kind kind)
{
    append((m_isLineEnded ? "" : "\n") + text + '\n', kind);
}

QTextCharFormat ScriptOutput::formatOf(Kind kind) const
{
    const bool isDark = palette().color(QPalette::Base).lightness() < 128;
    QTextCharFormat format;
    format.setForeground(palette().color(QPalette::Text));
    if (kind == Error)
        format.setForeground(isDark ? QColor(255, 140, 140) : QColor(176, 0, 0));
    if (kind == Typed)
        format.setFontWeight(QFont::Bold);
    if (kind == Note) {
        format.setForeground(isDark ? QColor(140, 190, 255) : QColor(0, 64, 160));
        format.setFontItalic(true);
    }
    format.setProperty(QTextFormat::UserProperty, kind);
    return format;
}

/// Adds a text at the end, with the lines broken that are too long.
void ScriptOutput::insert(const Piece &piece)
{
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    const QTextCharFormat format = formatOf(piece.kind);
    int start = 0;
    while (start < piece.text.size()) {
        const int lineEnd = piece.text.indexOf('\n', start);
        const int next = lineEnd < 0 ? piece.text.size() : lineEnd + 1;
        const int room = longestLine - m_numColumns;
        const bool isLong = next - start > room;
        end.insertText(piece.text.mid(start, isLong ? room : next - start) + (isLong ? "\n" : ""),
                       format);
        start = isLong ? start + room : next;
        m_numColumns = end.positionInBlock();
    }
}

void ScriptOutput::flush()
{
    m_timer.stop();
    if (m_waiting.isEmpty())
        return;
    const bool isAtEnd = verticalScrollBar()->value() >= verticalScrollBar()->maximum() - 1;
    // What would scroll out at once is left out.
    bool isCut = false;
    while (m_numWaiting > mostWaiting) {
        Piece &first = m_waiting.first();
        const int surplus = qMin(m_numWaiting - mostWaiting, first.text.size());
        first.text.remove(0, surplus);
        m_numWaiting -= surplus;
        if (first.text.isEmpty())
            m_waiting.removeFirst();
        isCut = true;
    }
    QTextCursor block(document());
    block.beginEditBlock();
    if (isCut)
        insert({'\n' + text(".msg.outputCut") + '\n', Note});
    for (const Piece &piece : qAsConst(m_waiting))
        insert(piece);
    m_waiting.clear();
    m_numWaiting = 0;
    addLinks();
    block.endEditBlock();
    if (isAtEnd)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

static QRegularExpressionMatch placeIn(const QString &line)
{
    static const QRegularExpression place("^\\s*File \"([^<\"][^\"]*)\", line (\\d+)");
    return place.match(line);
}

/// Underlines the places in the lines that are complete.
void ScriptOutput::addLinks()
{
    const int last = blockCount() - 1;
    // Lines that have scrolled out are not counted any more.
    QTextBlock block = document()->findBlockByNumber(qMax(0, qMin(m_firstWithoutLinks, last)));
    if (blockCount() >= mostLines)
        block = document()->firstBlock();
    for (; block.isValid() && block.blockNumber() < last; block = block.next()) {
        const QRegularExpressionMatch match = placeIn(block.text());
        if (!match.hasMatch())
            continue;
        QTextCursor cursor(block);
        cursor.setPosition(block.position() + match.capturedStart(1) - 1);
        cursor.setPosition(block.position() + match.capturedEnd(), QTextCursor::KeepAnchor);
        QTextCharFormat format;
        format.setFontUnderline(true);
        format.setAnchor(true);
        format.setAnchorHref(match.captured(2) + ' ' + match.captured(1));
        cursor.mergeCharFormat(format);
    }
    m_firstWithoutLinks = last;
}

void ScriptOutput::changeEvent(QEvent *event)
{
    QPlainTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        for (auto part = block.begin(); !part.atEnd(); ++part) {
            const QTextFragment fragment = part.fragment();
            const int kind = fragment.charFormat().intProperty(QTextFormat::UserProperty);
            QTextCursor cursor(document());
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            QTextCharFormat format;
            format.setForeground(formatOf(Kind(kind)).foreground());
            cursor.mergeCharFormat(format);
        }
    }
}

void ScriptOutput::mouseMoveEvent(QMouseEvent *event)
{
    viewport()->setCursor(anchorAt(event->pos()).isEmpty() ? Qt::IBeamCursor
                                                           : Qt::PointingHandCursor);
    QPlainTextEdit::mouseMoveEvent(event);
}

void ScriptOutput::mouseReleaseEvent(QMouseEvent *event)
{
    QPlainTextEdit::mouseReleaseEvent(event);
    const QString place = anchorAt(event->pos());
    if (event->button() == Qt::LeftButton && !place.isEmpty() && !textCursor().hasSelection())
        Q_EMIT placeClicked(place.section(' ', 1), place.section(' ', 0, 0).toInt());
}

} // namespace Workbench
