#pragma once

#include "data/String.h"

#include <QMap>

namespace Utils {

class Signal;

/// The named signals of the process.
///
/// A name that is null in the map is taken but belongs to nobody: two signals have asked for it,
/// or it was looked up before there was one. An entry may point to a signal that has died under
/// another name, so nothing here may be dereferenced.
struct SignalRegistry
{
    ~SignalRegistry() { alive = false; } // the map is released behind this line

    QMap<Data::String, Signal *> byName;
    static bool alive; // a plain bool, so that what dies later may still ask
};
extern SignalRegistry signalRegistry;

} // namespace Utils
