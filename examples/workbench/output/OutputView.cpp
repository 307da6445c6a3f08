#include "examples/workbench/output/OutputView.h"

#include "examples/workbench/Texts.h"

#include <QFontDatabase>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>
#include <climits>

namespace Workbench {

static const int interval = 25;      // milliseconds between two parts
static const int mostAtOnce = 400;   // lines of a part
static const int longestLine = 4000; // characters; a longer one would take long to draw
static const int usualLine = 100;    // characters; so many of a line that is kept may wait

OutputView::OutputView(QWidget *parent) : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setLayoutDirection(Qt::LeftToRight); // as programs print
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setUndoRedoEnabled(false);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewport()->setMouseTracking(true);
    setLimit(10000);
    m_timer.setInterval(interval);
    connect(&m_timer, &QTimer::timeout, this, &OutputView::showPart);

    // The user's choice, and not the position: that also moves when lines are removed.
    QScrollBar *const bar = verticalScrollBar();
    connect(bar, &QScrollBar::actionTriggered, this,
            [this, bar] { m_follows = bar->sliderPosition() == bar->maximum(); });
    connect(bar, &QScrollBar::rangeChanged, this, [this, bar] {
        if (m_follows)
            bar->setValue(bar->maximum());
    });
}

void OutputView::setLimit(int numLines)
{
    m_limit = numLines;
    setMaximumBlockCount(numLines);
}

void OutputView::append(const QString &text, Kind kind)
{
    int start = 0;
    while (start < text.size()) {
        const int feed = text.indexOf('\n', start);
        const int end = feed < 0 ? text.size() : feed;
        const int room = longestLine - m_numColumns;
        if (end - start > room) {
            addPiece(text.mid(start, room) + '\n', kind);
            start += room;
            continue;
        }
        const int next = feed < 0 ? end : end + 1;
        addPiece(text.mid(start, next - start), kind);
        start = next;
    }
}

void OutputView::appendLine(const QString &text, Kind kind)
{
    if (m_numColumns > 0)
        append("\n", kind);
    append(text + '\n', kind);
}

void OutputView::addPiece(const QString &text, Kind kind)
{
    const bool goesOn = m_numColumns > 0 && !m_waiting.empty() && m_waiting.back().kind == kind;
    if (goesOn)
        m_waiting.back().text += text;
    else
        m_waiting.push_back({text, kind});
    m_numCharacters += text.size();
    const bool isEnd = text.endsWith('\n');
    m_numLines += isEnd ? 1 : 0;
    m_numColumns = isEnd ? 0 : m_numColumns + text.size();
    const int mostLines = m_limit - 2; // with the note, and the line that is not ended
    while (m_numLines > 0 && (m_numLines > mostLines || m_numCharacters / usualLine > m_limit))
        dropLine();
    if (!m_timer.isActive())
        m_timer.start();
}

void OutputView::dropLine()
{
    bool isEnd = false;
    while (!isEnd) {
        const QString &text = m_waiting.front().text;
        isEnd = text.endsWith('\n');
        m_numCharacters -= text.size();
        m_waiting.pop_front();
    }
    --m_numLines;
    ++m_numLeftOut;
    ++m_numToTell;
}

QTextCharFormat OutputView::formatOf(Kind kind) const
{
    const bool isDark = palette().color(QPalette::Base).lightness() < 128;
    QTextCharFormat format;
    format.setProperty(QTextFormat::UserProperty, kind);
    format.setForeground(palette().color(QPalette::Text));
    if (kind == Error)
        format.setForeground(QColor(isDark ? "#ff8a80" : "#b00020"));
    if (kind == Note)
        format.setForeground(QColor(isDark ? "#8ab4f8" : "#00539c"));
    if (kind == Typed)
        format.setFontWeight(QFont::Bold);
    format.setFontItalic(kind == Note);
    return format;
}

void OutputView::showPart()
{
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    const int start = end.block().position();
    end.beginEditBlock();
    if (m_numToTell > 0) {
        const int count = int(std::min<qint64>(m_numToTell, INT_MAX));
        const QString feed(end.atBlockStart() ? "" : "\n");
        end.insertText(feed + textFor(".msg.linesLeftOut", count) + '\n', formatOf(Note));
        m_numToTell = 0;
    }
    for (int i = 0; i < mostAtOnce && !m_waiting.empty();) {
        const Kind kind = m_waiting.front().kind;
        QString text;
        for (; i < mostAtOnce && !m_waiting.empty() && m_waiting.front().kind == kind; ++i) {
            text += m_waiting.front().text;
            m_numLines -= m_waiting.front().text.endsWith('\n') ? 1 : 0;
            m_waiting.pop_front();
        }
        m_numCharacters -= text.size();
        end.insertText(text, formatOf(kind));
    }
    if (m_hasLinks)
        addLinks(start);
    end.endEditBlock();
    if (m_follows)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    if (m_waiting.empty())
        m_timer.stop();
}

void OutputView::flush()
{
    while (!m_waiting.empty())
        showPart();
}

void OutputView::clearAll()
{
    m_waiting.clear();
    m_timer.stop();
    m_numLines = m_numCharacters = m_numColumns = 0;
    m_numLeftOut = m_numToTell = 0;
    m_follows = true;
    clear();
}

/// Underlines the places in the lines that are complete, from the one at \p position on.
void OutputView::addLinks(int position)
{
    static const QRegularExpression place("^\\s*File \"([^<\"][^\"]*)\", line (\\d+)");
    QTextBlock block = document()->findBlock(position);
    for (; block.isValid() && block != document()->lastBlock(); block = block.next()) {
        const QRegularExpressionMatch match = place.match(block.text());
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
}

void OutputView::changeEvent(QEvent *event)
{
    QPlainTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    // First all ranges: a format that is merged may join fragments.
    QVector<QTextLayout::FormatRange> ranges;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        for (auto part = block.begin(); !part.atEnd(); ++part) {
            const QTextFragment fragment = part.fragment();
            const int kind = fragment.charFormat().intProperty(QTextFormat::UserProperty);
            QTextCharFormat format;
            format.setForeground(formatOf(Kind(kind)).foreground());
            ranges.append({fragment.position(), fragment.length(), format});
        }
    }
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (const QTextLayout::FormatRange &range : qAsConst(ranges)) {
        cursor.setPosition(range.start);
        cursor.setPosition(range.start + range.length, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(range.format);
    }
    cursor.endEditBlock();
}

/// Follows the end again when the user has gone there.
void OutputView::followIfAtEnd()
{
    // A cursor in the last line may be one line above the end of the bar.
    m_follows = verticalScrollBar()->value() >= verticalScrollBar()->maximum() - 1;
}

void OutputView::keyPressEvent(QKeyEvent *event)
{
    QPlainTextEdit::keyPressEvent(event);
    followIfAtEnd();
}

void OutputView::mouseMoveEvent(QMouseEvent *event)
{
    viewport()->setCursor(anchorAt(event->pos()).isEmpty() ? Qt::IBeamCursor
                                                           : Qt::PointingHandCursor);
    QPlainTextEdit::mouseMoveEvent(event);
    if (event->buttons() != Qt::NoButton) // selects, which may scroll
        followIfAtEnd();
}

void OutputView::mouseReleaseEvent(QMouseEvent *event)
{
    QPlainTextEdit::mouseReleaseEvent(event);
    const QString place = anchorAt(event->pos());
    if (event->button() == Qt::LeftButton && !place.isEmpty() && !textCursor().hasSelection())
        Q_EMIT placeClicked(place.section(' ', 1), place.section(' ', 0, 0).toInt());
}

} // namespace Workbench
