#include <zef_config/ZefStorage.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const IpPair kFirst("1.1.1.1", "10.0.0.5");
const IpPair kSecond("1.1.1.2", "10.0.0.6");
const IpPair kThird("1.1.1.3", "10.0.0.5");

TEST(ZefStorageTest, ANewRecordHasNoNameNoCredentialsAndNoAddresses)
{
    const ZefStorage storage;
    EXPECT_EQ(storage.GetName(), "");
    EXPECT_EQ(storage.GetUser(), "");
    EXPECT_EQ(storage.GetPassword(), "");
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
    EXPECT_THAT(storage.GetUnConnIpParis(), IsEmpty());
}

TEST(ZefStorageTest, ANewRecordHasWwnAndLinkStateOfAllOnesAndIsReachedOverIp)
{
    const ZefStorage storage;
    EXPECT_EQ(storage.GetWwn(), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(storage.GetLinkState(), 0xFFFFFFFFU);
    EXPECT_EQ(static_cast<uint32_t>(storage.GetLinkType()), 0U);
}

TEST(ZefStorageTest, LinkTypesAreThirtyTwoBitNumbers)
{
    static_assert(std::is_same_v<std::underlying_type_t<StorageLinkType>, uint32_t>);
    ZefStorage storage;
    storage.SetLinkType(StorageLinkType{1});
    EXPECT_EQ(storage.GetLinkType(), StorageLinkType::kFibreChannel);
    storage.SetLinkType(StorageLinkType{0xFFFFFFFF});
    EXPECT_EQ(static_cast<uint32_t>(storage.GetLinkType()), 0xFFFFFFFFU);
    storage.SetLinkType(StorageLinkType{0});
    EXPECT_EQ(storage.GetLinkType(), StorageLinkType::kIp);
}

TEST(ZefStorageTest, EachSetterReplacesItsFieldAndNoOther)
{
    ZefStorage storage;
    storage.SetName("old");
    storage.SetName("array1");
    storage.SetUser("admin");
    storage.SetPassword("sealed");
    storage.SetWwn(7);
    EXPECT_EQ(storage.GetName(), "array1");
    EXPECT_EQ(storage.GetUser(), "admin");
    EXPECT_EQ(storage.GetPassword(), "sealed");
    EXPECT_EQ(storage.GetWwn(), 7U);
    EXPECT_EQ(storage.GetLinkState(), 0xFFFFFFFFU);
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
}

TEST(ZefStorageTest, TextsKeepTheirZeroBytes)
{
    const std::string text("a\0b", 3);
    ZefStorage storage;
    storage.SetName(text);
    storage.SetUser(text);
    storage.SetPassword(text);
    EXPECT_EQ(storage.GetName(), text);
    EXPECT_EQ(storage.GetUser(), text);
    EXPECT_EQ(storage.GetPassword(), text);
}

TEST(ZefStorageTest, TheWwnKeepsAllSixtyFourBits)
{
    ZefStorage storage;
    storage.SetWwn(0x8000000180000001);
    EXPECT_EQ(storage.GetWwn(), 0x8000000180000001U);
}

TEST(ZefStorageTest, TheLinkStateKeepsTheLowThirtyTwoBits)
{
    ZefStorage storage;
    storage.SetLinkState(0x100000002);
    EXPECT_EQ(storage.GetLinkState(), 2U);
}

TEST(ZefStorageTest, TheLinkStateIsWidenedWithoutSign)
{
    static_assert(std::is_same_v<decltype(ZefStorage().GetLinkState()), uint64_t>);
    ZefStorage storage;
    storage.SetLinkState(0xFFFFFFFF80000000);
    EXPECT_EQ(storage.GetLinkState(), 0x80000000U);
}

TEST(ZefStorageTest, AddIpListUnitesAndDropsNothing)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.2", "10.0.0.1"});
    storage.AddIpList({"10.0.0.3", "10.0.0.2"});
    storage.AddIpList({});
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1", "10.0.0.2", "10.0.0.3"));
}

TEST(ZefStorageTest, AddressesAreNotNormalised)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.1", "010.0.0.1"});
    storage.DeleteIpFromList("10.0.0.01");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("010.0.0.1", "10.0.0.1"));
}

TEST(ZefStorageTest, DeleteIpFromListLeavesThePairs)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.5", "10.0.0.6"});
    storage.AddIpParis(kFirst);
    storage.AddUnConnIpParis(kFirst);
    storage.DeleteIpFromList("10.0.0.5");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.6"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst));
}

TEST(ZefStorageTest, DeleteIpFromListOfAnAbsentAddressChangesNothing)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.5"});
    storage.DeleteIpFromList("10.0.0.6");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.5"));
}

