/// \file
/// The record of one storage object.
#ifndef ZEF_CONFIG_ZEF_STORAGE_H
#define ZEF_CONFIG_ZEF_STORAGE_H

#include "ZefConfigApi.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Local (client-side) address first, array address second.
using IpPair = std::pair<std::string, std::string>;

/// How a storage object is reached. Every value but kFibreChannel is treated as IP.
enum class StorageLinkType : uint32_t {
    kIp = 0,
    kFibreChannel = 1,
};

/// A storage array as the client knows it: a plain value, copied freely, without a lock. Addresses are compared byte by
/// byte, never normalised. References that getters return live as long as the record and its next change.
class ZEF_CONFIG_API ZefStorage {
public:
    /// WWN of a record that has none yet.
    static constexpr uint64_t kNoWwn = UINT64_MAX;
    /// Link state of a record that has none yet.
    static constexpr uint32_t kNoLinkState = UINT32_MAX;

    /// The name, by which the registry knows it.
    const std::string &GetName() const;
    /// Stores it unchecked.
    void SetName(const std::string &value);

    /// The user at the array.
    const std::string &GetUser() const;
    /// Stores it unchecked.
    void SetUser(const std::string &value);

    /// The password in its encrypted text form.
    const std::string &GetPassword() const;
    /// Stores it unchecked.
    void SetPassword(const std::string &value);

    /// WWN of the array, or kNoWwn.
    uint64_t GetWwn() const;
    /// Stores a WWN.
    void SetWwn(uint64_t value);

    /// For the library's users, which alone set and read it. Only the low 32 bits are kept.
    uint64_t GetLinkState() const;
    /// Stores the low 32 bits.
    void SetLinkState(const uint64_t &state);

    /// How it is reached.
    StorageLinkType GetLinkType() const;
    /// Stores it, other values than the named ones too.
    void SetLinkType(const StorageLinkType &value);

    /// The array's addresses, in ascending byte order.
    const std::set<std::string> &GetIpList() const;
    /// Adds addresses to those that are there.
    void AddIpList(const std::set<std::string> &ips);
    /// Removes an address, and leaves the pairs towards it.
    void DeleteIpFromList(const std::string &ip);
    /// The array's addresses, joined with ";".
    std::string GetIps() const;

    /// Connected pairs, in the order in which they were added; the same pair may stand there twice.
    const std::vector<IpPair> &GetIpParis() const;
    /// Replaces them all.
    void SetIpParis(const std::vector<IpPair> &pairs);
    /// Adds one at the end, also when it is there already.
    void AddIpParis(const IpPair &pair);
    /// Removes all pairs towards an array address. The others keep their order.
    void DeleteIpParis(std::string ip);
    /// Removes all that are equal to a pair. The others keep their order.
    void DeleteIpParis(IpPair pair);
    /// Removes them all.
    void ClearIpParis();
    /// Whether a connected pair leads to this array address.
    bool FindByIp(std::string ip) const;

    /// Unconnected pairs: added by the library's users, kept apart from the connected ones.
    const std::vector<IpPair> &GetUnConnIpParis() const;
    /// Adds one at the end, also when it is there already.
    void AddUnConnIpParis(const IpPair &pair);
    /// Removes all towards an array address.
    void DeleteUnConnIpParis(std::string ip);
    /// Removes all that are equal to a pair.
    void DeleteUnConnIpParis(IpPair pair);

private:
    std::string name;
    std::set<std::string> ipList;
    std::string user;
    std::string password;
    uint64_t wwn = kNoWwn;
    std::vector<IpPair> ipParis;
    std::vector<IpPair> unConnIpParis;
    uint32_t linkState = kNoLinkState;
    StorageLinkType linkType = StorageLinkType::kIp;
};

#endif
