#include "utils/script/ScriptInput_p.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace Utils {

void ScriptInput::setSource(const ScriptInputSource &source)
{
    const auto replaced = std::exchange(
        m_source, source ? std::make_shared<const ScriptInputSource>(source) : nullptr);
    m_thread = std::this_thread::get_id();
    m_process = QCoreApplication::applicationPid();
    m_fetched.clear();
    m_start = 0;
}

bool ScriptInput::hasSource() const
{
    return m_source && m_process == QCoreApplication::applicationPid();
}

ScriptInput::Outcome ScriptInput::fetch()
{
    if (std::this_thread::get_id() != m_thread)
        return Outcome::OtherThread;
    if (m_isFetching)
        return Outcome::InUse;

    const auto source = m_source; // which may be replaced while it runs
    if (!source)
        return Outcome::End;
    m_isFetching = true;
    Data::String text;
    Outcome outcome = Outcome::Failed;
    try {
        outcome = (*source)(text) ? Outcome::Read : Outcome::End;
        if (outcome == Outcome::Read && source == m_source)
            append(text.toUtf8());
    } catch (...) { // no exception of the host may reach the interpreter
        outcome = Outcome::Failed;
    }
    m_isFetching = false;
    return outcome;
}

void ScriptInput::append(const QByteArray &bytes)
{
    // Only when most of it was taken: a script may fetch many parts before it takes any.
    if (m_start > m_fetched.size() / 2) {
        m_fetched.remove(0, m_start);
        m_start = 0;
    }
    m_fetched.append(bytes);
}

int ScriptInput::indexOf(char byte, int start) const
{
    const int found = m_fetched.indexOf(byte, m_start + start);
    return found < 0 ? -1 : found - m_start;
}

void ScriptInput::take(char *target, int size)
{
    std::copy_n(m_fetched.constData() + m_start, size, target);
    m_start += size;
}

} // namespace Utils
