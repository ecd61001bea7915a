// What the tests of the gateway share: a gateway with short waits, credentials, and a record of what happened to links.
#ifndef ZEF_TESTS_CLIENT_GATEWAY_GATEWAY_TEST_H
#define ZEF_TESTS_CLIENT_GATEWAY_GATEWAY_TEST_H

#include "gateway/IpGateway.h"
#include "support/TgtArray.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cstddef>

namespace zef {

constexpr char kUser[] = "zefclient";
constexpr char kPassword[] = "correct-horse-1";
constexpr char kUuid[] = "0123ABCD-abcd-0a1b-9f9f-00112233AABB";
constexpr std::chrono::seconds kPatience{30};  // only reached by a hang

// Every change of a link's state, as the listener was told. For any thread.
class StateRecord {
public:
    LinkListener Listener();

    // Returns true once a change fits, counting from the first one after the last match; false after kPatience.
    bool WaitFor(const std::function<bool(const LinkState &)> &fits);
    bool WaitFor(LinkPhase phase);
    bool WaitForCause(LinkPhase phase, const std::string &cause);

    std::vector<LinkState> All() const;

private:
    mutable std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    std::vector<LinkState> changes;
    size_t examined = 0;
};

// Waits until the condition holds; false after kPatience. For what nobody reports.
bool Eventually(const std::function<bool()> &condition);

// Numbers of /proc/self: what a gateway that has closed must not leave behind.
size_t OpenDescriptors();
size_t RunningThreads();

class GatewayTest : public testing::Test {
protected:
    GatewayTest();
    ~GatewayTest() override;

    // An array with CHAP for kUser and kPassword, and options for it.
    TgtArray &StartArray(TgtArray::Settings settings = {});

    // Starts the gateway as `options` says.
    void StartGateway();

    // The gateway's entry point, with the fixture's callback.
    int Create(const std::string &local, const std::string &array);
    int Create(const std::string &local) { return Create(local, tgt->Address()); }

    // The one link's state; a failed test when there is not exactly one.
    LinkState OnlyLink() const;

    // WWN and status of a pair, preset as the library presets them.
    OrnLinkInfo Info(const std::string &local, const std::string &array) const;

    GatewayOptions options;
    StateRecord record;
    IpGateway gateway;
    std::unique_ptr<TgtArray> tgt;

    // What the credential callback does; process-wide, as a callback has no object.
    static std::atomic<int> callbackResult;
    static std::atomic<int> callbackCalls;
    static std::string user;      // set before the gateway uses them
    static std::string password;  // guarded by credentialMutex
    static std::mutex credentialMutex;
    static void SetPassword(const std::string &text);
    static int GiveCredential(const char *local, const char *array, OrnCredential *credential);
    OrnCredentialCb callback = GiveCredential;
};

}  // namespace zef

#endif
