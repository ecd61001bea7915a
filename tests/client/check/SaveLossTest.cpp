#include "check/SaveLoss.h"

#include "CheckTest.h"
#include "check/ConfigLimits.h"

#include <zef_config/ConfigMgr.h>

#include <filesystem>
#include <thread>

namespace zef {
namespace {

using Lines = std::vector<std::string>;

class SaveLossTest : public ::testing::Test {
protected:
    Lines Losses(const std::string &children)
    {
        WriteFile(path, "<?xml version=\"1.0\"?>\n<Config>\n" + children + "\n</Config>\n");
        return Summary(FindSaveLoss(path));
    }

    ScratchFolder folder;
    const std::string path = folder.File("zef_config.xml");
};

TEST_F(SaveLossTest, LosesNothingOfAnOrdinaryFile)
{
    EXPECT_EQ(Losses("    <Name type=\"string\">a&amp;b</Name>\n    <!-- a comment -->\n    <Empty/>\n\t<S>\r\n</S>"),
              Lines{});
}

TEST_F(SaveLossTest, TellsWhereWhiteSpaceWithinAValueGoes)
{
    EXPECT_EQ(Losses("<Name>a b</Name>\n  <User>\tuser</User>"),
              (Lines{"3:1: warning: save-drops-space", "4:3: warning: save-drops-space"}));
    EXPECT_EQ(FindSaveLoss(path).at(0).text, "a save would drop white space from the text of \"Name\"");
    EXPECT_EQ(FindSaveLoss(path).at(0).path, path);
}

TEST_F(SaveLossTest, TellsOfATextBesideElements)
{
    EXPECT_EQ(Losses("<Name>text<b/></Name>"), Lines{"3:1: warning: save-changes-text"});
}

TEST_F(SaveLossTest, TellsOfACommentWithABracket)
{
    EXPECT_EQ(Losses("<!-- a > b -->"), Lines{"3:1: warning: save-changes-markup"});
}

TEST_F(SaveLossTest, KeepsAttributesWithWhiteSpaceAndBrackets)
{
    EXPECT_EQ(Losses("<Name note=\"a &gt; b &lt; c\">x</Name>"), Lines{});
}

TEST_F(SaveLossTest, TellsOfADocumentThatWouldBeCut)
{
    WriteFile(path, "<?xml version=\"1.0\"?>\n<Config><a>" + std::string(kMaxRenderedBytes, 'x') + "</a></Config>");
    EXPECT_EQ(Summary(FindSaveLoss(path)), Lines{"1:1: warning: save-truncates"});
}

// The longest document that a save keeps, found with the library's own save.
TEST_F(SaveLossTest, KnowsTheLimitToTheByte)
{
    size_t longest = 0;
    for (size_t length = kMaxRenderedBytes - 100; length < kMaxRenderedBytes; ++length) {
        WriteFile(path, "<?xml version=\"1.0\"?><Config><a>" + std::string(length, 'x') + "</a></Config>");
        const bool kept = FindSaveLoss(path).empty();
        ConfigMgr manager;
        ASSERT_EQ(manager.ReadConfig(path), 0);
        ASSERT_EQ(manager.SaveConfig(path), 0);
        const std::string saved = ReadFile(path);
        const bool whole = saved.find("</Config>") != std::string::npos;
        EXPECT_EQ(kept, whole) << length;
        longest = whole ? length : longest;
    }
    EXPECT_GT(longest, kMaxRenderedBytes - 100);
    EXPECT_LT(longest, kMaxRenderedBytes - 1);
}

TEST_F(SaveLossTest, SaysWhenThereIsNothingToSave)
{
    EXPECT_EQ(Summary(FindSaveLoss(path)), Lines{"0:0: error: cannot-open!"});
    WriteFile(path, "no XML");
    EXPECT_EQ(Summary(FindSaveLoss(path)), Lines{"1:1: error: no-document!"});
}

TEST_F(SaveLossTest, WritesNothing)
{
    (void)Losses("<Name>a b</Name>");
    EXPECT_EQ(folder.Names(), Lines{"zef_config.xml"});
}

TEST_F(SaveLossTest, ManyThreadsMayAskAtOnce)
{
    (void)Losses("<Name>a b</Name>");
    std::vector<std::thread> threads;
    std::vector<Lines> results(4);
    for (Lines &result : results) {
        threads.emplace_back([&result, this] { result = Summary(FindSaveLoss(path)); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (const Lines &result : results) {
        EXPECT_EQ(result, Lines{"3:1: warning: save-drops-space"});
    }
}

}  // namespace
}  // namespace zef
