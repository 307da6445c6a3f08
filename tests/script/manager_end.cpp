// Prints how the manager is destroyed at the end of the process. See tst_ScriptManager.cpp.

#include "utils/script/IScriptableModule.h"
#include "utils/script/ModuleList_p.h"

#include "tests/script/FakeEngine.h"

#include <cstdio>
#include <memory>

using Utils::ScriptManagerPrivate;

namespace {

const char *describeManager() { return ScriptManagerPrivate::ifAlive() ? "manager" : "no manager"; }

class Module : public Utils::IScriptableModule
{
public:
    Module() : IScriptableModule("late") {}
    bool initialize() override { return true; }
};

/// An engine that reports its end, and has a module that ends with it.
class MortalEngine : public FakeEngine
{
public:
    MortalEngine(const QString &name, QStringList &calls, bool hasModule)
        : FakeEngine(name, calls), m_module(hasModule ? std::make_unique<Module>() : nullptr)
    {}
    ~MortalEngine() override
    {
        std::printf("end of an engine: %s with %d engines, modules %s\n", describeManager(),
                    ScriptManagerPrivate::ifAlive()->engines.size(),
                    Utils::moduleList.isAlive ? "alive" : "dead");
    }
    void moduleRemoved(const Data::String &moduleName) override
    {
        std::printf("b told of the end of %s\n", moduleName.toUtf8().constData());
    }

private:
    std::unique_ptr<Module> m_module;
};

} // namespace

int main()
{
    std::printf("start: %s\n", describeManager());
    std::atexit([] { std::printf("end: %s\n", describeManager()); });
    static QStringList calls;
    Utils::ScriptManager::instance();
    std::printf("main: %s\n", describeManager());
    QList<Utils::IScriptEngine *> &engines = ScriptManagerPrivate::ifAlive()->engines;
    qDeleteAll(engines);
    engines = {new MortalEngine("a", calls, /*hasModule=*/true),
               new MortalEngine("b", calls, /*hasModule=*/false)};
}
