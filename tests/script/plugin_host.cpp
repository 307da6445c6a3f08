// A program that does not use the library, and loads a plugin that does.

#include <dlfcn.h>

#include <cstdio>

int main()
{
    void *const plugin = dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL);
    void *const runScripts = plugin ? dlsym(plugin, "runScripts") : nullptr;
    if (!runScripts) {
        std::printf("%s\n", dlerror());
        return 1;
    }
    std::printf("Python is %s\n", dlsym(RTLD_DEFAULT, "Py_IsInitialized") ? "global" : "local");
    reinterpret_cast<void (*)()>(runScripts)();
}