TEST(ZefStorageTest, GetIpsJoinsInByteOrder)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.2", "10.0.0.10"});
    EXPECT_EQ(storage.GetIps(), "10.0.0.10;10.0.0.2");
}

TEST(ZefStorageTest, GetIpsOfOneAddressIsThatAddress)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.2"});
    EXPECT_EQ(storage.GetIps(), "10.0.0.2");
}

TEST(ZefStorageTest, GetIpsOfNoAddressIsEmpty)
{
    EXPECT_EQ(ZefStorage().GetIps(), "");
}

TEST(ZefStorageTest, GetIpsDropsOnlyTheLastSeparator)
{
    ZefStorage storage;
    storage.AddIpList({""});
    EXPECT_EQ(storage.GetIps(), "");
    storage.AddIpList({"a"});
    EXPECT_EQ(storage.GetIps(), ";a");
}

TEST(ZefStorageTest, ConnectedPairsKeepTheOrderOfTheirAddition)
{
    ZefStorage storage;
    storage.AddIpParis(kThird);
    storage.AddIpParis(kFirst);
    storage.AddIpParis(kSecond);
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kThird, kFirst, kSecond));
    EXPECT_THAT(storage.GetUnConnIpParis(), IsEmpty());
}

TEST(ZefStorageTest, UnconnectedPairsKeepTheOrderOfTheirAddition)
{
    ZefStorage storage;
    storage.AddUnConnIpParis(kThird);
    storage.AddUnConnIpParis(kFirst);
    storage.AddUnConnIpParis(kThird);
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kThird, kFirst, kThird));
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
}

TEST(ZefStorageTest, SetIpParisReplacesTheConnectedPairsOnly)
{
    ZefStorage storage;
    storage.AddIpParis(kFirst);
    storage.AddUnConnIpParis(kFirst);
    storage.SetIpParis({kSecond, kThird, kSecond});
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond, kThird, kSecond));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst));
}

TEST(ZefStorageTest, SetIpParisTakesTheRecordsOwnPairs)
{
    ZefStorage storage;
    storage.SetIpParis({kSecond, kThird});
    storage.SetIpParis(storage.GetIpParis());
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond, kThird));
}

TEST(ZefStorageTest, APairAddedTwiceStandsTwiceAndGoesInOneDeletion)
{
    ZefStorage storage;
    storage.AddIpParis(kFirst);
    storage.AddIpParis(kFirst);
    ASSERT_THAT(storage.GetIpParis(), ElementsAre(kFirst, kFirst));
    storage.DeleteIpParis(kFirst);
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
}

TEST(ZefStorageTest, DeleteIpParisByAddressTakesAllPairsTowardsIt)
{
    ZefStorage storage;
    storage.SetIpParis({kFirst, kSecond, kThird});
    storage.DeleteIpParis(std::string("10.0.0.5"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond));
}

TEST(ZefStorageTest, DeleteIpParisByAddressDoesNotLookAtLocalAddresses)
{
    const IpPair backwards("10.0.0.5", "1.1.1.1");
    ZefStorage storage;
    storage.SetIpParis({backwards, kFirst});
    storage.DeleteIpParis(std::string("10.0.0.5"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(backwards));
}

TEST(ZefStorageTest, DeleteIpParisByAddressKeepsTheOrderOfTheOthers)
{
    const IpPair last("1.1.1.0", "10.0.0.7");
    ZefStorage storage;
    storage.SetIpParis({last, kFirst, kSecond, kThird, last});
    storage.DeleteIpParis(std::string("10.0.0.5"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(last, kSecond, last));
}

TEST(ZefStorageTest, DeleteIpParisByPairComparesBothMembers)
{
    const IpPair otherLocal("1.1.1.9", "10.0.0.5");
    const IpPair otherArray("1.1.1.1", "10.0.0.9");
    ZefStorage storage;
    storage.SetIpParis({otherLocal, kFirst, otherArray, kFirst});
    storage.DeleteIpParis(kFirst);
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(otherLocal, otherArray));
}

TEST(ZefStorageTest, DeleteIpParisLeavesUnconnectedPairsAndAddresses)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.5"});
    storage.AddUnConnIpParis(kFirst);
    storage.SetIpParis({kFirst, kThird});
    storage.DeleteIpParis(kFirst);
    storage.DeleteIpParis(std::string("10.0.0.5"));
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.5"));
}

TEST(ZefStorageTest, DeleteIpParisTakesATextOfTheRecordItself)
{
    ZefStorage storage;
    storage.SetIpParis({kFirst, kSecond, kThird});
    storage.DeleteIpParis(storage.GetIpParis().front().second);
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond));
    storage.SetIpParis({kFirst, kSecond, kFirst});
    storage.DeleteIpParis(storage.GetIpParis().front());
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond));
}

