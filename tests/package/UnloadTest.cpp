// The library as a host loads it at run time: what comes with it, in which order, and that nothing of it stays.
#include "host/HostPlatform.h"
#include "host/PrivateConfig.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorage.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <cstring>

#include <dlfcn.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr const char *kLibrary = ZEF_LIBRARY;
constexpr int kRounds = 50;

// A static object of the library, and what destroys it.
struct StaticObject {
    void (*destroy)(void *);
    void *address;
};

// All that were built in this process. Plain memory: a library that stays in memory is destroyed after everything else.
constexpr size_t kMaxObjects = 1024;
StaticObject objects[kMaxObjects];
size_t objectCount = 0;

// While set, the library's static objects are recorded, in the order in which they are built and destroyed.
struct Recorder {
    std::vector<void *> built;
    std::vector<void *> destroyed;
};
Recorder *recorder = nullptr;

void DestroyRecorded(void *pointer)
{
    const StaticObject &object = *static_cast<StaticObject *>(pointer);
    if (recorder != nullptr) {
        recorder->destroyed.push_back(object.address);
    }
    object.destroy(object.address);
}

bool IsInLibrary(const void *address)
{
    Dl_info info = {};
    return dladdr(address, &info) != 0 && std::strcmp(info.dli_fname, kLibrary) == 0;
}

using AtExit = int(void (*destroy)(void *), void *object, void *owner);

AtExit *RealAtExit()
{
    static AtExit *const real = reinterpret_cast<AtExit *>(dlsym(RTLD_NEXT, "__cxa_atexit"));
    return real;
}

}  // namespace

// Takes the place of the run-time's function, which is told of every static object as soon as it is built. It runs
// before main, and before a sanitizer is ready.
extern "C" __attribute__((visibility("default"), no_sanitize("address", "thread", "undefined"))) int
__cxa_atexit(void (*destroy)(void *), void *object, void *owner) noexcept
{
    if (recorder == nullptr || !IsInLibrary(owner) || objectCount == kMaxObjects) {
        return RealAtExit()(destroy, object, owner);
    }
    recorder->built.push_back(object);
    objects[objectCount] = {destroy, object};
    return RealAtExit()(DestroyRecorded, &objects[objectCount++], owner);
}

