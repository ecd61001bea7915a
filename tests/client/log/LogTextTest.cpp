#include "log/LogText.h"

#include <gtest/gtest.h>

using zef::PrintableLogText;

TEST(LogTextTest, LeavesOrdinaryTextAsItIs)
{
    EXPECT_EQ(PrintableLogText("10.0.0.1:3260 \\ {} %s ~"), "10.0.0.1:3260 \\ {} %s ~");
}

TEST(LogTextTest, TrimsTrailingNewlines)
{
    EXPECT_EQ(PrintableLogText("a message.\n"), "a message.");
    EXPECT_EQ(PrintableLogText("a message.\r\n\n"), "a message.");
    EXPECT_EQ(PrintableLogText("\n"), "");
    EXPECT_EQ(PrintableLogText(""), "");
}

TEST(LogTextTest, ShowsInnerNewlinesEscaped)
{
    EXPECT_EQ(PrintableLogText("name\n2025-01-01 error forged\r\tx\n"), "name\\n2025-01-01 error forged\\r\\tx");
}

TEST(LogTextTest, ShowsOtherControlCharactersAsHexadecimal)
{
    EXPECT_EQ(PrintableLogText(std::string_view("\x1b[2J\0\x7f", 6)), "\\x1b[2J\\x00\\x7f");
}

TEST(LogTextTest, ShowsHighControlCharactersAsTheirCodePoint)
{
    EXPECT_EQ(PrintableLogText("a\xc2\x80\xc2\x9b" "2J\xc2\x9f"), "a\\u0080\\u009b2J\\u009f");
}

TEST(LogTextTest, LeavesOtherCharactersOfUtf8AsTheyAre)
{
    EXPECT_EQ(PrintableLogText("\xc2\xa0\xc3\xa9\xe2\x82\xac\xc3\x80"), "\xc2\xa0\xc3\xa9\xe2\x82\xac\xc3\x80");
}
