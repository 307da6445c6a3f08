#include "tests/library/Keeper.h"

namespace {

struct Keeper
{
    ~Keeper()
    {
        if (function)
            function();
    }
    void (*function)() = nullptr;
};
Keeper keeper;

} // namespace

void callAtTheEnd(void (*function)()) { keeper.function = function; }
