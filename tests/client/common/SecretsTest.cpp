#include "common/Secrets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace zef {

TEST(SecretsTest, AWipedTextIsEmptyAndItsCharactersAreOverwritten)
{
    std::string text(100, 'x');
    const char *const characters = text.data();
    Wipe(text);
    EXPECT_TRUE(text.empty());
    ASSERT_EQ(text.data(), characters);
    text.resize(1);  // as long as it is not longer than before, nothing is allocated
    EXPECT_EQ(text.data(), characters);
    EXPECT_EQ(std::count(characters, characters + 100, 'x'), 0);
}

TEST(SecretsTest, AnEmptyTextMayBeWiped)
{
    std::string text;
    Wipe(text);
    EXPECT_TRUE(text.empty());
}

#if defined(__x86_64__)

TEST(SecretsTest, VectorRegistersHoldNothingAfterwards)
{
    std::array<unsigned char, 16> bytes;
    bytes.fill('x');
    asm volatile("movdqu %0, %%xmm0\n\tmovdqu %0, %%xmm15" : : "m"(bytes) : "xmm0", "xmm15");
    ClearVectorRegisters();
    std::array<unsigned char, 16> first{};
    std::array<unsigned char, 16> last{};
    asm volatile("movdqu %%xmm0, %0\n\tmovdqu %%xmm15, %1" : "=m"(first), "=m"(last));
    EXPECT_EQ(std::count(first.begin(), first.end(), 'x'), 0);
    EXPECT_EQ(std::count(last.begin(), last.end(), 'x'), 0);
}

TEST(SecretsTest, TheUpperVectorRegistersHoldNothingAfterwards)
{
    if (!__builtin_cpu_supports("avx512f")) {
        GTEST_SKIP() << "this processor has none";
    }
    std::array<unsigned char, 64> bytes;
    bytes.fill('x');
    asm volatile("vmovdqu64 %0, %%zmm16\n\tvmovdqu64 %0, %%zmm31" : : "m"(bytes));
    ForgetTraces();
    std::array<unsigned char, 64> first{};
    std::array<unsigned char, 64> last{};
    asm volatile("vmovdqu64 %%zmm16, %0\n\tvmovdqu64 %%zmm31, %1" : "=m"(first), "=m"(last));
    EXPECT_EQ(std::count(first.begin(), first.end(), 'x'), 0);
    EXPECT_EQ(std::count(last.begin(), last.end(), 'x'), 0);
}

#endif

}  // namespace zef
