#include "support/FakePlatform.h"

#include "support/FakeSystem.h"
#include "support/LockRecorder.h"

#include <zef_config/platform/BoundsChecked.h>
#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/Memory.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>

namespace {

std::string Text(const char *text)
{
    return text == nullptr ? "(null)" : text;
}

bool CopySucceeds()
{
    int &left = FakePlatform::Get().copiesUntilFailure;
    if (left == 0) {
        return false;
    }
    if (left > 0) {
        --left;
    }
    return true;
}

// Due times and names of the queue, earliest first.
std::vector<std::pair<int64_t, std::string>> SortedQueue(const ThreadPool &pool)
{
    std::vector<std::pair<int64_t, std::string>> entries;
    for (const ThreadPool::Task &task : pool.tasks) {
        entries.emplace_back(std::get<0>(task), std::get<1>(task));
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    return entries;
}

}  // namespace

FakePlatform &FakePlatform::Get()
{
    // Never destroyed: the library's own objects, which are destroyed late, still report to it.
    static FakePlatform *const platform = [] {
        auto *const created = new FakePlatform;
        created->Reset();
        return created;
    }();
    return *platform;
}

void FakePlatform::Reset()
{
    ThreadPool *const keptPool = pool;
    const int keptWorkers = poolWorkers;
    *this = FakePlatform();
    pool = keptPool;
    poolWorkers = keptWorkers;
    g_infra_log_lvl = 5;
    mapLevel = [](int level) { return level; };
    checkLevel = [](int, int) { return 0; };
    onJiffiesRead = [] {};
    onPowerOnRead = [] {};
    onPoolClear = [] {};
    onCreateLink = [](const OrnLinkRequest &) { return 0; };
    onDeleteLink = [](const std::string &, const std::string &) { return 0; };
    onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &) { return -1; };
    onAllLinkInfo = [](OrnLinkInfo *, uint32_t, uint32_t *) { return 0; };
    onDecrypt = [](uint32_t, const std::string &cipherText) {
        const std::string prefix = "sealed:";
        return cipherText.compare(0, prefix.size(), prefix) == 0 ? cipherText.substr(prefix.size()) : std::string();
    };
    onGetItem = [](int) { return 0; };
    onSetItem = [](int, int64_t) { return 0; };
    onShardCards = [](OrnLinkInfo *, uint32_t) { return 0; };
    onIsIpV4Valid = [](const std::string &ip) {
        in_addr address = {};
        return inet_pton(AF_INET, ip.c_str(), &address) == 1;
    };
    onHostIps = [](const std::string &) { return std::set<std::string>(); };
    if (pool != nullptr) {
        pool->tasks.clear();
        pool->workers.clear();
        pool->workers.emplace_back();
        pool->running = true;
    }
}

