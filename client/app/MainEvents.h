// What the main thread of a running client waits for.
#ifndef ZEF_CLIENT_APP_MAIN_EVENTS_H
#define ZEF_CLIENT_APP_MAIN_EVENTS_H

namespace zef {

enum class MainEvent : char {
    Stop = 's',          // SIGINT or SIGTERM
    ShowTable = 't',     // SIGUSR1
};

// Turns signals into events for one waiting thread. At most one per process at a time. While it
// lives, SIGINT, SIGTERM and SIGUSR1 are events and SIGPIPE is ignored; afterwards all four are as before.
class MainEvents {
public:
    // Throws std::system_error when there are no descriptors left.
    MainEvents();
    ~MainEvents();

    MainEvents(const MainEvents &) = delete;
    MainEvents &operator=(const MainEvents &) = delete;

    // Blocks until there is an event, and returns the oldest.
    MainEvent Wait();

    // Adds an event. Any thread, and signal handlers. Never blocks: when thousands wait already, it is dropped.
    static void Post(MainEvent event);
};

}  // namespace zef

#endif
