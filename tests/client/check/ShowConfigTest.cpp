#include "check/ShowConfig.h"

#include "CheckTest.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace zef {
namespace {

class ShowConfigTest : public CheckTest {
protected:
    ExitCode Show(const std::string &content, OutputFormat format = OutputFormat::Text)
    {
        WriteFile(path, content);
        output.str("");
        return ShowConfig(path, format, output, errors, keys);
    }

    std::ostringstream output;
    std::ostringstream errors;
};

TEST_F(ShowConfigTest, ShowsAnIpConfigurationAsAlignedLines)
{
    EXPECT_EQ(Show(ValidConfig(sealed)), ExitCode::Done);
    EXPECT_EQ(output.str(), "File:                    " + path + "\n" +
                                "Client UUID:             0123abcd-ABCD-0a1B-9f9F-00112233aabb\n"
                                "Deduplication:           ON\n"
                                "Compression:             OFF\n"
                                "Storage object:          array-1\n"
                                "User:                    zefuser\n"
                                "Password:                ???\n"
                                "Link type:               IP\n"
                                "Addresses:               127.0.0.1\n"
                                "Storage objects at most: 1\n"
                                "Addresses at most:       16\n"
                                "Address pairs at most:   32\n"
                                "Saved document at most:  32767 bytes\n"
                                "Retry of a link after:   2000 ms\n");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(ShowConfigTest, SaysThatTheUuidIsTheFallback)
{
    const std::string switches = "<Deduplication>OFF</Deduplication><Compression>OFF</Compression>";
    EXPECT_EQ(Show(ConfigWith("<Uuid>bad</Uuid><SystemUuid>" + std::string(kUuid) + "</SystemUuid>" + switches, "")),
              ExitCode::Done);
    EXPECT_NE(output.str().find(std::string("Client UUID:             ") + kUuid + " (from SystemUuid)\n"),
              std::string::npos);
    EXPECT_NE(output.str().find("Storage object:          -\n"), std::string::npos);
}

TEST_F(ShowConfigTest, JsonHasTheSame)
{
    std::string content = ValidConfig(sealed);
    content.replace(content.find("<Ips>127.0.0.1</Ips>"), 20, "<Ips>127.0.0.3;127.0.0.1</Ips><Ips>127.0.0.2</Ips>");
    EXPECT_EQ(Show(content, OutputFormat::Json), ExitCode::Done);
    const nlohmann::ordered_json expected = {
        {"schema_version", 1},
        {"file", path},
        {"uuid", kUuid},
        {"uuid_source", "Uuid"},
        {"deduplication", "ON"},
        {"compression", "OFF"},
        {"storage",
         {{"name", "array-1"},
          {"user", "zefuser"},
          {"password", "???"},
          {"link_type", "ip"},
          {"addresses", {"127.0.0.1", "127.0.0.2", "127.0.0.3"}}}},
        {"limits",
         {{"storage_objects", 1},
          {"addresses", 16},
          {"address_pairs", 32},
          {"saved_document_bytes", 32767},
          {"retry_delay_ms", 2000}}}};
    EXPECT_EQ(nlohmann::ordered_json::parse(output.str()), expected);
}

TEST_F(ShowConfigTest, FibreChannelHasNoAddresses)
{
    std::string content = ValidConfig(sealed);
    content.replace(content.find("<LinkType>0"), 11, "<LinkType>1");
    EXPECT_EQ(Show(content), ExitCode::Done);
    EXPECT_NE(output.str().find("Link type:               Fibre Channel\nAddresses:               -\n"),
              std::string::npos);
    EXPECT_EQ(Show(content, OutputFormat::Json), ExitCode::Done);
    const auto storage = nlohmann::json::parse(output.str()).at("storage");
    EXPECT_EQ(storage.at("link_type"), "fibre-channel");
    EXPECT_EQ(storage.at("addresses"), nlohmann::json::array());
}

TEST_F(ShowConfigTest, SaysWhyAFileIsRefused)
{
    EXPECT_EQ(Show("<?xml version=\"1.0\"?>\n<Config/>\n"), ExitCode::ConfigInvalid);
    EXPECT_EQ(output.str(), "");
    EXPECT_NE(errors.str().find(path + ":2:1: error: there is no element Uuid\n"), std::string::npos);
}

TEST_F(ShowConfigTest, MissingKeysAreSaidAndNoMore)
{
    const std::string content = ValidConfig(sealed);
    ASSERT_EQ(unlink(keys.primary.c_str()), 0);
    ASSERT_EQ(unlink(keys.standby.c_str()), 0);
    EXPECT_EQ(Show(content), ExitCode::Done);
    EXPECT_NE(errors.str().find(keys.primary + ":0:0: error: there are no keys"), std::string::npos);
    EXPECT_NE(output.str().find("Storage object:          array-1\n"), std::string::npos);
}

TEST_F(ShowConfigTest, AMissingFileIsAnInvalidConfiguration)
{
    EXPECT_EQ(ShowConfig(path, OutputFormat::Text, output, errors, keys), ExitCode::ConfigInvalid);
    EXPECT_EQ(errors.str(), path + ":0:0: error: cannot be opened: No such file or directory\n");
}

}  // namespace
}  // namespace zef
