// Lookups, validation, deletion and user update; creation and address addition are in ZefStorageCreationTest.cpp.
#include "mgmt/config/storage/StorageTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const IpPair kFirst("1.1.1.1", "10.0.0.1");
const IpPair kSecond("1.1.1.2", "10.0.0.1");
const IpPair kOther("1.1.1.1", "10.0.0.2");

class ZefStorageManagerTest : public StorageTest {
protected:
    static std::string WithZeroByte(const std::string &before, const std::string &after)
    {
        return before + std::string(1, '\0') + after;
    }

    // The shared record for unknown names, unchanged.
    static void ExpectEmptyRecord(const ZefStorage &storage)
    {
        EXPECT_EQ(storage.GetName(), "");
        EXPECT_EQ(storage.GetUser(), "");
        EXPECT_EQ(storage.GetPassword(), "");
        EXPECT_EQ(storage.GetWwn(), kNoWwn);
        EXPECT_EQ(storage.GetLinkState(), 0xFFFFFFFFU);
        EXPECT_EQ(storage.GetLinkType(), StorageLinkType::kIp);
        EXPECT_THAT(storage.GetIpList(), IsEmpty());
        EXPECT_THAT(storage.GetIpParis(), IsEmpty());
        EXPECT_THAT(storage.GetUnConnIpParis(), IsEmpty());
    }

    void ExpectSilence() const
    {
        EXPECT_THAT(platform.logs, IsEmpty());
        EXPECT_THAT(platform.calls, IsEmpty());
        EXPECT_EQ(Queued(), 0U);
    }
};

// Lookups

TEST_F(ZefStorageManagerTest, GetStorageAllIsTheListItself)
{
    EXPECT_THAT(ZefStorageManager::GetStorageAll(), IsEmpty());
    Register("array1");
    EXPECT_EQ(&ZefStorageManager::GetStorageAll(), &ZefStorageManager::GetStorageAll());
    EXPECT_EQ(&ZefStorageManager::GetByName("array1"), &ZefStorageManager::GetStorageAll()[0]);
}

TEST_F(ZefStorageManagerTest, StorageExistFindsEveryRecordAndNoOther)
{
    Register("array1");
    Register("array2");
    EXPECT_TRUE(ZefStorageManager::StorageExist("array1"));
    EXPECT_TRUE(ZefStorageManager::StorageExist("array2"));
    EXPECT_FALSE(ZefStorageManager::StorageExist("array3"));
    EXPECT_FALSE(ZefStorageManager::StorageExist(""));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, NamesCompareCaseSensitively)
{
    Register("Array1");
    EXPECT_FALSE(ZefStorageManager::StorageExist("array1"));
    ExpectEmptyRecord(ZefStorageManager::GetByName("array1"));
}

TEST_F(ZefStorageManagerTest, NamesCompareAsWholeStrings)
{
    Register("array1");
    for (const std::string &name : {std::string("array"), std::string("array11"), std::string(" array1"),
                                    std::string("array1 "), WithZeroByte("array1", ""), WithZeroByte("array1", "x")}) {
        EXPECT_FALSE(ZefStorageManager::StorageExist(name)) << name;
        EXPECT_EQ(ZefStorageManager::GetByName(name).GetName(), "") << name;
    }
}

TEST_F(ZefStorageManagerTest, GetByNameGivesTheFirstRecordOfThatName)
{
    Register("other");
    Register("array1").SetWwn(1);
    Register("array1").SetWwn(2);
    EXPECT_EQ(&ZefStorageManager::GetByName("array1"), &ZefStorageManager::GetStorageAll()[1]);
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetWwn(), 1U);
}

