// What the tests of the shared base configuration have in common.
#ifndef ZEF_TESTS_CLIENT_BASECONFIG_SEGMENT_TEST_H
#define ZEF_TESTS_CLIENT_BASECONFIG_SEGMENT_TEST_H

#include <gtest/gtest.h>

#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// A name of a segment that no other test uses. There is none under it when a case begins and when it has ended.
class SegmentTest : public ::testing::Test {
protected:
    SegmentTest() { shm_unlink(name.c_str()); }

    ~SegmentTest() override { shm_unlink(name.c_str()); }

    // Makes a segment with these contents and this mode.
    void Make(const std::string &contents, mode_t mode = 0600) const
    {
        const int descriptor = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
        ASSERT_GE(descriptor, 0);
        EXPECT_EQ(write(descriptor, contents.data(), contents.size()), static_cast<ssize_t>(contents.size()));
        EXPECT_EQ(fchmod(descriptor, mode), 0);
        close(descriptor);
    }

    // Runs a function in another process, as far as that gets: it ends as if it had been killed, cleaning nothing up.
    // True when the function has returned true.
    template <class Function>
    static bool InAnotherProcess(Function function)
    {
        const pid_t child = fork();
        if (child == 0) {
            _exit(function() ? 0 : 1);
        }
        int status = -1;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    struct stat Status() const
    {
        struct stat status = {};
        const int descriptor = shm_open(name.c_str(), O_RDONLY, 0);
        EXPECT_EQ(fstat(descriptor, &status), 0);
        close(descriptor);
        return status;
    }

    const std::string name = "/zef_base_config_test_" + std::to_string(getpid());
    std::string error;
};

#endif
