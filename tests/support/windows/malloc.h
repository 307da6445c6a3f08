#pragma once

#include_next <malloc.h>

#include <cstddef>

/// How much memory is allocated: not known here.
struct mallinfo2
{
    std::size_t uordblks;
    std::size_t hblkhd;
};
inline struct mallinfo2 mallinfo2() { return {}; }
