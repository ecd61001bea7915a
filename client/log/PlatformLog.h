// The library's side of the log: the platform's levels on the client's scale.
#ifndef ZEF_CLIENT_LOG_PLATFORM_LOG_H
#define ZEF_CLIENT_LOG_PLATFORM_LOG_H

#include "log/Log.h"

namespace zef {

// Sets g_infra_log_lvl so that the library's messages pass exactly when IsLogged shows their level.
void SetPlatformLogLevel(LogLevel level);

// Writes how many of the library's messages were left out and not told yet.
void FlushPlatformLog();

}  // namespace zef

#endif
