#include "gateway/IscsiLink.h"

#include "log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

#include <cerrno>

#include <sys/random.h>

namespace zef {

namespace {

// The library asks again for a link that it was told is not up.
constexpr std::chrono::seconds kLibraryRetryDelay{2};

// 24 random bits per link, kept for its life: a new login with the same ISID takes the place of a session that the
// array still believes in, and the qualifier, the link's number, keeps the client's own sessions apart.
uint32_t RandomIsid()
{
    uint32_t bits = 0;
    if (getrandom(&bits, sizeof bits, 0) != sizeof bits) {
        throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    return bits & 0xFFFFFF;
}

// A discovery answer names a target once per portal group.
std::string OnlyTarget(const std::vector<std::string> &targets, std::string &cause)
{
    const std::set<std::string> names(targets.begin(), targets.end());
    if (names.size() == 1 && !names.begin()->empty()) {
        return *names.begin();
    }
    cause = names.empty() ? "the array offers no target to this client"
                          : fmt::format("the array offers {} targets: say which with the target option", names.size());
    return "";
}

}  // namespace

IscsiLink::IscsiLink(const Pair &addresses, const std::string &initiatorName, const GatewayOptions &gatewayOptions,
                     LinkHost &linkHost)
    : pair(addresses), initiator(initiatorName), options(gatewayOptions), host(linkHost), isidRandom(RandomIsid())
{
}

IscsiLink::~IscsiLink()
{
    Settle("the link was deleted");
}

void IscsiLink::Connect(std::unique_ptr<Credential> newCredential, const std::string &noCredential,
                        const std::shared_ptr<LoginTicket> &ticket, TimePoint now)
{
    if (phase == LinkPhase::Up) {
        ticket->Settle("");
        return;
    }
    tickets.push_back(ticket);
    if (IsTrying(phase)) {
        return;
    }
    if (newCredential != nullptr) {
        BeginTry(std::move(newCredential), now);
    } else if (!noCredential.empty()) {
        FailTry(noCredential, now);
    } else {
        // Asked for while a login was under way that has failed meanwhile: its cause is the answer.
        Settle(cause.empty() ? "the link was deleted" : cause);
    }
}

void IscsiLink::CredentialArrived(std::unique_ptr<Credential> newCredential, const std::string &noCredential,
                                  TimePoint now)
{
    if (phase != LinkPhase::WaitingToRetry || !askedCredential) {
        return;
    }
    if (newCredential != nullptr) {
        BeginTry(std::move(newCredential), now);
    } else {
        FailTry(noCredential, now);
    }
}

void IscsiLink::RetryNow(TimePoint now)
{
    if (phase == LinkPhase::WaitingToRetry && !askedCredential) {
        deadline = now;
    }
}

void IscsiLink::Close(const std::string &why)
{
    Settle(why);
    DropSession();
    deadline = TimePoint::max();
    Enter(LinkPhase::Closed, why);
}

void IscsiLink::Service(short revents)
{
    session->Service(revents);
}

void IscsiLink::Advance(TimePoint now)
{
    switch (phase) {
    case LinkPhase::Discovering:
    case LinkPhase::Connecting:
    case LinkPhase::LoggingIn:
        AdvanceLogin(now);
        break;
    case LinkPhase::ReadingWwn:
        AdvanceWwn(now);
        break;
    case LinkPhase::Up:
        AdvanceUp(now);
        break;
    case LinkPhase::WaitingToRetry:
        if (!askedCredential && now >= deadline) {
            askedCredential = true;
            deadline = TimePoint::max();
            host.AskCredential(*this);
        }
        break;
    case LinkPhase::Created:
    case LinkPhase::Failed:
    case LinkPhase::Closed:
        break;
    }
}

IscsiLink::TimePoint IscsiLink::NextDeadline() const
{
    const bool hasEnded = session != nullptr && session->GetStep() == IscsiSession::Step::Ended;
    return hasEnded ? TimePoint::min() : deadline;
}

void IscsiLink::BeginTry(std::unique_ptr<Credential> newCredential, TimePoint now)
{
    ++tries;
    askedCredential = false;
    credential = std::move(newCredential);
    loginEnd = now + options.loginDeadline;
    OpenSession(options.targetName, now);
}

void IscsiLink::OpenSession(const std::string &target, TimePoint now)
{
    SessionPlan plan;
    plan.local = pair.local;
    plan.array = pair.array;
    plan.port = options.arrayPort;
    plan.initiator = initiator;
    plan.target = target;
    plan.isidRandom = target.empty() ? isidRandom ^ 1 : isidRandom;  // the two sessions of a try may overlap
    plan.isidQualifier = static_cast<uint16_t>(pair.id);

    session = std::make_unique<IscsiSession>(plan, *credential);
    if (!target.empty()) {
        credential.reset();
    }
    isConnected = false;
    deadline = std::min(now + options.connectDeadline, loginEnd);
    Enter(target.empty() ? LinkPhase::Discovering : LinkPhase::Connecting, cause);
}

void IscsiLink::AdvanceLogin(TimePoint now)
{
    if (session->GetStep() == IscsiSession::Step::LoggingIn && !std::exchange(isConnected, true)) {
        deadline = loginEnd;
        if (phase == LinkPhase::Connecting) {
            Enter(LinkPhase::LoggingIn, cause);
        }
    }
    if (session->GetStep() == IscsiSession::Step::Ended) {
        FailTry(session->Cause(), now);
    } else if (now >= deadline) {
        FailTry(LateCause(), now);
    } else if (session->GetStep() != IscsiSession::Step::LoggedIn) {
        return;
    } else if (phase == LinkPhase::Discovering) {
        AdvanceDiscovery(now);
    } else {
        reader = std::make_unique<WwnReader>(*session);
        deadline = now + options.wwnDeadline;
        Enter(LinkPhase::ReadingWwn, cause);
    }
}

void IscsiLink::AdvanceDiscovery(TimePoint now)
{
    if (!session->HasTargets()) {
        if (!std::exchange(askedTargets, true)) {
            session->Discover();
        }
        return;
    }
    std::string noTarget;
    const std::string target = OnlyTarget(session->Targets(), noTarget);
    DropSession();
    if (target.empty()) {
        FailTry(noTarget, now);
        return;
    }
    OpenSession(target, now);
}

void IscsiLink::AdvanceWwn(TimePoint now)
{
    reader->Advance();
    if (session->GetStep() == IscsiSession::Step::Ended) {
        FailTry(session->Cause(), now);
    } else if (reader->IsReading() && now < deadline) {
        return;
    } else if (const std::string doubt = DoubtAboutArray(); !doubt.empty()) {
        FailTry(doubt, now);
    } else {
        BecomeUp(now);
    }
}

// What the library recorded must stay true, so a link that was up has to find the WWN that it had. Empty when it does.
std::string IscsiLink::DoubtAboutArray() const
{
    if (wwn == kNoWwn || reader->Wwn() == wwn) {
        return "";
    }
    if (reader->IsReading()) {
        return fmt::format("no answer to the question for the WWN within {} ms", options.wwnDeadline.count());
    }
    return reader->Wwn() == kNoWwn
               ? "the array names no WWN any more"
               : fmt::format("another array answers: WWN {:#018x} instead of {:#018x}", reader->Wwn(), wwn);
}

void IscsiLink::AdvanceUp(TimePoint now)
{
    if (session->GetStep() == IscsiSession::Step::Ended) {
        GoDown(session->Cause(), now);
        return;
    }
    if (reader != nullptr) {
        AdvanceReading(now);
    }
    if (phase == LinkPhase::Up) {
        KeepAlive(now);
    }
}

// The WWN was not to be had when the link came up: goes on asking until it is known.
void IscsiLink::AdvanceReading(TimePoint now)
{
    const bool wasReading = reader->IsReading();
    reader->Advance();
    if (reader->IsReading()) {
        return;
    }
    if (reader->Wwn() != kNoWwn) {
        TakeWwn();
        Enter(LinkPhase::Up, "");
    } else if (wasReading) {
        nextReading = now + options.retryDelay;
    } else if (now >= nextReading) {
        reader = std::make_unique<WwnReader>(*session);
    }
}

void IscsiLink::KeepAlive(TimePoint now)
{
    if (now >= nextKeepAlive) {
        if (session->UnansweredKeepAlives() >= options.keepAliveLimit) {
            GoDown(fmt::format("the array has left {} keep-alives unanswered", options.keepAliveLimit), now);
            return;
        }
        session->SendKeepAlive();
        nextKeepAlive = now + options.keepAliveInterval;
    }
    const bool isWaiting = reader != nullptr && !reader->IsReading();
    deadline = isWaiting ? std::min(nextKeepAlive, nextReading) : nextKeepAlive;
}

void IscsiLink::TakeWwn()
{
    const bool isNew = reader->Wwn() != wwn;
    wwn = reader->Wwn();
    if (isNew && reader->IsLocallyAssigned()) {
        LogWarn("gateway", "{} -> {}: WWN {:#018x} is only locally assigned, another array may have the same",
                pair.local, pair.array, wwn);
    }
    reader.reset();
}

void IscsiLink::BecomeUp(TimePoint now)
{
    const bool isFirst = !std::exchange(wasUp, true);
    failures = 0;
    nextKeepAlive = now + options.keepAliveInterval;
    nextReading = now + options.retryDelay;
    if (reader->Wwn() != kNoWwn && !reader->IsReading()) {
        TakeWwn();
    } else if (isFirst) {
        LogWarn("gateway", "{} -> {} is up, but the array has told no WWN; asking again", pair.local, pair.array);
    }
    Enter(LinkPhase::Up, "");
    Settle("");
    KeepAlive(now);
}

void IscsiLink::FailTry(const std::string &why, TimePoint now)
{
    ++failures;
    GoDown(why, now);
}

// Takes a copy of the cause, which may be that of the session that goes.
void IscsiLink::GoDown(std::string why, TimePoint now)
{
    credential.reset();
    DropSession();
    askedCredential = false;
    deadline = wasUp ? now + options.retryDelay : TimePoint::max();
    nextTry = wasUp ? deadline : now + kLibraryRetryDelay;
    Enter(wasUp ? LinkPhase::WaitingToRetry : LinkPhase::Failed, why);
    Settle(why);
}

void IscsiLink::DropSession()
{
    reader.reset();
    askedTargets = false;
    if (session != nullptr) {
        host.Dismiss(std::move(session));
    }
}

void IscsiLink::Settle(const std::string &why)
{
    for (const std::shared_ptr<LoginTicket> &ticket : tickets) {
        ticket->Settle(why);
    }
    tickets.clear();
}

void IscsiLink::Enter(LinkPhase newPhase, const std::string &newCause)
{
    phase = newPhase;
    cause = newCause;
    if (phase != LinkPhase::WaitingToRetry && phase != LinkPhase::Failed) {
        nextTry.reset();
    }
    host.Publish(*this);
}

std::string IscsiLink::LateCause() const
{
    return isConnected ? fmt::format("no answer to the login within {} ms", options.loginDeadline.count())
                       : fmt::format("no TCP connection within {} ms", options.connectDeadline.count());
}

}  // namespace zef
