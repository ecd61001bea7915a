#include "keys/SecretBuffer.h"

#include "common/Secrets.h"
#include "keys/KeyError.h"

#include <sodium.h>

#include <new>
#include <utility>

#include <cstring>

namespace zef {

namespace {

// Everything that key management does with libsodium begins with a buffer, so this is where it is made ready.
void RequireSodium()
{
    static const bool ready = sodium_init() >= 0;
    if (!ready) {
        throw KeyError("the cryptographic library cannot be initialised");
    }
}

uint8_t *Allocate(size_t size)
{
    RequireSodium();
    void *const bytes = sodium_malloc(size);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    std::memset(bytes, 0, size);
    return static_cast<uint8_t *>(bytes);
}

}  // namespace

void SecretBuffer::Wiper::operator()(uint8_t *bytes) const
{
    sodium_free(bytes);
    ForgetTraces();
}

// The allocation has tried to lock the memory, but does not tell whether it could: hence once more.
SecretBuffer::SecretBuffer(size_t byteCount)
    : memory(Allocate(byteCount)), size(byteCount), locked(byteCount == 0 || sodium_mlock(memory.get(), byteCount) == 0)
{
}

SecretBuffer::SecretBuffer(const void *bytes, size_t byteCount) : SecretBuffer(byteCount)
{
    if (byteCount > 0) {
        std::memcpy(memory.get(), bytes, byteCount);
    }
}

SecretBuffer::SecretBuffer(SecretBuffer &&other) noexcept
    : memory(std::move(other.memory)), size(std::exchange(other.size, 0)), locked(std::exchange(other.locked, true))
{
}

SecretBuffer &SecretBuffer::operator=(SecretBuffer &&other) noexcept
{
    memory = std::move(other.memory);
    size = std::exchange(other.size, 0);
    locked = std::exchange(other.locked, true);
    return *this;
}

bool SecretBuffer::Equals(const SecretBuffer &other) const
{
    return size == other.size && (size == 0 || sodium_memcmp(Data(), other.Data(), size) == 0);
}

}  // namespace zef
