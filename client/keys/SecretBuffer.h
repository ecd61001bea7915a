// Memory for keys and passwords.
#ifndef ZEF_CLIENT_KEYS_SECRET_BUFFER_H
#define ZEF_CLIENT_KEYS_SECRET_BUFFER_H

#include <cstddef>
#include <cstdint>

namespace zef {

// Bytes between guard pages that are kept out of swap and core dumps and wiped when the buffer goes. Not copied by
// accident: it only moves, and a moved-from buffer is empty.
//
// Where the system allows no (more) locked memory, the buffer works all the same: IsLocked is then false, and whoever
// owns the secret says so to the operator.
//
// A few wiped blocks stay locked for the next buffers of their size: making one takes a dozen system calls, most of which
// interrupt all processors that the process runs on. Until such a block is given back, nobody notices who wrote in front of
// it. Buffers may be made and destroyed on any thread; one buffer belongs to one thread at a time.
class SecretBuffer {
public:
    SecretBuffer() = default;

    // All zero. Throws std::bad_alloc, and KeyError when libsodium cannot be used.
    explicit SecretBuffer(size_t size);

    // A copy of these bytes. Throws as the other.
    SecretBuffer(const void *bytes, size_t size);

    SecretBuffer(SecretBuffer &&other) noexcept;
    SecretBuffer &operator=(SecretBuffer &&other) noexcept;
    ~SecretBuffer();

    uint8_t *Data() { return block.bytes; }
    const uint8_t *Data() const { return block.bytes; }
    size_t Size() const { return block.size; }
    bool IsLocked() const { return block.isLocked; }

    // Takes the same time for all buffers of a size, whatever is in them.
    bool Equals(const SecretBuffer &other) const;

    // What libsodium allocates.
    struct Block {
        uint8_t *bytes = nullptr;
        size_t size = 0;
        bool isLocked = true;
    };

private:
    Block block;
};

}  // namespace zef

#endif
