#include "keys/KeyCommands.h"

#include "common/ExitCode.h"
#include "common/Secrets.h"
#include "keys/KeyError.h"
#include "keys/KeyReport.h"
#include "keys/KeyStore.h"
#include "keys/PasswordInput.h"
#include "keys/SystemKeyClock.h"

#include <exception>
#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>

namespace zef {

namespace {

constexpr std::chrono::seconds kPatience(10);

// Something that is the fault of neither the keys nor the password.
class CommandFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void PrintWarnings(const std::vector<std::string> &warnings, std::ostream &errors)
{
    for (const std::string &warning : warnings) {
        errors << "Warning: " << warning << '\n';
    }
}

ExitCode CodeOf(const std::exception &error)
{
    if (dynamic_cast<const KeyAccessError *>(&error) != nullptr) {
        return ExitCode::NotPermitted;
    }
    if (dynamic_cast<const KeysBusyError *>(&error) != nullptr) {
        return ExitCode::Failed;
    }
    return dynamic_cast<const KeyError *>(&error) != nullptr ? ExitCode::Credential : ExitCode::Failed;
}

// Carries a command out; what it throws becomes a line on `errors` and the exit status.
int Guarded(std::ostream &errors, const std::function<ExitCode()> &command)
{
    try {
        return ToStatus(command());
    } catch (const std::exception &error) {
        errors << "Error: " << error.what() << '\n';
        return ToStatus(CodeOf(error));
    }
}

void RequireNothingToLose(const KeyStore &store)
{
    const std::string loss = store.WhatNewKeysWouldLose(kPasswordDomain);
    if (!loss.empty()) {
        throw CommandFailure(loss +
                             ". New keys would make every password that was encrypted with the present ones useless. "
                             "Nothing was changed; to have new keys all the same, use --force");
    }
}

void RequireWritten(std::ostream &output)
{
    if (!output.flush()) {
        throw CommandFailure("the output cannot be written");
    }
}

// A file that cannot be written is no fault of the keys, unless the user is the wrong one.
template <class Function>
void Change(const Function &change)
{
    try {
        change();
    } catch (const KeyAccessError &) {
        throw;
    } catch (const KeyError &error) {
        throw CommandFailure(error.what());
    }
}

// A directory that cannot be looked into makes both files unusable.
KeyFile::Contents Look(const KeyFile &file)
{
    try {
        return file.Read(kPasswordDomain);
    } catch (const KeyError &error) {
        KeyFile::Contents contents;
        contents.state = KeyFile::State::Refused;
        contents.forbidden = dynamic_cast<const KeyAccessError *>(&error) != nullptr;
        contents.reason = error.what();
        return contents;
    }
}

// Nothing where there is no directory to lock; what is wrong with it shows when the files are looked at.
std::optional<KeyStoreLock> LockForLooking(const KeyStore &store)
{
    try {
        return store.Lock(kPatience);
    } catch (const KeysBusyError &) {
        throw;
    } catch (const KeyError &) {
        return std::nullopt;
    }
}

KeyStore::Loaded LookAt(const KeyStore &store, KeyOwner owner)
{
    return owner == KeyOwner::ServiceManager ? store.LookAtGiven(kPasswordDomain) : store.Look(kPasswordDomain);
}

// What becomes of a file that is not as good as the other.
const char *RepairOf(KeyOwner owner)
{
    switch (owner) {
        case KeyOwner::Client:
            return "the client repairs this one from it at its start and whenever it checks the age of its keys";
        case KeyOwner::ServiceManager:
            return "this one is a copy, which nothing repairs; look at the file that it was made from";
        case KeyOwner::Somebody:
            break;
    }
    return "zef_client keys rotate repairs this one from it";
}

// Throws what is wrong, be it something that stops a client or something that can be repaired.
void PrintVerdict(const KeyStore &store, KeyOwner owner, bool bothThere, std::ostream &output)
{
    const std::vector<std::string> warnings = LookAt(store, owner).warnings;
    if (!warnings.empty()) {
        throw KeyError(warnings.front() + ". The other file suffices: " + RepairOf(owner));
    }
    output << (bothThere ? "Both files are valid and alike.\n" : "The file that was handed over is valid.\n");
}

KeyRing Rotated(const KeyRing &ring, KeysToRotate which, int64_t now)
{
    switch (which) {
        case KeysToRotate::Root:
            return ring.WithNewRootKey(now);
        case KeysToRotate::Master:
            return ring.WithNewMasterKey(now);
        case KeysToRotate::Both:
            break;
    }
    return ring.WithNewRootKey(now).WithNewMasterKey(now);
}

void PrintRotation(KeysToRotate which, size_t masterKeyCount, KeyOwner owner, std::ostream &output)
{
    if (which != KeysToRotate::Master) {
        output << "The root key was replaced; it encrypts the master keys.\n";
    }
    if (which != KeysToRotate::Root) {
        output << "A new master key was added, " << masterKeyCount << " are held; it encrypts passwords from now on.\n";
    }
    output << "Every password that was encrypted before can still be decrypted. A running client takes the new keys "
           << (owner == KeyOwner::Client ? "over at its next request that needs them.\n"
                                         : "over once they were handed to it again and it was restarted.\n");
}

// The plain text, out of the string that it comes in.
SecretBuffer Open(const KeyRing &ring, const std::string &sealed)
{
    try {
        std::string plain = ring.Open(kPasswordDomain, sealed);
        SecretBuffer password(plain.data(), plain.size());
        Wipe(plain);
        return password;
    } catch (const KeyError &error) {
        throw KeyError(std::string("the encrypted password cannot be decrypted: ") + error.what());
    }
}

}  // namespace

int KeysInit(const std::string &primaryPath, const std::string &standbyPath, bool force, std::ostream &output,
             std::ostream &errors)
{
    return Guarded(errors, [&] {
        Change([&] {
            const KeyStore store(primaryPath, standbyPath);
            store.CreateDirectories();
            const KeyStoreLock lock = store.Lock(kPatience);
            if (!force) {
                RequireNothingToLose(store);
            }
            PrintWarnings(store.Save(lock, KeyRing::Create(kPasswordDomain, SystemKeyClock().NowSeconds())), errors);
        });
        output << "New keys are in " << primaryPath << " and " << standbyPath << ".\n";
        return ExitCode::Done;
    });
}

int KeysVerify(const std::string &primaryPath, const std::string &standbyPath, std::ostream &output,
               std::ostream &errors, KeyOwner owner)
{
    return Guarded(errors, [&] {
        const KeyStore store(primaryPath, standbyPath);
        const std::optional<KeyStoreLock> lock = LockForLooking(store);
        const KeyFile::Contents primary = Look(store.GetPrimary());
        const KeyFile::Contents standby = Look(store.GetStandby());
        output << KeyTable(store.GetPrimary(), primary, store.GetStandby(), standby, SystemKeyClock().NowSeconds());
        const bool bothThere = primary.state != KeyFile::State::Absent && standby.state != KeyFile::State::Absent;
        PrintVerdict(store, owner, bothThere, output);
        RequireWritten(output);
        return ExitCode::Done;
    });
}

int KeysRotate(const std::string &primaryPath, const std::string &standbyPath, KeysToRotate which,
               std::ostream &output, std::ostream &errors, KeyOwner owner)
{
    return Guarded(errors, [&] {
        const KeyStore store(primaryPath, standbyPath);
        const KeyStoreLock lock = store.Lock(kPatience);
        const KeyStore::Loaded loaded = store.Load(lock, kPasswordDomain);
        PrintWarnings(loaded.warnings, errors);
        Change([&] {
            const KeyRing ring = Rotated(*loaded.ring, which, SystemKeyClock().NowSeconds());
            PrintWarnings(store.Save(lock, ring), errors);
            PrintRotation(which, ring.GetMasterKeys().size(), owner, output);
        });
        return ExitCode::Done;
    });
}

int PasswordEncrypt(const std::string &primaryPath, const std::string &standbyPath, int inputDescriptor,
                    std::ostream &output, std::ostream &errors, KeyOwner owner)
{
    return Guarded(errors, [&] {
        const KeyStore::Loaded loaded = LookAt(KeyStore(primaryPath, standbyPath), owner);
        PrintWarnings(loaded.warnings, errors);
        output << loaded.ring->Seal(PasswordInput(inputDescriptor, errors).Read()) << '\n';
        RequireWritten(output);
        return ExitCode::Done;
    });
}

int PasswordVerify(const std::string &primaryPath, const std::string &standbyPath, const std::string &sealed,
                   bool compare, int inputDescriptor, std::ostream &output, std::ostream &errors, KeyOwner owner)
{
    return Guarded(errors, [&] {
        const KeyStore::Loaded loaded = LookAt(KeyStore(primaryPath, standbyPath), owner);
        PrintWarnings(loaded.warnings, errors);
        const SecretBuffer password = Open(*loaded.ring, sealed);
        output << "The encrypted password can be decrypted with the present keys.\n";
        if (compare) {
            if (!password.Equals(PasswordInput(inputDescriptor, errors).ReadOnce())) {
                throw KeyError("the password that was given is not the encrypted one");
            }
            output << "The password that was given is the encrypted one.\n";
        }
        RequireWritten(output);
        return ExitCode::Done;
    });
}

}  // namespace zef
