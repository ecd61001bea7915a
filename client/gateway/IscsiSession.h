// One TCP connection to a portal of the array and the iSCSI session on it, from connecting to its end.
#ifndef ZEF_CLIENT_GATEWAY_ISCSI_SESSION_H
#define ZEF_CLIENT_GATEWAY_ISCSI_SESSION_H

#include "gateway/Credential.h"

#include <memory>
#include <string>
#include <vector>

#include <cstdint>

struct iscsi_context;
struct scsi_task;

namespace zef {

// What a session is made of.
struct SessionPlan {
    std::string local;   // IPv4 address that the connection comes from
    std::string array;   // IPv4 address that it goes to
    uint16_t port = 0;
    std::string initiator;      // iSCSI name of the client
    std::string target;         // iSCSI name of the target; empty for a discovery session
    uint32_t isidRandom = 0;    // 24 bits; with the qualifier it tells the client's sessions apart
    uint16_t isidQualifier = 0;
};

// The answer to a SCSI command.
struct ScsiAnswer {
    int status = 0;    // as libiscsi gives it; 0 for good
    int senseKey = 0;  // with a check condition
    std::vector<uint8_t> data;
};

// Belongs to one thread, which waits for Events() on Descriptor(), then calls Service() and looks at what has become of
// the session. Never blocks. No deadlines of its own: who waits for a step ends the session when it takes too long.
class IscsiSession {
public:
    enum class Step { Connecting, LoggingIn, LoggedIn, LoggingOut, Ended };

    // Begins to connect. The credential is copied into libiscsi's context, and erased there as soon as the login is
    // decided.
    IscsiSession(const SessionPlan &sessionPlan, const Credential &credential);
    ~IscsiSession();

    IscsiSession(const IscsiSession &) = delete;
    IscsiSession &operator=(const IscsiSession &) = delete;

    Step GetStep() const { return step; }

    // Why the session has ended; empty before.
    const std::string &Cause() const { return cause; }

    // -1 once the session has ended.
    int Descriptor() const;
    short Events() const;
    void Service(short revents);

    // Asks the array to end a session that is logged in; ends any other one at once.
    void Logout();

    // While logged in: counts as unanswered until the array answers. Ends the session when it cannot be sent.
    void SendKeepAlive();
    int UnansweredKeepAlives() const;

    // Discovery session, logged in: asks for the targets. HasTargets becomes true with the answer, or the session ends.
    void Discover();
    bool HasTargets() const { return hasTargets; }
    const std::vector<std::string> &Targets() const { return targets; }

    // While logged in, one command at a time: asks a LUN for its device identification page, or LUN 0 for the list of
    // LUNs. TakeAnswer gives each answer once. A session that ends instead gives none.
    void SendInquiry(int lun);
    void SendReportLuns();
    bool TakeAnswer(ScsiAnswer &answer);

private:
    struct DestroyContext {
        void operator()(iscsi_context *pointer) const;
    };

    void Prepare(const Credential &credential);
    void Connect();
    void OnConnected(int status);
    void OnLoggedIn(int status);
    void OnTargets(int status, const void *data);
    void OnAnswer(int status, scsi_task *task);
    void Expect(scsi_task *task);
    void ForgetCredential();
    void NoticeHangUp(short revents);
    void SendNow();
    std::string ErrorText() const;
    std::string LossText() const;
    void End(const std::string &why);

    const SessionPlan plan;
    Step step = Step::Connecting;
    std::string cause;
    bool hasTargets = false;
    std::vector<std::string> targets;
    bool hasAnswer = false;
    ScsiAnswer answer;
    scsi_task *task = nullptr;  // command under way, freed when its callback comes
    std::unique_ptr<iscsi_context, DestroyContext> context;
};

}  // namespace zef

#endif
