/// \file
/// Linkage of what libzef_config.so offers. Everything else in the library is hidden.
#ifndef ZEF_CONFIG_ZEF_CONFIG_API_H
#define ZEF_CONFIG_ZEF_CONFIG_API_H

/// Makes a class or function visible to the library's users.
#define ZEF_CONFIG_API __attribute__((visibility("default")))

#endif
