// Carries out what is asked of a running client over its control socket.
#ifndef ZEF_CLIENT_MANAGEMENT_MANAGEMENT_H
#define ZEF_CLIENT_MANAGEMENT_MANAGEMENT_H

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <functional>
#include <string>

namespace zef {

// Each request runs between two tasks of the library, and never beside another request: a request waits for the task
// that runs, at most until its deadline.
class Management {
public:
    // `configPath`: the configuration file that `save` and `reload` mean. `onChange` is called after each request that
    // may have changed something, also one that failed half-way, by the thread that carries it out.
    Management(std::string configPath, std::function<void()> onChange);

    // Until then requests are refused: the library has not started, or not as a whole. To be called while the thread
    // holds a TaskPause.
    void Open() { isOpen = true; }

    // Operations and their arguments (all texts unless said otherwise):
    //   status                                         see TakeClientStatus
    //   storage-add               name, user, password, addresses (list) or fibre_channel (true), save (true)
    //   storage-delete            name, save
    //   storage-add-addresses, storage-delete-addresses   name, addresses (list), save
    //   storage-delete-pair       name, pair, save
    //   storage-set-user          name, user, password, save
    //   switch                    name, value, save
    //   retry, save, reload
    //   log-level                 level; shows it when it is missing
    // Passwords are encrypted ones. All but status answer {done: [sentences]}, log-level also {level}. Throws
    // ControlError; what it says of "nothing was changed" holds, and TimedOut means that too.
    nlohmann::json Handle(const nlohmann::json &request, std::chrono::steady_clock::time_point deadline) const;

private:
    const std::string configPath;
    const std::function<void()> onChange;
    bool isOpen = false;  // guarded by whoever holds a TaskPause
};

}  // namespace zef

#endif
