#include "management/StorageChanges.h"

#include "RegistryTest.h"
#include "gateway/IpGateway.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zef {
namespace {

class StorageChangesTest : public RegistryTest {
protected:
    static const std::vector<ZefStorage> &All() { return ZefStorageManager::GetStorageAll(); }
};

// Whether the gateway has a link to this array address.
bool HasLinkTo(const std::string &array)
{
    const std::vector<LinkState> links = IpGateway::Instance().Links();
    return std::any_of(links.begin(), links.end(), [&](const LinkState &link) { return link.array == array; });
}

int GiveCredential(const char *, const char *, OrnCredential *credential)
{
    credential->user[0] = credential->password[0] = 'x';
    credential->user[1] = credential->password[1] = '\0';
    return 0;
}

// A link to 127.0.0.12 that was begun because the library is about to ask for it.
class BegunLinkTest : public StorageChangesTest {
protected:
    BegunLinkTest()
    {
        GatewayOptions options;
        options.arrayPort = kClosedPort;
        options.initiatorName = "iqn.2026-11.example.zef:test";
        IpGateway::Instance().Start(options, nullptr);
        (void)AddWithPairs();
        IpGateway::Instance().Expect("127.0.0.12", {"127.0.0.1"});
        OrnLinkRequest request = {"127.0.0.1", "127.0.0.11", GiveCredential, 0, 4};
        EXPECT_EQ(IpGateway::Instance().CreateLink(request), -1);
        EXPECT_TRUE(HasLinkTo("127.0.0.12"));
    }

    ~BegunLinkTest() override { IpGateway::Instance().Close(); }
};

TEST_F(BegunLinkTest, EndsWithItsStorageObject)
{
    (void)DeleteStorage("array-1");
    EXPECT_FALSE(HasLinkTo("127.0.0.12"));
}

TEST_F(BegunLinkTest, EndsWithItsAddress)
{
    (void)DeleteAddresses("array-1", {"127.0.0.12"});
    EXPECT_FALSE(HasLinkTo("127.0.0.12"));
    EXPECT_TRUE(HasLinkTo("127.0.0.11"));
}

TEST_F(BegunLinkTest, EndsWithTheUserThatItLogsInAs)
{
    (void)SetUser("array-1", "another", sealed);
    EXPECT_FALSE(HasLinkTo("127.0.0.12"));
    EXPECT_TRUE(HasLinkTo("127.0.0.11"));
}

TEST_F(StorageChangesTest, AddsAStorageObject)
{
    EXPECT_EQ(AddStorage(Description()), "array-1 is added with 2 addresses, being connected");
    ASSERT_EQ(All().size(), 1U);
    EXPECT_EQ(All()[0].GetUser(), "zefuser");
    EXPECT_EQ(All()[0].GetPassword(), sealed);
    EXPECT_EQ(All()[0].GetIps(), "127.0.0.11;127.0.0.12");
    EXPECT_EQ(All()[0].GetLinkType(), StorageLinkType::kIp);
}

TEST_F(StorageChangesTest, AddsAFibreChannelStorageObject)
{
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    EXPECT_EQ(AddStorage(storage), "array-1 is added; its Fibre Channel link is looked for");
    ASSERT_EQ(All().size(), 1U);
    EXPECT_EQ(All()[0].GetLinkType(), StorageLinkType::kFibreChannel);
}

TEST_F(StorageChangesTest, RefusesADescriptionThatTheRegistryWouldRefuse)
{
    StorageDescription storage = Description();
    storage.name = "two words";
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Usage,
                   "\"two words\" is no storage name: 1 to 127 letters, digits and characters of _ / . -; nothing was "
                   "changed");
    storage = Description();
    storage.user = "abcd";
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Usage,
                   "\"abcd\" is no user name: 5 to 32 letters, digits and underscores, beginning with a letter; "
                   "nothing was changed");
    storage = Description();
    storage.addresses = {"127.0.0.11", "127.0.0.300"};
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Usage,
                   "\"127.0.0.300\" is not an IPv4 address; nothing was changed");
    storage.addresses = {"127.0.0.11", "127.0.0.11"};
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Usage, "an address is given twice; nothing was changed");
    EXPECT_TRUE(All().empty());
}

