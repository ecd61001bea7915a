// The tasks that connect a storage object, on the pool, and what they are made of.
#include "Operation.h"
#include "Platform.h"

#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <stdexcept>

#include <zef_config/platform/Gateway.h>

namespace {

const std::string kName = "an_array_with_a_long_name";
const std::string kIp = "192.168.100.101";
const IpPair kPair("10.9.0.1", kIp);
const IpPair kOtherPair("10.9.0.2", kIp);
constexpr uint64_t kForeignWwn = 0x9999;
constexpr uint32_t kLastTry = 15;

// What is there before a task runs.
struct Scene {
    std::set<std::string> localIps{"10.9.0.1", "10.9.0.2"};
    std::vector<IpPair> pairs = {};
    std::vector<IpPair> links = {};
    int createLinkResult = 0;
    int linkInfoStatus = 0;
    uint64_t wwn = ZefStorage::kNoWwn;
    StorageLinkType type = StorageLinkType::kIp;
    bool poolRuns = true;
};

void Set(const Scene &scene)
{
    Platform &platform = Platform::Get();
    platform.localIps = scene.localIps;
    platform.createLinkResult = scene.createLinkResult;
    platform.linkInfoStatus = scene.linkInfoStatus;
    platform.links.clear();
    for (const IpPair &link : scene.links) {
        platform.links.insert(link.first + "," + link.second);
    }
    platform.pool->tasks.clear();
    platform.pool->running = scene.poolRuns;
    ZefStorageManager::Clear();
    const std::string user = "a_user_with_a_long_name";
    const std::string password = "sealed:a password of some length";
    const int created = scene.type == StorageLinkType::kIp
        ? ZefStorageManager::CreateStorage(kName, user, password, kIp)
        : ZefStorageManager::CreateStorage(kName, user, password, scene.type);
    if (created != 0) {
        throw std::logic_error("no storage object");
    }
    ZefStorage &storage = ZefStorageManager::GetByName(kName);
    storage.SetIpParis(scene.pairs);
    storage.SetWwn(scene.wwn);
}

// A task that ran out of memory leaves what it had done by then; nothing of it is wrong. Where it had not come
// to a retry, or the retry found no memory either, the queue is empty: it is given up, which is counted apart.
bool MayLeaveTheHalf(const State &before, const State &complete, const State &after)
{
    const auto in = [](const State &state, const std::string &name) {
        const auto place = state.find(name);
        return place == state.end() ? std::string() : place->second;
    };
    State all = before;
    all.insert(complete.begin(), complete.end());
    all.insert(after.begin(), after.end());
    for (const auto &entry : all) {
        const std::string found = in(after, entry.first);
        const bool isPart =
            entry.first == "storage0.pairs" && in(complete, entry.first).compare(0, found.size(), found) == 0;
        const bool isGone = entry.first == "queue" && found.empty();
        if (!isGone && found != in(before, entry.first) && found != in(complete, entry.first) && !isPart) {
            return false;
        }
    }
    return true;
}

template <class Commit>
Operation Task(const std::string &name, const Scene &scene, Commit commit)
{
    const auto prepare = [scene, commit] {
        Set(scene);
        commit(*Platform::Get().pool);
    };
    Operation task = {"task " + name, prepare, [] {
        Platform::Get().RunTask();
        return 0;
    }};
    task.allows = MayLeaveTheHalf;
    task.recover = prepare;
    task.tellsNothing = true;
    return task;
}

Operation Direct(const std::string &name, const Scene &scene, const std::function<int()> &run)
{
    Operation direct = {name, [scene] { Set(scene); }, run};
    direct.allows = MayLeaveTheHalf;
    direct.recover = direct.prepare;
    return direct;
}

Operation Connect(const std::string &what, const Scene &scene)
{
    return Task("ConnectTask, " + what, scene, [](ThreadPool &pool) { pool.commit(0, "", ConnectTask, kName, kIp); });
}

Operation CreateLink(const std::string &what, const Scene &scene)
{
    return Task("CreateLinkTask, " + what, scene,
                [](ThreadPool &pool) { pool.commit(0, "", CreateLinkTask, kName, kPair); });
}

Operation SetWwn(const std::string &what, const Scene &scene, uint32_t count)
{
    return Task("SetWwnTask, " + what, scene,
                [count](ThreadPool &pool) { pool.commit(0, "", SetWwnTask, kName, kPair, count + 0); });
}

// A committed task is told apart by its name in the queue.
int Done()
{
    return 0;
}

}  // namespace

std::vector<Operation> ConnectionOperations()
{
    const Scene fresh;
    Scene unreachable;
    unreachable.localIps = {};
    Scene withPair;
    withPair.pairs = {kPair};
    Scene refusing = withPair;
    refusing.createLinkResult = -1;
    Scene withLink = withPair;
    withLink.links = {kPair};
    Scene foreign = withLink;
    foreign.wwn = kForeignWwn;
    Scene notUsable = withLink;
    notUsable.linkInfoStatus = 1;
    Scene other;
    other.pairs = {kPair, kOtherPair};
    other.links = {kOtherPair};
    Scene ended;
    ended.poolRuns = false;
    Scene fibreChannel;
    fibreChannel.type = StorageLinkType::kFibreChannel;

    return {
        Connect("two links come up", fresh),
        Connect("no local address", unreachable),
        CreateLink("the link comes up", withPair),
        CreateLink("the link is refused", refusing),
        SetWwn("a WWN", withLink, 0),
        SetWwn("another array's", foreign, 0),
        SetWwn("not usable yet", notUsable, 0),
        SetWwn("the last try", other, kLastTry),
        Task("ConnectFCTask", fibreChannel, [](ThreadPool &pool) { pool.commit(0, "", ConnectFCTask, kName); }),
        Direct("GetFcLinkState", fibreChannel, [] { return GetFcLinkState(kName); }),
        Direct("RetryConnectTask", fresh, [] { return RetryConnectTask(kName, kIp), Done(); }),
        Direct("RetryCreateLinkTask", withPair, [] { return RetryCreateLinkTask(kName, kPair), Done(); }),
        Direct("RetrySetWwnTask", withPair, [] { return RetrySetWwnTask(kName, kPair, 0), Done(); }),
        Direct("CheckDoRetry", withPair, [] { return CheckDoRetry(kName, kIp, kPair) ? 1 : 0; }),
        Direct("GetConnectedCnt", other, [] { return GetConnectedCnt(kPair, {kPair, kOtherPair}); }),
        Direct("ConnectStorageIps", fresh,
               [] { return ZefStorageController::ConnectStorageIps(ZefStorageManager::GetByName(kName)); }),
        Direct("ConnectStorageIps, the pool has ended", ended,
               [] { return ZefStorageController::ConnectStorageIps(ZefStorageManager::GetByName(kName)); }),
        Direct("ConnectStorageFc", fibreChannel,
               [] { return ZefStorageController::ConnectStorageFc(ZefStorageManager::GetByName(kName)); }),
    };
}
