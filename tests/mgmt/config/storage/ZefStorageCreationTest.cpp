// ZefStorageManager: creation and address addition, and how often its refusals are printed.
#include "mgmt/config/storage/StorageTest.h"

#include <zef_config/platform/Log.h>

#include <functional>
#include <new>
#include <stdexcept>

#include <regex.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ZefStorageCreationTest : public StorageTest {
protected:
    static int CreateOverIp(const std::string &name, const std::string &user, const std::string &ips)
    {
        return ZefStorageManager::CreateStorage(name, user, "sealed:secret", ips);
    }

    static int CreateOfType(const std::string &name, const std::string &user, uint32_t type)
    {
        return ZefStorageManager::CreateStorage(name, user, "sealed:secret", StorageLinkType{type});
    }

    static const std::set<std::string> &IpsOf(const std::string &name)
    {
        return ZefStorageManager::GetByName(name).GetIpList();
    }

    // A record that creation alone has touched.
    static void ExpectUnconnected(const ZefStorage &storage)
    {
        EXPECT_THAT(storage.GetIpParis(), IsEmpty());
        EXPECT_THAT(storage.GetUnConnIpParis(), IsEmpty());
        EXPECT_EQ(storage.GetWwn(), kNoWwn);
        EXPECT_EQ(storage.GetLinkState(), 0xFFFFFFFFU);
    }
};

// IP form

TEST_F(ZefStorageCreationTest, TheIpFormAppendsARecordWithAllThatWasGiven)
{
    Register("array0");
    EXPECT_EQ(ZefStorageManager::CreateStorage("array1", "admin", "cipher text", "10.0.0.2;10.0.0.1"), 0);
    ASSERT_THAT(Names(), ElementsAre("array0", "array1"));
    const ZefStorage &storage = ZefStorageManager::GetStorageAll().back();
    EXPECT_EQ(storage.GetUser(), "admin");
    EXPECT_EQ(storage.GetPassword(), "cipher text");
    EXPECT_EQ(storage.GetLinkType(), StorageLinkType::kIp);
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1", "10.0.0.2"));
    ExpectUnconnected(storage);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(ZefStorageCreationTest, CreationConnectsNothing)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1"), 0);
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::IsIpV4Valid(10.0.0.1)"));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(ZefStorageCreationTest, TheIpFormRefusesAnInvalidUser)
{
    EXPECT_EQ(CreateOverIp("array1", "abcd", "10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheIpFormRefusesAnInvalidName)
{
    EXPECT_EQ(CreateOverIp("array 1", "admin", "10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheIpFormReportsInvalidParametersOnce)
{
    EXPECT_EQ(CreateOverIp("array 1", "abcd", "no address"), -1);
    EXPECT_EQ(platform.logs.size(), 1U);
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheIpFormRefusesANameThatExists)
{
    Register("array1", {"10.0.0.9"}).SetLinkType(StorageLinkType::kFibreChannel);
    EXPECT_EQ(CreateOverIp("array1", "other", "10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "name exist.")));
    ASSERT_THAT(Names(), ElementsAre("array1"));
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetUser(), "admin");
    EXPECT_THAT(IpsOf("array1"), ElementsAre("10.0.0.9"));
}

TEST_F(ZefStorageCreationTest, ParametersAreCheckedBeforeTheNameIsLookedFor)
{
    Register("array1");
    EXPECT_EQ(CreateOverIp("array1", "abcd", ""), -1);
    EXPECT_EQ(CreateOfType("array1", "abcd", 1), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid."),
                                       Refusal("CreateStorage", "params is invalid.")));
}

TEST_F(ZefStorageCreationTest, TheNameIsLookedForBeforeTheAddressesAreRead)
{
    Register("array1");
    EXPECT_EQ(CreateOverIp("array1", "admin", "no address"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "name exist.")));
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefStorageCreationTest, NamesThatDifferInLetterCaseAreDifferent)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1"), 0);
    EXPECT_EQ(CreateOverIp("Array1", "admin", "10.0.0.1"), 0);
    EXPECT_THAT(Names(), ElementsAre("array1", "Array1"));
}

TEST_F(ZefStorageCreationTest, AnEmptyAddressListIsReportedAndAccepted)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", ""), 0);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip list is empty.")));
    ASSERT_THAT(Names(), ElementsAre("array1"));
    EXPECT_THAT(IpsOf("array1"), IsEmpty());
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetLinkType(), StorageLinkType::kIp);
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetUser(), "admin");
}

