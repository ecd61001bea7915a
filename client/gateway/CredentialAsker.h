// Asks for credentials on a thread of its own, while the task pool rests.
#ifndef ZEF_CLIENT_GATEWAY_CREDENTIAL_ASKER_H
#define ZEF_CLIENT_GATEWAY_CREDENTIAL_ASKER_H

#include "common/Mutex.h"
#include "gateway/Credential.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <cstdint>

namespace zef {

// A credential callback reads the library's registry, which has no lock: it may run inside a task of the pool or while
// no task runs. The gateway's thread cannot wait for that, so this one does, for logins that no task has asked for.
class CredentialAsker {
public:
    struct Question {
        uint64_t linkId = 0;
        std::string local;
        std::string array;
        OrnCredentialCb callback = nullptr;
    };

    // Called on the asker's thread. credential is null when there is none; cause then says why.
    using Answer =
        std::function<void(uint64_t linkId, std::unique_ptr<Credential> credential, const std::string &cause)>;

    explicit CredentialAsker(Answer takeAnswer);

    // As Stop.
    ~CredentialAsker();

    CredentialAsker(const CredentialAsker &) = delete;
    CredentialAsker &operator=(const CredentialAsker &) = delete;

    // Returns at once.
    void Ask(const Question &question);

    // Drops what has not been asked yet, gives no more answers, and returns at once.
    void RequestStop();

    // RequestStop, then waits for the thread, which may still wait for the task of the pool that runs at the moment.
    void Stop();

private:
    void Run();
    bool Next(Question &question);
    bool IsStopping() const;

    const Answer answer;
    mutable Mutex mutex;
    Condition wakeUp;
    bool stopping ZEF_GUARDED_BY(mutex) = false;
    std::deque<Question> questions ZEF_GUARDED_BY(mutex);

    std::thread thread;
};

}  // namespace zef

#endif
