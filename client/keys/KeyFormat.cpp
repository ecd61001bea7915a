#include "keys/KeyFormat.h"

#include "keys/KeyError.h"

#include <fmt/format.h>
#include <sodium.h>

#include <array>
#include <utility>
#include <vector>

#include <cstdint>
#include <cstring>

namespace zef {

namespace {

constexpr std::array<uint8_t, 8> kMagic = {'Z', 'E', 'F', 'K', 'E', 'Y', 'S', 0};
constexpr uint32_t kVersion = 1;
constexpr size_t kVersionPosition = kMagic.size();
constexpr size_t kChecksumBytes = 32;
constexpr size_t kNonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr size_t kSealedKeyBytes = KeyRing::kKeyBytes + crypto_aead_xchacha20poly1305_ietf_ABYTES;

static_assert(KeyFormat::kMasterKeyBytes == 8 + 8 + kNonceBytes + kSealedKeyBytes);

using Checksum = std::array<uint8_t, kChecksumBytes>;
using MasterKeyContext = std::array<uint8_t, 4 + 4 + KeyRing::kStoreIdBytes + 8 + 8>;

// Appends to memory that is known to be large enough.
class Writer {
public:
    explicit Writer(uint8_t *start) : position(start) {}

    void Bytes(const void *bytes, size_t size)
    {
        std::memcpy(position, bytes, size);
        position += size;
    }

    template <class Integer>
    void Number(Integer value)
    {
        for (size_t i = 0; i < sizeof(value); ++i) {
            *position++ = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
        }
    }

    uint8_t *Skip(size_t size) { return std::exchange(position, position + size); }

private:
    uint8_t *position;
};

// Takes from memory that is known to be large enough.
class Reader {
public:
    explicit Reader(const uint8_t *start) : position(start) {}

    template <class Integer>
    Integer Number()
    {
        uint64_t value = 0;
        for (size_t i = 0; i < sizeof(Integer); ++i) {
            value |= static_cast<uint64_t>(*position++) << (8 * i);
        }
        return static_cast<Integer>(value);
    }

