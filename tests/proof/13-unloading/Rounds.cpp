// rounds COUNT [DEFECT]: loads the library, initialises and starts it, waits for its links, finishes and unloads it, again
// and again, and looks what is left of it. DEFECT is what a round leaves on purpose: memory, descriptor, thread or library.
#include "tests/package/host/PrivateConfig.h"
#include "threadpool/TaskPause.h"

#include <zef_config/ZefConfig.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace {

constexpr const char *kLibrary = ZEF_LIBRARY;
constexpr int kWarmUp = 50;            // until caches of the run time are full
// The allocator gives a little more than it is asked for, now and then. The smallest block that stays takes 32 bytes.
constexpr size_t kHeapTolerance = 4096;
constexpr int kLooksForALink = 60000;  // one every millisecond
constexpr int kLooksForAnEnd = 1000;   // of a thread, the same

// What a process has; all of it must be after a round as it was before.
struct Holdings {
    size_t heapBytes = 0;
    size_t mappings = 0;
    size_t descriptors = 0;
    size_t threads = 0;
};

size_t CountFiles(const char *folder)
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder)) {
        ++count;
    }
    return count;
}

// Lines of the process's memory map; with a part, those that name it.
size_t CountMappings(const std::string &part)
{
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(part) != std::string::npos ? 1 : 0;
    }
    return count;
}

// The kernel shows a thread for a moment after it has been joined.
size_t CountThreads(size_t expected)
{
    size_t count = CountFiles("/proc/self/task");
    for (int look = 0; count > expected && look < kLooksForAnEnd; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        count = CountFiles("/proc/self/task");
    }
    return count;
}

Holdings TakeStock()
{
    Holdings holdings;
    holdings.mappings = CountMappings("");
    holdings.descriptors = CountFiles("/proc/self/fd");
    holdings.threads = CountThreads(1);
    const struct mallinfo2 heap = mallinfo2();
    holdings.heapBytes = heap.uordblks + heap.hblkhd;
    return holdings;
}

long ResidentKilobytes()
{
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

template <class Function>
Function *Take(void *library, const char *name)
{
    void *const address = dlsym(library, name);
    if (address == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return reinterpret_cast<Function *>(address);
}

// The local address is known as soon as a link is registered.
void WaitForALink(void *library)
{
    const auto getLocalAddr = Take<decltype(ZefConfigGetLocalAddr)>(library, "ZefConfigGetLocalAddr");
    for (int look = 0; look < kLooksForALink; ++look) {
        char address[512] = "";
        {
            const zef::TaskPause pause;
            if (getLocalAddr(address, sizeof address) == 0 && address[0] != '\0') {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("no link came up");
}

void UseOnce()
{
    void *const library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    {
        const zef::TaskPause pause;
        if (Take<decltype(ZefConfigInit)>(library, "ZefConfigInit")() != 0 ||
            Take<decltype(ZefConfigStart)>(library, "ZefConfigStart")() != 0) {
            throw std::runtime_error("the library did not start");
        }
    }
    WaitForALink(library);
    {
        const zef::TaskPause pause;
        Take<decltype(ZefConfigFinish)>(library, "ZefConfigFinish")();
    }
    if (dlclose(library) != 0) {
        throw std::runtime_error(dlerror());
    }
}

void Plant(const std::string &defect)
{
    if (defect == "memory") {
        void *volatile lost = std::malloc(16);
        static_cast<void>(lost);
    } else if (defect == "descriptor") {
        open("/dev/null", O_RDONLY | O_CLOEXEC);
    } else if (defect == "thread") {
        std::thread([] { pause(); }).detach();
    } else if (defect == "library") {
        dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    } else if (!defect.empty()) {
        throw std::runtime_error("no such defect: " + defect);
    }
}

bool Report(const char *what, size_t before, size_t after, int round)
{
    if (after > before) {
        std::printf("%s: %zu instead of %zu after round %d\n", what, after, before, round);
    }
    return after <= before;
}

bool IsAsBefore(const Holdings &before, int round)
{
    const Holdings now = TakeStock();
    bool isSame = Report("mappings of the library", 0, CountMappings(kLibrary), round);
    isSame = Report("mappings", before.mappings, now.mappings, round) && isSame;
    isSame = Report("descriptors", before.descriptors, now.descriptors, round) && isSame;
    isSame = Report("threads", before.threads, now.threads, round) && isSame;
    return Report("bytes of the heap", before.heapBytes + kHeapTolerance, now.heapBytes, round) && isSame;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: rounds COUNT [DEFECT]\n");
        return 2;
    }
    const int rounds = std::atoi(argv[1]);
    const std::string defect = argc > 2 ? argv[2] : "";
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        WritePrivateConfig();
        // Mini-XML keeps data for each thread, which it loses when it is unloaded: it stays, as in a host that uses it.
        if (dlopen("libmxml.so.1", RTLD_NOW) == nullptr) {
            throw std::runtime_error(dlerror());
        }
        for (int round = 0; round < kWarmUp; ++round) {
            UseOnce();
        }
        std::printf("warm after %d rounds\n", kWarmUp);  // with this the stream has its memory, too
        const Holdings before = TakeStock();
        const long residentBefore = ResidentKilobytes();
        int failed = 0;
        for (int round = 1; round <= rounds; ++round) {
            UseOnce();
            Plant(defect);
            failed += IsAsBefore(before, round) ? 0 : 1;
        }
        std::printf("resident: %ld kB before, %ld kB after\n", residentBefore, ResidentKilobytes());
        std::printf("rounds %d failed %d\n", rounds, failed);
        return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "rounds: %s\n", error.what());
        return 2;
    }
}