TEST_F(StorageChangesTest, TakesSixteenAddressesAndNoMore)
{
    StorageDescription storage = Description();
    storage.addresses.clear();
    for (int i = 1; i <= 17; ++i) {
        storage.addresses.push_back("127.0.1." + std::to_string(i));
    }
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Failed,
                   "that makes 17 addresses; at most 16 are allowed; nothing was changed");
    EXPECT_TRUE(All().empty());
    storage.addresses.pop_back();
    EXPECT_EQ(AddStorage(storage), "array-1 is added with 16 addresses, being connected");
    EXPECT_REFUSED(AddAddresses("array-1", {"127.0.2.1"}), ExitCode::Failed,
                   "that makes 17 addresses; at most 16 are allowed; nothing was changed");
}

TEST_F(StorageChangesTest, RefusesAPasswordThatItsKeysDoNotOpen)
{
    StorageDescription storage = Description();
    storage.sealed = "the-password";
    EXPECT_REFUSED(AddStorage(storage), ExitCode::Credential,
                   "the client's keys do not open the encrypted password; zef_client password encrypt makes one, and a "
                   "client whose key files were made anew takes these when it is restarted; nothing was changed");
    EXPECT_TRUE(All().empty());
}

TEST_F(StorageChangesTest, RefusesASecondStorageObject)
{
    (void)AddStorage(Description());
    StorageDescription second = Description();
    second.name = "array-2";
    EXPECT_REFUSED(AddStorage(second), ExitCode::Failed,
                   "the client has a storage object already, array-1; it takes one at most; nothing was changed");
    EXPECT_EQ(All().size(), 1U);
}

TEST_F(StorageChangesTest, DeletesAStorageObjectWithItsLinks)
{
    IpGateway::Instance().Start({}, nullptr);
    (void)AddWithPairs();
    for (const char *const local : {"127.0.0.1", "127.0.0.2"}) {
        OrnLinkRequest request = {local, "127.0.0.11", nullptr, 0, 4};
        EXPECT_EQ(IpGateway::Instance().CreateLink(request), -1);  // nobody gives it a credential
    }
    EXPECT_EQ(IpGateway::Instance().Links().size(), 2U);
    EXPECT_EQ(DeleteStorage("array-1"), "array-1 is deleted; 2 links end");
    EXPECT_TRUE(All().empty());
    EXPECT_TRUE(IpGateway::Instance().Links().empty());
    IpGateway::Instance().Close();
}

TEST_F(StorageChangesTest, RefusesToChangeWhatIsNotThere)
{
    const std::string absent = "there is no storage object array-9; nothing was changed";
    EXPECT_REFUSED(DeleteStorage("array-9"), ExitCode::Failed, absent);
    EXPECT_REFUSED(AddAddresses("array-9", {"127.0.0.1"}), ExitCode::Failed, absent);
    EXPECT_REFUSED(DeleteAddresses("array-9", {"127.0.0.1"}), ExitCode::Failed, absent);
    EXPECT_REFUSED(DeletePair("array-9", "127.0.0.1:127.0.0.11"), ExitCode::Failed, absent);
    EXPECT_REFUSED(SetUser("array-9", "other_user", sealed), ExitCode::Failed, absent);
    EXPECT_REFUSED(DeleteStorage(""), ExitCode::Usage,
                   "\"\" is no storage name: 1 to 127 letters, digits and characters of _ / . -; nothing was changed");
}

TEST_F(StorageChangesTest, AddsAddresses)
{
    (void)AddStorage(Description());
    EXPECT_EQ(AddAddresses("array-1", {"127.0.0.14", "127.0.0.13"}),
              "array-1 has 2 addresses more, being connected");
    EXPECT_EQ(All()[0].GetIps(), "127.0.0.11;127.0.0.12;127.0.0.13;127.0.0.14");
}

TEST_F(StorageChangesTest, AddsAllAddressesOrNone)
{
    (void)AddStorage(Description());
    EXPECT_REFUSED(AddAddresses("array-1", {"127.0.0.13", "127.0.0.12"}), ExitCode::Failed,
                   "array-1 has the address 127.0.0.12 already; nothing was changed");
    EXPECT_REFUSED(AddAddresses("array-1", {"127.0.0.13", ""}), ExitCode::Usage,
                   "\"\" is not an IPv4 address; nothing was changed");
    EXPECT_EQ(All()[0].GetIps(), "127.0.0.11;127.0.0.12");
}

