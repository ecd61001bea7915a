#include "baseconfig/SharedBaseConfig.h"

#include "SegmentTest.h"
#include "baseconfig/SegmentFile.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using zef::SharedBaseConfig;

constexpr size_t kSegmentBytes = 16 + 8 * 256;
constexpr const char *kMagic = "z-bascfg";

// The segment's head as it lies in memory, with all items 0.
std::string Segment(const std::string &magic, uint32_t version, uint32_t itemCount)
{
    std::string segment(kSegmentBytes, '\0');
    magic.copy(segment.data(), 8);
    std::memcpy(segment.data() + 8, &version, sizeof(version));
    std::memcpy(segment.data() + 12, &itemCount, sizeof(itemCount));
    return segment;
}

class SharedBaseConfigTest : public SegmentTest {
protected:
    // The reason of a refusal, which must be the same for both ways to open; "" when it opens.
    std::string Refusal()
    {
        std::string forReading;
        const bool opensForReading = SharedBaseConfig::OpenReadOnly(name, forReading).has_value();
        const bool opens = SharedBaseConfig::OpenOrCreate(name, error).has_value();
        EXPECT_EQ(opensForReading, forReading.empty());
        EXPECT_EQ(opens, error.empty());
        EXPECT_EQ(forReading, error);
        return error;
    }
};

TEST_F(SharedBaseConfigTest, ANewSegmentHasTheDefaultValues)
{
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    const std::map<int, int64_t> defaults = {{65, 365}, {66, 90}, {67, 24}};
    for (int item = 0; item < SharedBaseConfig::kItemCount; ++item) {
        const auto known = defaults.find(item);
        EXPECT_EQ(config->Get(item), known == defaults.end() ? 0 : known->second) << item;
    }
}

TEST_F(SharedBaseConfigTest, ANewSegmentIsItsOwnersAlone)
{
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    EXPECT_EQ(Status().st_mode & 07777U, 0600U);
    EXPECT_EQ(Status().st_uid, geteuid());
    EXPECT_EQ(Status().st_size, static_cast<off_t>(kSegmentBytes));
}

TEST_F(SharedBaseConfigTest, KeepsValuesOfAllSizesAndSigns)
{
    auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    for (const int64_t value : {INT64_MAX, INT64_MIN, int64_t{-1}, int64_t{0}}) {
        EXPECT_TRUE(config->Set(0, value, error));
        EXPECT_TRUE(config->Set(255, value, error));
        EXPECT_EQ(config->Get(0), value);
        EXPECT_EQ(config->Get(255), value);
    }
}

