#include "examples/console/ProgressBar.h"

#include "examples/console/Terminal.h"

#include <algorithm>

namespace Kelm {

static const int barWidth = 20;
static const QString gap = "  ";

static QString bar(int filled)
{
    return QString("[") + QString(filled, QChar(0x2588)) +
           QString(barWidth - filled, QChar(0x2591)) + ']';
}

/// Returns a text such as "0:03" or "1:02:03".
static QString clock(int milliseconds)
{
    const int seconds = milliseconds / 1000;
    const auto twoDigits = [](int number) { return QString("%1").arg(number, 2, 10, QChar('0')); };
    const QString rest = ':' + twoDigits(seconds % 60);
    const int minutes = seconds / 60;
    if (minutes < 60)
        return QString::number(minutes) + rest;
    return QString::number(minutes / 60) + ':' + twoDigits(minutes % 60) + rest;
}

ProgressBar::ProgressBar() : m_canDraw(Terminal::canDraw()) {}
ProgressBar::~ProgressBar() { erase(); }

void ProgressBar::draw(const State &state)
{
    if (!m_canDraw)
        return;
    // Some terminals begin a new line after the last column.
    const int width = Terminal::width(Terminal::Stream::Error) - 1;
    Terminal::drawLine(text(state, width).toStdString());
    Terminal::listenForKeys(state.cancelable);
    m_isDrawn = true;
}

void ProgressBar::erase()
{
    if (!m_isDrawn)
        return;
    Terminal::listenForKeys(false);
    Terminal::drawLine({});
    m_isDrawn = false;
}

QString ProgressBar::text(const State &state, int width)
{
    QString figures = clock(state.elapsed);
    if (state.cancelable)
        figures += gap + "Esc cancels";
    if (state.maxSteps > 0) {
        // In integers: with doubles 29 of 100 steps would be 28 %.
        const qint64 count = std::clamp(state.count, 0, state.maxSteps);
        const auto share = [&](int of) { return static_cast<int>(count * of / state.maxSteps); };
        figures = QString("%1 %").arg(share(100), 3) + gap + figures;
        const QString withBar = bar(share(barWidth)) + gap + figures;
        if (withBar.size() <= width)
            figures = withBar;
    }

    const int room = width - figures.size() - gap.size();
    QString label = state.label;
    if (label.size() > room)
        label = room > 3 ? label.left(room - 3) + "..." : QString();
    const QString line = label.isEmpty() ? figures : label + gap + figures;
    return line.left(std::max(width, 0));
}

} // namespace Kelm