TEST_F(StorageChangesTest, GivesAFibreChannelStorageObjectNoAddresses)
{
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    (void)AddStorage(storage);
    EXPECT_REFUSED(AddAddresses("array-1", {"127.0.0.13"}), ExitCode::Failed,
                   "array-1 is reached over Fibre Channel and has no addresses; nothing was changed");
}

TEST_F(StorageChangesTest, DeletesAddressesWithTheirPairs)
{
    const ZefStorage &storage = AddWithPairs();
    EXPECT_EQ(DeleteAddresses("array-1", {"127.0.0.11"}), "array-1 has 1 address less; 2 links end");
    EXPECT_EQ(storage.GetIps(), "127.0.0.12");
    EXPECT_TRUE(storage.GetIpParis().empty());
}

TEST_F(StorageChangesTest, DeletesAllAddressesOrNone)
{
    const ZefStorage &storage = AddWithPairs();
    EXPECT_REFUSED(DeleteAddresses("array-1", {"127.0.0.11", "127.0.0.13"}), ExitCode::Failed,
                   "array-1 has no address \"127.0.0.13\"; nothing was changed");
    EXPECT_EQ(storage.GetIps(), "127.0.0.11;127.0.0.12");
    EXPECT_EQ(storage.GetIpParis().size(), 2U);
}

TEST_F(StorageChangesTest, RefusesAnAddressThatIsDeletedTwice)
{
    const ZefStorage &storage = AddWithPairs();
    EXPECT_REFUSED(DeleteAddresses("array-1", {"127.0.0.11", "127.0.0.11"}), ExitCode::Usage,
                   "an address is given twice; nothing was changed");
    EXPECT_EQ(storage.GetIps(), "127.0.0.11;127.0.0.12");
}

TEST_F(StorageChangesTest, TakesAnAddressBackOnlyWhenItsOldTryHasLeftTheQueue)
{
    (void)AddStorage(Description());
    ProbeRecord::Instance().NotReached("127.0.0.12", kClosedPort, "no route");
    (void)DeleteAddresses("array-1", {"127.0.0.12"});
    const char *const queued =
        "127.0.0.12 was deleted a moment ago and its next try is still queued; ask again in 2 seconds; nothing was "
        "changed";
    EXPECT_REFUSED(AddAddresses("array-1", {"127.0.0.12"}), ExitCode::Failed, queued);
    (void)DeleteStorage("array-1");
    EXPECT_REFUSED(AddStorage(Description()), ExitCode::Failed, queued);
    EXPECT_FALSE(IsWantedAddress("127.0.0.12")) << "the old try has its turn";
    EXPECT_FALSE(Refusal([this] { AddStorage(Description()); }));
}

TEST_F(StorageChangesTest, TakesAnAddressBackOnlyWhenTheOldLoginHasLeftTheQueue)
{
    IpGateway::Instance().Start({}, nullptr);
    (void)AddWithPairs();
    OrnLinkRequest request = {"127.0.0.1", "127.0.0.11", nullptr, 0, 4};
    EXPECT_EQ(IpGateway::Instance().CreateLink(request), -1);
    (void)DeleteAddresses("array-1", {"127.0.0.11"});
    EXPECT_TRUE(Refusal([] { AddAddresses("array-1", {"127.0.0.11"}); }));
    EXPECT_FALSE(IsWantedPair("127.0.0.1", "127.0.0.11")) << "the old login has its turn";
    EXPECT_FALSE(Refusal([] { AddAddresses("array-1", {"127.0.0.11"}); }));
    IpGateway::Instance().Close();
}

TEST_F(StorageChangesTest, DeletesOnePairAndKeepsTheAddressWhileAnotherLeadsToIt)
{
    const ZefStorage &storage = AddWithPairs();
    EXPECT_EQ(DeletePair("array-1", "127.0.0.1:127.0.0.11"), "the link 127.0.0.1:127.0.0.11 ends");
    EXPECT_EQ(storage.GetIpParis(), (std::vector<IpPair>{{"127.0.0.2", "127.0.0.11"}}));
    EXPECT_EQ(storage.GetIps(), "127.0.0.11;127.0.0.12");
    EXPECT_EQ(DeletePair("array-1", "127.0.0.2:127.0.0.11"),
              "the link 127.0.0.2:127.0.0.11 ends; it was the last one to 127.0.0.11, which is no address of array-1 "
              "any more");
    EXPECT_EQ(storage.GetIps(), "127.0.0.12");
}

