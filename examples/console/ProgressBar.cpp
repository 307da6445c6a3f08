#include "examples/console/ProgressBar.h"

#include "examples/console/Terminal.h"

#include <algorithm>
#include <climits>

namespace Kelm {

static const int barWidth = 20;
static const int shortBarWidth = 10;
static const QString gap = "  ";

static QString bar(int filled, int width)
{
    return QString("[") + QString(filled, QChar(0x2588)) + QString(width - filled, QChar(0x2591)) +
           ']';
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

/// Returns a text such as "0:03 left", "" when that is unknown. A part of a second counts as one.
static QString remaining(const ProgressBar::State &state)
{
    if (state.remaining < 0 || state.maxSteps <= 0)
        return {};
    const qint64 seconds = (qint64(state.remaining) + 999) / 1000;
    return gap + clock(static_cast<int>(std::min<qint64>(seconds * 1000, INT_MAX))) + " left";
}

/// Returns a text such as "12 files/s" or "1.5/min", "" when that is unknown.
static QString rate(const ProgressBar::State &state)
{
    if (!(state.rate > 0.0))
        return {};
    const bool isSlow = state.rate < 0.95;
    double number = isSlow ? state.rate * 60.0 : state.rate;
    QString scale;
    for (const char *const next : {"k", "M", "G"}) {
        if (number < 9999.5)
            break;
        number /= 1000.0;
        scale = next;
    }
    const QString digits = QString::number(number, 'f', number < 9.95 ? 1 : 0);
    const QString unit = state.unit.isEmpty() ? QString() : ' ' + state.unit;
    return gap + digits + scale + unit + (isSlow ? "/min" : "/s");
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
    const QString times = clock(state.elapsed) + remaining(state);
    const QString hint = state.cancelable ? gap + "Esc cancels" : QString();
    const auto figures = [&](int ofBar, const QString &speed) {
        if (state.maxSteps <= 0)
            return times + speed + hint;
        // In integers: with doubles 29 of 100 steps would be 28 %.
        const qint64 count = std::clamp(state.count, 0, state.maxSteps);
        const auto share = [&](int of) { return static_cast<int>(count * of / state.maxSteps); };
        const QString beside = ofBar > 0 ? bar(share(ofBar), ofBar) + gap : QString();
        return beside + QString("%1 %").arg(share(100), 3) + gap + times + speed + hint;
    };
    const auto fits = [&](const QString &chosen) {
        return state.label.size() + gap.size() + chosen.size() <= width;
    };

    const QString speed = rate(state);
    QString chosen = figures(barWidth, speed);
    if (!speed.isEmpty() && !fits(chosen))
        chosen = figures(shortBarWidth, speed);
    if (!fits(chosen))
        chosen = figures(barWidth, QString());
    if (chosen.size() > width)
        chosen = figures(0, QString());

    const int room = width - chosen.size() - gap.size();
    QString label = state.label;
    if (label.size() > room)
        label = room > 3 ? label.left(room - 3) + "..." : QString();
    const QString line = label.isEmpty() ? chosen : label + gap + chosen;
    return line.left(std::max(width, 0));
}

} // namespace Kelm
