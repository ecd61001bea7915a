#include "management/StorageChanges.h"

#include "check/ConfigLimits.h"
#include "common/Counted.h"
#include "common/Secrets.h"
#include "control/ControlError.h"
#include "gateway/IpGateway.h"
#include "iputil/ProbeRecord.h"
#include "keys/KeyCommands.h"
#include "management/StaleSteps.h"

#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>
#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>

namespace zef {

namespace {

[[noreturn]] void Refuse(ExitCode code, const std::string &why)
{
    throw ControlError(code, why + "; nothing was changed");
}

// The library's functions have logged why, in their own words.
void RequireDone(int result, const char *what)
{
    if (result != 0) {
        Refuse(ExitCode::Failed, fmt::format("the library refuses to {}; the client's log says why", what));
    }
}

void RequireName(const std::string &name)
{
    if (!ZefStorageManager::IsValidStorageName(name)) {
        Refuse(ExitCode::Usage,
               fmt::format("\"{}\" is no storage name: 1 to 127 letters, digits and characters of _ / . -", name));
    }
}

void RequireUser(const std::string &user)
{
    if (!ZefStorageManager::IsValidUserName(user)) {
        Refuse(ExitCode::Usage,
               fmt::format("\"{}\" is no user name: 5 to 32 letters, digits and underscores, beginning with a letter",
                           user));
    }
}

void RequireSealed(const std::string &sealed)
{
    std::string plain = WoxUtil::WoxDecryptData(kPasswordDomain, sealed);
    const bool isOpen = !plain.empty();
    Wipe(plain);
    if (!isOpen) {
        Refuse(ExitCode::Credential,
               "the client's keys do not open the encrypted password; zef_client password encrypt makes one, and a client "
               "whose key files were made anew takes these when it is restarted");
    }
}

void RequireOnce(const std::vector<std::string> &addresses)
{
    if (std::set<std::string>(addresses.begin(), addresses.end()).size() != addresses.size()) {
        Refuse(ExitCode::Usage, "an address is given twice");
    }
}

void RequireAddresses(const std::vector<std::string> &addresses)
{
    for (const std::string &address : addresses) {
        if (!IpUtil::IsIpV4Valid(address)) {
            Refuse(ExitCode::Usage, fmt::format("\"{}\" is not an IPv4 address", address));
        }
    }
    RequireOnce(addresses);
}

// A second chain of tries would never end beside the first.
void RequireNothingQueued(const std::vector<std::string> &addresses)
{
    for (const std::string &address : addresses) {
        if (StaleSteps::Instance().IsQueued(address)) {
            Refuse(ExitCode::Failed, fmt::format("{} was deleted a moment ago and its next try is still queued; ask again "
                                                 "in 2 seconds",
                                                 address));
        }
    }
}

void RequireRoom(size_t addresses)
{
    if (addresses > kMaxAddresses) {
        Refuse(ExitCode::Failed,
               fmt::format("that makes {} addresses; at most {} are allowed", addresses, kMaxAddresses));
    }
}

ZefStorage &Existing(const std::string &name)
{
    RequireName(name);
    ZefStorage &storage = ZefStorageManager::GetByName(name);
    if (storage.GetName().empty()) {
        Refuse(ExitCode::Failed, fmt::format("there is no storage object {}", name));
    }
    return storage;
}

std::string Joined(const std::vector<std::string> &texts, const char *separator)
{
    return fmt::format("{}", fmt::join(texts, separator));
}

std::string Addresses(size_t count)
{
    return Counted(count, "address", "addresses");
}

std::string LinksEnd(size_t count)
{
    return Counted(count, "link ends", "links end");
}

// A copy of the pairs: what ends them changes the list.
void EndLinks(const std::vector<IpPair> pairs)
{
    StaleSteps::Instance().NotePairs(pairs);
    for (const auto &[local, array] : pairs) {
        (void)IpGateway::Instance().DeleteLink(local, array);  // -1: the gateway has not been asked for it yet
    }
}

// The library is not going to ask for links to these addresses, or with another user: what was begun for that ends.
template <class Addresses>
void EndExpectations(const Addresses &addresses)
{
    for (const std::string &array : addresses) {
        IpGateway::Instance().Expect(array, {});
    }
}

std::vector<IpPair> PairsTowards(const ZefStorage &storage, const std::vector<std::string> &addresses)
{
    std::vector<IpPair> pairs;
    const std::set<std::string> arrays(addresses.begin(), addresses.end());
    std::copy_if(storage.GetIpParis().begin(), storage.GetIpParis().end(), std::back_inserter(pairs),
                 [&arrays](const IpPair &pair) { return arrays.count(pair.second) != 0; });
    return pairs;
}

void ForgetAddresses(const std::vector<std::string> &addresses)
{
    EndExpectations(addresses);
    StaleSteps::Instance().NoteAddresses(addresses);
    for (const std::string &address : addresses) {
        ForgetProbe(address);
    }
}

bool IsRegistered(const IpPair &pair)
{
    const std::vector<ZefStorage> &storages = ZefStorageManager::GetStorageAll();
    return std::any_of(storages.begin(), storages.end(), [&pair](const ZefStorage &storage) {
        const std::vector<IpPair> &pairs = storage.GetIpParis();
        return std::find(pairs.begin(), pairs.end(), pair) != pairs.end();
    });
}

IpPair ParsePair(const std::string &text)
{
    const size_t colon = text.find(':');
    IpPair pair(text.substr(0, colon), colon == std::string::npos ? "" : text.substr(colon + 1));
    if (!IpUtil::IsIpV4Valid(pair.first) || !IpUtil::IsIpV4Valid(pair.second)) {
        Refuse(ExitCode::Usage,
               fmt::format("\"{}\" is no pair: local address, colon, array address, such as 10.0.0.1:10.0.0.9", text));
    }
    return pair;
}

}  // namespace

void RequireUsable(const StorageDescription &storage)
{
    RequireName(storage.name);
    RequireUser(storage.user);
    RequireAddresses(storage.addresses);
    RequireRoom(storage.addresses.size());
    RequireSealed(storage.sealed);
}

std::string AddStorage(const StorageDescription &storage)
{
    RequireUsable(storage);
    RequireNothingQueued(storage.addresses);
    const std::vector<ZefStorage> &present = ZefStorageManager::GetStorageAll();
    if (present.size() >= kMaxStorageObjects) {
        Refuse(ExitCode::Failed, fmt::format("the client has a storage object already, {}; it takes one at most",
                                             present.front().GetName()));
    }

    if (storage.linkType == StorageLinkType::kFibreChannel) {
        RequireDone(ZefStorageManager::CreateStorage(storage.name, storage.user, storage.sealed, storage.linkType),
                    "create it");
        (void)ZefAddThreadForFc();  // never examined, as at start
        (void)ZefStorageController::ConnectStorageFc(ZefStorageManager::GetByName(storage.name));
        return fmt::format("{} is added; its Fibre Channel link is looked for", storage.name);
    }
    RequireDone(ZefStorageManager::CreateStorage(storage.name, storage.user, storage.sealed,
                                                 Joined(storage.addresses, ";")),
                "create it");
    ConnectAddresses(storage.name, storage.addresses);
    return fmt::format("{} is added with {}, being connected", storage.name, Addresses(storage.addresses.size()));
}

std::string DeleteStorage(const std::string &name)
{
    const ZefStorage storage = Existing(name);
    RequireDone(ZefStorageManager::DeleteStorage(name), "delete it");
    EndLinks(storage.GetIpParis());
    ForgetAddresses({storage.GetIpList().begin(), storage.GetIpList().end()});
    return fmt::format("{} is deleted; {}", name, LinksEnd(storage.GetIpParis().size()));
}

std::string AddAddresses(const std::string &name, const std::vector<std::string> &addresses)
{
    ZefStorage &storage = Existing(name);
    if (storage.GetLinkType() == StorageLinkType::kFibreChannel) {
        Refuse(ExitCode::Failed, fmt::format("{} is reached over Fibre Channel and has no addresses", name));
    }
    RequireAddresses(addresses);
    for (const std::string &address : addresses) {
        if (storage.GetIpList().count(address) != 0) {
            Refuse(ExitCode::Failed, fmt::format("{} has the address {} already", name, address));
        }
    }
    RequireRoom(storage.GetIpList().size() + addresses.size());
    RequireNothingQueued(addresses);
    RequireDone(ZefStorageManager::AddStorageIps(name, Joined(addresses, ";")), "add the addresses");
    ConnectAddresses(name, addresses);
    return fmt::format("{} has {} more, being connected", name, Addresses(addresses.size()));
}

std::string DeleteAddresses(const std::string &name, const std::vector<std::string> &addresses)
{
    const ZefStorage storage = Existing(name);
    RequireOnce(addresses);
    for (const std::string &address : addresses) {
        if (storage.GetIpList().count(address) == 0 && !storage.FindByIp(address)) {
            Refuse(ExitCode::Failed, fmt::format("{} has no address \"{}\"", name, address));
        }
    }
    const std::string list = Joined(addresses, ";");
    ZefStorageManager::DeleteStorageIps(name, list);
    ZefStorageManager::DeleteStorageIpPairs(name, list);
    const std::vector<IpPair> pairs = PairsTowards(storage, addresses);
    EndLinks(pairs);
    ForgetAddresses(addresses);
    return fmt::format("{} has {} less; {}", name, Addresses(addresses.size()), LinksEnd(pairs.size()));
}

std::string DeletePair(const std::string &name, const std::string &pair)
{
    const ZefStorage &storage = Existing(name);
    const IpPair parsed = ParsePair(pair);
    if (!IsRegistered(parsed)) {
        Refuse(ExitCode::Failed, fmt::format("{} has no pair {}", name, pair));
    }
    ZefStorageManager::DeleteStorageIpPair(name, pair);
    EndLinks({parsed});
    if (storage.GetIpList().count(parsed.second) != 0) {
        return fmt::format("the link {} ends", pair);
    }
    ForgetAddresses({parsed.second});
    return fmt::format("the link {} ends; it was the last one to {}, which is no address of {} any more", pair,
                       parsed.second, name);
}

void RequireLastPair(const std::string &name, const std::string &pair)
{
    const IpPair parsed = ParsePair(pair);
    for (const auto &[local, array] : Existing(name).GetIpParis()) {
        if (array == parsed.second && local != parsed.first) {
            Refuse(ExitCode::Failed, fmt::format("this cannot be saved while {}:{} is there, too: the file holds "
                                                 "addresses, and the next start would make the pair anew",
                                                 local, array));
        }
    }
}

std::string SetUser(const std::string &name, const std::string &user, const std::string &sealed)
{
    const ZefStorage &storage = Existing(name);
    RequireUser(user);
    RequireSealed(sealed);
    RequireDone(ZefStorageManager::UpdateStorageUser(name, user, sealed), "change the user");
    EndExpectations(storage.GetIpList());
    return fmt::format("{} logs in as {} from now on; links that are up stay", name, user);
}

void ConnectAddresses(const std::string &name, const std::vector<std::string> &addresses)
{
    ZefStorage part;
    part.SetName(name);
    part.AddIpList({addresses.begin(), addresses.end()});
    (void)ZefStorageController::ConnectStorageIps(part);  // fails only without an address
}

bool IsWantedAddress(const std::string &array)
{
    StaleSteps::Instance().AddressStepBegan(array);
    const std::vector<ZefStorage> &storages = ZefStorageManager::GetStorageAll();
    return std::any_of(storages.begin(), storages.end(),
                       [&array](const ZefStorage &storage) { return storage.GetIpList().count(array) != 0; });
}

bool IsWantedPair(const std::string &local, const std::string &array)
{
    const IpPair pair(local, array);
    StaleSteps::Instance().PairStepBegan(pair);
    return IsRegistered(pair);
}

std::set<std::string> AwaitedAddresses()
{
    std::set<std::string> awaited;
    for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
        if (storage.GetLinkType() == StorageLinkType::kFibreChannel) {
            continue;
        }
        const std::set<std::string> &arrays = storage.GetIpList();
        std::copy_if(arrays.begin(), arrays.end(), std::inserter(awaited, awaited.end()),
                     [&storage](const std::string &array) { return !storage.FindByIp(array); });
    }
    for (const ProbeState &probe : ProbeStates()) {
        if (probe.reached) {
            awaited.erase(probe.array);  // its pairs are gone again, and nobody asks for it any more
        }
    }
    return awaited;
}

}  // namespace zef
