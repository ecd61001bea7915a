// Starts threads that signals do not reach.
#ifndef ZEF_CLIENT_COMMON_QUIET_THREAD_H
#define ZEF_CLIENT_COMMON_QUIET_THREAD_H

#include <thread>
#include <utility>

#include <signal.h>

namespace zef {

// The thread blocks every signal from its first instruction on: SIGINT and SIGTERM are left to the threads that wait
// for them, and SIGPIPE, which libiscsi's writes to a closed connection raise, stays without effect.
template <class Function>
std::thread StartQuietThread(Function &&function)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::forward<Function>(function));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace zef

#endif
