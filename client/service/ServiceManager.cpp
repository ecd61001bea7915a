#include "service/ServiceManager.h"

#include "common/QuietThread.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace zef {

namespace {

using Clock = std::chrono::steady_clock;

void Send(const std::string &message)
{
    const int result = sd_notify(0, message.c_str());
    (void)result;  // the manager only looks on
}

// The manager takes lines, and drops a text that is not UTF-8.
std::string Printable(const std::string &text)
{
    std::string printable = text.substr(0, ServiceManager::kMaxStatusBytes);
    std::replace_if(
        printable.begin(), printable.end(), [](char byte) { return byte < 0x20 || byte > 0x7e; }, '?');
    return printable;
}

// The manager tells by it which RELOADING goes with which request.
std::string MonotonicMicroseconds()
{
    const auto now = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch());
    return std::to_string(now.count());
}

}  // namespace

ServiceManager::ServiceManager(std::chrono::milliseconds statusSpacing)
    : isManaged(std::getenv("NOTIFY_SOCKET") != nullptr), throttle(statusSpacing)
{
    if (isManaged) {
        sender = StartQuietThread([this] { SendWaitingTexts(); });
    }
}

ServiceManager::~ServiceManager()
{
    {
        const MutexLock lock(mutex);
        isEnding = true;
    }
    changed.NotifyAll();
    if (sender.joinable()) {
        sender.join();
    }
}

void ServiceManager::Ready(const std::string &status)
{
    const MutexLock lock(mutex);
    const std::string text = Printable(status);
    throttle.Sent(text, Clock::now());
    Send("READY=1\nSTATUS=" + text);
}

void ServiceManager::Status(const std::string &text)
{
    {
        const MutexLock lock(mutex);
        throttle.Offer(Printable(text));
    }
    changed.NotifyAll();
}

void ServiceManager::Reloading()
{
    const MutexLock lock(mutex);
    Send("RELOADING=1\nMONOTONIC_USEC=" + MonotonicMicroseconds());
}

void ServiceManager::Stopping()
{
    const MutexLock lock(mutex);
    Send("STOPPING=1");
}

std::chrono::microseconds ServiceManager::WatchdogInterval() const
{
    uint64_t microseconds = 0;
    const bool isWatched = isManaged && sd_watchdog_enabled(0, &microseconds) > 0;
    return std::chrono::microseconds(isWatched ? microseconds / 2 : 0);
}

void ServiceManager::KickWatchdog()
{
    Send("WATCHDOG=1");
}

void ServiceManager::SendWaitingTexts()
{
    const MutexLock lock(mutex);
    while (true) {
        if (const std::optional<std::string> text = throttle.TakeDue(Clock::now())) {
            Send("STATUS=" + *text);
        }
        if (isEnding) {
            return;
        }
        if (const std::optional<Clock::time_point> due = throttle.DueTime()) {
            changed.WaitUntil(mutex, *due);
        } else {
            changed.Wait(mutex);
        }
    }
}

}  // namespace zef
