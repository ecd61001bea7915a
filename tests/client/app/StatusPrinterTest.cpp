#include "app/StatusPrinter.h"

#include "client/log/FakeLogClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace zef {
namespace {

LinkState Link(LinkPhase phase)
{
    LinkState link;
    link.local = "10.0.0.1";
    link.array = "10.0.0.9";
    link.phase = phase;
    return link;
}

class StatusPrinterTest : public ::testing::Test {
protected:
    StatusPrinterTest() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }

    ~StatusPrinterTest() override
    {
        close(ends[0]);
        close(ends[1]);
    }

    // What was printed, once the printer has ended.
    std::string Printed()
    {
        close(ends[1]);
        std::string text;
        char buffer[4096];
        ssize_t count = 0;
        while ((count = read(ends[0], buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<size_t>(count));
        }
        ends[1] = dup(ends[0]);
        return text;
    }

    int ends[2];
};

TEST_F(StatusPrinterTest, PrintsEveryLineOfManyInTheirOrder)
{
    constexpr int kLinks = 300;  // more than one write to a pipe takes
    std::string expected;
    {
        StatusPrinter printer(ends[1], [] { return ""; });
        for (int number = 0; number < kLinks; ++number) {
            LinkState link = Link(LinkPhase::Connecting);
            link.array = "array-" + std::to_string(number);
            expected += "10.0.0.1 -> " + link.array + " connecting\n";
            printer.LinkChanged(link);
        }
    }
    EXPECT_EQ(Printed(), expected);
}

TEST_F(StatusPrinterTest, PrintsChangesAndTablesInTheOrderOfTheRequests)
{
    std::promise<void> taken;
    {
        StatusPrinter printer(ends[1], [&] {
            taken.set_value();
            return "the table\nof two lines\n";
        });
        printer.LinkChanged(Link(LinkPhase::Connecting));
        printer.ShowTable();
        taken.get_future().wait();
        printer.LinkChanged(Link(LinkPhase::LoggingIn));
    }
    EXPECT_EQ(Printed(), Describe(Link(LinkPhase::Connecting)) + "\n" + "the table\nof two lines\n" +
                             Describe(Link(LinkPhase::LoggingIn)) + "\n");
}

TEST_F(StatusPrinterTest, PrintsAFailureOnceHoweverOftenItRepeats)
{
    LinkState failed = Link(LinkPhase::Failed);
    failed.cause = "Connection refused";
    FakeLogClock clock;
    {
        StatusPrinter printer(ends[1], [] { return "table\n"; }, clock.Clock());
        for (failed.failures = 1; failed.failures <= 301; ++failed.failures) {
            printer.LinkChanged(failed);
            clock.Advance(std::chrono::seconds(2));
        }
    }
    EXPECT_EQ(Printed(), "10.0.0.1 -> 10.0.0.9 failed: Connection refused\n"
                         "10.0.0.1 -> 10.0.0.9 failed: Connection refused; 300 tries failed since 14:03:22, 301 since "
                         "2026-03-01 14:03:22\n");
}

TEST_F(StatusPrinterTest, EndsAlthoughNobodyReads)
{
    auto printer = std::make_unique<StatusPrinter>(ends[1], [] { return "table\n"; });
    for (int i = 0; i < 20000; ++i) {  // more than a pipe holds
        printer->LinkChanged(Link(LinkPhase::Connecting));
    }
    printer.reset();
    EXPECT_FALSE(Printed().empty());  // and not hanging in front of this line is what is tested
}

TEST_F(StatusPrinterTest, TakesNoTableOnceItEnds)
{
    std::atomic<int> tables{0};
    auto printer = std::make_unique<StatusPrinter>(ends[1], [&tables] {
        ++tables;
        return "table\n";
    });
    for (int i = 0; i < 20000; ++i) {  // more than a pipe holds: the printer is stuck in front of the table
        printer->LinkChanged(Link(LinkPhase::Connecting));
    }
    printer->ShowTable();
    printer.reset();
    EXPECT_EQ(tables, 0);
}

TEST_F(StatusPrinterTest, SurvivesAReaderThatHangsUp)
{
    close(ends[0]);
    std::promise<void> taken;
    StatusPrinter printer(ends[1], [&taken] {
        taken.set_value();
        return "table\n";
    });
    printer.LinkChanged(Link(LinkPhase::Connecting));
    printer.ShowTable();
    taken.get_future().wait();  // it goes on after the line that nobody takes
    ends[0] = dup(ends[1]);
}

}  // namespace
}  // namespace zef
