#pragma once

namespace Utils::Platform {

/// How a file without a name gets the name of another one, which needs a name in between.
struct Renaming
{
    const char *nameless; // its path in /proc
    int folder;
    const char *between;
    const char *target;
};

/// Does so in a process of its own, which shares the memory of this one, while the calling thread
/// waits: a kill of this process leaves no name in between. Where no process can be started, does
/// so in this one. Returns 0 or an error number.
int renameApart(const Renaming &renaming);

} // namespace Utils::Platform
