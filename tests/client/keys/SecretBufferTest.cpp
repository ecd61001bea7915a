#include "keys/SecretBuffer.h"

#include "FailingSystem.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zef {

TEST(SecretBufferTest, IsAllZeroAtFirst)
{
    const SecretBuffer buffer(100);
    EXPECT_EQ(BytesOf(buffer), std::string(100, '\0'));
}

TEST(SecretBufferTest, CopiesTheBytesItIsGiven)
{
    std::string source = "secret";
    const SecretBuffer buffer(source.data(), source.size());
    source.assign("changed");
    EXPECT_EQ(BytesOf(buffer), "secret");
}

TEST(SecretBufferTest, IsLockedInMemory)
{
    EXPECT_TRUE(SecretBuffer(32).IsLocked());
}

TEST(SecretBufferTest, WorksWithoutLockedMemoryAndSaysSo)
{
    const NoLockedMemory noLockedMemory;
    const SecretBuffer buffer("secret", 6);
    EXPECT_FALSE(buffer.IsLocked());
    EXPECT_EQ(BytesOf(buffer), "secret");
}

TEST(SecretBufferTest, TakesABlockOverFromOneThatWent)
{
    const uint8_t *block = nullptr;
    {
        const SecretBuffer gone("a-secret-of-21-bytes!", 21);
        block = gone.Data();
    }
    EXPECT_NE(SecretBuffer(20).Data(), block);
    const SecretBuffer next(21);
    EXPECT_EQ(next.Data(), block);
    EXPECT_EQ(BytesOf(next), std::string(21, '\0'));
    EXPECT_TRUE(next.IsLocked());
    EXPECT_NE(SecretBuffer(21).Data(), block) << "while it is in use";
}

TEST(SecretBufferTest, WipesABlockWhenItGoes)
{
    const uint8_t *block = nullptr;
    {
        SecretBuffer first("secret of 22 bytes...!", 22);
        block = first.Data();
        first = SecretBuffer(23);
        EXPECT_EQ(std::string(block, block + 22), std::string(22, '\0')) << "a block that is kept can be read";
    }
    EXPECT_EQ(SecretBuffer(22).Data(), block);
}

TEST(SecretBufferTest, KeepsTheLastFewBlocks)
{
    std::vector<const uint8_t *> blocks;
    {
        std::vector<SecretBuffer> many;
        for (int i = 0; i < 10; ++i) {
            many.emplace_back(24);
            blocks.push_back(many.back().Data());
        }
    }
    std::vector<SecretBuffer> again;
    size_t kept = 0;
    for (int i = 0; i < 10; ++i) {
        again.emplace_back(24);
        kept += std::count(blocks.end() - 4, blocks.end(), again.back().Data());
    }
    EXPECT_EQ(kept, 4u);
}

TEST(SecretBufferTest, KeepsNoBlockThatIsNotLocked)
{
    {
        const NoLockedMemory noLockedMemory;
        EXPECT_FALSE(SecretBuffer(25).IsLocked());
    }
    EXPECT_TRUE(SecretBuffer(25).IsLocked());
}

TEST(SecretBufferTest, IsItselfAfterItWasAssignedToItself)
{
    SecretBuffer buffer("secret", 6);
    SecretBuffer &same = buffer;
    buffer = std::move(same);
    EXPECT_EQ(BytesOf(buffer), "secret");
}

TEST(SecretBufferTest, LeavesNothingBehindWhenMoved)
{
    SecretBuffer source("secret", 6);
    const SecretBuffer target(std::move(source));
    EXPECT_EQ(BytesOf(target), "secret");
    EXPECT_EQ(source.Size(), 0u);
    EXPECT_EQ(source.Data(), nullptr);
}

TEST(SecretBufferTest, GivesItsBytesUpForThoseAssignedToIt)
{
    SecretBuffer target("old", 3);
    target = SecretBuffer("newer", 5);
    EXPECT_EQ(BytesOf(target), "newer");
}

TEST(SecretBufferTest, EqualsTheSameBytesAlone)
{
    EXPECT_TRUE(SecretBuffer("abc", 3).Equals(SecretBuffer("abc", 3)));
    EXPECT_FALSE(SecretBuffer("abc", 3).Equals(SecretBuffer("abd", 3)));
    EXPECT_FALSE(SecretBuffer("abc", 3).Equals(SecretBuffer("ab", 2)));
    EXPECT_FALSE(SecretBuffer("abc", 3).Equals(SecretBuffer()));
    EXPECT_TRUE(SecretBuffer().Equals(SecretBuffer()));
}

TEST(SecretBufferTest, MayBeEmpty)
{
    const SecretBuffer none;
    const SecretBuffer zeroBytes(0);
    const SecretBuffer copyOfNothing(nullptr, 0);
    EXPECT_EQ(none.Size() + zeroBytes.Size() + copyOfNothing.Size(), 0u);
    EXPECT_TRUE(none.IsLocked());
}

// Writing behind the end hits a guard page instead of somebody else's memory.
TEST(SecretBufferDeathTest, EndsTheProcessOnAnOverrun)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            SecretBuffer buffer(32);
            volatile uint8_t *const bytes = buffer.Data();
            bytes[32] = 1;
        },
        "");
}

}  // namespace zef
