/// \file
/// Logging and time, implemented by the hosting process. Called from every thread that runs library code.
#ifndef ZEF_CONFIG_PLATFORM_LOG_H
#define ZEF_CONFIG_PLATFORM_LOG_H

#include "PlatformApi.h"

#include <cstdint>

extern "C" {

/// Threshold of the host's log: a mapped level greater than this one is not printed. The library only reads it.
ZEF_PLATFORM_API extern int g_infra_log_lvl;

/// Writes one message. `format` and what follows are those of printf; nothing is kept after the return.
/// - module: 873 for the library's ordinary log, 666 for the protocol log (refusals of management requests)
/// - level: 3 error, 4 notice, 5 information for module 873; a value of nas_log_map_get for module 666
/// - file: name of the source file; line and function: the place of the call
/// - reserved: always 0
ZEF_PLATFORM_API void yrlog(int module, int level, const char *file, int line, const char *function, int reserved,
                            const char *format, ...) __attribute__((format(printf, 7, 8)));

/// 0 when messages of this module and mapped level are to be printed, any other value when they are to be dropped.
ZEF_PLATFORM_API int yrlog_level_check(int module, int level);

/// Maps one of the levels above to the host's own scale, on which g_infra_log_lvl is measured.
ZEF_PLATFORM_API int nas_log_map_get(int level);

/// A monotonic clock. 15000 jiffies end a burst of protocol messages; 150000 lie between two reports of suppressed
/// ones, and in front of the first.
ZEF_PLATFORM_API uint64_t yrax_get_jiffies(void);
}

#endif
