#include "app/ConfigDiagnosis.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageManager.h>
#include <zef_config/platform/IpUtil.h>

#include <cstring>

#include <sys/stat.h>

namespace zef {

namespace {

constexpr int kMaxIps = 16;
constexpr off_t kMaxFileBytes = 16 * 1024 * 1024;

std::string Quoted(const std::string &text)
{
    return "\"" + text + "\"";
}

// Empty when the document has an element Config, which is then stored.
std::string DiagnoseDocument(ConfigMgr &manager, const std::string &path, ConfigNode &config)
{
    const int result = manager.ReadConfig(path);
    if (result != 0) {
        return path + " cannot be opened: " + std::strerror(result);
    }
    if (manager.GetConfig().Size() == 0) {
        return path + " is empty or not well-formed XML";
    }
    config = manager.GetConfig().Get("Config");
    if (config.Size() == 0) {
        return path + " has no top element Config under an XML declaration";
    }
    return "";
}

std::string DiagnoseUuid(const ConfigNode &config)
{
    UuidConfig &validator = UuidConfig::GetInstance();
    std::string uuid;
    if (config.Get("Uuid").GetString(uuid) != 0) {
        return "element Uuid is missing, empty, or not of type \"string\"";
    }
    if (validator.IsValidUuid(uuid)) {
        return "";
    }
    std::string systemUuid;
    if (config.Get("SystemUuid").GetString(systemUuid) != 0) {
        return "Uuid " + Quoted(uuid) + " is malformed and there is no SystemUuid to fall back to";
    }
    if (!validator.IsValidUuid(systemUuid)) {
        return "Uuid " + Quoted(uuid) + " and SystemUuid " + Quoted(systemUuid) + " are malformed";
    }
    return "";
}

std::string DiagnoseAddresses(const ConfigNode &ips)
{
    if (ips.Size() > kMaxIps) {
        return "StorageObject has " + std::to_string(ips.Size()) + " elements Ips; at most 16 are allowed";
    }
    for (int i = 0; i < ips.Size(); ++i) {
        const std::string ip = ips[i].GetString();
        if (!IpUtil::IsIpV4Valid(ip)) {
            return "Ips " + Quoted(ip) + " is not an IPv4 address";
        }
    }
    return "";
}

std::string DiagnoseStorage(const ConfigNode &config)
{
    const ConfigNode storages = config.Get("StorageObject");
    if (storages.Size() == 0) {
        return "";
    }
    if (storages.Size() > 1) {
        return "there are " + std::to_string(storages.Size()) + " elements StorageObject; at most one is allowed";
    }
    const std::string name = storages.Get("Name").GetString();
    const std::string user = storages.Get("User").GetString();
    if (storages.Get("Password").GetString().empty()) {
        return "StorageObject has no Password; zef_client password encrypt makes one";
    }
    if (!ZefStorageManager::IsValidUserName(user)) {
        return "User " + Quoted(user) + " is not 5 to 32 letters, digits and underscores beginning with a letter";
    }
    if (!ZefStorageManager::IsValidStorageName(name)) {
        return "Name " + Quoted(name) + " is not 1 to 127 letters, digits and characters of _ / . -";
    }
    return storages.Get("LinkType").GetString() == "1" ? "" : DiagnoseAddresses(storages.Get("Ips"));
}

std::string DiagnoseSwitches(const ConfigNode &config)
{
    std::string value[2];
    const char *const name[2] = {"Compression", "Deduplication"};
    for (int i = 0; i < 2; ++i) {
        if (config.Get(name[i]).GetString(value[i]) != 0) {
            return std::string("element ") + name[i] + " is missing, empty, or not of type \"string\"";
        }
        if (value[i] != "ON" && value[i] != "OFF") {
            return std::string(name[i]) + " is " + Quoted(value[i]) + "; it must be ON or OFF";
        }
    }
    if (value[0] == "ON" && value[1] == "OFF") {
        return "Compression is ON while Deduplication is OFF; it needs Deduplication";
    }
    return "";
}

}  // namespace

std::string DiagnoseFile(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return "";  // reading it tells why
    }
    if (!S_ISREG(status.st_mode)) {
        return path + " is not a regular file";
    }
    return status.st_size > kMaxFileBytes ? path + " is larger than 16 MiB" : "";
}

std::string DiagnoseInit(const std::string &path)
{
    ConfigMgr manager;
    ConfigNode config;
    const std::string problem = DiagnoseDocument(manager, path, config);
    return problem.empty() ? DiagnoseUuid(config) : problem;
}

std::string DiagnoseStart(const std::string &path)
{
    ConfigMgr manager;
    ConfigNode config;
    std::string problem = DiagnoseDocument(manager, path, config);
    if (problem.empty()) {
        problem = DiagnoseStorage(config);
    }
    return problem.empty() ? DiagnoseSwitches(config) : problem;
}

}  // namespace zef
