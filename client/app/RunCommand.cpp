#include "app/RunCommand.h"

#include "app/CommandLine.h"
#include "app/ConfigDiagnosis.h"
#include "app/MainEvents.h"
#include "app/StatusPrinter.h"
#include "app/StatusReport.h"

#include "TaskPause.h"
#include "gateway/IpGateway.h"
#include "iputil/IpUtilSettings.h"
#include "keys/KeyCommands.h"
#include "log/Log.h"

#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace zef {

namespace {

constexpr const char *kComponent = "client";
constexpr size_t kMaxAddressText = 512;

// The library's own entry of the table: the first storage object, by copy.
ZefStorage FirstStorage()
{
    const std::vector<ZefStorage> &storages = ZefStorageManager::GetStorageAll();
    return storages.empty() ? ZefStorage() : storages.front();
}

std::vector<std::string> AddressesWithoutPair(const ZefStorage &storage)
{
    std::vector<std::string> addresses;
    for (const std::string &ip : storage.GetIpList()) {
        if (!storage.FindByIp(ip)) {
            addresses.push_back(ip);
        }
    }
    return addresses;
}

using Query = int32_t (*)(char *buffer, uint32_t size);

std::string Ask(Query query)
{
    char text[kMaxAddressText];
    return query(text, sizeof text) == 0 ? text : "";
}

// Asks the library between two of its tasks, since its registry has no lock.
ClientStatus TakeStatus()
{
    const TaskPause pause;
    const ZefStorage storage = FirstStorage();
    ClientStatus status;
    status.uuid = Ask(ZefConfigGetUuid);
    status.storageName = storage.GetName();
    status.storageWwn = storage.GetWwn();
    // Asked only once there is something to tell: the library reports a question that has no answer as an error.
    if (storage.GetLinkType() == StorageLinkType::kFibreChannel || !storage.GetIpParis().empty()) {
        status.localAddress = Ask(ZefConfigGetLocalAddr);
    }
    status.links = IpGateway::Instance().Links();
    status.withoutLink = AddressesWithoutPair(storage);
    return status;
}

// What must be stopped, in this order, however the client ends. Everything that would keep a task waiting goes first, then
// whoever asks the library; only then does the library finish, with nothing beside it.
class RunningClient {
public:
    explicit RunningClient(const RunOptions &options)
        : printer(std::make_unique<StatusPrinter>(STDOUT_FILENO, TakeStatus))
    {
        IpUtilSettings::Instance().Configure({options.gateway.arrayPort, options.probeDeadline});
        IpGateway::Instance().Start(options.gateway,
                                    [this](const LinkState &state) { printer->LinkChanged(state); });
    }

    ~RunningClient()
    {
        IpUtilSettings::Instance().StopProbing();
        IpGateway::Instance().Close();
        printer.reset();
        const TaskPause pause;
        ZefConfigFinish();
    }

    RunningClient(const RunningClient &) = delete;
    RunningClient &operator=(const RunningClient &) = delete;

    void ShowTable() { printer->ShowTable(); }

private:
    std::unique_ptr<StatusPrinter> printer;
};

// Most often it is the first start: no keys have been made yet.
std::string DiagnoseKeys()
{
    const bool haveKeys = access(kPrimaryKeyFile, F_OK) == 0 || access(kStandbyKeyFile, F_OK) == 0;
    return haveKeys ? "" : "there are no key files yet; zef_client keys init makes them";
}

int Refuse(const char *step, const std::string &diagnosis)
{
    if (diagnosis.empty()) {
        LogError(kComponent, "the client does not {}; the messages above say why", step);
    } else {
        LogError(kComponent, "the client does not {}: {}", step, diagnosis);
    }
    return kExitFailed;
}

int StartAndServe(MainEvents &events, RunningClient &client)
{
    const std::string problem = DiagnoseFile(kConfigFile);
    if (!problem.empty()) {
        return Refuse("initialise", problem);
    }
    if (ZefConfigInit() != 0) {
        const std::string diagnosis = DiagnoseInit(kConfigFile);
        return Refuse("initialise", diagnosis.empty() ? DiagnoseKeys() : diagnosis);
    }
    if (ZefConfigStart() != 0) {
        return Refuse("start", DiagnoseStart(kConfigFile));
    }
    while (events.Wait() == MainEvent::ShowTable) {
        client.ShowTable();
    }
    LogInfo(kComponent, "stopping");
    return kExitDone;
}

}  // namespace

int RunClient(const RunOptions &options)
{
    MainEvents events;
    RunningClient client(options);
    return StartAndServe(events, client);
}

}  // namespace zef