TEST_F(SharedBaseConfigTest, HasNoItemOutsideItsRange)
{
    auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    for (const int item : {-1, 256, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(config->Get(item), std::nullopt);
        EXPECT_FALSE(config->Set(item, 1, error));
        EXPECT_EQ(error, "there is no item " + std::to_string(item));
    }
}

TEST_F(SharedBaseConfigTest, AnotherProcessSeesAValueAtOnce)
{
    auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_TRUE(config->Set(70, 1, error));
    EXPECT_TRUE(InAnotherProcess([this] {
        const auto read = SharedBaseConfig::OpenReadOnly(name, error);
        return read.has_value() && read->Get(70) == 1 && read->Get(65) == 365;
    }));
}

TEST_F(SharedBaseConfigTest, ValuesOutliveTheProcessThatSetThem)
{
    EXPECT_TRUE(InAnotherProcess([this] {
        auto config = SharedBaseConfig::OpenOrCreate(name, error);
        return config.has_value() && config->Set(65, 7, error) && config->Set(69, 1, error);
    }));
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_EQ(config->Get(65), 7);
    EXPECT_EQ(config->Get(69), 1);
}

TEST_F(SharedBaseConfigTest, AReaderSeesWhatIsWrittenLater)
{
    auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    const auto reader = SharedBaseConfig::OpenReadOnly(name, error);
    ASSERT_TRUE(reader.has_value()) << error;
    EXPECT_TRUE(config->Set(69, 5, error));
    EXPECT_EQ(reader->Get(69), 5);
}

TEST_F(SharedBaseConfigTest, AReaderCannotWrite)
{
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    auto reader = SharedBaseConfig::OpenReadOnly(name, error);
    ASSERT_TRUE(reader.has_value()) << error;
    EXPECT_FALSE(reader->Set(69, 1, error));
    EXPECT_EQ(error, "the segment is open for reading only");
    EXPECT_EQ(config->Get(69), 0);
}

TEST_F(SharedBaseConfigTest, AReaderCreatesNothing)
{
    EXPECT_FALSE(SharedBaseConfig::OpenReadOnly(name, error).has_value());
    EXPECT_EQ(error, "shared memory " + name + ": cannot be opened: No such file or directory");
    EXPECT_EQ(shm_open(name.c_str(), O_RDONLY, 0), -1);
}

// Each of the processes opens the segment and adds its own mark. Whoever set the default values later than that would
// have wiped a mark, and nobody may find other values than the defaults.
TEST_F(SharedBaseConfigTest, RacingCreatorsSetTheDefaultsOnceBeforeAnybodyReads)
{
    constexpr int kCreators = 8;
    for (int round = 0; round < 20; ++round) {
        shm_unlink(name.c_str());
        int start[2];
        ASSERT_EQ(pipe(start), 0);
        std::vector<pid_t> creators;
        for (int creator = 0; creator < kCreators; ++creator) {
            creators.push_back(fork());
            if (creators.back() == 0) {
                close(start[1]);
                char byte = 0;
                const bool started = read(start[0], &byte, 1) == 0;  // until the parent closes its end
                auto config = SharedBaseConfig::OpenOrCreate(name, error);
                const bool complete = started && config.has_value() && config->Get(65) == 365 && config->Get(67) == 24;
                _exit(complete && config->Set(66, -creator, error) && config->Set(100 + creator, 1, error) ? 0 : 1);
            }
        }
        close(start[0]);
        close(start[1]);
        for (const pid_t creator : creators) {
            int status = -1;
            EXPECT_EQ(waitpid(creator, &status, 0), creator);
            EXPECT_EQ(status, 0);
        }
        const auto config = SharedBaseConfig::OpenReadOnly(name, error);
        ASSERT_TRUE(config.has_value()) << error;
        EXPECT_LE(config->Get(66), 0);
        for (int creator = 0; creator < kCreators; ++creator) {
            EXPECT_EQ(config->Get(100 + creator), 1) << creator;
        }
    }
}

TEST_F(SharedBaseConfigTest, FinishesWhatACreatorBeganThatDiedBeforeItSetTheSize)
{
    Make("");
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_EQ(config->Get(65), 365);
}

TEST_F(SharedBaseConfigTest, FinishesWhatACreatorBeganThatDiedAmongTheValues)
{
    Make(Segment(std::string(8, '\0'), 1, 0));
    const auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_EQ(config->Get(65), 365);
    EXPECT_EQ(config->Get(67), 24);
}

TEST_F(SharedBaseConfigTest, DoesNotInterfereWithACreatorThatIsAtWork)
{
    const zef::SegmentFile creator = zef::SegmentFile::OpenOrCreate(name, error);
    ASSERT_TRUE(creator.IsOpen() && creator.LockForCreation(error)) << error;
    EXPECT_FALSE(SharedBaseConfig::OpenOrCreate(name, error).has_value());
    EXPECT_EQ(error, "shared memory " + name + ": another process does not finish its creation");
    EXPECT_EQ(Status().st_size, 0);
}

TEST_F(SharedBaseConfigTest, AReaderRefusesWhatACreatorHasNotFinished)
{
    Make(Segment(std::string(8, '\0'), 1, 256));
    EXPECT_FALSE(SharedBaseConfig::OpenReadOnly(name, error).has_value());
    EXPECT_EQ(error, "shared memory " + name + ": is not initialised");
}

TEST_F(SharedBaseConfigTest, OpensASegmentOfTheKnownLayout)
{
    Make(Segment(kMagic, 1, 256));
    EXPECT_EQ(Refusal(), "");
}

TEST_F(SharedBaseConfigTest, RefusesASegmentOfAnotherSize)
{
    Make(Segment(kMagic, 1, 256) + "x");
    EXPECT_EQ(Refusal(), "shared memory " + name + ": has 2065 bytes instead of 2064");
}

TEST_F(SharedBaseConfigTest, RefusesASegmentOfSomethingElse)
{
    Make(Segment("anything", 1, 256));
    EXPECT_EQ(Refusal(), "shared memory " + name + ": is no base configuration");
}

TEST_F(SharedBaseConfigTest, RefusesASegmentOfAnotherVersion)
{
    Make(Segment(kMagic, 2, 256));
    EXPECT_EQ(Refusal(), "shared memory " + name + ": has version 2 with 256 items instead of version 1 with 256");
}

TEST_F(SharedBaseConfigTest, RefusesASegmentOfAnotherNumberOfItems)
{
    Make(Segment(kMagic, 1, 255));
    EXPECT_EQ(Refusal(), "shared memory " + name + ": has version 1 with 255 items instead of version 1 with 256");
}

TEST_F(SharedBaseConfigTest, RefusesASegmentThatOthersCanAccess)
{
    Make(Segment(kMagic, 1, 256), 0640);
    EXPECT_EQ(Refusal(), "shared memory " + name + ": can be accessed by others (mode 0640 instead of 0600)");
}

TEST_F(SharedBaseConfigTest, ARefusedSegmentStaysAsItIs)
{
    const std::string contents = Segment("anything", 1, 256);
    Make(contents);
    EXPECT_FALSE(SharedBaseConfig::OpenOrCreate(name, error).has_value());
    const int descriptor = shm_open(name.c_str(), O_RDONLY, 0);
    std::string found(kSegmentBytes, 'x');
    EXPECT_EQ(read(descriptor, found.data(), found.size()), static_cast<ssize_t>(kSegmentBytes));
    close(descriptor);
    EXPECT_EQ(found, contents);
}

TEST_F(SharedBaseConfigTest, RefusesANameThatIsNone)
{
    EXPECT_FALSE(SharedBaseConfig::OpenOrCreate("/two/slashes", error).has_value());
    EXPECT_EQ(error, "shared memory /two/slashes: cannot be opened: Invalid argument");
}

}  // namespace
