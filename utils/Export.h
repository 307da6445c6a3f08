#pragma once

#include <QtGlobal>

/// Marks what a host may call. Everything else stays inside the library.
#ifdef KELMUTILS_LIBRARY
#define KELMUTILS_EXPORT Q_DECL_EXPORT
#else
#define KELMUTILS_EXPORT Q_DECL_IMPORT
#endif
