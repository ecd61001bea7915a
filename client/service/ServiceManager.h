// Tells the service manager (systemd) how the client is doing.
#ifndef ZEF_CLIENT_SERVICE_SERVICE_MANAGER_H
#define ZEF_CLIENT_SERVICE_SERVICE_MANAGER_H

#include "common/Mutex.h"
#include "service/StatusThrottle.h"

#include <chrono>
#include <string>
#include <thread>

namespace zef {

// Every function may be called from any thread. All of them do nothing in a process that no manager started, which is
// one without NOTIFY_SOCKET in its environment. A manager that cannot be reached is no reason to stop: nothing fails.
//
// Status texts are for people (systemctl status shows the last one). Bytes that are no printable ASCII are sent as '?',
// and no more than kMaxStatusBytes of a text. Secrets are never handed to these functions.
class ServiceManager {
public:
    static constexpr size_t kMaxStatusBytes = 512;
    static constexpr std::chrono::milliseconds kStatusSpacing{1000};

    // Starts the thread that sends texts whose time has not come yet, if there is a manager.
    explicit ServiceManager(std::chrono::milliseconds statusSpacing = kStatusSpacing);

    // Ends that thread. A text whose time has not come is not sent any more.
    ~ServiceManager();

    ServiceManager(const ServiceManager &) = delete;
    ServiceManager &operator=(const ServiceManager &) = delete;

    // Whether anybody looks on; without a manager, texts need not be made.
    bool IsThere() const { return isManaged; }

    // The client serves: after the start, and after a reload. The text is sent at once, in place of one that waits.
    void Ready(const std::string &status);

    // At most one text per spacing is sent, the last one given; none that says the same as the one before it.
    void Status(const std::string &text);

    // The client takes over a changed configuration; Ready ends that.
    void Reloading();

    // The client has begun to stop.
    void Stopping();

    // How often KickWatchdog is to be called: half of the time after which the manager takes this process for hung.
    // Zero: it does not watch this process.
    std::chrono::microseconds WatchdogInterval() const;

    // Proves that the client is alive. To be called from where a hang would show.
    void KickWatchdog();

private:
    void SendWaitingTexts();  // body of the sender

    const bool isManaged;

    Mutex mutex;  // held while a message is sent, so that messages keep their order
    Condition changed;
    StatusThrottle throttle ZEF_GUARDED_BY(mutex);
    bool isEnding ZEF_GUARDED_BY(mutex) = false;

    std::thread sender;
};

}  // namespace zef

#endif
