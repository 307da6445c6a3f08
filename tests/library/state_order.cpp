// Prints when each process-wide object of the library is constructed and destroyed, with the state
// of the alive flags after each destruction. See tst_Library.cpp.

#ifdef KELMUTILS_SCRIPTING
#include "bindings/ScriptableModuleKelmUtils.h"
#endif
#include "utils/catalogue/Catalogue_p.h"
#include "utils/feedback/Progress_p.h"
#include "utils/files/File_p.h"
#include "utils/script/ModuleList_p.h"
#include "utils/signals/SignalRegistry_p.h"
#include "utils/text/DateTime_p.h"
#include "utils/xml/VersionStrings_p.h"

#include <cstdio>

namespace {

struct KnownObject
{
    const void *address;
    const char *name;
    void (*destroy)(void *);
};

// Set up by the compiler, as it is asked before any object is made.
KnownObject knownObjects[] = {
    {&Utils::pendingCalls, "pending calls", nullptr},
    {&Utils::signalRegistry, "signal registry", nullptr},
    {&Utils::SearchPaths::resources, "resource path", nullptr},
    {&Utils::SearchPaths::plugins, "plugin path", nullptr},
    {&Utils::DateTimeFormats::serialize, "date format serialize", nullptr},
    {&Utils::DateTimeFormats::path, "date format path", nullptr},
    {&Utils::DateTimeFormats::iso, "date format ISO", nullptr},
    {&Utils::DateTimeFormats::isoMs, "date format ISO ms", nullptr},
    {&Utils::DateTimeFormats::standard, "date format default", nullptr},
    {&Utils::DateTimeFormats::ui, "date format UI", nullptr},
    {&Utils::catalogue, "string tables", nullptr},
    {&Utils::versionStrings, "XML version texts", nullptr},
    {&Utils::moduleList, "module list", nullptr},
#ifdef KELMUTILS_SCRIPTING
    {&Utils::scriptableModuleKelmUtils, "module KelmUtils", nullptr},
    {&Utils::scriptableModuleKelmData, "module KelmData", nullptr},
#endif
    {&Utils::progressState, "progress state", nullptr},
};

void destroyKnownObject(void *object)
{
    for (const KnownObject &known : knownObjects) {
        if (known.address != object)
            continue;
        known.destroy(object);
        std::printf("gone: %s (signals %s, strings %s, modules %s)\n", known.name,
                    Utils::signalRegistry.isAlive ? "alive" : "dead",
                    Utils::catalogue.isAlive ? "alive" : "dead",
                    Utils::moduleList.isAlive ? "alive" : "dead");
    }
}

} // namespace

// By the Itanium C++ ABI every object with static storage announces its destructor here as soon as
// it is made. The linker leads these calls through us.
extern "C" int __real___cxa_atexit(void (*destroy)(void *), void *object, void *library);

extern "C" int __wrap___cxa_atexit(void (*destroy)(void *), void *object, void *library)
{
    for (KnownObject &known : knownObjects) {
        if (known.address != object)
            continue;
        std::printf("made: %s\n", known.name);
        known.destroy = destroy;
        destroy = destroyKnownObject;
    }
    return __real___cxa_atexit(destroy, object, library);
}

int main()
{
    std::printf("main: %d calls, %d signals, %d tables, %d modules\n",
                Utils::pendingCalls.ids.size(), Utils::signalRegistry->byName.size(),
                Utils::catalogue->tables.size(), Utils::moduleList->modules.size());
}
