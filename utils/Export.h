#pragma once

#include <QtGlobal>

/// Marks what a host may call. All other symbols are hidden.
#ifdef KELMUTILS_LIBRARY
#define KELMUTILS_EXPORT Q_DECL_EXPORT
#else
#define KELMUTILS_EXPORT Q_DECL_IMPORT
#endif