TEST_F(ZefStorageCreationTest, ARepeatedAddressCountsOnce)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1;10.0.0.1;10.0.0.2"), 0);
    EXPECT_THAT(IpsOf("array1"), ElementsAre("10.0.0.1", "10.0.0.2"));
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::IsIpV4Valid(10.0.0.1)", "IpUtil::IsIpV4Valid(10.0.0.2)"));
}

TEST_F(ZefStorageCreationTest, AnEmptyPieceIsAnInvalidAddress)
{
    for (const char *const ips : {"10.0.0.1;;10.0.0.2", ";10.0.0.1", ";"}) {
        platform.logs.clear();
        platform.jiffies += 20000;
        EXPECT_EQ(CreateOverIp("array1", "admin", ips), -1) << ips;
        EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip () is invalid."))) << ips;
        EXPECT_THAT(Names(), IsEmpty()) << ips;
    }
}

TEST_F(ZefStorageCreationTest, ASeparatorAtTheEndYieldsNoPiece)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1;10.0.0.2;"), 0);
    EXPECT_THAT(IpsOf("array1"), ElementsAre("10.0.0.1", "10.0.0.2"));
}

TEST_F(ZefStorageCreationTest, OnlyOneSeparatorAtTheEndIsForgiven)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1;;"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip () is invalid.")));
}

TEST_F(ZefStorageCreationTest, AnInvalidAddressRefusesTheCreation)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1;10.0.0.300"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip (10.0.0.300) is invalid.")));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, AnAddressOfAnotherStorageObjectIsAccepted)
{
    EXPECT_EQ(CreateOverIp("array1", "admin", "10.0.0.1"), 0);
    EXPECT_EQ(CreateOverIp("array2", "admin", "10.0.0.1"), 0);
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array2", "10.0.0.2"), 0);
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array1", "10.0.0.2"), 0);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(IpsOf("array1"), ElementsAre("10.0.0.1", "10.0.0.2"));
    EXPECT_THAT(IpsOf("array2"), ElementsAre("10.0.0.1", "10.0.0.2"));
}

TEST_F(ZefStorageCreationTest, NoLimitIsAppliedToAddressesAndStorageObjects)
{
    std::string ips;
    for (int i = 0; i < 40; ++i) {
        ips += "10.0.0." + std::to_string(i) + ";";
    }
    EXPECT_EQ(CreateOverIp("array1", "admin", ips), 0);
    EXPECT_EQ(CreateOverIp("array2", "admin", "10.0.0.1"), 0);
    EXPECT_EQ(IpsOf("array1").size(), 40U);
    EXPECT_EQ(Names().size(), 2U);
}

TEST_F(ZefStorageCreationTest, TheBoundariesOfNamesHoldForCreation)
{
    EXPECT_EQ(CreateOverIp(std::string(127, 'n'), std::string(32, 'u'), "10.0.0.1"), 0);
    EXPECT_EQ(CreateOfType("a", "admin", 1), 0);
    EXPECT_EQ(CreateOverIp(std::string(128, 'n'), "admin", "10.0.0.1"), -1);
    EXPECT_EQ(CreateOfType("b", std::string(33, 'u'), 1), -1);
    EXPECT_EQ(CreateOfType(std::string("b\0c", 3), "admin", 1), -1);
    EXPECT_THAT(Names(), ElementsAre(std::string(127, 'n'), "a"));
}

