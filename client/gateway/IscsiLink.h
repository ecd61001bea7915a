// The link of one address pair: tries to log in, watches over what it has, and logs in again when that is lost.
#ifndef ZEF_CLIENT_GATEWAY_ISCSI_LINK_H
#define ZEF_CLIENT_GATEWAY_ISCSI_LINK_H

#include "gateway/Credential.h"
#include "gateway/GatewayOptions.h"
#include "gateway/IscsiSession.h"
#include "gateway/LinkHost.h"
#include "gateway/LinkState.h"
#include "gateway/LoginTicket.h"
#include "gateway/WwnReader.h"

#include <zef_config/platform/Gateway.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// A state machine without a thread of its own; see LinkPhase for its states. Lives on the gateway's thread, which calls
// Service() when the descriptor has events and Advance() after that and whenever NextDeadline() has come.
//
// A link that was never up waits for the next Connect(), because the library tries again by itself. A link that was up
// once is logged in again after the retry delay, with a credential that it asks for, and must lead to the same WWN as
// before.
class IscsiLink {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Pair {
        uint64_t id = 0;  // tells this link from an earlier one of the same pair
        std::string local;
        std::string array;
        OrnCredentialCb credentialCb = nullptr;
    };

    // gatewayOptions and linkHost must outlive the link. initiatorName: iSCSI name of the client.
    IscsiLink(const Pair &addresses, const std::string &initiatorName, const GatewayOptions &gatewayOptions,
              LinkHost &linkHost);

    // Whoever still waits is told that the link has gone.
    ~IscsiLink();

    IscsiLink(const IscsiLink &) = delete;
    IscsiLink &operator=(const IscsiLink &) = delete;

    // Asks for the link to be up, and settles the ticket once it is or is not: at once when it is up already, together
    // with the login under way if there is one, else after a login with `credential`. Without a credential, `cause`
    // says why.
    void Connect(std::unique_ptr<Credential> credential, const std::string &cause,
                 const std::shared_ptr<LoginTicket> &ticket, TimePoint now);

    // Answer to LinkHost::AskCredential; ignored when the link no longer waits for it. Null with a cause: not to be
    // had.
    void CredentialArrived(std::unique_ptr<Credential> credential, const std::string &cause, TimePoint now);

    // Does not wait any longer when the link waits to log in again.
    void RetryNow(TimePoint now);

    // Ends the link: settles all tickets with `why` and dismisses the session.
    void Close(const std::string &why);

    void Service(short revents);
    void Advance(TimePoint now);

    // When Advance() has something to do even without events.
    TimePoint NextDeadline() const;

    // -1 while there is no connection.
    int Descriptor() const { return session ? session->Descriptor() : -1; }
    short Events() const { return session->Events(); }

    const Pair &GetPair() const { return pair; }
    LinkPhase Phase() const { return phase; }
    uint64_t Wwn() const { return wwn; }
    uint32_t Tries() const { return tries; }
    uint32_t Failures() const { return failures; }

    // As LinkState::nextTry.
    std::optional<TimePoint> NextTry() const { return nextTry; }
    const std::string &Cause() const { return cause; }

private:
    void BeginTry(std::unique_ptr<Credential> newCredential, TimePoint now);
    void OpenSession(const std::string &target, TimePoint now);
    void AdvanceLogin(TimePoint now);
    void AdvanceDiscovery(TimePoint now);
    void AdvanceWwn(TimePoint now);
    void AdvanceUp(TimePoint now);
    void AdvanceReading(TimePoint now);
    void KeepAlive(TimePoint now);
    std::string DoubtAboutArray() const;
    void TakeWwn();
    void BecomeUp(TimePoint now);
    void FailTry(const std::string &why, TimePoint now);
    void GoDown(std::string why, TimePoint now);
    void DropSession();
    void Settle(const std::string &why);
    void Enter(LinkPhase newPhase, const std::string &newCause);
    std::string LateCause() const;

    const Pair pair;
    const std::string initiator;
    const GatewayOptions &options;
    LinkHost &host;
    const uint32_t isidRandom;

    LinkPhase phase = LinkPhase::Created;
    std::string cause;
    uint32_t tries = 0;
    uint32_t failures = 0;  // since it was last up
    std::optional<TimePoint> nextTry;
    uint64_t wwn = kNoWwn;
    bool wasUp = false;
    bool isConnected = false;        // the session under way has its TCP connection
    bool askedTargets = false;       // discovery: the question has been sent
    bool askedCredential = false;    // WaitingToRetry: the delay is over
    TimePoint deadline = TimePoint::max();
    TimePoint loginEnd;              // for the whole try
    TimePoint nextKeepAlive;         // Up
    TimePoint nextReading;           // Up without a WWN
    std::unique_ptr<Credential> credential;  // only between discovery and login
    std::vector<std::shared_ptr<LoginTicket>> tickets;
    std::unique_ptr<IscsiSession> session;
    std::unique_ptr<WwnReader> reader;  // refers to the session
};

}  // namespace zef

#endif
