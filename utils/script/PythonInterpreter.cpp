#include "utils/script/PythonInterpreter_p.h"

#include "utils/Application_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/files/File.h"
#include "utils/process/Process.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/ModuleList_p.h"
#include "utils/script/PythonError_p.h"
#include "utils/script/PythonInterrupt_p.h"
#include "utils/script/PythonStart_p.h"
#include "utils/script/PythonStreams_p.h"
#include "utils/script/PythonThreads_p.h"
#include "utils/script/ScriptError_p.h"

#include <QScopedValueRollback>

#include <Python.h>

#include <chrono>
#include <cstdio>
#include <utility>

namespace Utils {

static Data::String hostVariable(const char *key)
{
    Data::IApplication *const host = application();
    return host ? host->getVariable(key, Data::String()) : Data::String();
}

/// The home that the host's variables tell. Nothing when there is no Python in either folder.
static std::optional<PythonHome> findHome()
{
    PythonHome home{hostVariable("PYTHON_DIR")};
    if (File::exists(home.folder))
        return home;
    home = {hostVariable("HOME_DIR"), /*isArchive=*/true};
    return File::exists(home.archive()) ? std::optional(home) : std::nullopt;
}

/// Runs the program with which a host prepares Python, until it has once succeeded. False when it
/// fails, with the reason in \a messages; one that cannot be started, or is cancelled, is no
/// failure.
static bool runStartUpProgram(const Data::String &home, Data::String &messages)
{
    if (PythonInterpreter::isStartUpProgramDone)
        return true;

    const Data::String folder = hostVariable("HOME_DIR");
    Process program(File::join(folder, QStringLiteral("solver"), QStringLiteral("pyInit")),
                    QStringList(home));
    program.setEnvironment({{QStringLiteral("PATH"), folder}}, /*keepPath=*/true);
    if (!program.start() || !program.wait(/*showProgress=*/false))
        return true;
    if (program.exitCode() != 0) {
        messages = message(".Kelm.Utils", ".err.pythonInit", {program.output()});
        return false;
    }
    PythonInterpreter::isStartUpProgramDone = true;
    return true;
}

/// Adds the packages of the host's resources to sys.path. The path is not escaped.
static void addSitePackages()
{
    const PythonExitGuard guard;
    const Data::String code =
        "import sys\nsys.path.append('" + hostVariable("RES_DIR") + "/site-packages')";
    PyRun_SimpleStringFlags(code.toUtf8().constData(), nullptr);
}

/// Reports the \a threads that keep the interpreter from its end.
static void reportThreads(const QStringList &threads)
{
    for (const QString &thread : threads) {
        const Data::String text = QLatin1String("Thread of a script goes on: ") + thread;
        if (Data::IApplication *const host = application())
            host->logMessage(text, 3);
        else
            std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    }
}

PythonExitGuard::PythonExitGuard() : m_original(std::exchange(Py_InspectFlag, 1)) {}
PythonExitGuard::~PythonExitGuard() { Py_InspectFlag = m_original; }

bool PythonInterpreter::isStartUpProgramDone = false;

PythonInterpreter::~PythonInterpreter()
{
    if (isInUse())
        return;
    PythonInterrupt::end();
    static char defaultName[] = "python";
    Py_SetProgramName(defaultName);
    Py_SetPythonHome(nullptr);
}

bool PythonInterpreter::isCallable() { return Py_IsInitialized() && ownsPythonLock(); }

bool PythonInterpreter::ensureStarted(Data::String &messages)
{
    if (m_isEnding || !ownsPythonLock()) // what scripts leave to the end may call the engine
        return false;
    if (m_isKept && m_runs == 1 && !hasPythonThreads())
        end();
    if (!ownsPythonLock()) // the functions at the exit may start threads
        return false;
    if (!Py_IsInitialized())
        return start(messages);
    PythonStreams::attach();
    initializeModules(messages);
    return true;
}

bool PythonInterpreter::start(Data::String &messages)
{
    if (!application()) {
        messages = message(".Kelm.Utils", ".err.pythonapp", {});
        return false;
    }
    setProgramName();
    PythonHome home;
    if (!setHome(home)) {
        messages = message(".Kelm.Utils", ".err.pythonInit", {QString()});
        return false;
    }
    PythonInterrupt::prepare();
    if (!runStartUpProgram(home.folder, messages) || !startPython(home))
        return false;

    PythonStreams::attach();
    PythonInterrupt::open();
    addSitePackages();
    initializeModules(messages);
    // Modules that were initialised before there was an interpreter count as initialised, though
    // that had no effect.
    makeLibraryModule();
    PyErr_Clear();
    return true;
}

namespace {

/// Calls a function for each module that fails, while it exists.
class FailureReport
{
public:
    using Function = decltype(ModuleList::moduleFailed);

