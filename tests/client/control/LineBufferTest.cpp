#include "control/LineBuffer.h"

#include <gtest/gtest.h>

#include <string>

namespace zef {

namespace {

void Append(LineBuffer &buffer, const std::string &text)
{
    buffer.Append(text.data(), text.size());
}

}  // namespace

TEST(LineBufferTest, GivesLinesInTheOrderTheyCame)
{
    LineBuffer buffer(10);
    Append(buffer, "one\ntwo\n\nthr");
    EXPECT_TRUE(buffer.HasLine());
    EXPECT_EQ(buffer.TakeLine(), "one");
    EXPECT_EQ(buffer.TakeLine(), "two");
    EXPECT_EQ(buffer.TakeLine(), "");
    EXPECT_FALSE(buffer.HasLine());
    EXPECT_EQ(buffer.TakeLine(), std::nullopt);
    EXPECT_FALSE(buffer.IsEmpty());
    Append(buffer, "ee\n");
    EXPECT_EQ(buffer.TakeLine(), "three");
    EXPECT_TRUE(buffer.IsEmpty());
}

TEST(LineBufferTest, PutsSingleBytesTogether)
{
    LineBuffer buffer(10);
    for (const char byte : std::string("ab\ncd")) {
        Append(buffer, std::string(1, byte));
    }
    EXPECT_EQ(buffer.TakeLine(), "ab");
    EXPECT_EQ(buffer.TakeLine(), std::nullopt);
    Append(buffer, "\n");
    EXPECT_EQ(buffer.TakeLine(), "cd");
}

TEST(LineBufferTest, TakesALineOfTheGreatestLengthButNoLongerOne)
{
    LineBuffer buffer(3);
    Append(buffer, "abc");
    EXPECT_FALSE(buffer.IsTooLong());
    Append(buffer, "\nabcd");
    EXPECT_FALSE(buffer.IsTooLong());
    EXPECT_EQ(buffer.TakeLine(), "abc");
    EXPECT_TRUE(buffer.IsTooLong());
    Append(buffer, "\n");
    EXPECT_TRUE(buffer.IsTooLong());
    EXPECT_FALSE(buffer.HasLine());
    EXPECT_EQ(buffer.TakeLine(), std::nullopt);
}

TEST(LineBufferTest, KeepsBytesThatAreNoText)
{
    LineBuffer buffer(10);
    Append(buffer, std::string("a\0\xFF\n", 4));
    EXPECT_EQ(buffer.TakeLine(), std::string("a\0\xFF", 3));
}

TEST(LineBufferTest, HoldsMoreLinesThanItCutsOffAtOnce)
{
    LineBuffer buffer(1000);
    std::string text;
    for (int i = 0; i < 500; ++i) {
        text += std::string(999, static_cast<char>('a' + i % 26)) + "\n";
    }
    Append(buffer, text);
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(buffer.TakeLine(), std::string(999, static_cast<char>('a' + i % 26)));
    }
    EXPECT_TRUE(buffer.IsEmpty());
}

}  // namespace zef
