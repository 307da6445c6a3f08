#pragma once

#include "utils/signals/Signal.h"

namespace Utils {

/// A Signal that any code may construct and send.
///
///     Utils::PublicSignal opened("DocumentOpened", nullptr);
///     opened.connect(&slot);
///     opened.addData("path", path).addData("rows", 1200);
///     const bool isAccepted = opened.sendSignals();
class KELMUTILS_EXPORT PublicSignal : public Signal
{
    Q_OBJECT

public:
    PublicSignal(const char *name, QObject *parent);
    ~PublicSignal() override;

    bool sendSignals() override;
};

} // namespace Utils
