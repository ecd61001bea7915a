/// \file
/// Bounds-checked memory and string functions with the interface of C11 Annex K, implemented by the hosting process.
/// Called from every thread that runs library code.
///
/// All return 0 on success and another value when an argument is null or the result would not fit `destSize`; the
/// destination then holds whatever the implementation leaves there.
#ifndef ZEF_CONFIG_PLATFORM_BOUNDS_CHECKED_H
#define ZEF_CONFIG_PLATFORM_BOUNDS_CHECKED_H

#include "PlatformApi.h"

#include <cstddef>

extern "C" {

/// Sets the first `count` of `destSize` bytes to `value`. Must not be removed by an optimiser: it wipes secrets.
ZEF_PLATFORM_API int memset_s(void *dest, size_t destSize, int value, size_t count);

/// Copies `src` with its terminating zero. destSize counts the terminator.
ZEF_PLATFORM_API int strcpy_s(char *dest, size_t destSize, const char *src);

/// Appends `src` to the text in `dest`. destSize is the size of the whole buffer.
ZEF_PLATFORM_API int strcat_s(char *dest, size_t destSize, const char *src);
}

#endif