std::vector<std::string> FakePlatform::Texts(int module) const
{
    std::vector<std::string> texts;
    for (const LogRecord &record : logs) {
        if (record.module == module) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

ThreadPool &FakePlatform::Pool()
{
    if (pool == nullptr) {
        throw std::logic_error("the library has no task pool");
    }
    return *pool;
}

bool FakePlatform::RunNextDue()
{
    std::vector<ThreadPool::Task> &tasks = Pool().tasks;
    if (tasks.empty() || std::get<0>(tasks.front()) > static_cast<int64_t>(powerOnMs)) {
        return false;
    }
    std::pop_heap(tasks.begin(), tasks.end(), ThreadPool::cmp());
    const ThreadPool::Task task = std::move(tasks.back());
    tasks.pop_back();
    std::get<2>(task)();
    return true;
}

int FakePlatform::RunDue(int limit)
{
    int count = 0;
    while (count < limit && RunNextDue()) {
        ++count;
    }
    return count;
}

std::vector<std::string> FakePlatform::QueuedNames() const
{
    std::vector<std::string> names;
    for (const auto &entry : SortedQueue(*pool)) {
        names.push_back(entry.second);
    }
    return names;
}

std::vector<int64_t> FakePlatform::QueuedDueTimes() const
{
    std::vector<int64_t> dueTimes;
    for (const auto &entry : SortedQueue(*pool)) {
        dueTimes.push_back(entry.first);
    }
    return dueTimes;
}

ThreadPool::ThreadPool(unsigned char workerCount) : running(true)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("ThreadPool(" + std::to_string(workerCount) + ")");
    workers.resize(workerCount);  // threads that never ran: commit only asks whether there are any
    platform.pool = this;
    platform.poolWorkers = workerCount;
}

ThreadPool::~ThreadPool()
{
    FakePlatform::Get().Record("~ThreadPool()");
    FakePlatform::Get().pool = nullptr;
}

void ThreadPool::Clear()
{
    FakePlatform::Get().Record("ThreadPool::Clear()");
    FakePlatform::Get().onPoolClear();
    running = false;
    tasks.clear();
    workers.clear();
}

uint64_t ThreadPool::TimeGetPowerOnMs()
{
    FakePlatform::Get().onPowerOnRead();
    return FakePlatform::Get().powerOnMs;
}

extern "C" {

int g_infra_log_lvl = 5;

void yrlog(int module, int level, const char *file, int line, const char *function, int reserved, const char *format,
           ...)
{
    FakePlatform &platform = FakePlatform::Get();
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const size_t queuedTasks = platform.pool == nullptr ? 0 : platform.pool->tasks.size();
    platform.logs.push_back({module, level, Text(file), line, Text(function), reserved, Text(format), text,
                             queuedTasks, platform.calls.size(), LockRecorder::Held()});
}

int yrlog_level_check(int module, int level)
{
    return FakePlatform::Get().checkLevel(module, level);
}

int nas_log_map_get(int level)
{
    return FakePlatform::Get().mapLevel(level);
}

uint64_t yrax_get_jiffies(void)
{
    FakePlatform &platform = FakePlatform::Get();
    const uint64_t now = platform.jiffies;
    platform.onJiffiesRead();
    return now;
}

void *yrmm_malloc(size_t size, int module, const char *owner)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("yrmm_malloc(" + std::to_string(size) + "," + std::to_string(module) + "," + Text(owner) + ")");
    platform.blockSizes.push_back(size);
    if (platform.failAllocations) {
        return nullptr;
    }
    void *const memory = std::malloc(size);
    platform.liveBlocks.insert(memory);
    return memory;
}

void yrmm_free(void *memory, int module, const char *owner)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("yrmm_free(" + std::to_string(module) + "," + Text(owner) + ")");
    if (platform.liveBlocks.erase(memory) == 0) {
        throw std::logic_error("yrmm_free of memory that yrmm_malloc did not give out");
    }
    std::free(memory);
}

int memset_s(void *dest, size_t destSize, int value, size_t count)
{
    if (dest == nullptr || count > destSize) {
        return EINVAL;
    }
    if (value == 0) {
        // Called from destructors, where the real one cannot run out of memory either.
        const int newsUntilFailure = std::exchange(FakeSystem::newsUntilFailure, -1);
        FakePlatform::Get().wiped.emplace_back(static_cast<const char *>(dest), count);
        FakeSystem::newsUntilFailure = newsUntilFailure;
    }
    std::memset(dest, value, count);
    return 0;
}

int strcpy_s(char *dest, size_t destSize, const char *src)
{
    if (dest == nullptr || src == nullptr || std::strlen(src) >= destSize || !CopySucceeds()) {
        return EINVAL;
    }
    std::memcpy(dest, src, std::strlen(src) + 1);
    return 0;
}

int strcat_s(char *dest, size_t destSize, const char *src)
{
    if (dest == nullptr || src == nullptr || std::strlen(dest) + std::strlen(src) >= destSize || !CopySucceeds()) {
        return EINVAL;
    }
    std::memcpy(dest + std::strlen(dest), src, std::strlen(src) + 1);
    return 0;
}

int OrnCreateTarnLinks(const OrnLinkRequest *request)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnCreateTarnLinks(" + Text(request->localAddr) + "," + Text(request->storageAddr) + ")");
    return platform.onCreateLink(*request);
}

