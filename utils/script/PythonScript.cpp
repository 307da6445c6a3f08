#include "utils/script/PythonScript_p.h"

#include "utils/files/File.h"
#include "utils/platform/Platform.h"
#include "utils/script/PythonCompletion_p.h"
#include "utils/script/PythonConsole_p.h"
#include "utils/script/PythonInterrupt_p.h"
#include "utils/script/PythonReference_p.h"
#include "utils/script/PythonRun_p.h"
#include "utils/script/PythonStreams_p.h"
#include "utils/script/PythonValues_p.h"
#include "utils/settings/Settings.h"

#include <QCoreApplication>

#include <Python.h>

#include <cstdlib>
#include <type_traits>
#include <utility>

namespace Utils {

using RunGuard = PythonInterpreter::RunGuard;

/// Where the data of a name is stored, as Python writes it.
struct DataLocation
{
    explicit DataLocation(const Data::String &name)
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

/// Returns what \a function returns when it runs on the stack for deep recursion. Everything that
/// runs a script, or ends an object that may run one, is called there: the compiler that exec and
/// import use cannot be held back.
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

static void appendLine(QString &text, const QString &line)
{
    if (!text.isEmpty())
        text += QLatin1Char('\n');
    text += line;
}

static bool isExpression(const QString &code)
{
    return !code.contains(QLatin1Char('\n')) && !code.contains(QLatin1Char('='));
}

/// The engine that endAtExit() ends, or null.
static PythonScript *startedEngine = nullptr;

static bool isEndPrepared = false;

static void endAtExit()
{
    if (PythonScript *const engine = std::exchange(startedEngine, nullptr))
        engine->end();
}

/// Called when the application object of Qt is destroyed.
static void registerEndAtExit()
{
    isEndPrepared = false;
    std::atexit(endAtExit);
}

/// Lets \p engine end first when the process ends. Otherwise it would end with the manager, when
/// what Qt has made after the manager is destroyed already, such as the stores of settings; but
/// threads and exit functions of scripts may use it.
///
/// The exit calls first what was registered last. So that is done as late as possible: when the
/// application object is destroyed. The engine does not end there, as the host may make another
/// application object, and go on with its scripts.
static void prepareEnd(PythonScript *engine)
{
    startedEngine = engine;
    if (!std::exchange(isEndPrepared, true))
        qAddPostRoutine(registerEndAtExit); // Qt calls it once
}

/// The library may be unloaded before the application object is destroyed.
static void forgetEnd(PythonScript *engine)
{
    if (startedEngine == engine)
        startedEngine = nullptr;
    if (!startedEngine && std::exchange(isEndPrepared, false))
        qRemovePostRoutine(registerEndAtExit);
}

static Data::String notStarted() { return QStringLiteral("Python not initialized"); }

PythonScript::PythonScript() = default;

PythonScript::~PythonScript()
{
    forgetEnd(this);
    if (!m_hasEnded)
        end();
}

void PythonScript::end()
{
    m_hasEnded = true;
    // The process ends from within a script, whose interpreter is still on the stack.
    if (m_interpreter.isInUse())
        return;

    onDeepStack([this] {
        // Without an interpreter the objects stay: a list that has elements of scripts cannot be
        // released then.
        if (PythonInterpreter::isCallable()) {
            for (PyObject *object : std::as_const(m_pushedObjects))
                Py_DECREF(object);
        }
        m_interpreter.end();
        PythonStreams::setSink({});
        PythonStreams::setSource({});
    });
}

bool PythonScript::runFile(const Data::String &path)
{
    return onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        PythonInterrupt::Run interruptible;
        if (!startToRun())
            return false;
        interruptible.beginScript();
        const Data::String startText = m_errorText;
        PythonRun run = PythonRun::file(path);
        if (run.error.isEmpty())
            run.error = startText;
        run.details = interruptible.finish(run.details);
        return store(run);
    });
}

bool PythonScript::runCode(const Data::String &code)
{
    return onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        PythonInterrupt::Run interruptible;
        if (!startToRun())
            return false;
        interruptible.beginScript();
        m_errorText.clear();
        const bool isStatements = !isExpression(code);
        const QStringList modules = m_modules; // that scripts may change meanwhile
        if (isStatements)
            addToMainScope(modules);
        PythonRun run = PythonRun::code(isStatements ? QString(code) : expressionProgram(code));
        run.details = interruptible.finish(run.details);
        return store(run);
    });
}

