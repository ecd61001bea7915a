#include "app/RunCommand.h"

#include "app/MainEvents.h"
#include "app/RunningClient.h"
#include "control/ControlError.h"
#include "gateway/IpGateway.h"
#include "keys/PlatformKeys.h"
#include "log/Log.h"
#include "service/ServiceManager.h"

#include <system_error>

namespace zef {

namespace {

constexpr const char *kComponent = "client";

// How long the gateway's thread may leave a question unanswered before it counts as hung.
constexpr std::chrono::milliseconds kGatewayPatience(5000);

// How long to wait for an event; without end where nobody watches.
std::chrono::milliseconds Patience(const ServiceManager &manager)
{
    const auto interval = std::chrono::duration_cast<std::chrono::milliseconds>(manager.WatchdogInterval());
    return interval.count() > 0 ? interval : std::chrono::milliseconds(-1);
}

// The main thread proves itself by getting here, the gateway's by an answer.
void ProveAlive(ServiceManager &manager)
{
    if (manager.WatchdogInterval().count() == 0) {
        return;
    }
    if (IpGateway::Instance().IsAlive(kGatewayPatience)) {
        manager.KickWatchdog();
    } else {
        LogError(kComponent, "the gateway's thread does not answer; the service manager will restart the client");
    }
}

void Serve(MainEvents &events, RunningClient &client, ServiceManager &manager)
{
    while (true) {
        switch (events.Wait(Patience(manager))) {
        case MainEvent::ShowTable:
            client.ShowTable();
            break;
        case MainEvent::Reload:
            client.Reload();
            break;
        case MainEvent::Nothing:
            break;
        case MainEvent::Stop:
            LogInfo(kComponent, "stopping");
            return;
        }
        ProveAlive(manager);
    }
}

}  // namespace

ExitCode RunClient(const RunOptions &options)
{
    MainEvents events;
    ServiceManager manager;
    SetCredentialDirectory(FindCredentialDirectory());
    try {
        RunningClient client(options, manager);
        const ExitCode started = client.Start();
        if (started == ExitCode::Done) {
            Serve(events, client, manager);
        }
        manager.Stopping();
        return started;
    } catch (const ControlError &error) {
        LogError(kComponent, "the client does not run: {}", error.what());
        return error.GetCode();
    } catch (const std::system_error &error) {
        LogError(kComponent, "the client does not run: {}", error.what());
        return ExitCode::Failed;
    }
}

}  // namespace zef