TEST_F(ZefStorageManagerTest, GetByNameOfAnAbsentNameGivesTheEmptyRecord)
{
    Register("array1", {"10.0.0.1"}, {kFirst}).SetWwn(7);
    ExpectEmptyRecord(ZefStorageManager::GetByName("array2"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, TheEmptyRecordIsOneAndTheSame)
{
    EXPECT_EQ(&ZefStorageManager::GetByName("array1"), &ZefStorageManager::GetByName("array2"));
}

TEST_F(ZefStorageManagerTest, GetStorageIsGetByName)
{
    Register("array1");
    Register("array1");
    EXPECT_EQ(&ZefStorageManager::GetStorage("array1"), &ZefStorageManager::GetStorageAll()[0]);
    EXPECT_EQ(&ZefStorageManager::GetStorage("array2"), &ZefStorageManager::GetByName("array2"));
}

// Validation

TEST_F(ZefStorageManagerTest, IsValidWantsTheMatchToBeginAtTheTextsBegin)
{
    EXPECT_TRUE(ZefStorageManager::IsValid("ab", "ab"));
    EXPECT_FALSE(ZefStorageManager::IsValid("xab", "ab"));
}

TEST_F(ZefStorageManagerTest, IsValidWantsTheMatchToEndAtTheTextsEnd)
{
    EXPECT_FALSE(ZefStorageManager::IsValid("abx", "ab"));
    EXPECT_FALSE(ZefStorageManager::IsValid("ab\n", "ab"));
}

TEST_F(ZefStorageManagerTest, IsValidTakesTheLongestMatch)
{
    EXPECT_TRUE(ZefStorageManager::IsValid("ab", "a|ab"));
}

TEST_F(ZefStorageManagerTest, IsValidLooksAtTheFirstMatchOnly)
{
    EXPECT_FALSE(ZefStorageManager::IsValid("a ab", "ab?"));
}

TEST_F(ZefStorageManagerTest, IsValidUsesExtendedExpressions)
{
    EXPECT_TRUE(ZefStorageManager::IsValid("aab", "(a|c){2}b+"));
    EXPECT_FALSE(ZefStorageManager::IsValid("a{2}", "a{2}"));
}

TEST_F(ZefStorageManagerTest, IsValidTellsLetterCasesApart)
{
    EXPECT_FALSE(ZefStorageManager::IsValid("AB", "ab"));
}

TEST_F(ZefStorageManagerTest, IsValidTreatsALineFeedAsAnyOtherCharacter)
{
    EXPECT_TRUE(ZefStorageManager::IsValid("a\nb", "a.b"));
    EXPECT_TRUE(ZefStorageManager::IsValid("a\nb", "a[^x]b"));
    EXPECT_FALSE(ZefStorageManager::IsValid("a\nb", "a$"));
}

TEST_F(ZefStorageManagerTest, IsValidOfAnEmptyTextIsUpToThePattern)
{
    EXPECT_TRUE(ZefStorageManager::IsValid("", "a*"));
    EXPECT_FALSE(ZefStorageManager::IsValid("", "a+"));
}

TEST_F(ZefStorageManagerTest, IsValidRefusesATextWithAZeroByte)
{
    EXPECT_FALSE(ZefStorageManager::IsValid(WithZeroByte("ab", ""), "ab"));
    EXPECT_FALSE(ZefStorageManager::IsValid(WithZeroByte("ab", "ab"), "[ab]*"));
    EXPECT_FALSE(ZefStorageManager::IsValid(WithZeroByte("", "ab"), ".*"));
}

TEST_F(ZefStorageManagerTest, IsValidOfAPatternThatDoesNotCompileIsFalse)
{
    EXPECT_FALSE(ZefStorageManager::IsValid("a", "[a"));
}

TEST_F(ZefStorageManagerTest, UserNamesHaveFiveToThirtyTwoCharacters)
{
    EXPECT_FALSE(ZefStorageManager::IsValidUserName(""));
    EXPECT_FALSE(ZefStorageManager::IsValidUserName("abcd"));
    EXPECT_TRUE(ZefStorageManager::IsValidUserName("admin"));
    EXPECT_TRUE(ZefStorageManager::IsValidUserName(std::string(32, 'a')));
    EXPECT_FALSE(ZefStorageManager::IsValidUserName(std::string(33, 'a')));
    EXPECT_FALSE(ZefStorageManager::IsValidUserName(std::string(64, 'a')));
}

TEST_F(ZefStorageManagerTest, UserNamesBeginWithALetter)
{
    EXPECT_FALSE(ZefStorageManager::IsValidUserName("1admin"));
    EXPECT_FALSE(ZefStorageManager::IsValidUserName("_admin"));
    for (const char letter : {'a', 'z', 'A', 'Z'}) {
        EXPECT_TRUE(ZefStorageManager::IsValidUserName(letter + std::string("1234"))) << letter;
    }
}

// Whether a name that holds each of these characters in its middle is valid.
void ExpectAdmitted(bool (*isValid)(const std::string &), const std::string &admitted)
{
    for (int code = 1; code < 256; ++code) {
        const char character = static_cast<char>(code);
        const bool expected = admitted.find(character) != std::string::npos;
        EXPECT_EQ(isValid("adm" + std::string(1, character) + "in"), expected) << "character " << code;
    }
}

const std::string kLettersAndDigits = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

TEST_F(ZefStorageManagerTest, UserNamesHaveLettersDigitsAndUnderscores)
{
    EXPECT_FALSE(ZefStorageManager::IsValidUserName("ad-min"));
    ExpectAdmitted(ZefStorageManager::IsValidUserName, kLettersAndDigits + "_");
}

TEST_F(ZefStorageManagerTest, AUserNameWithAZeroByteIsInvalid)
{
    EXPECT_FALSE(ZefStorageManager::IsValidUserName(WithZeroByte("admin", "")));
    EXPECT_FALSE(ZefStorageManager::IsValidUserName(WithZeroByte("admin", "admin")));
}

TEST_F(ZefStorageManagerTest, StorageNamesHaveOneToOneHundredTwentySevenCharacters)
{
    EXPECT_FALSE(ZefStorageManager::IsValidStorageName(""));
    EXPECT_TRUE(ZefStorageManager::IsValidStorageName("a"));
    EXPECT_TRUE(ZefStorageManager::IsValidStorageName(std::string(127, 'a')));
    EXPECT_FALSE(ZefStorageManager::IsValidStorageName(std::string(128, 'a')));
    EXPECT_FALSE(ZefStorageManager::IsValidStorageName(std::string(254, 'a')));
}

TEST_F(ZefStorageManagerTest, StorageNamesMayBeginWithAnyOfTheirCharacters)
{
    EXPECT_TRUE(ZefStorageManager::IsValidStorageName("pool/array.01-x_y"));
    for (const char *const name : {"-", "/", ".", "_", "0", "..", "/a"}) {
        EXPECT_TRUE(ZefStorageManager::IsValidStorageName(name)) << name;
    }
}

TEST_F(ZefStorageManagerTest, StorageNamesHaveLettersDigitsAndFourMarks)
{
    for (const char *const name : {"array 1", " ", "a:b", "a;b", "array1\n"}) {
        EXPECT_FALSE(ZefStorageManager::IsValidStorageName(name)) << name;
    }
    ExpectAdmitted(ZefStorageManager::IsValidStorageName, kLettersAndDigits + "_/.-");
}

TEST_F(ZefStorageManagerTest, AStorageNameWithAZeroByteIsInvalid)
{
    EXPECT_FALSE(ZefStorageManager::IsValidStorageName(WithZeroByte("array1", "")));
    EXPECT_FALSE(ZefStorageManager::IsValidStorageName(WithZeroByte("", "array1")));
}

TEST_F(ZefStorageManagerTest, LookupsAndValidatorsLogNothing)
{
    (void)ZefStorageManager::GetStorage("array1");
    (void)ZefStorageManager::IsValidUserName("x");
    (void)ZefStorageManager::IsValidStorageName("");
    (void)ZefStorageManager::IsValid("x", "y");
    ExpectSilence();
}

// DeleteStorage

TEST_F(ZefStorageManagerTest, DeleteStorageRemovesTheRecordAndKeepsTheOrderOfTheOthers)
{
    for (const char *const name : {"a", "b", "c", "d"}) {
        Register(name);
    }
    EXPECT_EQ(ZefStorageManager::DeleteStorage("b"), 0);
    EXPECT_THAT(Names(), ElementsAre("a", "c", "d"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageRemovesEveryRecordOfThatName)
{
    for (const char *const name : {"b", "a", "b", "B", "b"}) {
        Register(name);
    }
    EXPECT_EQ(ZefStorageManager::DeleteStorage("b"), 0);
    EXPECT_THAT(Names(), ElementsAre("a", "B"));
}

TEST_F(ZefStorageManagerTest, DeleteStorageOfAnAbsentNameIsNoError)
{
    Register("array1");
    EXPECT_EQ(ZefStorageManager::DeleteStorage("array2"), 0);
    EXPECT_THAT(Names(), ElementsAre("array1"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageRefusesTheEmptyName)
{
    Register("");
    EXPECT_EQ(ZefStorageManager::DeleteStorage(""), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("DeleteStorage", "name is invalid.")));
    EXPECT_EQ(Names().size(), 1U);
}

TEST_F(ZefStorageManagerTest, DeleteStorageRefusesANameWithABlank)
{
    Register("array 1");
    EXPECT_EQ(ZefStorageManager::DeleteStorage("array 1"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("DeleteStorage", "name is invalid.")));
    EXPECT_EQ(Names().size(), 1U);
}

TEST_F(ZefStorageManagerTest, DeleteStorageTakesTheNameOfTheRecordThatGoes)
{
    Register("b");
    Register("a");
    Register("b");
    EXPECT_EQ(ZefStorageManager::DeleteStorage(ZefStorageManager::GetStorageAll()[0].GetName()), 0);
    EXPECT_THAT(Names(), ElementsAre("a"));
}

TEST_F(ZefStorageManagerTest, DeleteStorageEndsNoLinkAndCancelsNoTask)
{
    Register("array1", {"10.0.0.1"}, {kFirst});
    (void)platform.Pool().commit(5, "pending", [] {});
    EXPECT_EQ(ZefStorageManager::DeleteStorage("array1"), 0);
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("pending"));
}

// DeleteStorageIps

TEST_F(ZefStorageManagerTest, DeleteStorageIpsRemovesAddressesAndLeavesPairs)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2"}, {kFirst});
    storage.AddUnConnIpParis(kFirst);
    ZefStorageManager::DeleteStorageIps("array1", "10.0.0.1");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.2"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpsSkipsWhatIsAbsent)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2", "10.0.0.3"});
    ZefStorageManager::DeleteStorageIps("array1", ";10.0.0.9;10.0.0.3;;no address;10.0.0.1;");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.2"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpsDoesNotTrim)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"});
    ZefStorageManager::DeleteStorageIps("array1", " 10.0.0.1;10.0.0.1 ;10.0.0.1,");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpsOfNoAddressChangesNothing)
{
    ZefStorage &storage = Register("array1", {"", "10.0.0.1"});
    ZefStorageManager::DeleteStorageIps("array1", "");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("", "10.0.0.1"));
    ZefStorageManager::DeleteStorageIps("array1", ";");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpsActsOnTheFirstRecordOfAnyName)
{
    Register("array 1", {"10.0.0.1"});
    Register("array 1", {"10.0.0.1"});
    ZefStorageManager::DeleteStorageIps("array 1", "10.0.0.1");
    EXPECT_THAT(ZefStorageManager::GetStorageAll()[0].GetIpList(), IsEmpty());
    EXPECT_THAT(ZefStorageManager::GetStorageAll()[1].GetIpList(), ElementsAre("10.0.0.1"));
    ExpectSilence();
}

