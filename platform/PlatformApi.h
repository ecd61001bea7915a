/// \file
/// Linkage of the platform interface: what libzef_config.so expects from the process that loads it.
///
/// The library declares no dependency on whoever implements these functions. The dynamic loader binds them at load time
/// to the hosting program, which therefore has to be linked so that it exports its symbols (CMake: ENABLE_EXPORTS).
#ifndef ZEF_CONFIG_PLATFORM_PLATFORM_API_H
#define ZEF_CONFIG_PLATFORM_PLATFORM_API_H

/// Keeps a host's definitions visible to the library even when the host is compiled with -fvisibility=hidden.
#define ZEF_PLATFORM_API __attribute__((visibility("default")))

#endif
