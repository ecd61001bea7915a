// The smallest platform that a host of the library can supply: it agrees to everything and keeps a record.
#ifndef ZEF_TESTS_PACKAGE_HOST_HOST_PLATFORM_H
#define ZEF_TESTS_PACKAGE_HOST_HOST_PLATFORM_H

#include <zef_config/ThreadPool.h>

#include <string>
#include <vector>

// One per process. Not synchronised.
struct HostPlatform {
    static HostPlatform &Get();

    HostPlatform() { exists = true; }
    ~HostPlatform() { exists = false; }

    HostPlatform(const HostPlatform &) = delete;
    HostPlatform &operator=(const HostPlatform &) = delete;

    // When a program that is linked with the library ends, the library's objects go after all of the program's own.
    static bool exists;

    struct Message {
        int module;
        int level;
        std::string text;
    };

    // Names of the platform's functions, in the order in which they were called; without log, time, memory and
    // bounds-checked functions. The pool's constructor stands there with its argument.
    std::vector<std::string> calls;
    std::vector<Message> messages;

    // The library's pool while the library is loaded. It has no worker that runs: tasks stay in its queue.
    ThreadPool *pool = nullptr;
};

#endif
