// The platform's gateway functions, on the process-wide gateway.
#include "gateway/IpGateway.h"

#include <zef_config/platform/Gateway.h>

int OrnCreateTarnLinks(const OrnLinkRequest *request)
{
    return request == nullptr ? -1 : zef::IpGateway::Instance().CreateLink(*request);
}

int OrnDeleteTarnLink(const char *localAddr, const char *storageAddr)
{
    if (localAddr == nullptr || storageAddr == nullptr) {
        return -1;
    }
    return zef::IpGateway::Instance().DeleteLink(localAddr, storageAddr);
}

int OrnGetLinkInfoByIpPair(const char *localAddr, const char *storageAddr, OrnLinkInfo *info)
{
    if (localAddr == nullptr || storageAddr == nullptr || info == nullptr) {
        return -1;
    }
    return zef::IpGateway::Instance().LinkInfo(localAddr, storageAddr, *info);
}

// There is one engine, so its number does not matter.
int OrnGetAllLinkInfoByEngine(OrnLinkInfo *records, uint32_t count, uint32_t *countOut, uint32_t)
{
    return zef::IpGateway::Instance().FibreChannelLinks(records, count, countOut);
}

int OrnClientRegCredential(OrnCredentialCb callback, int32_t kind, const char *name)
{
    return zef::IpGateway::Instance().RegisterCredential(callback, kind, name == nullptr ? "" : name);
}

int OrnSetClientUuid(const char *uuid)
{
    return uuid == nullptr ? -1 : zef::IpGateway::Instance().SetClientUuid(uuid);
}
