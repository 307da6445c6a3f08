#pragma once

#include "data/ProcessWide_p.h"
#include "data/String.h"

#include <QMap>
#include <QSet>

namespace Utils {

class Signal;

/// The named signals of the process.
///
/// A name that is null in the map is ambiguous: two signals have asked for it, or it was looked up
/// before there was one. An entry may point to a signal that has died under
/// another name, so nothing here may be dereferenced.
struct SignalRegistry
{
    QMap<Data::String, Signal *> byName;
};
extern Data::ProcessWide<SignalRegistry> signalRegistry;

/// The ids of the single-shot calls that wait. They are released after the signal registry, so
/// where that is alive they are, too.
struct PendingCalls
{
    QSet<Data::String> ids;
};
extern PendingCalls pendingCalls;

} // namespace Utils
