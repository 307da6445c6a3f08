#pragma once

#include "data/String.h"

namespace Utils {

/// The named formats of DateTime. They hold literals, which outlive them, so that an object that
/// dies later may still ask.
struct DateTimeFormats
{
    static const Data::String serialize;
    static const Data::String path;
    static const Data::String iso;
    static const Data::String isoMs;
    static const Data::String standard;
    static const Data::String ui;
};

} // namespace Utils
