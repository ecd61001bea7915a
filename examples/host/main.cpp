// The smallest complete host of libzef_config.so: every part of the platform in its simplest form. It takes the
// configuration from its usual place, waits until a link to the storage array is up, tells who it is, and finishes.
#include <zef_config/ThreadPool.h>
#include <zef_config/ZefConfig.h>
#include <zef_config/platform/BoundsChecked.h>
#include <zef_config/platform/ClientComponents.h>
#include <zef_config/platform/Gateway.h>
#include <zef_config/platform/IpUtil.h>
#include <zef_config/platform/KeyManagement.h>
#include <zef_config/platform/Log.h>
#include <zef_config/platform/Memory.h>
#include <zef_config/platform/SharedBaseConfig.h>

#include <TaskPause.h>  // with the library: the hosting side of the task pool

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr uint64_t kArrayWwn = 0x6001405e7a11c0de;
constexpr std::chrono::seconds kLinkDeadline{30};
void *(*const volatile memsetForCertain)(void *, int, size_t) = std::memset;  // no optimiser drops a call of it
std::array<std::atomic<int64_t>, 128> items;
std::promise<void> linkUp;
std::once_flag linkUpOnce;
}  // namespace

extern "C" {
// Log and time
int g_infra_log_lvl = 4;
void yrlog(int, int level, const char *file, int line, const char *, int, const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (level <= g_infra_log_lvl) {
        std::fprintf(stderr, "%s:%d: %s\n", file, line, text);
    }
}
int yrlog_level_check(int, int level) { return level <= g_infra_log_lvl ? 0 : 1; }
int nas_log_map_get(int level) { return level; }
uint64_t yrax_get_jiffies() { return ThreadPool::TimeGetPowerOnMs(); }

// Memory and strings
void *yrmm_malloc(size_t size, int, const char *) { return std::malloc(size); }
void yrmm_free(void *memory, int, const char *) { std::free(memory); }
int memset_s(void *dest, size_t destSize, int value, size_t count)
{
    const bool fits = dest != nullptr && count <= destSize;
    return fits && memsetForCertain(dest, value, count) == dest ? 0 : -1;
}
int strcpy_s(char *dest, size_t destSize, const char *src)
{
    const bool fits = dest != nullptr && src != nullptr && std::strlen(src) < destSize;
    return fits && std::strcpy(dest, src) == dest ? 0 : -1;
}
int strcat_s(char *dest, size_t destSize, const char *src)
{
    const size_t used = dest == nullptr ? 0 : strnlen(dest, destSize);
    return dest == nullptr ? -1 : strcpy_s(dest + used, destSize - used, src);
}

// Gateway: no login takes place, but the credentials for it are fetched, and wiped, as for a real one.
int OrnCreateTarnLinks(const OrnLinkRequest *request)
{
    OrnCredential credential = {};
    const int result = request->credentialCb(nullptr, nullptr, &credential);
    memset_s(&credential, sizeof credential, 0, sizeof credential);
    return result;
}
int OrnDeleteTarnLink(const char *, const char *) { return 0; }
int OrnGetLinkInfoByIpPair(const char *, const char *, OrnLinkInfo *info)
{
    info->wwn = kArrayWwn;
    info->status = 0;
    std::call_once(linkUpOnce, [] { linkUp.set_value(); });
    return 0;
}
int OrnGetAllLinkInfoByEngine(OrnLinkInfo *, uint32_t, uint32_t *, uint32_t) { return -1; }  // no Fibre Channel
int OrnClientRegCredential(OrnCredentialCb, int32_t, const char *) { return 0; }
int OrnSetClientUuid(const char *) { return 0; }

// The client's other components, and what its processes share
int ZefClientInfoSetUuid(const char *) { return 0; }
int HibSetClientUuid(const char *) { return 0; }
int ZefAddThreadForFc() { return 0; }
int64_t ShmBaseCfgGetCfgVal(int item) { return items.at(static_cast<size_t>(item)); }
int ShmBaseCfgSetCfgVal(int item, int64_t value)
{
    items.at(static_cast<size_t>(item)) = value;
    return 0;
}
}

int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *, uint32_t) { return 0; }

// Keys: none. The password stands in the configuration as it is, which a real host does not allow.
int32_t WoxUtil::Init(uint32_t, const std::string &, const std::string &) { return 0; }
int32_t WoxUtil::Finish() { return 0; }
std::string WoxUtil::WoxDecryptData(uint32_t, const std::string &cipherText) { return cipherText; }
int32_t WoxUtil::WoxPeriodUpdateRootKey(uint32_t, uint32_t) { return 0; }
int32_t WoxUtil::WoxPeriodUpdateMasterKey(uint32_t, uint32_t, uint32_t) { return 0; }

// Addresses: the one from which the kernel would send to the array.
bool IpUtil::IsIpV4Valid(const std::string &ip)
{
    in_addr parsed;
    return inet_pton(AF_INET, ip.c_str(), &parsed) == 1;
}
std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &ip)
{
    sockaddr_in address = {AF_INET, htons(3260), {inet_addr(ip.c_str())}, {}};
    socklen_t size = sizeof address;
    sockaddr *const any = reinterpret_cast<sockaddr *>(&address);
    const int probe = socket(AF_INET, SOCK_DGRAM, 0);
    const bool reached = connect(probe, any, size) == 0 && getsockname(probe, any, &size) == 0;
    close(probe);
    return reached ? std::set<std::string>{inet_ntoa(address.sin_addr)} : std::set<std::string>();
}

int main()
{
    char uuid[64] = "";
    char localAddress[512] = "";
    bool isUp = ZefConfigInit() == 0 && ZefConfigStart() == 0 &&
                linkUp.get_future().wait_for(kLinkDeadline) == std::future_status::ready;
    const zef::TaskPause pause;  // no task runs from here on
    isUp = isUp && ZefConfigGetUuid(uuid, sizeof uuid) == 0 &&
           ZefConfigGetLocalAddr(localAddress, sizeof localAddress) == 0;
    ZefConfigFinish();
    std::printf("%s: client %s, local address %s\n", isUp ? "link up" : "no link", uuid, localAddress);
    return isUp ? EXIT_SUCCESS : EXIT_FAILURE;
}
