/// \file
/// The client's other components, implemented by the hosting process.
#ifndef ZEF_CONFIG_PLATFORM_CLIENT_COMPONENTS_H
#define ZEF_CONFIG_PLATFORM_CLIENT_COMPONENTS_H

#include "Gateway.h"
#include "PlatformApi.h"

#include <cstdint>

extern "C" {

/// The client-information component and the Hib component are told the client's UUID, one after the other, by the
/// thread that initialises the library. The text is borrowed for the call; 0 on success.
ZEF_PLATFORM_API int ZefClientInfoSetUuid(const char *uuid);
/// The same for the Hib component.
ZEF_PLATFORM_API int HibSetClientUuid(const char *uuid);

/// Prepares the process for Fibre Channel. Called once per start, before the first Fibre Channel storage is connected.
ZEF_PLATFORM_API int ZefAddThreadForFc(void);
}

/// The client's command line.
namespace ZEF_CLI {

/// Commands on storage objects.
class ZEF_PLATFORM_API StorageObjectCommand {
public:
    /// Corrects link records for shard cards in place. Called from the thread that asks for the initiator's WWN.
    static int ProcessShardCardLinkInfo(OrnLinkInfo *records, uint32_t count);
};

}  // namespace ZEF_CLI

#endif
