#include "HostPlatform.h"

#include <zef_config/platform/BoundsChecked.h>
#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/Gateway.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/Memory.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int Record(const char *call)
{
    HostPlatform::Get().calls.emplace_back(call);
    return 0;
}

}  // namespace

bool HostPlatform::exists = false;

HostPlatform &HostPlatform::Get()
{
    static HostPlatform platform;
    return platform;
}

ThreadPool::ThreadPool(unsigned char workerCount) : workers(workerCount), running(true)
{
    Record(("ThreadPool(" + std::to_string(workerCount) + ")").c_str());
    HostPlatform::Get().pool = this;
}

ThreadPool::~ThreadPool()
{
    if (HostPlatform::exists) {
        Record("~ThreadPool");
        HostPlatform::Get().pool = nullptr;
    }
}

void ThreadPool::Clear()
{
    Record("ThreadPool::Clear");
    running = false;
    tasks.clear();
    workers.clear();
}

uint64_t ThreadPool::TimeGetPowerOnMs()
{
    return 0;
}

extern "C" {

int g_infra_log_lvl = 5;

void yrlog(int module, int level, const char *, int, const char *, int, const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    HostPlatform::Get().messages.push_back({module, level, text});
}

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

void *yrmm_malloc(size_t size, int, const char *)
{
    return std::malloc(size);
}

void yrmm_free(void *memory, int, const char *)
{
    std::free(memory);
}

int memset_s(void *dest, size_t destSize, int value, size_t count)
{
    if (dest == nullptr || count > destSize) {
        return EINVAL;
    }
    std::memset(dest, value, count);
    return 0;
}

int strcpy_s(char *dest, size_t destSize, const char *src)
{
    if (dest == nullptr || src == nullptr || std::strlen(src) >= destSize) {
        return EINVAL;
    }
    std::memcpy(dest, src, std::strlen(src) + 1);
    return 0;
}

int strcat_s(char *dest, size_t destSize, const char *src)
{
    const size_t used = std::strlen(dest);
    return strcpy_s(dest + used, destSize - used, src);
}

int OrnCreateTarnLinks(const OrnLinkRequest *)
{
    return Record("OrnCreateTarnLinks");
}

int OrnDeleteTarnLink(const char *, const char *)
{
    return Record("OrnDeleteTarnLink");
}

int OrnGetLinkInfoByIpPair(const char *, const char *, OrnLinkInfo *)
{
    return Record("OrnGetLinkInfoByIpPair");
}

int OrnGetAllLinkInfoByEngine(OrnLinkInfo *, uint32_t, uint32_t *, uint32_t)
{
    return Record("OrnGetAllLinkInfoByEngine");
}

int OrnClientRegCredential(OrnCredentialCb, int32_t, const char *)
{
    return Record("OrnClientRegCredential");
}

int OrnSetClientUuid(const char *)
{
    return Record("OrnSetClientUuid");
}

int64_t ShmBaseCfgGetCfgVal(int)
{
    return Record("ShmBaseCfgGetCfgVal");
}

int ShmBaseCfgSetCfgVal(int, int64_t)
{
    return Record("ShmBaseCfgSetCfgVal");
}

int ZefClientInfoSetUuid(const char *)
{
    return Record("ZefClientInfoSetUuid");
}

int HibSetClientUuid(const char *)
{
    return Record("HibSetClientUuid");
}

int ZefAddThreadForFc(void)
{
    return Record("ZefAddThreadForFc");
}
}

int32_t WoxUtil::Init(uint32_t, const std::string &, const std::string &)
{
    return Record("WoxUtil::Init");
}

int32_t WoxUtil::Finish()
{
    return Record("WoxUtil::Finish");
}

std::string WoxUtil::WoxDecryptData(uint32_t, const std::string &cipherText)
{
    Record("WoxUtil::WoxDecryptData");
    return cipherText;
}

int32_t WoxUtil::WoxPeriodUpdateRootKey(uint32_t, uint32_t)
{
    return Record("WoxUtil::WoxPeriodUpdateRootKey");
}

int32_t WoxUtil::WoxPeriodUpdateMasterKey(uint32_t, uint32_t, uint32_t)
{
    return Record("WoxUtil::WoxPeriodUpdateMasterKey");
}

bool IpUtil::IsIpV4Valid(const std::string &)
{
    return true;
}

std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &)
{
    return {};
}

int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *, uint32_t)
{
    return Record("ProcessShardCardLinkInfo");
}
