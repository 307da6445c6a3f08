#include "utils/script/PythonStart_p.h"

#include "utils/platform/Platform.h"
#include "utils/script/PythonReference_p.h"

#include <Python.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

namespace Utils {

// Long for a library on a slow network drive.
std::chrono::milliseconds startTrialLimit = std::chrono::seconds(30);

/// Whether a stream of Python is a terminal.
static bool isTerminal(PyObject *stream)
{
    const PythonReference result(
        PyObject_CallMethod(stream, const_cast<char *>("isatty"), nullptr));
    const bool isTrue = result && PyObject_IsTrue(result.get()) == 1;
    PyErr_Clear();
    return isTrue;
}

/// Has Python use the character set of the locale for the names of files, and on terminals.
static bool useCodeset(const char *codeset)
{
    const PythonReference encoder(PyCodec_Encoder(codeset));
    if (!encoder) {
        const bool isUnknown = PyErr_ExceptionMatches(PyExc_LookupError) != 0;
        if (isUnknown)
            PyErr_Clear();
        return isUnknown;
    }

    if (!Py_FileSystemDefaultEncoding)
        Py_FileSystemDefaultEncoding = strdup(codeset); // for the next interpreters, too
    const char *const chosen = std::getenv("PYTHONIOENCODING");
    if (chosen && *chosen != '\0') // Python has set that already
        return true;
    for (const char *name : {"stdin", "stdout", "stderr"}) {
        PyObject *const stream = PySys_GetObject(const_cast<char *>(name));
        if (stream && PyFile_Check(stream) && isTerminal(stream) &&
            !PyFile_SetEncodingAndErrors(stream, codeset, nullptr))
            return false;
    }
    return true;
}

/// Whether the package of the codecs is there and whole, or is missing: Python goes without then.
static bool loadCodecs()
{
    const PythonReference package(PyImport_ImportModule("encodings"));
    if (package || !PyErr_ExceptionMatches(PyExc_ImportError))
        return package != nullptr;

    // One that is damaged may raise the same.
    PyObject *type = nullptr;
    PyObject *value = nullptr;
    PyObject *traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    const bool isMissing = value && PyString_Check(value) &&
                           std::strcmp(PyString_AS_STRING(value), "No module named encodings") == 0;
    PyErr_Restore(type, value, traceback);
    if (isMissing)
        PyErr_Clear();
    return isMissing;
}

bool initializePython()
{
    // Python looks the character set of the locale up in the package "encodings" when it starts,
    // and exits the process when that raises anything but an ImportError. So there is no such
    // package until it has started, and then the same is done here.
    const _frozen excluded[] = {{const_cast<char *>("encodings"), nullptr, 0},
                                {nullptr, nullptr, 0}};
    auto *const original = std::exchange(PyImport_FrozenModules, const_cast<_frozen *>(excluded));
    const int originalFlag = std::exchange(Py_NoSiteFlag, 1); // it would exit the process, too
    Py_InitializeEx(/*initsigs=*/0);
    Py_NoSiteFlag = originalFlag;
    PyImport_FrozenModules = original;
    if (!Py_IsInitialized())
        return false;

    const std::string codeset = Platform::localeCodeset();
    return codeset.empty() || (loadCodecs() && useCodeset(codeset.c_str()));
}

} // namespace Utils
