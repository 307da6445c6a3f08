#pragma once

#include "utils/script/IScriptEngine.h"
#include "utils/script/ScriptManager.h"
#include "utils/script/ScriptManager_p.h"

#include <QMap>
#include <QStringList>

#include <functional>

/// An engine that records every call except supports(), in order, as "name.operation(arguments)",
/// and then calls `reaction`. It supports its name as a language, and as the suffix of a path.
class FakeEngine : public Utils::IScriptEngine
{
public:
    FakeEngine(const QString &name, QStringList &calls) : m_name(name), m_calls(calls) {}

    bool succeeds = true; ///< what runFile(), runCode() and validate() return
    int status = 0;
    Data::String error;
    QMap<QString, Data::Variant> variables; ///< what getData() knows
    std::function<void(const QString &call)> reaction;

    bool runFile(const Data::String &path) override
    {
        note("runFile(" + path + ")");
        return succeeds;
    }
    bool runCode(const Data::String &code) override
    {
        note("runCode(" + code + ")");
        return succeeds;
    }
    void pushData(const Data::String &name, const Data::Variant &value) override
    {
        note("pushData(" + name + ", " + value.toString() + ")");
    }
    Data::Variant getData(const Data::String &name) override
    {
        note("getData(" + name + ")");
        return variables.value(name);
    }
    void popData(const Data::String &name) override { note("popData(" + name + ")"); }
    bool supports(const Data::String &language, bool isPath) override
    {
        return language == m_name || (isPath && language.endsWith("." + m_name));
    }
    bool validate(const Data::String &code) override
    {
        note("validate(" + code + ")");
        return succeeds;
    }
    int exitStatus() const override { return status; }
    Data::String errorMessage() const override { return error; }
    void moduleRemoved(const Data::String &moduleName) override
    {
        note("moduleRemoved(" + moduleName + ")");
    }
    Data::String importCode() override
    {
        note("importCode()");
        return "import " + m_name + "\n";
    }
    void reset() override { note("reset()"); }

private:
    void note(const QString &operation)
    {
        m_calls.append(m_name + "." + operation);
        if (reaction)
            reaction(operation);
    }

    QString m_name;
    QStringList &m_calls;
};

/// Replaces the engines of the manager during its lifetime. Its destructor restores the state that
/// the manager had before.
class EngineReplacement
{
public:
    explicit EngineReplacement(const QList<Utils::IScriptEngine *> &engines)
    {
        Utils::ScriptManager::instance();
        state().engines.swap(m_own);
        state().engines = engines;
    }
    ~EngineReplacement()
    {
        state().engines.swap(m_own);
        state().executing = 0;
        state().dataContext.clear();
        state().pushedNames.clear();
        state().scriptResult = Data::Variant();
    }
    Q_DISABLE_COPY(EngineReplacement)

    static Utils::ScriptManagerPrivate &state() { return *Utils::ScriptManagerPrivate::ifAlive(); }

private:
    QList<Utils::IScriptEngine *> m_own;
};
