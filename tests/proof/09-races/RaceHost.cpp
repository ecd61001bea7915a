// zef_race_host: zef_client, but that `run SEED [racing]` has threads of its own beside the client's, which call the
// library wherever docs/threads.md lets them. Prints every second how many queries have been made, and at the end how
// often each function was called. `racing`: they look up without a pause, which is not let.
#include "Calls.h"

#include "TaskPause.h"
#include "app/CommandLine.h"
#include "app/MainEvents.h"
#include "app/RunningClient.h"
#include "log/Log.h"
#include "service/ServiceManager.h"

#include <zef_config/ZefStorageManager.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr int kAskers = 3;
constexpr int kBatch = 50;
constexpr std::chrono::microseconds kRest(300);  // so that most questions are of those that take a pause
constexpr milliseconds kQuietTime(3000);
constexpr milliseconds kRetryDelay(20);  // so that a credential is asked for a thousand times, not a few
constexpr const char *kExpectedUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";
constexpr const char *kSysfs = "/opt/sys";

// The calls that are let at one moment, drawn by weight.
class Choice {
public:
    Choice(std::vector<Kind> kinds, Moment moment)
    {
        for (size_t i = 0; i < AllCalls().size(); ++i) {
            const Call &call = AllCalls()[i];
            if (std::count(kinds.begin(), kinds.end(), call.kind) > 0 && MayRun(call.kind, moment)) {
                drawn.insert(drawn.end(), call.weight, i);
            }
        }
    }

    bool IsEmpty() const { return drawn.empty(); }
    size_t Draw(Random &random) const { return drawn[random() % drawn.size()]; }

private:
    std::vector<size_t> drawn;
};

const std::vector<Kind> kAskersKinds = {Kind::Free, Kind::Uuid, Kind::Object, Kind::Lookup};
const std::vector<Kind> kWardensKinds = {Kind::Save, Kind::Switches};

// Threads that call the library from before its start until after its end.
class Callers {
public:
    Callers(unsigned seed, bool isRacing) : racing(isRacing), called(AllCalls().size())
    {
        threads.emplace_back([this, seed] { Guard(seed); });
        for (unsigned i = 1; i <= kAskers; ++i) {
            threads.emplace_back([this, seed, i] { Ask(seed + i); });
        }
    }

    ~Callers()
    {
        isDone = true;
        for (std::thread &thread : threads) {
            thread.join();
        }
    }

    Callers(const Callers &) = delete;
    Callers &operator=(const Callers &) = delete;

    void Enter(Moment next) { moment = next; }

    // To be called when there are no requests any more. Returns when the warden holds no pause and will hold none.
    void EnterEnd()
    {
        moment = Moment::Ending;
        while (!isBehindRequests) {
            std::this_thread::sleep_for(milliseconds(1));
        }
    }

    uint64_t Queries() const { return queries; }
    uint64_t Wrong() const { return wrong; }

    void Print() const
    {
        for (size_t i = 0; i < called.size(); ++i) {
            std::cout << "called " << called[i] << ' ' << AllCalls()[i].name << std::endl;
        }
    }

private:
    void Run(const Choice &choice, int times, Random &random)
    {
        for (int i = 0; i < times && !choice.IsEmpty(); ++i) {
            const size_t index = choice.Draw(random);
            const Call &call = AllCalls()[index];
            if (!call.run(random)) {
                std::cout << "wrong answer: " << call.name << std::endl;
                ++wrong;
            }
            called[index].fetch_add(1, std::memory_order_relaxed);
            queries.fetch_add(call.isQuery ? 1 : 0, std::memory_order_relaxed);
        }
    }

    // Looks up while the warden's pause lasts, and calls what needs none otherwise. Nothing but the pause orders what
    // the askers do.
    void Ask(unsigned seed)
    {
        Random random(seed);
        const Choice starting(kAskersKinds, Moment::Starting);
        const Choice running(kAskersKinds, Moment::Busy);
        const Choice paused(kAskersKinds, Moment::Paused);
        const Choice ending(kAskersKinds, Moment::Ending);
        while (!isDone) {
            const Moment now = moment;
            if (racing && now != Moment::Starting && now != Moment::Ending) {
                Race();
            } else if (isOpen.load(std::memory_order_relaxed) && gate.try_lock_shared()) {
                Run(paused, kBatch, random);
                gate.unlock_shared();
            } else {
                Run(now == Moment::Starting ? starting : now == Moment::Ending ? ending : running, 10, random);
                std::this_thread::sleep_for(kRest);
            }
        }
    }

