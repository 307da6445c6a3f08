#include "utils/script/ScriptOutput_p.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <algorithm>
#include <cstdio>
#include <new>

namespace Utils {

/// How much is decoded at a time, and up to which size texts that wait are joined.
static const std::size_t largestPart = 16 * 1024 * 1024;
static const int largestJoined = 64 * 1024;

/// Writes to the stream of the process.
static void writeToStream(const QString &text, ScriptChannel channel)
{
    try {
        const QByteArray bytes = text.toUtf8();
        std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()),
                    channel == ScriptChannel::Output ? stdout : stderr);
    } catch (const std::bad_alloc &) { // there is nowhere to report it
    }
}

ScriptOutput::ScriptOutput(void (*askForDelivery)()) : m_askForDelivery(askForDelivery) {}

void ScriptOutput::setSink(const ScriptOutputSink &sink)
{
    finish(); // to the sink so far
    Sink replaced = sink ? std::make_shared<const ScriptOutputSink>(sink) : nullptr;
    const std::unique_lock lock(m_mutex);
    m_sink.swap(replaced); // destroyed after the lock is released, as that may run code of the host
    m_thread = std::this_thread::get_id();
    m_process = QCoreApplication::applicationPid();
    m_hasSink = m_sink != nullptr;
}

bool ScriptOutput::hasSink() const
{
    return m_hasSink && m_process == QCoreApplication::applicationPid();
}

void ScriptOutput::write(const char *bytes, std::size_t size, ScriptChannel channel)
{
    while (size > 0) {
        const std::size_t part = std::min(size, largestPart);
        std::unique_lock lock(m_mutex);
        const QString text = decoder(channel)->toUnicode(bytes, static_cast<int>(part));
        lock.unlock();
        add(text, channel);
        bytes += part;
        size -= part;
    }
}

void ScriptOutput::write(const QString &text, ScriptChannel channel)
{
    std::unique_lock lock(m_mutex);
    std::unique_ptr<QTextDecoder> &decoder = m_decoders[static_cast<std::size_t>(channel)];
    const bool isIncomplete = decoder && decoder->needsMoreData();
    if (isIncomplete)
        decoder.reset();
    lock.unlock();
    add(isIncomplete ? QChar(QChar::ReplacementCharacter) + text : text, channel);
}

void ScriptOutput::deliver() noexcept
{
    if (std::this_thread::get_id() != m_thread)
        return;
    std::unique_lock lock(m_mutex);
    if (!m_isDelivering)
        deliver(lock);
}

void ScriptOutput::finish() noexcept
{
    if (std::this_thread::get_id() != m_thread)
        return;
    for (const ScriptChannel channel : {ScriptChannel::Output, ScriptChannel::Error}) {
        try {
            write(QString(), channel);
        } catch (const std::bad_alloc &) { // the character is lost
        }
    }
    deliver();
}

QTextDecoder *ScriptOutput::decoder(ScriptChannel channel)
{
    std::unique_ptr<QTextDecoder> &decoder = m_decoders[static_cast<std::size_t>(channel)];
    if (!decoder) {
        // A byte order mark is a character that was written.
        const QTextCodec *const utf8 = QTextCodec::codecForName("UTF-8");
        decoder.reset(utf8->makeDecoder(QTextCodec::IgnoreHeader));
    }
    return decoder.get();
}

void ScriptOutput::add(const QString &text, ScriptChannel channel)
{
    if (text.isEmpty())
        return;
    const bool isOwnThread = std::this_thread::get_id() == m_thread;
    std::unique_lock lock(m_mutex);
    if (isOwnThread && !m_isDelivering) {
        deliver(lock);
        deliver({text, channel}, lock);
        deliver(lock); // what was written meanwhile
        return;
    }
    if (!m_waiting.empty() && m_waiting.back().channel == channel &&
        m_waiting.back().text.size() < largestJoined)
        m_waiting.back().text += text;
    else
        m_waiting.push_back({text, channel});
    lock.unlock();
    if (!isOwnThread)
        m_askForDelivery();
}

void ScriptOutput::deliver(std::unique_lock<std::mutex> &lock)
{
    while (!m_waiting.empty()) {
        const Text text = std::move(m_waiting.front());
        m_waiting.pop_front();
        deliver(text, lock);
    }
}

void ScriptOutput::deliver(const Text &text, std::unique_lock<std::mutex> &lock)
{
    m_isDelivering = true;
    Sink sink = m_sink; // which may be replaced while it runs
    lock.unlock();
    pass(sink, text);
    sink.reset();
    lock.lock();
    m_isDelivering = false;
}

void ScriptOutput::pass(const Sink &sink, const Text &text)
{
    // An exception of the host must not reach the interpreter, nor may the text be lost.
    try {
        if (sink) {
            (*sink)(text.text, text.channel);
            return;
        }
    } catch (...) {
    }
    writeToStream(text.text, text.channel);
}

} // namespace Utils
