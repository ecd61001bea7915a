// The allocator of the C library, except that allocations fail when the driver says so. Operator new and the C
// library's own functions come here too.
#include "FailingAllocations.h"

#include <cerrno>

#include <dlfcn.h>
#include <regex.h>

// The real ones.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

struct Block {
    void *address;
    size_t size;
    const void *caller;
};

// More than any operation asks for.
constexpr size_t kMaxBlocks = 1U << 14;
Block blocks[kMaxBlocks];
size_t blockCount = 0;

void VisitLive(void (*visit)(const void *block, size_t size, const void *caller))
{
    for (size_t i = 0; i < blockCount; ++i) {
        visit(blocks[i].address, blocks[i].size, blocks[i].caller);
    }
}

FailingAllocations state = {false, false, 0, 0, 0, 0, VisitLive};

bool MustFail()
{
    if (!state.armed) {
        return false;
    }
    const long number = ++state.asked;
    const bool fails = number == state.first || number == state.second || (state.onwards && number >= state.first);
    if (fails) {
        ++state.failed;
        errno = ENOMEM;
    }
    return fails;
}

void *Remember(void *address, size_t size, const void *caller)
{
    if (state.armed && address != nullptr && blockCount < kMaxBlocks) {
        blocks[blockCount++] = {address, size, caller};
    }
    return address;
}

// The youngest are looked at first: most blocks do not live long.
void Forget(const void *address)
{
    for (size_t i = blockCount; i-- > 0;) {
        if (blocks[i].address == address) {
            blocks[i] = blocks[--blockCount];
            return;
        }
    }
}

struct Unarmed {
    Unarmed() : before(state.armed) { state.armed = false; }
    ~Unarmed() { state.armed = before; }
    Unarmed(const Unarmed &) = delete;
    Unarmed &operator=(const Unarmed &) = delete;

    const bool before;
};

}  // namespace

#pragma GCC visibility push(default)

extern "C" {

FailingAllocations *ZefProofFailingAllocations()
{
    return &state;
}

void *malloc(size_t size)
{
    return MustFail() ? nullptr : Remember(__libc_malloc(size), size, __builtin_return_address(0));
}

void *calloc(size_t count, size_t size)
{
    return MustFail() ? nullptr : Remember(__libc_calloc(count, size), count * size, __builtin_return_address(0));
}

void *realloc(void *block, size_t size)
{
    if (MustFail()) {
        return nullptr;
    }
    void *const moved = __libc_realloc(block, size);
    if (moved != nullptr || size == 0) {
        Forget(block);
    }
    return Remember(moved, size, __builtin_return_address(0));
}

void *memalign(size_t alignment, size_t size)
{
    return MustFail() ? nullptr : Remember(__libc_memalign(alignment, size), size, __builtin_return_address(0));
}

void *aligned_alloc(size_t alignment, size_t size)
{
    return MustFail() ? nullptr : Remember(__libc_memalign(alignment, size), size, __builtin_return_address(0));
}

int posix_memalign(void **block, size_t alignment, size_t size)
{
    if (MustFail()) {
        return ENOMEM;
    }
    *block = Remember(__libc_memalign(alignment, size), size, __builtin_return_address(0));
    return *block == nullptr ? ENOMEM : 0;
}

// The C library's own compiler of regular expressions frees memory twice, or loses it, when it gets none in the middle.
// So there it is all or nothing: a call counts as one allocation.
int regcomp(regex_t *expression, const char *pattern, int flags)
{
    static const auto real = reinterpret_cast<decltype(&regcomp)>(dlsym(RTLD_NEXT, "regcomp"));
    if (MustFail()) {
        return REG_ESPACE;
    }
    const Unarmed unarmed;
    return real(expression, pattern, flags);
}

int regexec(const regex_t *expression, const char *text, size_t count, regmatch_t *matches, int flags)
{
    static const auto real = reinterpret_cast<decltype(&regexec)>(dlsym(RTLD_NEXT, "regexec"));
    if (MustFail()) {
        return REG_ESPACE;
    }
    const Unarmed unarmed;
    return real(expression, text, count, matches, flags);
}

void free(void *block)
{
    if (block != nullptr) {
        Forget(block);
    }
    __libc_free(block);
}
}

#pragma GCC visibility pop
