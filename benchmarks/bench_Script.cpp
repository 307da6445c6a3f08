// The Python engine beside the interpreter used by hand.

#include "utils/Application.h"
#include "utils/script/ScriptManager.h"

#include "benchmarks/Pairs.h"
#include "benchmarks/PythonHost.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <Python.h>

#include <cstdio>

using Data::String;
using Data::Variant;

static const char frameworkCode[] = "import sys\n"
                                    "class Framework(object):\n"
                                    "    class app(object):\n"
                                    "        def setScriptResult(self, value): pass\n"
                                    "sys.modules['KelmFramework'] = type(sys)('KelmFramework')\n"
                                    "sys.modules['KelmFramework'].Framework = Framework\n"
                                    "sys.modules['mathex'] = type(sys)('mathex')\n";

static Utils::ScriptManager &manager() { return Utils::ScriptManager::instance(); }

static void run(const String &code)
{
    Variant result;
    String error;
    if (!manager().execute(code, "py", result, error))
        std::fprintf(stderr, "%s\n", error.toUtf8().constData());
}

static void runByHand(const char *code)
{
    PyObject *const scope = PyModule_GetDict(PyImport_AddModule("__main__"));
    PyObject *const result = PyRun_StringFlags(code, Py_file_input, scope, scope, nullptr);
    if (!result)
        PyErr_Print();
    Py_XDECREF(result);
}

/// An interpreter of the engine's, with what expressions import.
static void startEngine()
{
    run("pass\n");
    run(frameworkCode);
}

static void addRuns(const std::string &detail, double target, const char *code,
                    const char *codeByHand)
{
    addPair(
        "Script run", detail, target,
        [=](benchmark::State &state) {
            startEngine();
            const String text(code);
            for (auto _ : state)
                run(text);
        },
        [=](benchmark::State &state) {
            startEngine();
            for (auto _ : state)
                runByHand(codeByHand);
        });
}

static void addStarts()
{
    addPair(
        "Script start", "interpreter and modules", 0.0,
        [](benchmark::State &state) {
            for (auto _ : state) {
                state.PauseTiming();
                manager().reset("py");
                state.ResumeTiming();
                run("pass\n");
            }
        },
        [](benchmark::State &state) {
            static char home[] = KELMUTILS_PYTHON_HOME;
            manager().reset("py");
            Py_SetPythonHome(home);
            for (auto _ : state) {
                Py_InitializeEx(0);
                runByHand("import sip\n");
                state.PauseTiming();
                Py_Finalize();
                state.ResumeTiming();
            }
        });
}

int main(int argc, char **argv)
{
    const QTemporaryDir folder;
    qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Benchmarks");
    PythonHost host;
    Utils::setApplication(&host);

    addStarts();
    addRuns("statement", 1.2, "x = 1", "x = 1");
    const char *const loop = "total = 0\nfor i in range(100):\n    total += i * i\n";
    addRuns("statements with a loop", 1.2, loop, loop);
    addRuns("expression", 0.0, "sqrt(2) * 3",
            "from math import*\nfrom mathex import*\n\nfrom KelmData import *\n"
            "from KelmFramework import *\nrval = sqrt(2) * 3\n"
            "Framework.app().setScriptResult(Data.Variant(rval))");
    const int result = runBenchmarks(argc, argv);

    manager().reset("");
    Utils::setApplication(nullptr);
    return result;
}
