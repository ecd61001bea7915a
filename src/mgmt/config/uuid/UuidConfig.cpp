#include "UuidConfig.h"

#include "ProtocolLog.h"
#include "WholeMatch.h"
#include "platform/Gateway.h"

UuidConfig &UuidConfig::GetInstance()
{
    static UuidConfig instance;
    return instance;
}

std::string UuidConfig::GetUuid()
{
    return uuid;
}

bool UuidConfig::IsValidUuid(const std::string &text)
{
    return zef_config::MatchesWhole(text, "[A-F0-9a-f]{8}(-[A-F0-9a-f]{4}){3}-[A-F0-9a-f]{12}");
}

int32_t UuidConfig::SetFromConfig(ConfigNode &config)
{
    int32_t result = config.Get("Uuid").GetString(uuid);
    if (result != 0) {
        return result;
    }
    if (!IsValidUuid(uuid)) {
        result = config.Get("SystemUuid").GetString(uuid);
        if (result != 0) {
            return result;
        }
        if (!IsValidUuid(uuid)) {
            ZEF_PROTOCOL_LOG("PROTOCOL: zef config uuid or systemuuid invalid format:%s .", uuid.c_str());
            return -1;
        }
    }
    result = OrnSetClientUuid(uuid.c_str());
    if (result != 0) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef config set from config uuid:%s ret:%d .", uuid.c_str(), result);
    }
    return result;
}
