#include "keys/KeyRing.h"

#include "TestFiles.h"
#include "keys/KeyError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

namespace zef {

namespace {

constexpr uint32_t kDomain = 2;
constexpr const char *kPassword = "open sesame";

KeyRing NewRing()
{
    return KeyRing::Create(kDomain, 1000);
}

std::string WhyNotSealed(const std::string &password)
{
    try {
        NewRing().Seal(Secret(password));
    } catch (const KeyError &error) {
        return error.what();
    }
    return "sealed";
}

std::string WhyNotOpened(const KeyRing &ring, const std::string &text, uint32_t domain = kDomain)
{
    try {
        ring.Open(domain, text);
    } catch (const KeyError &error) {
        return error.what();
    }
    return "opened";
}

bool IsTextCharacter(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == ':' || character == '-' ||
           character == '_';
}

}  // namespace

TEST(KeyRingTest, StartsWithOneMasterKeyInGenerationOne)
{
    const KeyRing ring = NewRing();
    EXPECT_EQ(ring.GetHead().domain, kDomain);
    EXPECT_EQ(ring.GetHead().generation, 1u);
    EXPECT_EQ(ring.GetHead().rootCreated, 1000);
    ASSERT_EQ(ring.GetMasterKeys().size(), 1u);
    EXPECT_EQ(ring.GetMasterKeys()[0].created, 1000);
}

TEST(KeyRingTest, OpensWhatItSealed)
{
    const KeyRing ring = NewRing();
    EXPECT_EQ(ring.Open(kDomain, ring.Seal(Secret(kPassword))), kPassword);
}

TEST(KeyRingTest, OpensPasswordsOfEveryLength)
{
    const KeyRing ring = NewRing();
    for (size_t length = 1; length <= KeyRing::kMaxPasswordBytes; ++length) {
        const std::string password(length, 'p');
        ASSERT_EQ(ring.Open(kDomain, ring.Seal(Secret(password))), password) << length;
    }
}

TEST(KeyRingTest, OpensPasswordsOfEveryByteButZero)
{
    std::string password;
    for (int byte = 1; byte < 256; ++byte) {
        password += static_cast<char>(byte);
    }
    const KeyRing ring = NewRing();
    EXPECT_EQ(ring.Open(kDomain, ring.Seal(Secret(password))), password);
}

TEST(KeyRingTest, RefusesToSealAnEmptyPassword)
{
    EXPECT_EQ(WhyNotSealed(""), "the password is empty");
}

TEST(KeyRingTest, RefusesToSealAPasswordThatTheGatewayCannotTake)
{
    EXPECT_EQ(WhyNotSealed(std::string(511, 'p')), "sealed");
    EXPECT_EQ(WhyNotSealed(std::string(512, 'p')), "the password is longer than 511 bytes");
}

TEST(KeyRingTest, RefusesToSealAZeroByte)
{
    EXPECT_EQ(WhyNotSealed(std::string("a\0b", 3)), "the password holds a zero byte");
}

TEST(KeyRingTest, SealsToTextWithoutWhiteSpaceOrMarkup)
{
    const std::string text = NewRing().Seal(Secret(std::string(511, '<')));
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), IsTextCharacter)) << text;
    EXPECT_EQ(text.compare(0, 5, "zef1:"), 0);
}

TEST(KeyRingTest, SealsTheSamePasswordToAnotherTextEachTime)
{
    const KeyRing ring = NewRing();
    EXPECT_NE(ring.Seal(Secret(kPassword)), ring.Seal(Secret(kPassword)));
}

TEST(KeyRingTest, HidesTheLengthOfShortPasswords)
{
    const KeyRing ring = NewRing();
    EXPECT_EQ(ring.Seal(Secret("1")).size(), ring.Seal(Secret(std::string(63, '1'))).size());
}

