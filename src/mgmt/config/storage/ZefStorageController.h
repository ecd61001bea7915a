/// \file
/// The road of a storage object from the configuration document to usable links.
#ifndef ZEF_CONFIG_ZEF_STORAGE_CONTROLLER_H
#define ZEF_CONFIG_ZEF_STORAGE_CONTROLLER_H

#include "ConfigNode.h"
#include "ZefConfigApi.h"
#include "ZefStorage.h"
#include "platform/Gateway.h"

#include <cstdint>
#include <string>
#include <vector>

/// Loads the storage objects at start and sends each on its way; lives in ZefStorageController.cpp. Called from the
/// thread that starts and finishes the library. Results are 0 and -1.
class ZEF_CONFIG_API ZefStorageController {
public:
    ZefStorageController() = delete;

    /// Registers the storage objects of the element Config. What was registered before a failure stays.
    static int CreateFromConfig(ConfigNode &config);

    /// The same, and commits the first tasks that connect them. Nothing is connected when one is refused.
    static int CreateFromConfigAndConnect(ConfigNode &config);

    /// Commits a ConnectTask for each array address. -1 when there is none.
    static int ConnectStorageIps(const ZefStorage &storage);

    /// Commits a ConnectFCTask. Always 0.
    static int ConnectStorageFc(const ZefStorage &storage);

    /// Empties the registry, so that pending tasks find nothing left to do, then clears the task pool.
    static void Finish();
};

/// Registers the storage object at `index` of a node of all StorageObject elements.
ZEF_CONFIG_API int CreateStorageFromConfig(ConfigNode &list, const int &index);

// Link tasks, in LinkTasks.cpp. Each is one step of the chain connect, create link, set WWN, and runs on the task
// pool's worker. A step that fails commits its own retry two seconds later; a retry ends the chain when the storage
// object, the array address or the pair is gone from the registry.

/// Finds the local addresses that reach an array address, records the pairs and creates a link for each.
ZEF_CONFIG_API void ConnectTask(const std::string &name, const std::string &ip);
/// Creates the link of a pair and goes on to its WWN.
ZEF_CONFIG_API void CreateLinkTask(const std::string &name, const IpPair &pair);
/// Learns the array's WWN through a link; drops a pair that leads to another array or is one too many. `count` is the
/// number of tries before this one.
ZEF_CONFIG_API void SetWwnTask(const std::string &name, const IpPair &pair, const uint32_t &count);

/// ConnectTask once more, unless its storage object or address has gone.
ZEF_CONFIG_API void RetryConnectTask(const std::string &name, const std::string &ip);
/// CreateLinkTask once more, unless its storage object, address or pair has gone.
ZEF_CONFIG_API void RetryCreateLinkTask(const std::string &name, const IpPair &pair);
/// SetWwnTask once more, unless its storage object, address or pair has gone. Drops the pair instead when it was tried
/// often enough and the array address is reached by another one.
ZEF_CONFIG_API void RetrySetWwnTask(const std::string &name, const IpPair &pair, const uint32_t &count);

/// Whether the storage object, the address and (unless its local address is empty) the pair are still registered.
ZEF_CONFIG_API bool CheckDoRetry(const std::string &name, const std::string &ip, const IpPair &pair);
/// Number of other pairs of the list towards the same array address whose link is up.
ZEF_CONFIG_API int GetConnectedCnt(const IpPair &pair, const std::vector<IpPair> &pairs);

// The Fibre Channel path, in FibreChannel.cpp. Runs on the task pool's worker, and holds it for up to 20 seconds.

/// Registers the credential callback and waits for a link. There is no retry.
ZEF_CONFIG_API void ConnectFCTask(const std::string &name);
/// Asks the gateway once a second until a link is up, and takes the storage object's WWN from it. -1 when none came up.
ZEF_CONFIG_API int GetFcLinkState(const std::string &name);
/// Gives the storage object the record's WWN if it has none. -1 when it has another one, which it keeps.
ZEF_CONFIG_API int StorageObjectFcSetWwnTask(ZefStorage &storage, const OrnLinkInfo &record);
/// Marks records as empty: link status and WWN with all bits set.
ZEF_CONFIG_API void InitOrnLinkStatus(OrnLinkInfo *records, int count);

/// Credential callbacks, in CredentialCallbacks.cpp: fill in user and decrypted password of the first storage object,
/// whatever the two texts say. They run on whatever thread the gateway calls them from and read the registry without a
/// lock. 0, or -1; the password is copied first, so it is there when the user name does not fit. The caller wipes it.
ZEF_CONFIG_API int ZefStorageGetCredentialCb(const char *, const char *, OrnCredential *credential);
/// The same, registered under its own name for links that the client does not create itself.
ZEF_CONFIG_API int ZefStorageGetBilCredentialCb(const char *, const char *, OrnCredential *credential);

#endif