    explicit FailureReport(Function function)
    {
        if (ModuleList *const list = moduleList.ifAlive())
            m_outer = std::exchange(list->moduleFailed, std::move(function));
    }
    ~FailureReport()
    {
        if (ModuleList *const list = moduleList.ifAlive())
            list->moduleFailed = std::move(m_outer);
    }
    Q_DISABLE_COPY(FailureReport)

private:
    Function m_outer;
};

} // namespace

void PythonInterpreter::initializeModules(Data::String &failures)
{
    PyErr_Clear();
    PythonReference printed = PythonError::printed().value;
    const auto report = [&](const Data::String &module) {
        // A module leaves its error as it is, or prints it; or it has none.
        PythonError error = PythonError::fetch();
        ScriptError description;
        if (error.type) {
            error.normalize();
            description = error.describe();
        } else if (PythonError last = PythonError::printed(); last.value != printed) {
            description = last.describe();
            printed = std::move(last.value);
        }
        std::move(error).restore();
        if (description.isEmpty())
            description = ScriptErrorPrivate::ofText(
                "ERROR: Failed to initialize scripting module for " + module);
        m_moduleErrors.append(ScriptErrorPrivate::ofModule(description, module));
    };
    const FailureReport installed(report);
    IScriptableModule::initializeModules(failures);
}

void PythonInterpreter::setProgramName()
{
    if (!m_programName)
        m_programName = hostVariable("APP_PATH").toStdString();
    Py_SetProgramName(m_programName->data());
}

bool PythonInterpreter::setHome(PythonHome &home)
{
    const std::optional<PythonHome> found = findHome();
    if (!found)
        return false;
    home = *found;
    m_home = home.folder.toStdString();
    Py_SetPythonHome(m_home.data());
    return true;
}

void PythonInterpreter::requestEnd()
{
    if (m_isEnding)
        return;
    if (isInUse())
        m_isEndRequested = true;
    else
        end();
}

void PythonInterpreter::end()
{
    m_isEndRequested = false;
    if (isCallable()) {
        const QScopedValueRollback<bool> isEnding(m_isEnding, true);
        const PythonExitGuard guard; // for what scripts have left to be run at the end
        PyErr_Clear();               // one that getData() has left would be printed
        // A thread that has once used up its time gets no more.
        const std::chrono::milliseconds none(0);
        const QStringList threads = endPythonThreads(m_isKept ? none : threadPatience);
        m_isKept = !threads.isEmpty();
        if (m_isKept) {
            reportThreads(threads);
        } else {
            PythonInterrupt::finalizePython();
        }
        PythonStreams::finish();
    }
    if (m_isKept)
        return;
    m_moduleErrors.clear();
    IScriptableModule::resetModules();
}

PythonInterpreter::RunGuard::RunGuard(PythonInterpreter &interpreter) : m_interpreter(interpreter)
{
    ++m_interpreter.m_runs;
}

PythonInterpreter::RunGuard::~RunGuard()
{
    if (m_interpreter.m_runs == 1)
        PythonStreams::finish(); // while a script that the sink runs is an inner one
    --m_interpreter.m_runs;
    if (m_interpreter.m_runs == 0) {
        if (m_interpreter.m_isEndRequested)
            m_interpreter.end();
    } else if (Py_IsInitialized()) {
        PyErr_Clear();
    }
}

} // namespace Utils
