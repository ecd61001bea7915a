/// \file
/// The client's system UUID.
#ifndef ZEF_CONFIG_UUID_CONFIG_H
#define ZEF_CONFIG_UUID_CONFIG_H

#include "ConfigNode.h"
#include "ZefConfigApi.h"

#include <cstdint>
#include <string>

/// Holds the UUID from the first initialisation until the library is unloaded. Only GetInstance is safe on several
/// threads at once; the UUID itself is written during ZefConfigInit alone.
class ZEF_CONFIG_API UuidConfig {
public:
    /// The one object, which lives as long as the library is loaded.
    static UuidConfig &GetInstance();

    UuidConfig(const UuidConfig &) = delete;
    UuidConfig &operator=(const UuidConfig &) = delete;

    /// The UUID as read, without case folding; "" until one was read.
    std::string GetUuid();

    /// True when the whole text is 8-4-4-4-12 hexadecimal digits of either case.
    bool IsValidUuid(const std::string &text);

    /// Reads `Uuid`, or `SystemUuid` when `Uuid` is there but malformed, from the element Config and hands it to the
    /// gateway. 0; -1 when there is no usable UUID; or the gateway's code. What was read last stays held on failure.
    int32_t SetFromConfig(ConfigNode &config);

private:
    UuidConfig() = default;

    std::string uuid;
};

#endif
