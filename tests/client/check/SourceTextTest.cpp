#include "check/SourceText.h"

#include <gtest/gtest.h>

namespace zef {
namespace {

std::string Place(const SourceText &source, size_t offset)
{
    const Position position = source.At(offset);
    return std::to_string(position.line) + ":" + std::to_string(position.column);
}

TEST(SourceTextTest, CountsLinesAndCharactersFromOne)
{
    const SourceText source("ab\ncd\n");
    EXPECT_EQ(Place(source, 0), "1:1");
    EXPECT_EQ(Place(source, 2), "1:3");
    EXPECT_EQ(Place(source, 3), "2:1");
    EXPECT_EQ(Place(source, 6), "3:1");
    EXPECT_EQ(Place(source, 1000), "3:1");
}

TEST(SourceTextTest, CountsCharactersNotBytes)
{
    EXPECT_EQ(Place(SourceText("\xc3\xa4\xe2\x82\xac<"), 5), "1:3");
}

TEST(SourceTextTest, DropsAByteOrderMark)
{
    EXPECT_EQ(SourceText("\xef\xbb\xbf<a/>").Text(), "<a/>");
}

TEST(SourceTextTest, DecodesUtf16)
{
    EXPECT_EQ(SourceText(std::string("\xff\xfe<\0\xe4\0", 6)).Text(), "<\xc3\xa4");
    EXPECT_EQ(SourceText(std::string("\xfe\xff\0<\0\xe4", 6)).Text(), "<\xc3\xa4");
}

TEST(SourceTextTest, ShowsWhereUtf16Breaks)
{
    EXPECT_EQ(SourceText(std::string("\xff\xfe<\0a", 5)).Text(), "<\xff");
    EXPECT_EQ(SourceText(std::string("\xff\xfe\x00\xdc<\0", 6)).Text(), "\xff");
}

}  // namespace
}  // namespace zef
