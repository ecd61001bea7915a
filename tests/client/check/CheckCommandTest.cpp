#include "check/CheckCommand.h"

#include "CheckTest.h"
#include "support/WithoutFileCapabilities.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace zef {
namespace {

class CheckCommandTest : public CheckTest {
protected:
    ExitCode Run(const std::string &content, bool strict = false, OutputFormat format = OutputFormat::Text)
    {
        WriteFile(path, content);
        return RunAsItIs(strict, format);
    }

    ExitCode RunAsItIs(bool strict = false, OutputFormat format = OutputFormat::Text)
    {
        output.str("");
        return CheckCommand({path, keys, strict, format}, output, errors);
    }

    const std::string valid = ValidConfig(sealed);
    const std::string withWarning = WithoutStorage();
    std::ostringstream output;
    std::ostringstream errors;

private:
    static std::string WithoutStorage()
    {
        return ConfigWith(std::string("<Uuid>") + kUuid +
                              "</Uuid>\n<Deduplication>ON</Deduplication>\n<Compression>OFF</Compression>",
                          "");
    }
};

TEST_F(CheckCommandTest, SaysOkAndNothingElseOfAGoodFile)
{
    EXPECT_EQ(Run(valid, true), ExitCode::Done);
    EXPECT_EQ(output.str(), path + ": OK\n");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(CheckCommandTest, WarningsFailOnlyWhenStrict)
{
    EXPECT_EQ(Run(withWarning), ExitCode::Done);
    EXPECT_EQ(output.str(), path +
                                ":2:1: warning: there is no StorageObject; start-up accepts it, but makes no link\n" +
                                path + ": OK, 1 warning\n");
    EXPECT_EQ(Run(withWarning, true), ExitCode::Warnings);
}

TEST_F(CheckCommandTest, CountsErrorsInTheLastLine)
{
    EXPECT_EQ(Run("<?xml version=\"1.0\"?>\n<Config/>\n"), ExitCode::ConfigInvalid);
    EXPECT_NE(output.str().find("\n" + path + ": 3 errors, 1 warning\n"), std::string::npos);
    EXPECT_NE(output.str().find(path + ":2:1: error: there is no element Uuid\n"), std::string::npos);
}

TEST_F(CheckCommandTest, AMissingFileIsAnInvalidConfiguration)
{
    EXPECT_EQ(RunAsItIs(), ExitCode::ConfigInvalid);
    EXPECT_EQ(output.str(), path + ":0:0: error: cannot be opened: No such file or directory\n" + path +
                                ": 1 error, 0 warnings\n");
}

TEST_F(CheckCommandTest, AForbiddenFileHasItsOwnCode)
{
    WriteFile(path, valid);
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    ExitCode code = ExitCode::Done;
    {
        const WithoutFileCapabilities plainUser;
        code = RunAsItIs();
    }
    EXPECT_EQ(code, ExitCode::NotPermitted);
    EXPECT_NE(output.str().find(path + ":0:0: error: cannot be opened: Permission denied\n"), std::string::npos);
}

TEST_F(CheckCommandTest, MissingKeysAloneAreAMatterOfCredentials)
{
    ASSERT_EQ(unlink(keys.primary.c_str()), 0);
    ASSERT_EQ(unlink(keys.standby.c_str()), 0);
    EXPECT_EQ(Run(valid), ExitCode::Credential);
    EXPECT_NE(output.str().find(keys.primary + ":0:0: error: there are no keys: "), std::string::npos);
    EXPECT_NE(output.str().find("zef_client keys init"), std::string::npos);
    EXPECT_EQ(Run("<?xml version=\"1.0\"?><Config/>"), ExitCode::ConfigInvalid);
}

TEST_F(CheckCommandTest, ForbiddenKeysAloneAreNotPermitted)
{
    ASSERT_EQ(chmod(keys.standby.c_str(), 0), 0);
    const WithoutFileCapabilities plainUser;
    EXPECT_EQ(Run(valid), ExitCode::NotPermitted);
    EXPECT_NE(output.str().find("\n" + path + ": 1 error, 0 warnings\n"), std::string::npos);
    EXPECT_EQ(Run("<?xml version=\"1.0\"?><Config/>"), ExitCode::ConfigInvalid);
}

TEST_F(CheckCommandTest, APasswordThatTheKeysDoNotOpenIsAnErrorOfTheFile)
{
    EXPECT_EQ(Run(ValidConfig("plain")), ExitCode::ConfigInvalid);
}

TEST_F(CheckCommandTest, JsonHasEverythingThatTheTextHas)
{
    EXPECT_EQ(Run(withWarning, true, OutputFormat::Json), ExitCode::Warnings);
    const auto report = nlohmann::ordered_json::parse(output.str());
    const nlohmann::ordered_json expected = {
        {"schema_version", 1},
        {"file", path},
        {"verdict", "warnings"},
        {"starts", true},
        {"errors", 0},
        {"warnings", 1},
        {"findings",
         {{{"line", 2},
           {"column", 1},
           {"severity", "warning"},
           {"id", "no-storage"},
           {"text", "there is no StorageObject; start-up accepts it, but makes no link"},
           {"refuses_start", false},
           {"file", path}}}}};
    EXPECT_EQ(report, expected);
}

TEST_F(CheckCommandTest, JsonVerdicts)
{
    Run(valid, false, OutputFormat::Json);
    EXPECT_EQ(nlohmann::json::parse(output.str()).at("verdict"), "ok");
    Run("<?xml version=\"1.0\"?><Config/>", false, OutputFormat::Json);
    const auto report = nlohmann::json::parse(output.str());
    EXPECT_EQ(report.at("verdict"), "errors");
    EXPECT_EQ(report.at("starts"), false);
    EXPECT_EQ(report.at("findings").at(0).at("refuses_start"), true);
}

TEST_F(CheckCommandTest, JsonStaysValidWhateverTheFileIsCalled)
{
    const std::string odd = folder.File("a\xff\x1b.xml");
    WriteFile(odd, valid);
    EXPECT_EQ(CheckCommand({odd, keys, false, OutputFormat::Json}, output, errors), ExitCode::Done);
    EXPECT_EQ(nlohmann::json::parse(output.str()).at("verdict"), "ok");
    EXPECT_EQ(CheckCommand({odd, keys, false, OutputFormat::Text}, output, errors), ExitCode::Done);
    EXPECT_NE(output.str().find("\\x1b.xml: OK\n"), std::string::npos);
}

TEST_F(CheckCommandTest, AnOutputThatTakesNothingIsAFailure)
{
    WriteFile(path, valid);
    output.setstate(std::ios::badbit);
    EXPECT_EQ(CheckCommand({path, keys, false, OutputFormat::Text}, output, errors), ExitCode::Failed);
    EXPECT_EQ(errors.str(), "Error: the output cannot be written\n");
}

}  // namespace
}  // namespace zef
