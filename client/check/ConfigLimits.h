// The bounds of a configuration, all of them compiled in.
#ifndef ZEF_CLIENT_CHECK_CONFIG_LIMITS_H
#define ZEF_CLIENT_CHECK_CONFIG_LIMITS_H

#include <cstddef>

namespace zef {

// The library's own.
constexpr size_t kMaxStorageObjects = 1;
constexpr size_t kMaxAddresses = 16;         // elements Ips of a storage object
constexpr size_t kMaxAddressPairs = 32;      // a local and an array address each
constexpr size_t kMaxRenderedBytes = 32767;  // what a save keeps of a document; the rest is cut off
constexpr unsigned int kRetryDelayMs = 2000;

// A larger file is no configuration: it is neither read nor given to the library.
constexpr size_t kMaxFileBytes = 16 * 1024 * 1024;

}  // namespace zef

#endif
