#include "DeduplicationConfig.h"

#include "ProtocolLog.h"
#include "platform/SharedBaseConfig.h"

namespace {

constexpr const char *kDeduplication = "Deduplication";
constexpr const char *kCompression = "Compression";

// Numbers of the switches in the shared base configuration.
constexpr int kDeduplicationItem = 69;
constexpr int kCompressionItem = 70;

constexpr int kOff = 0;
constexpr int kOn = 1;

bool IsSwitchValue(int value)
{
    return value == kOff || value == kOn;
}

}  // namespace

DeduplicationConfig &DeduplicationConfig::GetInstance()
{
    static DeduplicationConfig instance;
    return instance;
}

int DeduplicationConfig::GetDeduplication()
{
    return switches[kDeduplication];
}

int DeduplicationConfig::GetCompression()
{
    return switches[kCompression];
}

int DeduplicationConfig::SwitchConditionCheck()
{
    if (GetDeduplication() != kOff) {
        return 0;
    }
    return GetCompression() == kOn ? -1 : 0;
}

int DeduplicationConfig::SetToPShim()
{
    if (SwitchConditionCheck() != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set switch err: disallowed settings.\n");
        return -1;
    }
    int result = ShmBaseCfgSetCfgVal(kDeduplicationItem, GetDeduplication());
    if (result != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set dedup switch error %d.\n", result);
        return result;
    }
    result = ShmBaseCfgSetCfgVal(kCompressionItem, GetCompression());
    if (result != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set compr switch error %d.\n", result);
    }
    return result;
}

int DeduplicationConfig::SetFromConfig(ConfigNode &config)
{
    for (auto &[name, value] : switches) {
        std::string text;
        if (config.Get(name).GetString(text) != 0) {
            ZEF_PROTOCOL_LOG("PROTOCOL: zef config err not found %s .", name.c_str());
            return -1;
        }
        if (text == "ON") {
            value = kOn;
        } else if (text == "OFF") {
            value = kOff;
        } else {
            ZEF_PROTOCOL_LOG("PROTOCOL: zef config set switch %s -> %s, incorrect value.\n", name.c_str(),
                             text.c_str());
            return -1;
        }
    }
    return SetToPShim();
}

// Deliberately, both setters report a failed publication with the words "dedup switch", compression too.

int DeduplicationConfig::SetCompression(int value)
{
    if (!IsSwitchValue(value)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: value is error %d.\n", value);
        return -1;
    }
    const int result = ShmBaseCfgSetCfgVal(kCompressionItem, value);
    if (result != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set dedup switch error %d.\n", result);
        return result;
    }
    switches[kCompression] = value;
    return 0;
}

int DeduplicationConfig::SetDeduplicationStatus(int value)
{
    if (!IsSwitchValue(value)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: value is error %d.\n", value);
        return -1;
    }
    const int result = ShmBaseCfgSetCfgVal(kDeduplicationItem, value);
    if (result != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set dedup switch error %d.\n", result);
        return result;
    }
    switches[kDeduplication] = value;
    return 0;
}
