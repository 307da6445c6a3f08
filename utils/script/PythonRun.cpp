#include "utils/script/PythonRun_p.h"

#include "utils/base/Placeholders_p.h"
#include "utils/platform/Platform.h"
#include "utils/script/PythonDepth_p.h"
#include "utils/script/PythonError_p.h"
#include "utils/script/PythonInterpreter_p.h"
#include "utils/script/PythonInterrupt_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/ScriptError_p.h"

#include <QScopeGuard>

#include <Python.h>

#include <marshal.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

namespace Utils {

struct FileClose
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// An open file, which is closed at its end, or null.
using OpenFile = std::unique_ptr<std::FILE, FileClose>;

/// Returns the \a size bytes of a \a file, and moves it back to its start.
static QByteArray contents(std::FILE *file, long size)
{
    QByteArray bytes(static_cast<int>(std::min(size, long{INT_MAX / 2})), Qt::Uninitialized);
    bytes.resize(static_cast<int>(std::fread(bytes.data(), 1, bytes.size(), file)));
    std::rewind(file);
    return bytes;
}

static bool isTooDeepForPython(const QByteArray &source)
{
    return isTooDeepForPython(source, Platform::freeStack());
}

/// False for a \a file without an end, as a pipe.
static bool isTooDeepForPython(std::FILE *file)
{
    const long size = std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : 0;
    std::rewind(file);
    if (size <= 0 || !mayBeTooDeepForPython(static_cast<std::size_t>(size), Platform::freeStack()))
        return false;
    try {
        return isTooDeepForPython(contents(file, size));
    } catch (const std::bad_alloc &) {
        return true; // Python would need the memory, too
    }
}

/// Returns the scope of scripts, in which statements and expressions run, too. Null, with an error
/// set, when the memory does not suffice.
static PythonReference mainScope()
{
    PyObject *const module = PyImport_AddModule("__main__");
    PyObject *const scope = module ? PyModule_GetDict(module) : nullptr;
    Py_XINCREF(scope); // a script may remove the module
    return PythonReference(scope);
}

void addToMainScope(const QStringList &modules)
{
    const PythonReference scope = mainScope();
    for (const QString &name : modules) {
        const QByteArray utf8 = name.toUtf8();
        PyObject *const module = PyImport_AddModule(utf8.constData());
        if (module && scope)
            PyDict_SetItemString(scope.get(), utf8.constData(), module);
    }
}

/// Reads the text of a syntax error from its \a value, which is a tuple of the message and (file,
/// line, column, text) when Python itself has raised it. Returns false when it has another shape.
static bool readSyntaxError(PyObject *value, Data::String &text)
{
    const char *message = nullptr;
    PyObject *details = nullptr;
    if (!PyArg_ParseTuple(value, "sO", &message, &details))
        return false;

    text = message;
    if (PyTuple_Check(details) && PyTuple_GET_SIZE(details) >= 3) {
        const long line = PyInt_AsLong(PyTuple_GET_ITEM(details, 1));
        const long column = PyInt_AsLong(PyTuple_GET_ITEM(details, 2)); // may be None
        text += fillPlaceholders(QStringLiteral("\nline: %1\ncolumn: %2"),
                                 {QString::number(line), QString::number(column)});
    }
    return true;
}

/// Stores the Python error in a \a run, and clears it. \a code is the text that was run. Does
/// nothing when no error is set; the text is "" when it has none.
static void fetchError(PythonRun &run, const QByteArray &code = QByteArray())
{
    PythonError error = PythonError::fetch();
    if (!error.type)
        return;
    const bool isSyntaxError =
        PyErr_GivenExceptionMatches(error.type.get(), PyExc_SyntaxError) != 0;

    // Not normalised, so the value of an error of Python's own may be no exception.
    PythonReference valueText(error.value ? PyObject_Str(error.value.get()) : nullptr);
    if (valueText)
        run.error = PyString_AsString(valueText.get());
    if (isSyntaxError && error.value)
        readSyntaxError(error.value.get(), run.error);
    PyErr_Clear(); // the value may have another shape, or its text fail
    if (error.value && !valueText) {
        Py_INCREF(Py_None); // tells that it was asked
        valueText.reset(Py_None);
    }

    const PyObject *const value = error.value.get();
    error.normalize();
    if (error.value.get() != value)
        valueText.reset(); // it was that of another object
    run.details = error.describe(code, valueText.get());
}

/// Fails with the exception when the code has ended with a \a result, but after its end was
/// requested: what it called may have stopped before it was done.
static void checkForInterrupt(PythonReference &result)
{
    if (result && PythonInterrupt::raiseIfRequested() != 0)
        result.reset();
}

/// Returns the outcome of a run of \a code whose \a result is null when it failed.
static PythonRun outcome(const PythonReference &result, const QByteArray &code)
{
    PythonRun run;
    run.succeeded = result != nullptr;
    PythonInterrupt::endScript();
    if (!result) {
        setMissingError();
        fetchError(run, code);
    }
    return run;
}

/// Whether Python runs a \a file as compiled code.
static bool isCompiled(std::FILE *file, const QByteArray &path)
{
    if (path.endsWith(".pyc"))
        return true;
    if (std::ftell(file) != 0) // a pipe, which cannot be read again
        return false;
    unsigned char start[2] = {};
    const bool isLong = std::fread(start, 1, sizeof(start), file) == sizeof(start);
    std::rewind(file);
    return isLong && (start[0] | start[1] << 8) == (PyImport_GetMagicNumber() & 0xffff);
}

/// Evaluates the compiled code in the file \a path. Returns null, with an error set, when it fails.
static PyObject *evaluateCompiled(const QByteArray &path, PyObject *scope)
{
    OpenFile file(Platform::openFile(path.toStdString(), "rb")); // it is no text
    if (!file)
        return PyErr_SetFromErrnoWithFilename(PyExc_IOError, path.constData());
    if (path.endsWith(".pyo"))
        Py_OptimizeFlag = 1; // as in Python, from now on
    const bool isOfThisPython = PyMarshal_ReadLongFromFile(file.get()) == PyImport_GetMagicNumber();
    PyMarshal_ReadLongFromFile(file.get()); // the time of its source
    const PythonReference code(isOfThisPython ? PyMarshal_ReadLastObjectFromFile(file.get())
                                              : nullptr);
    file.reset();
    if (!code || !PyCode_Check(code.get())) {
        PyErr_SetString(PyExc_RuntimeError, isOfThisPython ? "Bad code object in .pyc file"
                                                           : "Bad magic number in .pyc file");
        return nullptr;
    }
    return PyEval_EvalCode(reinterpret_cast<PyCodeObject *>(code.get()), scope, scope);
}

/// Runs a \a file and closes it. Prints its error and stores it in \a run. Returns 0, or -1 when it
/// has failed.
///
/// Not by PyRun_SimpleFileExFlags, which prints an interrupt before that can be described.
static int runFile(OpenFile file, const QByteArray &path, PythonRun &run)
{
    const char name[] = "__file__";
    const PythonReference scope = mainScope();
    const bool isNamed = scope && !PyDict_GetItemString(scope.get(), name);
    const auto unnamed = qScopeGuard([&] {
        if (isNamed && PyDict_DelItemString(scope.get(), name) != 0)
            PyErr_Clear();
    });
    PythonReference result;
    if (isNamed) {
        const PythonReference value(PyString_FromString(path.constData()));
        if (value)
            PyDict_SetItemString(scope.get(), name, value.get());
    }
    if (scope && !PyErr_Occurred())
        result.reset(isCompiled(file.get(), path)
                         ? evaluateCompiled(path, scope.get())
                         : PyRun_FileExFlags(file.get(), path.constData(), Py_file_input,
                                             scope.get(), scope.get(), /*closeit=*/0, nullptr));
    file.reset();
    checkForInterrupt(result);
    PythonInterrupt::endScript();
    if (!result)
        run.details = printPythonError();
    else if (Py_FlushLine() != 0)
        PyErr_Clear();
    return result ? 0 : -1;
}

PythonRun PythonRun::file(const Data::String &path)
{
    PythonRun run;
    const QByteArray utf8 = path.toUtf8();
    OpenFile file(Platform::openFile(utf8.toStdString(), "r"));
    if (!file) {
        run.error = QLatin1String("Unable to open script ") + path;
        run.details = ScriptErrorPrivate::ofText(run.error, path);
        return run;
    }

    PyErr_Clear();
    int status = -1;
    {
        const PythonExitGuard guard;
        if (isTooDeepForPython(file.get())) {
            file.reset();
            setDepthError();
            run.details = printPythonError();
        } else {
            status = runFile(std::move(file), utf8, run);
        }
    }
    run.succeeded = status == 0;
    run.exitStatus = status;
    if (!run.succeeded)
        fetchError(run);
    return run;
}

PythonRun PythonRun::code(const QString &statements)
{
    // Not PyRun_SimpleString, which prints an error rather than leaving it, and exits the process
    // at sys.exit().
    PyErr_Clear();
    const QByteArray source = statements.toUtf8();
    const PythonReference scope = mainScope();
    PythonReference result;
    if (isTooDeepForPython(source))
        setDepthError();
    else if (scope)
        result.reset(PyRun_StringFlags(source.constData(), Py_file_input, scope.get(), scope.get(),
                                       nullptr));
    checkForInterrupt(result);
    return outcome(result, source);
}

PythonRun PythonRun::check(const QString &statements)
{
    PyErr_Clear();
    const QByteArray source = statements.toUtf8();
    PythonReference compiled;
    if (isTooDeepForPython(source))
        setDepthError();
    else
        compiled.reset(Py_CompileStringFlags(source.constData(), "code", Py_file_input, nullptr));
    return outcome(compiled, source);
}

} // namespace Utils
