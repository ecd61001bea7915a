// The gateway's thread: owns every link and every libiscsi context, and runs them side by side without ever blocking.
#ifndef ZEF_CLIENT_GATEWAY_ISCSI_LOOP_H
#define ZEF_CLIENT_GATEWAY_ISCSI_LOOP_H

#include "common/FileDescriptor.h"
#include "common/Mutex.h"
#include "gateway/Credential.h"
#include "gateway/CredentialAsker.h"
#include "gateway/GatewayOptions.h"
#include "gateway/IscsiLink.h"
#include "gateway/IscsiSession.h"
#include "gateway/LinkHost.h"
#include "gateway/LinkReports.h"
#include "gateway/LinkState.h"
#include "gateway/LinkTable.h"
#include "gateway/LoginTicket.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include <poll.h>

namespace zef {

class IscsiLoop : private LinkHost {
public:
    // What other threads ask of the gateway's.
    struct ConnectCommand {
        IscsiLink::Pair pair;
        std::string initiator;                   // for a link that does not exist yet
        std::unique_ptr<Credential> credential;  // may be null
        std::string cause;                       // why there is no credential
        std::shared_ptr<LoginTicket> ticket;
    };
    struct DeleteCommand {
        uint64_t linkId = 0;
    };
    struct CredentialCommand {
        uint64_t linkId = 0;
        std::unique_ptr<Credential> credential;
        std::string cause;
    };
    struct RetryCommand {
        uint64_t linkId = 0;
    };
    using Command = std::variant<ConnectCommand, DeleteCommand, CredentialCommand, RetryCommand>;

    // Starts the thread. linkTable must outlive the loop. Throws std::system_error when the kernel refuses what it
    // needs.
    IscsiLoop(const GatewayOptions &gatewayOptions, LinkListener linkListener, LinkTable &linkTable);

    // As Stop.
    ~IscsiLoop() override;

    // Hands a command over, from any thread. False once the loop is stopping; a connect command's ticket is settled
    // then.
    bool Post(Command command);

    // True when the thread has gone round since the last question, or goes round within `patience`, or is stopping. Any
    // thread.
    bool IsAlive(std::chrono::milliseconds patience);

    // Where the loop, and whoever calls it, reports that links are not up.
    LinkReports &Reports() { return reports; }

    // Settles every ticket at once, logs all sessions out within the logout deadline, cuts those that remain, and
    // returns when the thread has ended and its descriptors are closed. Not to be called from a listener.
    void Stop();

private:
    using TimePoint = IscsiLink::TimePoint;

    // Being logged out, with nobody waiting for it.
    struct Leaving {
        std::unique_ptr<IscsiSession> session;
        TimePoint deadline;
    };

    // LinkHost
    void Publish(const IscsiLink &link) override;
    void AskCredential(const IscsiLink &link) override;
    void Dismiss(std::unique_ptr<IscsiSession> session) override;

    void Run();
    bool IsStopping() const;
    bool HasGoneRound() const ZEF_REQUIRES(mutex);
    void RunCommands();
    void RefuseCommands();
    void Execute(ConnectCommand &command);
    void Execute(DeleteCommand &command);
    void Execute(CredentialCommand &command);
    void Execute(RetryCommand &command);
    void CountRound();
    void AdvanceLinks();
    void DropLeft();
    void Wait();
    void Service(const std::vector<pollfd> &polled);
    TimePoint NextDeadline() const;
    std::vector<pollfd> Descriptors() const;
    void CloseLinks();

    const GatewayOptions options;
    const LinkListener listener;
    LinkTable &table;
    LinkReports reports;

    // Of the loop's thread alone.
    std::map<uint64_t, std::unique_ptr<IscsiLink>> links;
    std::vector<Leaving> leaving;

    FileDescriptor wakeUp;  // an eventfd; closed last, by Stop; not written to any more once `stopping` is set

    mutable Mutex mutex;
    Condition wentRound;
    bool stopping ZEF_GUARDED_BY(mutex) = false;
    std::vector<Command> commands ZEF_GUARDED_BY(mutex);
    uint64_t rounds ZEF_GUARDED_BY(mutex) = 0;
    uint64_t roundsSeen ZEF_GUARDED_BY(mutex) = 0;  // by the last question whether the loop is alive

    CredentialAsker asker;
    std::thread thread;
};

}  // namespace zef

#endif
