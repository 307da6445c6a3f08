#pragma once

#include "data/ProcessWide_p.h"
#include "data/String.h"

#include <QMap>
#include <QSet>

namespace Utils {

class Signal;

/// The named signals of the process.
///
/// A name with a null entry is ambiguous: two signals were created with it, or find() was called
/// before any was. An entry may point to a signal that was destroyed under another name, so do not
/// dereference entries.
struct SignalRegistry
{
    QMap<Data::String, Signal *> byName;
};
extern Data::ProcessWide<SignalRegistry> signalRegistry;

/// The ids of the pending single-shot calls. They are destroyed after the signal registry, so they
/// are valid while the registry is alive.
struct PendingCalls
{
    QSet<Data::String> ids;
};
extern PendingCalls pendingCalls;

} // namespace Utils
