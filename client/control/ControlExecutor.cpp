#include "control/ControlExecutor.h"

#include "common/QuietThread.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>
#include <utility>

namespace zef {

ControlExecutor::ControlExecutor(RequestHandler requestHandler,
                                 std::function<void(uint64_t id, std::string line)> answerReceiver, size_t queueLimit)
    : handler(std::move(requestHandler)), answer(std::move(answerReceiver)), maxQueued(queueLimit),
      thread(StartQuietThread([this] { Run(); }))
{
}

ControlExecutor::~ControlExecutor()
{
    Stop();
}

void ControlExecutor::Submit(Job job)
{
    {
        const MutexLock lock(mutex);
        if (stopping) {
            throw ControlError(ExitCode::NotRunning, "the client is stopping");
        }
        if (jobs.size() >= maxQueued) {
            throw ControlError(ExitCode::Failed,
                               fmt::format("{} requests are waiting already; try again later", jobs.size()));
        }
        jobs.push_back(std::move(job));
    }
    changed.NotifyOne();
}

bool ControlExecutor::Withdraw(uint64_t id)
{
    const MutexLock lock(mutex);
    const auto found = std::find_if(jobs.begin(), jobs.end(), [id](const Job &job) { return job.id == id; });
    if (found == jobs.end()) {
        return false;
    }
    jobs.erase(found);
    return true;
}

void ControlExecutor::Stop()
{
    {
        const MutexLock lock(mutex);
        stopping = true;
        jobs.clear();
    }
    changed.NotifyOne();
    if (thread.joinable()) {
        thread.join();
    }
}

void ControlExecutor::Run()
{
    MutexLock lock(mutex);
    while (true) {
        auto next = NextJob();
        while (!stopping && next == jobs.end()) {
            changed.Wait(mutex);
            next = NextJob();
        }
        if (stopping) {
            return;
        }
        const Job job = std::move(*next);
        jobs.erase(next);
        lock.Unlock();
        answer(job.id, Execute(job));
        lock.Lock();
    }
}

// Jobs whose time is over stay, for whoever withdraws them to see that they were never begun.
std::deque<ControlExecutor::Job>::iterator ControlExecutor::NextJob()
{
    const auto now = std::chrono::steady_clock::now();
    return std::find_if(jobs.begin(), jobs.end(), [now](const Job &job) { return now < job.deadline; });
}

std::string ControlExecutor::Execute(const Job &job) const
{
    try {
        return SuccessLine(handler(*job.request, job.deadline));
    } catch (const ControlError &error) {
        return FailureLine(error);
    } catch (const std::exception &error) {
        return FailureLine(ControlError(ExitCode::Failed, fmt::format("the request failed: {}", error.what())));
    } catch (...) {
        return FailureLine(ControlError(ExitCode::Failed, "the request failed"));
    }
}

}  // namespace zef
