#include <zef_config/platform/BoundsChecked.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// Of safec, as its manual gives them.
constexpr int kNull = 400;
constexpr int kZeroSize = 401;
constexpr int kTooLong = 403;
constexpr int kOverlap = 404;
constexpr int kNoSpace = 406;
constexpr int kUnterminated = 407;

constexpr size_t kLongestText = 0x8000;

// A buffer of 8 bytes that begins as "xxxxxxxx", without a terminator.
class BoundsCheckedTest : public ::testing::Test {
protected:
    std::string Bytes() const { return std::string(buffer, sizeof(buffer)); }

    void Fill(const char *text) { std::string(text).copy(buffer, sizeof(buffer) - 1); }

    char buffer[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
};

const std::string kZeros(8, '\0');

TEST_F(BoundsCheckedTest, CopiesATextAndClearsTheRest)
{
    EXPECT_EQ(strcpy_s(buffer, sizeof(buffer), "abc"), 0);
    EXPECT_EQ(Bytes(), std::string("abc\0\0\0\0\0", 8));
}

TEST_F(BoundsCheckedTest, CopiesATextThatJustFits)
{
    EXPECT_EQ(strcpy_s(buffer, sizeof(buffer), "1234567"), 0);
    EXPECT_STREQ(buffer, "1234567");
}

TEST_F(BoundsCheckedTest, RefusesToCopyATextWithoutRoomForTheTerminator)
{
    EXPECT_EQ(strcpy_s(buffer, sizeof(buffer), "12345678"), kNoSpace);
    EXPECT_EQ(Bytes(), kZeros);
}

TEST_F(BoundsCheckedTest, WritesNothingBehindTheSizeItIsGiven)
{
    EXPECT_EQ(strcpy_s(buffer, 4, "1234"), kNoSpace);
    EXPECT_EQ(Bytes(), std::string("\0\0\0\0xxxx", 8));
}

TEST_F(BoundsCheckedTest, RefusesToCopyFromOrToNowhere)
{
    EXPECT_EQ(strcpy_s(buffer, sizeof(buffer), nullptr), kNull);
    EXPECT_EQ(Bytes(), kZeros);
    EXPECT_EQ(strcpy_s(nullptr, sizeof(buffer), "a"), kNull);
}

TEST_F(BoundsCheckedTest, RefusesToCopyToABufferOfNoSize)
{
    EXPECT_EQ(strcpy_s(buffer, 0, ""), kZeroSize);
    EXPECT_EQ(Bytes(), "xxxxxxxx");
}

TEST_F(BoundsCheckedTest, RefusesToCopyOverlappingTexts)
{
    Fill("abc");
    buffer[3] = '\0';
    EXPECT_EQ(strcpy_s(buffer + 1, sizeof(buffer) - 1, buffer), kOverlap);
}

TEST_F(BoundsCheckedTest, CopiesToABufferBeyondTheLibrarysLimit)
{
    std::vector<char> large(4 * kLongestText, 'x');
    const std::string text(kLongestText - 1, 'y');
    EXPECT_EQ(strcpy_s(large.data(), large.size(), text.c_str()), 0);
    EXPECT_EQ(large.data(), text);
}

TEST_F(BoundsCheckedTest, RefusesATextThatReachesTheLibrarysLimit)
{
    std::vector<char> large(4 * kLongestText, 'x');
    EXPECT_EQ(strcpy_s(large.data(), large.size(), std::string(kLongestText, 'y').c_str()), kNoSpace);
}

TEST_F(BoundsCheckedTest, AppendsATextThatJustFits)
{
    strcpy_s(buffer, sizeof(buffer), "abc");
    EXPECT_EQ(strcat_s(buffer, sizeof(buffer), "defg"), 0);
    EXPECT_STREQ(buffer, "abcdefg");
}

TEST_F(BoundsCheckedTest, AppendsInABufferBeyondTheLibrarysLimit)
{
    std::vector<char> large(4 * kLongestText, '\0');
    EXPECT_EQ(strcat_s(large.data(), large.size(), "abc"), 0);
    EXPECT_STREQ(large.data(), "abc");
}

TEST_F(BoundsCheckedTest, RefusesToAppendWhatDoesNotFit)
{
    strcpy_s(buffer, sizeof(buffer), "abc");
    EXPECT_EQ(strcat_s(buffer, sizeof(buffer), "defgh"), kNoSpace);
    EXPECT_EQ(Bytes(), kZeros);
}

TEST_F(BoundsCheckedTest, RefusesToAppendToATextWithoutTerminator)
{
    EXPECT_EQ(strcat_s(buffer, sizeof(buffer), "a"), kUnterminated);
}

TEST_F(BoundsCheckedTest, RefusesToAppendFromOrToNowhere)
{
    strcpy_s(buffer, sizeof(buffer), "abc");
    EXPECT_EQ(strcat_s(buffer, sizeof(buffer), nullptr), kNull);
    EXPECT_EQ(strcat_s(nullptr, sizeof(buffer), "a"), kNull);
}

TEST_F(BoundsCheckedTest, SetsAsManyBytesAsItIsTold)
{
    EXPECT_EQ(memset_s(buffer, sizeof(buffer), 0, 4), 0);
    EXPECT_EQ(Bytes(), std::string("\0\0\0\0xxxx", 8));
}

TEST_F(BoundsCheckedTest, SetsAWholeBuffer)
{
    EXPECT_EQ(memset_s(buffer, sizeof(buffer), 0, sizeof(buffer)), 0);
    EXPECT_EQ(Bytes(), kZeros);
}

TEST_F(BoundsCheckedTest, SetsNoByteOfZero)
{
    EXPECT_EQ(memset_s(buffer, sizeof(buffer), 0, 0), 0);
    EXPECT_EQ(Bytes(), "xxxxxxxx");
}

// A wipe that asks for too much still wipes what there is.
TEST_F(BoundsCheckedTest, SetsTheBufferAndFailsWhenTheCountExceedsIt)
{
    EXPECT_EQ(memset_s(buffer, 4, 0, 8), kNoSpace);
    EXPECT_EQ(Bytes(), std::string("\0\0\0\0xxxx", 8));
}

TEST_F(BoundsCheckedTest, RefusesToSetNothing)
{
    EXPECT_EQ(memset_s(nullptr, sizeof(buffer), 0, sizeof(buffer)), kNull);
}

TEST_F(BoundsCheckedTest, RefusesToSetBytesToWhatIsNoByte)
{
    EXPECT_EQ(memset_s(buffer, sizeof(buffer), 256, sizeof(buffer)), kTooLong);
    EXPECT_EQ(Bytes(), "xxxxxxxx");
}

TEST_F(BoundsCheckedTest, SetsTheLinkTableOfTheLibrary)
{
    std::vector<char> table(128 * 536, 'x');
    EXPECT_EQ(memset_s(table.data(), table.size(), 0, table.size()), 0);
    EXPECT_EQ(table, std::vector<char>(table.size(), '\0'));
}

TEST_F(BoundsCheckedTest, ReportsARefusalWithoutTheTextThatWasRefused)
{
    ::testing::internal::CaptureStderr();
    strcpy_s(buffer, sizeof(buffer), "a secret text");
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(output, HasSubstr("[memory] refused by a bounds check: "
                                  "strcpy_s: not enough space for src (code 406)\n"));
    EXPECT_THAT(output, Not(HasSubstr("secret")));
}

TEST_F(BoundsCheckedTest, SaysNothingAboutWhatSucceeds)
{
    ::testing::internal::CaptureStderr();
    strcpy_s(buffer, sizeof(buffer), "abc");
    strcat_s(buffer, sizeof(buffer), "def");
    memset_s(buffer, sizeof(buffer), 0, sizeof(buffer));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
