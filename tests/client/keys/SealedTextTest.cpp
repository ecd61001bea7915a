#include "keys/SealedText.h"

#include "keys/KeyError.h"

#include <gtest/gtest.h>

namespace zef {

namespace {

constexpr const char *kText = "zef1:00000000000000ff:AAEC_f7_";

std::string WhyRefused(const std::string &text)
{
    try {
        SealedText::Parse(text);
    } catch (const KeyError &error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace

TEST(SealedTextTest, WritesKeyIdAndBody)
{
    const SealedText sealed = {255, {0, 1, 2, 0xfd, 0xfe, 0xff}};
    EXPECT_EQ(sealed.ToString(), kText);
}

TEST(SealedTextTest, ReadsWhatItWrites)
{
    const SealedText sealed = SealedText::Parse(kText);
    EXPECT_EQ(sealed.keyId, 255u);
    EXPECT_EQ(sealed.body, (std::vector<uint8_t>{0, 1, 2, 0xfd, 0xfe, 0xff}));
}

TEST(SealedTextTest, KeepsKeyIdsOfAllSixteenDigits)
{
    const std::string text = "zef1:fedcba9876543210:AA";
    EXPECT_EQ(SealedText::Parse(text).keyId, 0xfedcba9876543210u);
    EXPECT_EQ(SealedText::Parse(text).ToString(), text);
}

TEST(SealedTextTest, RefusesTextThatWasNeverSealed)
{
    for (const char *text : {"", "secret", "zef2:00000000000000ff:AAEC", "ZEF1:00000000000000ff:AAEC", " zef1:"}) {
        EXPECT_EQ(WhyRefused(text), "it is not a sealed password: it does not begin with \"zef1:\"") << text;
    }
}

TEST(SealedTextTest, RefusesEverySpellingButItsOwn)
{
    const char *const spellings[] = {
        "zef1:",
        "zef1:00000000000000ff",
        "zef1:00000000000000ff:",
        "zef1:00000000000000FF:AAEC_f7_",
        "zef1:ff:AAEC_f7_",
        "zef1:+0000000000000ff:AAEC_f7_",
        "zef1:0x000000000000ff:AAEC_f7_",
        "zef1:00000000000000gf:AAEC_f7_",
        "zef1:00000000000000ff;AAEC_f7_",
        "zef1:00000000000000ff:AAEC/f7_",
        "zef1:00000000000000ff:AAEC_f7_=",
        "zef1:00000000000000ff:AAEC_f7_ ",
        "zef1:00000000000000ff:AAEC_f7_\n",
        "zef1:00000000000000ff:AAEC\n_f7_",
        "zef1:00000000000000ff:AB",  // bits that belong to no byte
        "zef1:00000000000000ff:A",
    };
    for (const char *text : spellings) {
        EXPECT_EQ(WhyRefused(text), "it is not a whole sealed password: characters are missing, added or replaced")
            << text;
    }
}

TEST(SealedTextTest, RefusesAZeroByteAtTheEnd)
{
    EXPECT_NE(WhyRefused(std::string(kText) + '\0'), "accepted");
}

TEST(SealedTextTest, RefusesTextOfAnyLengthBeyondAPassword)
{
    const std::string text = "zef1:00000000000000ff:" + std::string(1'000'000, 'A');
    EXPECT_NE(WhyRefused(text), "accepted");
}

}  // namespace zef
