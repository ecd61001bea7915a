// The bytes of a key file.
#ifndef ZEF_CLIENT_KEYS_KEY_FORMAT_H
#define ZEF_CLIENT_KEYS_KEY_FORMAT_H

#include "keys/KeyRing.h"
#include "keys/SecretBuffer.h"

#include <cstddef>

namespace zef {

// Format version 1, integers little-endian:
//
//   offset  bytes
//        0      8  "ZEFKEYS" and a zero byte
//        8      4  format version, 1
//       12      4  domain
//       16     16  store id
//       32      8  generation
//       40      8  creation time of the root key
//       48     32  root key
//       80      4  number of master keys, 1 to 4096
//       84         for each master key, oldest first, 88 bytes:
//               8    key id
//               8    creation time
//              24    nonce
//              48    key, sealed under the root key with XChaCha20-Poly1305; format version, domain, store id, key id
//                    and creation time are its additional data
//      end     32  BLAKE2b-256 of all bytes before it; the same place and meaning in every format version
//
// What this protects and what it does not: the root key is in the clear. There is no safer place for it on a machine
// without a TPM, so the file's mode and owner are what guards the keys, and the sealing of the master keys and the
// checksum guard against damage, not against somebody who can read or write the file. All of the bytes are secret.
class KeyFormat {
public:
    static constexpr size_t kMasterKeyBytes = 8 + 8 + 24 + 48;
    static constexpr size_t kFixedBytes = 84 + 32;
    static constexpr size_t kMaxBytes = kFixedBytes + KeyRing::kMaxMasterKeys * kMasterKeyBytes;

    static SecretBuffer Serialise(const KeyRing &ring);

    // Throws DamagedKeysError for bytes that no version of this program has written whole, and KeyError for a file of a
    // newer version, which is sound and must not be overwritten.
    static KeyRing Parse(const SecretBuffer &bytes);
};

}  // namespace zef

#endif
