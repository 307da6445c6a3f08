// A plugin with a host that runs scripts. See plugin_host.cpp.

#include "utils/Application.h"
#include "utils/script/ScriptManager.h"

#include "tests/support/FakeHost.h"

#include <cstdio>

extern "C" __attribute__((visibility("default"))) void runScripts()
{
    static FakeHost host;
    host.variables = {{"PYTHON_DIR", KELMUTILS_PYTHON_HOME}};
    Utils::setApplication(&host);
    Utils::ScriptManager &scripts = Utils::ScriptManager::instance();
    for (const char *const module : {"sip", "KelmData", "KelmUtils", "_ctypes", "_hashlib"}) {
        Data::Variant result;
        Data::String error;
        const Data::String code = Data::String("import ") + module + "\n";
        const bool succeeded = scripts.execute(code, "py", result, error);
        std::printf("%s: %s\n", module, succeeded ? "imported" : error.toUtf8().constData());
    }
    Data::Variant result("joined");
    Data::String error;
    scripts.execute("joined = str(KelmUtils.Utils.File.join('a', 'b'))", "py", result, error);
    std::printf("%s\n", result.toString().toUtf8().constData());
    scripts.reset("");
    scripts.execute("import KelmUtils\n"
                    "joined = str(KelmUtils.Utils.File.join('c', 'd'))",
                    "py", result = "joined", error);
    std::printf("%s\n", result.toString().toUtf8().constData());
}
