// Whether the keys at hand open a password.
#ifndef ZEF_CLIENT_CHECK_KEY_RULES_H
#define ZEF_CLIENT_CHECK_KEY_RULES_H

#include "check/ConfigPaths.h"
#include "check/FindingList.h"
#include "keys/KeyRing.h"

#include <memory>
#include <string>

namespace zef {

// The id of the finding that this user may not read the key files.
constexpr const char *kKeysUnreadable = "keys-unreadable";

// Looks at the key files once, without changing them, and opens passwords with what they hold. The plain text is wiped
// at once.
class KeyRules {
public:
    // Adds what there is to say about the key files, each finding with the path of the primary file.
    KeyRules(const KeyPaths &paths, FindingList &findings);

    // False when there are no keys to try it with.
    bool HaveKeys() const { return ring != nullptr; }

    bool Opens(const std::string &sealedPassword) const;

private:
    std::shared_ptr<const KeyRing> ring;
};

}  // namespace zef

#endif
