// The record of one storage object.
#ifndef ZEF_CONFIG_ZEF_STORAGE_H
#define ZEF_CONFIG_ZEF_STORAGE_H

#include "ZefConfigApi.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Local (client-side) address first, array address second.
using IpPair = std::pair<std::string, std::string>;

// How a storage object is reached. Every value but kFibreChannel is treated as IP.
enum class StorageLinkType : uint32_t {
    kIp = 0,
    kFibreChannel = 1,
};

// A storage array as the client knows it: a plain value, copied freely, without a lock. Addresses are compared byte by
// byte, never normalised. References that getters return live as long as the record and its next change.
class ZEF_CONFIG_API ZefStorage {
public:
    // WWN and link state of a record that has none yet.
    static constexpr uint64_t kNoWwn = UINT64_MAX;
    static constexpr uint32_t kNoLinkState = UINT32_MAX;

    const std::string &GetName() const;
    void SetName(const std::string &value);

    const std::string &GetUser() const;
    void SetUser(const std::string &value);

    // The password in its encrypted text form.
    const std::string &GetPassword() const;
    void SetPassword(const std::string &value);

    uint64_t GetWwn() const;
    void SetWwn(uint64_t value);

    // For the library's users, which alone set and read it. Only the low 32 bits are kept.
    uint64_t GetLinkState() const;
    void SetLinkState(const uint64_t &state);

    StorageLinkType GetLinkType() const;
    void SetLinkType(const StorageLinkType &value);

    // The array's addresses, in ascending byte order.
    const std::set<std::string> &GetIpList() const;
    void AddIpList(const std::set<std::string> &ips);
    void DeleteIpFromList(const std::string &ip);
    // The same, joined with ";".
    std::string GetIps() const;

    // Connected pairs, in the order in which they were added; the same pair may stand there twice.
    const std::vector<IpPair> &GetIpParis() const;
    void SetIpParis(const std::vector<IpPair> &pairs);
    void AddIpParis(const IpPair &pair);
    // Remove all pairs towards an array address, or all equal to a pair. The others keep their order.
    void DeleteIpParis(std::string ip);
    void DeleteIpParis(IpPair pair);
    void ClearIpParis();
    // Whether a connected pair leads to this array address.
    bool FindByIp(std::string ip) const;

    // Unconnected pairs: added by the library's users, kept apart from the connected ones.
    const std::vector<IpPair> &GetUnConnIpParis() const;
    void AddUnConnIpParis(const IpPair &pair);
    void DeleteUnConnIpParis(std::string ip);
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
