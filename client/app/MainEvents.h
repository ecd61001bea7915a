// What the main thread of a running client waits for.
#ifndef ZEF_CLIENT_APP_MAIN_EVENTS_H
#define ZEF_CLIENT_APP_MAIN_EVENTS_H

#include <chrono>

namespace zef {

enum class MainEvent : char {
    Stop = 's',       // SIGINT or SIGTERM
    ShowTable = 't',  // SIGUSR1
    Reload = 'r',     // SIGHUP
    Nothing = 'n',    // Wait's time is over
};

// Turns signals into events for one waiting thread. At most one per process at a time. While it lives, SIGINT, SIGTERM,
// SIGUSR1 and SIGHUP are events and SIGPIPE is ignored; afterwards all five are as before.
class MainEvents {
public:
    // Throws std::system_error when there are no descriptors left.
    MainEvents();
    ~MainEvents();

    MainEvents(const MainEvents &) = delete;
    MainEvents &operator=(const MainEvents &) = delete;

    // Blocks until there is an event, and returns the oldest; Nothing when there is none until the time is over. A
    // negative time is never over.
    MainEvent Wait(std::chrono::milliseconds patience = std::chrono::milliseconds(-1));

    // Adds an event. Any thread, and signal handlers. Never blocks: when thousands wait already, it is dropped.
    static void Post(MainEvent event);
};

}  // namespace zef

#endif
