#include "examples/workbench/process/LineView.h"

#include "examples/workbench/Texts.h"

#include <QFontDatabase>
#include <QScrollBar>
#include <QTextCursor>

namespace Workbench {

static const int interval = 25;       // milliseconds between two parts
static const size_t mostAtOnce = 400; // lines of a part
static const int longestLine = 2000;  // characters that are shown

LineView::LineView(QWidget *parent) : QPlainTextEdit(parent)
{
    setObjectName("output");
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setLineWrapMode(NoWrap);
    setUndoRedoEnabled(false);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setLimit(int(m_limit));
    bindText(this, "accessibleName", ".ctx.output");
    m_timer.setInterval(interval);
    connect(&m_timer, &QTimer::timeout, this, &LineView::showSome);

    // The user's choice, and not the position: that also moves when lines are removed.
    QScrollBar *const bar = verticalScrollBar();
    connect(bar, &QScrollBar::actionTriggered, this,
            [this, bar] { m_follows = bar->sliderPosition() == bar->maximum(); });
    connect(bar, &QScrollBar::rangeChanged, this, [this, bar] {
        if (m_follows)
            bar->setValue(bar->maximum());
    });
}

void LineView::keyPressEvent(QKeyEvent *event)
{
    QPlainTextEdit::keyPressEvent(event);
    // A cursor in the last line may be one line above the end of the bar.
    m_follows = verticalScrollBar()->value() >= verticalScrollBar()->maximum() - 1;
}

void LineView::setLimit(int numLines)
{
    m_limit = size_t(numLines);
    setMaximumBlockCount(numLines);
}

void LineView::append(const QString &line, Kind kind)
{
    if (m_lines.size() >= m_limit) {
        m_lines.pop_front();
        ++m_numLeftOut;
        ++m_numToTell;
    }
    m_lines.push_back({line.left(longestLine), kind});
    if (line.size() > longestLine)
        m_lines.back().text += QChar(0x2026);
    if (!m_timer.isActive())
        m_timer.start();
}

/// A colour that is read on \p palette: a dark or a light one, as its background needs it.
static QColor readable(const QPalette &palette, const QColor &onLight, const QColor &onDark)
{
    return palette.color(QPalette::Base).lightness() < 128 ? onDark : onLight;
}

QTextCharFormat LineView::formatOf(Kind kind) const
{
    QTextCharFormat format;
    if (kind == Kind::Error)
        format.setForeground(readable(palette(), "#b00020", "#ff8a80"));
    else if (kind == Kind::Command)
        format.setForeground(readable(palette(), "#00539c", "#8ab4f8"));
    else if (kind == Kind::Note)
        format.setFontItalic(true);
    return format;
}

void LineView::showSome()
{
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    const auto addLines = [&](const QString &lines, Kind kind) {
        if (!document()->isEmpty())
            cursor.insertBlock();
        cursor.insertText(lines, formatOf(kind));
    };
    if (m_numToTell > 0)
        addLines(textFor(".msg.linesLeftOut", int(qMin<qint64>(m_numToTell, INT_MAX))), Kind::Note);
    m_numToTell = 0;
    for (size_t i = 0; i < mostAtOnce && !m_lines.empty();) {
        const Kind kind = m_lines.front().kind;
        QStringList lines;
        for (; i < mostAtOnce && !m_lines.empty() && m_lines.front().kind == kind; ++i) {
            lines.append(m_lines.front().text);
            m_lines.pop_front();
        }
        addLines(lines.join('\n'), kind);
    }
    cursor.endEditBlock();
    if (m_follows)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    if (m_lines.empty())
        m_timer.stop();
}

void LineView::flush()
{
    while (!m_lines.empty())
        showSome();
}

void LineView::clearAll()
{
    m_lines.clear();
    m_timer.stop();
    m_numLeftOut = 0;
    m_numToTell = 0;
    m_follows = true;
    clear();
}

} // namespace Workbench
