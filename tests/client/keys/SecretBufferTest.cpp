#include "keys/SecretBuffer.h"

#include "FailingSystem.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <utility>

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
