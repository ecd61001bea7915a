#include "Calls.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>
#include <zef_config/platform/Gateway.h>

#include <array>
#include <fstream>
#include <memory>

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";
constexpr const char *kName = "array-1";
constexpr const char *kArray = "127.0.0.10";
constexpr const char *kLocal = "127.0.0.1";

// What is under way beside a call.
enum Happening : unsigned { Tasks = 1, Lookups = 2, Changes = 4, Switches = 8, Saves = 16, Start = 32, End = 64 };

struct Rule {
    Kind kind;
    unsigned beside;  // what it may run beside
};

constexpr unsigned kAll = Tasks | Lookups | Changes | Switches | Saves | Start | End;

// Object stands for calls on documents and records that the calling thread alone has.
constexpr Rule kRules[] = {
    {Kind::Free, kAll},
    {Kind::Uuid, kAll & ~Start},
    {Kind::Object, kAll},
    {Kind::Save, kAll & ~Saves},
    {Kind::Lookup, Lookups | Switches | Saves},
    {Kind::Task, kAll & ~(Tasks | Lookups | Changes | End)},
    {Kind::Switches, kAll & ~(Switches | Start)},
};

unsigned UnderWay(Moment moment)
{
    switch (moment) {
    case Moment::Starting:
        return Start;
    case Moment::Quiet:
        return Tasks;
    case Moment::Busy:
        return Tasks | Lookups | Changes | Switches | Saves;
    case Moment::Alone:
        return 0;
    case Moment::Paused:
        return Lookups;
    case Moment::Ending:
        return End | Tasks;
    }
    return kAll;
}

using Text = std::array<char, 512>;

bool IsAddressOrNone(int32_t result, const Text &text)
{
    return result == -1 || std::strncmp(text.data(), "127.", 4) == 0;
}

bool AskUuid(Random &)
{
    Text text{};
    return ZefConfigGetUuid(text.data(), text.size()) == 0 && text.data() == expectedUuid;
}

bool AskUuidObject(Random &)
{
    return UuidConfig::GetInstance().GetUuid() == expectedUuid;
}

bool HandUuidOn(Random &)
{
    return ZefConfigSetUuid() == 0;
}

bool AskIp(Random &)
{
    Text text{};
    const int32_t result = ZefConfigGetIP(text.data(), text.size());
    return IsAddressOrNone(result, text);
}

bool AskLocalAddress(Random &)
{
    Text text{};
    const int32_t result = ZefConfigGetLocalAddr(text.data(), text.size());
    return IsAddressOrNone(result, text);
}

// Before its start the gateway knows no port, and once closed it has a link without one.
bool AskFibreChannel(Random &)
{
    Text text{};
    return ZefConfigGetFcIniWwn(text.data(), text.size()) == -1 || text[0] == '\0' ||
           std::strlen(text.data()) == std::strlen("21:00:00:24:ff:00:00:02");
}

bool IsCredential(OrnCredentialCb callback)
{
    OrnCredential credential{};
    const int result = callback(kLocal, kArray, &credential);
    const bool isRight = result != 0 || (std::strcmp(credential.user, "zefuser") == 0 && credential.password[0] != 0);
    explicit_bzero(&credential, sizeof credential);
    return isRight;
}

bool AskCredential(Random &)
{
    return IsCredential(ZefStorageGetCredentialCb);
}

bool AskFibreChannelCredential(Random &)
{
    return IsCredential(ZefStorageGetBilCredentialCb);
}

bool LookThroughAll(Random &)
{
    size_t pairs = 0;
    for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
        pairs += storage.GetIpParis().size() + storage.GetIpList().size() + storage.GetIps().size();
        pairs += storage.FindByIp(kArray) ? 1 : 0;
    }
    return pairs < 10000;
}

bool LookUpByName(Random &random)
{
    const bool isKnown = random() % 2 == 0;
    const ZefStorage copy = isKnown ? ZefStorageManager::GetByName(kName) : ZefStorageManager::GetStorage("nobody");
    return copy.GetName().empty() || copy.GetName() == kName;
}

