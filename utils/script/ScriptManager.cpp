#include "utils/script/ScriptManager.h"

#include "utils/Application_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/script/IScriptEngine.h"
#include "utils/script/ScriptEngines_p.h"
#include "utils/script/ScriptManager_p.h"

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

/// Makes the host, if there is one, show the catalogue's text of \p id.
static void showText(const char *id, const QStringList &values = QStringList())
{
    if (Data::IApplication *const host = application())
        host->showMessage(message(".Kelm.Utils", id, values), true);
}

ScriptManager &ScriptManager::instance()
{
    static ScriptManager manager;
    return manager;
}

bool ScriptManager::execute(const Data::String &path)
{
    ++d->executing;
    showText(".msg.scriptRunning", {path});

    bool succeeded = false;
    if (IScriptEngine *const engine = d->engineFor(path)) {
        succeeded = engine->runFile(path);
        std::fflush(stdout);
        std::fflush(stderr);
        if (succeeded)
            showText(".msg.scriptRun");
        else
            showText(".err.scriptRun",
                     {QString::number(engine->exitStatus()), engine->errorMessage()});
    }

    --d->executing;
    d->scriptExecuted.addData(QStringLiteral("path"), path);
    d->scriptExecuted.addData(QStringLiteral("result"), succeeded);
    d->scriptExecuted.sendSignals();
    return succeeded;
}

bool ScriptManager::execute(const Data::String &code, const Data::String &language,
                            Data::Variant &result, Data::String &error) const
{
    d->scriptResult = Data::Variant();
    IScriptEngine *const engine = d->engineFor(language);
    if (!engine)
        return false;

    const Data::String wanted = result.toString();
    result = Data::Variant();
    if (!engine->runCode(code)) {
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
    if (!engine)
        return false;
    if (engine->validate(code))
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

bool ScriptManager::isExecuting() const { return d->executing != 0; }

Signal &ScriptManager::ScriptExecuted() { return d->scriptExecuted; }

ScriptManager::ScriptManager() : d(std::make_unique<ScriptManagerPrivate>()) {}
ScriptManager::~ScriptManager() = default;

} // namespace Utils
