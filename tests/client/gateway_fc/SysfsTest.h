// A tree of files like sysfs that a test may change.
#ifndef ZEF_TESTS_CLIENT_GATEWAY_FC_SYSFS_TEST_H
#define ZEF_TESTS_CLIENT_GATEWAY_FC_SYSFS_TEST_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <cstdlib>

// Where recorded trees lie.
inline std::string Recorded(const std::string &tree)
{
    return std::string(ZEF_TEST_DATA) + "/" + tree;
}

class SysfsTest : public ::testing::Test {
protected:
    SysfsTest()
    {
        std::string pattern = ::testing::TempDir() + "zef_sysfs_XXXXXX";
        root = mkdtemp(pattern.data());
    }

    ~SysfsTest() override { std::filesystem::remove_all(root); }

    void CopyRecorded(const std::string &tree) const
    {
        std::filesystem::copy(Recorded(tree), root, std::filesystem::copy_options::recursive);
    }

    void Write(const std::string &path, const std::string &contents) const
    {
        const std::filesystem::path file = std::filesystem::path(root) / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << contents;
    }

    void Remove(const std::string &path) const
    {
        EXPECT_GT(std::filesystem::remove_all(std::filesystem::path(root) / path), 0U) << path;
    }

    std::string root;
};

#endif