TEST_F(ZefStorageCreationTest, CreationTakesTextsOfTheListThatGrows)
{
    Register("array1", {"10.0.0.1"});
    ZefStorageManager::GetStorageAll().shrink_to_fit();
    const ZefStorage &old = ZefStorageManager::GetStorageAll().front();
    const std::string &ips = *old.GetIpList().begin();
    EXPECT_EQ(ZefStorageManager::CreateStorage("array2", old.GetUser(), old.GetPassword(), ips), 0);
    EXPECT_EQ(ZefStorageManager::GetByName("array2").GetPassword(), "sealed:secret");
    EXPECT_THAT(IpsOf("array2"), ElementsAre("10.0.0.1"));
}

// Link-type form

TEST_F(ZefStorageCreationTest, TheLinkTypeFormCreatesAFibreChannelRecordWithoutAddresses)
{
    Register("array0");
    EXPECT_EQ(ZefStorageManager::CreateStorage("array1", "admin", "cipher text", StorageLinkType::kFibreChannel), 0);
    ASSERT_THAT(Names(), ElementsAre("array0", "array1"));
    const ZefStorage &storage = ZefStorageManager::GetStorageAll().back();
    EXPECT_EQ(storage.GetUser(), "admin");
    EXPECT_EQ(storage.GetPassword(), "cipher text");
    EXPECT_EQ(static_cast<uint32_t>(storage.GetLinkType()), 1U);
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
    ExpectUnconnected(storage);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheLinkTypeFormKeepsTheTypeThatIsGiven)
{
    EXPECT_EQ(CreateOfType("array0", "admin", 0), 0);
    EXPECT_EQ(CreateOfType("array7", "admin", 0x80000007), 0);
    EXPECT_EQ(static_cast<uint32_t>(ZefStorageManager::GetByName("array0").GetLinkType()), 0U);
    EXPECT_EQ(static_cast<uint32_t>(ZefStorageManager::GetByName("array7").GetLinkType()), 0x80000007U);
}

TEST_F(ZefStorageCreationTest, TheLinkTypeFormRefusesAnInvalidUser)
{
    EXPECT_EQ(CreateOfType("array1", "abcd", 1), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheLinkTypeFormRefusesAnInvalidName)
{
    EXPECT_EQ(CreateOfType("array;1", "admin", 1), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, TheLinkTypeFormRefusesANameThatExists)
{
    Register("array1", {"10.0.0.9"});
    EXPECT_EQ(CreateOfType("array1", "other", 1), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "name exist.")));
    ASSERT_THAT(Names(), ElementsAre("array1"));
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetLinkType(), StorageLinkType::kIp);
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetUser(), "admin");
}

// Addition by record

TEST_F(ZefStorageCreationTest, AdditionUnitesWithTheRecordsAddresses)
{
    ZefStorage &storage = Register("array1", {"10.0.0.5"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.9;10.0.0.1"), 0);
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1", "10.0.0.5", "10.0.0.9"));
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(ZefStorageCreationTest, AnAddressThatIsThereRefusesTheWholeAddition)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.7;10.0.0.1;10.0.0.8"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip 10.0.0.1 exist.")));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
}

TEST_F(ZefStorageCreationTest, TheFirstAddressInInputOrderThatIsThereIsReported)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.2;10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip 10.0.0.2 exist.")));
}

TEST_F(ZefStorageCreationTest, WhatIsThereIsFoundBeforeAnyAddressIsChecked)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.300;10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip 10.0.0.1 exist.")));
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefStorageCreationTest, AddressesAreComparedByteByByte)
{
    platform.onIsIpV4Valid = [](const std::string &) { return true; };
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "010.0.0.1"), 0);
    EXPECT_THAT(storage.GetIpList(), ElementsAre("010.0.0.1", "10.0.0.1"));
}

