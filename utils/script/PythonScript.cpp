#include "utils/script/PythonScript_p.h"

#include "bindings/Modules.h"
#include "utils/Application_p.h"
#include "utils/base/Placeholders_p.h"
#include "utils/files/File.h"
#include "utils/platform/Platform.h"
#include "utils/process/Process.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/PythonDepth_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonStart_p.h"
#include "utils/script/PythonThreads_p.h"
#include "utils/script/PythonValues_p.h"
#include "utils/script/ScriptTexts_p.h"
#include "utils/settings/Settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <Python.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <new>
#include <type_traits>
#include <utility>

namespace Utils {

/// Python's own.
static const int recursionLimit = 1000;

namespace {

/// Keeps sys.exit() from ending the host, where Python prints errors itself.
class ExitGuard
{
public:
    ~ExitGuard() { Py_InspectFlag = m_original; }

private:
    const int m_original = std::exchange(Py_InspectFlag, 1);
};

/// Where a name of pushed data lies, as Python writes it.
struct Place
{
    explicit Place(const Data::String &name)
    {
        const int dot = name.indexOf(QLatin1Char('.'));
        isDotted = dot >= 0;
        moduleName = isDotted ? name.left(dot) : QStringLiteral("__main__");
        module = moduleName.toUtf8();
        attribute = name.mid(dot + 1).toUtf8();
    }

