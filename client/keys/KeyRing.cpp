#include "keys/KeyRing.h"

#include "keys/KeyError.h"
#include "keys/SealedText.h"

#include <fmt/format.h>
#include <sodium.h>

#include <algorithm>
#include <utility>

#include <cstring>

namespace zef {

namespace {

constexpr size_t kNonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr size_t kTagBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr size_t kPaddingBlockBytes = 64;

static_assert(KeyRing::kKeyBytes == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

// Binds a password to the form of its text, its domain and its key: none can be exchanged unnoticed.
std::string PasswordContext(uint32_t domain, uint64_t keyId)
{
    return fmt::format("zef1 password, domain {}, key {:016x}", domain, keyId);
}

const uint8_t *AsBytes(const std::string &text)
{
    return reinterpret_cast<const uint8_t *>(text.data());
}

void RequireSealable(const SecretBuffer &password)
{
    if (password.Size() == 0) {
        throw KeyError("the password is empty");
    }
    if (password.Size() > KeyRing::kMaxPasswordBytes) {
        throw KeyError(fmt::format("the password is longer than {} bytes", KeyRing::kMaxPasswordBytes));
    }
    if (std::memchr(password.Data(), 0, password.Size()) != nullptr) {
        throw KeyError("the password holds a zero byte");
    }
}

SecretBuffer Padded(const SecretBuffer &password)
{
    SecretBuffer padded((password.Size() / kPaddingBlockBytes + 1) * kPaddingBlockBytes);
    std::memcpy(padded.Data(), password.Data(), password.Size());
    size_t paddedSize = 0;
    if (sodium_pad(&paddedSize, padded.Data(), password.Size(), kPaddingBlockBytes, padded.Size()) != 0) {
        throw KeyError("the password cannot be padded");
    }
    return padded;
}

std::vector<uint8_t> Encrypt(const SecretBuffer &plain, const std::string &context, const uint8_t *key)
{
    std::vector<uint8_t> body(kNonceBytes + plain.Size() + kTagBytes);
    randombytes_buf(body.data(), kNonceBytes);
    crypto_aead_xchacha20poly1305_ietf_encrypt(body.data() + kNonceBytes, nullptr, plain.Data(), plain.Size(),
                                               AsBytes(context), context.size(), nullptr, body.data(), key);
    return body;
}

// Empty when the key or the context is another one, or the bytes have changed.
SecretBuffer Decrypt(const std::vector<uint8_t> &body, const std::string &context, const uint8_t *key)
{
    if (body.size() <= kNonceBytes + kTagBytes) {
        return {};
    }
    SecretBuffer plain(body.size() - kNonceBytes - kTagBytes);
    const int result = crypto_aead_xchacha20poly1305_ietf_decrypt(
        plain.Data(), nullptr, nullptr, body.data() + kNonceBytes, body.size() - kNonceBytes, AsBytes(context),
        context.size(), body.data(), key);
    return result == 0 ? std::move(plain) : SecretBuffer();
}

size_t UnpaddedSize(const SecretBuffer &padded)
{
    size_t size = 0;
    if (padded.Size() == 0 || sodium_unpad(&size, padded.Data(), padded.Size(), kPaddingBlockBytes) != 0) {
        throw KeyError("it was changed after it was sealed, or sealed for another domain");
    }
    return size;
}

uint64_t RandomId()
{
    uint64_t id = 0;
    randombytes_buf(&id, sizeof(id));
    return id;
}

}  // namespace

KeyRing KeyRing::Create(uint32_t domain, int64_t now)
{
    SecretBuffer keys(2 * kKeyBytes);
    randombytes_buf(keys.Data(), keys.Size());
    Head head = {domain, {}, 1, now};
    randombytes_buf(head.storeId.data(), head.storeId.size());
    return {head, {{RandomId(), now}}, std::move(keys)};
}

KeyRing::KeyRing(const Head &ringHead, std::vector<MasterKey> masterKeys, SecretBuffer keyBytes)
    : head(ringHead), masters(std::move(masterKeys)), keys(std::move(keyBytes))
{
}

KeyRing KeyRing::WithNewRootKey(int64_t now) const
{
    SecretBuffer newKeys(keys.Data(), keys.Size());
    randombytes_buf(newKeys.Data(), kKeyBytes);
    Head newHead = NextHead();
    newHead.rootCreated = now;
    return {newHead, masters, std::move(newKeys)};
}

KeyRing KeyRing::WithNewMasterKey(int64_t now) const
{
    if (masters.size() >= kMaxMasterKeys) {
        throw KeyError(fmt::format("the key files are full: they hold {} master keys", masters.size()));
    }
    SecretBuffer newKeys(keys.Size() + kKeyBytes);
    std::memcpy(newKeys.Data(), keys.Data(), keys.Size());
    randombytes_buf(newKeys.Data() + keys.Size(), kKeyBytes);
    std::vector<MasterKey> newMasters = masters;
    newMasters.push_back({RandomId(), now});
    return {NextHead(), std::move(newMasters), std::move(newKeys)};
}

std::string KeyRing::Seal(const SecretBuffer &password) const
{
    RequireSealable(password);
    const size_t newest = masters.size() - 1;
    SealedText sealed;
    sealed.keyId = masters[newest].id;
    sealed.body = Encrypt(Padded(password), PasswordContext(head.domain, sealed.keyId), MasterKeyBytes(newest));
    return sealed.ToString();
}

std::string KeyRing::Open(uint32_t domain, const std::string &text) const
{
    if (domain != head.domain) {
        throw KeyError(fmt::format("domain {} was asked for, the keys are those of domain {}", domain, head.domain));
    }
    const SealedText sealed = SealedText::Parse(text);
    const size_t index = FindMasterKey(sealed.keyId);
    if (index == masters.size()) {
        throw UnknownKeyError("it was sealed with a key that the key files do not hold");
    }
    const SecretBuffer padded =
        Decrypt(sealed.body, PasswordContext(domain, sealed.keyId), MasterKeyBytes(index));
    const size_t size = UnpaddedSize(padded);
    return std::string(reinterpret_cast<const char *>(padded.Data()), size);
}

bool KeyRing::CanReplace(const KeyRing &other) const
{
    return head.domain == other.head.domain && head.storeId == other.head.storeId &&
           head.generation >= other.head.generation &&
           std::all_of(other.masters.begin(), other.masters.end(),
                       [this](const MasterKey &master) { return FindMasterKey(master.id) < masters.size(); });
}

KeyRing::Head KeyRing::NextHead() const
{
    Head next = head;
    ++next.generation;
    return next;
}

size_t KeyRing::FindMasterKey(uint64_t id) const
{
    const auto found =
        std::find_if(masters.begin(), masters.end(), [id](const MasterKey &master) { return master.id == id; });
    return static_cast<size_t>(found - masters.begin());
}

}  // namespace zef