bool LookWhetherItExists(Random &)
{
    return ZefStorageManager::StorageExist(kName) || !ZefStorageManager::StorageExist("nobody");
}

bool LookWhetherToRetry(Random &)
{
    return CheckDoRetry(kName, kArray, IpPair()) || true;
}

bool CallPlainFunctions(Random &)
{
    int32_t number = 0;
    ZefCtrlTpSetInt32Value("42", &number);
    ZefConfigExitTracePoint();
    const std::unique_ptr<char, void (*)(void *)> path(ZefInfCfgMakeBakPath("file"), std::free);
    std::string text = XmlRmSpace("  <a>  b </a>");
    XmlAddSpace(text, 3);
    return number == 42 && ZefConfigInitTracePoint() == 0 && path != nullptr && !text.empty();
}

bool CallChecks(Random &)
{
    return UuidConfig::GetInstance().IsValidUuid(expectedUuid) && ZefStorageManager::IsValidUserName("zefuser") &&
           ZefStorageManager::IsValidStorageName(kName) && ZefStorageManager::IsValid("x", "[a-z]");
}

bool LookAtLinks(Random &)
{
    OrnLinkInfo records[2];
    InitOrnLinkStatus(records, 2);
    const int count = GetConnectedCnt({kLocal, kArray}, {{kLocal, kArray}, {"127.0.0.2", kArray}});
    return count >= 0 && count <= 1 && records[0].wwn == ZefStorage::kNoWwn;
}

// The task finds that nobody wants the address and ends.
bool CommitConnecting(Random &)
{
    ZefStorage record;
    record.SetName("nobody");
    record.AddIpList({"127.0.0.99"});
    return ZefStorageController::ConnectStorageIps(record) == 0;
}

bool CommitFibreChannel(Random &)
{
    ZefStorage record;
    record.SetName("nobody");
    return ZefStorageController::ConnectStorageFc(record) == 0;
}

// Takes the WWN lock, then the queue's mutex; the task that it commits takes the former alone.
bool RepeatWwnStep(Random &)
{
    RetrySetWwnTask(kName, {kLocal, kArray}, 0);
    return true;
}

bool UseDocument(Random &random)
{
    ConfigMgr manager;
    ConfigNode root = manager.CreateConfig();
    ConfigNode top = root.Create("Config");
    for (unsigned i = 0; i < 3; ++i) {
        top.Create("Ips").SetString("127.0.0." + std::to_string(random() % 256));
    }
    top.Create("Number").SetInt(7);
    top.Create("Flag").SetBool(true);
    top.SetAttr("place", "room 3");
    ConfigNode list = root.Get("Config").Get("Ips");
    list[1].SetAttr("second", "yes");
    ConfigNode all = list.WithAttr("second", "yes");
    all.AddNode(nullptr);
    int number = 0;
    bool flag = false;
    std::string text;
    const bool isRight = list.Size() == 3 && all.Size() == 2 && top.Get("Number").GetInt(number) == 0 && number == 7 &&
                         top.Get("Flag").GetBool(flag) == 0 && flag && top.Get("Flag").GetBool() &&
                         top.Get("Number").GetInt() == 7 && list[0].GetString(text) == 0 &&
                         list[0].GetString() == text &&
                         top.GetAttr("place") == "room 3";
    list[2].Delete();
    const bool isDeleted = top.Get("Ips").Size() == 2;
    manager.Release();
    return isRight && isDeleted && manager.GetConfig().Get("Config").Size() == 0;
}