// DeleteStorageIpPairs

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairsRemovesBothKindsOfPairsAndLeavesTheAddresses)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2"}, {kFirst, kOther, kSecond});
    for (const IpPair &pair : {kSecond, kOther, kFirst}) {
        storage.AddUnConnIpParis(pair);
    }
    ZefStorageManager::DeleteStorageIpPairs("array1", "10.0.0.1");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kOther));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kOther));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1", "10.0.0.2"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairsTakesSeveralAddresses)
{
    const IpPair kept("1.1.1.1", "10.0.0.3");
    ZefStorage &storage = Register("array1", {}, {kFirst, kOther, kept});
    ZefStorageManager::DeleteStorageIpPairs("array1", ";10.0.0.2;10.0.0.9;10.0.0.1;");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kept));
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairsDoesNotLookAtLocalAddresses)
{
    ZefStorage &storage = Register("array1", {}, {kFirst});
    ZefStorageManager::DeleteStorageIpPairs("array1", "1.1.1.1");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
}

// DeleteStorageIpPair

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairTakesTheAddressWithItsLastConnectedPair)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2"}, {kFirst, kSecond, kOther});
    ZefStorageManager::DeleteStorageIpPair("array1", "1.1.1.1:10.0.0.1");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kSecond, kOther));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1", "10.0.0.2"));

    ZefStorageManager::DeleteStorageIpPair("array1", "1.1.1.2:10.0.0.1");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kOther));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.2"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairRemovesEqualPairsTogether)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst, kFirst});
    ZefStorageManager::DeleteStorageIpPair("array1", "1.1.1.1:10.0.0.1");
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairTakesTheAddressThoughUnconnectedPairsRemain)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst});
    storage.AddUnConnIpParis(kFirst);
    storage.AddUnConnIpParis(kSecond);
    ZefStorageManager::DeleteStorageIpPair("array1", "1.1.1.1:10.0.0.1");
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kFirst, kSecond));
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairOfAnAbsentPairStillTakesAnAddressWithoutConnectedPairs)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1", "10.0.0.2"}, {kOther});
    ZefStorageManager::DeleteStorageIpPair("array1", "9.9.9.9:10.0.0.1");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.2"));
    ZefStorageManager::DeleteStorageIpPair("array1", "9.9.9.9:10.0.0.2");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.2"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kOther));
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairIgnoresWhatFollowsASecondColon)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst});
    ZefStorageManager::DeleteStorageIpPair("array1", "1.1.1.1:10.0.0.1:more:10.0.0.2");
    EXPECT_THAT(storage.GetIpParis(), IsEmpty());
    EXPECT_THAT(storage.GetIpList(), IsEmpty());
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairWithoutAColonChangesNothing)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst});
    for (const char *const pair :
         {"", "1.1.1.1", "10.0.0.1", "1.1.1.1;10.0.0.1", "1.1.1.1:", ":", "1.1.1.1::10.0.0.1"}) {
        ZefStorageManager::DeleteStorageIpPair("array1", pair);
        EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst)) << pair;
        EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1")) << pair;
    }
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, DeleteStorageIpPairTakesAnEmptyLocalAddress)
{
    const IpPair pair("", "10.0.0.1");
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {pair, kFirst});
    ZefStorageManager::DeleteStorageIpPair("array1", ":10.0.0.1");
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
}

