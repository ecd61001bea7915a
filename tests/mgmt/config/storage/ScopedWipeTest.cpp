#include "storage/ScopedWipe.h"

#include "support/LibraryTest.h"

#include <stdexcept>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ScopedWipeTest : public LibraryTest {
};

TEST_F(ScopedWipeTest, OverwritesTheWholeTextWhenTheScopeEnds)
{
    std::string secret = "a secret that is too long for the small buffer of a string";
    const std::string before = secret;
    {
        const zef_config::ScopedWipe wipe(secret);
        EXPECT_THAT(platform.wiped, IsEmpty());
    }
    EXPECT_THAT(platform.wiped, ElementsAre(before));
}

TEST_F(ScopedWipeTest, EmptiesTheText)
{
    std::string secret = "secret";
    {
        const zef_config::ScopedWipe wipe(secret);
        EXPECT_EQ(secret, "secret");
    }
    EXPECT_TRUE(secret.empty());
}

TEST_F(ScopedWipeTest, WipesZeroBytesAndWhatFollowsThem)
{
    std::string secret("se\0cret", 7);
    {
        const zef_config::ScopedWipe wipe(secret);
    }
    EXPECT_THAT(platform.wiped, ElementsAre(std::string("se\0cret", 7)));
}

TEST_F(ScopedWipeTest, WipesWhatTheTextHoldsInTheEnd)
{
    std::string secret = "short";
    {
        const zef_config::ScopedWipe wipe(secret);
        secret = "another one that has grown beyond the buffer it began with";
    }
    EXPECT_THAT(platform.wiped, ElementsAre("another one that has grown beyond the buffer it began with"));
    EXPECT_EQ(secret, "");
}

TEST_F(ScopedWipeTest, WipesWhenAnExceptionLeavesTheScope)
{
    std::string secret = "secret";
    EXPECT_THROW(
        {
            const zef_config::ScopedWipe wipe(secret);
            throw std::runtime_error("out");
        },
        std::runtime_error);
    EXPECT_THAT(platform.wiped, Contains("secret"));
    EXPECT_EQ(secret, "");
}

TEST_F(ScopedWipeTest, LeavesAnEmptyTextEmpty)
{
    std::string secret;
    {
        const zef_config::ScopedWipe wipe(secret);
    }
    EXPECT_EQ(secret, "");
}

}  // namespace