TEST(KeyRingTest, OpensNoTextWithOneCharacterChanged)
{
    const KeyRing ring = NewRing();
    const std::string text = ring.Seal(Secret(kPassword));
    for (size_t i = 0; i < text.size(); ++i) {
        for (const char other : {'A', 'b', '0', '9', '-', '_', ':', ' ', '=', '\n', '\0'}) {
            std::string changed = text;
            changed[i] = other;
            if (changed != text) {
                ASSERT_NE(WhyNotOpened(ring, changed), "opened") << "position " << i << " character " << other;
            }
        }
    }
}

TEST(KeyRingTest, OpensNoTextThatIsCutOrExtended)
{
    const KeyRing ring = NewRing();
    const std::string text = ring.Seal(Secret(kPassword));
    for (size_t length = 0; length < text.size(); ++length) {
        ASSERT_NE(WhyNotOpened(ring, text.substr(0, length)), "opened") << length;
    }
    EXPECT_NE(WhyNotOpened(ring, text + "A"), "opened");
    EXPECT_NE(WhyNotOpened(ring, text + "AAAA"), "opened");
}

TEST(KeyRingTest, SaysWhenATextWasChanged)
{
    const KeyRing ring = NewRing();
    std::string text = ring.Seal(Secret(kPassword));
    text[60] = text[60] == 'A' ? 'B' : 'A';
    EXPECT_EQ(WhyNotOpened(ring, text), "it was changed after it was sealed, or sealed for another domain");
}

TEST(KeyRingTest, SaysWhenATextWasSealedWithOtherKeys)
{
    EXPECT_EQ(WhyNotOpened(NewRing(), NewRing().Seal(Secret(kPassword))),
              "it was sealed with a key that the key files do not hold");
}

TEST(KeyRingTest, OpensNothingForAnotherDomain)
{
    const KeyRing ring = NewRing();
    EXPECT_EQ(WhyNotOpened(ring, ring.Seal(Secret(kPassword)), 3),
              "domain 3 was asked for, the keys are those of domain 2");
}

TEST(KeyRingTest, BindsAPasswordToItsDomainEvenUnderTheSameKeys)
{
    const KeyRing ring = NewRing();
    KeyRing::Head otherHead = ring.GetHead();
    otherHead.domain = 3;
    const KeyRing other(otherHead, ring.GetMasterKeys(), SecretBuffer(ring.RootKey(), 2 * KeyRing::kKeyBytes));
    EXPECT_EQ(WhyNotOpened(other, ring.Seal(Secret(kPassword)), 3),
              "it was changed after it was sealed, or sealed for another domain");
}

TEST(KeyRingTest, BindsAPasswordToItsKeyIdEvenUnderTheSameKey)
{
    const KeyRing ring = NewRing();
    const KeyRing renamed(ring.GetHead(), {{ring.GetMasterKeys()[0].id + 1, 1000}},
                          SecretBuffer(ring.RootKey(), 2 * KeyRing::kKeyBytes));
    std::string text = ring.Seal(Secret(kPassword));
    const std::string renamedText = renamed.Seal(Secret(kPassword));
    text.replace(0, 22, renamedText, 0, 22);
    EXPECT_EQ(WhyNotOpened(renamed, renamedText), "opened");
    EXPECT_EQ(WhyNotOpened(renamed, text), "it was changed after it was sealed, or sealed for another domain");
}

TEST(KeyRingTest, ARenewedRootKeyKeepsTheMasterKeys)
{
    const KeyRing ring = NewRing();
    const KeyRing renewed = ring.WithNewRootKey(2000);
    EXPECT_FALSE(std::equal(ring.RootKey(), ring.RootKey() + KeyRing::kKeyBytes, renewed.RootKey()));
    EXPECT_EQ(renewed.GetHead().rootCreated, 2000);
    EXPECT_EQ(renewed.GetHead().generation, 2u);
    EXPECT_EQ(renewed.GetMasterKeys().size(), 1u);
    EXPECT_EQ(renewed.GetMasterKeys()[0].created, 1000);
    EXPECT_EQ(renewed.Open(kDomain, ring.Seal(Secret(kPassword))), kPassword);
    EXPECT_EQ(ring.Open(kDomain, renewed.Seal(Secret(kPassword))), kPassword);
}