TEST_F(ZefStorageManagerTest, AddressAndPairDeletionsOfAnUnknownNameChangeNothing)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst});
    ZefStorageManager::DeleteStorageIps("array2", "10.0.0.1");
    ZefStorageManager::DeleteStorageIpPairs("array2", "10.0.0.1");
    ZefStorageManager::DeleteStorageIpPair("array2", "1.1.1.1:10.0.0.1");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kFirst));
    ExpectEmptyRecord(ZefStorageManager::GetByName("array2"));
    ExpectSilence();
}

// Clear

TEST_F(ZefStorageManagerTest, ClearEmptiesTheList)
{
    Register("array1");
    Register("array2");
    ZefStorageManager::Clear();
    EXPECT_THAT(ZefStorageManager::GetStorageAll(), IsEmpty());
    ExpectEmptyRecord(ZefStorageManager::GetByName("array1"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, ClearLeavesTheEmptyRecordAlone)
{
    ZefStorageManager::GetByName("unknown").SetWwn(7);
    ZefStorageManager::Clear();
    EXPECT_EQ(ZefStorageManager::GetByName("unknown").GetWwn(), 7U);
}

// UpdateStorageUser

TEST_F(ZefStorageManagerTest, UpdateStorageUserReplacesUserAndPassword)
{
    ZefStorage &storage = Register("array1", {"10.0.0.1"}, {kFirst});
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array1", "other", "any text: not checked"), 0);
    EXPECT_EQ(storage.GetUser(), "other");
    EXPECT_EQ(storage.GetPassword(), "any text: not checked");
    EXPECT_EQ(storage.GetName(), "array1");
    EXPECT_THAT(storage.GetIpList(), ElementsAre("10.0.0.1"));
    ExpectSilence();
}

TEST_F(ZefStorageManagerTest, UpdateStorageUserTakesAnEmptyPassword)
{
    ZefStorage &storage = Register("array1");
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array1", "admin", ""), 0);
    EXPECT_EQ(storage.GetPassword(), "");
}

TEST_F(ZefStorageManagerTest, UpdateStorageUserChangesTheFirstRecordOfThatNameAlone)
{
    Register("array2");
    Register("array1");
    Register("array1");
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array1", "other", "sealed"), 0);
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[0].GetUser(), "admin");
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[1].GetUser(), "other");
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[2].GetUser(), "admin");
}