TEST_F(ZefStorageCreationTest, AddressesAreCheckedInAscendingOrderUpToTheFirstInvalidOne)
{
    ZefStorage &storage = Register("array1");
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "z;b;10.0.0.1;a"), -1);
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::IsIpV4Valid(10.0.0.1)", "IpUtil::IsIpV4Valid(a)"));
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip (a) is invalid.")));
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, PiecesAreTakenAsTheyStand)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, " 10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip ( 10.0.0.1) is invalid.")));
}

TEST_F(ZefStorageCreationTest, ThePlatformDecidesWhatAnAddressIs)
{
    platform.onIsIpV4Valid = [](const std::string &ip) { return ip == "not an address"; };
    ZefStorage &storage = Register("array1");
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "not an address"), 0);
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.1"), -1);
    EXPECT_THAT(storage.GetIpList(), ElementsAre("not an address"));
}

TEST_F(ZefStorageCreationTest, ThePlatformSeesZeroBytesInAddresses)
{
    const std::string ip("10.0.0.1\0;", 9);
    platform.onIsIpV4Valid = [](const std::string &text) { return text.find('\0') == std::string::npos; };
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, ip), -1);
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::IsIpV4Valid(" + ip + ")"));
}

TEST_F(ZefStorageCreationTest, AnEmptyAdditionIsReportedAndChangesNothing)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, ""), 0);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip list is empty.")));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefStorageCreationTest, AdditionByRecordDoesNotNeedARegisteredOne)
{
    ZefStorage storage;
    EXPECT_EQ(ZefStorageManager::AddStorageIps(storage, "10.0.0.1"), 0);
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
    EXPECT_THAT(Names(), IsEmpty());
}

// Addition by name

TEST_F(ZefStorageCreationTest, AdditionByNameChangesTheFirstRecordOfThatName)
{
    Register("array0");
    Register("array1", {"10.0.0.1"});
    Register("array1");
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array1", "10.0.0.2"), 0);
    EXPECT_THAT(ZefStorageManager::GetStorageAll()[0].GetIpList(), IsEmpty());
    EXPECT_THAT(ZefStorageManager::GetStorageAll()[1].GetIpList(), ElementsAre("10.0.0.1", "10.0.0.2"));
    EXPECT_THAT(ZefStorageManager::GetStorageAll()[2].GetIpList(), IsEmpty());
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(ZefStorageCreationTest, AdditionByNamePassesOnTheRefusal)
{
    Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array1", "10.0.0.1"), -1);
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array1", "10.0.0"), -1);
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array1", ""), 0);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip 10.0.0.1 exist."),
                                       Refusal("AddStorageIps", "ip (10.0.0) is invalid."),
                                       Refusal("AddStorageIps", "ip list is empty.")));
}

TEST_F(ZefStorageCreationTest, AdditionByAnUnknownNameIsAnInvalidParameter)
{
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array2", "10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "params is invalid.")));
    EXPECT_THAT(IpsOf("array2"), IsEmpty());
}

