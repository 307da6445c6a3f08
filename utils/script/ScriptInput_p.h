#pragma once

#include "utils/script/ScriptConsole.h"

#include <QByteArray>

#include <memory>
#include <thread>

namespace Utils {

/// Reads what scripts read from the source of the host.
class ScriptInput
{
public:
    /// What a read has come to.
    enum class Outcome
    {
        Read,
        End,         ///< of the input
        OtherThread, ///< only the thread that has set the source reads
        InUse,       ///< the source itself runs a script that reads
        Failed,      ///< the source has thrown an exception
    };

    /// Replaces the source; an empty function removes it. It may be called from the source. What
    /// has been supplied and not been read is dropped.
    void setSource(const ScriptInputSource &source);

    /// Whether there is a source that this process may call: not in a copy of the process.
    bool hasSource() const;

    /// Asks the source for more of the input.
    Outcome fetch();

    /// The available input, which has been fetched and not been taken, as UTF-8.
    int size() const { return m_fetched.size() - m_start; }

    /// Returns the first position of \p byte in the available input, from \p start on; else -1.
    int indexOf(char byte, int start) const;

    /// Moves the first \p size bytes of the available input, which has so many, to \p target.
    void take(char *target, int size);

private:
    void append(const QByteArray &bytes);

    std::shared_ptr<const ScriptInputSource> m_source;
    std::thread::id m_thread; // both of the source
    qint64 m_process = 0;
    QByteArray m_fetched;
    int m_start = 0; // of the available input in it
    bool m_isFetching = false;
};

} // namespace Utils
