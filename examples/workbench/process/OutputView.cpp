#include "examples/workbench/process/OutputView.h"

#include "examples/workbench/Texts.h"

#include <QFontDatabase>
#include <QScrollBar>
#include <QTextCursor>

namespace Workbench {

static const int interval = 25;       // milliseconds between two parts
static const size_t mostAtOnce = 400; // lines of a part
static const int longestLine = 2000;  // characters that are shown

OutputView::OutputView(QWidget *parent) : QPlainTextEdit(parent)
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
    connect(&m_timer, &QTimer::timeout, this, &OutputView::showSome);
}

void OutputView::setLimit(int numLines)
{
    m_limit = size_t(numLines);
    setMaximumBlockCount(numLines);
}

void OutputView::append(const QString &line, Kind kind)
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

QTextCharFormat OutputView::formatOf(Kind kind) const
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

void OutputView::showSome()
{
    QScrollBar *const bar = verticalScrollBar();
    const bool isAtEnd = bar->value() == bar->maximum();
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
    if (isAtEnd)
        bar->setValue(bar->maximum());
    if (m_lines.empty())
        m_timer.stop();
}

void OutputView::flush()
{
    while (!m_lines.empty())
        showSome();
}

void OutputView::clearAll()
{
    m_lines.clear();
    m_timer.stop();
    m_numLeftOut = 0;
    m_numToTell = 0;
    clear();
}

} // namespace Workbench
