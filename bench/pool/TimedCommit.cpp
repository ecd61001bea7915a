// What it costs whoever commits to put a task that becomes due later into the queue.
#include "Peers.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <random>

namespace {

constexpr size_t kTasks = 10000;

void Never(const std::string &, const std::string &)
{
    std::terminate();
}

// All alike, as retries have it, or each its own.
std::vector<unsigned long> Delays(bool areAlike)
{
    std::vector<unsigned long> delays(kTasks, kHourMs);
    if (!areAlike) {
        std::mt19937 random(1);
        std::generate(delays.begin(), delays.end(), [&random] { return kHourMs + random() % kHourMs; });
    }
    return delays;
}

using Work = std::function<void()>;
Work workOfTask;  // one at a time

// Calls it on the worker, inside a task, which is where the library commits its retries.
template <class Runner>
void CallInTask(Runner &runner, const Work &work)
{
    std::promise<void> done;
    workOfTask = [&work, &done] {
        work();
        done.set_value();
    };
    runner.Commit([](const std::string &, const std::string &) { workOfTask(); });
    done.get_future().wait();
}

// Commits all of them to one that has none yet.
template <class Runner, class Commit>
void TimedCommit(benchmark::State &state, bool isInTask, bool areAlike, Commit commit)
{
    const std::vector<unsigned long> delays = Delays(areAlike);
    PinProducer(pthread_self());
    for (auto _ : state) {
        Runner runner(0);
        std::chrono::duration<double> taken{};
        const Work commitAll = [&] {
            const auto begun = std::chrono::steady_clock::now();
            for (const unsigned long delay : delays) {
                commit(runner, delay);
            }
            taken = std::chrono::steady_clock::now() - begun;
        };
        if (isInTask) {
            CallInTask(runner, commitAll);
        } else {
            commitAll();
        }
        state.SetIterationTime(taken.count() / kTasks);
    }
}

template <class Runner, class Commit>
void Add(const std::string &name, const char *who, bool isInTask, bool areAlike, Commit commit)
{
    benchmark::RegisterBenchmark((name + "/" + who).c_str(), TimedCommit<Runner, Commit>, isInTask, areAlike, commit)
        ->UseManualTime()
        ->Iterations(1);
}

void Register()
{
    static const std::string name = "RetryConnectTask:" + kStorage + kAddress;
    const auto commitOurs = [](Ours &pool, unsigned long delay) { pool.CommitTimed(delay, "", Never); };
    const auto commitNamedOurs = [](Ours &pool, unsigned long delay) { pool.CommitTimed(delay, name, Never); };
    const auto commitAsio = [](Asio &asio, unsigned long delay) { asio.CommitTimed(delay, Never); };
    const auto commitNamedAsio = [](Asio &asio, unsigned long delay) { asio.CommitTimed(delay, Never, name); };
    for (const bool isInTask : {true, false}) {
        for (const bool areAlike : {true, false}) {
            const std::string where = isInTask ? "in a task, " : "outside, ";
            const std::string what = where + (areAlike ? "equal delays" : "various delays");
            Add<Ours>(what, "ours", isInTask, areAlike, commitOurs);
            Add<Asio>(what, "boost::asio", isInTask, areAlike, commitAsio);
            Add<Ours>(what + ", named", "ours", isInTask, areAlike, commitNamedOurs);
            Add<Asio>(what + ", named", "boost::asio", isInTask, areAlike, commitNamedAsio);
        }
    }
}

[[maybe_unused]] const bool isRegistered = (Register(), true);

}  // namespace