bool UseRecord(Random &random)
{
    ZefStorage record;
    record.SetName(kName);
    record.AddIpParis({kLocal, kArray});
    record.AddUnConnIpParis({kLocal, kArray});
    record.SetUser("zefuser");
    record.SetPassword("sealed");
    record.SetLinkType(StorageLinkType::kIp);
    record.SetLinkState(random());
    record.AddIpList({kArray, kLocal});
    record.DeleteIpFromList(kLocal);
    OrnLinkInfo link{};
    link.wwn = random() + uint64_t{1};
    const bool isTaken = StorageObjectFcSetWwnTask(record, link) == 0 && record.GetWwn() == link.wwn;
    ZefStorage copy = record;
    copy.DeleteIpParis(std::string(kArray));
    copy.DeleteUnConnIpParis(IpPair(kLocal, kArray));
    copy.SetIpParis(record.GetIpParis());
    copy.DeleteIpParis(IpPair(kLocal, kArray));
    copy.ClearIpParis();
    copy.SetWwn(ZefStorage::kNoWwn);
    return isTaken && record.FindByIp(kArray) && copy.GetIpParis().empty() && copy.GetUnConnIpParis().empty() &&
           copy.GetUser() == "zefuser" && copy.GetPassword() == "sealed" && copy.GetIps() == kArray &&
           copy.GetLinkType() == StorageLinkType::kIp && copy.GetLinkState() == record.GetLinkState();
}

bool SaveDocument(Random &)
{
    const std::string path = "/opt/saved.xml";
    std::ofstream(path, std::ios::app).close();  // what is not there is not saved
    ConfigMgr manager;
    manager.CreateConfig().Create("Config").Create("Text").SetString("text");
    return manager.SaveConfig(path) == 0;
}

bool UseSwitches(Random &)
{
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    const int before = switches.GetCompression();
    return switches.GetDeduplication() >= 0 && switches.SwitchConditionCheck() == 0 && switches.SetToPShim() == 0 &&
           switches.SetDeduplicationStatus(1) == 0 && switches.SetCompression(1) == 0 &&
           switches.SetCompression(before) == 0;
}

bool ReadFile(Random &)
{
    ConfigMgr manager;
    return manager.ReadConfig(kConfigFile) == 0;
}

}  // namespace

std::string expectedUuid;

bool MayRun(Kind kind, Moment moment)
{
    for (const Rule &rule : kRules) {
        if (rule.kind == kind) {
            return (UnderWay(moment) & ~rule.beside) == 0;
        }
    }
    return false;
}

const std::vector<Call> &AllCalls()
{
    static const std::vector<Call> calls = {
        {"ZefConfigGetUuid", Kind::Uuid, true, 400, AskUuid},
        {"UuidConfig::GetUuid", Kind::Uuid, false, 20, AskUuidObject},
        {"ZefConfigSetUuid", Kind::Uuid, false, 1, HandUuidOn},
        {"ZefConfigGetFcIniWwn", Kind::Free, true, 4, AskFibreChannel},
        {"ZefConfigGetIP", Kind::Lookup, true, 400, AskIp},
        {"ZefConfigGetLocalAddr", Kind::Lookup, true, 400, AskLocalAddress},
        {"ZefStorageGetCredentialCb", Kind::Lookup, true, 150, AskCredential},
        {"ZefStorageGetBilCredentialCb", Kind::Lookup, true, 50, AskFibreChannelCredential},
        {"GetStorageAll", Kind::Lookup, false, 20, LookThroughAll},
        {"GetByName, GetStorage", Kind::Lookup, false, 20, LookUpByName},
        {"StorageExist", Kind::Lookup, false, 20, LookWhetherItExists},
        {"CheckDoRetry", Kind::Lookup, false, 5, LookWhetherToRetry},
        {"trace points, XmlRmSpace and alike", Kind::Free, false, 10, CallPlainFunctions},
        {"IsValidUuid, IsValidUserName and alike", Kind::Free, false, 10, CallChecks},
        {"GetConnectedCnt, InitOrnLinkStatus", Kind::Free, false, 10, LookAtLinks},
        {"ConnectStorageIps", Kind::Free, false, 1, CommitConnecting},
        {"ConnectStorageFc", Kind::Free, false, 1, CommitFibreChannel},
        {"RetrySetWwnTask", Kind::Task, false, 1, RepeatWwnStep},
        {"ConfigMgr, ConfigNode", Kind::Object, false, 5, UseDocument},
        {"ZefStorage", Kind::Object, false, 5, UseRecord},
        {"ConfigMgr::ReadConfig", Kind::Object, false, 1, ReadFile},
        {"ConfigMgr::SaveConfig", Kind::Save, false, 1, SaveDocument},
        {"DeduplicationConfig", Kind::Switches, false, 20, UseSwitches},
    };
    return calls;
}
