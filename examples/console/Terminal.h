#pragma once

#include <string>

/// The terminal of the program, if there is one. Everything that differs between systems is here,
/// with one source for each system. Text is UTF-8.
namespace Kelm::Terminal {

enum class Stream
{
    Input,
    Output,
    Error
};

/// Opens the null device for each standard stream that was closed when the program began. Otherwise
/// the next file that is opened would become that stream, and receive its output.
///
/// On Windows it lets "\n" be written as it is, and not as "\r\n", and errors at once.
void replaceClosedStreams();

/// Whether \p stream is a terminal.
bool isTerminal(Stream stream);

/// Whether the user can edit a line: standard input and output are a terminal that can draw.
bool canEdit();

/// Whether standard error is a terminal on which a line can be redrawn.
bool canDraw();

/// The text for the error number (errno) of a failed write, and whether it says that nobody reads
/// standard output any longer.
std::string errorText(int error);
bool isReaderGone(int error);

/// Returns the number of characters in a line of \p stream; 80 if it is no terminal.
int width(Stream stream);

/// Replaces the line of the cursor on standard error by \p line. "" clears it.
void drawLine(const std::string &line);

/// Sets whether keys are read one by one and not shown, or in lines and shown. Does nothing in the
/// background, or if standard input is no terminal.
void listenForKeys(bool on);

/// Says that another one, an editor of lines, sets the terminal until it is called with false. A
/// signal that ends or stops the program meanwhile restores what the terminal was before.
void lendTerminal(bool on);

/// Whether Esc was pressed since the last call. Other keys are dropped, also those that send Esc
/// and more characters, such as the arrow keys. False unless listenForKeys() is on.
bool wasEscapePressed();

/// Installs signal handlers, which restore the terminal before a signal ends or stops the program.
/// Ctrl-C ends it with the exit code of endCancelled(), and a closed pipe ends it without a
/// message.
///
/// On Windows it also lets the console show UTF-8, until the program ends in any way but a crash.
void handleSignals();

/// While on, the first Ctrl-C does nothing but make wasInterrupted() true; the second one ends the
/// program.
void deferInterrupt(bool on);
bool wasInterrupted();

/// While \p interrupt is not null, the first Ctrl-C calls it instead of ending the program, unless
/// deferInterrupt() is on: in a signal handler, or on Windows on another thread. When it returns
/// false, the program ends.
void setInterruptFunction(bool (*interrupt)());

enum class Typed
{
    Line,
    Interrupted, ///< by Ctrl-C: what was typed is dropped
    End,         ///< of the input, as after Ctrl-D
};

/// Writes \p prompt and reads a line, without its end, as the terminal supplies it. Ctrl-C ends it
/// at any moment after the first character of the prompt, and then calls no interrupt function.
/// Standard input must have no buffer.
Typed readLine(const std::string &prompt, std::string &line);

/// Ends the program at once, as after Ctrl-C.
[[noreturn]] void endCancelled();

} // namespace Kelm::Terminal
