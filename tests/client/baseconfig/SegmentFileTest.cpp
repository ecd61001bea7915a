#include "baseconfig/SegmentFile.h"

#include "SegmentTest.h"

#include <utility>

#include <sys/file.h>

namespace {

using zef::SegmentFile;

constexpr uid_t kOwner = 1000;

struct stat Like(uid_t owner, mode_t mode)
{
    struct stat status = {};
    status.st_uid = owner;
    status.st_mode = mode;
    return status;
}

TEST(SegmentFileStatusTest, AcceptsWhatBelongsToItsOwnerAlone)
{
    EXPECT_EQ(SegmentFile::WhyRefused(Like(kOwner, S_IFREG | 0600), kOwner), "");
}

TEST(SegmentFileStatusTest, RefusesWhatBelongsToSomebodyElse)
{
    EXPECT_EQ(SegmentFile::WhyRefused(Like(1001, S_IFREG | 0600), kOwner), "belongs to user 1001 instead of 1000");
    EXPECT_EQ(SegmentFile::WhyRefused(Like(1001, S_IFREG | 0600), 0), "belongs to user 1001 instead of 0");
}

TEST(SegmentFileStatusTest, RefusesEveryRightOfOthers)
{
    for (const mode_t right : {0001U, 0002U, 0004U, 0010U, 0020U, 0040U}) {
        EXPECT_NE(SegmentFile::WhyRefused(Like(kOwner, S_IFREG | 0600 | right), kOwner), "") << right;
    }
    EXPECT_EQ(SegmentFile::WhyRefused(Like(kOwner, S_IFREG | 0666), kOwner),
              "can be accessed by others (mode 0666 instead of 0600)");
}

TEST(SegmentFileStatusTest, RefusesWhatIsNoFile)
{
    EXPECT_EQ(SegmentFile::WhyRefused(Like(kOwner, S_IFIFO | 0600), kOwner), "is not a regular file");
}

class SegmentFileTest : public SegmentTest {};

TEST_F(SegmentFileTest, RefusesASegmentOfSomebodyElse)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    Make("");
    const int descriptor = shm_open(name.c_str(), O_RDWR, 0);
    ASSERT_EQ(fchown(descriptor, 65534, 65534), 0);
    close(descriptor);
    EXPECT_FALSE(SegmentFile::OpenOrCreate(name, error).IsOpen());
    EXPECT_EQ(error, "shared memory " + name + ": belongs to user 65534 instead of 0");
    EXPECT_TRUE(SegmentFile::OpenReadOnly(name, error).IsOpen()) << "root may read it: " << error;
}

TEST_F(SegmentFileTest, GivesAnEmptyFileItsSize)
{
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    ASSERT_TRUE(file.IsOpen()) << error;
    EXPECT_FALSE(file.CheckSize(100, error));
    EXPECT_EQ(error, "shared memory " + name + ": has 0 bytes instead of 100");
    EXPECT_TRUE(file.CheckOrSetSize(100, error));
    EXPECT_TRUE(file.CheckSize(100, error));
}

TEST_F(SegmentFileTest, LeavesTheSizeOfAnotherFile)
{
    Make("12345");
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    EXPECT_FALSE(file.CheckOrSetSize(100, error));
    EXPECT_EQ(error, "shared memory " + name + ": has 5 bytes instead of 100");
    EXPECT_EQ(Status().st_size, 5);
}

TEST_F(SegmentFileTest, OwnsItsDescriptor)
{
    int descriptor = -1;
    {
        SegmentFile file = SegmentFile::OpenOrCreate(name, error);
        descriptor = file.Descriptor();
        const SegmentFile moved(std::move(file));
        EXPECT_EQ(moved.Descriptor(), descriptor);
        EXPECT_GE(fcntl(descriptor, F_GETFD), 0);
    }
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(SegmentFileTest, KeepsTheLockUntilItIsClosed)
{
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    {
        const SegmentFile holder = SegmentFile::OpenOrCreate(name, error);
        ASSERT_TRUE(holder.LockForCreation(error));
        EXPECT_EQ(flock(file.Descriptor(), LOCK_EX | LOCK_NB), -1);
    }
    EXPECT_TRUE(file.LockForCreation(error)) << error;
}

TEST_F(SegmentFileTest, ReleasesTheLockAlthoughTheSegmentStaysMapped)
{
    void *mapping = MAP_FAILED;
    {
        const SegmentFile holder = SegmentFile::OpenOrCreate(name, error);
        ASSERT_TRUE(holder.LockForCreation(error) && holder.CheckOrSetSize(1, error)) << error;
        mapping = mmap(nullptr, 1, PROT_READ, MAP_SHARED, holder.Descriptor(), 0);
        ASSERT_NE(mapping, MAP_FAILED);
    }
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    EXPECT_EQ(flock(file.Descriptor(), LOCK_EX | LOCK_NB), 0);
    munmap(mapping, 1);
}

TEST_F(SegmentFileTest, ADeadHolderLeavesNoLockBehind)
{
    EXPECT_TRUE(InAnotherProcess([this] {
        const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
        return file.LockForCreation(error);
    }));
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    EXPECT_TRUE(file.LockForCreation(error)) << error;
}

TEST_F(SegmentFileTest, GivesUpOnALockThatIsNotReleased)
{
    const SegmentFile holder = SegmentFile::OpenOrCreate(name, error);
    ASSERT_TRUE(holder.LockForCreation(error));
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    EXPECT_FALSE(file.LockForCreation(error));
    EXPECT_EQ(error, "shared memory " + name + ": another process does not finish its creation");
}

}  // namespace
