#include "utils/script/PythonConsole_p.h"

#include "utils/platform/Platform.h"
#include "utils/script/PythonDepth_p.h"
#include "utils/script/PythonError_p.h"
#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/PythonInterrupt_p.h"
#include "utils/script/PythonReference_p.h"

#include <QList>

#include <Python.h>

#include <algorithm>
#include <utility>

namespace Utils {

static const char fileName[] = "<stdin>";

namespace {

/// A text of Python and what the compiler says about it.
struct Compiled
{
    PythonReference code; // null after an error
    PythonReference type;
    PythonReference value;
    PythonReference traceback;

    /// Whether the text has an error that more lines might mend.
    bool isSyntaxError() const
    {
        return PyErr_GivenExceptionMatches(type.get(), PyExc_SyntaxError) != 0;
    }

    void raise() { PyErr_Restore(type.release(), value.release(), traceback.release()); }
};

} // namespace

static Compiled compile(const QByteArray &source, ScriptUnit unit, int features)
{
    // A block ends with an empty line, and not with the text.
    const int dedentFlag = unit == ScriptUnit::Statement ? PyCF_DONT_IMPLY_DEDENT : 0;
    PyCompilerFlags flags = {features | dedentFlag | PyCF_SOURCE_IS_UTF8};
    Compiled compiled;
    if (source.contains('\0'))
        PyErr_SetString(PyExc_TypeError, "the code has a zero in it");
    else if (isTooDeepForPython(source, Platform::freeStack()))
        setDepthError();
    else
        compiled.code.reset(Py_CompileStringFlags(
            source.constData(), fileName,
            unit == ScriptUnit::Statement ? Py_single_input : Py_file_input, &flags));
    if (!compiled.code) {
        PyObject *fetched[3] = {};
        PyErr_Fetch(&fetched[0], &fetched[1], &fetched[2]);
        compiled.type.reset(fetched[0]);
        compiled.value.reset(fetched[1]);
        compiled.traceback.reset(fetched[2]);
    }
    return compiled;
}

static bool isSameError(const Compiled &one, const Compiled &other)
{
    if (one.type != other.type)
        return false;
    const PythonReference oneText(PyObject_Repr(one.value.get()));
    const PythonReference otherText(PyObject_Repr(other.value.get()));
    const bool isSame = oneText && otherText &&
                        PyObject_RichCompareBool(oneText.get(), otherText.get(), Py_EQ) == 1;
    PyErr_Clear();
    return isSame;
}

static bool hasNoCode(const QByteArray &source)
{
    const QList<QByteArray> lines = source.split('\n');
    return std::all_of(lines.begin(), lines.end(), [](const QByteArray &line) {
        const QByteArray text = line.trimmed();
        return text.isEmpty() || text.startsWith('#');
    });
}

/// Compiles a statement as the module codeop does: it is incomplete when its error changes as lines
/// are added. Returns nothing when it is.
static bool compileStatement(const QByteArray &source, int features, Compiled &result)
{
    result = compile(source, ScriptUnit::Statement, features);
    if (result.code || !result.isSyntaxError())
        return true;
    Compiled longer = compile(source + "\n", ScriptUnit::Statement, features);
    const Compiled longest = compile(source + "\n\n", ScriptUnit::Statement, features);
    const bool isComplete = !longer.code && isSameError(longer, longest);
    result = std::move(longer);
    return isComplete;
}

/// Reads the status of the SystemExit that is set, as Python does when it ends the process for it,
/// and clears it.
static int takeExitStatus()
{
    PyObject *fetched[3] = {};
    PyErr_Fetch(&fetched[0], &fetched[1], &fetched[2]);
    PyErr_NormalizeException(&fetched[0], &fetched[1], &fetched[2]);
    const PythonReference type(fetched[0]);
    const PythonReference value(fetched[1]);
    const PythonReference traceback(fetched[2]);
    if (Py_FlushLine() != 0)
        PyErr_Clear();

    const PythonReference code(PyObject_GetAttrString(value.get(), "code"));
    PyErr_Clear();
    PyObject *const printed = code ? code.get() : value.get();
    if (printed == Py_None)
        return 0;
    if (PyInt_Check(printed))
        return static_cast<int>(PyInt_AsLong(printed));
    PyObject *const stream = PySys_GetObject(const_cast<char *>("stderr"));
    if (stream && PyFile_WriteObject(printed, stream, Py_PRINT_RAW) != 0)
        PyErr_Clear();
    PySys_WriteStderr("\n");
    return 1;
}

/// Reports the error that is set, and stores it in \p description.
static ScriptReply failed(ScriptError &description)
{
    PythonInterrupt::endScript();
    if (PyErr_ExceptionMatches(PyExc_SystemExit)) {
        PythonError error = PythonError::fetch();
        error.normalize();
        description = error.describe();
        std::move(error).restore();
        return {ScriptReply::Exit, takeExitStatus(), {}};
    }
    const PythonExitGuard guard; // the hook of a script prints the error
    description = printPythonError();
    return {ScriptReply::Failed, 1, {}};
}

ScriptReply interpretPython(const QString &code, ScriptUnit unit, int &features, ScriptError &error)
{
    PyErr_Clear();
    const QByteArray source = code.toUtf8();
    if (hasNoCode(source))
        return {ScriptReply::Done, 0, {}};

    Compiled compiled;
    if (unit == ScriptUnit::File)
        compiled = compile(source, unit, features);
    else if (!compileStatement(source, features, compiled))
        return {ScriptReply::Incomplete, 0, {}};
    if (!compiled.code) {
        compiled.raise();
        return failed(error);
    }

    auto *const run = reinterpret_cast<PyCodeObject *>(compiled.code.get());
    features |= run->co_flags & PyCF_MASK;
    PyObject *const module = PyImport_AddModule("__main__");
    PyObject *const scope = module ? PyModule_GetDict(module) : nullptr;
    Py_XINCREF(scope); // a script may remove the module
    const PythonReference keeper(scope);
    const PythonReference result(scope ? PyEval_EvalCode(run, scope, scope) : nullptr);
    if (!result)
        return failed(error);
    PythonInterrupt::endScript();
    if (Py_FlushLine() != 0)
        PyErr_Clear();
    return {ScriptReply::Done, 0, {}};
}

} // namespace Utils