int OrnDeleteTarnLink(const char *localAddr, const char *storageAddr)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnDeleteTarnLink(" + Text(localAddr) + "," + Text(storageAddr) + ")");
    return platform.onDeleteLink(localAddr, storageAddr);
}

int OrnGetLinkInfoByIpPair(const char *localAddr, const char *storageAddr, OrnLinkInfo *info)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnGetLinkInfoByIpPair(" + Text(localAddr) + "," + Text(storageAddr) + ")");
    return platform.onLinkInfo(localAddr, storageAddr, *info);
}

int OrnGetAllLinkInfoByEngine(OrnLinkInfo *records, uint32_t count, uint32_t *countOut, uint32_t engine)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnGetAllLinkInfoByEngine(" + std::to_string(count) + "," + std::to_string(*countOut) + "," +
                    std::to_string(engine) + ")");
    return platform.onAllLinkInfo(records, count, countOut);
}

int OrnClientRegCredential(OrnCredentialCb callback, int32_t kind, const char *name)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnClientRegCredential(" + std::to_string(kind) + "," + Text(name) + ")");
    platform.registeredCallback = callback;
    return platform.registerCredentialResult;
}

int OrnSetClientUuid(const char *uuid)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("OrnSetClientUuid(" + Text(uuid) + ")");
    return platform.setGatewayUuidResult;
}

int64_t ShmBaseCfgGetCfgVal(int item)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("ShmBaseCfgGetCfgVal(" + std::to_string(item) + ")");
    return platform.onGetItem(item);
}

int ShmBaseCfgSetCfgVal(int item, int64_t value)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("ShmBaseCfgSetCfgVal(" + std::to_string(item) + "," + std::to_string(value) + ")");
    return platform.onSetItem(item, value);
}

int ZefClientInfoSetUuid(const char *uuid)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("ZefClientInfoSetUuid(" + Text(uuid) + ")");
    return platform.clientInfoResult;
}

int HibSetClientUuid(const char *uuid)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("HibSetClientUuid(" + Text(uuid) + ")");
    return platform.hibResult;
}

int ZefAddThreadForFc(void)
{
    FakePlatform::Get().Record("ZefAddThreadForFc()");
    return -1;  // nobody may look at it
}
}

int32_t WoxUtil::Init(uint32_t domain, const std::string &primaryFile, const std::string &standbyFile)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("WoxUtil::Init(" + std::to_string(domain) + "," + primaryFile + "," + standbyFile + ")");
    return platform.keyInitResult;
}

int32_t WoxUtil::Finish()
{
    FakePlatform::Get().Record("WoxUtil::Finish()");
    return 0;
}

std::string WoxUtil::WoxDecryptData(uint32_t domain, const std::string &cipherText)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("WoxUtil::WoxDecryptData(" + std::to_string(domain) + "," + cipherText + ")");
    return platform.onDecrypt(domain, cipherText);
}

int32_t WoxUtil::WoxPeriodUpdateRootKey(uint32_t rootKeySetting, uint32_t sharedSetting)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("WoxUtil::WoxPeriodUpdateRootKey(" + std::to_string(rootKeySetting) + "," +
                    std::to_string(sharedSetting) + ")");
    return platform.rootKeyUpdateResult;
}

int32_t WoxUtil::WoxPeriodUpdateMasterKey(uint32_t domain, uint32_t masterKeySetting, uint32_t sharedSetting)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("WoxUtil::WoxPeriodUpdateMasterKey(" + std::to_string(domain) + "," +
                    std::to_string(masterKeySetting) + "," + std::to_string(sharedSetting) + ")");
    return platform.masterKeyUpdateResult;
}

bool IpUtil::IsIpV4Valid(const std::string &ip)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("IpUtil::IsIpV4Valid(" + ip + ")");
    return platform.onIsIpV4Valid(ip);
}

std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &ip)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("IpUtil::GetHostIpsCanConnect(" + ip + ")");
    return platform.onHostIps(ip);
}

int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *records, uint32_t count)
{
    FakePlatform &platform = FakePlatform::Get();
    platform.Record("ProcessShardCardLinkInfo(" + std::to_string(count) + ")");
    return platform.onShardCards(records, count);
}
