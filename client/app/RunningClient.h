// Everything that a running client consists of, from its start to its end.
#ifndef ZEF_CLIENT_APP_RUNNING_CLIENT_H
#define ZEF_CLIENT_APP_RUNNING_CLIENT_H

#include "app/ConfigLock.h"
#include "app/RunCommand.h"
#include "app/StatusPrinter.h"
#include "control/ControlServer.h"
#include "iputil/IpUtilSettings.h"
#include "management/Management.h"
#include "service/ServiceManager.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace zef {

// One per process, used by the main thread. Ends in this order, however the client ends: everything that would keep a
// task waiting goes first, then whoever asks the library; only then does the library finish, with nothing beside it.
class RunningClient {
public:
    // Locks the configuration first: two clients on one do not get further. Throws ControlError for that and for a
    // control socket that cannot be opened, and std::system_error when the kernel refuses what is needed.
    RunningClient(const RunOptions &options, ServiceManager &manager);
    ~RunningClient();

    RunningClient(const RunningClient &) = delete;
    RunningClient &operator=(const RunningClient &) = delete;

    // Initialises and starts the library. The log says why when it is not Done.
    ExitCode Start();

    // Prints the status as soon as no task of the library runs. Does not wait for that.
    void ShowTable();

    // Applies the configuration file as soon as no task of the library runs, and does not wait for that; the log says
    // what came of it. Left out, with a message, while one is under way already.
    void Reload();

private:
    void LinkChanged(const LinkState &state);
    IpUtilOptions ProbeOptions(const RunOptions &options);
    bool ProbeBegins(const std::string &array);
    void NotifyChange();
    void ApplyFile();

    const ConfigLock lock;
    ServiceManager &manager;
    Management management;
    std::unique_ptr<StatusPrinter> printer;
    std::unique_ptr<ControlServer> control;       // none when the options want none
    std::atomic<ControlServer *> notified{nullptr};  // the same, once it can be told of changes
    std::atomic<bool> isReloading{false};
    std::thread reloader;
};

}  // namespace zef

#endif
