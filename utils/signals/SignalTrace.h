#pragma once

#include "data/String.h"

namespace Utils {

/// A send of a Signal, as it is passed to the function of Signal::setTracer().
struct SignalTrace
{
    /// The rows of the table of emissions in Signal.
    enum class Shape
    {
        Empty,     ///< sig()
        OneEntry,  ///< sig(), sig(v), sig(k, v), sig(payload)
        Item,      ///< sig(), sig("item", item), sig(payload)
        Collection ///< sig(), sig(payload)
    };

    Data::String name;          ///< of the signal
    Shape shape = Shape::Empty; ///< of the payload when the send began
    int receivers = 0;          ///< connections to the emissions of the shape, when the send began
    double microseconds = 0.0;  ///< from the start of the send to its end, nested sends included
    int depth = 0;              ///< the number of sends in which this one is nested
};

} // namespace Utils
