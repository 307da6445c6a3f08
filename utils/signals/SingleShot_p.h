#pragma once

#include "utils/signals/Signal.h"

namespace Utils {

/// A call that waits for its timer, identified by its name. Deletes itself after its timeout.
class SingleShot : public Signal
{
    Q_OBJECT

public:
    /// Inserts \p id into the pending ids. A null id becomes the name "singleshot", which is not
    /// inserted, so the call is dropped after its timeout.
    explicit SingleShot(const char *id);

protected:
    /// Sends if the id is still pending, or is "singleShot", which cannot be cancelled. Note the
    /// capital letter: the two names differ intentionally.
    bool sendSignals() override;
};

} // namespace Utils
