#include "BareLife.h"

#include "BareValidation.h"

#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <memory>
#include <stdexcept>

#include <cstdio>

#include <mxml.h>
#include <stdio_ext.h>

namespace {

constexpr uint32_t kDomain = 2;

// The record that credentials are made of: the gateway says nothing but which link asks.
const PlainRecord *registered = nullptr;

void Require(bool holds, const char *otherwise)
{
    if (!holds) {
        throw std::runtime_error(otherwise);
    }
}

void Log(const char *function, const char *message)
{
    yrlog(873, 5, "BareLife", __LINE__, function, 0, message, "ZEF");
}

struct FileCloser {
    void operator()(FILE *file) const { (void)std::fclose(file); }
};

struct TreeDeleter {
    void operator()(mxml_node_t *tree) const { mxmlDelete(tree); }
};
using Tree = std::unique_ptr<mxml_node_t, TreeDeleter>;

Tree Load()
{
    const std::unique_ptr<FILE, FileCloser> file(
        std::fopen("/opt/quenlar/vextramo/conf/zef_config.xml", "r"));
    Require(file != nullptr, "no configuration file");
    __fsetlocking(file.get(), FSETLOCKING_BYCALLER);
    return Tree(mxmlLoadFile(MXML_NO_PARENT, file.get(), MXML_OPAQUE_CALLBACK));
}

mxml_node_t *Child(mxml_node_t *parent, const char *name)
{
    return mxmlFindElement(parent, parent, name, nullptr, nullptr, MXML_DESCEND_FIRST);
}

std::string Text(mxml_node_t *parent, const char *name)
{
    const char *const text = mxmlGetOpaque(Child(parent, name));
    return text == nullptr ? "" : text;
}

std::vector<std::string> Texts(mxml_node_t *parent, const char *name)
{
    std::vector<std::string> texts;
    for (mxml_node_t *child = Child(parent, name); child != nullptr;
         child = mxmlFindElement(child, parent, name, nullptr, nullptr, MXML_NO_DESCEND)) {
        texts.emplace_back(mxmlGetOpaque(child));
    }
    return texts;
}

void PublishSwitch(int item, const std::string &text)
{
    Require(text == "ON" || text == "OFF", "no switch");
    Require(ShmBaseCfgSetCfgVal(item, text == "ON" ? 1 : 0) == 0, "a switch is refused");
}

int Credential(const char *, const char *, OrnCredential *credential)
{
    return CopyCredential(*registered, credential);
}

}  // namespace

BareLife::BareLife() : worker(&BareLife::Work, this) {}

BareLife::~BareLife()
{
    if (worker.joinable()) {
        Finish();
    }
}

void BareLife::Init()
{
    Log(__func__, "%s: zef config init begin.");
    const Tree tree = Load();
    const std::string uuid = Text(Child(tree.get(), "Config"), "Uuid");
    Require(MatchesBare(uuid, kUuid), "no UUID");
    Require(OrnSetClientUuid(uuid.c_str()) == 0, "the gateway refuses the UUID");
    Require(WoxUtil::Init(kDomain, "/opt/quenlar/vextramo/conf/WOX/wox_pri.dat",
                          "/opt/quenlar/vextramo/conf/WOX/wox_std.dat") == 0,
            "no keys");
    char buffer[40];
    (void)memset_s(buffer, sizeof buffer, 0, sizeof buffer);
    Require(strcpy_s(buffer, sizeof buffer, uuid.c_str()) == 0, "the UUID does not fit");
    Require(ZefClientInfoSetUuid(buffer) == 0 && HibSetClientUuid(buffer) == 0, "the UUID is refused");
    Log(__func__, "%s: zef config init success.");
}

void BareLife::Start()
{
    Log(__func__, "%s: zef config start begin.");
    const Tree tree = Load();
    mxml_node_t *const config = Child(tree.get(), "Config");
    mxml_node_t *const storage = Child(config, "StorageObject");
    record.name = Text(storage, "Name");
    record.user = Text(storage, "User");
    record.password = Text(storage, "Password");
    Require(Text(storage, "LinkType") != "1", "a storage object that is reached in another way");
    Register(Texts(storage, "Ips"));

    const std::string compression = Text(config, "Compression");
    const std::string deduplication = Text(config, "Deduplication");
    PublishSwitch(69, deduplication);
    PublishSwitch(70, compression);
    const auto keyUpdate = static_cast<uint32_t>(ShmBaseCfgGetCfgVal(67));
    const auto rootKey = static_cast<uint32_t>(ShmBaseCfgGetCfgVal(65));
    const auto masterKey = static_cast<uint32_t>(ShmBaseCfgGetCfgVal(66));
    Require(WoxUtil::WoxPeriodUpdateRootKey(rootKey, keyUpdate) == 0 &&
                WoxUtil::WoxPeriodUpdateMasterKey(kDomain, masterKey, keyUpdate) == 0,
            "no key updates");
    Log(__func__, "%s: zef config start success.");
}

void BareLife::Register(const std::vector<std::string> &addresses)
{
    Require(!WoxUtil::WoxDecryptData(kDomain, record.password).empty(), "the password cannot be decrypted");
    Require(MatchesBare(record.user, kUser), "no user name");
    Require(MatchesBare(record.name, kStorageName), "no storage name");
    record.addresses.insert(addresses.begin(), addresses.end());
    for (const std::string &address : record.addresses) {
        Require(IpUtil::IsIpV4Valid(address), "no address");
    }
    registered = &record;
    for (const std::string &address : record.addresses) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            tasks.push_back(address);
        }
        wakeUp.notify_one();
    }
}

// What a task does, on the worker.
void BareLife::Connect(const std::string &address)
{
    for (const std::string &localAddress : IpUtil::GetHostIpsCanConnect(address)) {
        record.pairs.emplace_back(localAddress, address);
        const OrnLinkRequest request = {localAddress.c_str(), address.c_str(), Credential, 0, 4};
        Require(OrnCreateTarnLinks(&request) == 0, "no link");
        OrnLinkInfo info;
        info.wwn = UINT64_MAX;
        info.status = -1;
        (void)OrnGetLinkInfoByIpPair(localAddress.c_str(), address.c_str(), &info);
        if (record.wwn == UINT64_MAX) {
            record.wwn = info.wwn;
        }
        Require(record.wwn == info.wwn, "another array");
    }
}

void BareLife::Work()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (isRunning) {
        if (tasks.empty()) {
            wakeUp.wait(lock);
            continue;
        }
        const std::string address = std::move(tasks.back());
        tasks.pop_back();
        lock.unlock();
        Connect(address);
        lock.lock();
    }
}

void BareLife::Finish()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isRunning = false;
    }
    wakeUp.notify_one();
    worker.join();
    record = PlainRecord();
    (void)WoxUtil::Finish();
}
