// A platform that answers at once and keeps nothing, for programs that run the library's parts a million times over. Every
// array is reached from one local address, every link is up at once. The pool is of the program's choice: IdlePool.cpp, or
// the one with a worker. What is weak here a program may define anew.
#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/Gateway.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <arpa/inet.h>

namespace {

constexpr uint64_t kArrayWwn = 0x6001405e7a11c0de;

}  // namespace

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

// Every message comes long after the one before, so that none is held back.
uint64_t yrax_get_jiffies(void)
{
    static uint64_t now = 0;
    return now += 1000000;
}

int OrnCreateTarnLinks(const OrnLinkRequest *request)
{
    OrnCredential credential = {};
    return request->credentialCb(nullptr, nullptr, &credential);
}

int OrnDeleteTarnLink(const char *, const char *)
{
    return 0;
}

[[gnu::weak]] int OrnGetLinkInfoByIpPair(const char *, const char *, OrnLinkInfo *info)
{
    info->wwn = kArrayWwn;
    info->status = 0;
    return 0;
}

int OrnGetAllLinkInfoByEngine(OrnLinkInfo *, uint32_t, uint32_t *, uint32_t)
{
    return -1;
}

int OrnClientRegCredential(OrnCredentialCb, int32_t, const char *)
{
    return 0;
}

int OrnSetClientUuid(const char *)
{
    return 0;
}

int64_t ShmBaseCfgGetCfgVal(int)
{
    return 0;
}

int ShmBaseCfgSetCfgVal(int, int64_t)
{
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
    return 0;
}

int32_t WoxUtil::Finish()
{
    return 0;
}

// "sealed:" and the plain text.
[[gnu::weak]] std::string WoxUtil::WoxDecryptData(uint32_t, const std::string &cipherText)
{
    const std::string prefix = "sealed:";
    return cipherText.compare(0, prefix.size(), prefix) == 0 ? cipherText.substr(prefix.size()) : std::string();
}

int32_t WoxUtil::WoxPeriodUpdateRootKey(uint32_t, uint32_t)
{
    return 0;
}

int32_t WoxUtil::WoxPeriodUpdateMasterKey(uint32_t, uint32_t, uint32_t)
{
    return 0;
}

bool IpUtil::IsIpV4Valid(const std::string &ip)
{
    in_addr address = {};
    return inet_pton(AF_INET, ip.c_str(), &address) == 1;
}

[[gnu::weak]] std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &)
{
    return {"192.0.2.200"};
}

int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *, uint32_t)
{
    return 0;
}
