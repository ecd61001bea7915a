// What the tests of the configuration check have in common.
#ifndef ZEF_TESTS_CLIENT_CHECK_CHECK_TEST_H
#define ZEF_TESTS_CLIENT_CHECK_CHECK_TEST_H

#include "check/ConfigCheck.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zef {

constexpr const char *kPlainPassword = "a-real-Secret_42";
constexpr const char *kSealedMark = "@SEALED@";
constexpr const char *kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";

// Makes keys in both files, whose folder is there, and returns kPlainPassword sealed with them.
std::string MakeKeys(const KeyPaths &keys);

// The text with the sealed password wherever kSealedMark stands.
std::string WithPassword(std::string text, const std::string &sealed);

// A file that start-up takes without a finding. The second form has these children of StorageObject instead.
std::string ValidConfig(const std::string &sealed);
std::string ConfigWith(const std::string &topElements, const std::string &storageElements);

// A configuration file, keys and a sealed password in a folder of their own.
class CheckTest : public ::testing::Test {
protected:
    CheckTest() : keys{folder.File("pri.dat"), folder.File("std.dat")}, sealed(MakeKeys(keys)) {}

    CheckResult Check(const std::string &content)
    {
        WriteFile(path, WithPassword(content, sealed));
        return CheckConfig(path, keys);
    }

    ScratchFolder folder;
    const std::string path = folder.File("zef_config.xml");
    const KeyPaths keys;
    const std::string sealed;
};

// "LINE:COLUMN: error: id", with "!" behind it when it refuses the start.
std::vector<std::string> Summary(const CheckResult &result);
std::vector<std::string> Summary(const std::vector<Finding> &findings);

// The library takes elements of one name in the order of their addresses in memory. Where that order decides, the check
// says "refused": the library may start then all the same, but it must start where the check says so.
bool DependsOnOrder(const CheckResult &result);

// Runs the library in a new process with the files at its fixed paths, which are this test's own. True when it starts.
bool LibraryStarts();

}  // namespace zef

#endif
