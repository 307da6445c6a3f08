#pragma once

#include "utils/signals/Signal.h"

namespace Utils {

/// A call that waits for its timer, keyed by its name. It deletes itself when its time has come.
class SingleShot : public Signal
{
    Q_OBJECT

public:
    /// Enters \p id into the pending ids. Null gives the name "singleshot", which is not entered,
    /// so that the call is dropped at its time.
    explicit SingleShot(const char *id);

protected:
    /// Sends if the id still waits, or is "singleShot", which cannot be cancelled. Note the capital
    /// letter: the two names are different and meant to be.
    bool sendSignals() override;
};

} // namespace Utils
