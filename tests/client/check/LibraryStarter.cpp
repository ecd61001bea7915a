// Starts the library with the files at its fixed paths. Exit status 0 when it starts, 10 when it refuses.
#include "baseconfig/PlatformSharedBaseConfig.h"
#include "log/Log.h"

#include "TaskPause.h"

#include <zef_config/ZefConfig.h>

#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr int kStarts = 0;
constexpr int kRefuses = 10;

}  // namespace

int main()
{
    const std::string segment = "/zef_check_starter_" + std::to_string(getpid());
    (void)zef::UseSharedBaseConfig(segment);
    zef::StartLog({zef::LogLevel::Error, zef::LogDestination::Console});
    // Nothing that the library would do in its tasks is wanted here: it connects to no array.
    const zef::TaskPause pause;
    const bool starts = ZefConfigInit() == 0 && ZefConfigStart() == 0;
    ZefConfigFinish();
    zef::CloseSharedBaseConfig();
    (void)shm_unlink(segment.c_str());
    return starts ? kStarts : kRefuses;
}
