#include "utils/script/ScriptManager.h"

#include "utils/Application_p.h"
#include "utils/base/Interrupt_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/script/IScriptConsole_p.h"
#include "utils/script/IScriptEngine.h"
#include "utils/script/ScriptEngines_p.h"
#include "utils/script/ScriptError_p.h"
#include "utils/script/ScriptManager_p.h"

#include <QScopedValueRollback>

#include <algorithm>
#include <cstdio>

namespace Utils {

ScriptManagerPrivate::ScriptManagerPrivate()
{
    alive = this;
    engines = makeScriptEngines();
}

ScriptManagerPrivate::~ScriptManagerPrivate()
{
    // Removed from the list first: the end of an engine may destroy modules, which then call every
    // engine in the list.
    while (!engines.isEmpty())
        delete engines.takeFirst();
    alive = nullptr;
}

/// A language is passed as a path, too.
static bool supports(IScriptEngine *engine, const Data::String &languageOrPath)
{
    return engine->supports(languageOrPath, /*isPath=*/true);
}

IScriptEngine *ScriptManagerPrivate::engineFor(const Data::String &languageOrPath) const
{
    for (IScriptEngine *engine : engines) {
        if (supports(engine, languageOrPath))
            return engine;
    }
    return nullptr;
}

QList<IScriptEngine *> ScriptManagerPrivate::enginesFor(const Data::String &languageOrPath) const
{
    QList<IScriptEngine *> found;
    std::copy_if(engines.begin(), engines.end(), std::back_inserter(found),
                 [&](IScriptEngine *engine) { return supports(engine, languageOrPath); });
    return found;
}

QList<IScriptConsole *> ScriptManagerPrivate::consoles() const
{
    QList<IScriptConsole *> found;
    for (IScriptEngine *engine : engines) {
        if (auto *const console = dynamic_cast<IScriptConsole *>(engine))
            found.append(console);
    }
    return found;
}

/// Makes the host, if there is one, show the catalogue's text of \p id.
static void showText(const char *id, const QStringList &values = QStringList())
{
    if (Data::IApplication *const host = application())
        host->showMessage(message(".Kelm.Utils", id, values), true);
}

/// Returns why a run or check of an engine has failed; an empty error when it \p succeeded.
static ScriptError errorOf(IScriptEngine *engine, bool succeeded)
{
    if (succeeded)
        return {};
    if (const auto *const errors = dynamic_cast<IScriptErrors *>(engine))
        return errors->error();
    return ScriptErrorPrivate::ofText(engine->errorMessage());
}

/// The error without an engine for \p languageOrPath.
static ScriptError withoutEngine(const Data::String &languageOrPath)
{
    return ScriptErrorPrivate::ofText(message(".Kelm.Utils", ".err.noengine", {languageOrPath}));
}

bool ScriptManagerPrivate::runFile(const Data::String &path, ScriptError &runError)
{
    const QScopedValueRollback<int> isExecuting(executing, executing + 1);
    showText(".msg.scriptRunning", {path});

    IScriptEngine *const engine = engineFor(path);
    if (!engine) {
        runError = error = withoutEngine(path);
        return false;
    }
    const bool succeeded = engine->runFile(path);
    runError = error = errorOf(engine, succeeded);
    std::fflush(stdout);
    std::fflush(stderr);
    if (succeeded)
        showText(".msg.scriptRun");
    else
        showText(".err.scriptRun", {QString::number(engine->exitStatus()), engine->errorMessage()});
    return succeeded;
}

ScriptManager &ScriptManager::instance()
{
    static ScriptManager manager;
    return manager;
}

bool ScriptManager::execute(const Data::String &path)
{
    ScriptError error;
    const bool succeeded = d->runFile(path, error);
    d->error = error; // the host may have run others
    d->scriptExecuted.addData(QStringLiteral("path"), path);
    d->scriptExecuted.addData(QStringLiteral("result"), succeeded);
    d->scriptExecuted.sendSignals();
    d->error = error;
    return succeeded;
}

bool ScriptManager::execute(const Data::String &code, const Data::String &language,
                            Data::Variant &result, Data::String &error) const
{
    d->scriptResult = Data::Variant();
    IScriptEngine *const engine = d->engineFor(language);
    if (!engine) {
        d->error = withoutEngine(language);
        return false;
    }

    const Data::String wanted = result.toString();
    result = Data::Variant();
    const bool succeeded = engine->runCode(code);
    d->error = errorOf(engine, succeeded);
    if (!succeeded) {
        error = engine->errorMessage();
        return false;
    }
    result = wanted.isEmpty() ? d->scriptResult : engine->getData(wanted);
    return true;
}

bool ScriptManager::supports(const Data::String &language) const
{
    return d->engineFor(language) != nullptr;
}

bool ScriptManager::validate(const Data::String &code, const Data::String &language,
                             Data::String &error) const
{
    IScriptEngine *const engine = d->engineFor(language);
    if (!engine) {
        d->error = withoutEngine(language);
        return false;
    }
    const bool isValid = engine->validate(code);
    d->error = errorOf(engine, isValid);
    if (isValid)
        return true;
    error = engine->errorMessage();
    return false;
}

Data::String ScriptManager::importCode(const Data::String &language)
{
    IScriptEngine *const engine = d->engineFor(language);
    return engine ? engine->importCode() : Data::String();
}

void ScriptManager::pushData(const Data::String &name, const Data::Variant &value,
                             const Data::String &language)
{
    d->pushedNames.append(name);
    const QList<IScriptEngine *> engines = d->enginesFor(language);
    for (IScriptEngine *engine : engines)
        engine->pushData(name, value);
}

bool ScriptManager::setDataContext(const Data::String &context, const Data::String &language)
{
    if (context == d->dataContext)
        return false;

    const QList<IScriptEngine *> engines = d->enginesFor(language);
    const QStringList names = d->pushedNames; // the end of an object may run code that pushes more
    for (IScriptEngine *engine : engines) {
        for (const QString &name : names)
            engine->popData(name);
    }
    d->pushedNames.clear();
    d->dataContext = context;
    return true;
}

void ScriptManager::setScriptResult(const Data::Variant &value) { d->scriptResult = value; }

bool ScriptManager::reset(const Data::String &language)
{
    const QList<IScriptEngine *> engines =
        language.isEmpty() ? d->engines : d->enginesFor(language);
    for (IScriptEngine *engine : engines)
        engine->reset();
    return true;
}

ScriptError ScriptManager::error() const { return d->error; }

QList<ScriptError> ScriptManager::moduleErrors(const Data::String &language) const
{
    QList<ScriptError> found;
    const QList<IScriptEngine *> engines = d->enginesFor(language);
    for (IScriptEngine *engine : engines) {
        if (const auto *const errors = dynamic_cast<IScriptErrors *>(engine))
            found += errors->moduleErrors();
    }
    return found;
}

bool ScriptManager::interrupt() { return Interrupt::request(); }

void ScriptManager::setTimeLimit(int milliseconds)
{
    Interrupt::timeLimit = std::max(milliseconds, 0);
}

int ScriptManager::timeLimit() { return Interrupt::timeLimit; }

int ScriptManager::interruptDelay() { return Interrupt::age(); }

bool ScriptManager::isExecuting() const { return d->executing != 0; }

Signal &ScriptManager::ScriptExecuted() { return d->scriptExecuted; }

void ScriptManager::setOutputSink(const ScriptOutputSink &sink)
{
    for (IScriptConsole *console : d->consoles())
        console->setOutputSink(sink);
}

void ScriptManager::setInputSource(const ScriptInputSource &source)
{
    for (IScriptConsole *console : d->consoles())
        console->setInputSource(source);
}

QVector<ScriptCompletion> ScriptManager::complete(const Data::String &text,
                                                  const Data::String &language) const
{
    auto *const console = dynamic_cast<IScriptConsole *>(d->engineFor(language));
    return console ? console->complete(text) : QVector<ScriptCompletion>();
}

ScriptReply ScriptManager::interpret(const Data::String &code, const Data::String &language,
                                     ScriptUnit unit)
{
    IScriptEngine *const engine = d->engineFor(language);
    auto *const console = dynamic_cast<IScriptConsole *>(engine);
    if (!console) {
        d->error = withoutEngine(language);
        return {ScriptReply::Failed, 1, {}};
    }
    ScriptReply reply = console->interpret(code, unit);
    const bool hasError = reply.state == ScriptReply::Failed || reply.state == ScriptReply::Exit;
    d->error = errorOf(engine, !hasError);
    std::fflush(stdout);
    std::fflush(stderr);
    return reply;
}

ScriptManager::ScriptManager() : d(std::make_unique<ScriptManagerPrivate>()) {}
ScriptManager::~ScriptManager() = default;

} // namespace Utils
