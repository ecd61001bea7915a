// The gateway: keeps the links to the array up, answers what the library asks about them, and shows people their state.
#ifndef ZEF_CLIENT_GATEWAY_IP_GATEWAY_H
#define ZEF_CLIENT_GATEWAY_IP_GATEWAY_H

#include "common/Mutex.h"
#include "gateway/ExpectedLinks.h"
#include "gateway/GatewayOptions.h"
#include "gateway/IscsiLink.h"
#include "gateway/IscsiLoop.h"
#include "gateway/LinkState.h"
#include "gateway/LinkTable.h"

#include <zef_config/platform/Gateway.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <cstdint>

namespace zef {

// The platform's gateway functions work on Instance(). Start it before the library is started and Close it before the
// library is finished. All functions may be called from any thread, Start and Close from one thread at a time and not
// from a listener. Functions with an int result return 0 on success and -1 otherwise.
class IpGateway {
public:
    static IpGateway &Instance();

    IpGateway() = default;

    // As Close.
    ~IpGateway();

    IpGateway(const IpGateway &) = delete;
    IpGateway &operator=(const IpGateway &) = delete;

    // Starts the gateway's threads; every LIBISCSI_ variable is removed from the environment before, because libiscsi
    // would take settings and passwords from there. So call it while the process has no other threads that use the
    // environment. listener may be empty. Throws std::system_error when the kernel refuses what is needed; does nothing
    // when started.
    void Start(const GatewayOptions &options, LinkListener listener);

    // Ends all links and the gateway's threads. Every CreateLink that waits returns -1 at once, as do all later calls;
    // the query of Fibre Channel links gives one record that is up and has no WWN from now on, so that a poll for a
    // link that is up ends. Takes the logout deadline at most, and then as long as the task that runs on the pool, if a
    // credential is just being waited for. No task may wait for the caller meanwhile: so do not hold a TaskPause here.
    void Close();

    // Brings a link up, on the thread of the caller, who waits for it: at most for the login and the WWN deadline. Asks
    // for the credential unless the link is up, being logged in or was begun as expected, and then for those of the links
    // that are expected besides. Refuses a pair that is not wanted. Why a link is not
    // up is logged as LinkReports has it.
    int CreateLink(const OrnLinkRequest &request);

    // The library is about to ask for links from these local addresses to an array, and from no others. Those that it has
    // not asked for yet begin together with the next login that it asks for, with the same credential callback, so that
    // it does not wait for one after the other; whoever asks for one then is told what has become of it. What was begun
    // and is expected no longer ends. Called where no other thread asks for links or deletes them: inside a task or under a
    // TaskPause. Does nothing while the gateway does not run.
    void Expect(const std::string &array, const std::set<std::string> &locals);

    // Links that wait to be logged in again are at once. Returns the pairs concerned, local address first; links in any
    // other state are left alone.
    std::vector<std::pair<std::string, std::string>> RetryNow();

    // True while the gateway's thread does its rounds: when it has gone round since the last question, or does so
    // within `patience`. True too while the gateway does not run.
    bool IsAlive(std::chrono::milliseconds patience) const;

    // Forgets the link at once and ends it soon. -1 when there is none.
    int DeleteLink(const std::string &local, const std::string &array);

    // Fills WWN and status: 0 up, 1 not usable yet, 2 failed. -1 and an untouched record when there is no such link.
    int LinkInfo(const std::string &local, const std::string &array, OrnLinkInfo &info) const;

    // As OrnGetAllLinkInfoByEngine.
    int FibreChannelLinks(OrnLinkInfo *records, uint32_t count, uint32_t *countOut) const;

    // Keeps the UUID, which names the client to arrays unless the options do.
    int SetClientUuid(const std::string &uuid);

    // Keeps the callback. Fibre Channel logins are the adapter's, so nothing asks it yet.
    int RegisterCredential(OrnCredentialCb callback, int32_t kind, const std::string &name);

    std::vector<LinkState> Links() const;

private:
    enum class State { Idle, Running, Closed };

    std::shared_ptr<IscsiLoop> RunningLoop() const;
    std::string Initiator() const;
    std::chrono::milliseconds LongestLogin() const;
    bool IsWanted(const std::string &local, const std::string &array) const;
    std::string Refusal(const OrnLinkRequest &request) const;
    bool BringUp(const OrnLinkRequest &request, IscsiLoop &loop);
    IscsiLoop::ConnectCommand NewConnect(const IscsiLink::Pair &pair) const;
    void BeginExpected(OrnCredentialCb credentialCb, IscsiLoop &loop);

    LinkTable table;
    ExpectedLinks expected;

    mutable Mutex mutex;
    State state ZEF_GUARDED_BY(mutex) = State::Idle;
    GatewayOptions options ZEF_GUARDED_BY(mutex);
    std::string clientUuid ZEF_GUARDED_BY(mutex);
    OrnCredentialCb registeredCredential ZEF_GUARDED_BY(mutex) = nullptr;
    std::shared_ptr<IscsiLoop> loop ZEF_GUARDED_BY(mutex);  // shared with the calls that wait in it
};

}  // namespace zef

#endif
