// The library's life, and its queries.
#include "Operation.h"
#include "Platform.h"

#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <stdexcept>

namespace {

void Require(bool condition)
{
    if (!condition) {
        throw std::logic_error("an operation could not be prepared");
    }
}

void Init()
{
    Require(ZefConfigInit() == 0);
}

void InitAndStart(const std::string &type)
{
    WriteConfig(type);
    Init();
    Require(ZefConfigStart() == 0);
    while (!Platform::Get().pool->tasks.empty()) {
        Platform::Get().RunTask();
    }
}

void StartedOverIp()
{
    InitAndStart("0");
}

void StartedOverFibreChannel()
{
    InitAndStart("1");
}

// The UUID stays taken, once it is: nothing else is left of a failed initialisation, least of all another UUID.
bool MayLeaveUuid(const State &before, const State &, const State &after)
{
    State expected = before;
    for (const char *const name : {"uuid", "gateway's uuid"}) {
        if (after.at(name) == kUuid) {
            expected[name] = kUuid;
        }
    }
    return after == expected;
}

// A start that failed leaves storage object, tasks and switches as far as it came; the host finishes the library.
bool MayLeaveHalfAStart(const State &before, const State &complete, const State &after)
{
    for (const auto &[name, value] : after) {
        const bool isQueue = name == "queue" || name == "pool";
        const auto was = before.find(name);
        const auto comes = complete.find(name);
        if (!isQueue && (was == before.end() || was->second != value) &&
            (comes == complete.end() || comes->second != value)) {
            return false;
        }
    }
    return true;
}

void FinishAndReload()
{
    ZefConfigFinish();
    Platform::Get().RevivePool();
}

int InitAndStartAgain()
{
    return ZefConfigInit() == 0 ? ZefConfigStart() : -1;
}

int Ask(int32_t (*query)(char *, uint32_t))
{
    char answer[512] = {};
    const int result = query(answer, sizeof answer);
    const Disarmed disarmed;
    Note("answer", result == 0 ? answer : "");
    return result;
}

int AskCredential(int (*callback)(const char *, const char *, OrnCredential *))
{
    OrnCredential credential = {};
    const int result = callback("", "", &credential);
    const Disarmed disarmed;
    Note("answer", result == 0 ? std::string(credential.user) + "," + credential.password : "");
    return result;
}

Operation Query(const std::string &name, void (*prepare)(), int32_t (*query)(char *, uint32_t))
{
    return {name, [prepare] {
        prepare();
        Note("answer", "");
    }, [query] { return Ask(query); }};
}

Operation Credential(const std::string &name, int (*callback)(const char *, const char *, OrnCredential *))
{
    return {name, [] {
        StartedOverIp();
        Note("answer", "");
    }, [callback] { return AskCredential(callback); }};
}

}  // namespace

std::vector<Operation> LifeOperations()
{
    Operation init = {"ZefConfigInit", [] { WriteConfig(); }, [] { return ZefConfigInit(); }};
    init.allows = MayLeaveUuid;
    init.stays = {kUuid};
    std::vector<Operation> operations = {init};
    for (const char *const type : {"0", "1"}) {
        Operation start = {std::string("ZefConfigStart, link type ") + type, [type] {
            WriteConfig(type);
            Init();
        }, [] { return ZefConfigStart(); }};
        start.allows = MayLeaveHalfAStart;
        start.recover = FinishAndReload;
        start.again = InitAndStartAgain;
        start.stays = {"Compression", "Deduplication"};
        operations.push_back(start);
    }
    operations.push_back({"ZefConfigFinish", StartedOverIp, [] {
        ZefConfigFinish();
        return 0;
    }});
    operations.push_back({"ZefConfigSetUuid", StartedOverIp, [] { return ZefConfigSetUuid(); }});
    operations.push_back({"ZefWoxUpdateTask", StartedOverIp, [] { return ZefWoxUpdateTask(); }});
    operations.push_back(Query("ZefConfigGetUuid", StartedOverIp, ZefConfigGetUuid));
    operations.push_back(Query("ZefConfigGetLocalAddr, IP", StartedOverIp, ZefConfigGetLocalAddr));
    operations.push_back(Query("ZefConfigGetLocalAddr, FC", StartedOverFibreChannel, ZefConfigGetLocalAddr));
    operations.push_back(Query("ZefConfigGetIP", StartedOverIp, ZefConfigGetIP));
    operations.push_back(Query("ZefConfigGetFcIniWwn", StartedOverIp, ZefConfigGetFcIniWwn));
    operations.push_back(Credential("ZefStorageGetCredentialCb", ZefStorageGetCredentialCb));
    operations.push_back(Credential("ZefStorageGetBilCredentialCb", ZefStorageGetBilCredentialCb));
    return operations;
}
