#include "components/ClientComponents.h"

#include <gtest/gtest.h>

#include <thread>

using zef::ClientComponents;

TEST(ClientComponentsTest, HasNothingThatWasNotGiven)
{
    const ClientComponents components;
    EXPECT_EQ(components.InfoUuid(), "");
    EXPECT_EQ(components.HibUuid(), "");
    EXPECT_EQ(components.FibreChannelStarts(), 0U);
    EXPECT_EQ(components.SeenLinkRecords(), 0U);
}

TEST(ClientComponentsTest, KeepsWhatItWasGivenLast)
{
    ClientComponents components;
    components.SetInfoUuid("first");
    components.SetInfoUuid("of info");
    components.SetHibUuid("of hib");
    EXPECT_EQ(components.SetSeenLinkRecords(3), 0U);
    EXPECT_EQ(components.SetSeenLinkRecords(2), 3U);
    EXPECT_EQ(components.InfoUuid(), "of info");
    EXPECT_EQ(components.HibUuid(), "of hib");
    EXPECT_EQ(components.SeenLinkRecords(), 2U);
}

TEST(ClientComponentsTest, ServesSeveralThreads)
{
    constexpr int kRounds = 500;
    ClientComponents components;
    components.SetInfoUuid("a");
    std::thread other([&components] {
        for (int round = 0; round < kRounds; ++round) {
            components.SetInfoUuid(round % 2 == 0 ? "a" : "b");
            components.CountFibreChannelStart();
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        const std::string uuid = components.InfoUuid();
        EXPECT_TRUE(uuid == "a" || uuid == "b");
        components.CountFibreChannelStart();
    }
    other.join();
    EXPECT_EQ(components.FibreChannelStarts(), 2U * kRounds);
}
