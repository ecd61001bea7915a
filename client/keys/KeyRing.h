// The keys of one domain: a root key and every generation of master keys.
#ifndef ZEF_CLIENT_KEYS_KEY_RING_H
#define ZEF_CLIENT_KEYS_KEY_RING_H

#include "keys/SecretBuffer.h"

#include <array>
#include <string>
#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

// Unchanging once made, so any number of threads may use one object. A renewal makes a new ring that holds all master
// keys of the old one: a password once sealed opens with every later ring.
//
// Times are seconds since 1970 by the wall clock.
class KeyRing {
public:
    static constexpr size_t kKeyBytes = 32;
    static constexpr size_t kStoreIdBytes = 16;
    // One renewal a day for eleven years. At the limit renewals fail; no key is ever dropped to make room.
    static constexpr size_t kMaxMasterKeys = 4096;
    // What the gateway's credential record takes.
    static constexpr size_t kMaxPasswordBytes = 511;

    using StoreId = std::array<uint8_t, kStoreIdBytes>;

    struct Head {
        uint32_t domain = 0;
        StoreId storeId{};        // random; tells the keys of one `keys init` from those of another
        uint64_t generation = 0;  // 1 at creation, one more with every renewal
        int64_t rootCreated = 0;
    };

    struct MasterKey {
        uint64_t id = 0;  // random
        int64_t created = 0;
    };

    // A new root key and a first master key.
    static KeyRing Create(uint32_t domain, int64_t now);

    // Takes over keys that were read: the root key, then one key for each entry of `masters` (oldest first, at least
    // one), kKeyBytes each.
    KeyRing(const Head &head, std::vector<MasterKey> masters, SecretBuffer keys);

    // The next generation, with another root key and the same master keys.
    KeyRing WithNewRootKey(int64_t now) const;

    // The next generation, with one more master key, which seals from then on. Throws KeyError at kMaxMasterKeys.
    KeyRing WithNewMasterKey(int64_t now) const;

    // Seals 1 to kMaxPasswordBytes bytes other than NUL; KeyError for any others. The length of the text gives the
    // password's length away only in steps of 64.
    std::string Seal(const SecretBuffer &password) const;

    // The plain text, for the caller to wipe. Throws UnknownKeyError when the text names a key that is not held here;
    // KeyError when it was changed or is none, or when `domain` is not this ring's.
    std::string Open(uint32_t domain, const std::string &text) const;

    // True when nothing is lost by using this ring instead of `other`: same store and domain, at least its generation
    // and all its master keys.
    bool CanReplace(const KeyRing &other) const;

    const Head &GetHead() const { return head; }
    const std::vector<MasterKey> &GetMasterKeys() const { return masters; }
    const uint8_t *RootKey() const { return keys.Data(); }
    const uint8_t *MasterKeyBytes(size_t index) const { return keys.Data() + (index + 1) * kKeyBytes; }
    bool IsLocked() const { return keys.IsLocked(); }

private:
    Head NextHead() const;
    size_t FindMasterKey(uint64_t id) const;  // its index, or the number of keys when it is not there

    Head head;
    std::vector<MasterKey> masters;
    SecretBuffer keys;
};

}  // namespace zef

#endif
