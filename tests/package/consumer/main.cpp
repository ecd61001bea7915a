// A program that uses the installed library the way an integrator would: it supplies the platform (HostPlatform.cpp),
// gives the library a configuration and asks it for what it has understood.
#include "HostPlatform.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <cstdio>

int main()
{
    ConfigMgr manager;
    ConfigNode config = manager.CreateConfig().Create("Config");
    config.Create("Uuid").SetString("0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77");
    const int32_t result = UuidConfig::GetInstance().SetFromConfig(config);
    char uuid[40] = "";
    if (result != 0 || ZefConfigGetUuid(uuid, sizeof uuid) != 0) {
        return 1;
    }
    if (ZefStorageManager::CreateStorage("array", "client_user", "sealed", "192.0.2.1;192.0.2.2") != 0) {
        return 2;
    }
    std::printf("%s %s\n", uuid, ZefStorageManager::GetByName("array").GetIps().c_str());
    ZefConfigFinish();
    for (const std::string &call : HostPlatform::Get().calls) {
        std::printf("%s\n", call.c_str());
    }
    return 0;
}
