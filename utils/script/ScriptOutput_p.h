#pragma once

#include "utils/script/ScriptConsole.h"

#include <QTextDecoder>

#include <array>
#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace Utils {

/// Passes what scripts write to the sink of the host, in the order in which it was written.
///
/// The sink is called on the thread that has set it. What other threads write waits until that
/// thread delivers it, and so does what is written while the sink runs. A text that the sink fails
/// to take, or that is left when the sink is removed, is written to the stream of the process.
class ScriptOutput
{
public:
    /// \p askForDelivery is called on the thread that has written a text which waits.
    explicit ScriptOutput(void (*askForDelivery)());

    /// Replaces the sink; an empty function removes it. It may be called from the sink.
    void setSink(const ScriptOutputSink &sink);

    /// Whether there is a sink that this process may call: not in a copy of the process.
    bool hasSink() const;

    /// Writes UTF-8, of which a character may be split between calls. Throws std::bad_alloc.
    void write(const char *bytes, std::size_t size, ScriptChannel channel);
    void write(const QString &text, ScriptChannel channel);

    /// Passes on what waits. Does nothing on another thread than the one of the sink.
    void deliver() noexcept;

    /// Also passes on incomplete characters, each as U+FFFD, unless memory is lacking.
    void finish() noexcept;

private:
    using Sink = std::shared_ptr<const ScriptOutputSink>;
    struct Text
    {
        QString text;
        ScriptChannel channel;
    };

    QTextDecoder *decoder(ScriptChannel channel);
    void add(const QString &text, ScriptChannel channel);
    void deliver(std::unique_lock<std::mutex> &lock);
    void deliver(const Text &text, std::unique_lock<std::mutex> &lock);
    static void pass(const Sink &sink, const Text &text);

    void (*const m_askForDelivery)();
    std::atomic<bool> m_hasSink = false;
    std::atomic<std::thread::id> m_thread = {}; // both of the sink
    std::atomic<qint64> m_process = 0;

    std::mutex m_mutex; // for the rest
    Sink m_sink;
    std::array<std::unique_ptr<QTextDecoder>, 2> m_decoders; // by channel
    std::deque<Text> m_waiting;
    bool m_isDelivering = false;
};

} // namespace Utils
