// Every process-wide object of the library that has state when the library loads, in load order,
// and nothing else. They are destroyed in the reverse order, and do not depend on Qt's application
// object or on the host. Objects that are created on first use are function-local statics in the
// sources of their classes. An object that may be accessed after its destruction is a
// Data::ProcessWide.

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
#include "utils/signals/SignalTracer_p.h"
#include "utils/text/DateTime_p.h"
#include "utils/xml/VersionStrings_p.h"

namespace Utils {

PendingCalls pendingCalls; // signals: ids of the pending single-shot calls

Data::ProcessWide<SignalRegistry> signalRegistry; // signals: the named signals

Data::ProcessWide<SignalTracer> signalTracer; // signals: the function called for each send

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

// Where the linker cannot set the superclass links of the meta-objects of Signal and Slot, they are
// set at this position in load order; they need no line here.

} // namespace Utils

const Data::MetaTypes Data::metaTypes; // data: names of the payload types, known to Qt
