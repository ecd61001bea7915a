#include "app/RunningClient.h"

#include "TaskPause.h"
#include "check/ConfigBytes.h"
#include "check/KeysAtHand.h"
#include "check/StartRefusal.h"
#include "common/QuietThread.h"
#include "control/ControlError.h"
#include "gateway/IpGateway.h"
#include "iputil/IpUtilSettings.h"
#include "log/Log.h"
#include "management/ClientStatus.h"
#include "management/ConfigReload.h"
#include "management/StatusReport.h"
#include "management/StorageChanges.h"

#include <zef_config/ZefConfig.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <vector>

#include <unistd.h>

namespace zef {

namespace {

constexpr const char *kComponent = "client";

GatewayOptions WithWantedPairs(GatewayOptions options)
{
    options.isWanted = IsWantedPair;
    return options;
}

std::string StatusText()
{
    const TaskPause pause;
    return Render(MakeStatusReport(TakeClientStatus()), ReportFormat::Table, false);
}

std::string LinksUpText()
{
    const std::vector<LinkState> links = IpGateway::Instance().Links();
    if (links.empty()) {
        return "no link over IP yet";
    }
    const auto up = std::count_if(links.begin(), links.end(),
                                  [](const LinkState &link) { return link.phase == LinkPhase::Up; });
    return fmt::format("{} of {} links are up", up, links.size());
}

ExitCode Refuse(const char *step)
{
    const StartRefusal refusal = WhyStartIsRefused(kConfigFile, KeysAtHand());
    LogError(kComponent, "the client does not {}: {}", step, refusal.text);
    return refusal.code;
}

}  // namespace

RunningClient::RunningClient(const RunOptions &options, ServiceManager &serviceManager)
    : lock(kConfigFile),
      manager(serviceManager),
      management(kConfigFile, [this] { NotifyChange(); }),
      printer(std::make_unique<StatusPrinter>(STDOUT_FILENO, StatusText))
{
    if (options.controlPath != kNoControlSocket) {
        ControlOptions controlOptions;
        controlOptions.path = options.controlPath;
        control = std::make_unique<ControlServer>(controlOptions,
                                                  [this](const nlohmann::json &request, auto deadline) {
                                                      return management.Handle(request, deadline);
                                                  });
        notified = control.get();
    }
    IpUtilSettings::Instance().Configure(ProbeOptions(options));
    IpGateway::Instance().Start(WithWantedPairs(options.gateway),
                                [this](const LinkState &state) { LinkChanged(state); });
}

RunningClient::~RunningClient()
{
    IpUtilSettings::Instance().StopProbing();
    IpGateway::Instance().Close();
    if (control != nullptr) {
        control->Stop();
    }
    if (reloader.joinable()) {
        reloader.join();
    }
    printer.reset();
    const TaskPause pause;
    ZefConfigFinish();
}

// Under a pause: the library's first tasks wait until it has started as a whole, and requests are refused until then.
ExitCode RunningClient::Start()
{
    const TaskPause pause;
    if (const std::string problem = WhyFileIsUnreadable(kConfigFile); !problem.empty()) {
        LogError(kComponent, "the client does not initialise: {}", problem);
        return ExitCode::ConfigInvalid;
    }
    if (ZefConfigInit() != 0) {
        return Refuse("initialise");
    }
    if (ZefConfigStart() != 0) {
        return Refuse("start");
    }
    management.Open();
    manager.Ready(LinksUpText());
    return ExitCode::Done;
}

void RunningClient::ShowTable()
{
    printer->ShowTable();
}

void RunningClient::Reload()
{
    if (isReloading.exchange(true)) {
        LogWarn(kComponent, "the configuration file is being applied already; ask again when that is done");
        return;
    }
    if (reloader.joinable()) {
        reloader.join();  // has ended but for its last instruction
    }
    manager.Reloading();
    reloader = StartQuietThread([this] { ApplyFile(); });
}

void RunningClient::ApplyFile()
{
    try {
        const TaskPause pause;
        for (const std::string &sentence : ApplyConfigFile(kConfigFile)) {
            LogInfo(kComponent, "configuration file: {}", sentence);
        }
    } catch (const std::exception &error) {
        LogError(kComponent, "{}", error.what());
    }
    NotifyChange();
    manager.Ready(LinksUpText());
    isReloading = false;
}

void RunningClient::LinkChanged(const LinkState &state)
{
    printer->LinkChanged(state);
    NotifyChange();
    if (manager.IsThere()) {
        manager.Status(LinksUpText());
    }
}

// The addresses that the library is still going to ask for are tried together with the first one, and what is reached is
// logged in side by side.
IpUtilOptions RunningClient::ProbeOptions(const RunOptions &options)
{
    IpUtilOptions probing;
    probing.port = options.gateway.arrayPort;
    probing.deadline = options.probeDeadline;
    probing.isWanted = [this](const std::string &array) { return ProbeBegins(array); };
    probing.awaited = AwaitedAddresses;
    probing.reached = [](const std::string &array, const std::set<std::string> &locals) {
        IpGateway::Instance().Expect(array, locals);
    };
    return probing;
}

// Whoever is told now asks, and is answered when the task that probes has ended.
bool RunningClient::ProbeBegins(const std::string &array)
{
    NotifyChange();
    return IsWantedAddress(array);
}

void RunningClient::NotifyChange()
{
    if (ControlServer *const server = notified) {
        server->NotifyChange();
    }
}

}  // namespace zef
