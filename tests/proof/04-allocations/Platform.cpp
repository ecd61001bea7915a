#include "Platform.h"

#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/Gateway.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <cstring>

#include <arpa/inet.h>
#include <dlfcn.h>

namespace {

std::string LinkText(const char *localAddr, const char *storageAddr)
{
    return std::string(localAddr) + "," + storageAddr;
}

}  // namespace

FailingAllocations &Allocator()
{
    static FailingAllocations *const allocator = [] {
        void *const function = dlsym(RTLD_DEFAULT, kFailingAllocationsSymbol);
        if (function == nullptr) {
            throw std::runtime_error("the failing allocator is not preloaded");
        }
        return reinterpret_cast<FailingAllocations *(*)()>(function)();
    }();
    return *allocator;
}

// Never destroyed: the library's pool, which goes late, still looks at it.
Platform &Platform::Get()
{
    static Platform *const platform = new Platform;
    return *platform;
}

void Platform::RunTask()
{
    const bool isArmed = Allocator().armed;
    const Disarmed disarmed;
    if (pool->tasks.empty()) {
        throw std::logic_error("no task");
    }
    std::pop_heap(pool->tasks.begin(), pool->tasks.end(), ThreadPool::cmp());
    const ThreadPool::Task task = std::move(pool->tasks.back());
    pool->tasks.pop_back();
    Allocator().armed = isArmed;
    std::get<2>(task)();
    Allocator().armed = false;
}

void Platform::RevivePool()
{
    pool->running = true;
    pool->workers.clear();
    pool->workers.emplace_back();
}

ThreadPool::ThreadPool(unsigned char workerCount) : workers(workerCount), running(true)
{
    Platform::Get().pool = this;
}

ThreadPool::~ThreadPool() = default;

void ThreadPool::Clear()
{
    const Disarmed disarmed;
    running = false;
    std::vector<Task>().swap(tasks);
    workers.clear();
}

uint64_t ThreadPool::TimeGetPowerOnMs()
{
    return 1000;
}

extern "C" {

int g_infra_log_lvl = 5;

void yrlog(int, int, const char *, int, const char *, int, const char *, ...) {}

int yrlog_level_check(int, int)
{
    return 0;
}

int nas_log_map_get(int level)
{
    return level;
}

uint64_t yrax_get_jiffies(void)
{
    return 0;
}

int OrnCreateTarnLinks(const OrnLinkRequest *request)
{
    const Disarmed disarmed;
    Platform &platform = Platform::Get();
    if (platform.createLinkResult == 0) {
        platform.links.insert(LinkText(request->localAddr, request->storageAddr));
    }
    return platform.createLinkResult;
}

int OrnDeleteTarnLink(const char *localAddr, const char *storageAddr)
{
    const Disarmed disarmed;
    Platform::Get().links.erase(LinkText(localAddr, storageAddr));
    return 0;
}

int OrnGetLinkInfoByIpPair(const char *localAddr, const char *storageAddr, OrnLinkInfo *info)
{
    const Disarmed disarmed;
    const Platform &platform = Platform::Get();
    if (platform.links.count(LinkText(localAddr, storageAddr)) == 0) {
        return -1;
    }
    info->wwn = platform.wwn;
    info->status = platform.linkInfoStatus;
    return 0;
}

int OrnGetAllLinkInfoByEngine(OrnLinkInfo *records, uint32_t, uint32_t *count, uint32_t)
{
    records[0].wwn = Platform::Get().wwn;
    records[0].status = 0;
    std::strcpy(records[0].initiatorWwn, "50:01:43:80:24:9a:5e:01");
    *count = 1;
    return 0;
}

int OrnClientRegCredential(OrnCredentialCb, int32_t, const char *)
{
    return 0;
}

int OrnSetClientUuid(const char *uuid)
{
    const Disarmed disarmed;
    Platform::Get().gatewayUuid = uuid;
    return 0;
}

int64_t ShmBaseCfgGetCfgVal(int)
{
    return 1;
}

int ShmBaseCfgSetCfgVal(int item, int64_t value)
{
    const Disarmed disarmed;
    Platform::Get().items[item] = value;
    return 0;
}

int ZefClientInfoSetUuid(const char *)
{
    return 0;
}

int HibSetClientUuid(const char *)
{
    return 0;
}

int ZefAddThreadForFc(void)
{
    return 0;
}
}

int32_t WoxUtil::Init(uint32_t, const std::string &, const std::string &)
{
    Platform::Get().keysAreReady = true;
    return 0;
}

int32_t WoxUtil::Finish()
{
    Platform::Get().keysAreReady = false;
    Platform::Get().keyUpdatesRun = false;
    return 0;
}

std::string WoxUtil::WoxDecryptData(uint32_t, const std::string &cipherText)
{
    const Disarmed disarmed;
    return "the plain text of " + cipherText;
}

int32_t WoxUtil::WoxPeriodUpdateRootKey(uint32_t, uint32_t)
{
    return 0;
}

int32_t WoxUtil::WoxPeriodUpdateMasterKey(uint32_t, uint32_t, uint32_t)
{
    Platform::Get().keyUpdatesRun = true;
    return 0;
}

bool IpUtil::IsIpV4Valid(const std::string &ip)
{
    in_addr address = {};
    return inet_pton(AF_INET, ip.c_str(), &address) == 1;
}

std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &)
{
    const Disarmed disarmed;
    return Platform::Get().localIps;
}

int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *, uint32_t)
{
    return 0;
}
