/// \file
/// Address helpers, implemented by the hosting process.
#ifndef ZEF_CONFIG_PLATFORM_IP_UTIL_H
#define ZEF_CONFIG_PLATFORM_IP_UTIL_H

#include "PlatformApi.h"

#include <set>
#include <string>

/// Address helpers.
namespace IpUtil {

/// True for an IPv4 address in dotted form. Called by whoever creates storage objects.
ZEF_PLATFORM_API bool IsIpV4Valid(const std::string &ip);

/// The local addresses from which the array address can be reached; empty when there are none. Called on the task
/// pool's worker, which it holds while it tries.
ZEF_PLATFORM_API std::set<std::string> GetHostIpsCanConnect(const std::string &ip);

}  // namespace IpUtil

#endif
