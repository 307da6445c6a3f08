// What a call from a script pays for the generated wrappers. The peer is what one would write by
// hand. benchmarks/report tells how names and counters make pairs and targets.

#include <Python.h>

#include "benchmarks/Pairs.h"
#include "bindings/Modules.h"
#include "utils/files/File.h"

#include <stdexcept>

using benchmark::State;

static const char *const setUp = "from KelmUtils import Utils\n"
                                 "import peer\n"
                                 "def repeat(call):\n"
                                 "    for _ in xrange(1000):\n"
                                 "        call('a', 'b')\n"
                                 "def repeatOne(call):\n"
                                 "    for _ in xrange(1000):\n"
                                 "        call('a')\n";

static PyObject *names() { return PyModule_GetDict(PyImport_AddModule("__main__")); }

static void check(PyObject *result)
{
    if (!result) {
        PyErr_Print();
        throw std::runtime_error("Python failed");
    }
    Py_DECREF(result);
}

static PyObject *peerJoin(PyObject *, PyObject *args)
{
    const char *a = nullptr;
    const char *b = nullptr;
    if (!PyArg_ParseTuple(args, "ss", &a, &b))
        return nullptr;
    const QByteArray joined = Utils::File::join(a, b).toUtf8();
    return PyString_FromStringAndSize(joined.constData(), joined.size());
}

static PyObject *peerIsRelative(PyObject *, PyObject *args)
{
    const char *path = nullptr;
    if (!PyArg_ParseTuple(args, "s", &path))
        return nullptr;
    return PyBool_FromLong(Utils::File::isRelative(path));
}

static PyMethodDef peers[] = {{"join", peerJoin, METH_VARARGS, nullptr},
                              {"isRelative", peerIsRelative, METH_VARARGS, nullptr},
                              {nullptr, nullptr, 0, nullptr}};

/// Makes 1000 calls in Python an iteration: \p code repeats them.
static auto callsOf(const char *code)
{
    return [code](State &state) {
        PyObject *const compiled = Py_CompileString(code, "benchmark", Py_eval_input);
        PyCodeObject *const toRun = reinterpret_cast<PyCodeObject *>(compiled);
        for (auto _ : state)
            check(PyEval_EvalCode(toRun, names(), names()));
        Py_DECREF(compiled);
    };
}

int main(int argc, char **argv)
{
    static char home[] = KELMUTILS_PYTHON_HOME;
    Py_SetPythonHome(home);
    Py_InitializeEx(0);
    initKelmUtils();
    Py_InitModule("peer", peers);
    check(PyRun_String(setUp, Py_file_input, names(), names()));

    addPair("call from Python", "join", 3.0, callsOf("repeat(Utils.File.join)"),
            callsOf("repeat(peer.join)"));
    addPair("call from Python", "isRelative", 3.0, callsOf("repeatOne(Utils.File.isRelative)"),
            callsOf("repeatOne(peer.isRelative)"));
    const int result = runBenchmarks(argc, argv);
    Py_Finalize();
    return result;
}
