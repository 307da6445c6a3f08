// Every process-wide object of the library that has state when the library loads, in load order,
// and nothing else. They are torn down in the reverse order, and nothing here depends on Qt's
// application object or on the host. What is made on first use is a function-local static in the
// source of its class. What may be asked for after its end is a Data::ProcessWide.

#ifdef KELMUTILS_SCRIPTING
#include "bindings/Modules.h"
#include "bindings/ScriptableModuleKelmUtils.h"
#include "utils/script/PythonInterpreter_p.h"
#endif
#include "data/MetaTypes_p.h"
#include "utils/catalogue/Catalogue_p.h"
#include "utils/feedback/Progress_p.h"
#include "utils/files/File_p.h"
#include "utils/script/ModuleList_p.h"
#include "utils/signals/SignalRegistry_p.h"
#include "utils/text/DateTime_p.h"
#include "utils/xml/VersionStrings_p.h"

namespace Utils {

PendingCalls pendingCalls; // signals: ids of the single-shot calls that wait

Data::ProcessWide<SignalRegistry> signalRegistry; // signals: the named signals

// files: the folders in which File looks for resources
Data::String SearchPaths::resources(QStringLiteral("../res"));
Data::String SearchPaths::plugins;

// text: the named formats of DateTime
const Data::String DateTimeFormats::serialize(QStringLiteral("_serialize"));
const Data::String DateTimeFormats::path(QStringLiteral("_path"));
const Data::String DateTimeFormats::iso(QStringLiteral("yyyy-MM-ddThh:mm:ss"));
const Data::String DateTimeFormats::isoMs(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz"));
const Data::String DateTimeFormats::standard(QStringLiteral("dd MMM yyyy hh:mm:ss"));
const Data::String DateTimeFormats::ui(QStringLiteral("MMM d, yyyy @ h:mm"));

Data::ProcessWide<Catalogue> catalogue; // catalogue: the texts

QMap<Data::String, double> versionStrings; // xml: the numbers of registered version texts

Data::ProcessWide<ModuleList> moduleList; // script: the scriptable modules

#ifdef KELMUTILS_SCRIPTING
void (*const PythonInterpreter::makeLibraryModule)() = initKelmUtils; // script: from the bindings
ScriptableModuleKelmUtils scriptableModuleKelmUtils; // bindings: the module KelmUtils
ScriptableModuleKelmData scriptableModuleKelmData;   // bindings: its companion
#endif

ProgressState progressState; // feedback: the chains of reporters, and the label shown last

// The superclass links of the meta-objects of Signal and Slot are set here in load order where the
// platform does not let the linker set them; they need no line.

} // namespace Utils

const Data::MetaTypes Data::metaTypes; // data: names of the payload types, known to Qt
