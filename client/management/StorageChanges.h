// Changes of the storage registry together with what follows from them for links.
#ifndef ZEF_CLIENT_MANAGEMENT_STORAGE_CHANGES_H
#define ZEF_CLIENT_MANAGEMENT_STORAGE_CHANGES_H

#include <zef_config/ZefStorage.h>

#include <set>
#include <string>
#include <vector>

namespace zef {

// All functions are to be called while the thread holds a TaskPause. They refuse with ControlError, and have then
// changed nothing; they return what was done, as a sentence for the operator. Links come up and end later, on other
// threads. `sealed` is a password as `zef_client password encrypt` prints it.

struct StorageDescription {
    std::string name;
    std::string user;
    std::string sealed;
    StorageLinkType linkType = StorageLinkType::kIp;
    std::vector<std::string> addresses;  // none for Fibre Channel
};

// Refuses what AddStorage would refuse of the description itself, whatever is registered.
void RequireUsable(const StorageDescription &storage);

// Registers a storage object and begins to connect it.
std::string AddStorage(const StorageDescription &storage);

// Ends its links and forgets it.
std::string DeleteStorage(const std::string &name);

// Begins to connect further addresses of the array.
std::string AddAddresses(const std::string &name, const std::vector<std::string> &addresses);

// Ends the links to these addresses and forgets them.
std::string DeleteAddresses(const std::string &name, const std::vector<std::string> &addresses);

// Ends one link, given as local address, ":", array address; with the last link to it the array address goes too.
std::string DeletePair(const std::string &name, const std::string &pair);

// Refuses a pair that is not the last one towards its array address: the configuration file holds addresses, so the next
// start would make it anew.
void RequireLastPair(const std::string &name, const std::string &pair);

// For logins from now on; links that are up stay.
std::string SetUser(const std::string &name, const std::string &user, const std::string &sealed);

// Begins to connect addresses that the registry has already, and towards which nothing is under way.
void ConnectAddresses(const std::string &name, const std::vector<std::string> &addresses);

// Whether some storage object still has this address, or this pair. To be called inside a task: the library's queue may
// hold steps towards what was deleted after they were committed.
bool IsWantedAddress(const std::string &array);
bool IsWantedPair(const std::string &local, const std::string &array);

// Array addresses of storage objects that the library is going to ask for, or to ask for again, because no local
// address has reached them yet. To be called inside a task, too.
std::set<std::string> AwaitedAddresses();

}  // namespace zef

#endif
