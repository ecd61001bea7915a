// Tasks that are due at once, from the first commit until the worker has run the last one.
#include "Peers.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <initializer_list>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kTasks = 20000;  // of all producers together

// The tasks of a round, which one worker runs one after another.
size_t tasksLeft = 0;
std::promise<Clock::time_point> roundEnds;

void Serve(const std::string &storage, const std::string &address)
{
    if (storage != kStorage || address != kAddress) {
        std::terminate();
    }
    if (--tasksLeft == 0) {
        roundEnds.set_value(Clock::now());
    }
}

template <class Runner>
Clock::duration RunRound(Runner &runner, size_t producers)
{
    tasksLeft = kTasks;
    roundEnds = std::promise<Clock::time_point>();
    std::promise<void> begin;
    const std::shared_future<void> begins = begin.get_future().share();
    std::vector<std::thread> threads;
    for (size_t producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&runner, producers, begins] {
            begins.wait();
            for (size_t task = 0; task < kTasks / producers; ++task) {
                runner.Commit(Serve);
            }
        });
        PinProducer(threads.back().native_handle());
    }
    const Clock::time_point begun = Clock::now();
    begin.set_value();
    const Clock::time_point ended = roundEnds.get_future().get();
    for (std::thread &thread : threads) {
        thread.join();
    }
    return ended - begun;
}

template <class Runner>
void HandOver(benchmark::State &state, size_t producers, size_t queued)
{
    Runner runner(queued);
    RunRound(runner, producers);  // its memory has grown then
    for (auto _ : state) {
        state.SetIterationTime(std::chrono::duration<double>(RunRound(runner, producers)).count() / kTasks);
    }
}

template <class Runner>
void Add(const std::string &name, const char *who, size_t producers, size_t queued)
{
    benchmark::RegisterBenchmark((name + "/" + who).c_str(), HandOver<Runner>, producers, queued)
        ->UseManualTime()
        ->Iterations(1);
}

void Register()
{
    for (const size_t producers : {1, 4}) {
        for (const size_t queued : {0, 10, 1000, 100000}) {
            const std::string name =
                std::to_string(producers) + (producers == 1 ? " producer, " : " producers, ") + std::to_string(queued);
            Add<Ours>(name, "ours", producers, queued);
            Add<Asio>(name, "boost::asio", producers, queued);
            Add<Bare>(name, "bare", producers, queued);
            Add<Libuv>(name, "libuv", producers, queued);
            if (queued == 0) {
                Add<Glib>(name, "GLib", producers, queued);
            }
        }
    }
}

[[maybe_unused]] const bool isRegistered = (Register(), true);

}  // namespace
