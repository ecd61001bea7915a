// What is left of a secret after it was used.
#ifndef ZEF_CLIENT_COMMON_SECRETS_H
#define ZEF_CLIENT_COMMON_SECRETS_H

#include <string>

#include <cstddef>

#include <string.h>

namespace zef {

// Copying, comparing, hashing and encrypting leave pieces of a text in vector registers, which stay until something else
// needs the register and end up in core dumps, and in parts of the stack that are not in use any more. Overwrites both on
// the calling thread. To be called once the secret's own memory has been wiped, as far out as the thread gets.
inline void ForgetTraces();

// Overwrites a text's characters, whatever else it leaves; the text is empty then.
inline void Wipe(std::string &text)
{
    explicit_bzero(text.data(), text.size());
    text.clear();
    ForgetTraces();
}

// Deeper than what is called with a secret goes.
constexpr size_t kTracesOnTheStack = 32 * 1024;

[[gnu::noinline]] inline void OverwriteUnusedStack()
{
    unsigned char unused[kTracesOnTheStack];
    explicit_bzero(unused, sizeof unused);
}

// Other processors: their string functions are not known to keep anything beyond the next call.
[[gnu::noinline]] inline void ClearVectorRegisters()
{
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx")) {
        asm volatile("vzeroall" ::: "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10",
                     "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
    } else {
        asm volatile("pxor %%xmm0, %%xmm0\n\tpxor %%xmm1, %%xmm1\n\tpxor %%xmm2, %%xmm2\n\tpxor %%xmm3, %%xmm3\n\t"
                     "pxor %%xmm4, %%xmm4\n\tpxor %%xmm5, %%xmm5\n\tpxor %%xmm6, %%xmm6\n\tpxor %%xmm7, %%xmm7\n\t"
                     "pxor %%xmm8, %%xmm8\n\tpxor %%xmm9, %%xmm9\n\tpxor %%xmm10, %%xmm10\n\tpxor %%xmm11, %%xmm11\n\t"
                     "pxor %%xmm12, %%xmm12\n\tpxor %%xmm13, %%xmm13\n\tpxor %%xmm14, %%xmm14\n\tpxor %%xmm15, %%xmm15" ::
                         : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",
                           "xmm12", "xmm13", "xmm14", "xmm15");
    }
    // The compiler uses the upper sixteen nowhere in this program, the C library's string functions do.
    if (__builtin_cpu_supports("avx512f")) {
        asm volatile("vpxorq %zmm16, %zmm16, %zmm16\n\tvpxorq %zmm17, %zmm17, %zmm17\n\t"
                     "vpxorq %zmm18, %zmm18, %zmm18\n\tvpxorq %zmm19, %zmm19, %zmm19\n\t"
                     "vpxorq %zmm20, %zmm20, %zmm20\n\tvpxorq %zmm21, %zmm21, %zmm21\n\t"
                     "vpxorq %zmm22, %zmm22, %zmm22\n\tvpxorq %zmm23, %zmm23, %zmm23\n\t"
                     "vpxorq %zmm24, %zmm24, %zmm24\n\tvpxorq %zmm25, %zmm25, %zmm25\n\t"
                     "vpxorq %zmm26, %zmm26, %zmm26\n\tvpxorq %zmm27, %zmm27, %zmm27\n\t"
                     "vpxorq %zmm28, %zmm28, %zmm28\n\tvpxorq %zmm29, %zmm29, %zmm29\n\t"
                     "vpxorq %zmm30, %zmm30, %zmm30\n\tvpxorq %zmm31, %zmm31, %zmm31");
    }
#endif
}

inline void ForgetTraces()
{
    ClearVectorRegisters();
    OverwriteUnusedStack();  // its own work is with zeros
}

}  // namespace zef

#endif