    bool isDotted;
    QString moduleName;
    QByteArray module;
    QByteArray attribute;
};

} // namespace

static Data::String hostVariable(const char *key)
{
    Data::IApplication *const host = application();
    return host ? host->getVariable(key, Data::String()) : Data::String();
}

static void appendLine(QString &text, const QString &line)
{
    if (!text.isEmpty())
        text += QLatin1Char('\n');
    text += line;
}

/// The bytes of a \a file, which is then at its start again. None for one that has no end, as a
/// pipe.
static QByteArray contents(std::FILE *file)
{
    QByteArray bytes;
    if (std::fseek(file, 0, SEEK_END) == 0) {
        bytes.resize(static_cast<int>(std::clamp(std::ftell(file), 0L, long{INT_MAX / 2})));
        std::rewind(file);
        bytes.resize(static_cast<int>(std::fread(bytes.data(), 1, bytes.size(), file)));
    }
    std::rewind(file);
    return bytes;
}

static bool isTooDeepForPython(const QByteArray &source)
{
    return isTooDeepForPython(source, Platform::freeStack());
}

static bool isTooDeepForPython(std::FILE *file)
{
    const long size = std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : 0;
    std::rewind(file);
    if (size <= 0 || !mayBeTooDeepForPython(static_cast<std::size_t>(size), Platform::freeStack()))
        return false;
    try {
        return isTooDeepForPython(contents(file));
    } catch (const std::bad_alloc &) {
        return true; // Python would need the memory, too
    }
}

static Data::String zipOf(const Data::String &home)
{
    return File::join(home, QStringLiteral("python27.zip"));
}

/// Whether a file ends as Python wants it of an archive.
static bool isArchive(const QString &path)
{
    const int endSize = 22;
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.size() >= endSize &&
           file.seek(file.size() - endSize) && file.read(4) == "PK\5\6";
}

/// Whether a standard library may be found in \a home, however Python was built. One without must
/// not get to Python, which works its search path out only once in a process.
static bool mayHaveLibrary(const QString &home)
{
    if (qEnvironmentVariableIsSet("PYTHONPATH") || isArchive(zipOf(home)))
        return true;

    const QFileInfoList folders = QDir(home).entryInfoList({QStringLiteral("lib*")}, QDir::Dirs);
    const auto hasModules = [](const QString &folder) {
        return !QDir(folder).entryList({QStringLiteral("os.py*")}, QDir::Files).isEmpty();
    };
    return std::any_of(folders.begin(), folders.end(), [&](const QFileInfo &folder) {
        const QString path = folder.filePath();
        return hasModules(path) || hasModules(path + QLatin1String("/python2.7"));
    });
}

/// Has Python look into the archive \a zip first, which not every build does by itself. Not by
/// sys.path: the codecs are loaded before that can be changed.
static void addToSearchPath(const QString &zip)
{
    static const char variable[] = "PYTHONPATH";
    const bool wasSet = qEnvironmentVariableIsSet(variable);
    const QByteArray original = qgetenv(variable);
    QByteArray path = zip.toUtf8();
    if (!original.isEmpty())
        path += QDir::listSeparator().toLatin1() + original;
    qputenv(variable, path);
    Py_GetPath(); // which keeps what it gives
    if (wasSet)
        qputenv(variable, original);
    else
        qunsetenv(variable);
}

/// Starts the interpreter, with \a archive first in its search path unless that is empty. False
/// when the standard library is damaged; no interpreter runs then.
static bool startWithLibrary(const QString &archive)
{
    const ExitGuard guard;
    if (!archive.isEmpty())
        addToSearchPath(archive);

    Py_SetRecursionLimit(recursionLimit); // one that a script has set outlives its interpreter
    bool isStarted = initializePython();
    if (isStarted) {
        limitRecursion(recursionLimit); // before "site", which may run scripts of the user
        const PythonReference site(PyImport_ImportModule("site"));
        isStarted = site != nullptr;
    }
    if (!isStarted && Py_IsInitialized()) {
        PyErr_Print(); // which file it is
        Py_Finalize();
    }
    return isStarted;
}

/// Whether there is an interpreter that can be called.
static bool isRunning() { return Py_IsInitialized() && ownsPythonLock(); }

/// Tells of the \a threads that keep the interpreter from its end.
static void tellThreads(const QStringList &threads)
{
    for (const QString &thread : threads) {
        const Data::String text = QLatin1String("Thread of a script goes on: ") + thread;
        if (Data::IApplication *const host = application())
            host->logMessage(text, 3);
        else
            std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    }
}

/// The scope of scripts, which is also where statements and expressions run. Null, with an error
/// set, when the memory does not suffice.
static PythonReference mainScope()
{
    PyObject *const module = PyImport_AddModule("__main__");
    PyObject *const scope = module ? PyModule_GetDict(module) : nullptr;
    Py_XINCREF(scope); // a script may throw the module away
    return PythonReference(scope);
}

/// What \a function returns when it runs on the stack for deep recursion. Whatever runs a script,
/// or ends an object that may, runs there: the compiler that exec and import use cannot be held
/// back.
template <typename Function>
static auto onDeepStack(const Function &function)
{
    using Result = decltype(function());
    if constexpr (std::is_void_v<Result>) {
        Platform::callOnDeepStack([](void *called) { (*static_cast<const Function *>(called))(); },
                                  const_cast<Function *>(&function));
    } else {
        Result result{};
        onDeepStack([&] { result = function(); });
        return result;
    }
}

/// Holds a reset off while the interpreter is in use.
class PythonScript::Use
{
public:
    explicit Use(PythonScript *engine) : m_engine(engine) { ++m_engine->m_uses; }
    ~Use()
    {
        --m_engine->m_uses;
        if (m_engine->m_uses == 0) {
            if (m_engine->m_isResetPutOff)
                m_engine->finalize();
        } else if (Py_IsInitialized()) {
            PyErr_Clear(); // the script around this call must not meet an error of ours
        }
    }
    Q_DISABLE_COPY(Use)

private:
    PythonScript *const m_engine;
};

bool PythonScript::isStartUpProgramDone = false;

PythonScript::PythonScript() = default;

PythonScript::~PythonScript()
{
    // The process ends from within a script, on whose interpreter we stand.
    if (m_uses > 0)
        return;

    onDeepStack([this] {
        // Without an interpreter the objects stay: what scripts have put into a list cannot go
        // then.
        if (isRunning()) {
            for (PyObject *object : std::as_const(m_pushedObjects))
                Py_DECREF(object);
        }
        finalize();
    });
    static char defaultName[] = "python";
    Py_SetProgramName(defaultName);
    Py_SetPythonHome(nullptr);
}

bool PythonScript::runFile(const Data::String &path)
{
    return onDeepStack([&] { return runFileThere(path); });
}

bool PythonScript::runFileThere(const Data::String &path)
{
    const Use use(this);
    if (!ensureStartedToRun())
        return false;

    const QByteArray utf8 = path.toUtf8();
    std::FILE *const file = Platform::openFile(utf8.toStdString(), "r");
    if (!file) {
        m_errorText = QLatin1String("Unable to open script ") + path;
        return false;
    }

    const Data::String startText = m_errorText;
    PyErr_Clear();
    int status = 0;
    {
        const ExitGuard guard;
        if (isTooDeepForPython(file)) {
            std::fclose(file);
            setDepthError();
            PyErr_Print();
            status = -1;
        } else {
            status = PyRun_SimpleFileExFlags(file, utf8.constData(), /*closeit=*/1, nullptr);
        }
    }
    m_exitStatus = status; // both may be those of a run within this one
    m_errorText = startText;
    if (status != 0)
        extractError();
    return status == 0;
}

bool PythonScript::runCode(const Data::String &code)
{
    return onDeepStack([&] { return runCodeThere(code); });
}

bool PythonScript::runCodeThere(const Data::String &code)
{
    const Use use(this);
    if (!ensureStartedToRun())
        return false;
    m_errorText.clear();

    const bool isExpression = !code.contains(QLatin1Char('\n')) && !code.contains(QLatin1Char('='));
    return isExpression ? runExpression(code) : runStatements(code);
}

void PythonScript::pushData(const Data::String &name, const Data::Variant &value)
{
    if (isRunning())
        onDeepStack([&] { pushDataThere(name, value); });
}

void PythonScript::pushDataThere(const Data::String &name, const Data::Variant &value)
{
    const Use use(this);

    const Place place(name);
    if (place.isDotted && !m_modules.contains(place.moduleName))
        m_modules.append(place.moduleName);
    PythonReference object(toPython(value));
    PyObject *const module = PyImport_AddModule(place.module.constData());
    if (!object || !module)
        return;

    // One reference is the module's and one ours, so that the object outlives its name.
    PyObject *&pushed = m_pushedObjects[name];
    const PythonReference replaced(
        std::exchange(pushed, object.get())); // released last: that may run a
                                              // script that comes back here
    Py_INCREF(object.get());
    if (PyModule_AddObject(module, place.attribute.constData(), object.get()) == 0)
        (void)object.release();
    else
        PyErr_Clear();
}

Data::Variant PythonScript::getData(const Data::String &name)
{
    if (!isRunning())
        return {};
    return onDeepStack([&] { return getDataThere(name); });
}

Data::Variant PythonScript::getDataThere(const Data::String &name)
{
    const Use use(this);

    PyErr_Clear();
    if (PyObject *const pushed = m_pushedObjects.value(name))
        return fromPython(pushed);

    const Place place(name);
    PyObject *const module = PyImport_AddModule(place.module.constData());
    const PythonReference attribute(
        module ? PyObject_GetAttrString(module, place.attribute.constData()) : nullptr);
    return fromPython(attribute.get());
}

void PythonScript::popData(const Data::String &name)
{
    if (isRunning() && m_pushedObjects.contains(name))
        onDeepStack([&] { popDataThere(name); });
}

void PythonScript::popDataThere(const Data::String &name)
{
    const Use use(this);

    const Place place(name);
    if (place.isDotted)
        m_modules.removeAll(place.moduleName);
    const PythonReference object(m_pushedObjects.take(name));
    PyObject *const module = PyImport_AddModule(place.module.constData());
    if (!module || PyObject_SetAttrString(module, place.attribute.constData(), nullptr) != 0)
        PyErr_Clear(); // a script may have deleted it
}

bool PythonScript::supports(const Data::String &language, bool isPath)
{
    const QLatin1String python("py");
    return language == python || (isPath && File::extension(language) == python);
}

bool PythonScript::validate(const Data::String &code)
{
    return onDeepStack([&] { return validateThere(code); });
}

bool PythonScript::validateThere(const Data::String &code)
{
    const Use use(this);
    if (!ensureStarted())
        return false;
    m_errorText.clear();
    PyErr_Clear();

    const QByteArray source = code.toUtf8();
    PythonReference compiled;
    if (isTooDeepForPython(source))
        setDepthError();
    else
        compiled.reset(Py_CompileStringFlags(source.constData(), "code", Py_file_input, nullptr));
    if (!compiled)
        extractError();
    return compiled != nullptr;
}

int PythonScript::exitStatus() const { return m_exitStatus; }

Data::String PythonScript::errorMessage() const { return m_errorText; }

void PythonScript::moduleRemoved(const Data::String &) { reset(); }

Data::String PythonScript::importCode()
{
    const Data::String imports =
        Settings().getString(QStringLiteral("gui/pythonImports"),
                             QStringLiteral("from math import*;from mathex import*"));
    QString lines;
    if (imports.isEmpty())
        return lines;
    const QStringList parts = imports.split(QLatin1Char(';'));
    for (const QString &part : parts)
        lines += part.trimmed() + QLatin1Char('\n');
    return lines;
}

void PythonScript::reset()
{
    if (m_isFinalizing)
        return;
    if (m_uses > 0)
        m_isResetPutOff = true;
    else
        onDeepStack([this] { finalize(); });
}

bool PythonScript::ensureStarted()
{
    m_exitStatus = 0;
    m_errorText.clear();
    if (m_isFinalizing || !ownsPythonLock()) // what scripts leave behind may come back here
        return false;
    if (m_isKept && m_uses == 1 && !hasPythonThreads())
        finalize();
    if (!ownsPythonLock()) // what runs at the exit may start threads
        return false;
    if (Py_IsInitialized()) {
        initializeModules();
        return true;
    }
    if (!application()) {
        m_errorText = scriptText(".err.pythonapp");
        return false;
    }

    if (!m_programName)
        m_programName = hostVariable("APP_PATH").toStdString();
    Py_SetProgramName(m_programName->data());

    Data::String home = hostVariable("PYTHON_DIR");
    const bool isZipHome = !File::exists(home);
    if (isZipHome) {
        home = hostVariable("HOME_DIR");
        if (!File::exists(zipOf(home))) {
            m_errorText = scriptText(".err.pythonInit", {QString()});
            return false;
        }
    }
    m_pythonHome = home.toStdString();
    Py_SetPythonHome(m_pythonHome.data());

    if (!runStartUpProgram(home) || !startInterpreter(home, isZipHome))
        return false;
    const Data::String addModules =
        "import sys\nsys.path.append('" + hostVariable("RES_DIR") + "/site-packages')";
    {
        const ExitGuard guard;
        PyRun_SimpleStringFlags(addModules.toUtf8().constData(), nullptr);
    }
    initializeModules();
    // Modules that were initialised before there was an interpreter count as initialised, though
    // nothing came of it.
    initKelmUtils();
    PyErr_Clear();
    return true;
}

bool PythonScript::ensureStartedToRun()
{
    if (ensureStarted())
        return true;
    if (m_errorText.isEmpty())
        m_errorText = QStringLiteral("Python not initialized");
    return false;
}

bool PythonScript::runStartUpProgram(const Data::String &home)
{
    if (isStartUpProgramDone)
        return true;

    const Data::String folder = hostVariable("HOME_DIR");
    Process program(File::join(folder, QStringLiteral("solver"), QStringLiteral("pyInit")),
                    QStringList(home));
    program.setEnvironment({{QStringLiteral("PATH"), folder}}, /*keepPath=*/true);
    if (!program.start() || !program.wait(/*showProgress=*/false))
        return true;
    if (program.exitCode() != 0) {
        m_errorText = scriptText(".err.pythonInit", {program.output()});
        return false;
    }
    isStartUpProgramDone = true;
    return true;
}

bool PythonScript::startInterpreter(const Data::String &home, bool isZipHome)
{
    if (!mayHaveLibrary(home))
        return false;

    // Extension modules take the symbols of Python from the process, and are not linked with it.
    Platform::makeSymbolsGlobal(reinterpret_cast<const void *>(&Py_InitializeEx));

    // What goes wrong in the library's own code may end the process, and Python cannot be given
    // another home once it has looked at one. So the first start is tried elsewhere.
    const Data::String archive = isZipHome ? zipOf(home) : Data::String();
    const auto tryStart = [&archive] {
        const bool isStarted = startWithLibrary(archive);
        const PythonReference sip(isStarted ? PyImport_ImportModule("sip")
                                            : nullptr); // may be missing
        return isStarted;
    };
    static bool hasStarted = false;
    if (!hasStarted && Platform::tryInCopy(tryStart, startTrialLimit) == false)
        return false;
    if (!startWithLibrary(archive))
        return false;
    hasStarted = true;
    return true;
}

void PythonScript::initializeModules()
{
    PyErr_Clear();
    Data::String messages; // of its own: a module may run code, and m_errorText is that of the code
    IScriptableModule::initializeModules(messages);
    m_errorText = messages;
}

bool PythonScript::runExpression(const Data::String &code)
{
    QString program = importCode();
    appendLine(program, QStringLiteral("from KelmData import *"));
    appendLine(program, QStringLiteral("from KelmFramework import *"));
    for (const QString &module : std::as_const(m_modules))
        appendLine(program, QLatin1String("import ") + module);
    appendLine(program, QLatin1String("rval = ") + code);
    appendLine(program, QStringLiteral("Framework.app().setScriptResult(Data.Variant(rval))"));
    return runProgram(program);
}

bool PythonScript::runStatements(const Data::String &code)
{
    const PythonReference scope = mainScope();
    const QStringList modules = m_modules; // a module's name replaces an object, whose end may run
    for (const QString &name : modules) {
        const QByteArray utf8 = name.toUtf8();
        PyObject *const module = PyImport_AddModule(utf8.constData());
        if (module && scope)
            PyDict_SetItemString(scope.get(), utf8.constData(), module);
    }
    return runProgram(code);
}

bool PythonScript::runProgram(const QString &program)
{
    // Not PyRun_SimpleString, which prints an error rather than leaving it, and exits the process
    // at sys.exit().
    PyErr_Clear();
    const QByteArray source = program.toUtf8();
    const PythonReference scope = mainScope();
    PythonReference result;
    if (isTooDeepForPython(source))
        setDepthError();
    else if (scope)
        result.reset(PyRun_StringFlags(source.constData(), Py_file_input, scope.get(), scope.get(),
                                       nullptr));
    m_errorText.clear(); // a run within this one may have set it
    if (!result)
        extractError();
    return result != nullptr;
}

void PythonScript::extractError()
{
    if (!PyErr_Occurred())
        return;
    const bool isSyntaxError = PyErr_ExceptionMatches(PyExc_SyntaxError) != 0;
    PyObject *fetched[3] = {};
    PyErr_Fetch(&fetched[0], &fetched[1], &fetched[2]);
    Data::String text = m_errorText;
    {
        const PythonReference type(fetched[0]);
        const PythonReference value(fetched[1]);
        const PythonReference traceback(fetched[2]);

        // Not normalised, so the value of an error of Python's own may be no exception: of a syntax
        // error it is a tuple of the message and (file, line, column, text).
        const PythonReference valueText(value ? PyObject_Str(value.get()) : nullptr);
        if (valueText)
            text = PyString_AsString(valueText.get());

        const char *message = nullptr;
        PyObject *details = nullptr;
        if (isSyntaxError && value && PyArg_ParseTuple(value.get(), "sO", &message, &details)) {
            text = message;
            if (PyTuple_Check(details) && PyTuple_GET_SIZE(details) >= 3) {
                const long line = PyInt_AsLong(PyTuple_GET_ITEM(details, 1));
                const long column = PyInt_AsLong(PyTuple_GET_ITEM(details, 2)); // may be None
                text += fillPlaceholders(QStringLiteral("\nline: %1\ncolumn: %2"),
                                         {QString::number(line), QString::number(column)});
            }
        }
        PyErr_Clear(); // the value may be of another shape, or its text fail
    }
    m_errorText = text; // behind the end of the value, which may run a script that sets it
}

void PythonScript::finalize()
{
    m_isResetPutOff = false;
    m_isFinalizing = true;
    if (isRunning()) {
        const ExitGuard guard; // for what scripts have left to be run at the end
        PyErr_Clear();         // one that getData() has left would be printed
        // A thread that has once used up its time gets no more.
        const std::chrono::milliseconds none(0);
        const QStringList threads = endPythonThreads(m_isKept ? none : threadPatience);
        m_isKept = !threads.isEmpty();
        if (m_isKept)
            tellThreads(threads);
        else
            Py_Finalize();
    }
    m_isFinalizing = false;
    if (!m_isKept)
        IScriptableModule::resetModules();
}

} // namespace Utils