namespace {

class LoadedLibrary {
public:
    LoadedLibrary() : handle(dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL))
    {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    ~LoadedLibrary() { EXPECT_EQ(dlclose(handle), 0); }

    LoadedLibrary(const LoadedLibrary &) = delete;
    LoadedLibrary &operator=(const LoadedLibrary &) = delete;

    // A function by its name as the loader knows it.
    template <class Function>
    Function *Take(const char *name) const
    {
        void *const address = dlsym(handle, name);
        if (address == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Function *>(address);
    }

    int32_t Init() const { return Take<decltype(ZefConfigInit)>("ZefConfigInit")(); }
    int32_t Start() const { return Take<decltype(ZefConfigStart)>("ZefConfigStart")(); }
    void Finish() const { Take<decltype(ZefConfigFinish)>("ZefConfigFinish")(); }

    UuidConfig &Uuid() const { return Take<UuidConfig &()>("_ZN10UuidConfig11GetInstanceEv")(); }

    DeduplicationConfig &Switches() const
    {
        return Take<DeduplicationConfig &()>("_ZN19DeduplicationConfig11GetInstanceEv")();
    }

    std::vector<ZefStorage> &List() const
    {
        return Take<std::vector<ZefStorage> &()>("_ZN17ZefStorageManager13GetStorageAllEv")();
    }

    ZefStorage &EmptyRecord() const
    {
        return Take<ZefStorage &(const std::string &)>(
            "_ZN17ZefStorageManager9GetByNameERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE")("no such name");
    }

private:
    void *const handle;
};

// Lines of the process's memory map that name the library.
std::vector<std::string> Mappings()
{
    std::ifstream maps("/proc/self/maps");
    std::vector<std::string> lines;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(kLibrary) != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

}  // namespace

class UnloadTest : public ::testing::Test {
protected:
    UnloadTest()
    {
        WritePrivateConfig();
        recorder = &recorded;
    }

    ~UnloadTest() override { recorder = nullptr; }

    // Mini-XML goes with the library, and loses what it keeps for each thread. A leak checker must not see that.
    static void SetUpTestSuite()
    {
#ifdef ZEF_KEEP_MINI_XML
        ASSERT_NE(dlopen("libmxml.so.1", RTLD_NOW), nullptr);
#endif
    }

    HostPlatform &platform = HostPlatform::Get();
    Recorder recorded;
};

TEST_F(UnloadTest, LoadingConstructsThePoolWithOneWorkerAndCallsNothingElse)
{
    const LoadedLibrary library;
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool(1)"));
    EXPECT_THAT(platform.messages, IsEmpty());
}

TEST_F(UnloadTest, LoadingBuildsThePoolThenTheEmptyRecordThenTheList)
{
    const LoadedLibrary library;
    EXPECT_THAT(recorded.built, ElementsAre(platform.pool, &library.EmptyRecord(), &library.List()));
}

TEST_F(UnloadTest, UnloadingDestroysInReverseOrderWithThePoolLast)
{
    auto library = std::make_unique<LoadedLibrary>();
    void *const pool = platform.pool;
    void *const emptyRecord = &library->EmptyRecord();
    void *const list = &library->List();
    void *const uuid = &library->Uuid();
    void *const switches = &library->Switches();
    library.reset();
    EXPECT_THAT(recorded.destroyed, ElementsAre(switches, uuid, list, emptyRecord, pool));
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool(1)", "~ThreadPool"));
}

TEST_F(UnloadTest, NothingStaysBehindInAnyOfFiftyRoundsOfUse)
{
    for (int round = 0; round < kRounds; ++round) {
        platform.calls.clear();
        {
            const LoadedLibrary library;
            ASSERT_THAT(Mappings(), Not(IsEmpty()));
            ASSERT_EQ(library.Init(), 0);
            ASSERT_EQ(library.Start(), 0);
            ASSERT_EQ(library.List().size(), 1U);
            ASSERT_EQ(platform.pool->tasks.size(), 2U);  // one for each address of the array
            if (round % 2 == 0) {
                library.Finish();  // every other time tasks and storage object go with the library
            }
        }
        ASSERT_EQ(platform.pool, nullptr);
        ASSERT_EQ(platform.calls.back(), "~ThreadPool");
        ASSERT_EQ(recorded.destroyed.size(), recorded.built.size());
        ASSERT_THAT(Mappings(), IsEmpty()) << "round " << round;
        ASSERT_EQ(dlopen(kLibrary, RTLD_LAZY | RTLD_NOLOAD), nullptr);
    }
}

TEST_F(UnloadTest, ALibraryThatIsLoadedAgainKnowsNothingOfBefore)
{
    {
        const LoadedLibrary library;
        ASSERT_EQ(library.Init(), 0);
        ASSERT_EQ(library.Start(), 0);
    }
    const LoadedLibrary library;
    char uuid[40] = "";
    EXPECT_EQ(library.Take<decltype(ZefConfigGetUuid)>("ZefConfigGetUuid")(uuid, sizeof uuid), -1);
    EXPECT_THAT(library.List(), IsEmpty());
    EXPECT_THAT(platform.pool->tasks, IsEmpty());
}

// Mini-XML keeps data for every thread that has used it.
TEST_F(UnloadTest, AThreadThatReadTheConfigurationMayEndAfterTheLibraryHasGone)
{
    auto library = std::make_unique<LoadedLibrary>();
    std::promise<int32_t> initialised;
    std::promise<void> unloaded;
    std::thread thread([&] {
        initialised.set_value(library->Init());
        unloaded.get_future().wait();
    });
    EXPECT_EQ(initialised.get_future().get(), 0);
    library.reset();
    EXPECT_THAT(Mappings(), IsEmpty());
    unloaded.set_value();
    thread.join();
}
