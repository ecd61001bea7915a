#include "keys/KeyManager.h"

#include "keys/KeyError.h"
#include "log/Log.h"

#include <exception>
#include <utility>

namespace zef {

namespace {

constexpr const char *kComponent = "keys";
constexpr const char *kFailure = "password";  // all failures to decrypt are of one kind
// For another process that is writing; it needs milliseconds.
constexpr std::chrono::seconds kLoadPatience(10);
// Short, since stopping waits for it; the next check comes by itself.
constexpr std::chrono::seconds kRenewalPatience(1);

void WarnAll(const std::vector<std::string> &warnings)
{
    for (const std::string &warning : warnings) {
        LogWarn(kComponent, "{}", warning);
    }
}

// A creation time in the future (the clock was wrong once) is no age at all.
bool IsDue(int64_t created, const std::optional<int64_t> &limit, int64_t now)
{
    return limit.has_value() && created <= now - *limit;
}

}  // namespace

KeyManager::KeyManager(KeyClock &keyClock)
    : clock(keyClock), periodicUpdate(keyClock, [this](const KeyAgeLimits &limits) { Renew(limits); })
{
}

void KeyManager::SetCredentialDirectory(const std::string &directory)
{
    credentialDirectory = directory;
}

int32_t KeyManager::Init(uint32_t domain, const std::string &primaryPath, const std::string &standbyPath)
{
    (void)Finish();
    try {
        if (credentialDirectory.empty()) {
            Load(domain, primaryPath, standbyPath);
        } else {
            LoadCredentials(domain);
        }
        return 0;
    } catch (const std::exception &error) {
        LogError(kComponent, "the keys cannot be loaded: {}", error.what());
        return -1;
    }
}

void KeyManager::Load(uint32_t domain, const std::string &primaryPath, const std::string &standbyPath)
{
    const auto files = std::make_shared<const Source>(Source{KeyStore(primaryPath, standbyPath), false});
    const KeyStoreLock lock = files->store.Lock(kLoadPatience);
    Hold(domain, files, files->store.Load(lock, domain));
}

void KeyManager::LoadCredentials(uint32_t domain)
{
    const std::string prefix = credentialDirectory + "/";
    const auto credentials = std::make_shared<const Source>(
        Source{KeyStore(prefix + kPrimaryCredential, prefix + kStandbyCredential), true});
    KeyStore::Loaded loaded = credentials->store.LookAtGiven(domain);
    LogInfo(kComponent, "the keys are those of the credentials in {}; the usual key files are not used",
            credentialDirectory);
    Hold(domain, credentials, std::move(loaded));
}

void KeyManager::Hold(uint32_t domain, std::shared_ptr<const Source> newSource, KeyStore::Loaded loaded)
{
    WarnAll(loaded.warnings);
    if (!loaded.ring->IsLocked()) {
        LogWarn(kComponent, "the keys cannot be locked in memory and may be swapped to disk: raise the limit for "
                            "locked memory (RLIMIT_MEMLOCK)");
    }
    LogInfo(kComponent, "keys of domain {} loaded, {} of them for passwords", domain,
            loaded.ring->GetMasterKeys().size());
    const MutexLock lock(ringMutex);
    source = std::move(newSource);
    ring = std::move(loaded.ring);
}

int32_t KeyManager::Finish()
{
    periodicUpdate.Stop();
    std::shared_ptr<const KeyRing> forgotten;  // wiped outside the lock
    const MutexLock lock(ringMutex);
    forgotten.swap(ring);
    source.reset();
    return 0;
}

std::string KeyManager::Decrypt(uint32_t domain, const std::string &cipherText)
{
    const std::shared_ptr<const KeyRing> current = Ring();
    if (current == nullptr) {
        return ReportFailure("no keys are loaded");
    }
    try {
        std::string password = Open(current, domain, cipherText);
        (void)failures.Recovered(kFailure);  // told by the login that succeeds with it
        return password;
    } catch (const std::exception &error) {
        return ReportFailure(error.what());
    }
}

std::string KeyManager::Open(const std::shared_ptr<const KeyRing> &current, uint32_t domain,
                             const std::string &cipherText)
{
    try {
        return current->Open(domain, cipherText);
    } catch (const UnknownKeyError &) {
        const std::shared_ptr<const KeyRing> newer = NewerRing(current);
        return (newer != nullptr ? newer : current)->Open(domain, cipherText);
    }
}

// A login is tried again every 2 seconds, and asks each time.
std::string KeyManager::ReportFailure(const std::string &cause)
{
    if (failures.Failed(kFailure, cause)) {
        LogError(kComponent, "a password cannot be decrypted: {}", cause);
    }
    return "";
}

// Callers that miss a key at the same time wait here for the one that looks.
std::shared_ptr<const KeyRing> KeyManager::NewerRing(const std::shared_ptr<const KeyRing> &known)
{
    const MutexLock lock(lookMutex);
    const std::shared_ptr<const Source> from = GetSource();
    if (Ring() == known && from != nullptr && MayLook(*from)) {
        TakeOver(*from, known->GetHead().domain);
    }
    return Ring();
}

// A clock that was set back does not keep anybody from looking. The stamps are those from before the look: what changes
// during it counts as changed the next time.
bool KeyManager::MayLook(const Source &from)
{
    const FilesLook look = {clock.NowSeconds(), from.store.GetStamps()};
    if (lastLook.has_value() && look.stamps == lastLook->stamps && look.seconds >= lastLook->seconds &&
        look.seconds - lastLook->seconds < kLookPauseSeconds) {
        return false;
    }
    lastLook = look;
    return true;
}

// Without the files' lock, which somebody may hold for long: every file is whole at any moment, and the newer counts.
void KeyManager::TakeOver(const Source &from, uint32_t domain)
{
    try {
        std::shared_ptr<const KeyRing> found = from.store.LookAtGiven(domain).ring;
        const MutexLock lock(ringMutex);
        if (ring == nullptr || source.get() != &from) {
            return;  // the keys were forgotten in the meantime
        }
        if (found->CanReplace(*ring) && !ring->CanReplace(*found)) {
            ring.swap(found);
            LogInfo(kComponent, "newer keys were taken over from the key files, {} of them for passwords",
                    ring->GetMasterKeys().size());
        } else if (!ring->CanReplace(*found)) {
            LogWarn(kComponent, "the key files hold other keys than those in use; restart to use them");
        }
    } catch (const std::exception &error) {
        LogWarn(kComponent, "the key files cannot be read again: {}", error.what());
    }
}

int32_t KeyManager::UpdateRootKey(uint32_t maxAgeDays, uint32_t checkHours)
{
    return Schedule(PeriodicKeyUpdate::Kind::Root, maxAgeDays, checkHours);
}

int32_t KeyManager::UpdateMasterKey(uint32_t domain, uint32_t maxAgeDays, uint32_t checkHours)
{
    const std::shared_ptr<const KeyRing> current = Ring();
    if (current != nullptr && current->GetHead().domain != domain) {
        LogError(kComponent, "the master keys of domain {} cannot be renewed: the keys are those of domain {}", domain,
                 current->GetHead().domain);
        return -1;
    }
    return Schedule(PeriodicKeyUpdate::Kind::Master, maxAgeDays, checkHours);
}

int32_t KeyManager::Schedule(PeriodicKeyUpdate::Kind kind, uint32_t maxAgeDays, uint32_t checkHours)
{
    const char *const name = kind == PeriodicKeyUpdate::Kind::Root ? "root" : "master";
    const std::shared_ptr<const Source> from = GetSource();
    if (from == nullptr) {
        LogError(kComponent, "the {} key cannot be renewed: no keys are loaded", name);
        return -1;
    }
    if (from->readOnly) {
        LogInfo(kComponent,
                "the {} key comes from a credential and is not renewed here: 'zef_client keys rotate' renews the files "
                "that it comes from",
                name);
        return 0;
    }
    // Before it begins, so that it stands before what the first check has to say.
    LogInfo(kComponent, "the {} key is renewed after {} days, checked every {} hours (0: never)", name, maxAgeDays,
            checkHours);
    try {
        periodicUpdate.Schedule(kind, maxAgeDays, checkHours);
    } catch (const std::exception &error) {
        LogError(kComponent, "the {} key cannot be renewed: {}", name, error.what());
        return -1;
    }
    return 0;
}

void KeyManager::Renew(const KeyAgeLimits &limits)
{
    try {
        RenewUnderLock(limits);
    } catch (const std::exception &error) {
        LogError(kComponent, "the keys cannot be checked or renewed, the present ones stay in force: {}", error.what());
    }
}

// Goes by what is in the files, not in memory: another process may have renewed the keys in the meantime.
void KeyManager::RenewUnderLock(const KeyAgeLimits &limits)
{
    const KeyStoreLock lock = GetSource()->store.Lock(kRenewalPatience);
    std::shared_ptr<const KeyRing> current = Refresh(lock);
    const int64_t now = clock.NowSeconds();
    if (IsDue(current->GetHead().rootCreated, limits.root, now)) {
        Save(lock, std::make_shared<const KeyRing>(current->WithNewRootKey(now)));
        LogInfo(kComponent, "the root key was renewed");
        current = Ring();
    }
    if (IsDue(current->GetMasterKeys().back().created, limits.master, now)) {
        Save(lock, std::make_shared<const KeyRing>(current->WithNewMasterKey(now)));
        LogInfo(kComponent, "a new master key was added, {} are held", Ring()->GetMasterKeys().size());
    }
}

// Takes over the keys of the files. When the files have been lost, or replaced by older ones, they are written again
// from memory; keys of another origin are left alone.
std::shared_ptr<const KeyRing> KeyManager::Refresh(const KeyStoreLock &lock)
{
    const std::shared_ptr<const KeyRing> held = Ring();
    try {
        KeyStore::Loaded loaded = GetSource()->store.Load(lock, held->GetHead().domain);
        WarnAll(loaded.warnings);
        if (loaded.ring->CanReplace(*held)) {
            SetRing(std::move(loaded.ring));
        } else if (held->CanReplace(*loaded.ring)) {
            LogWarn(kComponent, "the key files are older than the keys in memory, which are written to them again");
            Save(lock, held);
        } else {
            throw KeyError("the key files hold other keys than those in use; restart to use them");
        }
    } catch (const NoKeysError &error) {
        Save(lock, held);
        LogWarn(kComponent, "{} - for now, both files were written again from the keys in memory", error.what());
    }
    return Ring();
}

void KeyManager::Save(const KeyStoreLock &lock, std::shared_ptr<const KeyRing> newRing)
{
    WarnAll(GetSource()->store.Save(lock, *newRing));
    SetRing(std::move(newRing));
}

std::shared_ptr<const KeyManager::Source> KeyManager::GetSource() const
{
    const MutexLock lock(ringMutex);
    return source;
}

std::shared_ptr<const KeyRing> KeyManager::Ring() const
{
    const MutexLock lock(ringMutex);
    return ring;
}

// The old ring is wiped outside the lock, and not before the last decryption that uses it has ended.
void KeyManager::SetRing(std::shared_ptr<const KeyRing> newRing)
{
    {
        const MutexLock lock(ringMutex);
        ring.swap(newRing);
    }
}

}  // namespace zef
