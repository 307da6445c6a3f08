#pragma once

#include "utils/script/ScriptConsole.h"

namespace Utils {

/// The standard streams of scripts: those of the process, or the sink and the source of the host.
///
/// While there is a sink, sys.stdout and sys.stderr are objects that pass it what is written, and
/// so are sys.__stdout__ and sys.__stderr__; likewise sys.stdin for a source. An object of a script
/// in their place stays there. Without a sink, and in a copy of the process that a script has made,
/// such an object writes to the stream that it has replaced.
///
/// Call these functions on the main thread.
namespace PythonStreams {

void setSink(const ScriptOutputSink &sink);
void setSource(const ScriptInputSource &source);

/// Puts the streams into the interpreter, or removes them, as there is a sink and a source. Call it
/// before each run, with Python's lock.
void attach();

/// Passes on what threads have written since, and what remains of a character whose bytes are not
/// complete. Call it when the outermost run has ended, and when the interpreter has.
void finish();

} // namespace PythonStreams

} // namespace Utils