TEST(ZefStorageTest, DeleteUnConnIpParisByAddressTakesAllPairsTowardsIt)
{
    const IpPair backwards("10.0.0.5", "1.1.1.1");
    ZefStorage storage;
    for (const IpPair &pair : {kFirst, backwards, kSecond, kThird}) {
        storage.AddUnConnIpParis(pair);
        storage.AddIpParis(pair);
    }
    storage.DeleteUnConnIpParis(std::string("10.0.0.5"));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(backwards, kSecond));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst, backwards, kSecond, kThird));
}

TEST(ZefStorageTest, DeleteUnConnIpParisByPairComparesBothMembers)
{
    ZefStorage storage;
    for (const IpPair &pair : {kFirst, kThird, kFirst, kSecond}) {
        storage.AddUnConnIpParis(pair);
        storage.AddIpParis(pair);
    }
    storage.DeleteUnConnIpParis(kFirst);
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kThird, kSecond));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst, kThird, kFirst, kSecond));
}

TEST(ZefStorageTest, DeletingWhatIsAbsentChangesNothing)
{
    ZefStorage storage;
    storage.SetIpParis({kFirst});
    storage.AddUnConnIpParis(kFirst);
    storage.DeleteIpParis(std::string());
    storage.DeleteIpParis(kSecond);
    storage.DeleteUnConnIpParis(std::string());
    storage.DeleteUnConnIpParis(kSecond);
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst));
}

TEST(ZefStorageTest, ClearIpParisLeavesUnconnectedPairsAndAddresses)
{
    ZefStorage storage;
    storage.AddIpList({"10.0.0.5"});
    storage.SetIpParis({kFirst, kSecond});
    storage.AddUnConnIpParis(kThird);
    storage.ClearIpParis();
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kThird));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.5"));
}

TEST(ZefStorageTest, FindByIpFindsTheArrayAddressOfAnyConnectedPair)
{
    ZefStorage storage;
    storage.SetIpParis({kFirst, kSecond});
    EXPECT_TRUE(storage.FindByIp("10.0.0.5"));
    EXPECT_TRUE(storage.FindByIp("10.0.0.6"));
    EXPECT_FALSE(storage.FindByIp("10.0.0.7"));
    EXPECT_FALSE(storage.FindByIp("10.0.0."));
    EXPECT_FALSE(storage.FindByIp(""));
}

TEST(ZefStorageTest, FindByIpDoesNotLookAtLocalAddressesUnconnectedPairsAndTheAddressList)
{
    ZefStorage storage;
    storage.SetIpParis({kFirst});
    storage.AddUnConnIpParis(kSecond);
    storage.AddIpList({"10.0.0.7"});
    EXPECT_FALSE(storage.FindByIp("1.1.1.1"));
    EXPECT_FALSE(storage.FindByIp("10.0.0.6"));
    EXPECT_FALSE(storage.FindByIp("10.0.0.7"));
}

TEST(ZefStorageTest, FindByIpOnAnEmptyRecordIsFalse)
{
    EXPECT_FALSE(ZefStorage().FindByIp(""));
}

TEST(ZefStorageTest, ACopyHasEveryFieldAndIsIndependent)
{
    static_assert(!std::is_polymorphic_v<ZefStorage>);
    ZefStorage original;
    original.SetName("array1");
    original.AddIpList({"10.0.0.5"});
    original.SetUser("admin");
    original.SetPassword("sealed");
    original.SetWwn(7);
    original.AddIpParis(kFirst);
    original.AddUnConnIpParis(kSecond);
    original.SetLinkState(3);
    original.SetLinkType(StorageLinkType::kFibreChannel);
    const ZefStorage copy = original;
    original = ZefStorage();

    EXPECT_EQ(copy.GetName(), "array1");
    EXPECT_THAT(copy.GetIpList(), ElementsAre("10.0.0.5"));
    EXPECT_EQ(copy.GetUser(), "admin");
    EXPECT_EQ(copy.GetPassword(), "sealed");
    EXPECT_EQ(copy.GetWwn(), 7U);
    EXPECT_THAT(copy.GetIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(copy.GetUnConnIpParis(), ElementsAre(kSecond));
    EXPECT_EQ(copy.GetLinkState(), 3U);
    EXPECT_EQ(copy.GetLinkType(), StorageLinkType::kFibreChannel);
    EXPECT_EQ(original.GetWwn(), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_THAT(original.GetIpParis(), IsEmpty());
}

}  // namespace