TEST_F(ZefStorageCreationTest, AdditionByAnInvalidNameIsRefusedThoughItIsRegistered)
{
    Register("array 1");
    EXPECT_EQ(ZefStorageManager::AddStorageIps("array 1", "10.0.0.1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "params is invalid.")));
    EXPECT_THAT(IpsOf("array 1"), IsEmpty());
}

// Exceptions

// Runs the operation again and again, each time with one more allocation that succeeds, until it goes through. Whenever
// it throws, the registry has to be as it was.
void ExpectAllOrNothing(const std::function<void()> &operation, const std::function<void()> &expectUnchanged)
{
    constexpr int kEnough = 1000;
    int failures = 0;
    for (bool done = false; !done; ++failures) {
        ASSERT_LT(failures, kEnough);
        FakeSystem::newsUntilFailure = failures;
        try {
            operation();
            done = FakeSystem::newsUntilFailure >= 0;
        } catch (const std::bad_alloc &) {
        }
        FakeSystem::newsUntilFailure = -1;
        if (!done) {
            expectUnchanged();
        }
    }
    EXPECT_GT(failures, 1) << "no allocation of this operation can fail";
}

TEST_F(ZefStorageCreationTest, AListThatCannotGrowKeepsItsContents)
{
    Register("array0", {"10.0.0.9"});
    ZefStorageManager::GetStorageAll().shrink_to_fit();
    const std::string name(60, 'n');  // fits no small buffer of a string
    ExpectAllOrNothing(
        [&name] {
            (void)ZefStorageManager::CreateStorage(name, "administrator", "sealed:secret", "10.0.0.1;10.0.0.2");
        },
        [] {
            EXPECT_THAT(Names(), ElementsAre("array0"));
            EXPECT_THAT(IpsOf("array0"), ElementsAre("10.0.0.9"));
        });
    EXPECT_THAT(Names(), ElementsAre("array0", name));
}

TEST_F(ZefStorageCreationTest, AddressesAreAddedAllOrNoneWhenMemoryRunsOut)
{
    Register("array0", {"10.0.0.9"});
    ExpectAllOrNothing([] { (void)ZefStorageManager::AddStorageIps("array0", "10.0.0.1;10.0.0.2;10.0.0.3"); },
                       [] { EXPECT_THAT(IpsOf("array0"), ElementsAre("10.0.0.9")); });
    EXPECT_THAT(IpsOf("array0"), ElementsAre("10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.9"));
}

TEST_F(ZefStorageCreationTest, PairsAreReplacedAllOrNoneWhenMemoryRunsOut)
{
    ZefStorage storage;
    const std::vector<IpPair> before = {{"10.0.1.1", "10.0.0.1"}, {"10.0.1.2", "10.0.0.1"}};
    const std::vector<IpPair> after = {{"10.0.1.3", "10.0.0.1"}, {std::string(60, 'x'), "10.0.0.1"}};
    storage.SetIpParis(before);
    ExpectAllOrNothing([&] { storage.SetIpParis(after); }, [&] { EXPECT_EQ(storage.GetIpParis(), before); });
    EXPECT_EQ(storage.GetIpParis(), after);
}

TEST_F(ZefStorageCreationTest, ALackOfMemoryIsNoRefusal)
{
    system.regcompResult = REG_ESPACE;
    EXPECT_THROW((void)CreateOverIp("array1", "admin", "10.0.0.1"), std::bad_alloc);
    EXPECT_THAT(platform.ProtocolTexts(), IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZefStorageCreationTest, AnExceptionOfThePlatformLeavesTheRegistryAsItWas)
{
    platform.onIsIpV4Valid = [](const std::string &) -> bool { throw std::runtime_error("platform"); };
    Register("array0");
    EXPECT_THROW((void)CreateOverIp("array1", "admin", "10.0.0.1"), std::runtime_error);
    EXPECT_THROW((void)ZefStorageManager::AddStorageIps("array0", "10.0.0.1"), std::runtime_error);
    EXPECT_THAT(Names(), ElementsAre("array0"));
    EXPECT_THAT(IpsOf("array0"), IsEmpty());
}

// Printing of refusals

struct Refuser {
    std::function<int()> refuse;
    std::string function;
    std::string message;
};

class ZefStorageRefusalTest : public StorageTest {
protected:
    ZefStorageRefusalTest() { Register("array1", {"10.0.0.1"}); }

    // Lets every place report what it suppressed, so that no later case finds that report among its messages.
    ~ZefStorageRefusalTest() override
    {
        g_infra_log_lvl = 5;
        platform.jiffies += 200000;
        for (const Refuser &refuser : refusers) {
            (void)refuser.refuse();
        }
    }

    // One for every place that refuses.
    const std::vector<Refuser> refusers = {
        {[] { return ZefStorageManager::CreateStorage("", "admin", "", "10.0.0.1"); }, "CreateStorage",
         "params is invalid."},
        {[] { return ZefStorageManager::CreateStorage("array1", "admin", "", "10.0.0.1"); }, "CreateStorage",
         "name exist."},
        {[] { return ZefStorageManager::CreateStorage("", "admin", "", StorageLinkType::kIp); }, "CreateStorage",
         "params is invalid."},
        {[] { return ZefStorageManager::CreateStorage("array1", "admin", "", StorageLinkType::kIp); }, "CreateStorage",
         "name exist."},
        {[] { return ZefStorageManager::AddStorageIps("array1", "10.0.0.1"); }, "AddStorageIps", "ip 10.0.0.1 exist."},
        {[] { return ZefStorageManager::AddStorageIps("array1", "") - 1; }, "AddStorageIps", "ip list is empty."},
        {[] { return ZefStorageManager::AddStorageIps("array1", "x"); }, "AddStorageIps", "ip (x) is invalid."},
        {[] { return ZefStorageManager::AddStorageIps("array2", "10.0.0.1"); }, "AddStorageIps", "params is invalid."},
        {[] { return ZefStorageManager::DeleteStorage(""); }, "DeleteStorage", "name is invalid."},
        {[] { return ZefStorageManager::UpdateStorageUser("array1", "abcd", ""); }, "UpdateStorageUser",
         "params is invalid."},
        {[] { return ZefStorageManager::UpdateStorageUser("array2", "admin", ""); }, "UpdateStorageUser",
         "name array2 not exist."},
    };
};

TEST_F(ZefStorageRefusalTest, EveryPlaceThatRefusesPrintsThreeMessagesOfABurstWhateverTheOthersPrinted)
{
    std::vector<std::string> expected;
    for (const Refuser &refuser : refusers) {
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(refuser.refuse(), -1) << "a suppressed message changes no result";
        }
        expected.insert(expected.end(), 3, Refusal(refuser.function, refuser.message));
    }
    EXPECT_EQ(Refused(), expected);
}

TEST_F(ZefStorageRefusalTest, EveryPlaceReportsWhatItSuppressedInFrontOfItsNextBurst)
{
    for (const Refuser &refuser : refusers) {
        for (int i = 0; i < 5; ++i) {
            (void)refuser.refuse();
        }
        platform.jiffies += 150000;
        platform.logs.clear();
        (void)refuser.refuse();
        ASSERT_EQ(platform.logs.size(), 2U) << refuser.message;
        const std::string line = std::to_string(platform.logs[1].line);
        EXPECT_EQ(platform.logs[0].text, "print: 2 messages suppressed." + refuser.function + ",line=" + line + ".");
        EXPECT_EQ(platform.logs[0].module, 666);
        EXPECT_EQ(platform.logs[0].level, 3);
        EXPECT_EQ(platform.logs[0].function, refuser.function);
        EXPECT_EQ(platform.logs[0].line, platform.logs[1].line);
        EXPECT_EQ(platform.logs[1].text, "PROTOCOL: zef storage manager " + refuser.message + "\n");
    }
}

TEST_F(ZefStorageRefusalTest, RefusalsAreWrittenAtTheLevelThatErrorsAreMappedTo)
{
    platform.mapLevel = [](int level) { return level == 3 ? 1 : 99; };
    for (const Refuser &refuser : refusers) {
        EXPECT_EQ(refuser.refuse(), -1);
        ASSERT_FALSE(platform.logs.empty()) << refuser.message;
        EXPECT_EQ(platform.logs.back().level, 1) << refuser.message;
        EXPECT_EQ(platform.logs.back().module, 666) << refuser.message;
    }
    EXPECT_THAT(platform.logs, SizeIs(refusers.size()));
}

TEST_F(ZefStorageRefusalTest, ARefusalBeyondTheThresholdIsNotPrintedAndHappensAllTheSame)
{
    g_infra_log_lvl = 2;
    for (const Refuser &refuser : refusers) {
        EXPECT_EQ(refuser.refuse(), -1);
    }
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(Names(), ElementsAre("array1"));
}

}  // namespace
