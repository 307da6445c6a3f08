// A library with a static signal and a static module, and with texts, tags and character entities
// to look up and a table to read, that die after the library they build on.

#include "tests/library/Keeper.h"
#include "utils/csv/CSVTable.h"
#include "utils/files/File.h"
#include "utils/script/IScriptableModule.h"
#include "utils/script/ScriptManager.h"
#include "utils/signals/PublicSignal.h"
#include "utils/strings/StringTable.h"
#include "utils/strings/Translator.h"
#include "utils/tagfile/TagFile.h"
#include "utils/text/StringUtil.h"

#include <cstdio>
#include <new>

namespace {

class Module : public Utils::IScriptableModule
{
public:
    Module() : IScriptableModule("late") {}
    bool initialize() override
    {
        std::printf("initialised\n");
        return true;
    }
};

// Built and destroyed by hand, as their end must come with the keeper's, not with this library's.
alignas(Utils::PublicSignal) unsigned char signalStorage[sizeof(Utils::PublicSignal)];
alignas(Module) unsigned char moduleStorage[sizeof(Module)];
Utils::PublicSignal *lateSignal = nullptr;
Module *lateModule = nullptr;
Utils::Translator *translator = nullptr; // never deleted

void report(const char *when)
{
    Data::String messages;
    std::printf("%s: signal %s\n", when,
                Utils::Signal::find("late") == lateSignal ? "found" : "not found");
    Utils::IScriptableModule::resetModules();
    Utils::IScriptableModule::initializeModules(messages);

    using Utils::StringTable;
    const Data::String key(".Kelm.Utils.msg.scriptRun");
    StringTable::initialize("en", "", "");
    std::printf("%s: table %s\n", when, StringTable::load("Kelm.Utils") ? "loaded" : "not loaded");
    for (const Data::String &text :
         {StringTable::lookup(key), StringTable::lookupx(".msg.scriptRun", "Kelm.Utils"),
          StringTable::lookupl(key, "en"), StringTable::lookupil(key, 0, ';', "en"),
          StringTable::lookup("&Undo", "QLineEdit"),
          Data::String(translator->translate("PlateForm", ".title"))})
        std::printf("\"%s\"\n", text.toUtf8().constData());

    Utils::TagFile tags;
    for (int i = 0; i < 100; ++i)
        tags.mtag(0).add(when, "v");
    std::printf("%s: invalid tags %d %d %d\n", when, tags.tag(0).numProps(),
                tags.mtag(0).numProps(), tags.findTag("a").numProps());
    std::printf("%s: symbols %s\n", when,
                Utils::StringUtil::replaceSymbol("&alpha;&Omega;").toUtf8().constData());
    Utils::CSVTable table;
    table.read(SAMPLES "/load_curve.csv");
    std::printf("%s: table of %s, columns %d\n", when,
                Utils::File::sizeString("2048").toUtf8().constData(), table.numColumns(0));
}

void tearDown()
{
    report("end");
    lateSignal->addData("a", 1);
    std::printf("sent: %s\n", lateSignal->sendSignals() ? "yes" : "no");
    lateSignal->~PublicSignal();
    lateModule->~Module();
    std::printf("destroyed\n");
    std::printf("text: \"%s\"\n", Data::String(QString(200, 'x')).c_str());
}

} // namespace

extern "C" __attribute__((visibility("default"))) void setUpLatecomer()
{
    translator = new Utils::Translator;
    Utils::StringTable::initialize("de", "", "");
    Utils::File::setSearchPath(TEST_RESOURCES, "");
    Utils::StringTable::load("Plate");
    Utils::File::setSearchPath(LIBRARY_RESOURCES, "");
    lateSignal = new (signalStorage) Utils::PublicSignal("late", nullptr);
    lateModule = new (moduleStorage) Module;
    Utils::ScriptManager::instance(); // is notified of the end of modules only while it exists
    callAtTheEnd(tearDown);
    Data::String(QString(100, 'x')).c_str(); // makes the buffer, which is released before the end
    report("start");
}
