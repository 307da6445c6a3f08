#pragma once

#define RTLD_DEFAULT nullptr
#define RTLD_NEXT nullptr
#define RTLD_NOW 0
#define RTLD_LAZY 0
#define RTLD_LOCAL 0
#define RTLD_GLOBAL 0
#define RTLD_NOLOAD 0

// In tests/support/Windows.cpp.
void *dlopen(const char *path, int flags);
void *dlsym(void *library, const char *name); // null for RTLD_DEFAULT and RTLD_NEXT
const char *dlerror();
int dlclose(void *library);
