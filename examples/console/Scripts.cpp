#include "examples/console/Scripts.h"

#include "examples/console/Terminal.h"
#include "utils/script/ScriptManager.h"

namespace Kelm {

static bool wereStarted = false;

bool startScripts(Data::String &error)
{
    const Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
    if (!scripts.supports("py")) {
        error = "This program was built without Python";
        return false;
    }
    // Modules are in folders of this program or of others: no compiled files are written there.
    if (!qEnvironmentVariableIsSet("PYTHONDONTWRITEBYTECODE"))
        qputenv("PYTHONDONTWRITEBYTECODE", "1");
    wereStarted = true;
    // The first text starts it, and this one does nothing else.
    return scripts.validate("", "py", error);
}

void endScripts()
{
    if (wereStarted)
        Utils::ScriptManager::instance().reset("");
}

InterruptibleScript::InterruptibleScript()
{
    Terminal::setInterruptFunction(&Utils::ScriptManager::interrupt);
}

InterruptibleScript::~InterruptibleScript() { Terminal::setInterruptFunction(nullptr); }

} // namespace Kelm
