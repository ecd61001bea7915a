#include "gateway/IscsiLoop.h"

#include "common/QuietThread.h"
#include "log/Log.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>

namespace zef {

namespace {

constexpr char kClosing[] = "the gateway is closing";

FileDescriptor MakeWakeUp()
{
    FileDescriptor wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return wakeUp;
}

// Rounded up, so that a deadline has come when poll() returns; at most a minute, which only means one more round.
int PollTimeout(IscsiLink::TimePoint deadline)
{
    const auto now = std::chrono::steady_clock::now();
    if (deadline <= now) {
        return 0;
    }
    const auto wait = std::min<std::chrono::steady_clock::duration>(deadline - now, std::chrono::minutes(1));
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

LinkState StateOf(const IscsiLink &link)
{
    LinkState state;
    state.local = link.GetPair().local;
    state.array = link.GetPair().array;
    state.phase = link.Phase();
    state.wwn = link.Wwn();
    state.tries = link.Tries();
    state.failures = link.Failures();
    state.cause = link.Cause();
    state.since = std::chrono::system_clock::now();
    if (const std::optional<IscsiLink::TimePoint> next = link.NextTry()) {
        const auto wait = *next - std::chrono::steady_clock::now();
        state.nextTry = state.since + std::chrono::duration_cast<std::chrono::system_clock::duration>(wait);
    }
    return state;
}

}  // namespace

IscsiLoop::IscsiLoop(const GatewayOptions &gatewayOptions, LinkListener linkListener, LinkTable &linkTable)
    : options(gatewayOptions), listener(std::move(linkListener)), table(linkTable), wakeUp(MakeWakeUp()),
      asker([this](uint64_t linkId, std::unique_ptr<Credential> credential, const std::string &cause) {
          Post(CredentialCommand{linkId, std::move(credential), cause});
      }),
      thread(StartQuietThread([this] { Run(); }))
{
}

IscsiLoop::~IscsiLoop()
{
    Stop();
}

bool IscsiLoop::Post(Command command)
{
    const MutexLock lock(mutex);
    if (stopping) {
        if (auto *connect = std::get_if<ConnectCommand>(&command)) {
            connect->ticket->Settle(kClosing);
        }
        return false;
    }
    commands.push_back(std::move(command));
    eventfd_write(wakeUp.Get(), 1);
    return true;
}

void IscsiLoop::Stop()
{
    {
        const MutexLock lock(mutex);
        if (!std::exchange(stopping, true)) {
            eventfd_write(wakeUp.Get(), 1);
        }
        wentRound.NotifyAll();
    }
    asker.RequestStop();
    if (thread.joinable()) {
        thread.join();
    }
    // Only now: a task of the pool that waited for a link has been told, so the asker does not wait for that task any
    // more.
    asker.Stop();
    wakeUp.Close();
}

void IscsiLoop::Run()
{
    while (!IsStopping()) {
        RunCommands();
        AdvanceLinks();
        DropLeft();
        CountRound();
        Wait();
    }
    CloseLinks();
}

void IscsiLoop::CountRound()
{
    const MutexLock lock(mutex);
    ++rounds;
    wentRound.NotifyAll();
}

bool IscsiLoop::IsAlive(std::chrono::milliseconds patience)
{
    const auto until = std::chrono::steady_clock::now() + patience;
    const MutexLock lock(mutex);
    if (!HasGoneRound()) {
        eventfd_write(wakeUp.Get(), 1);
    }
    while (!HasGoneRound() && wentRound.WaitUntil(mutex, until)) {
    }
    const bool alive = HasGoneRound();
    roundsSeen = rounds;
    return alive;
}

bool IscsiLoop::HasGoneRound() const
{
    return stopping || rounds != roundsSeen;
}

bool IscsiLoop::IsStopping() const
{
    const MutexLock lock(mutex);
    return stopping;
}

void IscsiLoop::RunCommands()
{
    std::vector<Command> taken;
    {
        const MutexLock lock(mutex);
        taken.swap(commands);
    }
    for (Command &command : taken) {
        std::visit([this](auto &one) { Execute(one); }, command);
    }
}

void IscsiLoop::RefuseCommands()
{
    const MutexLock lock(mutex);
    for (Command &command : commands) {
        if (auto *connect = std::get_if<ConnectCommand>(&command)) {
            connect->ticket->Settle(kClosing);
        }
    }
    commands.clear();
}

void IscsiLoop::Execute(ConnectCommand &command)
{
    std::unique_ptr<IscsiLink> &link = links[command.pair.id];
    if (link == nullptr) {
        LinkHost &host = *this;
        link = std::make_unique<IscsiLink>(command.pair, command.initiator, options, host);
    }
    link->Connect(std::move(command.credential), command.cause, command.ticket, std::chrono::steady_clock::now());
}

void IscsiLoop::Execute(DeleteCommand &command)
{
    const auto found = links.find(command.linkId);
    if (found != links.end()) {
        found->second->Close("deleted");
        links.erase(found);
    }
}

void IscsiLoop::Execute(CredentialCommand &command)
{
    const auto found = links.find(command.linkId);
    if (found != links.end()) {
        const TimePoint now = std::chrono::steady_clock::now();
        found->second->CredentialArrived(std::move(command.credential), command.cause, now);
    }
}

void IscsiLoop::Execute(RetryCommand &command)
{
    const auto found = links.find(command.linkId);
    if (found != links.end()) {
        found->second->RetryNow(std::chrono::steady_clock::now());
    }
}

void IscsiLoop::AdvanceLinks()
{
    const TimePoint now = std::chrono::steady_clock::now();
    for (const auto &[id, link] : links) {
        link->Advance(now);
    }
}

void IscsiLoop::DropLeft()
{
    const TimePoint now = std::chrono::steady_clock::now();
    const auto hasLeft = [now](const Leaving &one) {
        return one.session->GetStep() == IscsiSession::Step::Ended || now >= one.deadline;
    };
    leaving.erase(std::remove_if(leaving.begin(), leaving.end(), hasLeft), leaving.end());
}

void IscsiLoop::Wait()
{
    std::vector<pollfd> polled = Descriptors();
    const int timeout = PollTimeout(NextDeadline());
    if (poll(polled.data(), polled.size(), timeout) > 0) {
        Service(polled);
    }
}

// The eventfd first, then the links in the order of their ids, then the sessions that leave.
std::vector<pollfd> IscsiLoop::Descriptors() const
{
    std::vector<pollfd> polled{{wakeUp.Get(), POLLIN, 0}};
    for (const auto &[id, link] : links) {
        const int descriptor = link->Descriptor();
        polled.push_back({descriptor, descriptor < 0 ? short{0} : link->Events(), 0});
    }
    for (const Leaving &one : leaving) {
        const int descriptor = one.session->Descriptor();
        polled.push_back({descriptor, descriptor < 0 ? short{0} : one.session->Events(), 0});
    }
    return polled;
}

void IscsiLoop::Service(const std::vector<pollfd> &polled)
{
    auto next = polled.begin();
    if (next->revents != 0) {
        eventfd_t ignored = 0;
        eventfd_read(wakeUp.Get(), &ignored);
    }
    for (const auto &[id, link] : links) {
        if ((++next)->revents != 0) {
            link->Service(next->revents);
        }
    }
    for (const Leaving &one : leaving) {
        if ((++next)->revents != 0) {
            one.session->Service(next->revents);
        }
    }
}

IscsiLoop::TimePoint IscsiLoop::NextDeadline() const
{
    TimePoint next = TimePoint::max();
    for (const auto &[id, link] : links) {
        next = std::min(next, link->NextDeadline());
    }
    for (const Leaving &one : leaving) {
        next = std::min(next, one.deadline);
    }
    return next;
}

void IscsiLoop::CloseLinks()
{
    RefuseCommands();
    for (const auto &[id, link] : links) {
        link->Close(kClosing);
    }
    links.clear();
    DropLeft();
    while (!leaving.empty()) {
        Wait();
        DropLeft();
    }
}

void IscsiLoop::Publish(const IscsiLink &link)
{
    const LinkState state = StateOf(link);
    const std::optional<LinkState> news = table.Publish(link.GetPair().id, state);
    if (!news && state.phase != LinkPhase::Closed) {
        return;
    }
    const LinkState &told = news ? *news : state;
    LogDebug("gateway", "{}", Describe(told));
    reports.Tell(told);
    if (listener) {
        listener(told);
    }
}

void IscsiLoop::AskCredential(const IscsiLink &link)
{
    const IscsiLink::Pair &pair = link.GetPair();
    asker.Ask({pair.id, pair.local, pair.array, pair.credentialCb});
}

void IscsiLoop::Dismiss(std::unique_ptr<IscsiSession> session)
{
    session->Logout();
    if (session->GetStep() != IscsiSession::Step::Ended) {
        leaving.push_back({std::move(session), std::chrono::steady_clock::now() + options.logoutDeadline});
    }
}

}  // namespace zef
