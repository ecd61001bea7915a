#include "GatewayTest.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace zef {

namespace {

using testing::ElementsAre;

constexpr char kFirst[] = "127.0.0.2";
constexpr char kSecond[] = "127.0.0.3";
constexpr char kThird[] = "127.0.0.4";

}  // namespace

// Links that are begun because the library is about to ask for them.
class IpGatewayExpectTest : public GatewayTest {
protected:
    bool WaitFor(const std::string &local, LinkPhase phase)
    {
        return record.WaitFor([&](const LinkState &state) { return state.local == local && state.phase == phase; });
    }

    std::set<std::string> Locals() const
    {
        std::set<std::string> locals;
        for (const LinkState &state : gateway.Links()) {
            locals.insert(state.local);
        }
        return locals;
    }

    uint32_t Tries(const std::string &local) const
    {
        for (const LinkState &state : gateway.Links()) {
            if (state.local == local) {
                return state.tries;
            }
        }
        return 0;
    }
};

TEST_F(IpGatewayExpectTest, BeginsWithTheNextLinkThatIsAskedFor)
{
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_TRUE(gateway.Links().empty());
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_TRUE(WaitFor(kSecond, LinkPhase::Up));
    EXPECT_EQ(callbackCalls, 2);
    EXPECT_EQ(Create(kSecond), 0);
    EXPECT_EQ(callbackCalls, 2);
    EXPECT_EQ(Tries(kSecond), 1u);
}

TEST_F(IpGatewayExpectTest, GivesWhoeverAsksWhatHasBecomeOfIt)
{
    SetPassword("another-horse-2");
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_EQ(Create(kFirst), -1);
    EXPECT_TRUE(WaitFor(kSecond, LinkPhase::Failed));
    EXPECT_EQ(Create(kSecond), -1);
    EXPECT_EQ(Tries(kSecond), 1u);
    EXPECT_EQ(Create(kSecond), -1);
    EXPECT_EQ(Tries(kSecond), 2u);
}

TEST_F(IpGatewayExpectTest, EndsALinkThatIsExpectedNoLonger)
{
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond, kThird});
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_TRUE(WaitFor(kThird, LinkPhase::Up));
    EXPECT_EQ(Create(kSecond), 0);
    gateway.Expect(tgt->Address(), {});
    EXPECT_THAT(Locals(), ElementsAre(kFirst, kSecond));
    EXPECT_TRUE(WaitFor(kThird, LinkPhase::Closed));
}

TEST_F(IpGatewayExpectTest, BeginsNothingThatIsExpectedNoLonger)
{
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    gateway.Expect(tgt->Address(), {kFirst});
    gateway.Expect("127.0.0.99", {});
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_THAT(Locals(), ElementsAre(kFirst));
    EXPECT_EQ(callbackCalls, 1);
}

TEST_F(IpGatewayExpectTest, LeavesLinksAloneThatWereAskedForBefore)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create(kFirst), 0);
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_EQ(Create(kSecond), 0);
    gateway.Expect(tgt->Address(), {});
    EXPECT_THAT(Locals(), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(Tries(kFirst), 1u);
    EXPECT_EQ(callbackCalls, 2);
}

TEST_F(IpGatewayExpectTest, LeavesToWhoeverAsksThatThereIsNoCredential)
{
    StartArray();
    StartGateway();
    callbackResult = -1;
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_EQ(Create(kFirst), -1);
    EXPECT_THAT(Locals(), ElementsAre(kFirst));
    callbackResult = 0;
    EXPECT_EQ(Create(kSecond), 0);
}

TEST_F(IpGatewayExpectTest, ForgetsALinkThatIsDeletedBeforeItIsAskedFor)
{
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_EQ(gateway.DeleteLink(kSecond, tgt->Address()), 0);
    EXPECT_EQ(Create(kSecond), 0);
    EXPECT_EQ(callbackCalls, 3);
}

TEST_F(IpGatewayExpectTest, BeginsNothingThatWasAskedForMeanwhile)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_EQ(Create(kSecond), 0);
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    EXPECT_EQ(Create(kFirst), 0);  // is up, so nobody is begun with it
    EXPECT_EQ(Create(kSecond), 0);
    EXPECT_EQ(gateway.DeleteLink(kFirst, tgt->Address()), 0);
    EXPECT_EQ(gateway.DeleteLink(kSecond, tgt->Address()), 0);
    EXPECT_EQ(Create(kThird), 0);
    EXPECT_THAT(Locals(), ElementsAre(kThird));
}

TEST_F(IpGatewayExpectTest, ExpectsNoMoreThanTheLibraryKeeps)
{
    StartArray();
    StartGateway();
    std::set<std::string> many;
    for (int i = 1; i <= 40; ++i) {
        many.insert("127.0.2." + std::to_string(i));
    }
    gateway.Expect(tgt->Address(), many);
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_EQ(gateway.Links().size(), 33u) << "the one that was asked for, and 32";
}

TEST_F(IpGatewayExpectTest, ExpectsNothingWhileItDoesNotRun)
{
    StartArray();
    gateway.Expect(tgt->Address(), {kFirst, kSecond});
    StartGateway();
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_THAT(Locals(), ElementsAre(kFirst));
}

TEST_F(IpGatewayExpectTest, ForgetsWhatItExpectsWhenItCloses)
{
    StartArray();
    StartGateway();
    gateway.Expect(tgt->Address(), {kFirst, kSecond, kThird});
    EXPECT_EQ(Create(kFirst), 0);
    gateway.Expect("127.0.0.99", {kThird});
    gateway.Close();
    StartGateway();
    EXPECT_EQ(Create(kSecond), 0);
    EXPECT_THAT(Locals(), ElementsAre(kSecond));
}

TEST_F(IpGatewayExpectTest, TheFailureOfOneIsItsOwn)
{
    StartArray();
    StartGateway();
    gateway.Expect("127.0.0.99", {kSecond});  // where connections are refused
    gateway.Expect(tgt->Address(), {kFirst, kThird});
    EXPECT_EQ(Create(kFirst), 0);
    EXPECT_EQ(Create(kThird), 0);
    EXPECT_EQ(Create(kSecond, "127.0.0.99"), -1);
}

}  // namespace zef
