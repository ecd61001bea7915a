// How local addresses are tried, and a way to end a try that is under way.
#ifndef ZEF_CLIENT_IPUTIL_IP_UTIL_SETTINGS_H
#define ZEF_CLIENT_IPUTIL_IP_UTIL_SETTINGS_H

#include "common/FileDescriptor.h"
#include "common/Mutex.h"

#include <chrono>
#include <functional>
#include <set>
#include <string>

#include <cstdint>

namespace zef {

struct IpUtilOptions {
    uint16_t port = 3260;                      // the array's
    std::chrono::milliseconds deadline{1000};  // for all connections of one try together

    // Whether an array address is still to be reached: asked in front of each try, on the thread of the task that wants
    // it. A task may still be queued when its address is removed. Empty: all are.
    std::function<bool(const std::string &array)> isWanted = nullptr;

    // Array addresses that the library is going to ask for besides, which are tried together with the one that it asks
    // for: asked in front of each try, on the thread of the task. Empty: none are.
    std::function<std::set<std::string>()> awaited = nullptr;

    // Told, on the thread of the task, from which local addresses an array address is reached: at the end of each try
    // for the address that was asked for, none when it is not reached, not wanted or the client stops; and before that
    // for each other awaited address that has been reached so far. Empty: nobody is told.
    std::function<void(const std::string &array, const std::set<std::string> &locals)> reached = nullptr;
};

// Process-wide, because the functions of IpUtil have no object. May be used from any thread.
class IpUtilSettings {
public:
    static IpUtilSettings &Instance();

    IpUtilSettings(const IpUtilSettings &) = delete;
    IpUtilSettings &operator=(const IpUtilSettings &) = delete;

    // Sets the options and takes an earlier StopProbing back. Nothing goes on that began with other options. To be
    // called before the library is started.
    void Configure(const IpUtilOptions &options);

    IpUtilOptions Options() const;

    // Ends tries that are under way at once, and all later ones as they begin; they then find no address.
    void StopProbing();

    // Can be read from StopProbing on. Lives as long as the process.
    int StopDescriptor() const { return stop.Get(); }

private:
    IpUtilSettings();

    const FileDescriptor stop;  // an eventfd

    mutable Mutex mutex;
    IpUtilOptions options ZEF_GUARDED_BY(mutex);
};

}  // namespace zef

#endif
