#include "check/StorageRules.h"

#include "check/AddressRules.h"
#include "check/ConfigLimits.h"
#include "check/ValueReading.h"

#include <zef_config/ZefStorageManager.h>

#include <fmt/format.h>

namespace zef {

namespace {

constexpr const char *kPasswordHint = "zef_client password encrypt makes one";

// Without elements of this name start-up sees an empty text.
void RefuseMissing(mxml_node_t *storage, const std::string &name, const std::string &id, const std::string &hint,
                   DocumentReport &report)
{
    report.Refuse(storage, id, "StorageObject has no " + name + "; " + hint);
}

void CheckName(mxml_node_t *storage, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "Name");
    const std::string rule = "it must be 1 to 127 letters, digits and characters of _ / . -";
    if (elements.empty()) {
        RefuseMissing(storage, "Name", "name-missing", rule, report);
    }
    for (mxml_node_t *element : elements) {
        const std::string name = TextOf(element);
        if (!ZefStorageManager::IsValidStorageName(name)) {
            report.Refuse(element, "name-invalid", "Name " + Quoted(name) + " is not valid; " + rule);
        }
    }
}

void CheckUser(mxml_node_t *storage, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "User");
    const std::string rule = "it must be 5 to 32 letters, digits and underscores beginning with a letter";
    if (elements.empty()) {
        RefuseMissing(storage, "User", "user-missing", rule, report);
    }
    for (mxml_node_t *element : elements) {
        const std::string user = TextOf(element);
        if (!ZefStorageManager::IsValidUserName(user)) {
            report.Refuse(element, "user-invalid", "User " + Quoted(user) + " is not valid; " + rule);
        }
    }
}

void CheckPassword(mxml_node_t *storage, const KeyRules &keys, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "Password");
    if (elements.empty()) {
        RefuseMissing(storage, "Password", "password-missing", kPasswordHint, report);
    }
    for (mxml_node_t *element : elements) {
        const std::string sealed = TextOf(element);
        if (sealed.empty()) {
            report.Refuse(element, "password-missing",
                          "Password has no text: " + WhyNoText(element) + "; " + kPasswordHint);
        } else if (keys.HaveKeys() && !keys.Opens(sealed)) {
            report.Refuse(element, "password-undecryptable",
                          std::string("Password cannot be decrypted with the present keys; ") + kPasswordHint);
        }
    }
}

// Judges what follows from the link type. True when start-up may take the storage object as one that has addresses.
bool CheckLinkType(mxml_node_t *storage, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "LinkType");
    if (elements.empty()) {
        report.Warn(storage, "link-type-missing", "StorageObject has no LinkType; 0 (IP) is assumed");
        return true;
    }
    bool maybeIp = false;
    for (mxml_node_t *element : elements) {
        const std::string linkType = TextOf(element);
        if (linkType != "0" && !IsFibreChannel(linkType)) {
            report.Warn(element, "link-type-unknown",
                        "LinkType " + Quoted(linkType) + " is taken as 0 (IP); 1 is Fibre Channel");
        }
        maybeIp = maybeIp || !IsFibreChannel(linkType);
    }
    return maybeIp;
}

void CheckStorageObject(mxml_node_t *storage, const KeyRules &keys, DocumentReport &report)
{
    CheckName(storage, report);
    CheckUser(storage, report);
    CheckPassword(storage, keys, report);
    if (CheckLinkType(storage, report)) {
        CheckAddresses(storage, report);
        return;
    }
    const std::vector<mxml_node_t *> addresses = ChildElements(storage, "Ips");
    if (!addresses.empty()) {
        report.Warn(addresses.front(), "addresses-unused", "Ips is not looked at: LinkType is 1 (Fibre Channel)");
    }
}

}  // namespace

void CheckStorageObjects(mxml_node_t *config, const KeyRules &keys, DocumentReport &report)
{
    const std::vector<mxml_node_t *> storages = ChildElements(config, "StorageObject");
    if (storages.empty()) {
        report.Warn(config, "no-storage", "there is no StorageObject; start-up accepts it, but makes no link");
    }
    if (storages.size() > kMaxStorageObjects) {
        report.Refuse(storages[kMaxStorageObjects], "too-many-storage-objects",
                      fmt::format("there are {} elements StorageObject; at most one is allowed", storages.size()));
    }
    for (mxml_node_t *storage : storages) {
        CheckStorageObject(storage, keys, report);
    }
}

bool IsFibreChannel(const std::string &linkType)
{
    return linkType == std::to_string(static_cast<uint32_t>(StorageLinkType::kFibreChannel));
}

}  // namespace zef
