/// \file
/// The registry of storage objects.
#ifndef ZEF_CONFIG_ZEF_STORAGE_MANAGER_H
#define ZEF_CONFIG_ZEF_STORAGE_MANAGER_H

#include "ZefConfigApi.h"
#include "ZefStorage.h"

#include <string>
#include <vector>

/// The one list of storage objects, in the order of their creation, and the rules for names, users and addresses.
/// Memory only: it builds no link, ends none, cancels no task and saves nothing.
///
/// There is no lock. Tasks on the pool's worker read and change records, so whoever calls from another thread makes
/// sure that no task runs meanwhile. References into the list live until the list next changes.
///
/// An address list is one text of array addresses separated by ";". Passwords are in encrypted text form and not
/// checked. Refusals are reported in the protocol log and leave everything as it was.
class ZEF_CONFIG_API ZefStorageManager {
public:
    ZefStorageManager() = delete;

    /// The list itself.
    static std::vector<ZefStorage> &GetStorageAll();

    /// Whether a storage object has this name.
    static bool StorageExist(const std::string &name);

    /// The record with this name; for an unknown name a shared empty record, to be known by its empty name.
    static ZefStorage &GetByName(const std::string &name);
    /// The same.
    static ZefStorage &GetStorage(const std::string &name);

    /// Whether the whole text matches a POSIX extended regular expression. Without memory it throws std::bad_alloc, as
    /// everything here does: what is asked for is then done as a whole or not at all.
    static bool IsValid(const std::string &text, const std::string &pattern);
    /// 5 to 32 ASCII letters, digits and underscores, beginning with a letter.
    static bool IsValidUserName(const std::string &user);
    /// 1 to 127 ASCII letters, digits, underscores, slashes, full stops and hyphens.
    static bool IsValidStorageName(const std::string &name);

    /// Creates a storage object that is reached over IP, with its array addresses. An empty list is reported, not
    /// refused.
    static int CreateStorage(const std::string &name, const std::string &user, const std::string &password,
                             const std::string &ips);
    /// Creates a storage object without addresses, of the given link type.
    static int CreateStorage(const std::string &name, const std::string &user, const std::string &password,
                             const StorageLinkType &linkType);

    /// Adds array addresses to a record: all of them, or none when one is there already or is no IPv4 address.
    static int AddStorageIps(ZefStorage &storage, const std::string &ips);
    /// The same for the storage object with this name; -1 when there is none.
    static int AddStorageIps(const std::string &name, const std::string &ips);

    /// Removes a storage object; 0 also when there is none with this name.
    static int DeleteStorage(const std::string &name);
    /// Removes array addresses, and keeps the pairs towards them.
    static void DeleteStorageIps(const std::string &name, const std::string &ips);
    /// Removes all pairs towards these array addresses, connected or not, and keeps the addresses.
    static void DeleteStorageIpPairs(const std::string &name, const std::string &ips);
    /// Removes one connected pair, written local address, ":", array address; with the last connected pair towards it
    /// the array address goes too.
    static void DeleteStorageIpPair(const std::string &name, const std::string &pair);
    /// Removes everything.
    static void Clear();

    /// Replaces user and password of a storage object.
    static int UpdateStorageUser(const std::string &name, const std::string &user, const std::string &password);
};

#endif
