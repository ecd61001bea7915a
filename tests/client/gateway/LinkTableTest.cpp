#include "gateway/LinkTable.h"

#include <gtest/gtest.h>

namespace {

using zef::LinkPhase;
using zef::LinkState;
using zef::LinkTable;

LinkState Changed(LinkState state, LinkPhase phase, const std::string &cause = "")
{
    state.phase = phase;
    state.cause = cause;
    return state;
}

}  // namespace

TEST(LinkTableTest, JoinMakesAnEntryOnceAndFindsItLater)
{
    LinkTable table;
    const LinkTable::Entry made = table.Join("1.1.1.1", "2.2.2.2");
    EXPECT_EQ(made.state.phase, LinkPhase::Created);
    EXPECT_EQ(made.state.wwn, zef::kNoWwn);
    EXPECT_EQ(table.Join("1.1.1.1", "2.2.2.2").id, made.id);
    EXPECT_NE(table.Join("2.2.2.2", "1.1.1.1").id, made.id);
}

TEST(LinkTableTest, APairThatComesBackIsAnotherLink)
{
    LinkTable table;
    const uint64_t id = table.Join("1.1.1.1", "2.2.2.2").id;
    EXPECT_EQ(table.Remove("1.1.1.1", "2.2.2.2"), id);
    EXPECT_EQ(table.Remove("1.1.1.1", "2.2.2.2"), std::nullopt);
    EXPECT_NE(table.Join("1.1.1.1", "2.2.2.2").id, id);
}

TEST(LinkTableTest, PublishReturnsChangesAndNothingElse)
{
    LinkTable table;
    const LinkTable::Entry entry = table.Join("1.1.1.1", "2.2.2.2");
    const LinkState failed = Changed(entry.state, LinkPhase::Failed, "one");
    EXPECT_TRUE(table.Publish(entry.id, failed).has_value());
    EXPECT_FALSE(table.Publish(entry.id, failed).has_value());
    EXPECT_TRUE(table.Publish(entry.id, Changed(entry.state, LinkPhase::Failed, "two")).has_value());
    LinkState again = Changed(entry.state, LinkPhase::Failed, "two");
    again.failures = 2;
    EXPECT_TRUE(table.Publish(entry.id, again).has_value());
    EXPECT_FALSE(table.Publish(entry.id, again).has_value());
    EXPECT_EQ(table.Find("1.1.1.1", "2.2.2.2")->cause, "two");
}

TEST(LinkTableTest, PublishKeepsTheTimeOfAPhaseThatStays)
{
    LinkTable table;
    const LinkTable::Entry entry = table.Join("1.1.1.1", "2.2.2.2");
    const auto since = table.Publish(entry.id, Changed(entry.state, LinkPhase::Failed, "one"))->since;
    EXPECT_EQ(table.Publish(entry.id, Changed(entry.state, LinkPhase::Failed, "two"))->since, since);
    EXPECT_GE(since, entry.state.since);
}

TEST(LinkTableTest, PublishForALinkThatIsGoneChangesNothing)
{
    LinkTable table;
    const LinkTable::Entry gone = table.Join("1.1.1.1", "2.2.2.2");
    table.Remove("1.1.1.1", "2.2.2.2");
    EXPECT_FALSE(table.Publish(gone.id, Changed(gone.state, LinkPhase::Up)).has_value());
    EXPECT_FALSE(table.Find("1.1.1.1", "2.2.2.2").has_value());

    table.Join("1.1.1.1", "2.2.2.2");
    EXPECT_FALSE(table.Publish(gone.id, Changed(gone.state, LinkPhase::Up)).has_value());
    EXPECT_EQ(table.Find("1.1.1.1", "2.2.2.2")->phase, LinkPhase::Created);
}

TEST(LinkTableTest, EntriesAreInTheOrderOfTheAddresses)
{
    LinkTable table;
    table.Join("1.1.1.2", "2.2.2.2");
    table.Join("1.1.1.1", "2.2.2.3");
    table.Join("1.1.1.1", "2.2.2.2");
    const std::vector<LinkTable::Entry> all = table.Entries();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].state.local + all[0].state.array, "1.1.1.12.2.2.2");
    EXPECT_EQ(all[1].state.local + all[1].state.array, "1.1.1.12.2.2.3");
    EXPECT_EQ(all[2].state.local + all[2].state.array, "1.1.1.22.2.2.2");
}