    const uint8_t *Skip(size_t size) { return std::exchange(position, position + size); }

private:
    const uint8_t *position;
};

size_t FileSize(size_t masterKeyCount)
{
    return KeyFormat::kFixedBytes + masterKeyCount * KeyFormat::kMasterKeyBytes;
}

Checksum ChecksumOf(const uint8_t *bytes, size_t size)
{
    Checksum checksum;
    crypto_generichash(checksum.data(), checksum.size(), bytes, size, nullptr, 0);
    return checksum;
}

MasterKeyContext ContextOf(const KeyRing::Head &head, const KeyRing::MasterKey &master)
{
    MasterKeyContext context;
    Writer writer(context.data());
    writer.Number(kVersion);
    writer.Number(head.domain);
    writer.Bytes(head.storeId.data(), head.storeId.size());
    writer.Number(master.id);
    writer.Number(master.created);
    return context;
}

void WriteHead(Writer &writer, const KeyRing &ring)
{
    const KeyRing::Head &head = ring.GetHead();
    writer.Bytes(kMagic.data(), kMagic.size());
    writer.Number(kVersion);
    writer.Number(head.domain);
    writer.Bytes(head.storeId.data(), head.storeId.size());
    writer.Number(head.generation);
    writer.Number(head.rootCreated);
    writer.Bytes(ring.RootKey(), KeyRing::kKeyBytes);
    writer.Number(static_cast<uint32_t>(ring.GetMasterKeys().size()));
}

void WriteMasterKey(Writer &writer, const KeyRing &ring, size_t index)
{
    const KeyRing::MasterKey &master = ring.GetMasterKeys()[index];
    const MasterKeyContext context = ContextOf(ring.GetHead(), master);
    writer.Number(master.id);
    writer.Number(master.created);
    uint8_t *const nonce = writer.Skip(kNonceBytes);
    randombytes_buf(nonce, kNonceBytes);
    crypto_aead_xchacha20poly1305_ietf_encrypt(writer.Skip(kSealedKeyBytes), nullptr, ring.MasterKeyBytes(index),
                                               KeyRing::kKeyBytes, context.data(), context.size(), nullptr, nonce,
                                               ring.RootKey());
}

void RequireSound(const SecretBuffer &bytes)
{
    if (bytes.Size() < kVersionPosition + sizeof(kVersion) + kChecksumBytes) {
        throw DamagedKeysError(bytes.Size() == 0 ? "it is empty" : "it is cut short");
    }
    if (std::memcmp(bytes.Data(), kMagic.data(), kMagic.size()) != 0) {
        throw DamagedKeysError("it does not begin like a key file");
    }
    const size_t checkedSize = bytes.Size() - kChecksumBytes;
    const Checksum checksum = ChecksumOf(bytes.Data(), checkedSize);
    if (sodium_memcmp(checksum.data(), bytes.Data() + checkedSize, checksum.size()) != 0) {
        throw DamagedKeysError("its checksum is wrong");
    }
}

void RequireKnownVersion(const SecretBuffer &bytes)
{
    const auto version = Reader(bytes.Data() + kVersionPosition).Number<uint32_t>();
    if (version != kVersion) {
        throw KeyError(fmt::format("its format version is {}, this program knows {}", version, kVersion));
    }
}

KeyRing::Head ReadHead(Reader &reader)
{
    KeyRing::Head head;
    head.domain = reader.Number<uint32_t>();
    std::memcpy(head.storeId.data(), reader.Skip(head.storeId.size()), head.storeId.size());
    head.generation = reader.Number<uint64_t>();
    head.rootCreated = reader.Number<int64_t>();
    return head;
}

// Puts the key itself to `key`.
KeyRing::MasterKey ReadMasterKey(Reader &reader, const KeyRing::Head &head, const uint8_t *rootKey, uint8_t *key)
{
    KeyRing::MasterKey master;
    master.id = reader.Number<uint64_t>();
    master.created = reader.Number<int64_t>();
    const MasterKeyContext context = ContextOf(head, master);
    const uint8_t *const nonce = reader.Skip(kNonceBytes);
    if (crypto_aead_xchacha20poly1305_ietf_decrypt(key, nullptr, nullptr, reader.Skip(kSealedKeyBytes), kSealedKeyBytes,
                                                   context.data(), context.size(), nonce, rootKey) != 0) {
        throw DamagedKeysError("a master key in it does not open");
    }
    return master;
}

uint32_t ReadMasterKeyCount(Reader &reader, size_t fileSize)
{
    const auto count = reader.Number<uint32_t>();
    if (count == 0 || count > KeyRing::kMaxMasterKeys || fileSize != FileSize(count)) {
        throw DamagedKeysError("its size does not fit its number of keys");
    }
    return count;
}

}  // namespace

SecretBuffer KeyFormat::Serialise(const KeyRing &ring)
{
    SecretBuffer bytes(FileSize(ring.GetMasterKeys().size()));
    Writer writer(bytes.Data());
    WriteHead(writer, ring);
    for (size_t i = 0; i < ring.GetMasterKeys().size(); ++i) {
        WriteMasterKey(writer, ring, i);
    }
    const Checksum checksum = ChecksumOf(bytes.Data(), bytes.Size() - kChecksumBytes);
    writer.Bytes(checksum.data(), checksum.size());
    return bytes;
}

KeyRing KeyFormat::Parse(const SecretBuffer &bytes)
{
    RequireSound(bytes);
    RequireKnownVersion(bytes);
    if (bytes.Size() < FileSize(1)) {
        throw DamagedKeysError("it is cut short");
    }
    Reader reader(bytes.Data() + kVersionPosition + sizeof(kVersion));
    const KeyRing::Head head = ReadHead(reader);
    const uint8_t *const rootKey = reader.Skip(KeyRing::kKeyBytes);
    const uint32_t count = ReadMasterKeyCount(reader, bytes.Size());

    SecretBuffer keys((count + 1) * KeyRing::kKeyBytes);
    std::memcpy(keys.Data(), rootKey, KeyRing::kKeyBytes);
    std::vector<KeyRing::MasterKey> masters;
    masters.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        masters.push_back(ReadMasterKey(reader, head, rootKey, keys.Data() + (i + 1) * KeyRing::kKeyBytes));
    }
    return {head, std::move(masters), std::move(keys)};
}

}  // namespace zef
