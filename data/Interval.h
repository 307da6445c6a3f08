#pragma once

#include <QtGlobal>

namespace Data {

/// A range of numbers. Its flags tell which of the two ends are set.
struct Interval
{
    enum Flag : qint32
    {
        HasMin = 1,
        HasMax = 2
    };

    double min = 0.0; ///< lower end, 0.0 while not set
    double max = 0.0; ///< upper end, 0.0 while not set
    qint32 flags = 0; ///< the ends that are set, Flag values combined by |; 0 is the empty interval
};

} // namespace Data
