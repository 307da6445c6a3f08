#include "tests/support/PythonFault.h"

#include <Python.h>

#include <cstring>

#include <dlfcn.h>

static bool isArmed;
static int left;
static const char *only;
static bool hasOneFailed;

PythonFault::PythonFault(int number, const char *function)
{
    left = number;
    only = function;
    hasOneFailed = false;
    isArmed = true;
}

void PythonFault::end() { isArmed = false; }
bool PythonFault::hasFailed() const { return hasOneFailed; }

/// Counts a call of \p function. Whether it is the one that fails.
static bool isNext(const char *function)
{
    if (!isArmed || (only && std::strcmp(only, function) != 0) || left-- != 0)
        return false;
    hasOneFailed = true;
    return true;
}

static bool fails(const char *function)
{
    if (!isNext(function))
        return false;
    PyErr_NoMemory();
    return true;
}

/// For the compiler, which sets no error for some of its allocations.
static bool failsSilently(const char *function) { return only && isNext(function); }

/// For a function that counts only when the fault names it, as Python calls it often, and goes on
/// when it fails.
static bool failsByName(const char *function) { return only && fails(function); }

template <typename Function>
static Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define KELM_TEXT(name) #name
#define KELM_NAME(name) KELM_TEXT(name) // what a macro of Python makes of it

#define KELM_IN_FRONT_OF(test, Result, name, parameters, arguments, failure) \
    extern "C" __attribute__((visibility("default"))) Result name parameters \
    {                                                                        \
        static const auto plain = next(&name, KELM_NAME(name));              \
        return test(#name) ? failure : plain arguments;                      \
    }

#define KELM_IN_FRONT(Result, name, parameters, arguments) \
    KELM_IN_FRONT_OF(fails, Result, name, parameters, arguments, nullptr)

KELM_IN_FRONT(PyObject *, PyString_FromString, (const char *text), (text))
KELM_IN_FRONT(PyObject *, PyString_FromStringAndSize, (const char *text, Py_ssize_t size),
              (text, size))
KELM_IN_FRONT(PyObject *, PyUnicode_FromUnicode, (const Py_UNICODE *text, Py_ssize_t size),
              (text, size))
KELM_IN_FRONT(PyObject *, PyInt_FromLong, (long value), (value))
KELM_IN_FRONT(PyObject *, PyFloat_FromDouble, (double value), (value))
KELM_IN_FRONT(PyObject *, PyLong_FromLongLong, (PY_LONG_LONG value), (value))
KELM_IN_FRONT(PyObject *, PyList_New, (Py_ssize_t size), (size))
KELM_IN_FRONT(PyObject *, PyObject_Call, (PyObject * type, PyObject *values, PyObject *named),
              (type, values, named))
KELM_IN_FRONT(PyObject *, PyObject_Repr, (PyObject * object), (object))
KELM_IN_FRONT(PyObject *, PyObject_Str, (PyObject * object), (object))
KELM_IN_FRONT(PyObject *, PyImport_AddModule, (const char *name), (name))
KELM_IN_FRONT(PyObject *, PyImport_ImportModule, (const char *name), (name))
KELM_IN_FRONT(PyObject *, PyCodec_Encoder, (const char *name), (name))
KELM_IN_FRONT_OF(fails, int, PyModule_AddObject,
                 (PyObject * module, const char *name, PyObject *object), (module, name, object),
                 -1)
KELM_IN_FRONT_OF(fails, int, PyFile_SetEncodingAndErrors,
                 (PyObject * file, const char *encoding, char *errors), (file, encoding, errors), 0)

KELM_IN_FRONT_OF(failsByName, PyObject *, PyObject_GetAttrString,
                 (PyObject * object, const char *name), (object, name), nullptr)
KELM_IN_FRONT_OF(failsByName, PyObject *, PyObject_Unicode, (PyObject * object), (object), nullptr)
KELM_IN_FRONT_OF(failsByName, PyObject *, _PyObject_New, (PyTypeObject * type), (type), nullptr)
KELM_IN_FRONT_OF(failsByName, int, PyList_Append, (PyObject * list, PyObject *object),
                 (list, object), -1)

KELM_IN_FRONT_OF(failsSilently, PyObject *, Py_CompileStringFlags,
                 (const char *code, const char *file, int start, PyCompilerFlags *flags),
                 (code, file, start, flags), nullptr)
KELM_IN_FRONT_OF(failsSilently, PyObject *, PyRun_StringFlags,
                 (const char *code, int start, PyObject *globals, PyObject *locals,
                  PyCompilerFlags *flags),
                 (code, start, globals, locals, flags), nullptr)
KELM_IN_FRONT_OF(failsSilently, PyObject *, PyRun_FileExFlags,
                 (FILE * file, const char *name, int start, PyObject *globals, PyObject *locals,
                  int closeIt, PyCompilerFlags *flags),
                 (file, name, start, globals, locals, closeIt, flags), nullptr)
