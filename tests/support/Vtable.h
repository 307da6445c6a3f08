#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual operation in the vtable of its class, counted from 0, or -1 when it is
/// not virtual. Read from the member pointer as the Itanium C++ ABI lays it out (every compiler on
/// Linux): one more than the offset in bytes, odd for a virtual function.
template <typename Member>
int vtableIndex(Member member)
{
    std::ptrdiff_t raw = 0;
    static_assert(sizeof(member) >= sizeof(raw));
    std::memcpy(&raw, &member, sizeof(raw));
    return raw % 2 == 0 ? -1 : static_cast<int>((raw - 1) / static_cast<int>(sizeof(void *)));
}
