// Memory for keys and passwords.
#ifndef ZEF_CLIENT_KEYS_SECRET_BUFFER_H
#define ZEF_CLIENT_KEYS_SECRET_BUFFER_H

#include <memory>

#include <cstddef>
#include <cstdint>

namespace zef {

// Bytes between guard pages that are kept out of swap and core dumps and wiped when the buffer goes. Not copied by
// accident: it only moves, and a moved-from buffer is empty.
//
// Where the system allows no (more) locked memory, the buffer works all the same: IsLocked is then false, and whoever
// owns the secret says so to the operator.
class SecretBuffer {
public:
    SecretBuffer() = default;

    // All zero. Throws std::bad_alloc.
    explicit SecretBuffer(size_t size);

    // A copy of these bytes.
    SecretBuffer(const void *bytes, size_t size);

    SecretBuffer(SecretBuffer &&other) noexcept;
    SecretBuffer &operator=(SecretBuffer &&other) noexcept;

    uint8_t *Data() { return memory.get(); }
    const uint8_t *Data() const { return memory.get(); }
    size_t Size() const { return size; }
    bool IsLocked() const { return locked; }

    // Takes the same time for all buffers of a size, whatever is in them.
    bool Equals(const SecretBuffer &other) const;

private:
    struct Wiper {
        void operator()(uint8_t *bytes) const;
    };

    std::unique_ptr<uint8_t, Wiper> memory;
    size_t size = 0;
    bool locked = true;
};

}  // namespace zef

#endif
