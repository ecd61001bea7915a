#include "check/KeyRules.h"

#include "common/FileDescriptor.h"
#include "keys/KeyError.h"
#include "keys/KeyStore.h"

#include <sodium.h>

#include <cerrno>

#include <fcntl.h>

namespace zef {

namespace {

// Nothing is read: whether it may be read is what is asked.
bool IsForbidden(const std::string &path)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return !file && (errno == EACCES || errno == EPERM);
}

Finding OfKeys(const std::string &path, Severity severity, const std::string &id, const std::string &text)
{
    return {{}, severity, id, text, severity == Severity::Error, path};
}

std::shared_ptr<const KeyRing> LookAtKeys(const KeyPaths &paths, FindingList &findings)
{
    try {
        const KeyStore store(paths.primary, paths.standby);
        const KeyStore::Loaded loaded =
            paths.oneSuffices ? store.LookAtGiven(kPasswordDomain) : store.Look(kPasswordDomain);
        for (const std::string &warning : loaded.warnings) {
            findings.Add(OfKeys(paths.primary, Severity::Warning, "keys-damaged", warning));
        }
        return loaded.ring;
    } catch (const NoKeysError &error) {
        findings.Add(OfKeys(paths.primary, Severity::Error, "keys-missing", error.what()));
    } catch (const KeyError &error) {
        findings.Add(OfKeys(paths.primary, Severity::Error, "keys-refused", error.what()));
    }
    return nullptr;
}

}  // namespace

KeyRules::KeyRules(const KeyPaths &paths, FindingList &findings)
{
    for (const std::string &path : {paths.primary, paths.standby}) {
        if (IsForbidden(path)) {
            findings.Add(OfKeys(path, Severity::Warning, "keys-unreadable",
                                "this user may not read the key file, so the password was not checked; check as the "
                                "user whom the client runs as"));
            return;
        }
    }
    ring = LookAtKeys(paths, findings);
}

bool KeyRules::Opens(const std::string &sealedPassword) const
{
    try {
        std::string plainText = ring->Open(kPasswordDomain, sealedPassword);
        const bool opens = !plainText.empty();
        sodium_memzero(plainText.data(), plainText.size());
        return opens;
    } catch (const KeyError &) {
        return false;
    }
}

}  // namespace zef
