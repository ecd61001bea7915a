/// \file
/// The gateway library, which owns the links to storage arrays; implemented by the hosting process.
///
/// Link calls come from the task pool's worker, queries of link records also from the threads that call the library's
/// exported queries. Functions with an int result return 0 on success. Strings passed in are borrowed for the call.
#ifndef ZEF_CONFIG_PLATFORM_GATEWAY_H
#define ZEF_CONFIG_PLATFORM_GATEWAY_H

#include "PlatformApi.h"

#include <cstddef>
#include <cstdint>

extern "C" {

/// One link. Arrays of it are packed back to back; the layout is shared with the gateway.
struct OrnLinkInfo {
    uint64_t wwn;            ///< WWN of the array behind the link; all bits set: none known
    int64_t status;          ///< 0 up; 1 present but not usable yet; -1 empty record; others: the gateway's own states
    uint64_t reserved;       ///< the gateway's
    char initiatorWwn[512];  ///< zero-terminated text: WWN of the client's port
};
static_assert(sizeof(OrnLinkInfo) == 536, "the gateway packs its link records in 536 bytes");
static_assert(offsetof(OrnLinkInfo, status) == 8, "link status follows the WWN");
static_assert(offsetof(OrnLinkInfo, initiatorWwn) == 24, "initiator WWN starts at byte 24");

/// What the gateway needs to log in. Filled by a credential callback; both texts zero-terminated, in plain.
struct OrnCredential {
    char user[64];       ///< user name
    char password[512];  ///< whoever is given the record wipes it
};
static_assert(sizeof(OrnCredential) == 576 && offsetof(OrnCredential, password) == 64, "layout is the gateway's");

/// Asked by the gateway whenever it logs in. The two texts are the gateway's own and may be ignored. Returns 0 when
/// `credential` is filled, -1 otherwise. May be called from inside OrnCreateTarnLinks.
typedef int (*OrnCredentialCb)(const char *, const char *, OrnCredential *credential);

/// One link to be created, between a local address and an address of the array.
struct OrnLinkRequest {
    const char *localAddr;         ///< address of the client
    const char *storageAddr;       ///< address of the array
    OrnCredentialCb credentialCb;  ///< asked for user and password at each login
    int32_t option0;               ///< always 0
    int32_t option1;               ///< always 4
};
static_assert(sizeof(OrnLinkRequest) == 32 && offsetof(OrnLinkRequest, credentialCb) == 16, "layout is the gateway's");

/// Creates a link and logs in. Runs as long as that takes; 0 when the link is up.
ZEF_PLATFORM_API int OrnCreateTarnLinks(const OrnLinkRequest *request);

/// Ends the link of a pair and forgets it.
ZEF_PLATFORM_API int OrnDeleteTarnLink(const char *localAddr, const char *storageAddr);

/// Fills `info` with the link of a pair. The library presets WWN and status with all bits set before it asks.
ZEF_PLATFORM_API int OrnGetLinkInfoByIpPair(const char *localAddr, const char *storageAddr, OrnLinkInfo *info);

/// Fills up to `count` records with the links of an engine (always 1) from the first record on, stores their number in
/// countOut, and leaves the remaining records as they are. Asked for Fibre Channel only.
ZEF_PLATFORM_API int OrnGetAllLinkInfoByEngine(OrnLinkInfo *records, uint32_t count, uint32_t *countOut,
                                               uint32_t engine);

/// Registers the callback for links that the client does not create itself. kind is always 1; name is the callback's.
ZEF_PLATFORM_API int OrnClientRegCredential(OrnCredentialCb callback, int32_t kind, const char *name);

/// Tells the gateway who the client is, before any link is created. Every initialisation tells it again.
ZEF_PLATFORM_API int OrnSetClientUuid(const char *uuid);
}

#endif