TEST(KeyRingTest, ANewMasterKeySealsFromThenOn)
{
    const KeyRing ring = NewRing();
    const KeyRing renewed = ring.WithNewMasterKey(2000);
    EXPECT_EQ(renewed.GetHead().generation, 2u);
    EXPECT_EQ(renewed.GetHead().rootCreated, 1000);
    ASSERT_EQ(renewed.GetMasterKeys().size(), 2u);
    EXPECT_EQ(renewed.GetMasterKeys()[1].created, 2000);
    const std::string text = renewed.Seal(Secret(kPassword));
    EXPECT_EQ(renewed.Open(kDomain, text), kPassword);
    EXPECT_EQ(WhyNotOpened(ring, text), "it was sealed with a key that the key files do not hold");
}

TEST(KeyRingTest, OldTextsOpenAfterManyRenewals)
{
    KeyRing ring = NewRing();
    std::vector<std::string> texts;
    for (int i = 0; i < 200; ++i) {
        texts.push_back(ring.Seal(Secret("password " + std::to_string(i))));
        ring = i % 3 == 0 ? ring.WithNewRootKey(2000 + i) : ring.WithNewMasterKey(2000 + i);
    }
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(ring.Open(kDomain, texts[static_cast<size_t>(i)]), "password " + std::to_string(i));
    }
}

TEST(KeyRingTest, RefusesAMasterKeyTooManyInsteadOfDroppingOne)
{
    const KeyRing ring = NewRing();
    std::vector<KeyRing::MasterKey> masters;
    for (uint64_t id = 0; id < KeyRing::kMaxMasterKeys; ++id) {
        masters.push_back({id, 1000});
    }
    const KeyRing full(ring.GetHead(), masters, SecretBuffer((KeyRing::kMaxMasterKeys + 1) * KeyRing::kKeyBytes));
    EXPECT_THROW(full.WithNewMasterKey(2000), KeyError);
    EXPECT_EQ(full.WithNewRootKey(2000).GetMasterKeys().size(), KeyRing::kMaxMasterKeys);
}

TEST(KeyRingTest, CanReplaceItselfAndItsAncestorsOnly)
{
    const KeyRing ring = NewRing();
    const KeyRing later = ring.WithNewRootKey(2000).WithNewMasterKey(2000);
    EXPECT_TRUE(ring.CanReplace(ring));
    EXPECT_TRUE(later.CanReplace(ring));
    EXPECT_FALSE(ring.CanReplace(later));
    EXPECT_FALSE(ring.CanReplace(ring.WithNewRootKey(2000)));
    EXPECT_FALSE(NewRing().CanReplace(ring));
}

TEST(KeyRingTest, CannotReplaceARingOfAnotherStoreOrDomain)
{
    const KeyRing ring = NewRing();
    KeyRing::Head otherStore = ring.GetHead();
    ++otherStore.storeId[0];
    KeyRing::Head otherDomain = ring.GetHead();
    otherDomain.domain = 3;
    for (const KeyRing::Head &head : {otherStore, otherDomain}) {
        const KeyRing other(head, ring.GetMasterKeys(), SecretBuffer(ring.RootKey(), 2 * KeyRing::kKeyBytes));
        EXPECT_FALSE(other.CanReplace(ring));
    }
}

TEST(KeyRingTest, CannotReplaceARingThatHasTakenAnotherCourse)
{
    const KeyRing ring = NewRing();
    const KeyRing oneWay = ring.WithNewMasterKey(2000).WithNewMasterKey(3000);
    const KeyRing otherWay = ring.WithNewMasterKey(2000);
    EXPECT_FALSE(oneWay.CanReplace(otherWay));
    EXPECT_FALSE(otherWay.CanReplace(oneWay));
}

}  // namespace zef
