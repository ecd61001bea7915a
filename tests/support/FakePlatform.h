// A platform that a test drives: it records what the library asks, in order, and answers as told.
#ifndef ZEF_TESTS_SUPPORT_FAKE_PLATFORM_H
#define ZEF_TESTS_SUPPORT_FAKE_PLATFORM_H

#include <zef_config/ThreadPool.h>
#include <zef_config/platform/Gateway.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <cstdint>

struct LogRecord {
    int module;
    int level;
    std::string file;
    int line;
    std::string function;
    int reserved;
    std::string format;
    std::string text;         // the format with its arguments
    size_t queuedTasks;       // in the pool's queue when the message was written
    size_t callsBefore;       // length of `calls` when the message was written
    int mutexesHeld;          // by the thread that wrote it
};

// One per process, reached through Get. Everything is plain data or a function to be replaced by the test. Not
// synchronised: the pool's tasks run on the test's thread, one by one.
class FakePlatform {
public:
    static FakePlatform &Get();

    // Everything as at the start, and the pool running with an empty queue.
    void Reset();

    // What was recorded. Calls are texts such as "OrnDeleteTarnLink(1.1.1.1,10.0.0.1)", with every call of the
    // interface except log, time, memory and bounds-checked functions.
    std::vector<std::string> calls;
    std::vector<LogRecord> logs;

    // The texts of all log records of a module.
    std::vector<std::string> Texts(int module) const;
    std::vector<std::string> OrdinaryTexts() const { return Texts(873); }
    std::vector<std::string> ProtocolTexts() const { return Texts(666); }

    // Log settings and clocks.
    std::function<int(int level)> mapLevel;
    std::function<int(int module, int level)> checkLevel;
    uint64_t jiffies = 0;
    std::function<void()> onJiffiesRead;  // after each reading
    uint64_t powerOnMs = 0;
    std::function<void()> onPowerOnRead;  // before each reading; commits read it while they hold the queue
    std::function<void()> onPoolClear;    // before the pool is cleared

    // Gateway.
    std::function<int(const OrnLinkRequest &)> onCreateLink;
    std::function<int(const std::string &localAddr, const std::string &storageAddr)> onDeleteLink;
    std::function<int(const std::string &localAddr, const std::string &storageAddr, OrnLinkInfo &)> onLinkInfo;
    std::function<int(OrnLinkInfo *records, uint32_t count, uint32_t *countOut)> onAllLinkInfo;
    int registerCredentialResult = 0;
    OrnCredentialCb registeredCallback = nullptr;
    int setGatewayUuidResult = 0;

    // Key management. The default decrypts "sealed:x" to "x" and anything else to "".
    int keyInitResult = 0;
    int rootKeyUpdateResult = 0;
    int masterKeyUpdateResult = 0;
    std::function<std::string(uint32_t domain, const std::string &cipherText)> onDecrypt;

    // Shared base configuration.
    std::function<int64_t(int item)> onGetItem;
    std::function<int(int item, int64_t value)> onSetItem;

    // Other components.
    int clientInfoResult = 0;
    int hibResult = 0;
    std::function<int(OrnLinkInfo *records, uint32_t count)> onShardCards;

    // Addresses. Valid by default: what inet_pton takes.
    std::function<bool(const std::string &ip)> onIsIpV4Valid;
    std::function<std::set<std::string>(const std::string &ip)> onHostIps;

    // Memory. Blocks that yrmm_malloc gave out and yrmm_free did not take back; sizes asked for.
    bool failAllocations = false;
    std::set<void *> liveBlocks;
    std::vector<size_t> blockSizes;

    // Bounds-checked functions: the number of calls of strcpy_s or strcat_s that succeed before the next ones fail.
    int copiesUntilFailure = -1;  // -1: never
    // What memset_s overwrote, as it was before, whenever it zeroed something.
    std::vector<std::string> wiped;

    // The worker count that the library's pool was constructed with; kept by Reset.
    int poolWorkers = 0;
    // The library's pool. Its tasks run only when the test says so, on the test's thread.
    ThreadPool &Pool();
    // Runs the task at the top if it is due; false when there is none.
    bool RunNextDue();
    // Runs what is due until nothing is, at most `limit` tasks; returns how many ran.
    int RunDue(int limit = 1000);
    // Lets time go by, in milliseconds of the pool's clock.
    void Advance(uint64_t ms) { powerOnMs += ms; }
    // Names and due times of what is queued, earliest first.
    std::vector<std::string> QueuedNames() const;
    std::vector<int64_t> QueuedDueTimes() const;

    // For the fake's own functions.
    void Record(std::string call) { calls.push_back(std::move(call)); }
    ThreadPool *pool = nullptr;
};

#endif
