#include "keys/SecretBuffer.h"

#include "common/Mutex.h"
#include "common/NeverDestroyed.h"
#include "common/Secrets.h"
#include "keys/KeyError.h"

#include <sodium.h>

#include <algorithm>
#include <array>
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

// The allocation tries to lock the memory, but does not tell whether it could: hence once more.
SecretBuffer::Block Allocate(size_t size)
{
    RequireSodium();
    void *const bytes = sodium_malloc(size);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    std::memset(bytes, 0, size);
    return {static_cast<uint8_t *>(bytes), size, size == 0 || sodium_mlock(bytes, size) == 0};
}

// Blocks that nobody uses, all zero and locked.
class SpareBlocks {
public:
    static SpareBlocks &Instance()
    {
        static NeverDestroyed<SpareBlocks> instance;
        return instance.Get();
    }

    // One of this size; without bytes when there is none.
    SecretBuffer::Block Take(size_t size)
    {
        const MutexLock lock(mutex);
        const auto found = std::find_if(blocks.begin(), blocks.end(), [size](const SecretBuffer::Block &one) {
            return one.bytes != nullptr && one.size == size;
        });
        if (found == blocks.end()) {
            return {};
        }
        std::rotate(blocks.begin(), found, found + 1);
        return std::exchange(blocks.front(), SecretBuffer::Block());
    }

    // Returns the block that has to go for it, if any.
    SecretBuffer::Block Keep(const SecretBuffer::Block &block)
    {
        const MutexLock lock(mutex);
        std::rotate(blocks.begin(), blocks.begin() + 1, blocks.end());
        return std::exchange(blocks.back(), block);
    }

private:
    // Two key files and what is in them.
    static constexpr size_t kMostSpares = 4;

    Mutex mutex;
    // Empty places first, then the blocks from the oldest to the latest.
    std::array<SecretBuffer::Block, kMostSpares> blocks ZEF_GUARDED_BY(mutex);
};

void Release(const SecretBuffer::Block &block)
{
    if (block.bytes == nullptr) {
        return;
    }
    sodium_memzero(block.bytes, block.size);
    const bool isWorthKeeping = block.isLocked && block.size > 0;
    const SecretBuffer::Block leaves = isWorthKeeping ? SpareBlocks::Instance().Keep(block) : block;
    sodium_free(leaves.bytes);
    ForgetTraces();
}

}  // namespace

SecretBuffer::SecretBuffer(size_t byteCount) : block(SpareBlocks::Instance().Take(byteCount))
{
    if (block.bytes == nullptr) {
        block = Allocate(byteCount);
    }
}

SecretBuffer::SecretBuffer(const void *bytes, size_t byteCount) : SecretBuffer(byteCount)
{
    if (byteCount > 0) {
        std::memcpy(block.bytes, bytes, byteCount);
    }
}

SecretBuffer::SecretBuffer(SecretBuffer &&other) noexcept : block(std::exchange(other.block, Block()))
{
}

SecretBuffer &SecretBuffer::operator=(SecretBuffer &&other) noexcept
{
    if (this != &other) {
        Release(block);
        block = std::exchange(other.block, Block());
    }
    return *this;
}

SecretBuffer::~SecretBuffer()
{
    Release(block);
}

bool SecretBuffer::Equals(const SecretBuffer &other) const
{
    return Size() == other.Size() && (Size() == 0 || sodium_memcmp(Data(), other.Data(), Size()) == 0);
}

}  // namespace zef
