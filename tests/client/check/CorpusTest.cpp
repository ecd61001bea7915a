// Every file of the corpus, by the check and by the library itself.
#include "CheckTest.h"

#include "support/OptFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace zef {
namespace {

std::vector<std::string> CorpusNames()
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(ZEF_CHECK_CORPUS)) {
        if (entry.path().extension() == ".xml") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> FilesWithContents()
{
    std::vector<std::string> entries;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(OptFolder::kConfFolder)) {
        const std::string path = entry.path().string();
        entries.push_back(path + (entry.is_regular_file() ? ReadFile(path) : ""));
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string Describe(const CheckResult &result)
{
    std::string text = fmt::format("starts: {}\n", result.RefusesStart() ? "no" : "yes");
    const std::vector<std::string> summary = Summary(result);
    for (size_t i = 0; i < summary.size(); ++i) {
        text += summary[i] + ": " + result.findings[i].text + "\n";
    }
    return text;
}

class CorpusTest : public ::testing::TestWithParam<std::string> {
protected:
    CorpusTest()
    {
        OptFolder::WriteConfig("");
        sealed = MakeKeys(KeyPaths());
        WriteFile(OptFolder::kConfigFile, WithPassword(ReadFile(Folder() + GetParam() + ".xml"), sealed));
    }

    static std::string Folder() { return std::string(ZEF_CHECK_CORPUS) + "/"; }

    std::string sealed;
};

TEST_P(CorpusTest, GivesExactlyTheExpectedFindings)
{
    const std::string found = Describe(CheckConfig(OptFolder::kConfigFile, {}));
    EXPECT_EQ(found, ReadFile(Folder() + GetParam() + ".expected"));
}

TEST_P(CorpusTest, SaysOfTheStartWhatTheLibraryDoes)
{
    const CheckResult result = CheckConfig(OptFolder::kConfigFile, {});
    const bool starts = LibraryStarts();
    const bool mayStart = DependsOnOrder(result);
    EXPECT_TRUE(starts == !result.RefusesStart() || (starts && mayStart));
}

TEST_P(CorpusTest, ShowsNoPasswordAndChangesNothingOnTheDisk)
{
    const std::vector<std::string> before = FilesWithContents();
    const std::vector<Finding> findings = CheckConfig(OptFolder::kConfigFile, {}).findings;
    EXPECT_EQ(FilesWithContents() == before, true);
    for (const Finding &finding : findings) {
        for (const std::string &secret : {sealed.substr(0, 24), std::string("secret"), std::string("plain-")}) {
            EXPECT_EQ(finding.text.find(secret), std::string::npos) << finding.id;
        }
    }
}

std::string TestName(const ::testing::TestParamInfo<std::string> &info)
{
    std::string name = info.param;
    std::replace_if(name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Corpus, CorpusTest, ::testing::ValuesIn(CorpusNames()), TestName);

}  // namespace
}  // namespace zef
