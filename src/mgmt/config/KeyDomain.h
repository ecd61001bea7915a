// The library's keys in key management.
#ifndef ZEF_CONFIG_KEY_DOMAIN_H
#define ZEF_CONFIG_KEY_DOMAIN_H

#include <cstdint>

namespace zef_config {

// Initialisation, master-key updates and the decryption of every storage password name this domain.
constexpr uint32_t kKeyDomain = 2;

}  // namespace zef_config

#endif