    // Reads what tasks write, but follows no pointer, which might lead nowhere: the report is wanted, no crash.
    void Race()
    {
        pairsSeen.fetch_add(ZefStorageManager::GetByName("array-1").GetIpParis().size(), std::memory_order_relaxed);
        std::this_thread::sleep_for(kRest);
    }

    // The warden: holds pauses, and makes the calls that only one thread at a time may make.
    void Guard(unsigned seed)
    {
        Random random(seed);
        const Choice starting(kWardensKinds, Moment::Starting);
        const Choice quiet(kWardensKinds, Moment::Quiet);
        const Choice alone({Kind::Task}, Moment::Alone);
        const Choice paused(kWardensKinds, Moment::Paused);
        const Choice ending(kWardensKinds, Moment::Ending);
        gate.lock();
        while (!isDone) {
            const Moment now = moment;
            if (now == Moment::Quiet || now == Moment::Busy) {
                Pause(alone, paused, random);
            }
            if (now == Moment::Quiet) {
                Run(quiet, 3, random);
            }
            if (now == Moment::Ending && !isBehindRequests) {
                {
                    const zef::TaskPause last;  // what requests did comes before what follows
                }
                isBehindRequests = true;
            }
            if (now == Moment::Starting || now == Moment::Ending) {
                Run(now == Moment::Starting ? starting : ending, 1, random);
            }
            if (now == Moment::Quiet && std::chrono::steady_clock::now() > quietUntil) {
                moment.compare_exchange_strong(quietMoment, Moment::Busy);
                std::cout << "requests are welcome" << std::endl;
            }
            std::this_thread::sleep_for(milliseconds(random() % 4));
        }
        gate.unlock();
    }

    void Pause(const Choice &alone, const Choice &paused, Random &random)
    {
        const zef::TaskPause pause;
        Run(alone, random() % 20 == 0 ? 1 : 0, random);
        isOpen.store(true, std::memory_order_relaxed);
        gate.unlock();
        Run(paused, 1, random);
        std::this_thread::sleep_for(milliseconds(random() % 8));
        isOpen.store(false, std::memory_order_relaxed);
        gate.lock();
    }

    const bool racing;
    const std::chrono::steady_clock::time_point quietUntil = std::chrono::steady_clock::now() + kQuietTime;
    Moment quietMoment = Moment::Quiet;  // the warden's
    std::atomic<Moment> moment{Moment::Starting};
    std::atomic<bool> isDone{false};
    std::atomic<bool> isBehindRequests{false};
    std::atomic<bool> isOpen{false};  // orders nothing: that is the gate's part
    std::shared_mutex gate;           // shared by those who look up, while the warden holds a pause
    std::atomic<uint64_t> queries{0};
    std::atomic<uint64_t> wrong{0};
    std::atomic<uint64_t> pairsSeen{0};
    std::vector<std::atomic<uint64_t>> called;
    std::vector<std::thread> threads;
};

// Until SIGTERM.
void Serve(zef::MainEvents &events, zef::RunningClient &client, const Callers &callers)
{
    for (int second = 0;; ++second) {
        const zef::MainEvent event = events.Wait(milliseconds(1000));
        if (event == zef::MainEvent::Stop) {
            return;
        }
        if (event == zef::MainEvent::Reload) {
            client.Reload();
        } else if (event == zef::MainEvent::ShowTable) {
            client.ShowTable();
        }
        std::cout << "queries " << callers.Queries() << std::endl;
    }
}

int RunRaces(unsigned seed, bool isRacing)
{
    expectedUuid = kExpectedUuid;
    zef::SetLogLevel(zef::LogLevel::Warn);  // most messages would be of tasks that nobody wants
    zef::RunOptions options;
    options.gateway.sysfsRoot = kSysfs;
    options.gateway.retryDelay = kRetryDelay;
    zef::MainEvents events;
    zef::ServiceManager manager;
    Callers callers(seed, isRacing);
    zef::ExitCode started = zef::ExitCode::Failed;
    {
        zef::RunningClient client(options, manager);
        started = client.Start();
        if (started == zef::ExitCode::Done) {
            callers.Enter(Moment::Quiet);
            Serve(events, client, callers);
        }
        callers.EnterEnd();
    }
    std::cout << "queries " << callers.Queries() << std::endl;
    callers.Print();
    return callers.Wrong() == 0 ? zef::ToStatus(started) : 1;
}

}  // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() >= 2 && arguments[0] == "run") {
        return RunRaces(static_cast<unsigned>(std::stoul(arguments[1])), arguments.back() == "racing");
    }
    return zef::RunCommandLine(argc, argv);
}
