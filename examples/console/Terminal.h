#pragma once

#include <string>

/// The terminal that the program runs in, if it runs in one: all that differs between systems, in
/// one source each. Text is UTF-8.
namespace Kelm::Terminal {

enum class Stream
{
    Output,
    Error
};

/// What was closed when the program began is opened on nothing, so that a file that is opened later
/// does not take the place of a stream, and get what is written to that.
void replaceClosedStreams();

/// Whether \p stream is a terminal.
bool isTerminal(Stream stream);

/// Whether standard error is a terminal on which a line can be drawn again and again.
bool canDraw();

/// How many characters go into a line of \p stream, 80 where it is no terminal.
int width(Stream stream);

/// Puts \p line in place of the line that the cursor is in, on standard error. "" empties it.
void drawLine(const std::string &line);

/// Whether keys come as they are pressed and unseen, rather than in lines and on the screen. Only
/// in the foreground, and if standard input is a terminal.
void listenForKeys(bool on);

/// Whether Esc was pressed since the last call. Keys that send more than that, as arrows do, and
/// all others are dropped. Always false while nobody listens for keys.
bool wasEscapePressed();

/// From now on the program ends in order when somebody else ends it, and is stopped so: the
/// terminal gets back how it was. Ctrl-C ends it with the status of endCancelled(), and a closed
/// pipe ends it quietly.
void handleSignals();

/// While on, the first Ctrl-C is only noted, for wasInterrupted(), and the second one counts.
void deferInterrupt(bool on);
bool wasInterrupted();

/// Ends the program at once, as after Ctrl-C.
[[noreturn]] void endCancelled();

} // namespace Kelm::Terminal