TEST_F(ZefStorageManagerTest, UpdateStorageUserOfAnUnknownNameIsRefused)
{
    Register("array1");
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array2", "other", "sealed"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("UpdateStorageUser", "name array2 not exist.")));
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetUser(), "admin");
    ExpectEmptyRecord(ZefStorageManager::GetByName("array2"));
}

TEST_F(ZefStorageManagerTest, UpdateStorageUserChecksTheUserBeforeItLooksForTheName)
{
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array2", "abcd", "sealed"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("UpdateStorageUser", "params is invalid.")));
}

TEST_F(ZefStorageManagerTest, UpdateStorageUserRefusesAnInvalidName)
{
    Register("array 1");
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array 1", "other", "sealed"), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("UpdateStorageUser", "params is invalid.")));
    EXPECT_EQ(ZefStorageManager::GetByName("array 1").GetUser(), "admin");
}

TEST_F(ZefStorageManagerTest, ARefusedUserUpdateLeavesUserAndPassword)
{
    ZefStorage &storage = Register("array1");
    EXPECT_EQ(ZefStorageManager::UpdateStorageUser("array1", "ad-min", "new"), -1);
    EXPECT_EQ(storage.GetUser(), "admin");
    EXPECT_EQ(storage.GetPassword(), "sealed:secret");
}

}  // namespace
