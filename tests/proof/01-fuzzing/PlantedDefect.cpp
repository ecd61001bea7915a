#include "PlantedDefect.h"

#include <zef_config/ConfigMgr.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

volatile int steps = 0;

}  // namespace

bool IsPlanted(const char *defect)
{
    static const char *const wanted = std::getenv("ZEF_FUZZ_DEFECT");
    return wanted != nullptr && std::strcmp(wanted, defect) == 0;
}

// Each step is code of its own, so that having taken it shows in the coverage.
void LookForHiddenDefect(const ConfigNode &config)
{
    if (config.Get("Compression").GetString() == "ON") {
        steps = 1;
        if (config.Get("Ips").Size() > 0) {
            steps = 2;
            ReadBeyond("hidden");
        }
    }
}

void ReadBeyond(const std::string &text)
{
    char *const copy = static_cast<char *>(std::malloc(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    volatile char beyond = copy[text.size() + 1];
    (void)beyond;
    std::free(copy);
}

void Overflow()
{
    volatile int number = INT_MAX;
    number = number + 1;
}

void LeakPath()
{
    const char *volatile path = ZefInfCfgMakeBakPath("left-behind");
    path = nullptr;
    (void)path;
}
