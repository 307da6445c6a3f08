#include "utils/process/ProcessLines_p.h"

#include <algorithm>
#include <utility>

namespace Utils {

static const QLatin1Char lineFeed('\n');
static const QLatin1Char carriageReturn('\r');

static bool isLineEnd(QChar character)
{
    return character == lineFeed || character == carriageReturn;
}

ProcessLines::ProcessLines(int limit) : m_limit(limit) {}

void ProcessLines::clear()
{
    m_lines.clear();
    for (Rest &rest : m_rests)
        rest = Rest();
}

void ProcessLines::append(const QString &piece, Process::Channel channel)
{
    Rest &rest = m_rests[channel];
    for (const QChar *at = piece.constBegin(); at != piece.constEnd();) {
        const bool isAfterReturn = std::exchange(rest.isAfterReturn, false);
        if (isLineEnd(*at)) {
            if (!isAfterReturn || *at != lineFeed)
                m_lines.push_back({std::exchange(rest.text, QString()), channel});
            rest.isAfterReturn = *at == carriageReturn;
            ++at;
            continue;
        }
        if (rest.text.size() == m_limit)
            m_lines.push_back({std::exchange(rest.text, QString()), channel});
        const auto room = static_cast<std::ptrdiff_t>(m_limit) - rest.text.size();
        const QChar *const end = at + std::min(room, piece.constEnd() - at);
        const QChar *const found = std::find_if(at, end, isLineEnd);
        rest.text.append(at, static_cast<int>(found - at));
        at = found;
    }
}

void ProcessLines::end()
{
    for (const Process::Channel channel : {Process::StandardOutput, Process::StandardError}) {
        Rest &rest = m_rests[channel];
        if (!rest.text.isEmpty())
            m_lines.push_back({std::move(rest.text), channel});
        rest = Rest();
    }
}

bool ProcessLines::isEmpty() const { return m_lines.empty(); }

ProcessLines::Line ProcessLines::take()
{
    Line line = std::move(m_lines.front());
    m_lines.pop_front();
    return line;
}

} // namespace Utils
