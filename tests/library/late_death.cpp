#include "tests/library/Keeper.h"

#include <dlfcn.h>

#include <cstdio>

int main()
{
    callAtTheEnd(nullptr); // links the keeper in, which must be there before the latecomer

    void *const library = dlopen(LATECOMER, RTLD_NOW | RTLD_LOCAL);
    void *const setUp = library ? dlsym(library, "setUpLatecomer") : nullptr;
    if (!setUp) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    reinterpret_cast<void (*)()>(setUp)();
}
