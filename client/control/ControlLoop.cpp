#include "control/ControlLoop.h"

#include "common/QuietThread.h"
#include "log/Log.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <system_error>

#include <cerrno>

#include <sys/eventfd.h>
#include <unistd.h>

namespace zef {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using State = ControlConnection::State;

constexpr const char *kComponent = "control";
// So that one client's heap of requests does not keep the others waiting.
constexpr int kLinesPerTurn = 16;
// After a failure of poll, which the next attempt would meet again.
constexpr milliseconds kPollPause(100);
constexpr milliseconds kLongestPoll(3'600'000);
constexpr size_t kMaxLoggedOperation = 64;

constexpr const char *kNotBegun = "the request was not begun in time and has no effect";
constexpr const char *kNotEnded = "the request was begun and has not ended in time; it may still take effect";
constexpr const char *kNotReceived = "the rest of the request did not come in time";

FileDescriptor NewWakeUp()
{
    FileDescriptor descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!descriptor) {
        throw ControlError(ExitCode::Failed, "the control socket cannot be served: " +
                                                 std::generic_category().message(errno));
    }
    return descriptor;
}

uint64_t UnsignedArgument(const JsonValue &request, const char *name)
{
    const auto value = request.find(name);
    if (value == request.end() || !value->is_number_unsigned()) {
        throw ControlError(ExitCode::Usage,
                           fmt::format("the request cannot be used: its \"{}\" is no whole number from 0 on", name));
    }
    return value->get<uint64_t>();
}

steady_clock::time_point DeadlineOf(const JsonValue &request, milliseconds longest)
{
    milliseconds patience = longest;
    if (request.contains("timeout_ms")) {
        const auto limit = static_cast<uint64_t>(longest.count());
        patience = milliseconds(std::min(UnsignedArgument(request, "timeout_ms"), limit));
    }
    return steady_clock::now() + patience;
}

std::string ChangesLine(uint64_t changes)
{
    return SuccessLine({{"changes", changes}});
}

}  // namespace

ControlLoop::ControlLoop(const ControlOptions &controlOptions)
    : options(controlOptions), door(options), wakeUp(NewWakeUp())
{
}

ControlLoop::~ControlLoop()
{
    Stop();
}

void ControlLoop::Start(ControlExecutor &requestExecutor)
{
    executor = &requestExecutor;
    thread = StartQuietThread([this] { Run(); });
}

void ControlLoop::Post(uint64_t request, std::string line)
{
    {
        const MutexLock lock(mutex);
        answers.emplace_back(request, std::move(line));
    }
    Wake();
}

void ControlLoop::NotifyChange()
{
    ++changes;
    if (isWaitedFor) {
        Wake();
    }
}

void ControlLoop::Stop()
{
    stopping = true;
    Wake();
    if (thread.joinable()) {
        thread.join();
    }
}

// Fails only when a wake-up is pending that nobody has taken yet.
void ControlLoop::Wake()
{
    const uint64_t one = 1;
    const ssize_t written = write(wakeUp.Get(), &one, sizeof one);
    (void)written;
}

void ControlLoop::Run()
{
    while (!stopping) {
        const std::vector<pollfd> found = Poll();
        TakeWakeUp();
        auto source = found.begin() + 2;
        for (ControlConnection &connection : connections) {
            connection.Serve((source++)->revents);
        }
        DeliverAnswers();
        const TimePoint now = steady_clock::now();
        for (ControlConnection &connection : connections) {
            CheckDeadline(connection, now);
            Advance(connection);
        }
        RemoveEnded();
        if (found[1].revents != 0) {
            door.LetIn(connections);
        }
    }
    SayGoodbye();
}

// The wake-up first, then the door, then the connections in their order.
std::vector<pollfd> ControlLoop::Poll()
{
    // Before the changes are compared for the last time: whoever makes one from here on wakes the thread.
    isWaitedFor = std::any_of(connections.begin(), connections.end(), [](const ControlConnection &connection) {
        return connection.GetState() == State::Waiting;
    });
    std::vector<pollfd> sources;
    sources.reserve(connections.size() + 2);
    sources.push_back({wakeUp.Get(), POLLIN, 0});
    const TimePoint now = steady_clock::now();  // one for both, so that a closed door is looked at again in time
    sources.push_back({door.GetDescriptor(now), POLLIN, 0});
    for (const ControlConnection &connection : connections) {
        sources.push_back({connection.GetDescriptor(), connection.WantedEvents(), 0});
    }
    if (poll(sources.data(), sources.size(), PollTimeout(now)) < 0) {
        std::this_thread::sleep_for(kPollPause);
        for (pollfd &source : sources) {
            source.revents = 0;
        }
    }
    return sources;
}

