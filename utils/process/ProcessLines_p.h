#pragma once

#include "utils/process/Process.h"

#include <QString>

#include <deque>

namespace Utils {

/// The lines of the output of a child process, which arrives in pieces, until they are taken.
class ProcessLines
{
public:
    struct Line
    {
        Data::String text; // without its end
        Process::Channel channel;
    };

    /// A line of more than \p limit code units is divided.
    explicit ProcessLines(int limit = 1000 * 1000 * 1000);

    /// Clears everything: lines and incomplete lines.
    void clear();

    /// Appends a piece of \p channel. A line ends with "\n", "\r\n" or "\r".
    void append(const QString &piece, Process::Channel channel);

    /// Ends the output: the incomplete lines are complete.
    void end();

    bool isEmpty() const;

    /// Returns the first line and removes it. Only when there is one.
    Line take();

private:
    /// What has arrived of the last line of a channel.
    struct Rest
    {
        QString text;
        bool isAfterReturn = false; // a "\n" belongs to the end of the line before
    };

    const int m_limit;
    Rest m_rests[2];
    std::deque<Line> m_lines;
};

} // namespace Utils