void PythonScript::pushData(const Data::String &name, const Data::Variant &value)
{
    if (!PythonInterpreter::isCallable())
        return;
    onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        const DataLocation location(name);
        if (location.isDotted && !m_modules.contains(location.moduleName))
            m_modules.append(location.moduleName);
        PythonReference object(toPython(value, PythonTypes::Pushed));
        PyObject *const module = PyImport_AddModule(location.module.constData());
        if (!object || !module)
            return;

        // One reference is the module's and one ours, so that the object outlives its name.
        PyObject *&pushed = m_pushedObjects[name];
        // Released last, as that may run a script that calls the engine.
        const PythonReference replaced(std::exchange(pushed, object.get()));
        Py_INCREF(object.get());
        if (PyModule_AddObject(module, location.attribute.constData(), object.get()) == 0)
            (void)object.release();
        else
            PyErr_Clear();
    });
}

Data::Variant PythonScript::getData(const Data::String &name)
{
    if (!PythonInterpreter::isCallable())
        return {};
    return onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        PyErr_Clear();
        if (PyObject *const pushed = m_pushedObjects.value(name))
            return fromPython(pushed);

        const DataLocation location(name);
        PyObject *const module = PyImport_AddModule(location.module.constData());
        const PythonReference attribute(
            module ? PyObject_GetAttrString(module, location.attribute.constData()) : nullptr);
        return fromPython(attribute.get());
    });
}

void PythonScript::popData(const Data::String &name)
{
    if (!PythonInterpreter::isCallable() || !m_pushedObjects.contains(name))
        return;
    onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        const DataLocation location(name);
        if (location.isDotted)
            m_modules.removeAll(location.moduleName);
        const PythonReference object(m_pushedObjects.take(name));
        PyObject *const module = PyImport_AddModule(location.module.constData());
        const char *const attribute = location.attribute.constData();
        if (!module || PyObject_SetAttrString(module, attribute, nullptr) != 0)
            PyErr_Clear(); // a script may have deleted it
    });
}

bool PythonScript::supports(const Data::String &language, bool isPath)
{
    const QLatin1String python("py");
    return language == python || (isPath && File::extension(language) == python);
}

bool PythonScript::validate(const Data::String &code)
{
    return onDeepStack([&] {
        const RunGuard guard(m_interpreter);
        const PythonInterrupt::Run interruptible;
        if (!start()) {
            const Data::String reason = m_errorText.isEmpty() ? notStarted() : m_errorText;
            m_error = ScriptErrorPrivate::ofText(reason);
            return false;
        }
        m_errorText.clear();
        return store(PythonRun::check(code));
    });
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
    m_consoleFeatures = 0;
    onDeepStack([this] { m_interpreter.requestEnd(); });
}

ScriptError PythonScript::error() const { return m_error; }

QList<ScriptError> PythonScript::moduleErrors() const { return m_interpreter.moduleErrors(); }

void PythonScript::setOutputSink(const ScriptOutputSink &sink) { PythonStreams::setSink(sink); }

void PythonScript::setInputSource(const ScriptInputSource &source)
{
    PythonStreams::setSource(source);
}

QVector<ScriptCompletion> PythonScript::complete(const Data::String &text)
{
    return completePython(text);
}

ScriptReply PythonScript::interpret(const Data::String &code, ScriptUnit unit)
{
    return onDeepStack([&]() -> ScriptReply {
        const RunGuard guard(m_interpreter);
        PythonInterrupt::Run interruptible;
        if (!startToRun())
            return {ScriptReply::Failed, 1, m_errorText};
        interruptible.beginScript();
        addToMainScope(m_modules);
        ScriptError error;
        const ScriptReply reply = interpretPython(code, unit, m_consoleFeatures, error);
        m_error = interruptible.finish(error);
        return reply;
    });
}

bool PythonScript::start()
{
    store({/*succeeded=*/true, {}, /*exitStatus=*/0, {}});
    Data::String message; // modules may run scripts, which store the outcome of their own
    const bool isStarted = m_interpreter.ensureStarted(message);
    m_errorText = message;
    if (isStarted) {
        m_hasEnded = false;
        prepareEnd(this);
    }
    return isStarted;
}

bool PythonScript::startToRun()
{
    if (start())
        return true;
    if (m_errorText.isEmpty())
        m_errorText = notStarted();
    m_error = ScriptErrorPrivate::ofText(m_errorText);
    return false;
}

bool PythonScript::store(const PythonRun &run)
{
    m_errorText = run.error;
    m_error = run.details;
    m_exitStatus = run.exitStatus.value_or(m_exitStatus);
    return run.succeeded;
}

QString PythonScript::expressionProgram(const QString &expression)
{
    QString program = importCode();
    appendLine(program, QStringLiteral("from KelmData import *"));
    appendLine(program, QStringLiteral("from KelmFramework import *"));
    for (const QString &module : std::as_const(m_modules))
        appendLine(program, QLatin1String("import ") + module);
    appendLine(program, QLatin1String("rval = ") + expression);
    appendLine(program, QStringLiteral("Framework.app().setScriptResult(Data.Variant(rval))"));
    return program;
}

} // namespace Utils
