#pragma once

#include "data/String.h"

#include <QSet>

namespace Utils {

/// The ids of the single-shot calls that wait. It is released after the signal registry, whose
/// alive flag therefore covers both.
struct PendingCalls
{
    QSet<Data::String> ids;
};
extern PendingCalls pendingCalls;

} // namespace Utils
