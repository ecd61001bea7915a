#include "check/KeyRules.h"

#include "common/Secrets.h"
#include "keys/KeyError.h"
#include "keys/KeyStore.h"

namespace zef {

namespace {

constexpr const char *kForbiddenHint =
    ". The keys cannot be read by this user: a client that runs as this user would not start; check as the user that "
    "the client runs as";

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
    } catch (const KeyAccessError &error) {
        const std::string text = error.what() + std::string(kForbiddenHint);
        findings.Add(OfKeys(paths.primary, Severity::Error, kKeysUnreadable, text));
    } catch (const KeyError &error) {
        findings.Add(OfKeys(paths.primary, Severity::Error, "keys-refused", error.what()));
    }
    return nullptr;
}

}  // namespace

KeyRules::KeyRules(const KeyPaths &paths, FindingList &findings) : ring(LookAtKeys(paths, findings)) {}

bool KeyRules::Opens(const std::string &sealedPassword) const
{
    try {
        std::string plainText = ring->Open(kPasswordDomain, sealedPassword);
        const bool opens = !plainText.empty();
        Wipe(plainText);
        return opens;
    } catch (const KeyError &) {
        return false;
    }
}

}  // namespace zef
