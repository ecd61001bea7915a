#include "baseconfig/PlatformSharedBaseConfig.h"

#include "baseconfig/SharedBaseConfig.h"
#include "common/Mutex.h"
#include "log/Log.h"

#include <zef_config/platform/SharedBaseConfig.h>

#include <optional>

namespace {

using zef::MutexLock;
using zef::SharedBaseConfig;

constexpr const char *kComponent = "baseconfig";
constexpr int kFailed = -1;

struct ProcessSegment {
    zef::Mutex mutex;
    std::string name ZEF_GUARDED_BY(mutex) = zef::kDefaultSharedBaseConfigName;
    std::optional<SharedBaseConfig> config ZEF_GUARDED_BY(mutex);
};

ProcessSegment &GetProcessSegment()
{
    static ProcessSegment segment;
    return segment;
}

// Null when it cannot be opened.
SharedBaseConfig *OpenConfig(ProcessSegment &segment) ZEF_REQUIRES(segment.mutex)
{
    if (!segment.config.has_value()) {
        std::string error;
        segment.config = SharedBaseConfig::OpenOrCreate(segment.name, error);
        if (!segment.config.has_value()) {
            zef::LogError(kComponent, "{}", error);
            return nullptr;
        }
        zef::LogInfo(kComponent, "shared memory {} is open", segment.name);
    }
    return &*segment.config;
}

}  // namespace

int64_t ShmBaseCfgGetCfgVal(int item)
{
    ProcessSegment &segment = GetProcessSegment();
    const MutexLock lock(segment.mutex);
    const SharedBaseConfig *config = OpenConfig(segment);
    if (config == nullptr) {
        return 0;
    }
    const std::optional<int64_t> value = config->Get(item);
    if (!value.has_value()) {
        zef::LogError(kComponent, "there is no item {}", item);
    }
    return value.value_or(0);
}

int ShmBaseCfgSetCfgVal(int item, int64_t value)
{
    ProcessSegment &segment = GetProcessSegment();
    const MutexLock lock(segment.mutex);
    SharedBaseConfig *config = OpenConfig(segment);
    if (config == nullptr) {
        return kFailed;
    }
    std::string error;
    if (!config->Set(item, value, error)) {
        zef::LogError(kComponent, "{}", error);
        return kFailed;
    }
    zef::LogInfo(kComponent, "item {} is set to {}", item, value);
    return 0;
}

namespace zef {

bool UseSharedBaseConfig(const std::string &name)
{
    ProcessSegment &segment = GetProcessSegment();
    const MutexLock lock(segment.mutex);
    if (segment.config.has_value()) {
        return false;
    }
    segment.name = name;
    return true;
}

void CloseSharedBaseConfig()
{
    ProcessSegment &segment = GetProcessSegment();
    const MutexLock lock(segment.mutex);
    segment.config.reset();
    segment.name = kDefaultSharedBaseConfigName;
}

}  // namespace zef
