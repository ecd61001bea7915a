// A life of the library, from ZefConfigInit to ZefConfigFinish with all links up, in a process of its own:
//
//   LifeCycle LINKS ours-first|bare-first    prints the nanoseconds of that life, and of its bare parts
//   LifeCycle LINKS memory                   prints by how many KiB the process has grown once all links are up
//
// The configuration file is the one at the library's path. Each address in it is reached from two local ones.
#include "BareLife.h"
#include "Resident.h"
#include "TaskPause.h"

#include <zef_config/ZefConfig.h>
#include <zef_config/platform/IpUtil.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>

#include <cstdio>
#include <cstdlib>

#include <semaphore.h>

namespace {

std::atomic<int> linksToCome{0};
sem_t allAreUp;

void Require(bool holds, const char *otherwise)
{
    if (!holds) {
        throw std::runtime_error(otherwise);
    }
}

void AwaitLinks()
{
    while (sem_wait(&allAreUp) != 0) {
    }
}

void LiveWithTheLibrary()
{
    Require(ZefConfigInit() == 0, "ZefConfigInit fails");
    Require(ZefConfigStart() == 0, "ZefConfigStart fails");
    AwaitLinks();
    const zef::TaskPause pause;  // the task of the last link may not have ended yet
    ZefConfigFinish();
}

void LiveWithout(BareLife &life)
{
    life.Init();
    life.Start();
    AwaitLinks();
    life.Finish();
}

template <class Life>
int64_t Nanoseconds(int links, Life live)
{
    linksToCome = links;
    const auto begin = std::chrono::steady_clock::now();
    live();
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - begin).count();
}

void PrintTimes(int links, bool isOursFirst)
{
    BareLife life;
    int64_t ours = 0;
    const auto liveOurs = [&ours, links] { ours = Nanoseconds(links, LiveWithTheLibrary); };
    if (isOursFirst) {
        liveOurs();
    }
    const int64_t bare = Nanoseconds(links, [&life] { LiveWithout(life); });
    if (!isOursFirst) {
        liveOurs();
    }
    std::printf("%lld %lld\n", static_cast<long long>(ours), static_cast<long long>(bare));
}

void PrintGrowth(int links)
{
    linksToCome = links;
    const int64_t before = ResidentKiB();
    Require(ZefConfigInit() == 0 && ZefConfigStart() == 0, "the library does not start");
    AwaitLinks();
    const int64_t after = ResidentKiB();
    const zef::TaskPause pause;
    ZefConfigFinish();
    std::printf("%lld\n", static_cast<long long>(after - before));
}

}  // namespace

extern "C" int OrnGetLinkInfoByIpPair(const char *, const char *, OrnLinkInfo *info)
{
    info->wwn = 0x6001405e7a11c0de;
    info->status = 0;
    if (--linksToCome == 0) {
        sem_post(&allAreUp);
    }
    return 0;
}

std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &)
{
    return {"192.0.2.201", "192.0.2.202"};
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: LifeCycle LINKS ours-first|bare-first|memory\n", stderr);
        return 2;
    }
    const int links = std::atoi(argv[1]);
    const std::string what = argv[2];
    sem_init(&allAreUp, 0, 0);
    if (what == "memory") {
        PrintGrowth(links);
    } else {
        PrintTimes(links, what == "ours-first");
    }
    return 0;
}