TEST_F(StorageChangesTest, RefusesATextThatIsNoPair)
{
    (void)AddWithPairs();
    for (const std::string text : {"127.0.0.1", "", ":", "127.0.0.1:", ":127.0.0.11", "127.0.0.1:127.0.0.11:x"}) {
        EXPECT_REFUSED(DeletePair("array-1", text), ExitCode::Usage,
                       "\"" + text + "\" is no pair: local address, colon, array address, such as 10.0.0.1:10.0.0.9; "
                                     "nothing was changed");
    }
    EXPECT_REFUSED(DeletePair("array-1", "127.0.0.11:127.0.0.1"), ExitCode::Failed,
                   "array-1 has no pair 127.0.0.11:127.0.0.1; nothing was changed");
}

TEST_F(StorageChangesTest, SetsUserAndPassword)
{
    (void)AddStorage(Description());
    const std::string other = ring.Seal(Secret("another-password"));
    EXPECT_EQ(SetUser("array-1", "other_user", other),
              "array-1 logs in as other_user from now on; links that are up stay");
    EXPECT_EQ(All()[0].GetUser(), "other_user");
    EXPECT_EQ(All()[0].GetPassword(), other);
    EXPECT_EQ(Refusal([] { SetUser("array-1", "third_user", "zef1:x:y"); })->first, ExitCode::Credential);
    EXPECT_EQ(Refusal([this] { SetUser("array-1", "abcd", sealed); })->first, ExitCode::Usage);
    EXPECT_EQ(All()[0].GetUser(), "other_user");
}

TEST_F(StorageChangesTest, WantsWhatTheRegistryHolds)
{
    (void)AddWithPairs();
    EXPECT_TRUE(IsWantedAddress("127.0.0.12"));
    EXPECT_FALSE(IsWantedAddress("127.0.0.13"));
    EXPECT_TRUE(IsWantedPair("127.0.0.2", "127.0.0.11"));
    EXPECT_FALSE(IsWantedPair("127.0.0.2", "127.0.0.12"));
    (void)DeleteStorage("array-1");
    EXPECT_FALSE(IsWantedAddress("127.0.0.12"));
    EXPECT_FALSE(IsWantedPair("127.0.0.2", "127.0.0.11"));
}

TEST_F(StorageChangesTest, AwaitsTheAddressesWithoutAPair)
{
    using Addresses = std::set<std::string>;
    EXPECT_EQ(AwaitedAddresses(), Addresses());
    (void)AddStorage(Description());
    EXPECT_EQ(AwaitedAddresses(), (Addresses{"127.0.0.11", "127.0.0.12"}));
    ProbeRecord::Instance().NotReached("127.0.0.12", kClosedPort, "no route");
    ZefStorageManager::GetByName("array-1").AddIpParis({"127.0.0.1", "127.0.0.11"});
    EXPECT_EQ(AwaitedAddresses(), Addresses{"127.0.0.12"}) << "it is tried again";
    (void)DeleteAddresses("array-1", {"127.0.0.12"});
    EXPECT_EQ(AwaitedAddresses(), Addresses());
}

TEST_F(StorageChangesTest, AwaitsNoAddressWhosePairsWereDropped)
{
    const ZefStorage &storage = AddWithPairs();
    ProbeRecord::Instance().Reached("127.0.0.11", kClosedPort);
    ZefStorageManager::GetByName("array-1").ClearIpParis();
    EXPECT_EQ(storage.GetIps(), "127.0.0.11;127.0.0.12");
    EXPECT_EQ(AwaitedAddresses(), std::set<std::string>{"127.0.0.12"});
}

TEST_F(StorageChangesTest, AwaitsNoAddressBehindFibreChannel)
{
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    (void)AddStorage(storage);
    ZefStorageManager::GetByName("array-1").AddIpList({"127.0.0.11"});
    EXPECT_EQ(AwaitedAddresses(), std::set<std::string>());
}

}  // namespace
}  // namespace zef
