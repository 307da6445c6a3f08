#pragma once

#define RTLD_DEFAULT nullptr
#define RTLD_NEXT nullptr
#define RTLD_NOW 0
#define RTLD_LAZY 0
#define RTLD_LOCAL 0
#define RTLD_GLOBAL 0
#define RTLD_NOLOAD 0

inline void *dlopen(const char *, int) { return nullptr; }
inline void *dlsym(void *, const char *) { return nullptr; }
inline const char *dlerror() { return "not supported"; }
inline int dlclose(void *) { return 0; }
