#include "ZefStorage.h"

#include <algorithm>

namespace {

void RemovePairs(std::vector<IpPair> &pairs, const IpPair &pair)
{
    pairs.erase(std::remove(pairs.begin(), pairs.end(), pair), pairs.end());
}

void RemovePairsTowards(std::vector<IpPair> &pairs, const std::string &ip)
{
    const auto leadsThere = [&ip](const IpPair &pair) { return pair.second == ip; };
    pairs.erase(std::remove_if(pairs.begin(), pairs.end(), leadsThere), pairs.end());
}

}  // namespace

const std::string &ZefStorage::GetName() const
{
    return name;
}

void ZefStorage::SetName(const std::string &value)
{
    name = value;
}

const std::string &ZefStorage::GetUser() const
{
    return user;
}

void ZefStorage::SetUser(const std::string &value)
{
    user = value;
}

const std::string &ZefStorage::GetPassword() const
{
    return password;
}

void ZefStorage::SetPassword(const std::string &value)
{
    password = value;
}

uint64_t ZefStorage::GetWwn() const
{
    return wwn;
}

void ZefStorage::SetWwn(uint64_t value)
{
    wwn = value;
}

uint64_t ZefStorage::GetLinkState() const
{
    return linkState;
}

void ZefStorage::SetLinkState(const uint64_t &state)
{
    linkState = static_cast<uint32_t>(state);  // the record's contract: the high half is dropped
}

StorageLinkType ZefStorage::GetLinkType() const
{
    return linkType;
}

void ZefStorage::SetLinkType(const StorageLinkType &value)
{
    linkType = value;
}

const std::set<std::string> &ZefStorage::GetIpList() const
{
    return ipList;
}

void ZefStorage::AddIpList(const std::set<std::string> &ips)
{
    std::set<std::string> added = ips;
    ipList.merge(added);  // takes the nodes over: all of the addresses, or none when there is no memory
}

void ZefStorage::DeleteIpFromList(const std::string &ip)
{
    ipList.erase(ip);
}

std::string ZefStorage::GetIps() const
{
    std::string ips;
    for (const std::string &ip : ipList) {
        ips += ip + ";";
    }
    return ips.substr(0, ips.empty() ? 0 : ips.size() - 1);
}

const std::vector<IpPair> &ZefStorage::GetIpParis() const
{
    return ipParis;
}

void ZefStorage::SetIpParis(const std::vector<IpPair> &pairs)
{
    ipParis = std::vector<IpPair>(pairs);  // as a whole, or not at all when there is no memory
}

void ZefStorage::AddIpParis(const IpPair &pair)
{
    ipParis.push_back(pair);
}

void ZefStorage::DeleteIpParis(std::string ip)
{
    RemovePairsTowards(ipParis, ip);
}

void ZefStorage::DeleteIpParis(IpPair pair)
{
    RemovePairs(ipParis, pair);
}

void ZefStorage::ClearIpParis()
{
    ipParis.clear();
}

bool ZefStorage::FindByIp(std::string ip) const
{
    const auto leadsThere = [&ip](const IpPair &pair) { return pair.second == ip; };
    return std::any_of(ipParis.begin(), ipParis.end(), leadsThere);
}

const std::vector<IpPair> &ZefStorage::GetUnConnIpParis() const
{
    return unConnIpParis;
}

void ZefStorage::AddUnConnIpParis(const IpPair &pair)
{
    unConnIpParis.push_back(pair);
}

void ZefStorage::DeleteUnConnIpParis(std::string ip)
{
    RemovePairsTowards(unConnIpParis, ip);
}

void ZefStorage::DeleteUnConnIpParis(IpPair pair)
{
    RemovePairs(unConnIpParis, pair);
}
