// Key management of a process: holds the keys, opens passwords, renews keys that have become too old.
#ifndef ZEF_CLIENT_KEYS_KEY_MANAGER_H
#define ZEF_CLIENT_KEYS_KEY_MANAGER_H

#include "common/Mutex.h"
#include "keys/KeyClock.h"
#include "keys/KeyRing.h"
#include "keys/KeyStore.h"
#include "keys/PeriodicKeyUpdate.h"
#include "log/FailureLog.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// Decrypt may be called from any thread at any time. The other methods are called from one thread at a time. Failures
// are logged here, without a word of cipher or plain text; the methods throw nothing.
class KeyManager {
public:
    // The names of credentials that hold keys.
    static constexpr const char *kPrimaryCredential = "wox_pri.dat";
    static constexpr const char *kStandbyCredential = "wox_std.dat";

    explicit KeyManager(KeyClock &clock);

    KeyManager(const KeyManager &) = delete;
    KeyManager &operator=(const KeyManager &) = delete;

    // From the next Init on the keys are those in this directory's wox_pri.dat and wox_std.dat, of which one suffices,
    // and not those at the paths that Init is given. Nothing is written there, neither for repair nor for renewal. ""
    // ends this.
    void SetCredentialDirectory(const std::string &directory);

    // Loads the keys and repairs the key files where one needs it. 0, or -1; no keys are held then. What an earlier
    // Init loaded or scheduled is dropped first.
    int32_t Init(uint32_t domain, const std::string &primaryPath, const std::string &standbyPath);

    // Ends the periodic updates and forgets all keys. The memory of the keys is wiped on return, or when the last
    // decryption that was under way ends. Always 0.
    int32_t Finish();

    // The plain text, which the caller wipes, or "". For a text that names a key which is not held, the key files are
    // read again, as another process may have added the key: at once when one of them has changed since, and files that
    // have not at most once in kLookPauseSeconds.
    std::string Decrypt(uint32_t domain, const std::string &cipherText);

    static constexpr int64_t kLookPauseSeconds = 5;

    // Start the periodic renewal: a first check at once on the background thread, then one every `checkHours`; a key is
    // renewed when it is `maxAgeDays` old. 0 of either: never (which ends a renewal that was started before). 0, or -1
    // without Init, for another domain, or without a thread. With keys from credentials nothing is started, and it is
    // 0.
    int32_t UpdateRootKey(uint32_t maxAgeDays, uint32_t checkHours);
    int32_t UpdateMasterKey(uint32_t domain, uint32_t maxAgeDays, uint32_t checkHours);

private:
    // Where keys come from.
    struct Source {
        KeyStore store;
        bool readOnly;
    };

    void Load(uint32_t domain, const std::string &primaryPath, const std::string &standbyPath);
    void LoadCredentials(uint32_t domain);
    void Hold(uint32_t domain, std::shared_ptr<const Source> newSource, KeyStore::Loaded loaded);
    std::string Open(const std::shared_ptr<const KeyRing> &current, uint32_t domain, const std::string &cipherText);
    std::string ReportFailure(const std::string &cause);
    std::shared_ptr<const KeyRing> NewerRing(const std::shared_ptr<const KeyRing> &known);
    bool MayLook(const Source &from) ZEF_REQUIRES(lookMutex);
    void TakeOver(const Source &from, uint32_t domain);
    int32_t Schedule(PeriodicKeyUpdate::Kind kind, uint32_t maxAgeDays, uint32_t checkHours);
    void Renew(const KeyAgeLimits &limits);
    void RenewUnderLock(const KeyAgeLimits &limits);
    std::shared_ptr<const KeyRing> Refresh(const KeyStoreLock &lock);
    void Save(const KeyStoreLock &lock, std::shared_ptr<const KeyRing> newRing);

    std::shared_ptr<const Source> GetSource() const;
    std::shared_ptr<const KeyRing> Ring() const;
    void SetRing(std::shared_ptr<const KeyRing> newRing);

    KeyClock &clock;

    std::string credentialDirectory;  // of the thread that calls Init

    mutable Mutex ringMutex;
    // What they point to never changes; the source changes only while the background thread does not run.
    std::shared_ptr<const Source> source ZEF_GUARDED_BY(ringMutex);
    std::shared_ptr<const KeyRing> ring ZEF_GUARDED_BY(ringMutex);

    // When, and at what.
    struct FilesLook {
        int64_t seconds;
        KeyStore::Stamps stamps;
    };

    Mutex lookMutex ZEF_ACQUIRED_BEFORE(ringMutex);
    std::optional<FilesLook> lastLook ZEF_GUARDED_BY(lookMutex);

    FailureLog failures;  // of decrypting

    PeriodicKeyUpdate periodicUpdate;  // the last member: its thread ends before anything that it uses
};

}  // namespace zef

#endif