// Rounded up: a deadline has passed when poll says so.
int ControlLoop::PollTimeout(TimePoint now) const
{
    TimePoint nearest = TimePoint::max();
    for (const ControlConnection &connection : connections) {
        const bool isDue = connection.HasRequest() || HasNews(connection);
        nearest = std::min(nearest, isDue ? TimePoint::min() : connection.GetDeadline());
    }
    if (door.OpensAt() > now) {
        nearest = std::min(nearest, door.OpensAt());
    }
    if (nearest == TimePoint::max()) {
        return -1;
    }
    const auto left = nearest <= now ? milliseconds::zero() : std::chrono::ceil<milliseconds>(nearest - now);
    return static_cast<int>(std::min(left, kLongestPoll).count());
}

// True when there is a change that the client waits for.
bool ControlLoop::HasNews(const ControlConnection &connection) const
{
    return connection.GetState() == State::Waiting && connection.GetSince() != changes;
}

void ControlLoop::TakeWakeUp()
{
    uint64_t count = 0;
    const ssize_t taken = read(wakeUp.Get(), &count, sizeof count);
    (void)taken;
}

void ControlLoop::DeliverAnswers()
{
    std::vector<std::pair<uint64_t, std::string>> posted;
    {
        const MutexLock lock(mutex);
        posted.swap(answers);
    }
    for (const auto &[request, line] : posted) {
        for (ControlConnection &connection : connections) {
            if (connection.GetRequest() == request) {
                connection.Answer(line);
            }
        }
    }
    for (ControlConnection &connection : connections) {
        if (HasNews(connection)) {
            connection.Answer(ChangesLine(changes));
        }
    }
}

void ControlLoop::Advance(ControlConnection &connection)
{
    for (int i = 0; i < kLinesPerTurn; ++i) {
        const std::optional<std::string> line = connection.TakeRequest();
        if (!line) {
            break;
        }
        HandleLine(connection, *line);
    }
    if (connection.GetState() != State::Reading || connection.HasRequest()) {
        return;
    }
    const std::string wrong = connection.WhatIsWrong();
    if (!wrong.empty()) {
        connection.Answer(FailureLine(ControlError(ExitCode::Usage, wrong)), true);
    } else if (connection.IsExhausted()) {
        connection.End();
    }
}

void ControlLoop::HandleLine(ControlConnection &connection, const std::string &line)
{
    try {
        HandleRequest(connection, ParseRequest(line));
    } catch (const ControlError &error) {
        connection.Answer(FailureLine(error));
    }
}

void ControlLoop::HandleRequest(ControlConnection &connection, JsonValue request)
{
    const std::string op = request["op"].get<std::string>();
    LogDebug(kComponent, "{} asked for by user id {}, process {}", op.substr(0, kMaxLoggedOperation),
             connection.GetPeer().user, connection.GetPeer().process);
    const TimePoint deadline = DeadlineOf(request, options.requestDeadline);
    if (op != "wait") {
        const uint64_t id = ++lastRequest;
        executor->Submit({id, std::make_shared<const JsonValue>(std::move(request)), deadline});
        connection.BeginExecuting(id, deadline);
        return;
    }
    const uint64_t since = UnsignedArgument(request, "since");
    const uint64_t current = changes;
    if (since != current) {
        connection.Answer(ChangesLine(current));
    } else {
        connection.BeginWaiting(since, deadline);
    }
}

void ControlLoop::CheckDeadline(ControlConnection &connection, TimePoint now)
{
    if (now < connection.GetDeadline() || connection.HasRequest()) {
        return;
    }
    switch (connection.GetState()) {
        case State::Executing:
            connection.Answer(FailureLine(ControlError(
                ExitCode::TimedOut, executor->Withdraw(connection.GetRequest()) ? kNotBegun : kNotEnded)));
            break;
        case State::Waiting:
            connection.Answer(ChangesLine(connection.GetSince()));
            break;
        case State::Reading:
            if (connection.IsMidRequest()) {
                connection.Answer(FailureLine(ControlError(ExitCode::TimedOut, kNotReceived)), true);
                break;
            }
            [[fallthrough]];
        case State::Sending:
        case State::Ended:
            connection.End();
            break;
    }
}

void ControlLoop::RemoveEnded()
{
    connections.remove_if([this](const ControlConnection &connection) {
        const bool ended = connection.GetState() == State::Ended;
        if (ended && connection.GetRequest() != 0) {
            (void)executor->Withdraw(connection.GetRequest());
        }
        return ended;
    });
}

void ControlLoop::SayGoodbye()
{
    DeliverAnswers();
    const std::string line = FailureLine(ControlError(ExitCode::NotRunning, "the client is stopping"));
    for (ControlConnection &connection : connections) {
        if (connection.GetState() == State::Executing || connection.GetState() == State::Waiting) {
            connection.Answer(line, true);
        }
    }
    connections.clear();
}

}  // namespace zef
