#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual operation in the vtable of its class, counted from 0, or -1 when it is
/// not virtual. Read from the member pointer as the Itanium C++ ABI lays it out (every compiler on
/// Linux): the offset in bytes, and that by which the object is moved. For a virtual function the
/// first is one more than that; on ARM, where an address of code may be odd, the second is odd.
template <typename Member>
int vtableIndex(Member member)
{
    std::ptrdiff_t raw[2] = {};
    static_assert(sizeof(member) == sizeof(raw));
    std::memcpy(raw, &member, sizeof(raw));
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = raw[1] % 2 != 0;
    const std::ptrdiff_t offset = raw[0];
#else
    const bool isVirtual = raw[0] % 2 != 0;
    const std::ptrdiff_t offset = raw[0] - 1;
#endif
    return isVirtual ? static_cast<int>(offset / static_cast<int>(sizeof(void *))) : -1;
}
