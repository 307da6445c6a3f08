#include "utils/script/PythonStreams_p.h"

#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonStreamTypes_p.h"
#include "utils/script/ScriptInput_p.h"
#include "utils/script/ScriptOutput_p.h"

#include <Python.h>

namespace Utils {

/// What the streams of all interpreters use.
struct StreamState
{
    ScriptOutput output{askForDelivery};
    ScriptInput input;
    bool isUsed = false; // since the first sink or source

    static void askForDelivery();
};

static StreamState &state()
{
    static auto *const state = new StreamState; // never destroyed, as streams use it late
    return *state;
}

void StreamState::askForDelivery()
{
    const auto deliver = [](void *) {
        state().output.deliver();
        return 0;
    };
    // When too many calls are pending, the text is passed on with the next one.
    Py_AddPendingCall(deliver, nullptr);
}

/// Puts the stream that \p make makes in the place of sys.\p name and sys.\p savedName, or with \p
/// isOn false the original in place of that stream. An object of a script stays.
template <typename Make>
static void replace(const char *name, const char *savedName, bool isOn, const Make &make)
{
    char *const saved = const_cast<char *>(savedName);
    PyObject *const found = PySys_GetObject(saved);
    if (!found || found == Py_None)
        return;
    PyObject *const foundOriginal = originalOf(found);
    Py_INCREF(found);
    const PythonReference keeper(found);
    PyObject *const original = foundOriginal ? foundOriginal : found;

    PythonReference replacement;
    if (!isOn || foundOriginal) {
        replacement.reset(isOn ? found : original);
        Py_INCREF(replacement.get());
    } else {
        replacement.reset(make(original));
    }
    if (!replacement) {
        PyErr_Clear();
        return;
    }
    PyObject *const current = PySys_GetObject(const_cast<char *>(name));
    const bool isOurs = current && (current == original || originalOf(current) == original);
    PySys_SetObject(saved, replacement.get());
    if (isOurs)
        PySys_SetObject(const_cast<char *>(name), replacement.get());
}

void PythonStreams::setSink(const ScriptOutputSink &sink)
{
    state().output.setSink(sink);
    state().isUsed = true;
    if (PythonInterpreter::isCallable())
        attach();
}

void PythonStreams::setSource(const ScriptInputSource &source)
{
    state().input.setSource(source);
    state().isUsed = true;
    if (PythonInterpreter::isCallable())
        attach();
}

void PythonStreams::attach()
{
    if (!state().isUsed)
        return;
    const auto makeOutput = [](ScriptChannel channel) {
        return [channel](PyObject *original) {
            return makeOutputStream(state().output, channel, original);
        };
    };
    const bool hasSink = state().output.hasSink();
    replace("stdout", "__stdout__", hasSink, makeOutput(ScriptChannel::Output));
    replace("stderr", "__stderr__", hasSink, makeOutput(ScriptChannel::Error));
    replace("stdin", "__stdin__", state().input.hasSource(),
            [](PyObject *original) { return makeInputStream(state().input, original); });
}

void PythonStreams::finish()
{
    if (state().isUsed)
        state().output.finish();
}

} // namespace Utils
