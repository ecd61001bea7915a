#include "common/NeverDestroyed.h"

#include <gtest/gtest.h>

namespace {

struct Counted {
    Counted() { ++constructed; }
    ~Counted() { ++destroyed; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

    int value = 7;

    static int constructed;
    static int destroyed;
};

int Counted::constructed = 0;
int Counted::destroyed = 0;

TEST(NeverDestroyedTest, ConstructsItsObjectOnceAndDoesNotDestroyIt)
{
    {
        zef::NeverDestroyed<Counted> holder;
        EXPECT_EQ(holder.Get().value, 7);
        EXPECT_EQ(Counted::constructed, 1);
    }
    EXPECT_EQ(Counted::destroyed, 0);
}

}  // namespace
