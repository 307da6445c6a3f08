#pragma once

#include <QElapsedTimer>

/// Milliseconds since a moment that is the same for all processes of the system.
inline qint64 systemClock()
{
    QElapsedTimer timer;
    timer.start();
    return timer.msecsSinceReference();
}
