// bench_lateness ROUNDS SAMPLES: how late the pool runs a task that becomes due, and how late a thread returns that
// does nothing but wait for a timerfd, in turns on the same processor. Prints p50 and p99 of both for each round, in
// nanoseconds.
#include "Peers.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

constexpr int64_t kNsPerMs = 1000000;
constexpr unsigned long kDelayMs = 2;

int64_t NowNs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 * kNsPerMs + now.tv_nsec;
}

// A thread of its own that is told of a time, sets a timerfd and waits for it.
class TimerLoop {
public:
    TimerLoop() { PinWorker(worker.native_handle()); }

    ~TimerLoop()
    {
        Tell(0);
        worker.join();
        close(timer);
        close(request);
    }

    TimerLoop(const TimerLoop &) = delete;
    TimerLoop &operator=(const TimerLoop &) = delete;

    int64_t Lateness()
    {
        woken = std::promise<int64_t>();
        const int64_t dueMs = NowNs() / kNsPerMs + int64_t{kDelayMs};
        Tell(static_cast<uint64_t>(dueMs));
        return woken.get_future().get() - dueMs * kNsPerMs;
    }

private:
    // 0 ends it.
    void Tell(uint64_t dueMs)
    {
        isStopped = dueMs == 0;
        const uint64_t number = isStopped ? 1 : dueMs;
        if (write(request, &number, sizeof number) != sizeof number) {
            std::terminate();
        }
    }

    void Work()
    {
        prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
        uint64_t dueMs = 0;
        uint64_t expirations = 0;
        while (read(request, &dueMs, sizeof dueMs) == sizeof dueMs && !isStopped) {
            itimerspec setting = {};
            setting.it_value.tv_sec = static_cast<time_t>(dueMs / 1000);
            setting.it_value.tv_nsec = static_cast<long>(dueMs % 1000) * kNsPerMs;
            timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr);
            if (read(timer, &expirations, sizeof expirations) == sizeof expirations) {
                const int64_t now = NowNs();
                woken.set_value(now);
            }
        }
    }

    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    const int request = eventfd(0, EFD_CLOEXEC);
    std::atomic<bool> isStopped{false};
    std::promise<int64_t> woken;
    std::thread worker{[this] { Work(); }};
};

// -1 when it cannot be told which millisecond the task was to become due in.
int64_t LatenessOfTask(ThreadPool &pool)
{
    const uint64_t before = ThreadPool::TimeGetPowerOnMs();
    auto began = pool.commit(kDelayMs, "", NowNs);
    const uint64_t after = ThreadPool::TimeGetPowerOnMs();
    const int64_t ranAt = began.second.get();
    return before == after ? ranAt - static_cast<int64_t>(before + kDelayMs) * kNsPerMs : -1;
}

void Print(const char *who, std::vector<int64_t> &samples)
{
    std::sort(samples.begin(), samples.end());
    for (const size_t percent : {50, 99}) {
        std::printf("p%zu/%s %lld\n", percent, who, static_cast<long long>(samples[samples.size() * percent / 100]));
    }
}

void MeasureRound(ThreadPool &pool, TimerLoop &loop, size_t samples)
{
    std::vector<int64_t> ours;
    std::vector<int64_t> theirs;
    while (ours.size() < samples) {
        const int64_t lateness = LatenessOfTask(pool);
        if (lateness >= 0) {
            ours.push_back(lateness);
            theirs.push_back(loop.Lateness());
        }
    }
    Print("ours", ours);
    Print("timerfd loop", theirs);
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        return 2;
    }
    PinProducer(pthread_self());
    ThreadPool pool(1);
    PinWorker(pool.workers[0].native_handle());
    TimerLoop loop;
    for (long round = 0; round < std::atol(argv[1]); ++round) {
        MeasureRound(pool, loop, static_cast<size_t>(std::atol(argv[2])));
    }
    return 0;
}
